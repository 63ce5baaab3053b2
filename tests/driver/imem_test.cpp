/*
 * IMEM: blocks, mappings, translation, and the manager's other requests. The module remembers its list of
 * blocks and the page size for as long as the process lives, so every test runs in a process of its own.
 */
#include "driver/driver_test.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <thread>
#include <unistd.h>

#include "orka_imem.h"

using namespace orka_test;
using testing::StartsWith;

namespace {

constexpr uint32_t load_request = 0x80216B00;
constexpr uint32_t reset_request = 0x80046B01;
constexpr uint32_t alloc_request = 0xC0046B02;
constexpr uint32_t free_request = 0x80046B03;
constexpr uint32_t block_at = 0x01400000;
constexpr size_t handle_size = 28;
constexpr const char *source = "src/common/orka_imem.cpp";

constexpr Device manager = {"/dev/imanage", nullptr, "orka_idevice_imanage_fd",
                            "ORKA_IDEVICE: Opening IMANAGE Device '/dev/imanage'."};

/* A manager that has one place for a block. */
void serve(Kernel &kernel, uint32_t physical = block_at)
{
    kernel.node("/dev/mem");
    kernel.node("/dev/imanage");
    kernel.on("/dev/imanage", alloc_request, 4, [=](void *record) {
        set_word(record, 0, physical);
        return 0;
    });
    kernel.accept("/dev/imanage", free_request, 4);
}

void in_new_process(const std::function<void(Harness &harness)> &body)
{
    in_fresh_process([&](Harness &harness) {
        body(harness);
        orka_idevice_close_atexit();
    });
}

uintptr_t number(const void *address)
{
    return reinterpret_cast<uintptr_t>(address);
}

void *pointer(uint32_t address)
{
    return reinterpret_cast<void *>(static_cast<uintptr_t>(address));
}

/* The lines for a block of which only the place is said. */
std::string locating(const void *address)
{
    char text[64];
    snprintf(text, sizeof text, "ORKA_IMEM: Locating IMEM Entry for 0x%08X.",
             static_cast<unsigned>(number(address)));
    return error_line("orka_imem_free", text);
}

const std::string no_memory_lines =
    memory.missing_line(ENOENT) + error_line("orka_imem_mmap_actual", "ORKA_IMEM: Obtaining IMEM FD.");

std::vector<uint32_t> requests(const Kernel &kernel)
{
    std::vector<uint32_t> numbers;
    for (const Call &call : kernel.calls(Fn::ioctl))
        numbers.push_back(call.request);
    return numbers;
}

TEST(ImemMethod, HasAName)
{
    EXPECT_STREQ(orka_imem_method_string(0), "DEFAULT");
    EXPECT_STREQ(orka_imem_method_string(1), "MALLOC");
    EXPECT_STREQ(orka_imem_method_string(2), "IMEM");
}

TEST(ImemMethod, ThatIsNoneIsMisspelt)
{
    for (orka_imem_method_t method : {3, -1, INT32_MAX, INT32_MIN})
        EXPECT_STREQ(orka_imem_method_string(method), "UNKOWN");
}

TEST(ImemTranslation, KeepsTheOffsetFromTheBase)
{
    EXPECT_EQ(orka_imem_p2v(0x01000040, 0x01000000, pointer(0x40000000)), pointer(0x40000040));
    EXPECT_EQ(orka_imem_v2p(pointer(0x40000040), pointer(0x40000000), 0x01000000), 0x01000040u);
}

TEST(ImemTranslation, GoesBelowTheBaseToo)
{
    EXPECT_EQ(orka_imem_p2v(0x00FFFFF0, 0x01000000, pointer(0x40000000)), pointer(0x3FFFFFF0));
    EXPECT_EQ(orka_imem_v2p(pointer(0x3FFFFFF0), pointer(0x40000000), 0x01000000), 0x00FFFFF0u);
}

TEST(ImemTranslation, ReachesTheLastAddress)
{
    EXPECT_EQ(orka_imem_p2v(0xFFFFFFFF, 0xF0000000, pointer(0x40000000)), pointer(0x4FFFFFFF));
    EXPECT_EQ(orka_imem_v2p(pointer(0xFFFFFFFF), pointer(0xF0000000), 0x01000000), 0x10FFFFFFu);
}

TEST(ImemTranslation, AbortsOnNull)
{
    EXPECT_EQ(assertion_complaint(end_of([](Kernel &) { orka_imem_p2v(0, 1, pointer(1)); }), source,
                                  "orka_imem_p2v", "paddr != ((void *)0)"),
              "");
    EXPECT_EQ(assertion_complaint(end_of([](Kernel &) { orka_imem_v2p(nullptr, pointer(1), 1); }), source,
                                  "orka_imem_v2p", "vaddr != ((void *)0)"),
              "");
}

TEST(ImemBlock, IsAskedForWithItsPadding)
{
    in_new_process([](Harness &harness) {
        serve(harness.kernel);
        void *block = orka_imem_alloc(10000);
        EXPECT_EQ(harness.kernel.calls(Fn::ioctl).at(0).sent(), words({14096}));
        EXPECT_STREQ(harness.kernel.calls(Fn::ioctl).at(0).path, "/dev/imanage");
        EXPECT_EQ(orka_imem_free(block), ORKA_STATUS_SUCCESS);
    });
}

TEST(ImemBlock, IsMappedWithItsPaddingAndBeginsBehindIt)
{
    in_new_process([](Harness &harness) {
        serve(harness.kernel);
        void *block = orka_imem_alloc(10000);
        Call call = harness.kernel.calls(Fn::mmap).at(0);
        EXPECT_EQ(call.length, 14096u);
        EXPECT_EQ(call.offset, block_at);
        EXPECT_EQ(call.prot, PROT_READ | PROT_WRITE);
        EXPECT_EQ(number(block), call.address + 4096);
        EXPECT_EQ(orka_imem_free(block), ORKA_STATUS_SUCCESS);
    });
}

TEST(ImemBlock, IsThePhysicalMemory)
{
    in_new_process([](Harness &harness) {
        serve(harness.kernel);
        char *block = static_cast<char *>(orka_imem_alloc(100));
        memcpy(block, "bytes", 5);
        EXPECT_EQ(harness.kernel.peek(block_at + 4096, 5), "bytes");
        EXPECT_EQ(orka_imem_free(block), ORKA_STATUS_SUCCESS);
    });
}

TEST(ImemBlock, LiesBelowFourGibibytes)
{
    in_new_process([](Harness &harness) {
        serve(harness.kernel);
        void *block = orka_imem_alloc(1 << 20);
        EXPECT_LT(number(block), UINT32_MAX);
        EXPECT_EQ(orka_imem_free(block), ORKA_STATUS_SUCCESS);
    });
}

TEST(ImemBlock, OfNoBytesIsAllPadding)
{
    in_new_process([](Harness &harness) {
        serve(harness.kernel);
        void *block = orka_imem_alloc(0);
        EXPECT_EQ(harness.kernel.calls(Fn::ioctl).at(0).sent(), words({4096}));
        EXPECT_EQ(orka_imem_free(block), ORKA_STATUS_SUCCESS);
    });
}

TEST(ImemBlock, IsMappedFromThePageItLiesIn)
{
    in_new_process([](Harness &harness) {
        serve(harness.kernel, block_at + 0x20);
        void *block = orka_imem_alloc(100);
        EXPECT_EQ(harness.kernel.calls(Fn::mmap).at(0).offset, block_at);
        EXPECT_EQ(harness.kernel.calls(Fn::mmap).at(0).length, 4196u);
        EXPECT_EQ(orka_imem_free(block), ORKA_STATUS_SUCCESS);
        EXPECT_EQ(harness.kernel.calls(Fn::ioctl).at(1).sent(), words({block_at + 0x20}));
    });
}

TEST(ImemBlock, TakesAPositiveResultForSuccess)
{
    in_new_process([](Harness &harness) {
        serve(harness.kernel);
        harness.kernel.on("/dev/imanage", alloc_request, 4, [](void *record) {
            set_word(record, 0, block_at);
            return 1;
        });
        harness.kernel.refuse("/dev/imanage", free_request, 4, EIO, 1);
        EXPECT_EQ(orka_imem_free(orka_imem_alloc(100)), ORKA_STATUS_SUCCESS);
    });
}

TEST(ImemBlock, IsUnmappedAndThenFreed)
{
    in_new_process([](Harness &harness) {
        serve(harness.kernel);
        harness.kernel.watch_block(handle_size);
        void *block = orka_imem_alloc(100);
        EXPECT_EQ(orka_imem_free(block), ORKA_STATUS_SUCCESS);
        std::vector<Call> calls = harness.kernel.calls({Fn::munmap, Fn::ioctl});
        ASSERT_EQ(calls.size(), 3u);
        EXPECT_EQ(calls[1].address, number(block) - 4096);
        EXPECT_EQ(calls[1].length, 4196u);
        EXPECT_EQ(calls[2].request, free_request);
        EXPECT_EQ(calls[2].sent(), words({block_at}));
        EXPECT_EQ(harness.kernel.freed_bytes(), zeros(handle_size));
    });
}

TEST(ImemBlock, HasAHandleThatBeginsWithItsMagic)
{
    in_new_process([](Harness &harness) {
        serve(harness.kernel);
        harness.kernel.watch_block(handle_size);
        void *block = orka_imem_alloc(100);
        const auto *handle = static_cast<const uint8_t *>(harness.kernel.watched_block());
        ASSERT_NE(handle, nullptr);
        uint32_t vaddr = static_cast<uint32_t>(number(block));
        EXPECT_EQ(Bytes(handle, handle + handle_size),
                  text("HMEM", 4) + words({1, block_at, block_at, vaddr, vaddr - 4096, 4196}));
        EXPECT_EQ(orka_imem_free(block), ORKA_STATUS_SUCCESS);
    });
}

TEST(ImemBlock, IsOneOfSeveral)
{
    in_new_process([](Harness &harness) {
        uint32_t next = block_at;
        serve(harness.kernel);
        harness.kernel.on("/dev/imanage", alloc_request, 4, [&next](void *record) {
            set_word(record, 0, next);
            next += 0x10000;
            return 0;
        });
        std::vector<void *> blocks;
        for (int i = 0; i < 25; i++)
            blocks.push_back(orka_imem_alloc(100));
        for (void *block : blocks)
            EXPECT_EQ(orka_imem_free(block), ORKA_STATUS_SUCCESS);
        EXPECT_EQ(harness.kernel.calls(Fn::ioctl).back().sent(), words({block_at + 24 * 0x10000}));
    });
}

TEST(ImemBlock, IsAllocatedAndFreedByThreadsAtOnce)
{
    in_new_process([](Harness &harness) {
        std::atomic<uint32_t> next{block_at};
        serve(harness.kernel);
        harness.kernel.on("/dev/imanage", alloc_request, 4, [&next](void *record) {
            set_word(record, 0, next.fetch_add(0x2000));
            return 0;
        });
        std::vector<std::thread> threads;
        std::atomic<int> failures{0};
        for (int i = 0; i < 4; i++) {
            threads.emplace_back([&failures] {
                for (int round = 0; round < 20; round++)
                    failures += orka_imem_free(orka_imem_alloc(100)) != ORKA_STATUS_SUCCESS;
            });
        }
        for (std::thread &thread : threads)
            thread.join();
        EXPECT_EQ(failures, 0);
    });
}

/* Expects the allocation to fail with these lines; with lines first, for building them needs the heap too. */
void expect_no_block(Harness &harness, const std::string &lines)
{
    EXPECT_EQ(orka_imem_alloc(100), nullptr);
    EXPECT_EQ(harness.log.take_error(), lines);
}

TEST(ImemAllocation, FailsWithoutTheManagersNode)
{
    in_new_process([](Harness &harness) {
        expect_no_block(harness, manager.missing_line(ENOENT) +
                                     error_line("orka_imem_alloc", "ORKA_IMEM: Obtaining IMANAGE FD."));
    });
}

TEST(ImemAllocation, FailsWithoutMemoryForItsListAndMakesItNextTime)
{
    in_new_process([](Harness &harness) {
        serve(harness.kernel);
        const std::string lines =
            error_line("orka_llist_init", "ORKA_LLIST: Allocating Memory for List Handle.", ENOMEM) +
            error_line("orka_imem_alloc", "ORKA_IMEM: Error Allocating MemList.");
        harness.kernel.fail(Fn::allocation, {.error = ENOMEM});
        expect_no_block(harness, lines);
        EXPECT_TRUE(requests(harness.kernel).empty());
        EXPECT_EQ(orka_imem_free(orka_imem_alloc(100)), ORKA_STATUS_SUCCESS);
    });
}

TEST(ImemAllocation, FailsWithoutMemoryForItsHandle)
{
    in_new_process([](Harness &harness) {
        serve(harness.kernel);
        const std::string lines =
            error_line("orka_imem_alloc", "ORKA_IMEM: Allocating Memory for Handle.", ENOMEM);
        harness.kernel.fail(Fn::allocation, {.error = ENOMEM, .skip = 1});
        expect_no_block(harness, lines);
        EXPECT_TRUE(requests(harness.kernel).empty());
    });
}

TEST(ImemAllocation, FailsWhenTheManagerRefuses)
{
    in_new_process([](Harness &harness) {
        serve(harness.kernel);
        harness.kernel.refuse("/dev/imanage", alloc_request, 4, ENOMEM);
        harness.kernel.watch_block(handle_size);
        expect_no_block(harness,
                        error_line("orka_imem_alloc", "ORKA_IMEM: Allocating 100 bytes of Memory.", ENOMEM));
        EXPECT_EQ(harness.kernel.freed_bytes(), zeros(handle_size));
    });
}

TEST(ImemAllocation, ThatCannotBeMappedIsNotGivenBack)
{
    in_new_process([](Harness &harness) {
        serve(harness.kernel);
        harness.kernel.missing("/dev/mem", ENOENT);
        harness.kernel.watch_block(handle_size);
        expect_no_block(harness,
                        no_memory_lines +
                            error_line("orka_imem_alloc", "ORKA_IMEM: Mapping Memory to Virtual.", ENOENT));
        EXPECT_EQ(requests(harness.kernel), std::vector<uint32_t>{alloc_request});
        EXPECT_EQ(harness.kernel.freed_bytes(), zeros(handle_size));
    });
}

TEST(ImemAllocation, ThatCannotBeListedIsNeitherUnmappedNorGivenBack)
{
    in_new_process([](Harness &harness) {
        serve(harness.kernel);
        harness.kernel.watch_block(handle_size);
        const std::string lines =
            error_line("orka_llist_new_item", "ORKA_LLIST: Allocating List Item.", ENOMEM) +
            error_line("orka_llist_enqueue_actual", "ORKA_LLIST: Allocating List Item.") +
            error_line("orka_imem_alloc", "ORKA_IMEM: Adding MemHandle to the List.");
        harness.kernel.fail(Fn::allocation, {.error = ENOMEM, .skip = 2});
        expect_no_block(harness, lines);
        EXPECT_EQ(requests(harness.kernel), std::vector<uint32_t>{alloc_request});
        EXPECT_TRUE(harness.kernel.calls(Fn::munmap).empty());
        EXPECT_EQ(harness.kernel.freed_bytes(), zeros(handle_size));
        harness.allow_leaked_mappings(1);
    });
}

void expect_fatal(const std::function<void(Kernel &)> &body, const std::string &lines)
{
    Ending ending = end_of(body);
    EXPECT_EQ(ending.status, 1);
    EXPECT_EQ(ending.error, lines);
    EXPECT_EQ(ending.output, "");
}

const std::string invalid_page = fatal_line("orka_imem_get_pageaddr", "ORKA_IMEM: Invalid Page Address.");

TEST(ImemAllocation, EndsTheProcessWhenTheMappingFails)
{
    expect_fatal(
        [](Kernel &kernel) {
            serve(kernel);
            kernel.fail(Fn::mmap, {.error = EAGAIN});
            orka_imem_alloc(100);
        },
        error_line("orka_imem_mmap_actual", "ORKA_IMEM: MMapping Memory.", EAGAIN) + invalid_page);
}

TEST(ImemAllocation, EndsTheProcessWhenTheListOfBlocksCannotBeLockedOrUnlocked)
{
    for (auto [fn, death] :
         {std::pair{Fn::mutex_lock, quiet_lock_death}, std::pair{Fn::mutex_unlock, quiet_unlock_death}}) {
        const Ending ending = end_of([fn = fn](Kernel &kernel) {
            serve(kernel);
            orka_idevice_imanage_fd();
            kernel.fail(fn, {.result = EINVAL});
            orka_imem_alloc(100);
        });
        EXPECT_EQ(ending.status, 1);
        EXPECT_THAT(ending.output, testing::MatchesRegex(death));
        EXPECT_EQ(ending.error, "");
    }
}

TEST(ImemAllocation, EndsTheProcessWhenTheBlockLiesInPageZero)
{
    expect_fatal(
        [](Kernel &kernel) {
            serve(kernel, 0xFFF);
            orka_imem_alloc(100);
        },
        invalid_page);
}

TEST(ImemAllocation, EndsTheProcessBeforeAnythingElseWhenPagesAreLargerThanThePadding)
{
    expect_fatal(
        [](Kernel &kernel) {
            kernel.fail(Fn::sysconf, {.result = 8192});
            orka_imem_alloc(100);
        },
        fatal_line("orka_imem_alloc", "ORKA_IMEM: Padding is Smaller than Page Size."));
}

TEST(ImemPages, EndTheProcessWhenTheirSizeIsUnknown)
{
    for (long size : {-1L, 0L}) {
        expect_fatal(
            [=](Kernel &kernel) {
                kernel.fail(Fn::sysconf, {.error = EINVAL, .result = size});
                orka_imem_alloc(100);
            },
            fatal_line("orka_imem_get_pagesize", "ORKA_IMEM: Obtaining Page Size.", EINVAL));
    }
}

TEST(ImemPages, AreMeasuredOnce)
{
    in_new_process([](Harness &harness) {
        serve(harness.kernel);
        EXPECT_EQ(orka_imem_free(orka_imem_alloc(100)), ORKA_STATUS_SUCCESS);
        EXPECT_EQ(orka_imem_free(orka_imem_alloc(100)), ORKA_STATUS_SUCCESS);
        std::vector<Call> calls = harness.kernel.calls(Fn::sysconf);
        ASSERT_EQ(calls.size(), 1u);
        EXPECT_EQ(calls[0].request, static_cast<uint32_t>(_SC_PAGESIZE));
    });
}

TEST(ImemPages, OfOtherSizesAreReckonedWith)
{
    in_new_process([](Harness &harness) {
        serve(harness.kernel);
        harness.kernel.fail(Fn::sysconf, {.result = 1024});
        harness.kernel.fail(Fn::mmap, {.result = 0x40000400});
        EXPECT_EQ(orka_imem_mmap(0x01000403, 16), pointer(0x40000403));
        EXPECT_EQ(harness.kernel.calls(Fn::mmap).at(0).offset, 0x01000400);
    });
}

/* With pages of three bytes the last address that is positive as a signed number begins one. */
TEST(ImemPages, ThatBeginAboveTheirAddressAsSignedNumbersEndTheProcess)
{
    expect_fatal(
        [](Kernel &kernel) {
            kernel.node("/dev/mem");
            kernel.fail(Fn::sysconf, {.result = 3});
            orka_imem_munmap(reinterpret_cast<void *>(UINTPTR_MAX / 2 + 1), 16);
        },
        invalid_page);
}

/* Expects freeing the block to end with this status and these lines. */
void expect_free(Harness &harness, void *block, orka_status_t status, const std::string &lines)
{
    EXPECT_EQ(orka_imem_free(block), status);
    EXPECT_EQ(harness.log.take_error(), lines);
}

TEST(ImemFreeing, AbortsOnNullBeforeTheNodeIsTried)
{
    Ending ending = end_of([](Kernel &) { orka_imem_free(nullptr); });
    EXPECT_EQ(assertion_complaint(ending, source, "orka_imem_free", "vaddr != ((void *)0)"), "");
    EXPECT_THAT(ending.error, testing::Not(testing::HasSubstr("ERROR:")));
}

TEST(ImemFreeing, FailsWithoutTheManagersNode)
{
    in_new_process([](Harness &harness) {
        expect_free(harness, pointer(0x1000), ORKA_STATUS_IO,
                    manager.missing_line(ENOENT) +
                        error_line("orka_imem_free", "ORKA_IMEM: Obtaining IMANAGE FD."));
    });
}

TEST(ImemFreeing, BeforeAnythingWasAllocatedHasNoListToSearch)
{
    in_new_process([](Harness &harness) {
        serve(harness.kernel);
        expect_free(harness, pointer(0x1000), ORKA_STATUS_INVALID_PARAMETER,
                    error_line("orka_llist_check_handle", "ORKA_LLIST: Null Pointer Deref.") +
                        locating(pointer(0x1000)));
    });
}

TEST(ImemFreeing, AnAddressThatWasNeverGivenIsRefused)
{
    in_new_process([](Harness &harness) {
        serve(harness.kernel);
        char *block = static_cast<char *>(orka_imem_alloc(100));
        expect_free(harness, block + 1, ORKA_STATUS_INVALID_PARAMETER, locating(block + 1));
        EXPECT_EQ(orka_imem_free(block), ORKA_STATUS_SUCCESS);
    });
}

TEST(ImemFreeing, TwiceIsRefused)
{
    in_new_process([](Harness &harness) {
        serve(harness.kernel);
        void *block = orka_imem_alloc(100);
        EXPECT_EQ(orka_imem_free(block), ORKA_STATUS_SUCCESS);
        expect_free(harness, block, ORKA_STATUS_INVALID_PARAMETER, locating(block));
        EXPECT_EQ(requests(harness.kernel), (std::vector<uint32_t>{alloc_request, free_request}));
    });
}

TEST(ImemFreeing, DoesNotFindABlockWhoseHandleWasDamaged)
{
    in_new_process([](Harness &harness) {
        serve(harness.kernel);
        harness.kernel.watch_block(handle_size);
        void *block = orka_imem_alloc(100);
        set_word(harness.kernel.watched_block(), 0, 1);
        expect_free(harness, block, ORKA_STATUS_INVALID_PARAMETER,
                    error_line("orka_imem_memhandle_cmp", "ORKA_IMEM: Invalid IMEM Handle.") +
                        locating(block));
        set_word(harness.kernel.watched_block(), 0, 0x4D454D48);
        EXPECT_EQ(orka_imem_free(block), ORKA_STATUS_SUCCESS);
    });
}

TEST(ImemFreeing, GivesNothingBackOfABlockThatIsDamagedOnItsWayOffTheList)
{
    in_new_process([](Harness &harness) {
        serve(harness.kernel);
        harness.kernel.watch_block(handle_size);
        void *block = orka_imem_alloc(100);
        harness.kernel.forget_calls();
        harness.kernel.fail(Fn::mutex_unlock, {.result = 0, .meanwhile = [&] {
                                                   set_word(harness.kernel.watched_block(), 0, 1);
                                               }});
        char text[64];
        snprintf(text, sizeof text, "ORKA_IMEM: IMEM Entry for 0x%08X is Unvalid.",
                 static_cast<unsigned>(number(block)));
        expect_free(harness, block, ORKA_STATUS_INITIALIZATION, error_line("orka_imem_free", text));
        EXPECT_EQ(harness.kernel.freed_bytes(), zeros(handle_size));
        EXPECT_TRUE(harness.kernel.calls({Fn::munmap, Fn::ioctl}).empty());
        harness.allow_leaked_mappings(1);
    });
}

const std::string unmapping_lines =
    error_line("orka_imem_munmap_actual", "ORKA_IMEM: MMapping Memory.", EINVAL) +
    error_line("orka_imem_free", "ORKA_IMEM: UnMapping IMEM.", EINVAL);

TEST(ImemFreeing, GoesOnWhenUnmappingFails)
{
    in_new_process([](Harness &harness) {
        serve(harness.kernel);
        harness.kernel.watch_block(handle_size);
        void *block = orka_imem_alloc(100);
        harness.kernel.fail(Fn::munmap, {.error = EINVAL});
        expect_free(harness, block, ORKA_STATUS_CRUNTIME, unmapping_lines);
        EXPECT_EQ(requests(harness.kernel).back(), free_request);
        EXPECT_EQ(harness.kernel.freed_bytes(), zeros(handle_size));
        harness.allow_leaked_mappings(1);
    });
}

TEST(ImemFreeing, FailsWhenTheManagerRefusesAndForgetsTheBlock)
{
    in_new_process([](Harness &harness) {
        serve(harness.kernel);
        harness.kernel.refuse("/dev/imanage", free_request, 4, EPERM);
        harness.kernel.watch_block(handle_size);
        void *block = orka_imem_alloc(100);
        expect_free(harness, block, ORKA_STATUS_IO,
                    error_line("orka_imem_free", "ORKA_IMEM: Freeing IMEM.", EPERM));
        EXPECT_EQ(harness.kernel.freed_bytes(), zeros(handle_size));
        expect_free(harness, block, ORKA_STATUS_INVALID_PARAMETER, locating(block));
    });
}

TEST(ImemFreeing, SaysTheManagersRefusalWhenUnmappingFailedToo)
{
    in_new_process([](Harness &harness) {
        serve(harness.kernel);
        harness.kernel.refuse("/dev/imanage", free_request, 4, EPERM);
        void *block = orka_imem_alloc(100);
        harness.kernel.fail(Fn::munmap, {.error = EINVAL});
        expect_free(harness, block, ORKA_STATUS_IO,
                    unmapping_lines + error_line("orka_imem_free", "ORKA_IMEM: Freeing IMEM.", EPERM));
        harness.allow_leaked_mappings(1);
    });
}

TEST(ImemMapping, BeginsInTheMiddleOfAPage)
{
    in_new_process([](Harness &harness) {
        serve(harness.kernel);
        char *at = static_cast<char *>(orka_imem_mmap(0x01000003, 16));
        Call call = harness.kernel.calls(Fn::mmap).at(0);
        EXPECT_EQ(call.length, 19u);
        EXPECT_EQ(call.offset, 0x01000000);
        EXPECT_EQ(number(at), call.address + 3);
        EXPECT_EQ(call.prot, PROT_READ | PROT_WRITE);
        EXPECT_TRUE(call.flags & MAP_SHARED);
        EXPECT_EQ(orka_imem_munmap(at, 16), ORKA_STATUS_SUCCESS);
        call = harness.kernel.calls(Fn::munmap).at(0);
        EXPECT_EQ(call.length, 19u);
        EXPECT_EQ(call.address, number(at) - 3);
    });
}

TEST(ImemMapping, OfAWholePageIsNoLonger)
{
    in_new_process([](Harness &harness) {
        serve(harness.kernel);
        void *at = orka_imem_mmap(0x01001000, 4096);
        EXPECT_EQ(harness.kernel.calls(Fn::mmap).at(0).length, 4096u);
        EXPECT_LT(number(at), UINT32_MAX);
        EXPECT_EQ(orka_imem_munmap(at, 4096), ORKA_STATUS_SUCCESS);
    });
}

TEST(ImemMapping, FailsWithoutTheNodeEvenAtAddressZero)
{
    in_new_process([](Harness &harness) {
        EXPECT_EQ(orka_imem_mmap(0, 16), nullptr);
        EXPECT_EQ(harness.log.take_error(), no_memory_lines);
    });
}

TEST(ImemMapping, AtAddressZeroAborts)
{
    Ending ending = end_of([](Kernel &kernel) {
        serve(kernel);
        orka_imem_mmap(0, 16);
    });
    EXPECT_EQ(assertion_complaint(ending, source, "orka_imem_mmap_actual", "paddr != 0"), "");
}

TEST(ImemMapping, InPageZeroEndsTheProcess)
{
    expect_fatal(
        [](Kernel &kernel) {
            serve(kernel);
            orka_imem_mmap(0x10, 16);
        },
        invalid_page);
}

TEST(ImemMapping, LongerThanAllMemoryAborts)
{
    Ending ending = end_of([](Kernel &kernel) {
        serve(kernel);
        orka_imem_mmap(0x01000003, 0xFFFFFFFE);
    });
    EXPECT_EQ(assertion_complaint(ending, source, "orka_imem_mmap_actual", "reallen >= length"), "");
}

TEST(ImemMapping, ThatFailsEndsTheProcess)
{
    expect_fatal(
        [](Kernel &kernel) {
            serve(kernel);
            kernel.fail(Fn::mmap, {.error = ENXIO});
            orka_imem_mmap(0x01000000, 16);
        },
        error_line("orka_imem_mmap_actual", "ORKA_IMEM: MMapping Memory.", ENXIO) + invalid_page);
}

TEST(ImemMapping, OffAPageBoundaryIsWarnedOfOnStandardOutput)
{
    in_new_process([](Harness &harness) {
        serve(harness.kernel);
        harness.kernel.fail(Fn::mmap, {.result = 0x40000008});
        EXPECT_EQ(orka_imem_mmap(0x01000003, 16), pointer(0x4000000B));
        EXPECT_EQ(
            harness.log.take_output(),
            warning_line("orka_imem_mmap_actual", "ORKA_IMEM: MMAPPED Address is not on a page boundary."));
    });
}

TEST(ImemUnmapping, FailsWithoutTheNodeEvenAtNull)
{
    in_new_process([](Harness &harness) {
        EXPECT_EQ(orka_imem_munmap(nullptr, 16), ORKA_STATUS_IO);
        EXPECT_EQ(harness.log.take_error(),
                  memory.missing_line(ENOENT) +
                      error_line("orka_imem_munmap_actual", "ORKA_IMEM: Obtaining IMEM FD."));
    });
}

TEST(ImemUnmapping, OfNullAborts)
{
    Ending ending = end_of([](Kernel &kernel) {
        serve(kernel);
        orka_imem_munmap(nullptr, 16);
    });
    EXPECT_EQ(assertion_complaint(ending, source, "orka_imem_munmap_actual", "vaddr != ((void *)0)"), "");
}

TEST(ImemUnmapping, OfPageZeroEndsTheProcess)
{
    expect_fatal(
        [](Kernel &kernel) {
            serve(kernel);
            orka_imem_munmap(pointer(0x10), 16);
        },
        invalid_page);
}

TEST(ImemUnmapping, OfMoreThanAllMemoryAborts)
{
    Ending ending = end_of([](Kernel &kernel) {
        serve(kernel);
        orka_imem_munmap(pointer(0x40000003), 0xFFFFFFFE);
    });
    EXPECT_EQ(assertion_complaint(ending, source, "orka_imem_munmap_actual", "reallen >= length"), "");
}

TEST(ImemUnmapping, ThatFailsIsAnError)
{
    in_new_process([](Harness &harness) {
        serve(harness.kernel);
        harness.kernel.fail(Fn::munmap, {.error = EINVAL});
        EXPECT_EQ(orka_imem_munmap(pointer(0x40000000), 16), ORKA_STATUS_ERROR);
        EXPECT_EQ(harness.log.take_error(),
                  error_line("orka_imem_munmap_actual", "ORKA_IMEM: MMapping Memory.", EINVAL));
    });
}

TEST(ImemSync, WaitsUntilTheRangeIsWritten)
{
    in_new_process([](Harness &harness) {
        serve(harness.kernel);
        void *block = orka_imem_alloc(100);
        EXPECT_EQ(orka_imem_msync(block, 100), ORKA_STATUS_SUCCESS);
        Call call = harness.kernel.calls(Fn::msync).at(0);
        EXPECT_EQ(call.address, number(block));
        EXPECT_EQ(call.length, 100u);
        EXPECT_EQ(call.flags, MS_SYNC);
        EXPECT_EQ(orka_imem_free(block), ORKA_STATUS_SUCCESS);
    });
}

TEST(ImemSync, ThatFailsIsReported)
{
    in_new_process([](Harness &harness) {
        harness.kernel.fail(Fn::msync, {.error = ENOMEM});
        EXPECT_EQ(orka_imem_msync(pointer(0x1000), 100), ORKA_STATUS_CRUNTIME);
        EXPECT_EQ(harness.log.take_error(),
                  error_line("orka_imem_msync", "ORKA_IMEM: Syncing IMEM.", ENOMEM));
        EXPECT_TRUE(harness.kernel.calls(Fn::open).empty());
    });
}

/* The manager's two requests that carry no record of their own. */
struct Request {
    const char *name;
    const char *function;
    uint32_t number;
    size_t size;
    orka_status_t (*call)();
    const char *refused;

