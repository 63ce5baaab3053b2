#include "drivers/capture_clock.h"

#include <gtest/gtest.h>

namespace orka::board {
namespace {

constexpr uint64_t second = 1'000'000;
static_assert(CaptureClock::longest_lead_us == second);

struct Consumer {
    explicit Consumer(CaptureClock &on) : clock(on), place(on.join([this] { wakes++; })) {}
    ~Consumer() { clock.leave(place); }
    Consumer(const Consumer &) = delete;
    Consumer &operator=(const Consumer &) = delete;

    bool may_take(uint64_t time_us) { return clock.may_take(place, time_us); }
    void advance(uint64_t time_us) { clock.advance(place, time_us); }
    void see(uint64_t time_us) { clock.seen(place, time_us); }
    void stall(bool stalled) { clock.stall(place, stalled); }
    uint64_t position() { return clock.position(place); }

    CaptureClock &clock;
    int wakes = 0;
    CaptureClock::Place place;
};

TEST(CaptureClock, AConsumerAloneTakesWhatItLikes)
{
    CaptureClock clock(false);
    Consumer alone(clock);
    EXPECT_EQ(alone.position(), 0U);
    EXPECT_TRUE(alone.may_take(100 * second));
}

TEST(CaptureClock, NobodyGetsMoreThanASecondAheadOfTheSlowest)
{
    CaptureClock clock(false);
    Consumer slow(clock);
    Consumer quick(clock);
    EXPECT_TRUE(quick.may_take(second));
    EXPECT_FALSE(quick.may_take(second + 1));
    EXPECT_TRUE(slow.may_take(1));
}

TEST(CaptureClock, WhoWasRefusedIsWokenOnceWhenItMayGoOn)
{
    CaptureClock clock(false);
    Consumer slow(clock);
    Consumer quick(clock);
    ASSERT_FALSE(quick.may_take(2 * second));
    slow.advance(second - 1);
    EXPECT_EQ(quick.wakes, 0);
    slow.advance(second);
    slow.advance(second + 1);
    EXPECT_EQ(quick.wakes, 1);
    EXPECT_EQ(slow.wakes, 0);
    EXPECT_TRUE(quick.may_take(2 * second));
}

TEST(CaptureClock, AStalledConsumerHoldsNobodyBackUntilItGoesOn)
{
    CaptureClock clock(false);
    Consumer stalled(clock);
    Consumer quick(clock);
    ASSERT_FALSE(quick.may_take(5 * second));
    stalled.stall(true);
    EXPECT_EQ(quick.wakes, 1);
    EXPECT_TRUE(quick.may_take(5 * second));
    stalled.stall(false);
    EXPECT_FALSE(quick.may_take(5 * second));
}

TEST(CaptureClock, OneThatLeavesHoldsNobodyBack)
{
    CaptureClock clock(false);
    std::optional<Consumer> slow(std::in_place, clock);
    Consumer quick(clock);
    ASSERT_FALSE(quick.may_take(5 * second));
    slow.reset();
    EXPECT_EQ(quick.wakes, 1);
    EXPECT_TRUE(quick.may_take(5 * second));
}

TEST(CaptureClock, OneThatDoesNotKeepStepIsNotWaitedFor)
{
    CaptureClock clock(false);
    const CaptureClock::Place other = clock.join();
    Consumer quick(clock);
    EXPECT_TRUE(quick.may_take(5 * second));
    clock.leave(other);
}

TEST(CaptureClock, ANewOneBeginsWhereTheSlowestOfThoseThatGoOnStands)
{
    CaptureClock clock(false);
    Consumer stalled(clock);
    Consumer first(clock);
    Consumer second_one(clock);
    stalled.stall(true);
    first.see(7 * second);
    second_one.see(8 * second);
    Consumer fresh(clock);
    EXPECT_EQ(fresh.position(), 7 * second);
}

TEST(CaptureClock, AmongStalledOnesItBeginsWhereTheSlowestStands)
{
    CaptureClock clock(false);
    Consumer one(clock);
    Consumer other(clock);
    one.see(3 * second);
    other.see(4 * second);
    one.stall(true);
    other.stall(true);
    EXPECT_EQ(Consumer(clock).position(), 3 * second);
}

TEST(CaptureClock, ANewOneBeginsWithWhatNoProgramHasSeen)
{
    CaptureClock clock(false);
    Consumer ahead(clock);
    ahead.advance(4 * second);
    EXPECT_EQ(Consumer(clock).position(), 0U);
}

TEST(CaptureClock, TheTimeLineEndsWithTheLastAndBeginsAnew)
{
    CaptureClock clock(false);
    {
        Consumer one(clock);
        one.advance(9 * second);
    }
    EXPECT_EQ(Consumer(clock).position(), 0U);
}

TEST(CaptureClock, InRealTimeANewOneBeginsNow)
{
    CaptureClock clock(true);
    Consumer first(clock);
    EXPECT_EQ(first.position(), 0U);
    while (clock.now_us() < 1000) {
    }
    const Consumer fresh(clock);
    EXPECT_GE(clock.position(fresh.place), 1000U);
    EXPECT_LE(clock.position(fresh.place), clock.now_us());
}

} // namespace
} // namespace orka::board
