/* The capture node on the desk: its modes, its frames, and the order of calls. */
#include "capturer.h"

#include <nlohmann/json.hpp>

#include "dsp/picture_controls.h"

namespace orka::board::desk {
namespace {

using test::luma_of;

constexpr uint32_t ring = 16;

struct Shown {
    std::vector<uint8_t> uyvy;
    uint32_t width = 0;
    uint32_t height = 0;
};

class CaptureDesk : public ::testing::Test {
  protected:
    explicit CaptureDesk(bool real_time = false) : desk(real_time)
    {
        desk.attach([this](Machine &machine) {
            std::string why;
            machine_ = &machine;
            camera_ = with_controls(Camera::create("", why), machine.picture_controls);
            machine.camera = camera_.get();
            machine.show_captured = [this](auto uyvy, uint32_t width, uint32_t height) {
                shown.push_back({{uyvy.begin(), uyvy.end()}, width, height});
            };
            return make_icapture_driver(machine);
        });
    }

    void begin(uint16_t height = 480)
    {
        ASSERT_EQ(program.set_up(capture_mode(height)), 0);
        ASSERT_EQ(program.enable(1), 0);
    }
    nlohmann::json report() { return desk.report<nlohmann::json>()["capture"]; }
    Shown last_shown()
    {
        Shown last;
        desk.on_reactor([&] { last = shown.empty() ? Shown{} : shown.back(); });
        return last;
    }
    Standard standard()
    {
        Standard value;
        desk.on_reactor([&] { value = machine_->standard; });
        return value;
    }
    void set_encoded(uint32_t channel, PictureSize size)
    {
        desk.on_reactor([&] { machine_->encoded.at(channel) = size; });
    }

