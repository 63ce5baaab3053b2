/* When subtitles are on the screen, and where. */
#include "display_desk.h"
#include "fake_codecs.h"
#include "subtitle_desk.h"

namespace orka::board::desk {
namespace {

class SubtitleTime : public SubtitleDesk {};

TEST_F(SubtitleTime, ASubtitleAppearsAtItsTimeAndIsGoneAfterwards)
{
    play(subtitles);
    ASSERT_EQ(commit(subtitles, 1000, 500, "Hello"), 0);
    EXPECT_EQ(at(0), "");
    EXPECT_EQ(at(999), "");
    EXPECT_EQ(at(1000), "Hello");
    EXPECT_EQ(at(1499), "Hello");
    EXPECT_EQ(at(1500), "");
}

TEST_F(SubtitleTime, NothingIsShownBeforeTheStart)
{
    set_up(subtitles);
    ASSERT_EQ(commit(subtitles, 1000, 500, "Hello"), 0);
    desk.on_reactor([this] { pictures->start(true); });
    EXPECT_EQ(at(1000), "");
    ASSERT_EQ(subtitles.start(), 0);
    EXPECT_EQ(shown(), "Hello");
}

TEST_F(SubtitleTime, NothingIsShownBeforeTheFirstPicture)
{
    play(subtitles);
    ASSERT_EQ(commit(subtitles, 0, 500, "Hello"), 0);
    EXPECT_EQ(shown(), "");
    EXPECT_EQ(at(0), "Hello");
}

TEST_F(SubtitleTime, OneThatComesLateIsShownForTheRestOfItsTime)
{
    play(subtitles);
    at(1400);
    ASSERT_EQ(commit(subtitles, 1000, 500, "Hello"), 0);
    EXPECT_EQ(shown(), "Hello");
    EXPECT_EQ(at(1500), "");
}

TEST_F(SubtitleTime, OneThatComesTooLateIsDropped)
{
    play(subtitles);
    at(1500);
    ASSERT_EQ(commit(subtitles, 1000, 500, "Hello"), 0);
    EXPECT_EQ(shown(), "");
    EXPECT_EQ(told()["dropped"], 1);
    EXPECT_EQ(told()["queue"]["in"], 0);
}

TEST_F(SubtitleTime, WithoutADurationOneLastsUntilTheNext)
{
    play(subtitles);
    ASSERT_EQ(commit(subtitles, 1000, 0, "one"), 0);
    ASSERT_EQ(commit(subtitles, 60'000, 0, "two"), 0);
    EXPECT_EQ(at(1000), "one");
    EXPECT_EQ(at(59'999), "one");
    EXPECT_EQ(at(60'000), "two");
    EXPECT_EQ(at(UINT32_MAX - 1), "two");
}

TEST_F(SubtitleTime, AnEmptyOneEndsOneWithoutADuration)
{
    play(subtitles);
    ASSERT_EQ(commit(subtitles, 1000, 0, "one"), 0);
    EXPECT_EQ(at(1000), "one");
    ASSERT_EQ(commit(subtitles, 2000, 0, ""), 0);
    EXPECT_EQ(at(1999), "one");
    EXPECT_EQ(at(2000), "");
}

TEST_F(SubtitleTime, AnEndBeyondWhatATimeStampCanSayNeverComes)
{
    play(subtitles);
    ASSERT_EQ(commit(subtitles, 1000, UINT32_MAX, "Hello"), 0);
    EXPECT_EQ(at(1000), "Hello");
    EXPECT_EQ(at(UINT32_MAX - 1), "Hello");
}

TEST_F(SubtitleTime, ThoseOfTheSameTimeAreStacked)
{
    play(subtitles);
    ASSERT_EQ(commit(subtitles, 1000, 1000, "one"), 0);
    ASSERT_EQ(commit(subtitles, 1500, 1000, "two"), 0);
    EXPECT_EQ(at(1500), "one{\\r}\\Ntwo");
    EXPECT_EQ(at(2000), "two");
}

TEST_F(SubtitleTime, OfMoreThanEightTheOldestGoes)
{
    play(subtitles);
    for (int i = 0; i < 9; i++)
        ASSERT_EQ(commit(subtitles, 0, 1000, std::to_string(i)), 0);
    const std::string text = at(0);
    EXPECT_EQ(text.find('0'), std::string::npos);
    EXPECT_NE(text.find('1'), std::string::npos);
    EXPECT_NE(text.find('8'), std::string::npos);
}

TEST_F(SubtitleTime, TimeThatGoesBackHidesWhatHasNotBegunAgain)
{
    play(subtitles);
    ASSERT_EQ(commit(subtitles, 1000, 1000, "Hello"), 0);
    EXPECT_EQ(at(1500), "Hello");
    EXPECT_EQ(at(500), "");
    EXPECT_EQ(at(1000), "Hello");
}

TEST_F(SubtitleTime, PauseHoldsWhatIsShownAndStartGoesOn)
{
    play(subtitles);
    ASSERT_EQ(commit(subtitles, 1000, 500, "one"), 0);
    ASSERT_EQ(commit(subtitles, 2000, 500, "two"), 0);
    ASSERT_EQ(commit(subtitles, 3000, 500, "three"), 0);
    EXPECT_EQ(at(1000), "one");
    ASSERT_EQ(subtitles.pause(), 0);
    EXPECT_EQ(at(2000), "one");
    EXPECT_EQ(at(3000), "one");
    ASSERT_EQ(subtitles.start(), 0);
    EXPECT_EQ(shown(), "three");
    EXPECT_EQ(told()["dropped"], 1);
}

TEST_F(SubtitleTime, StopRemovesWhatIsShownAndWhatWaits)
{
    play(subtitles);
    ASSERT_EQ(commit(subtitles, 1000, 500, "one"), 0);
    ASSERT_EQ(commit(subtitles, 1200, 500, "two"), 0);
    EXPECT_EQ(at(1000), "one");
    ASSERT_EQ(subtitles.stop(), 0);
    EXPECT_EQ(shown(), "");
    ASSERT_EQ(subtitles.start(), 0);
    EXPECT_EQ(at(1200), "");
    EXPECT_EQ(told()["dropped"], 1);
    EXPECT_EQ(told()["queue"]["in"], 0);
}

TEST_F(SubtitleTime, TearDownRemovesWhatIsShown)
{
    play(subtitles);
    ASSERT_EQ(commit(subtitles, 1000, 500, "one"), 0);
    EXPECT_EQ(at(1000), "one");
    ASSERT_EQ(subtitles.tear_down(), 0);
    EXPECT_EQ(shown(), "");
    EXPECT_EQ(at(1100), "");
}

TEST_F(SubtitleTime, TheTextIsReadWhenItIsCommitted)
{
    play(subtitles);
    orka_idecode_frame_t frame = subtitles.new_frame().frame;
    const std::span<uint8_t> place = desk.bytes(frame.addr, 3);
    std::ranges::copy(std::string("one"), place.begin());
    frame.size = 3;
    ASSERT_EQ(subtitles.commit(frame), 0);
    std::ranges::copy(std::string("two"), place.begin());
    EXPECT_EQ(at(0), "one");
}

/* The clock. */

using Time = std::optional<uint32_t>;

TEST(DisplayClock, TellsOfTheLowestPicturesThatWereShown)
{
    DisplayClock clock;
    DisplayClock::Source first(clock, 0);
    DisplayClock::Source second(clock, 1);
    EXPECT_EQ(clock.now(), Time());
    first.start(true);
    second.start(true);
    EXPECT_EQ(clock.now(), Time());
    second.show(40);
    EXPECT_EQ(clock.now(), Time(40));
    first.show(80);
    EXPECT_EQ(clock.now(), Time(80));
    first.start(false);
    EXPECT_EQ(clock.now(), Time(40));
}

TEST(DisplayClock, TellsOfTheSoundWhereNoPictureIsStarted)
{
    DisplayClock clock;
    DisplayClock::Source pictures(clock, 7);
    DisplayClock::Source sound(clock, DisplayClock::sound);
    sound.start(true);
    sound.show(100);
    EXPECT_EQ(clock.now(), Time(100));
    pictures.start(true);
    EXPECT_EQ(clock.now(), Time());
    pictures.show(20);
    EXPECT_EQ(clock.now(), Time(20));
    pictures.start(false);
    EXPECT_EQ(clock.now(), Time(100));
}

TEST(DisplayClock, BeginsAnewWithEachStart)
{
    DisplayClock clock;
    DisplayClock::Source pictures(clock, 0);
    pictures.start(true);
    pictures.show(5000);
    pictures.start(true);
    EXPECT_EQ(clock.now(), Time(5000));
    pictures.start(false);
    pictures.start(true);
    EXPECT_EQ(clock.now(), Time());
}

TEST(DisplayClock, StandsStillAtAPictureWithoutATimeStamp)
{
    DisplayClock clock;
    DisplayClock::Source pictures(clock, 0);
    pictures.start(true);
    pictures.show(40);
    pictures.show(no_tsms);
    EXPECT_EQ(clock.now(), Time(40));
}

TEST(DisplayClock, FollowsTheVideoDecoder)
{
    Backstage stage;
    Desk desk;
    Machine *machine = nullptr;
    desk.attach([&](Machine &board) {
        machine = &board;
        return make_video_decode_driver(
            board, [&](const auto &, std::string &) { return std::make_unique<FakeVideo>(stage); });
    });
    const auto now = [&] {
        Time time;
        desk.on_reactor([&] { time = machine->display_clock.now(); });
        return time;
    };
    Player video(desk, wire::node::vdecode);
    ASSERT_EQ(video.load("mpeg4_pcm_dec"), 0);
    ASSERT_EQ(
        video.set_up(orka_idecode_video_params_t{.codec = 1, .bufsize = 4096, .bufcount = 4, .maxframe = 64}),
        0);
    ASSERT_EQ(video.order(wire::IDECODE_INIT), 0);
    ASSERT_EQ(video.start(), 0);
    EXPECT_EQ(now(), Time());
    const uint8_t packet[] = {show, 1};
    ASSERT_TRUE(video.feed(packet, 1234));
    EXPECT_EQ(video.get().frame.tsms, 1234U);
    EXPECT_EQ(now(), Time(1234));
    ASSERT_EQ(video.stop(), 0);
    EXPECT_EQ(now(), Time());
}

TEST(DisplayClock, FollowsTheAudioDecoder)
{
    Desk desk;
    Machine *machine = nullptr;
    desk.attach([&](Machine &board) {
        machine = &board;
        return make_audio_decode_driver(
            board, [](const auto &, std::string &) { return std::make_unique<FakeAudio>(); });
    });
    Player audio(desk, wire::node::adecode);
    ASSERT_EQ(audio.load("mpeg4_pcm_dec"), 0);
    ASSERT_EQ(
        audio.set_up(orka_idecode_audio_params_t{.codec = 6, .bufsize = 4096, .bufcount = 4, .maxframe = 64}),
        0);
    ASSERT_EQ(audio.start(), 0);
    const uint8_t samples[] = {1, 2, 3, 4};
    ASSERT_TRUE(audio.feed(samples, 20));
    EXPECT_EQ(audio.get().frame.tsms, 20U);
    Time time;
    desk.on_reactor([&] { time = machine->display_clock.now(); });
    EXPECT_EQ(time, Time(20));
}

/* The screen. */

class SubtitleScreen : public DisplayDesk {
  protected:
    SubtitleScreen()
    {
        std::string why;
        painter = TextPainter::create(TextPainter::default_font(), why);
        EXPECT_TRUE(painter) << why;
    }
    void subtitle(const std::string &text)
    {
        desk.on_reactor([&] { board->subtitles.show(text, painter); });
    }
    /* Of what is not as it was: empty where all is. */
    static Rectangle changed(RgbPicture before, RgbPicture after)
    {
        Rectangle found{before.width, before.height, 0, 0};
        uint32_t right = 0;
        uint32_t bottom = 0;
        for (uint32_t y = 0; y < before.height; y++) {
            for (uint32_t x = 0; x < before.width; x++) {
                if (pixel(before, x, y) == pixel(after, x, y))
                    continue;
                found.x = std::min(found.x, x);
                found.y = std::min(found.y, y);
                right = std::max(right, x + 1);
                bottom = std::max(bottom, y + 1);
            }
        }
        found.width = right > found.x ? right - found.x : 0;
        found.height = bottom > found.y ? bottom - found.y : 0;
        return found;
    }
    static bool has(RgbPicture picture, const Rectangle &part, const Rgb &colour)
    {
        for (uint32_t y = part.y; y < part.y + part.height; y++) {
            for (uint32_t x = part.x; x < part.x + part.width; x++) {
                if (pixel(picture, x, y) == colour)
                    return true;
            }
        }
        return false;
    }

    std::shared_ptr<TextPainter> painter;
};

/* The picture area of 640x480 in the middle of 720x480, a tenth of it free on each side. */
TEST_F(SubtitleScreen, TheTextIsWhiteOnBlackInTheMiddleOfTheFoot)
{
    Shown grey(board->video, 640, 480, 0x80808080);
    ASSERT_EQ(set_up(), 0);
    const RgbPicture before = screen();
    subtitle("Hello");
    const RgbPicture after = screen();
    const Rectangle part = changed(before, after);
    ASSERT_FALSE(part.empty());
    EXPECT_NEAR(part.x + part.width / 2, 360, 3);
    EXPECT_GE(part.y, 480 * 2 / 3);
    EXPECT_LE(part.y + part.height, 480U - 48);
    EXPECT_LE(part.height, 480U / 16 + 4);
    EXPECT_TRUE(has(after, part, white));
    EXPECT_TRUE(has(after, part, black));
}

TEST_F(SubtitleScreen, LongTextIsBrokenInsideTheMargins)
{
    ASSERT_EQ(set_up(), 0);
    const RgbPicture before = screen();
    subtitle("The quick brown fox jumps over the lazy dog and back again, and then it does so once more");
    const Rectangle part = changed(before, screen());
    EXPECT_GE(part.x, 40U + 64);
    EXPECT_LE(part.x + part.width, 720U - 40 - 64);
    EXPECT_GE(part.height, 480U / 16 * 3 / 2);
}

TEST_F(SubtitleScreen, TheVideoPlaneIsWithoutAndTheOsdWithSubtitles)
{
    ASSERT_EQ(set_up(), 0);
    const RgbPicture before = screen();
    subtitle("Hello");
    EXPECT_TRUE(changed(before, screen(Plane::video)).empty());
    EXPECT_FALSE(changed(before, screen(Plane::osd)).empty());
}

TEST_F(SubtitleScreen, TheOsdCoversSubtitles)
{
    ASSERT_EQ(set_up(), 0);
    subtitle("Hello");
    const uint32_t address = buffer(0);
    const std::span<uint8_t> pixels = desk.bytes(address, 720 * 480 * 2);
    for (size_t i = 1; i < pixels.size(); i += 2)
        pixels[i] = 0x80;
    EXPECT_TRUE(is_all(screen(), black));
}

TEST_F(SubtitleScreen, NothingIsShownWhileMaskedOrOff)
{
    subtitle("Hello");
    ASSERT_FALSE(is_all(screen(), black));
    ASSERT_EQ(error(wire::IDISPLAY_MASK), 0);
    EXPECT_TRUE(is_all(screen(), black));
    ASSERT_EQ(error(wire::IDISPLAY_UNMASK), 0);
    ASSERT_EQ(error(wire::IDISPLAY_ENABLE, uint32_t{0}), 0);
    EXPECT_TRUE(is_all(screen(), black));
}

TEST_F(SubtitleScreen, TheCounterNoticesWhatAppearsAndGoes)
{
    const uint64_t before = changes();
    subtitle("Hello");
    const uint64_t there = changes();
    EXPECT_NE(there, before);
    subtitle("Hello");
    EXPECT_EQ(changes(), there);
    subtitle("");
    EXPECT_NE(changes(), there);
}

TEST_F(SubtitleScreen, TheSmallestPictureAreaHasNoRoomAndDoesNoHarm)
{
    orka_display_params_t tiny = qvga();
    tiny.pe_width = 1;
    tiny.pe_height = 1;
    ASSERT_EQ(set_up(tiny), 0);
    subtitle("Hello");
    const Rectangle part = changed(RgbPicture(320, 240), screen());
    EXPECT_LE(part.width * part.height, 1U);
}

} // namespace
} // namespace orka::board::desk
