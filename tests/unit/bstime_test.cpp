#include "orka_bstime.h"

#include <cerrno>
#include <gtest/gtest.h>
#include <vector>

#include "common/orka_bstime_internal.h"
#include "support/harness.h"
#include "support/words.h"

using namespace orka_test;

namespace {

class Bstime : public HarnessTest {
  protected:
    Bstime() : map(orka_bstime_init()) {}

    void TearDown() override
    {
        EXPECT_EQ(orka_bstime_destroy(map), ORKA_STATUS_SUCCESS);
        HarnessTest::TearDown();
    }

    void add(uint32_t time, uint32_t bytes)
    {
        const orka_iencode_frame_t frame = {.size = bytes, .timestamp = time};
        EXPECT_EQ(orka_bstime_new_entry(map, &frame), ORKA_STATUS_SUCCESS);
    }

    int32_t use(uint32_t count) { return orka_bstime_bytes_used(map, count); }
    uint32_t time() { return orka_bstime_get_bistream_time(map); }
    ptrdiff_t write() const { return map->write - map->entries; }
    ptrdiff_t read() const { return map->read - map->entries; }
    Words entry(int index) const { return words_of(map->entries[index]); }
    Words all_entries() const
    {
        Words words;
        for (const orka_bstime_entry &entry : map->entries) {
            const Words more = words_of(entry);
            words.insert(words.end(), more.begin(), more.end());
        }
        return words;
    }

