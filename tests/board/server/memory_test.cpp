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

} // namespace
} // namespace orka::board
