/* The decoder of stills: image, setup, order of calls, frames, damage, ownership, the display. */
#include "desk.h"
#include "fake_codecs.h"

namespace orka::board::desk {
namespace {

constexpr uint32_t last_kind = ORKA_FRAME_TYPE_LAST;

wire::image_setup_record setup_of(uint32_t type = 0)
{
    return {.type = type, .width = 1024, .height = 512, .input_bytes = 4096};
}

class StillDesk : public ::testing::Test {
  protected:
    explicit StillDesk(bool real_time = false) : desk(real_time)
    {
        desk.attach([this](Machine &board) {
            machine = &board;
            return make_image_decode_driver(board, [this](const ImageSetup &setup, std::string &) {
                asked = setup;
                return std::make_unique<FakeVideo>(stage);
            });
        });
    }
    ~StillDesk() override
    {
        stage.gate_open = true;
        stage.gate_open.notify_all();
    }

    int set_up(Player &player, const wire::image_setup_record &record = setup_of())
    {
        return player.error_of(wire::IDECODE_SETUP_IMAGE, record);
    }
    void play(Player &player, const wire::image_setup_record &record = setup_of())
    {
        ASSERT_EQ(player.load("image_dec"), 0);
        ASSERT_EQ(set_up(player, record), 0);
        ASSERT_EQ(player.start(), 0);
    }
    static bool feed(Player &player, Script script, uint8_t value = 0, uint32_t tsms = 0)
    {
        const uint8_t packet[] = {script, value};
        return player.feed(packet, tsms);
    }
    int value_of(const orka_idecode_frame_t &frame) { return desk.bytes(frame.addr, 1)[0]; }
    /* What the display has of the decoders. */
    int shown()
    {
        int value = -1;
        desk.on_reactor([&] {
            const UyvyPicture picture = machine->video.picture();
            value = picture.pixels.empty() ? -1 : picture.pixels[0];
        });
        return value;
    }
    std::string source()
    {
        std::string name;
        desk.on_reactor([&] { name = machine->video.source(); });
        return name;
    }

