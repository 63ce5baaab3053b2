#include "drivers/frame_queue.h"

#include <gtest/gtest.h>

#include "orka_media.h"

namespace orka::board {
namespace {

class Queue : public ::testing::Test {
  protected:
    bool put(uint32_t number, size_t bytes = 10)
    {
        return queue->put({.kind = ORKA_FRAME_TYPE_VIDEO, .number = number},
                          std::vector<uint8_t>(bytes, static_cast<uint8_t>(number)));
    }
    unsigned put_over(uint32_t number, size_t bytes = 10)
    {
        return queue->put_over({.kind = ORKA_FRAME_TYPE_MOTION_VECTOR, .number = number},
                               std::vector<uint8_t>(bytes));
    }

    Memory memory{16 << 20};
    std::shared_ptr<FrameQueue> queue = FrameQueue::create(memory, 4096, 3);
};

TEST_F(Queue, DataLiesWhereTheFrameSays)
{
    ASSERT_TRUE(put(7, 3));
    const orka_iencode_frame_t frame = *queue->take();
    EXPECT_EQ(frame.addr, queue->base());
    EXPECT_EQ(frame.size, 3U);
    EXPECT_EQ(frame.capacity, 3U);
    EXPECT_EQ(memory.at(frame.addr, 3)[2], 7);
}

TEST_F(Queue, FramesAreTakenInTheirOrder)
{
    EXPECT_FALSE(queue->readable());
    ASSERT_TRUE(put(1));
    ASSERT_TRUE(put(2));
    EXPECT_TRUE(queue->readable());
    EXPECT_EQ(queue->take()->number, 1U);
    EXPECT_EQ(queue->take()->number, 2U);
    EXPECT_FALSE(queue->readable());
    EXPECT_FALSE(queue->take());
}

TEST_F(Queue, HeldFramesTakeTheirPlaceUntilTheyAreReleased)
{
    for (uint32_t number : {1U, 2U, 3U})
        ASSERT_TRUE(put(number));
    queue->take();
    EXPECT_FALSE(put(4));
    EXPECT_FALSE(queue->has_place());
    EXPECT_TRUE(queue->release());
    EXPECT_TRUE(queue->has_place());
    EXPECT_TRUE(put(4));
    EXPECT_FALSE(queue->release());
}

TEST_F(Queue, AnyHeldFrameCanBeReleasedByItsAddressAndOnce)
{
    ASSERT_TRUE(put(1));
    ASSERT_TRUE(put(2));
    const uint32_t first = queue->take()->addr;
    EXPECT_FALSE(queue->release(first + 64)) << "that one waits yet";
    const uint32_t second = queue->take()->addr;
    EXPECT_TRUE(queue->release(second));
    EXPECT_FALSE(queue->release(second));
    EXPECT_TRUE(queue->release(first));
}

TEST_F(Queue, WithoutAnAddressTheOldestIsReleased)
{
    ASSERT_TRUE(put(1));
    ASSERT_TRUE(put(2));
    const uint32_t first = queue->take()->addr;
    const uint32_t second = queue->take()->addr;
    EXPECT_TRUE(queue->release());
    EXPECT_FALSE(queue->release(first));
    EXPECT_TRUE(queue->release(second));
}

TEST_F(Queue, WhoWaitsForRoomIsToldOfReleasesAndOfALastThatWasTaken)
{
    int told = 0;
    queue->on_room([&] { told++; });
    ASSERT_TRUE(put(1));
    queue->put_last({.kind = ORKA_FRAME_TYPE_LAST});
    queue->take();
    EXPECT_EQ(told, 0);
    queue->release();
    EXPECT_EQ(told, 1);
    queue->take();
    EXPECT_EQ(told, 2);
}

TEST_F(Queue, LastTakesNoRoomAndIsNotHeld)
{
    for (uint32_t number : {1U, 2U, 3U})
        ASSERT_TRUE(put(number));
    queue->put_last({.kind = ORKA_FRAME_TYPE_LAST});
    for (int i = 0; i < 3; i++)
        queue->take();
    EXPECT_EQ(queue->take()->addr, queue->base());
    EXPECT_EQ(queue->held(), 3U);
}

TEST_F(Queue, PuttingOverDropsTheOldestThatWait)
{
    for (uint32_t number : {1U, 2U, 3U})
        EXPECT_EQ(put_over(number), 0U);
    EXPECT_EQ(put_over(4), 1U);
    EXPECT_EQ(queue->take()->number, 2U);
    EXPECT_EQ(put_over(5, 4096 - 128), 2U) << "what is held stays, and takes 64 bytes";
    EXPECT_EQ(queue->take()->number, 5U);
}

TEST_F(Queue, PuttingOverDropsTheFrameItselfWhereEverythingIsHeld)
{
    for (uint32_t number : {1U, 2U, 3U}) {
        put_over(number);
        queue->take();
    }
    EXPECT_EQ(put_over(4), 1U);
    EXPECT_FALSE(queue->readable());
}

TEST_F(Queue, WhatNeverFitsIsDroppedAndTheOthersStay)
{
    ASSERT_TRUE(put(1));
    EXPECT_EQ(put_over(2, 4097), 1U);
    EXPECT_EQ(queue->take()->number, 1U);
}

TEST_F(Queue, ItsMemoryIsFreeAgainWhenItEnds)
{
    EXPECT_EQ(memory.queues().blocks().size(), 1U);
    queue.reset();
    EXPECT_TRUE(memory.queues().blocks().empty());
    EXPECT_EQ(FrameQueue::create(memory, uint64_t{1} << 40, 1), nullptr);
}

} // namespace
} // namespace orka::board