    std::unique_ptr<Camera> camera_;
    std::vector<Shown> shown;
    Machine *machine_ = nullptr;
    Desk desk;
    Capturer program{desk};
};

class Capture : public CaptureDesk {};

TEST_F(Capture, OfEachModeHasItsSizeAndSetsTheStandard)
{
    for (const uint16_t height : std::initializer_list<uint16_t>{240, 288, 480, 576}) {
        ASSERT_EQ(program.set_up(capture_mode(height)), 0);
        EXPECT_EQ(program.dimension().width, 720U);
        EXPECT_EQ(program.dimension().height, height);
        EXPECT_EQ(program.size(), ring * 720 * height * 2);
        EXPECT_FALSE(desk.bytes(program.base(), program.size()).empty());
        EXPECT_EQ(standard(), height == 240 || height == 480 ? ntsc : pal);
    }
    EXPECT_EQ(desk.queues(), 1U);
}

TEST_F(Capture, RefusesModesThatTheChipDoesNotHave)
{
    std::vector<orka_capture_params_t> wrong(8, capture_mode(480));
    wrong[0].device[0] = 'X';
    wrong[1].width = 640;
    wrong[2].height = 481;
    wrong[3].out_width = 360;
    wrong[4].out_height = 240;
    wrong[5].frame_rate = 25;
    wrong[6].interlaced = 0;
    wrong[7] = {};
    for (const auto &params : wrong)
        EXPECT_EQ(program.set_up(params), EINVAL);
    EXPECT_EQ(desk.queues(), 0U);
    EXPECT_NE(desk.log().find("icapture: TVP5150 has no mode a_mode of 640x480 at 30 a second; the library's "
                              "capture table names those that there are\n"),
              std::string::npos);
}

TEST_F(Capture, BeforeTheSetupRefusesEverythingElse)
{
    EXPECT_EQ(program.enable(1), EINVAL);
    EXPECT_EQ(program.channels(1), EINVAL);
    EXPECT_EQ(program.start_channel(0), EINVAL);
    EXPECT_EQ(program.pass_through(0), EINVAL);
    EXPECT_EQ(program.release(0), EINVAL);
    EXPECT_EQ(program.ask(wire::ICAPTURE_BUFFER_BASE, uint32_t{0}).error, EINVAL);
    EXPECT_EQ(program.ask(wire::ICAPTURE_BUFFER_SIZE, uint32_t{0}).error, EINVAL);
    EXPECT_EQ(program.ask(wire::ICAPTURE_DIMENSION, wire::capture_dimension_record{}).error, EINVAL);
    EXPECT_EQ(Player::answer_of(*program.begin_get()).error, EINVAL);
}

TEST_F(Capture, GivesTheSetupRecordBackUnchanged)
{
    const orka_capture_params_t params = capture_mode(288);
    const auto back = program.ask(wire::ICAPTURE_SETUP, params).as<orka_capture_params_t>();
    EXPECT_EQ(std::memcmp(&back, &params, sizeof params), 0);
}

TEST_F(Capture, CanBeSetUpAnewUnlessEnabled)
{
    begin();
    EXPECT_EQ(program.set_up(capture_mode(576)), EINVAL);
    ASSERT_EQ(program.enable(0), 0);
    EXPECT_EQ(program.set_up(capture_mode(576)), 0);
    EXPECT_EQ(program.dimension().height, 576U);
    EXPECT_EQ(desk.queues(), 1U);
}

TEST_F(Capture, TakesItsValuesAndNoOthers)
{
    ASSERT_EQ(program.set_up(capture_mode(480)), 0);
    EXPECT_EQ(program.channels(0), EINVAL);
    EXPECT_EQ(program.channels(4), 0);
    EXPECT_EQ(program.channels(5), EINVAL);
    EXPECT_EQ(program.start_channel(3), 0);
    EXPECT_EQ(program.start_channel(4), EINVAL);
    EXPECT_EQ(program.pass_through(2), 0);
    EXPECT_EQ(program.pass_through(3), EINVAL);
    EXPECT_EQ(program.enable(2), EINVAL);
    EXPECT_EQ(report()["channels"], 4);
    EXPECT_EQ(report()["start_channel"], 3);
    EXPECT_EQ(report()["pass_through"], 2);
}

TEST_F(Capture, BelongsToTheFileThatSetItUpUntilItsLastClose)
{
    Capturer other(desk);
    ASSERT_EQ(program.set_up(capture_mode(480)), 0);
    EXPECT_EQ(other.set_up(capture_mode(480)), EBUSY);
    EXPECT_EQ(other.enable(1), EBUSY);
    EXPECT_EQ(other.decoder(0, 100).error, EBUSY);
    EXPECT_EQ(Player::answer_of(*other.begin_get()).error, EBUSY);
    other.close();
    EXPECT_EQ(program.enable(1), 0);
    program.close();
    EXPECT_EQ(desk.queues(), 0U);
    Capturer next(desk);
    EXPECT_EQ(next.set_up(capture_mode(480)), 0);
}

/* Frames. */

TEST_F(Capture, GivesEveryPictureOnceInOrder)
{
    begin();
    for (int64_t number = 0; number < 40; number++)
        EXPECT_EQ(program.next_number(), number);
}

TEST_F(Capture, OfPalGivesPicturesOfItsOwnRate)
{
    begin(576);
    for (int64_t number = 0; number < 30; number++) {
        const uint32_t address = program.get();
        EXPECT_EQ(program.picture(address).counter(), number);
        EXPECT_EQ(program.picture(address).second(), number % 25 < 2);
        EXPECT_EQ(program.release(address), 0);
    }
}

TEST_F(Capture, FillsBuffersOfItsRing)
{
    begin();
    const uint32_t base = program.base();
    const uint32_t frame = program.size() / ring;
    for (int i = 0; i < 40; i++) {
        const uint32_t address = program.get();
        EXPECT_EQ((address - base) % frame, 0U);
        EXPECT_LT((address - base) / frame, ring);
        EXPECT_EQ(program.release(address), 0);
    }
}

TEST_F(Capture, OfFieldsGivesUpperAndLowerLinesByTurns)
{
    begin(240);
    const auto view = test::test_view();
    for (uint64_t number = 0; number < 4; number++) {
        const auto whole = test::picture_of(*view, ntsc, number);
        const uint32_t address = program.get();
        const auto field = desk.bytes(address, 720 * 240 * 2);
        for (size_t line = 0; line < 240; line++)
            ASSERT_TRUE(std::equal(field.begin() + static_cast<ptrdiff_t>(line * 1440),
                                   field.begin() + static_cast<ptrdiff_t>(line * 1440 + 1440),
                                   whole.begin() + static_cast<ptrdiff_t>((line * 2 + number % 2) * 1440)))
                << number << " line " << line;
        EXPECT_EQ(program.release(address), 0);
    }
}

TEST_F(Capture, LeavesAFrameAloneUntilItIsReleased)
{
    begin();
    const uint32_t held = program.get();
    for (int i = 0; i < 40; i++)
        EXPECT_GT(program.next_number(), 0);
    EXPECT_EQ(program.picture(held).counter(), 0);
    EXPECT_EQ(program.release(held), 0);
}

TEST_F(Capture, ReleasesNothingTwiceAndNothingElse)
{
    begin();
    const uint32_t held = program.get();
    EXPECT_EQ(program.release(held + 4), EINVAL);
    EXPECT_EQ(program.release(held), 0);
    EXPECT_EQ(program.release(held), EINVAL);
    EXPECT_EQ(program.release(0), EINVAL);
}

TEST_F(Capture, WaitsForAReleaseWhenTheProgramHoldsAllFrames)
{
    begin();
    std::vector<uint32_t> held;
    for (uint32_t i = 0; i < ring; i++)
        held.push_back(program.get());
    EXPECT_EQ(report()["queue"]["taken"], ring);
    const auto waiting = program.begin_get();
    EXPECT_FALSE(waiting->wait(50ms));
    EXPECT_EQ(program.release(held[3]), 0);
    EXPECT_EQ(Player::answer_of(*waiting).as<uint32_t>(), held[3]);
    EXPECT_EQ(program.picture(held[3]).counter(), ring);
    EXPECT_EQ(report()["dropped"], 0);
}

TEST_F(Capture, GetRefusesToWaitWhereItMayNot)
{
    begin();
    for (uint32_t i = 0; i < ring; i++)
        program.get();
    EXPECT_EQ(Player::answer_of(*program.begin_get(true)).error, EAGAIN);
}

TEST_F(Capture, GetIsInterruptedBySignalsAndForgetsTheDead)
{
    begin();
    std::vector<uint32_t> held;
    for (uint32_t i = 0; i < ring; i++)
        held.push_back(program.get());
    const auto interrupted = program.begin_get();
    const auto dead = program.begin_get();
    desk.interrupt(*interrupted);
    desk.abandon(*dead);
    EXPECT_EQ(Player::answer_of(*interrupted).error, EINTR);
    EXPECT_EQ(program.release(held[0]), 0);
    EXPECT_EQ(program.picture(program.get()).counter(), ring);
    EXPECT_FALSE(dead->wait(0ms));
}

TEST_F(Capture, DisabledWakesWhoeverWaitsAndGivesNothing)
{
    begin();
    for (uint32_t i = 0; i < ring; i++)
        program.get();
    const auto waiting = program.begin_get();
    EXPECT_EQ(program.enable(0), 0);
    EXPECT_EQ(Player::answer_of(*waiting).error, EINVAL);
    EXPECT_EQ(Player::answer_of(*program.begin_get()).error, EINVAL);
}

TEST_F(Capture, FramesThatAreHeldOutlastDisabling)
{
    begin();
    const uint32_t held = program.get();
    EXPECT_EQ(program.enable(0), 0);
    EXPECT_EQ(program.picture(held).counter(), 0);
    EXPECT_EQ(program.release(held), 0);
    EXPECT_EQ(program.enable(1), 0);
    EXPECT_EQ(program.next_number(), 0); /* capture time began anew: nobody else captures */
}

TEST_F(Capture, EnabledTwiceChangesNothing)
{
    begin();
    EXPECT_EQ(program.next_number(), 0);
    EXPECT_EQ(program.enable(1), 0);
    EXPECT_EQ(program.next_number(), 1);
}

TEST_F(Capture, IsReadableWhileAFrameWaits)
{
    EXPECT_FALSE(program.file.readable());
    begin();
    EXPECT_TRUE(eventually([&] { return program.file.readable(); }));
    EXPECT_EQ(program.enable(0), 0);
    EXPECT_FALSE(program.file.readable());
    EXPECT_EQ(program.enable(1), 0);
    for (uint32_t i = 0; i < ring; i++)
        program.get();
    EXPECT_FALSE(program.file.readable());
}

TEST_F(Capture, ReportsWhatItDoes)
{
    EXPECT_TRUE(report()["mode"].is_null());
    begin();
    for (int i = 0; i < 3; i++)
        program.next_number();
    EXPECT_TRUE(eventually([&] { return report()["frames_in"] == 4; })); /* one ahead */
    EXPECT_EQ(report()["mode"], "a_mode");
    EXPECT_EQ(report()["state"], "capturing");
    EXPECT_EQ(report()["process"], 1);
    EXPECT_EQ(report()["frames_out"], 3);
    EXPECT_EQ(report()["queue"], (nlohmann::json{{"base", program.base()},
                                                 {"bytes", program.size()},
                                                 {"limit", ring},
                                                 {"waiting", 1},
                                                 {"taken", 0}}));
    EXPECT_EQ(report()["dropped"], 0);
}

TEST_F(Capture, SaysWhenThereIsNoMemory)
{
    desk.on_reactor([&] { machine_->memory.queues().allocate(70 << 20); });
    EXPECT_EQ(program.set_up(capture_mode(576)), ENOMEM);
    EXPECT_EQ(desk.log(), "icapture: no memory for 16 frames of 829440 bytes\n");
}

/* The display. */

TEST_F(Capture, ShowsWhatItCapturesWherePassThroughIsCaptured)
{
    ASSERT_EQ(program.set_up(capture_mode(240)), 0);
    ASSERT_EQ(program.pass_through(2), 0);
    ASSERT_EQ(program.enable(1), 0);
    EXPECT_EQ(program.next_number(), 0);
    ASSERT_TRUE(eventually([&] { return last_shown().height == 240; }));
    EXPECT_EQ(last_shown().width, 720U);
    EXPECT_GE(luma_of(last_shown().uyvy, 720, 240).counter(), 0);
    ASSERT_EQ(program.pass_through(0), 0);
    EXPECT_TRUE(last_shown().uyvy.empty());
}

TEST_F(Capture, ShowsTheStartChannelsPictureWherePassThroughIsEncoded)
{
    set_encoded(2, {176, 144});
    ASSERT_EQ(program.set_up(capture_mode(240)), 0);
    ASSERT_EQ(program.start_channel(2), 0);
    ASSERT_EQ(program.pass_through(1), 0);
    ASSERT_EQ(program.enable(1), 0);
    EXPECT_EQ(program.next_number(), 0);
    ASSERT_TRUE(eventually([&] { return last_shown().height == 144; }));
    EXPECT_EQ(last_shown().width, 176U);
    EXPECT_GE(luma_of(last_shown().uyvy, 176, 144).counter(), 0);
    ASSERT_EQ(program.enable(0), 0);
    EXPECT_TRUE(last_shown().uyvy.empty());
}

TEST_F(Capture, ShowsNothingOfAChannelThatEncodesNothing)
{
    ASSERT_EQ(program.set_up(capture_mode(240)), 0);
    ASSERT_EQ(program.pass_through(1), 0);
    ASSERT_EQ(program.enable(1), 0);
    for (int i = 0; i < 3; i++)
        program.next_number();
    EXPECT_TRUE(last_shown().uyvy.empty());
}

/* The video decoder chip. */

constexpr uint32_t get = 0x80000000;

TEST_F(Capture, KeepsTheDecodersControlsAndGivesThemBack)
{
    for (uint32_t control = 0; control < 4; control++) {
        EXPECT_EQ(program.decoder(get | control, 0).as<wire::vdecoder_record>().words[1], 128U);
        EXPECT_EQ(program.decoder(control, 10 + control).error, 0);
        EXPECT_EQ(program.decoder(get | control, 0).as<wire::vdecoder_record>().words[1], 10 + control);
    }
    EXPECT_EQ(program.decoder(4, 0).error, EINVAL);
    EXPECT_EQ(program.decoder(get | 4, 0).error, EINVAL);
    EXPECT_EQ(program.decoder(0, 256).error, EINVAL);
}

/* The first pixels of the test picture are a white bar of 75 %. */
TEST_F(Capture, ControlsActOnThePicture)
{
    ASSERT_EQ(program.decoder(0, 128 + 20).error, 0);
    ASSERT_EQ(program.decoder(1, 64).error, 0);
    ASSERT_EQ(program.decoder(2, 0).error, 0);
    begin();
    const auto frame = desk.bytes(program.get(), 720 * 480 * 2);
    EXPECT_EQ(frame[1], 16 + (180 - 16) / 2 + 20);
    for (size_t at = 0; at < frame.size(); at += 2)
        ASSERT_EQ(frame[at], 128) << at;
}

TEST_F(Capture, HueTurnsTheColours)
{
    ASSERT_EQ(program.decoder(3, 128 + 64).error, 0); /* a quarter */
    begin();
    const auto frame = desk.bytes(program.get(), 720 * 480 * 2);
    const size_t yellow = 100 * 2; /* U 44, V 142 */
    EXPECT_EQ(frame[yellow], 128 - 14);
    EXPECT_EQ(frame[yellow + 2], 128 - 84);
}

/* Real time. */

class CaptureInRealTime : public CaptureDesk {
  protected:
    CaptureInRealTime() : CaptureDesk(true) {}
};

TEST_F(CaptureInRealTime, GivesPicturesInOrderAndNotBeforeTheirTime)
{
    const auto start = Clock::now();
    begin();
    int64_t before = -1;
    for (int i = 0; i < 8; i++) {
        const int64_t number = program.next_number();
        EXPECT_GT(number, before);
        EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(number * 33));
        before = number;
    }
}

TEST_F(CaptureInRealTime, DropsFramesThatFindNoBuffer)
{
    begin();
    int64_t last = -1;
    for (uint32_t i = 0; i < ring; i++)
        last = program.picture(program.get()).counter();
    const uint64_t dropped = report()["dropped"];
    EXPECT_TRUE(eventually([&] { return report()["dropped"] > dropped + 2; }));
    EXPECT_EQ(program.release(program.base()), 0);
    EXPECT_GT(program.next_number(), last + 2);
}

TEST_F(CaptureInRealTime, KeepsTheLatestFramesOfWhatNobodyGets)
{
    begin();
    EXPECT_TRUE(eventually([&] { return report()["frames_in"] > ring + 4; }));
    EXPECT_GT(program.next_number(), 2);
}

TEST_F(CaptureInRealTime, ShowsPicturesThoughTheProgramHoldsAllFrames)
{
    ASSERT_EQ(program.set_up(capture_mode(480)), 0);
    ASSERT_EQ(program.pass_through(2), 0);
    ASSERT_EQ(program.enable(1), 0);
    int64_t last = -1;
    for (uint32_t i = 0; i < ring; i++)
        last = program.picture(program.get()).counter();
    EXPECT_TRUE(eventually([&] { return luma_of(last_shown().uyvy, 720, 480).counter() > last + 1; }));
}

} // namespace
} // namespace orka::board::desk
