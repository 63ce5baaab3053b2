/* Pause, rewind, flush, stop, tear-down: what they do to frames and to whoever waits; clocks. */
#include "video_desk.h"

namespace orka::board::desk {
namespace {

class VideoControl : public VideoDesk {};

/* Three calls that wait: one for a buffer, one for a picture, one for the end. */
struct Sleepers {
    explicit Sleepers(Player &player) : filler(player.begin_new(-1)), taker(player.begin_get(-1)) {}
    std::shared_ptr<TestCall> filler;
    std::shared_ptr<TestCall> taker;
};

constexpr orka_idecode_video_params_t one_frame{.codec = 1, .bufsize = 4096, .bufcount = 1, .maxframe = 64};

TEST_F(VideoControl, StopWakesWhoeverWaits)
{
    play(video, one_frame);
    ASSERT_EQ(video.new_frame().status, wire::driver_done);
    const Sleepers sleepers(video);
    const auto waiting = video.begin_wait(-1);
    EXPECT_EQ(video.stop(), 0);
    EXPECT_EQ(Player::frame_of(*sleepers.filler).status, wire::driver_failure);
    EXPECT_EQ(Player::frame_of(*sleepers.taker).status, wire::driver_failure);
    EXPECT_EQ(Player::answer_of(*waiting).as<wire::wait_record>().status, wire::driver_done);
}

TEST_F(VideoControl, StopGivesNoBufferToWhoeverWaitsForOne)
{
    play(video, one_frame);
    occupy(video);
    ASSERT_TRUE(feed(video, show));
    const auto filler = video.begin_new(-1);
    EXPECT_EQ(video.stop(), 0);
    EXPECT_EQ(Player::frame_of(*filler).status, wire::driver_failure);
}

TEST_F(VideoControl, TearDownWakesWhoeverWaits)
{
    play(video, one_frame);
    ASSERT_EQ(video.new_frame().status, wire::driver_done);
    const Sleepers sleepers(video);
    const auto waiting = video.begin_wait(-1);
    EXPECT_EQ(video.tear_down(), 0);
    EXPECT_EQ(Player::frame_of(*sleepers.filler).status, wire::driver_failure);
    EXPECT_EQ(Player::frame_of(*sleepers.taker).status, wire::driver_failure);
    EXPECT_EQ(Player::answer_of(*waiting).as<wire::wait_record>().status, wire::driver_failure);
}

TEST_F(VideoControl, ASignalInterruptsEveryWait)
{
    play(video, one_frame);
    ASSERT_EQ(video.new_frame().status, wire::driver_done);
    const Sleepers sleepers(video);
    const auto waiting = video.begin_wait(10'000);
    for (TestCall *call : {sleepers.filler.get(), sleepers.taker.get(), waiting.get()})
        desk.interrupt(*call);
    EXPECT_EQ(Player::frame_of(*sleepers.filler).status, wire::driver_interrupted);
    EXPECT_EQ(Player::frame_of(*sleepers.taker).status, wire::driver_interrupted);
    EXPECT_EQ(Player::answer_of(*waiting).as<wire::wait_record>().status, wire::driver_interrupted);
}

TEST_F(VideoControl, AnAbandonedCallTakesNoFrame)
{
    play(video);
    const auto dead = video.begin_get(10'000);
    const auto alive = video.begin_get(-1);
    desk.abandon(*dead);
    ASSERT_TRUE(feed(video, show, 4));
    EXPECT_EQ(desk.bytes(Player::frame_of(*alive).frame.addr, 1)[0], 4);
    EXPECT_FALSE(dead->wait(0ms));
}

TEST_F(VideoControl, CloseFreesEverythingWhileTheCodecIsBusyAndTheOutputIsFull)
{
    play(video);
    for (int i = 0; i < 10; i++)
        ASSERT_TRUE(feed(video, show));
    ASSERT_TRUE(eventually([&] { return video.file.readable(); }));
    desk.close(video.file);
    EXPECT_EQ(desk.queues(), 0U);
    EXPECT_EQ(stage.alive, 0);
}

TEST_F(VideoControl, AfterStopThereIsNothingToTakeAndNothingToWaitFor)
{
    play(video);
    ASSERT_TRUE(feed(video, show));
    ASSERT_TRUE(eventually([&] { return video.file.readable(); }));
    ASSERT_EQ(video.stop(), 0);
    EXPECT_FALSE(video.file.readable());
    EXPECT_EQ(video.get(-1).status, wire::driver_failure);
    EXPECT_EQ(video.wait(-1), wire::driver_done);
}

TEST_F(VideoControl, AfterStopBuffersCanBeFilledAndWhoWouldWaitIsToldThatItStopped)
{
    play(video, one_frame);
    ASSERT_EQ(video.stop(), 0);
    EXPECT_EQ(video.new_frame(-1).status, wire::driver_done);
    EXPECT_EQ(video.new_frame(-1).status, wire::driver_failure);
}

TEST_F(VideoControl, ARestartedDecoderBeginsAStreamOfItsOwn)
{
    play(video);
    ASSERT_TRUE(feed(video, show, 1));
    ASSERT_TRUE(video.feed_last());
    ASSERT_EQ(take_all(video), std::vector{1});
    ASSERT_EQ(video.stop(), 0);
    ASSERT_EQ(video.start(), 0);
    ASSERT_TRUE(feed(video, show, 2));
    ASSERT_TRUE(video.feed_last());
    const auto first = video.get();
    EXPECT_EQ(first.frame.number, 0U);
    EXPECT_EQ(desk.bytes(first.frame.addr, 1)[0], 2);
    EXPECT_EQ(video.wait(), wire::driver_done);
    EXPECT_EQ(stage.flushes, 1);
}

TEST_F(VideoControl, StopDoesNotWaitForABusyCodecWhosePictureIsThenThrownAway)
{
    play(video);
    occupy(video);
    ASSERT_TRUE(feed(video, show, 1));
    EXPECT_EQ(video.stop(), 0);
    EXPECT_EQ(video.start(), 0);
    ASSERT_TRUE(feed(video, show, 2));
    ASSERT_TRUE(video.feed_last());
    open_gate();
    EXPECT_EQ(take_all(video), std::vector{2});
}

TEST_F(VideoControl, FramesThatAreHeldSurviveAStop)
{
    play(video);
    ASSERT_TRUE(feed(video, show, 6));
    const orka_idecode_frame_t taken = video.get().frame;
    ASSERT_EQ(video.stop(), 0);
    ASSERT_EQ(video.start(), 0);
    ASSERT_TRUE(feed(video, show, 7));
    EXPECT_NE(video.get().frame.addr, taken.addr);
    EXPECT_EQ(desk.bytes(taken.addr, 1)[0], 6);
    EXPECT_EQ(video.release(taken), 0);
}

TEST_F(VideoControl, FlushDropsWhatIsQueuedAndWhatWasNotTaken)
{
    play(video);
    ASSERT_TRUE(feed(video, show, 1));
    ASSERT_TRUE(eventually([&] { return video.file.readable(); }));
    occupy(video);
    ASSERT_TRUE(feed(video, show, 2));
    ASSERT_EQ(video.flush(), 0);
    EXPECT_FALSE(video.file.readable());
    ASSERT_TRUE(feed(video, show, 3));
    ASSERT_TRUE(video.feed_last());
    open_gate();
    EXPECT_EQ(take_all(video), std::vector{3});
}

TEST_F(VideoControl, FlushKeepsACodecHeaderThatWaits)
{
    play(video);
    occupy(video);
    ASSERT_TRUE(feed(video, show, 1, 0, frame_header));
    ASSERT_TRUE(feed(video, show, 2));
    ASSERT_EQ(video.flush(), 0);
    ASSERT_TRUE(feed(video, show, 3));
    ASSERT_TRUE(video.feed_last());
    open_gate();
    EXPECT_EQ(take_all(video), std::vector{3});
    EXPECT_EQ(stage.headers, 1);
}

TEST_F(VideoControl, APictureThatIsBeingWrittenDuringAFlushIsNotShownAndLeavesItsRoom)
{
    play(video);
    EXPECT_EQ(video.get(0).status, wire::driver_timeout);
    occupy(video, late);
    ASSERT_EQ(video.flush(), 0);
    for (uint8_t i = 0; i < 8; i++)
        ASSERT_TRUE(feed(video, show, i));
    ASSERT_TRUE(video.feed_last());
    open_gate();
    EXPECT_EQ(video.wait(), wire::driver_done);
    EXPECT_EQ(take_all(video), (std::vector{0, 1, 2, 3, 4, 5, 6, 7}));
}

TEST_F(VideoControl, FlushGivesItsRoomBack)
{
    play(video, {.codec = 1, .bufsize = 4096, .bufcount = 2, .maxframe = 64});
    occupy(video);
    ASSERT_TRUE(feed(video, show, 2));
    ASSERT_TRUE(feed(video, show, 3));
    ASSERT_EQ(video.new_frame(0).status, wire::driver_timeout);
    ASSERT_EQ(video.flush(), 0);
    EXPECT_EQ(video.new_frame(0).status, wire::driver_done);
    EXPECT_EQ(video.new_frame(0).status, wire::driver_done);
}

TEST_F(VideoControl, FlushFreesAStalledDecoder)
{
    play(video);
    EXPECT_EQ(video.get(0).status, wire::driver_timeout);
    for (uint8_t i = 0; i < 10; i++)
        ASSERT_TRUE(feed(video, show, i));
    ASSERT_TRUE(eventually([&] { return video.file.readable(); }));
    ASSERT_EQ(video.flush(), 0);
    ASSERT_TRUE(feed(video, show, 99));
    ASSERT_TRUE(video.feed_last());
    EXPECT_EQ(take_all(video), std::vector{99});
}

TEST_F(VideoControl, NothingComesOutWhilePaused)
{
    play(video);
    ASSERT_EQ(video.pause(), 0);
    ASSERT_TRUE(feed(video, show, 1));
    EXPECT_EQ(video.get(50).status, wire::driver_timeout);
    EXPECT_FALSE(video.file.readable());
    ASSERT_EQ(video.start(), 0);
    EXPECT_EQ(desk.bytes(video.get().frame.addr, 1)[0], 1);
}

class Hurried : public VideoDesk, public ::testing::WithParamInterface<uint32_t> {};

TEST_P(Hurried, ShowKeyFramesAlone)
{
    play(video);
    ASSERT_EQ(video.order(GetParam()), 0);
    for (uint8_t i = 0; i < 20; i++)
        ASSERT_TRUE(feed(video, show, i, i, i % 5 == 0 ? frame_key : 0U));
    ASSERT_TRUE(video.feed_last());
    EXPECT_EQ(take_all(video), (std::vector{0, 5, 10, 15}));
}

INSTANTIATE_TEST_SUITE_P(Modes, Hurried, ::testing::Values(wire::IDECODE_REWIND, wire::IDECODE_FASTFORWARD));

TEST_F(VideoControl, PlayGoesOnAfterFastForward)
{
    play(video);
    ASSERT_EQ(video.order(wire::IDECODE_FASTFORWARD), 0);
    ASSERT_TRUE(feed(video, show, 1, 0, frame_key));
    EXPECT_EQ(desk.bytes(video.get().frame.addr, 1)[0], 1);
    ASSERT_EQ(video.start(), 0);
    ASSERT_TRUE(feed(video, show, 2));
    EXPECT_EQ(desk.bytes(video.get().frame.addr, 1)[0], 2);
}

TEST_F(VideoControl, WaitEndsWithTheStreamAndTimesOutWithoutAnEnd)
{
    play(video);
    ASSERT_TRUE(feed(video, show));
    EXPECT_EQ(video.wait(0), wire::driver_timeout);
    EXPECT_EQ(video.wait(50), wire::driver_timeout);
    const auto waiting = video.begin_wait(-1);
    ASSERT_TRUE(video.feed_last());
    EXPECT_EQ(Player::answer_of(*waiting).as<wire::wait_record>().status, wire::driver_done);
    EXPECT_EQ(video.wait(0), wire::driver_done);
}

TEST_F(VideoControl, TheClockTellsTheLastPictureOfTheFirstDecoderThatPlays)
{
    Player second(desk, wire::node::vdecode, 2, 1);
    EXPECT_EQ(clock(video), 0U);
    play(second);
    ASSERT_TRUE(feed(second, show, 0, 500));
    EXPECT_TRUE(eventually([&] { return clock(video) == 500; }));
    play(video);
    EXPECT_EQ(clock(video), 0U);
    ASSERT_TRUE(feed(video, show, 0, 120));
    EXPECT_TRUE(eventually([&] { return clock(second) == 120; }));
}

TEST_F(VideoControl, DecodersWorkSideBySide)
{
    Player second(desk, wire::node::vdecode, 3, 0);
    play(video);
    play(second);
    occupy(video);
    ASSERT_TRUE(feed(second, show, 8));
    ASSERT_TRUE(second.feed_last());
    EXPECT_EQ(take_all(second), std::vector{8});
}

/* ---- In real time ---- */

/* Times are counted from before the first picture: nothing comes early, however slow the machine. */
class VideoRealTime : public VideoDesk {
  protected:
    VideoRealTime() { desk.set_real_time(); }
};

TEST_F(VideoRealTime, FramesAreGivenWhenTheyAreDue)
{
    play(video);
    const auto begin = Clock::now();
    for (const uint32_t tsms : {1000U, 1100U, 1200U})
        ASSERT_TRUE(feed(video, show, 0, tsms));
    ASSERT_EQ(video.get().status, wire::driver_done);
    ASSERT_EQ(video.get().status, wire::driver_done);
    EXPECT_GE(Clock::now() - begin, 100ms);
    ASSERT_EQ(video.get().status, wire::driver_done);
    EXPECT_GE(Clock::now() - begin, 200ms);
    EXPECT_EQ(clock(video), 1200U);
}

TEST_F(VideoRealTime, TheStreamEndsWhenItsLastPictureWasSeen)
{
    play(video);
    const auto begin = Clock::now();
    for (const uint32_t tsms : {0U, 150U})
        ASSERT_TRUE(feed(video, show, 0, tsms));
    ASSERT_TRUE(video.feed_last());
    EXPECT_EQ(video.wait(), wire::driver_done);
    EXPECT_GE(Clock::now() - begin, 150ms);
}

TEST_F(VideoRealTime, FastForwardDoesNotWaitForTimeStamps)
{
    play(video);
    ASSERT_EQ(video.order(wire::IDECODE_FASTFORWARD), 0);
    const auto begin = Clock::now();
    for (const uint32_t tsms : {0U, 9000U, 18'000U, 27'000U})
        ASSERT_TRUE(feed(video, show, 0, tsms, frame_key));
    ASSERT_TRUE(video.feed_last());
    EXPECT_EQ(take_all(video).size(), 4U);
    EXPECT_LT(Clock::now() - begin, eternity);
}

TEST_F(VideoRealTime, TimeStampsThatFallBackBeginANewTimeLine)
{
    play(video);
    const auto begin = Clock::now();
    for (const uint32_t tsms : {3600000U, 0U, 300U})
        ASSERT_TRUE(feed(video, show, 0, tsms));
    for (int i = 0; i < 3; i++)
        ASSERT_EQ(video.get().status, wire::driver_done);
    EXPECT_GE(Clock::now() - begin, 300ms);
}

TEST_F(VideoRealTime, AProgramThatTakesNothingPlaysInTime)
{
    play(video);
    const auto begin = Clock::now();
    for (uint32_t i = 0; i < 20; i++)
        ASSERT_TRUE(feed(video, show, 0, i * 40));
    ASSERT_TRUE(video.feed_last());
    EXPECT_EQ(video.wait(), wire::driver_done);
    EXPECT_GE(Clock::now() - begin, 760ms);
    EXPECT_EQ(clock(video), 760U);
}

} // namespace
} // namespace orka::board::desk