    orka_bstime_t *map;
};

/* Handles */

TEST_F(Bstime, ANewMapIsEmptyAndAlive)
{
    EXPECT_EQ(map->magic, 0x4253544Du);
    EXPECT_EQ(map->alive, 1u);
    EXPECT_EQ(all_entries(), Words(50));
    EXPECT_EQ(write(), 0);
    EXPECT_EQ(read(), 0);
}

TEST_F(Bstime, CreationWithoutMemoryIsReportedWithoutErrno)
{
    kernel.fail(Fn::allocation, {.error = ENOMEM});
    EXPECT_EQ(orka_bstime_init(), nullptr);
    EXPECT_EQ(log.take_error(), error_line("orka_bstime_init", "ORKA_BSTIME: Allocating BSTime Handle."));
}

TEST_F(Bstime, DestructionZeroesTheHandleBeforeItIsFreed)
{
    kernel.watch_block(sizeof(orka_bstime_t));
    orka_bstime_t *other = orka_bstime_init();
    const orka_iencode_frame_t frame = {.size = 7, .timestamp = 8};

    EXPECT_EQ(orka_bstime_new_entry(other, &frame), ORKA_STATUS_SUCCESS);
    EXPECT_EQ(orka_bstime_destroy(other), ORKA_STATUS_SUCCESS);
    EXPECT_EQ(kernel.freed_bytes(), std::vector<uint8_t>(sizeof(orka_bstime_t)));
}

struct Operation {
    const char *name;
    uint32_t (*call)(orka_bstime_t *handle);
};

const Operation operations[] = {
    {"orka_bstime_destroy", [](orka_bstime_t *h) { return static_cast<uint32_t>(orka_bstime_destroy(h)); }},
    {"orka_bstime_new_entry",
     [](orka_bstime_t *h) {
         const orka_iencode_frame_t frame = {.size = 1, .timestamp = 1};
         return static_cast<uint32_t>(orka_bstime_new_entry(h, &frame));
     }},
    {"orka_bstime_bytes_used",
     [](orka_bstime_t *h) { return static_cast<uint32_t>(orka_bstime_bytes_used(h, 0)); }},
    {"orka_bstime_get_bistream_time", orka_bstime_get_bistream_time},
    {"orka_bstime_reset", [](orka_bstime_t *h) { return static_cast<uint32_t>(orka_bstime_reset(h)); }},
};

TEST_F(Bstime, NoHandleIsReportedByTheCheckAndByTheOperation)
{
    for (const Operation &operation : operations) {
        EXPECT_EQ(operation.call(nullptr), static_cast<uint32_t>(ORKA_STATUS_NULL_POINTER));
        EXPECT_EQ(log.take_error(), error_line("orka_bstime_check_handle", "ORKA_BSTIME: Handle is NULL.") +
                                        error_line(operation.name, "ORKA_BSTIME: Invalid BSTime Handle."));
    }
}

TEST_F(Bstime, AHandleThatIsNoneIsReportedByTheCheckAndByTheOperation)
{
    orka_bstime_t dead = {.magic = 0x4253544D, .alive = 0};
    orka_bstime_t twice = {.magic = 0x4253544D, .alive = 2};
    orka_bstime_t foreign = {.magic = 0x4D545342, .alive = 1};

    for (orka_bstime_t *bad : {&dead, &twice, &foreign}) {
        for (const Operation &operation : operations) {
            EXPECT_EQ(operation.call(bad), static_cast<uint32_t>(ORKA_STATUS_INITIALIZATION));
            EXPECT_EQ(log.take_error(),
                      error_line("orka_bstime_check_handle", "ORKA_BSTIME: Invalid BSTime Handle.") +
                          error_line(operation.name, "ORKA_BSTIME: Invalid BSTime Handle."));
        }
    }
}

/* Frames */

TEST_F(Bstime, AnEmptyMapHasNoTimeAndNoBytes)
{
    EXPECT_EQ(time(), 0u);
    EXPECT_EQ(use(0), 0);
    EXPECT_EQ(use(1), -1);
}

TEST_F(Bstime, AFrameFillsItsEntryAndIsRememberedInTheNext)
{
    add(1000, 500);
    EXPECT_EQ(entry(0), (Words{1000, 500, 0, 0, 0}));
    EXPECT_EQ(entry(1), (Words{0, 0, 0, 1000, 500}));
    EXPECT_EQ(write(), 1);
    EXPECT_EQ(read(), 0);
    add(1040, 600);
    EXPECT_EQ(entry(1), (Words{1040, 600, 0, 1000, 500}));
    EXPECT_EQ(entry(2), (Words{0, 0, 0, 1040, 600}));
}

TEST_F(Bstime, OnlySizeAndTimeStampOfAFrameAreRead)
{
    orka_iencode_frame_t frame;
    memset(&frame, 0x77, sizeof frame);
    frame.size = 3;
    frame.timestamp = 4;
    EXPECT_EQ(orka_bstime_new_entry(map, &frame), ORKA_STATUS_SUCCESS);
    EXPECT_EQ(entry(0), (Words{4, 3, 0, 0, 0}));
    EXPECT_EQ(words_of(frame)[4], 3u);
    EXPECT_EQ(words_of(frame)[7], 4u);
}

TEST_F(Bstime, AFrameWithoutBytesChangesNothing)
{
    add(1000, 500);
    const Words before = all_entries();
    add(1040, 0);
    EXPECT_EQ(all_entries(), before);
    EXPECT_EQ(write(), 1);
}

TEST_F(Bstime, TheTenthFrameMakesTheMapLookEmpty)
{
    for (uint32_t i = 0; i < 9; i++)
        add(1000 + i, 100);
    EXPECT_EQ(write(), 9);
    EXPECT_EQ(use(1), 0);
    add(1009, 100);
    EXPECT_EQ(write(), 0);
    EXPECT_EQ(read(), 0);
    EXPECT_EQ(use(1), -1);
    EXPECT_EQ(entry(0), (Words{1000, 100, 1, 1009, 100}));
}

/* Draining */

TEST_F(Bstime, BytesAreTakenFromOneFrameAfterTheOther)
{
    add(1000, 100);
    add(1040, 50);
    EXPECT_EQ(use(100), 0);
    EXPECT_EQ(read(), 0) << "a frame is left with the first byte of the next one";
    EXPECT_EQ(use(1), 0);
    EXPECT_EQ(read(), 1);
    EXPECT_EQ(entry(0)[2], 100u);
    EXPECT_EQ(entry(1)[2], 1u);
    EXPECT_EQ(use(49), 0);
    EXPECT_EQ(use(0), 0);
}

TEST_F(Bstime, DrainingTooMuchDrainsAll)
{
    add(1000, 100);
    add(1040, 50);
    EXPECT_EQ(use(151), -1);
    EXPECT_EQ(read(), write());
    EXPECT_EQ(entry(0)[2], 100u);
    EXPECT_EQ(entry(1)[2], 50u);
}

TEST_F(Bstime, DrainingGoesRoundTheRing)
{
    for (uint32_t i = 0; i < 25; i++) {
        add(1000 + 40 * i, 10);
        EXPECT_EQ(use(i == 0 ? 5 : 10), 0);
        EXPECT_EQ(time(), 1000 + 40 * i + (i == 0 ? 0 : 20)) << i;
    }
    EXPECT_EQ(write(), 5);
    EXPECT_EQ(read(), 4);
}

/* Times */

TEST_F(Bstime, WithinAFrameTimeGoesEvenlyToTheNextOnes)
{
    add(1000, 500);
    add(1040, 500);
    EXPECT_EQ(use(250), 0);
    EXPECT_EQ(time(), 1020u);
    EXPECT_EQ(entry(0), (Words{1020, 250, 0, 0, 0}));
    EXPECT_EQ(time(), 1020u);
    EXPECT_EQ(use(250), 0);
    EXPECT_EQ(time(), 1040u);
}

TEST_F(Bstime, AFrameThatIsAskedForWhenItIsDrainedHasNoBytesAndNoTimeAnyMore)
{
    add(1000, 500);
    add(1040, 500);
    EXPECT_EQ(use(500), 0);
    EXPECT_EQ(time(), 1040u);
    EXPECT_EQ(time(), 0u);
}

TEST_F(Bstime, TheLastFrameGoesAtTheRateOfTheOneBefore)
{
    add(1960, 400);
    add(2000, 400);
    EXPECT_EQ(use(400), 0);
    EXPECT_EQ(use(100), 0);
    EXPECT_EQ(time(), 2010u);
    EXPECT_EQ(entry(1), (Words{2010, 300, 0, 1960, 400}));
}

TEST_F(Bstime, ANextFrameOfTheSameTimeStopsIt)
{
    add(1000, 500);
    add(1000, 500);
    EXPECT_EQ(use(250), 0);
    EXPECT_EQ(time(), 1000u);
}

TEST_F(Bstime, ANextFrameOfAnEarlierTimeLeavesTheRateOfTheOneBefore)
{
    add(1960, 400);
    add(2000, 400);
    add(1000, 400);
    EXPECT_EQ(use(500), 0);
    EXPECT_EQ(time(), 2010u);
}

TEST_F(Bstime, ARateIsWorkedOutInWholeBytesASecond)
{
    add(1000, 1);
    add(2001, 1000);
    EXPECT_EQ(use(501), 0);
    EXPECT_EQ(time(), 2001u) << "1 * 1000 / 1001 is a rate of 0";
    add(2001, 7);
    EXPECT_EQ(use(501), 0);
    EXPECT_EQ(time(), 2001u + 2 * 1000 / (1000 * 1000 / 1)) << "no time between the frames: a rate of 0";
}

TEST_F(Bstime, AFirstFrameAloneGoesAtNoRate)
{
    add(1000, 500);
    EXPECT_EQ(use(250), 0);
    EXPECT_EQ(time(), 1000u);
    EXPECT_EQ(entry(0), (Words{1000, 250, 0, 0, 0}));
}

TEST_F(Bstime, ProductsWrapAt32Bits)
{
    add(0, 0x10000);
    add(0x10000, 1);
    EXPECT_EQ(use(0x10000), 0);
    EXPECT_EQ(time(), 0u) << "0x10000 * 0x10000 is 0";

    EXPECT_EQ(orka_bstime_reset(map), ORKA_STATUS_SUCCESS);
    add(0, 4294968); /* times 1000: 4294968000 - 4294967296 = 704 */
    add(64, 1000);
    EXPECT_EQ(use(4294968 + 11), 0);
    EXPECT_EQ(time(), 64u + 11 * 1000 / (704 / 64));
}

TEST_F(Bstime, TimesWrapAt32Bits)
{
    add(0xFFFFFFD8, 400); /* 40 before 0 */
    add(0, 400);
    EXPECT_EQ(use(500), 0);
    EXPECT_EQ(time(), 10u) << "400 bytes in 40 ms";
}

TEST_F(Bstime, ADrainedMapStillAnswersWithWhatItsEntryHeld)
{
    for (uint32_t i = 0; i < 10; i++) {
        add(1000 + 40 * i, 100);
        EXPECT_EQ(use(100), 0);
    }
    EXPECT_EQ(use(1), -1);
    EXPECT_EQ(read(), write());
    /* The first frame's entry, drained: all its bytes, towards the second one's time. */
    EXPECT_EQ(entry(0), (Words{1000, 100, 100, 1360, 100}));
    EXPECT_EQ(time(), 1040u);
}

/* Reset */

TEST_F(Bstime, AResetForgetsAllFramesAndLeavesTheHandle)
{
    for (uint32_t i = 0; i < 12; i++) {
        add(1000 + i, 10);
        use(9);
    }
    EXPECT_EQ(orka_bstime_reset(map), ORKA_STATUS_SUCCESS);
    EXPECT_EQ(all_entries(), Words(50));
    EXPECT_EQ(write(), 0);
    EXPECT_EQ(read(), 0);
    EXPECT_EQ(map->magic, 0x4253544Du);
    EXPECT_EQ(map->alive, 1u);
    EXPECT_EQ(time(), 0u);
}

} // namespace
