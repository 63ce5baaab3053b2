#include "drivers/presentation.h"

#include <gtest/gtest.h>

namespace orka::board {
namespace {

using namespace std::chrono_literals;

class Presentation : public ::testing::Test {
  protected:
    const Clock::time_point now{1000s};
    PresentationClock clock;
};

TEST_F(Presentation, TheFirstFrameIsDueAtOnceAndPlacesTheOthers)
{
    EXPECT_EQ(clock.due(5000, now), now);
    EXPECT_EQ(clock.due(5040, now + 10ms), now + 40ms);
    EXPECT_EQ(clock.due(4990, now + 10ms), now - 10ms);
}

TEST_F(Presentation, StandsStillWhileNothingMoves)
{
    clock.go(now);
    clock.due(0, now);
    clock.halt(now + 100ms);
    clock.go(now + 600ms);
    EXPECT_EQ(clock.due(200, now + 600ms), now + 700ms);
}

TEST_F(Presentation, GoesOnWhileOneOfTwoStillMoves)
{
    clock.go(now);
    clock.go(now);
    clock.due(0, now);
    clock.halt(now + 100ms);
    clock.go(now + 600ms);
    EXPECT_EQ(clock.due(200, now + 600ms), now + 200ms);
}

TEST_F(Presentation, EndsWithTheLastDecoderThatStops)
{
    clock.begin();
    clock.begin();
    clock.due(0, now);
    clock.end();
    EXPECT_EQ(clock.due(9000, now), now + 9s);
    clock.end();
    EXPECT_EQ(clock.due(9000, now + 1s), now + 1s);
}

TEST_F(Presentation, AStampFarAheadBeginsAnotherPartOfTheStream)
{
    clock.due(0, now);
    EXPECT_EQ(clock.due(10'001, now), now);
    EXPECT_EQ(clock.due(10'101, now), now + 100ms);
    EXPECT_EQ(clock.due(UINT32_MAX, now), now);
}

} // namespace
} // namespace orka::board
