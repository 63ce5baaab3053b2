/*
 * The DSP's memory window and the registers of its serial ports. The window is mapped once in the life of a
 * process, so every test runs in a process of its own.
 */
#include "driver/driver_test.h"

#include <atomic>
#include <cstdio>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

#include "orka_imem.h"

using namespace orka_test;

namespace {

constexpr uint32_t read_request = 0xC0406B05;
constexpr uint32_t write_request = 0x80086B04;
constexpr uint32_t window_at = 0x40000;
constexpr uint32_t window_size = 0x20000;

constexpr Device manager = {"/dev/imanage", nullptr, "orka_idevice_imanage_fd",
                            "ORKA_IDEVICE: Opening IMANAGE Device '/dev/imanage'."};

const std::string no_memory_lines =
    memory.missing_line(ENOENT) + error_line("orka_imem_mmap_actual", "ORKA_IMEM: Obtaining IMEM FD.");
const std::string no_manager_line = manager.missing_line(ENOENT);

void in_new_process(const std::function<void(Harness &harness)> &body)
{
    in_fresh_process([&](Harness &harness) {
        body(harness);
        orka_idevice_close_atexit();
    });
}

/* With physical memory, and the read-only window still mapped at the end. */
void with_read_window(const std::function<void(Harness &harness)> &body)
{
    in_new_process([&](Harness &harness) {
        harness.kernel.node("/dev/mem");
        body(harness);
        harness.allow_leaked_mappings(1);
    });
}

void with_memory(const std::function<void(Harness &harness)> &body)
{
    in_new_process([&](Harness &harness) {
        harness.kernel.node("/dev/mem");
        body(harness);
    });
}

uint32_t physical(uint32_t word)
{
    return window_at + 2 * word;
}

TEST(DspMemory, HasSixtyFourKiWords)
{
    EXPECT_EQ(orka_imem_get_dsp_memory_size(), 65536u);
}

TEST(DspMemory, IsMappedForReadingOnceAndKept)
{
    with_read_window([](Harness &harness) {
        void *window = orka_imem_get_dsp_memory_ptr();
        ASSERT_NE(window, nullptr);
        EXPECT_EQ(orka_imem_get_dsp_memory_ptr(), window);
        const std::vector<Call> calls = harness.kernel.calls(Fn::mmap);
        ASSERT_EQ(calls.size(), 1u);
        EXPECT_EQ(calls[0].offset, window_at);
        EXPECT_EQ(calls[0].length, window_size);
        EXPECT_EQ(calls[0].prot, PROT_READ);
        EXPECT_EQ(calls[0].address, reinterpret_cast<uintptr_t>(window));
    });
}

TEST(DspMemory, IsMappedForReadingOnceByManyThreads)
{
    with_read_window([](Harness &harness) {
        std::atomic<void *> windows[4] = {};
        std::vector<std::thread> threads;
        for (std::atomic<void *> &window : windows)
            threads.emplace_back([&window] { window = orka_imem_get_dsp_memory_ptr(); });
        for (std::thread &thread : threads)
            thread.join();
        for (const std::atomic<void *> &window : windows)
            EXPECT_EQ(window.load(), orka_imem_get_dsp_memory_ptr());
        EXPECT_EQ(harness.kernel.calls(Fn::mmap).size(), 1u);
    });
}

TEST(DspMemory, StaysMappedForReadingWhenFreed)
{
    with_read_window([](Harness &harness) {
        void *window = orka_imem_get_dsp_memory_ptr();
        harness.kernel.poke(window_at, "still");
        EXPECT_EQ(orka_imem_free_dsp_memory_ptr(window), ORKA_STATUS_SUCCESS);
        EXPECT_TRUE(harness.kernel.calls(Fn::munmap).empty());
        EXPECT_STREQ(static_cast<const char *>(window), "still");
        EXPECT_EQ(orka_imem_get_dsp_memory_ptr(), window);
    });
}

TEST(DspMemory, IsMappedForWritingAtEveryCall)
{
    with_memory([](Harness &harness) {
        void *first = orka_imem_get_dsp_memory_write_ptr();
        void *second = orka_imem_get_dsp_memory_write_ptr();
        ASSERT_NE(first, nullptr);
        EXPECT_NE(first, second);
        for (const Call &call : harness.kernel.calls(Fn::mmap)) {
            EXPECT_EQ(call.offset, window_at);
            EXPECT_EQ(call.length, window_size);
            EXPECT_EQ(call.prot, PROT_READ | PROT_WRITE);
        }
        EXPECT_EQ(orka_imem_free_dsp_memory_ptr(first), ORKA_STATUS_SUCCESS);
        EXPECT_EQ(orka_imem_free_dsp_memory_ptr(second), ORKA_STATUS_SUCCESS);
        const std::vector<Call> calls = harness.kernel.calls(Fn::munmap);
        ASSERT_EQ(calls.size(), 2u);
        EXPECT_EQ(calls[0].address, reinterpret_cast<uintptr_t>(first));
        EXPECT_EQ(calls[0].length, window_size);
    });
}

TEST(DspMemory, ThatCannotBeUnmappedIsReported)
{
    with_memory([](Harness &harness) {
        void *window = orka_imem_get_dsp_memory_write_ptr();
        harness.kernel.fail(Fn::munmap, {.error = EINVAL});
        EXPECT_EQ(orka_imem_free_dsp_memory_ptr(window), ORKA_STATUS_ERROR);
        EXPECT_EQ(harness.log.take_error(),
                  error_line("orka_imem_munmap_actual", "ORKA_IMEM: MMapping Memory.", EINVAL) +
                      error_line("orka_imem_free_dsp_memory_ptr", "ORKA_IMEM: Unmapping DSP Memory."));
        harness.allow_leaked_mappings(1);
    });
}

TEST(DspMemory, WithoutItsNodeHasNoPointers)
{
    in_new_process([](Harness &harness) {
        EXPECT_EQ(orka_imem_get_dsp_memory_ptr(), nullptr);
        EXPECT_EQ(harness.log.take_error(),
                  no_memory_lines +
                      error_line("orka_imem_get_dsp_memory_ptr", "ORKA_IMEM: Mapping DSP Memory.", ENOENT));
        EXPECT_EQ(orka_imem_get_dsp_memory_write_ptr(), nullptr);
        EXPECT_EQ(harness.log.take_error(),
                  no_memory_lines + error_line("orka_imem_get_dsp_memory_write_ptr",
                                               "ORKA_IMEM: Mapping DSP Memory.", ENOENT));
    });
}

TEST(DspMemory, ThatCouldNotBeMappedOnceIsTriedAgain)
{
    with_read_window([](Harness &harness) {
        harness.kernel.missing("/dev/mem", EACCES);
        EXPECT_EQ(orka_imem_get_dsp_memory_ptr(), nullptr);
        harness.log.take_error();
        harness.kernel.node("/dev/mem");
        EXPECT_NE(orka_imem_get_dsp_memory_ptr(), nullptr);
    });
}

TEST(DspMemory, IsReadByTheWord)
{
    with_read_window([](Harness &harness) {
        harness.kernel.poke(physical(5), "\x34\x12\x78\x56");
        uint16_t value = 0;
        EXPECT_EQ(orka_imem_read_dsp_memory(&value, 5), ORKA_STATUS_SUCCESS);
        EXPECT_EQ(value, 0x1234);
        EXPECT_EQ(orka_imem_read_dsp_memory(&value, 6), ORKA_STATUS_SUCCESS);
        EXPECT_EQ(value, 0x5678);
        EXPECT_EQ(harness.kernel.calls(Fn::mmap).size(), 1u);
    });
}

TEST(DspMemory, IsReadUpToItsLastWord)
{
    with_read_window([](Harness &harness) {
        harness.kernel.poke(physical(65535), "\xFE\xCA");
        uint16_t value = 0;
        EXPECT_EQ(orka_imem_read_dsp_memory(&value, 65535), ORKA_STATUS_SUCCESS);
        EXPECT_EQ(value, 0xCAFE);
    });
}

TEST(DspMemory, WithoutItsNodeIsNotRead)
{
    in_new_process([](Harness &harness) {
        uint16_t value = 7;
        EXPECT_EQ(orka_imem_read_dsp_memory(&value, 0), ORKA_STATUS_ERROR);
        EXPECT_EQ(value, 7);
        EXPECT_EQ(harness.log.take_error(),
                  no_memory_lines +
                      error_line("orka_imem_get_dsp_memory_ptr", "ORKA_IMEM: Mapping DSP Memory.", ENOENT) +
                      error_line("orka_imem_read_dsp_memory", "ORKA_IMEM: Mapping DSP Memory."));
    });
}

TEST(DspMemory, IsMappedSyncedAndUnmappedForEveryWordWritten)
{
    with_memory([](Harness &harness) {
        EXPECT_EQ(orka_imem_write_dsp_memory(0xBEEF, 3), ORKA_STATUS_SUCCESS);
        EXPECT_EQ(orka_imem_write_dsp_memory(0xCAFE, 65535), ORKA_STATUS_SUCCESS);
        EXPECT_EQ(harness.kernel.peek(physical(3), 2), "\xEF\xBE");
        EXPECT_EQ(harness.kernel.peek(physical(65535), 2), "\xFE\xCA");
        const std::vector<Call> calls = harness.kernel.calls({Fn::mmap, Fn::msync, Fn::munmap});
        ASSERT_EQ(calls.size(), 6u);
        for (size_t i = 0; i < calls.size(); i++) {
            constexpr Fn order[] = {Fn::mmap, Fn::msync, Fn::munmap};
            EXPECT_EQ(calls[i].fn, order[i % 3]);
            EXPECT_EQ(calls[i].length, window_size);
            EXPECT_EQ(calls[i].address, calls[i / 3 * 3].address);
        }
        EXPECT_EQ(calls[1].flags, MS_SYNC);
    });
}

TEST(DspMemory, IsReadAsItWasWritten)
{
    with_read_window([](Harness &) {
        uint16_t value = 0;
        EXPECT_EQ(orka_imem_write_dsp_memory(0x1357, 9), ORKA_STATUS_SUCCESS);
        EXPECT_EQ(orka_imem_read_dsp_memory(&value, 9), ORKA_STATUS_SUCCESS);
        EXPECT_EQ(value, 0x1357);
    });
}

TEST(DspMemory, WithoutItsNodeIsNotWritten)
{
    in_new_process([](Harness &harness) {
        EXPECT_EQ(orka_imem_write_dsp_memory(1, 0), ORKA_STATUS_ERROR);
        EXPECT_EQ(
            harness.log.take_error(),
            no_memory_lines +
                error_line("orka_imem_get_dsp_memory_write_ptr", "ORKA_IMEM: Mapping DSP Memory.", ENOENT) +
                error_line("orka_imem_write_dsp_memory", "ORKA_IMEM: Mapping DSP Memory."));
    });
}

TEST(DspMemory, ThatCannotBeSyncedIsUnmappedAllTheSame)
{
    with_memory([](Harness &harness) {
        harness.kernel.fail(Fn::msync, {.error = EIO});
        EXPECT_EQ(orka_imem_write_dsp_memory(1, 0), ORKA_STATUS_ERROR);
        EXPECT_EQ(harness.log.take_error(),
                  error_line("orka_imem_msync", "ORKA_IMEM: Syncing IMEM.", EIO) +
                      error_line("orka_imem_write_dsp_memory", "ORKA_IMEM: Synching Memory.", EIO));
        EXPECT_EQ(harness.kernel.calls(Fn::munmap).size(), 1u);
    });
}

TEST(DspMemory, ThatCannotBeUnmappedAfterWritingIsAnError)
{
    with_memory([](Harness &harness) {
        harness.kernel.fail(Fn::munmap, {.error = EINVAL});
        EXPECT_EQ(orka_imem_write_dsp_memory(1, 0), ORKA_STATUS_ERROR);
        EXPECT_EQ(harness.log.take_error(),
                  error_line("orka_imem_munmap_actual", "ORKA_IMEM: MMapping Memory.", EINVAL) +
                      error_line("orka_imem_write_dsp_memory", "ORKA_IMEM: Unmapping DSP Memory."));
        harness.allow_leaked_mappings(1);
    });
}

TEST(DspMemory, EndsTheProcessWhenTheSystemRefusesTheMapping)
{
    Ending ending = end_of([](Kernel &kernel) {
        kernel.node("/dev/mem");
        kernel.fail(Fn::mmap, {.error = ENOMEM});
        orka_imem_get_dsp_memory_ptr();
    });
    EXPECT_EQ(ending.status, 1);
    EXPECT_EQ(ending.error, error_line("orka_imem_mmap_actual", "ORKA_IMEM: MMapping Memory.", ENOMEM) +
                                fatal_line("orka_imem_get_pageaddr", "ORKA_IMEM: Invalid Page Address."));
}

void expect_death(Fn fn, const char *death, void (*call)())
{
    const Ending ending = end_of([=](Kernel &kernel) {
        kernel.node("/dev/mem");
        orka_imem_get_dsp_memory_ptr();
        kernel.fail(fn, {.result = EINVAL});
        call();
    });
    EXPECT_EQ(ending.status, 1);
    EXPECT_THAT(ending.output, testing::MatchesRegex(death));
    EXPECT_EQ(ending.error, "");
}

TEST(DspMemory, EndsTheProcessWhenItCannotBeLocked)
{
    expect_death(Fn::mutex_lock, quiet_lock_death, [] { orka_imem_get_dsp_memory_ptr(); });
    expect_death(Fn::mutex_lock, quiet_lock_death, [] { orka_imem_free_dsp_memory_ptr(nullptr); });
}

TEST(DspMemory, EndsTheProcessWhenItCannotBeUnlocked)
{
    expect_death(Fn::mutex_unlock, quiet_unlock_death, [] { orka_imem_get_dsp_memory_ptr(); });
    expect_death(Fn::mutex_unlock, quiet_unlock_death, [] { orka_imem_free_dsp_memory_ptr(nullptr); });
}

/* Serial ports */

/* A driver whose registers tell their row: address 0xA00 + row, value 0x100 * row + 0xFF. */
void serve_registers(Kernel &kernel)
{
    kernel.node("/dev/imanage");
    kernel.on("/dev/imanage", read_request, 64, [](void *record) {
        for (uint32_t row = 0; row < 15; row++)
            set_word(record, 4 + 4 * row, (0x100 * row + 0xFF) << 16 | (0xA00 + row));
        return 0;
    });
    kernel.accept("/dev/imanage", write_request, 8);
}

std::string refused_lines(const char *function, const char *message, int error)
{
    return error_line(function, message, error) +
           error_line(function, "ORKA_IMEM: Feature Not Supported by DSP Image?", error);
}

TEST(DspSerialPort, IsReadIntoTheCallersRecord)
{
    in_new_process([](Harness &harness) {
        serve_registers(harness.kernel);
        orka_imem_mcbsp_registers_t registers;
        memset(&registers, 0xEE, sizeof registers);
        EXPECT_EQ(orka_imem_read_mcbsp_register(&registers, 0xF00D), ORKA_STATUS_SUCCESS);
        const Call call = harness.kernel.calls(Fn::ioctl).at(0);
        EXPECT_EQ(call.argument, &registers);
        EXPECT_EQ(call.sent(), words({0xF00D}) + zeros(60));
        EXPECT_EQ(registers.port, 0xF00D);
        EXPECT_EQ(registers.rows[0].address, 0xA00);
        EXPECT_EQ(registers.rows[14].address, 0xA0E);
        EXPECT_EQ(registers.rows[14].value, 0xEFF);
    });
}

TEST(DspSerialPort, IsNotReadWithoutARecord)
{
    in_new_process([](Harness &harness) {
        EXPECT_EQ(orka_imem_read_mcbsp_register(nullptr, 0), ORKA_STATUS_NULL_POINTER);
        EXPECT_EQ(harness.log.take_error(),
                  error_line("orka_imem_read_mcbsp_register", "ORKA_IMEM: NULL Pointer Deref."));
        EXPECT_TRUE(harness.kernel.calls(Fn::open).empty());
    });
}

TEST(DspSerialPort, IsWrittenARegisterAtATime)
{
    in_new_process([](Harness &harness) {
        serve_registers(harness.kernel);
        EXPECT_EQ(orka_imem_write_mcbsp_register(1, 0x8123, 0xFEDC), ORKA_STATUS_SUCCESS);
        const Call call = harness.kernel.calls(Fn::ioctl).at(0);
        EXPECT_EQ(call.request, write_request);
        EXPECT_EQ(call.sent(), words({1, 0xFEDC8123}));
    });
}

TEST(DspSerialPort, WithoutTheManagersNodeIsAnInputOutputFailure)
{
    in_new_process([](Harness &harness) {
        orka_imem_mcbsp_registers_t registers;
        EXPECT_EQ(orka_imem_read_mcbsp_register(&registers, 0), ORKA_STATUS_IO);
        EXPECT_EQ(harness.log.take_error(), no_manager_line + error_line("orka_imem_read_mcbsp_register",
                                                                         "ORKA_IMEM: Obtaining IMANAGE FD."));
        EXPECT_EQ(orka_imem_write_mcbsp_register(0, 0, 0), ORKA_STATUS_IO);
        EXPECT_EQ(harness.log.take_error(), no_manager_line + error_line("orka_imem_write_mcbsp_register",
                                                                         "ORKA_IMEM: Obtaining IMANAGE FD."));
    });
}

TEST(DspSerialPort, ThatIsRefusedIsReportedInTwoLines)
{
    for (int result : {-1, 1}) {
        in_new_process([=](Harness &harness) {
            harness.kernel.node("/dev/imanage");
            harness.kernel.refuse("/dev/imanage", read_request, 64, ENOTTY, result);
            harness.kernel.refuse("/dev/imanage", write_request, 8, EINVAL, result);
            orka_imem_mcbsp_registers_t registers;
            EXPECT_EQ(orka_imem_read_mcbsp_register(&registers, 0), ORKA_STATUS_IO);
            EXPECT_EQ(harness.log.take_error(), refused_lines("orka_imem_read_mcbsp_register",
                                                              "ORKA_IMEM: Reading McBSP Registers.", ENOTTY));
            EXPECT_EQ(orka_imem_write_mcbsp_register(0, 0, 0), ORKA_STATUS_IO);
            EXPECT_EQ(harness.log.take_error(), refused_lines("orka_imem_write_mcbsp_register",
                                                              "ORKA_IMEM: Writing McBSP Registers.", EINVAL));
        });
    }
}

/* What stands on standard output at each flush. */
std::vector<std::string> printed_at_each_flush(const std::function<void()> &print)
{
    int ends[2];
    EXPECT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK, 0, ends), 0);
    setvbuf(stdout, nullptr, _IOFBF, BUFSIZ);
    const int saved = dup(1);
    dup2(ends[0], 1);
    print();
    dup2(saved, 1);
    close(saved);
    close(ends[0]);

    std::vector<std::string> packets;
    char packet[BUFSIZ];
    for (ssize_t size = recv(ends[1], packet, sizeof packet, 0); size > 0;
         size = recv(ends[1], packet, sizeof packet, 0))
        packets.emplace_back(packet, static_cast<size_t>(size));
    close(ends[1]);
    return packets;
}

TEST(DspSerialPort, IsPrintedWithAFlushAfterEachLine)
{
    in_new_process([](Harness &harness) {
        serve_registers(harness.kernel);
        std::vector<std::string> expected = {"ORKA_IMEM: McBSP 65535 Registers:\n", "\tAddr   Value\n",
                                             "\t====== ======\n"};
        for (unsigned row = 0; row < 15; row++) {
            char line[32];
            snprintf(line, sizeof line, "\t %04X  %04X\n", 0xA00 + row, 0x100 * row + 0xFF);
            expected.emplace_back(line);
        }
        expected.emplace_back("\n\n");
        EXPECT_EQ(printed_at_each_flush(
                      [] { EXPECT_EQ(orka_imem_print_mcbsp_register(65535), ORKA_STATUS_SUCCESS); }),
                  expected);
    });
}

TEST(DspSerialPort, ThatCannotBeReadIsNotPrinted)
{
    in_new_process([](Harness &harness) {
        EXPECT_EQ(orka_imem_print_mcbsp_register(0), ORKA_STATUS_IO);
        EXPECT_EQ(harness.log.take_output(), "");
        harness.log.take_error();
    });
}

} // namespace
