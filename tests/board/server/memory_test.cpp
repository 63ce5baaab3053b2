#include "server/memory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace orka::board {
namespace {

constexpr uint32_t base = 0x100000;
constexpr uint32_t mebibyte = 0x100000;

TEST(RangeAllocatorTest, GivesTheLowestAddressFirst)
{
    RangeAllocator range(base, 8 * page_size);
    EXPECT_EQ(range.allocate(page_size), base);
    EXPECT_EQ(range.allocate(page_size), base + page_size);
}

TEST(RangeAllocatorTest, RoundsUpToWholePages)
{
    RangeAllocator range(base, 8 * page_size);
    range.allocate(1);
    EXPECT_EQ(range.allocate(page_size + 1), base + page_size);
    EXPECT_EQ(range.allocate(1), base + 3 * page_size);
}

TEST(RangeAllocatorTest, TakesTheFirstGapThatIsLargeEnough)
{
    RangeAllocator range(base, 16 * page_size);
    range.allocate(page_size);
    range.allocate(page_size);
    range.allocate(2 * page_size);
    range.allocate(page_size);
    range.free(base);
    range.free(base + 2 * page_size);
    EXPECT_EQ(range.allocate(2 * page_size), base + 2 * page_size);
    EXPECT_EQ(range.allocate(page_size), base);
}

TEST(RangeAllocatorTest, FillsTheRangeToItsLastPage)
{
    RangeAllocator range(base, 4 * page_size);
    EXPECT_EQ(range.allocate(3 * page_size), base);
    EXPECT_EQ(range.allocate(page_size), base + 3 * page_size);
    EXPECT_FALSE(range.allocate(1));
}

TEST(RangeAllocatorTest, GivesNothingForNoBytes)
{
    RangeAllocator range(base, 4 * page_size);
    EXPECT_FALSE(range.allocate(0));
}

TEST(RangeAllocatorTest, GivesNothingLargerThanTheRange)
{
    RangeAllocator range(base, 4 * page_size);
    EXPECT_FALSE(range.allocate(4 * page_size + 1));
    EXPECT_FALSE(range.allocate(0xFFFFFFFF));
    EXPECT_FALSE(range.allocate(UINT64_MAX));
    EXPECT_TRUE(range.blocks().empty());
}

TEST(RangeAllocatorTest, FreesOnlyWhatItGave)
{
    RangeAllocator range(base, 4 * page_size);
    range.allocate(2 * page_size);
    EXPECT_FALSE(range.free(base + page_size));
    EXPECT_FALSE(range.free(0));
    EXPECT_TRUE(range.free(base));
    EXPECT_FALSE(range.free(base));
}

TEST(RangeAllocatorTest, ResetFreesAll)
{
    RangeAllocator range(base, 4 * page_size);
    range.allocate(4 * page_size);
    range.reset();
    EXPECT_EQ(range.allocate(4 * page_size), base);
}

TEST(MemoryTest, IsOneFileOfTheSizeAsked)
{
    const Memory memory(16 * mebibyte);
    struct stat status {};
    ASSERT_EQ(fstat(memory.fd(), &status), 0);
    EXPECT_EQ(status.st_size, 16 * mebibyte);
    EXPECT_EQ(memory.size(), 16 * mebibyte);
}

TEST(MemoryTest, NobodyChangesItsSize)
{
    const Memory memory(16 * mebibyte);
    EXPECT_EQ(ftruncate(memory.fd(), 15 * mebibyte), -1);
    EXPECT_EQ(errno, EPERM);
    EXPECT_EQ(ftruncate(memory.fd(), 17 * mebibyte), -1);
    EXPECT_EQ(fcntl(memory.fd(), F_GET_SEALS), F_SEAL_SEAL | F_SEAL_SHRINK | F_SEAL_GROW);
}

TEST(MemoryTest, TheFileOffsetIsThePhysicalAddress)
{
    const Memory memory(16 * mebibyte);
    uint8_t byte = 0;
    memory.at(0x123456, 1)[0] = 0x5A;
    ASSERT_EQ(pread(memory.fd(), &byte, 1, 0x123456), 1);
    EXPECT_EQ(byte, 0x5A);
}

TEST(MemoryTest, GivesNoSpanThatLeavesIt)
{
    const Memory memory(16 * mebibyte);
    EXPECT_EQ(memory.at(16 * mebibyte - 4, 4).size(), 4u);
    EXPECT_TRUE(memory.at(16 * mebibyte - 4, 5).empty());
    EXPECT_TRUE(memory.at(16 * mebibyte, 1).empty());
    EXPECT_TRUE(memory.at(0xFFFFFFFF, 2).empty());
    EXPECT_TRUE(memory.at(1, 0xFFFFFFFF).empty());
}

TEST(MemoryTest, ImemBeginsAtOneMebibyteAndTakesThreeEighths)
{
    Memory memory(16 * mebibyte);
    EXPECT_EQ(memory.imem().allocate(5 * mebibyte), mebibyte);
    EXPECT_FALSE(memory.imem().allocate(1));
}

TEST(MemoryTest, QueuesTakeTheRestButTheLastPage)
{
    Memory memory(16 * mebibyte);
    EXPECT_EQ(memory.queues().allocate(10 * mebibyte - page_size), 6 * mebibyte);
    EXPECT_FALSE(memory.queues().allocate(1));
}

constexpr uint32_t place = 2 * mebibyte;
constexpr uint32_t line = 32;

TEST(MemoryTest, WithoutACacheBothSidesAreOne)
{
    const Memory memory(16 * mebibyte);
    EXPECT_FALSE(memory.is_cached());
    EXPECT_EQ(memory.at(place, 1).data(), memory.shared(place, 1).data());
}

/* On a board with a strict cache. */
class CachedMemory : public testing::Test {
  protected:
    uint8_t &dsp(uint32_t offset = 0) { return memory_.at(place + offset, 1).front(); }
    uint8_t &program(uint32_t offset = 0) { return memory_.shared(place + offset, 1).front(); }