    friend void PrintTo(const Request &request, std::ostream *stream) { *stream << request.name; }
};

constexpr const char *image_name = "h264_pcm_dec";

const Request manager_requests[] = {
    {"reset", "orka_imem_reset", reset_request, no_record, orka_imem_reset,
     "ORKA_IMEM: Requesting IMEM Reset."},
    {"load", "orka_imem_load_dsp_codec", load_request, name_record,
     [] { return orka_imem_load_dsp_codec(image_name); }, "ORKA_IMEM: Loading DSP Codec 'h264_pcm_dec'."},
};

class ImemManagerRequest : public testing::TestWithParam<Request> {
  protected:
    static void expect_refused(int result)
    {
        in_new_process([=](Harness &harness) {
            harness.kernel.node("/dev/imanage");
            harness.kernel.refuse("/dev/imanage", GetParam().number, GetParam().size, EBUSY, result);
            EXPECT_EQ(GetParam().call(), ORKA_STATUS_ERROR);
            EXPECT_EQ(harness.log.take_error(), error_line(GetParam().function, GetParam().refused, EBUSY));
        });
    }
};

TEST_P(ImemManagerRequest, IsMadeOnTheManagersNode)
{
    in_new_process([](Harness &harness) {
        harness.kernel.node("/dev/imanage");
        harness.kernel.accept("/dev/imanage", GetParam().number, GetParam().size);
        EXPECT_EQ(GetParam().call(), ORKA_STATUS_SUCCESS);
        Call call = harness.kernel.calls(Fn::ioctl).at(0);
        EXPECT_STREQ(call.path, "/dev/imanage");
        EXPECT_EQ(call.argument, GetParam().number == load_request ? image_name : nullptr);
        EXPECT_EQ(call.text(), GetParam().number == load_request ? std::string("h264_pcm_dec\0", 13) : "");
    });
}

TEST_P(ImemManagerRequest, IsAnErrorWhenRefused)
{
    expect_refused(-1);
}

TEST_P(ImemManagerRequest, IsAnErrorWhenAnsweredWithAnythingButZero)
{
    expect_refused(1);
}

TEST_P(ImemManagerRequest, FailsWithoutTheManagersNode)
{
    in_new_process([](Harness &harness) {
        EXPECT_EQ(GetParam().call(), ORKA_STATUS_IO);
        EXPECT_EQ(harness.log.take_error(),
                  manager.missing_line(ENOENT) +
                      error_line(GetParam().function, "ORKA_IMEM: Obtaining IMANAGE FD."));
    });
}

INSTANTIATE_TEST_SUITE_P(Requests, ImemManagerRequest, testing::ValuesIn(manager_requests),
                         [](const testing::TestParamInfo<Request> &info) {
                             return std::string(info.param.name);
                         });

TEST(ImemLoading, NullAbortsAfterTheNodeWasTried)
{
    Ending ending = end_of([](Kernel &) { orka_imem_load_dsp_codec(nullptr); });
    EXPECT_EQ(assertion_complaint(ending, source, "orka_imem_load_dsp_codec", "codec_name != ((void *)0)"),
              "");
    EXPECT_THAT(ending.error, StartsWith(manager.missing_line(ENOENT)));
    EXPECT_THAT(ending.error, testing::Not(testing::HasSubstr("Obtaining")));
}

} // namespace
