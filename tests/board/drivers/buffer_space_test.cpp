#include "drivers/buffer_space.h"

#include <gtest/gtest.h>

#include <random>

namespace orka::board {
namespace {

constexpr uint32_t base = 0x100000;

TEST(BufferSpace, BuffersFollowEachOtherAligned)
{
    BufferSpace space(base, 4096);
    EXPECT_EQ(space.allocate(100), base);
    EXPECT_EQ(space.allocate(100), base + 128);
}

TEST(BufferSpace, AFullRangeGivesNothing)
{
    BufferSpace space(base, 4096);
    EXPECT_EQ(space.allocate(4096), base);
    EXPECT_FALSE(space.has_room(1));
    EXPECT_EQ(space.allocate(1), std::nullopt);
    EXPECT_EQ(space.allocate(0), std::nullopt);
}

TEST(BufferSpace, EmptyBuffersAreToldApart)
{
    BufferSpace space(base, 4096);
    EXPECT_NE(space.allocate(0), space.allocate(0));
}

TEST(BufferSpace, GoesOnAtTheBeginningWhenTheEndIsReached)
{
    BufferSpace space(base, 4096);
    ASSERT_EQ(space.allocate(2048), base);
    ASSERT_EQ(space.allocate(1024), base + 2048);
    ASSERT_TRUE(space.free(base));
    EXPECT_EQ(space.allocate(1024), base + 3072);
    EXPECT_EQ(space.allocate(1024), base);
}

TEST(BufferSpace, GoesRoundABufferThatIsKeptForLong)
{
    BufferSpace space(base, 4096);
    ASSERT_EQ(space.allocate(64), base);
    for (int i = 0; i < 20; i++) {
        const auto address = space.allocate(1000);
        ASSERT_TRUE(address);
        EXPECT_NE(*address, base);
        EXPECT_TRUE(space.free(*address));
    }
}

TEST(BufferSpace, ThePreferredPlaceComesFirst)
{
    BufferSpace space(base, 4096);
    ASSERT_EQ(space.allocate(1024), base);
    ASSERT_EQ(space.allocate(1024), base + 1024);
    ASSERT_TRUE(space.free(base));
    space.prefer(base);
    EXPECT_EQ(space.allocate(1024), base);
}

TEST(BufferSpace, TrimmingGivesTheRestBack)
{
    BufferSpace space(base, 4096);
    ASSERT_EQ(space.allocate(4096), base);
    space.trim(base, 10);
    EXPECT_EQ(space.length_of(base), 10U);
    EXPECT_EQ(space.allocate(100), base + 64);
}

TEST(BufferSpace, TrimmingAnOlderBufferLeavesAHole)
{
    BufferSpace space(base, 4096);
    ASSERT_EQ(space.allocate(2048), base);
    ASSERT_EQ(space.allocate(2048), base + 2048);
    space.trim(base, 64);
    EXPECT_FALSE(space.has_room(2048));
    EXPECT_EQ(space.allocate(1024), base + 64);
}

TEST(BufferSpace, OnlyTheBeginningOfABufferIsFreed)
{
    BufferSpace space(base, 4096);
    ASSERT_EQ(space.allocate(100), base);
    EXPECT_FALSE(space.free(base + 64));
    EXPECT_FALSE(space.free(0));
    EXPECT_TRUE(space.free(base));
    EXPECT_FALSE(space.free(base));
}

TEST(BufferSpace, SizesNearTheLimitOfTheirTypeFitNowhere)
{
    BufferSpace space(base, 4096);
    EXPECT_FALSE(space.fits(UINT32_MAX));
    EXPECT_EQ(space.allocate(UINT32_MAX), std::nullopt);
    EXPECT_FALSE(space.fits(4097));
    EXPECT_TRUE(space.fits(4096));
}

TEST(BufferSpace, BuffersNeverOverlapNorLeaveTheRange)
{
    std::mt19937 random(1);
    BufferSpace space(base, 1 << 16);
    std::map<uint32_t, uint32_t> held;
    for (int i = 0; i < 20'000; i++) {
        const uint32_t bytes = static_cast<uint32_t>(random() % 9000);
        if (const auto address = space.allocate(bytes)) {
            const auto [place, fresh] = held.emplace(*address, bytes);
            ASSERT_TRUE(fresh);
            ASSERT_GE(*address, base);
            ASSERT_LE(*address + bytes, base + (1 << 16));
            ASSERT_TRUE(place == held.begin() ||
                        std::prev(place)->first + std::prev(place)->second <= *address);
            ASSERT_TRUE(std::next(place) == held.end() || *address + bytes <= std::next(place)->first);
        }
        while (!held.empty() && random() % 3 == 0) {
            const auto victim = std::next(held.begin(), static_cast<long>(random() % held.size()));
            ASSERT_TRUE(space.free(victim->first));
            held.erase(victim);
        }
    }
    EXPECT_EQ(space.count(), held.size());
}

} // namespace
} // namespace orka::board
