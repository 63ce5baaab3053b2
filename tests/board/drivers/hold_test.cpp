/* A board that is held: nothing is shown but what is asked for. */
#include <nlohmann/json.hpp>

#include "video_desk.h"

namespace orka::board::desk {
namespace {

/* ---- The clock ---- */

class HeldClock : public ::testing::Test {
  protected:
    HeldClock()
    {
        clock.begin();
        clock.go(now);
    }
    const Clock::time_point now{1000s};
    PresentationClock clock;
};

TEST_F(HeldClock, StandsStillWhateverMoves)
{
    clock.due(0, now);
    clock.hold(now + 100ms);
    clock.hold(now + 200ms);
    clock.go(now + 300ms);
    clock.halt(now + 400ms);
    clock.release(now + 600ms);
    EXPECT_EQ(clock.due(200, now + 600ms), now + 700ms);
}

TEST_F(HeldClock, StaysWhereNothingMovesAfterItsRelease)
{
    clock.due(0, now);
    clock.hold(now + 100ms);
    clock.halt(now + 200ms);
    clock.release(now + 300ms);
    clock.go(now + 600ms);
    EXPECT_EQ(clock.due(200, now + 600ms), now + 700ms);
}

TEST_F(HeldClock, GoesOnFromThePictureThatWasAskedFor)
{
    clock.due(0, now);
    clock.hold(now + 100ms);
    clock.ask_picture();
    EXPECT_TRUE(clock.take_picture(5000));
    EXPECT_FALSE(clock.take_picture(5040)) << "one was asked for";
    clock.release(now + 600ms);
    EXPECT_EQ(clock.due(5040, now + 600ms), now + 640ms);
}

TEST_F(HeldClock, ReachesTheTimeOfThePictureThatWasAskedFor)
{
    clock.hold(now);
    EXPECT_FALSE(clock.is_reached(0));
    clock.ask_picture();
    clock.take_picture(40);
    EXPECT_TRUE(clock.is_reached(40));
    EXPECT_FALSE(clock.is_reached(41));
    clock.restart();
    EXPECT_FALSE(clock.is_reached(0)) << "time stamps began anew";
}

TEST_F(HeldClock, ForgetsWhatNobodyShowed)
{
    clock.hold(now);
    clock.ask_picture();
    clock.release(now);
    clock.hold(now);
    EXPECT_FALSE(clock.take_picture(0));
}

TEST_F(HeldClock, TakesNoWishWhileNothingIsStarted)
{
    clock.end();
    clock.hold(now);
    clock.ask_picture();
    EXPECT_FALSE(clock.take_picture(0));
}

TEST_F(HeldClock, TellsThoseWhoListen)
{
    int told = 0;
    const uint32_t listener = clock.listen([&] { told++; });
    clock.hold(now);
    clock.ask_picture();
    clock.release(now);
    EXPECT_EQ(told, 3);
    clock.ignore(listener);
    clock.hold(now);
    EXPECT_EQ(told, 3);
}

/* ---- A decoder ---- */

class HeldVideo : public VideoDesk, public ::testing::WithParamInterface<bool> {
  protected:
    HeldVideo()
    {
        if (GetParam())
            desk.set_real_time();
        desk.on_clock([](PresentationClock &clock) { clock.hold(Clock::now()); });
    }
    void ask()
    {
        desk.on_clock([](PresentationClock &clock) { clock.ask_picture(); });
    }
    bool holds(uint32_t count)
    {
        return eventually(
            [&] { return desk.report<nlohmann::json>()["decoders"][0]["queue"]["decoded"] == count; });
    }
    int32_t status_at_once() { return video.get(0).status; }
};

INSTANTIATE_TEST_SUITE_P(BothClocks, HeldVideo, ::testing::Bool());

TEST_P(HeldVideo, ShowsNothingUntilItsRelease)
{
    play(video);
    ASSERT_TRUE(feed(video, show, 1, 0) && feed(video, show, 2, 1));
    ASSERT_TRUE(holds(2));
    EXPECT_EQ(status_at_once(), wire::driver_timeout);
    desk.on_clock([](PresentationClock &clock) { clock.release(Clock::now()); });
    EXPECT_EQ(video.get().frame.tsms, 0U);
    EXPECT_EQ(video.get().frame.tsms, 1U);
}

TEST_P(HeldVideo, ShowsOnePictureForEachThatIsAskedFor)
{
    play(video);
    for (const uint32_t tsms : {0U, 40U, 80U})
        ASSERT_TRUE(feed(video, show, 1, tsms));
    ASSERT_TRUE(holds(3));
    ask();
    EXPECT_EQ(video.get().frame.tsms, 0U);
    EXPECT_EQ(status_at_once(), wire::driver_timeout);
    ask();
    EXPECT_EQ(video.get().frame.tsms, 40U);
    EXPECT_EQ(status_at_once(), wire::driver_timeout);
    EXPECT_TRUE(holds(1));
}

TEST_P(HeldVideo, ShowsAPictureThatIsDecodedAfterItWasAskedFor)
{
    play(video);
    ask();
    ASSERT_TRUE(feed(video, show, 1, 7));
    EXPECT_EQ(video.get().frame.tsms, 7U);
}

TEST_P(HeldVideo, EndsItsStreamWithAStepToo)
{
    play(video);
    ASSERT_TRUE(video.feed_last());
    ASSERT_TRUE(holds(1));
    EXPECT_EQ(video.wait(0), 1);
    ask();
    EXPECT_EQ(video.wait(), 0);
}

} // namespace
} // namespace orka::board::desk