    Memory memory_{16 * mebibyte, true};
};

TEST_F(CachedMemory, KeepsItsSidesApart)
{
    dsp() = 1;
    program(1) = 2;
    EXPECT_EQ(program(), 0);
    EXPECT_EQ(dsp(1), 0);
}

TEST_F(CachedMemory, ProgramsMapTheirSide)
{
    program() = 5;
    uint8_t byte = 0;
    EXPECT_EQ(pread(memory_.fd(), &byte, 1, place), 1);
    EXPECT_EQ(byte, 5);
}

TEST_F(CachedMemory, HandsInWhatWasNamedAndNoMore)
{
    program() = 1;
    program(1) = 2;
    memory_.hand_in(place, 1);
    EXPECT_EQ(dsp(), 1);
    EXPECT_EQ(dsp(1), 0);
}

TEST_F(CachedMemory, HandsOutWhatWasNamedAndNoMore)
{
    dsp() = 1;
    dsp(1) = 2;
    memory_.hand_out(place, 1);
    EXPECT_EQ(program(), 1);
    EXPECT_EQ(program(1), 0);
}

TEST_F(CachedMemory, ASyncTakesChangedLinesInAndBringsTheOthersOut)
{
    program() = 1;
    dsp(line) = 2;
    dsp(2 * line) = 3;
    memory_.sync(place, line + 1);
    EXPECT_EQ(dsp(), 1);
    EXPECT_EQ(program(line), 2);
    EXPECT_EQ(program(2 * line), 0);
}

TEST_F(CachedMemory, ALineThatWasHandedOverCountsAsUnchanged)
{
    program() = 1;
    memory_.hand_in(place, line);
    dsp() = 2;
    memory_.sync(place, line);
    EXPECT_EQ(program(), 2);
}

TEST_F(CachedMemory, ALineGoesAsAWhole)
{
    program() = 1;
    dsp(1) = 2;
    memory_.sync(place, 1);
    EXPECT_EQ(dsp(), 1);
    EXPECT_EQ(dsp(1), 0);
}

TEST_F(CachedMemory, NothingPassesThatLiesOutside)
{
    const uint32_t size = memory_.size();
    memory_.shared(size - 1, 1).front() = 1;
    memory_.hand_in(size - 1, 2);
    memory_.hand_in(0xfffffff0, 0x20);
    memory_.sync(size, 1);
    memory_.sync(UINT64_MAX, UINT64_MAX);
    EXPECT_EQ(memory_.at(size - 1, 1).front(), 0);
    memory_.sync(size - 1, UINT64_MAX);
    EXPECT_EQ(memory_.at(size - 1, 1).front(), 1);
}

} // namespace
} // namespace orka::board