    Backstage stage;
    ImageSetup asked;
    Desk desk;
    Machine *machine = nullptr;
    Player still{desk, wire::node::imgdecode};
};

class StillInRealTime : public StillDesk {
  protected:
    StillInRealTime() : StillDesk(true) {}
};

/* ---- Image and setup ---- */

TEST_F(StillDesk, AnUnknownImageIsRefusedAndLogged)
{
    EXPECT_EQ(still.load("gif_dec"), EINVAL);
    EXPECT_EQ(desk.log(), "imgdecode 0/0: there is no codec image 'gif_dec'\n");
}

TEST_F(StillDesk, SetupWithoutAnImageIsRefused)
{
    EXPECT_EQ(set_up(still), EINVAL);
    EXPECT_EQ(desk.log(), "imgdecode 0/0: setup for image type 0 without a codec image; load one first\n");
}

TEST_F(StillDesk, TheImageOfTheDspServesADecoderThatLoadedNone)
{
    desk.set_dsp_image("image_dec");
    EXPECT_EQ(set_up(still), 0);
}

TEST_F(StillDesk, AnImageThatDecodesNoStillsIsRefused)
{
    for (const char *name : {"mpeg4_pcm_dec", "image_enc", "jpeg_enc"}) {
        ASSERT_EQ(still.load(name), 0);
        EXPECT_EQ(set_up(still, setup_of(3)), EINVAL) << name;
    }
    EXPECT_NE(desk.log().find("imgdecode 0/0: image jpeg_enc does not decode image type 3; image_dec decodes "
                              "types 0 to 5\n"),
              std::string::npos)
        << desk.log();
}

TEST_F(StillDesk, AllTypesAndTheUntoldOneAreSetUpAndNoOther)
{
    ASSERT_EQ(still.load("image_dec"), 0);
    for (uint32_t type = 0; type <= 5; type++) {
        EXPECT_EQ(set_up(still, setup_of(type)), 0) << type;
        EXPECT_EQ(asked.type, type);
        EXPECT_EQ(still.tear_down(), 0);
    }
    EXPECT_EQ(set_up(still, setup_of(6)), EINVAL);
    EXPECT_EQ(set_up(still, setup_of(UINT32_MAX)), EINVAL);
}

TEST_F(StillDesk, ThereIsOneChannelOfOneStream)
{
    ASSERT_EQ(still.load("image_dec"), 0);
    for (const auto &[channel, stream] :
         {std::pair(1, 0), {0, 1}, {-1, 0}, {0, -1}, {INT32_MAX, INT32_MIN}}) {
        Player nobody(desk, wire::node::imgdecode, channel, stream);
        auto record = setup_of();
        record.channel = channel;
        record.stream = stream;
        EXPECT_EQ(set_up(nobody, record), EINVAL);
        EXPECT_EQ(nobody.start(), EINVAL);
        EXPECT_EQ(nobody.tear_down(), EINVAL);
    }
}

TEST_F(StillDesk, TheQueueHoldsTwoFilesAndOnePictureAndAtLeast8MiBOfThem)
{
    ASSERT_EQ(still.load("image_dec"), 0);
    ASSERT_EQ(set_up(still, {.width = 4096, .height = 4000, .input_bytes = 10'000}), 0);
    EXPECT_EQ(still.queue().length, 20'480U + 4096 * 4000 * 2);
    ASSERT_EQ(still.tear_down(), 0);
    ASSERT_EQ(set_up(still), 0);
    EXPECT_EQ(still.queue().length, 8192U + (8U << 20));
}

TEST_F(StillDesk, WhatIsLeftToTheDriverIs4096PixelsASideAnd4MiB)
{
    ASSERT_EQ(still.load("image_dec"), 0);
    ASSERT_EQ(set_up(still, {}), 0);
    EXPECT_EQ(asked.width, 4096U);
    EXPECT_EQ(asked.height, 4096U);
    EXPECT_EQ(still.queue().length, (8U << 20) + 4096 * 4096 * 2);
    EXPECT_EQ(still.new_frame().frame.capacity, 4U << 20);
}

TEST_F(StillDesk, MoreInputThanThereIsMemoryIsRefusedAndLogged)
{
    ASSERT_EQ(still.load("image_dec"), 0);
    for (const uint32_t bytes : {100U << 20, UINT32_MAX / 2 + 1, UINT32_MAX})
        EXPECT_EQ(set_up(still, {.width = 64, .height = 64, .input_bytes = bytes}), ENOMEM) << bytes;
    EXPECT_NE(desk.log().find("imgdecode 0/0: no memory for a queue of "), std::string::npos);
    EXPECT_EQ(desk.queues(), 0U);
}

/* ---- The order of calls ---- */

TEST_F(StillDesk, BeforeSetupNothingElseIsLegal)
{
    for (const uint32_t number : {wire::IDECODE_START, wire::IDECODE_STOP, wire::IDECODE_TEARDOWN})
        EXPECT_EQ(still.order(number), EINVAL);
    EXPECT_EQ(still.error_of(wire::IDECODE_QUEUE, wire::queue_record{0, 0, 8}), EINVAL);
    EXPECT_EQ(still.error_of(wire::IDECODE_NEW_FRAME, still.frame_request(0)), EINVAL);
    EXPECT_EQ(still.commit({}), EINVAL);
    EXPECT_EQ(still.error_of(wire::IDECODE_GET_FRAME, still.frame_request(0)), EINVAL);
    EXPECT_EQ(still.release({}), EINVAL);
}

TEST_F(StillDesk, RepeatingThePresentModeIsRefused)
{
    ASSERT_EQ(still.load("image_dec"), 0);
    ASSERT_EQ(set_up(still), 0);
    EXPECT_EQ(set_up(still), EINVAL);
    EXPECT_EQ(still.stop(), EINVAL);
    ASSERT_EQ(still.start(), 0);
    EXPECT_EQ(still.start(), EINVAL);
    ASSERT_EQ(still.stop(), 0);
    EXPECT_EQ(still.stop(), EINVAL);
    EXPECT_EQ(still.start(), 0);
    EXPECT_EQ(still.tear_down(), 0);
    EXPECT_EQ(still.tear_down(), EINVAL);
}

TEST_F(StillDesk, AnotherImageIsBusyWhileItIsSetUp)
{
    play(still);
    EXPECT_EQ(still.load("ogg_dec"), EBUSY);
    EXPECT_EQ(still.load("image_dec"), 0);
}

TEST_F(StillDesk, OtherQueuesAreRefused)
{
    play(still);
    for (const uint32_t queueid : {0U, 3U, 9U})
        EXPECT_EQ(still.error_of(wire::IDECODE_QUEUE, wire::queue_record{0, 0, queueid}), EINVAL);
}

/* ---- Frames ---- */

TEST_F(StillDesk, APictureComesOutAsItIsWithTheWordsOfItsFile)
{
    play(still);
    const uint8_t packet[] = {show, 42};
    const auto given = still.new_frame();
    std::ranges::copy(packet, desk.bytes(given.frame.addr, 2).begin());
    orka_idecode_frame_t frame = given.frame;
    frame.size = 2;
    frame.tsms = 1234;
    frame.duration = 56;
    ASSERT_EQ(still.commit(frame), 0);
    const auto got = still.get();
    EXPECT_EQ(got.status, wire::driver_done);
    EXPECT_EQ(got.frame.kind, uint32_t{ORKA_FRAME_TYPE_VIDEO});
    EXPECT_EQ(got.frame.number, 0U);
    EXPECT_EQ(got.frame.width, fake_width);
    EXPECT_EQ(got.frame.height, fake_height);
    EXPECT_EQ(got.frame.stride, fake_width * 2);
    EXPECT_EQ(got.frame.size, fake_width * fake_height * 2);
    EXPECT_EQ(got.frame.tsms, 1234U);
    EXPECT_EQ(got.frame.duration, 56U);
    EXPECT_EQ(value_of(got.frame), 42);
    EXPECT_EQ(still.release(got.frame), 0);
    EXPECT_EQ(still.release(got.frame), EINVAL);
}

TEST_F(StillDesk, LastEndsWhatComesOutAndMoreIsRefusedUntilStop)
{
    play(still);
    const auto spare = still.new_frame();
    ASSERT_TRUE(feed(still, show, 1));
    ASSERT_TRUE(still.feed_last());
    EXPECT_EQ(still.get().frame.kind, uint32_t{ORKA_FRAME_TYPE_VIDEO});
    const auto last = still.get();
    EXPECT_EQ(last.frame.kind, last_kind);
    EXPECT_EQ(last.frame.flags, 0U);
    EXPECT_EQ(still.commit(spare.frame), EINVAL);
    ASSERT_EQ(still.stop(), 0);
    EXPECT_EQ(still.commit(spare.frame), 0);
}

TEST_F(StillDesk, WhatCannotBeCommittedIsRefused)
{
    play(still);
    const orka_idecode_frame_t given = still.new_frame().frame;
    orka_idecode_frame_t frame = given;
    frame.kind = ORKA_FRAME_TYPE_AUDIO;
    EXPECT_EQ(still.commit(frame), EINVAL);
    frame = given;
    frame.addr++;
    EXPECT_EQ(still.commit(frame), EINVAL);
    frame = given;
    frame.size = 4097;
    EXPECT_EQ(still.commit(frame), EINVAL);
    EXPECT_EQ(still.commit(given), 0);
    EXPECT_EQ(still.commit(given), EINVAL);
}

TEST_F(StillDesk, GetsEndAsThoseOfTheVideoDecoderDo)
{
    play(still);
    EXPECT_EQ(still.get(0).status, wire::driver_timeout);
    EXPECT_EQ(still.get(1).status, wire::driver_timeout);
    EXPECT_EQ(Player::answer_of(*still.begin_get(-2)).error, EINVAL);
    EXPECT_EQ(Player::answer_of(*still.begin_get(-1, true)).error, EAGAIN);
    const auto interrupted = still.begin_get(-1);
    desk.interrupt(*interrupted);
    EXPECT_EQ(Player::frame_of(*interrupted).status, wire::driver_interrupted);
    const auto stopped = still.begin_get(-1);
    ASSERT_EQ(still.stop(), 0);
    EXPECT_EQ(Player::frame_of(*stopped).status, wire::driver_failure);
    EXPECT_EQ(still.get().status, wire::driver_failure);
}

TEST_F(StillDesk, TearDownWakesWhoeverWaits)
{
    play(still);
    const auto waiting = still.begin_get(-1);
    ASSERT_EQ(still.tear_down(), 0);
    EXPECT_EQ(Player::frame_of(*waiting).status, wire::driver_failure);
}

TEST_F(StillDesk, TheFileIsReadableWhileAPictureWaits)
{
    play(still);
    EXPECT_FALSE(still.file.readable());
    ASSERT_TRUE(feed(still, show, 1));
    EXPECT_TRUE(eventually([this] { return still.file.readable(); }));
    still.get();
    EXPECT_FALSE(still.file.readable());
}

TEST_F(StillDesk, ManyPicturesGoThroughTheOnePlaceThatThereIs)
{
    play(still, {.width = 1024, .height = 4096, .input_bytes = 4096});
    for (uint8_t value = 0; value < 50; value++) {
        ASSERT_TRUE(feed(still, show, value));
        const auto got = still.get();
        ASSERT_EQ(got.status, wire::driver_done);
        ASSERT_EQ(value_of(got.frame), value);
        ASSERT_EQ(got.frame.number, value);
        ASSERT_EQ(still.release(got.frame), 0);
    }
}

/* ---- Damage ---- */

TEST_F(StillDesk, DamageSaysNothingOfThePicturesThatFollow)
{
    play(still);
    ASSERT_TRUE(feed(still, damage));
    ASSERT_TRUE(feed(still, damage));
    ASSERT_TRUE(feed(still, throws));
    ASSERT_TRUE(feed(still, show, 7));
    const auto good = still.get();
    EXPECT_EQ(value_of(good.frame), 7);
    EXPECT_EQ(good.frame.flags & frame_damaged, 0U);
    EXPECT_EQ(desk.log(), "imgdecode 0/0: damaged or refused: as scripted\n"
                          "imgdecode 0/0: damaged or refused: as scripted\n"
                          "imgdecode 0/0: damaged or refused: out of luck\n");
}

TEST_F(StillDesk, LastTellsThatAPictureDidNotComeOut)
{
    play(still);
    ASSERT_TRUE(feed(still, damage));
    ASSERT_TRUE(feed(still, show, 7));
    ASSERT_TRUE(still.feed_last());
    EXPECT_EQ(still.get().frame.flags & frame_damaged, 0U);
    const auto last = still.get();
    EXPECT_EQ(last.frame.kind, last_kind);
    EXPECT_EQ(last.frame.flags, uint32_t{frame_damaged});
}

TEST_F(StillDesk, APictureThatNoQueueHoldsIsDroppedAndLogged)
{
    play(still);
    ASSERT_TRUE(feed(still, huge));
    ASSERT_TRUE(feed(still, show, 7));
    EXPECT_EQ(value_of(still.get().frame), 7);
    EXPECT_EQ(desk.log(), "imgdecode 0/0: dropped a frame of 33554432 bytes, which is more than the output "
                          "queue holds\n");
}

/* ---- Whose it is ---- */

TEST_F(StillDesk, ToOtherFilesItIsBusy)
{
    play(still);
    Player other(desk, wire::node::imgdecode);
    EXPECT_EQ(set_up(other), EBUSY);
    EXPECT_EQ(other.stop(), EBUSY);
    EXPECT_EQ(other.tear_down(), EBUSY);
    EXPECT_EQ(other.error_of(wire::IDECODE_QUEUE, wire::queue_record{0, 0, 8}), EBUSY);
    EXPECT_EQ(other.error_of(wire::IDECODE_GET_FRAME, other.frame_request(0)), EBUSY);
}

TEST_F(StillDesk, AnOwnerThatDiesLeavesNothingBehind)
{
    play(still);
    ASSERT_TRUE(feed(still, show, 7));
    ASSERT_TRUE(eventually([this] { return shown() == 7; }));
    stage.gate_open = false;
    ASSERT_TRUE(feed(still, late, 8));
    ASSERT_TRUE(eventually([this] { return stage.at_gate.load(); }));
    const auto waiting = still.begin_get(0);
    stage.gate_open = true;
    stage.gate_open.notify_all();
    desk.close(still.file);
    EXPECT_EQ(shown(), -1);
    EXPECT_EQ(desk.queues(), 0U);
    EXPECT_EQ(stage.alive, 0);
    Player other(desk, wire::node::imgdecode);
    EXPECT_EQ(set_up(other), EINVAL) << "the image went with the file";
    play(other);
}

/* ---- The display ---- */

TEST_F(StillDesk, APictureIsShownAtOnceAndStaysUntilTearDown)
{
    play(still);
    ASSERT_TRUE(feed(still, show, 9));
    EXPECT_TRUE(eventually([this] { return shown() == 9; }));
    EXPECT_EQ(source(), "imgdecode 0/0");
    const auto got = still.get();
    ASSERT_EQ(still.release(got.frame), 0);
    ASSERT_EQ(still.stop(), 0);
    EXPECT_EQ(shown(), 9);
    ASSERT_EQ(still.tear_down(), 0);
    EXPECT_EQ(shown(), -1);
}

/* Held to their stamps they would take longer than the test waits. */
TEST_F(StillInRealTime, NoTimeStampHoldsAPictureBack)
{
    play(still);
    for (uint8_t value = 0; value < 4; value++)
        ASSERT_TRUE(feed(still, show, value, value * 9000U));
    EXPECT_TRUE(eventually([this] { return shown() == 3; }));
    for (uint32_t number = 0; number < 4; number++)
        EXPECT_EQ(still.get().frame.tsms, number * 9000);
}

TEST_F(StillInRealTime, ABoardThatIsHeldShowsStillsAllTheSame)
{
    desk.on_clock([](PresentationClock &clock) { clock.hold(Clock::now()); });
    play(still);
    ASSERT_TRUE(feed(still, show, 1));
    EXPECT_TRUE(eventually([this] { return shown() == 1; }));
}

TEST_F(StillInRealTime, TheClockOfWhatMovesGoesItsOwnWay)
{
    play(still);
    desk.on_clock([](PresentationClock &clock) {
        const Clock::time_point now = Clock::now();
        clock.begin();
        clock.go(now);
        EXPECT_EQ(clock.due(0, now), now);
        clock.halt(now);
        clock.end();
        const Clock::time_point later = now + std::chrono::seconds(1);
        clock.begin();
        clock.go(later);
        EXPECT_EQ(clock.due(0, later), later) << "a time line outlived its last decoder";
        clock.halt(later);
        clock.end();
    });
}

TEST_F(StillDesk, ADecoderOfVideoThatIsStartedCoversIt)
{
    play(still);
    ASSERT_TRUE(feed(still, show, 9));
    ASSERT_TRUE(eventually([this] { return shown() == 9; }));
    desk.on_reactor([this] {
        const std::vector<uint8_t> pixels(8, 77);
        VideoPlane::Source video(machine->video, 3 * 16 + 1, "vdecode 3/1");
        video.start(true);
        video.show({.pixels = pixels, .width = 2, .height = 2, .stride = 4});
        EXPECT_EQ(machine->video.source(), "vdecode 3/1");
    });
    EXPECT_EQ(source(), "imgdecode 0/0");
}

} // namespace
} // namespace orka::board::desk
