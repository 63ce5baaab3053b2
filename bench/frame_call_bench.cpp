/*
 * What the library adds to the requests that a frame takes: orka_idecode_new_frame and
 * orka_idecode_commit_frame over the two bare requests.
 *
 * The driver is a stand-in: this program's own open and ioctl, which the library calls in place of libc's. In
 * one half of the benchmarks it answers at once, which shows the library alone; in the other half it asks the
 * kernel first.
 *
 * orka_bench_frame_call --calls N makes N calls of each kind and measures nothing; instructions.sh counts
 * them.
 */
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <string_view>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "orka_idecode.h"
#include "ratio_table.h"
#include "wire/orka_idecode_wire.h"

using namespace orka::wire;

static constexpr uint32_t queue_pbase = 0x00100000;
static constexpr uint32_t queue_length = 0x00010000;

/* The stand-in */

static int kernel_fd = -1; /* asked after every answer; -1: no question */
static uint32_t requests_seen;

static int ask_kernel()
{
    int readable = 0;

    return static_cast<int>(syscall(SYS_ioctl, kernel_fd, FIONREAD, &readable));
}

static void describe_queue(queue_record &record)
{
    record.length = queue_length;
    record.pbase = queue_pbase;
}

static void give_frame(frame_request_record &record)
{
    record.status = driver_done;
    record.frame.number = requests_seen;
    record.frame.addr = queue_pbase + 0x100;
    record.frame.capacity = 0x1000;
}

/* By its name in the library, with the one argument that every request has. */
extern "C" int answer(int fd, unsigned long request, void *record) __asm__("ioctl");

int answer(int fd, unsigned long request, void *record)
{
    requests_seen++;
    if (fd < 0)
        return -1;
    if (request == IDECODE_NEW_FRAME)
        give_frame(*static_cast<frame_request_record *>(record));
    else if (request == IDECODE_QUEUE)
        describe_queue(*static_cast<queue_record *>(record));
    return kernel_fd < 0 ? 0 : ask_kernel();
}

/* Every device is a piece of memory, large enough for the queue to be mapped from it. */
static int open_device()
{
    const int fd = static_cast<int>(syscall(SYS_memfd_create, "device", 0));

    if (fd >= 0 && ftruncate(fd, queue_pbase + queue_length) != 0)
        return -1;
    return fd;
}

extern "C" int open(const char *path, int flags, ...)
{
    va_list arguments;
    va_start(arguments, flags);
    const auto mode = va_arg(arguments, mode_t);
    va_end(arguments);

    const std::string_view name = path;
    if (name == "/dev/mem" || name == "/dev/vdecode" || name == "/dev/adecode")
        return open_device();
    return openat(AT_FDCWD, path, flags, mode);
}

/* The two sides */

template <typename Value>
static Value *need(Value *value, const char *what)
{
    if (value == nullptr) {
        fprintf(stderr, "frame_call_bench: no %s\n", what);
        exit(1);
    }
    return value;
}

static orka_idecode_queue_t *video_queue()
{
    static orka_idecode_queue_t *const queue = need(orka_idecode_get_video_queue(0, 0), "video queue");
    return queue;
}

static orka_idecode_queue_t *audio_queue()
{
    static orka_idecode_queue_t *const queue = need(orka_idecode_get_audio_queue(0), "audio queue");
    return queue;
}

static void frame_through_library(benchmark::State &state)
{
    const orka_idecode_queue_t *queue = video_queue();
    orka_idecode_frame_t frame;

    for (auto _ : state) {
        if (orka_idecode_new_frame(&frame, queue, -1) != ORKA_STATUS_SUCCESS ||
            orka_idecode_commit_frame(&frame, queue) != ORKA_STATUS_SUCCESS)
            state.SkipWithError("a frame call failed");
    }
}

static void frame_by_bare_requests(benchmark::State &state)
{
    frame_request_record taken = {};
    frame_return_record returned = {};

    for (auto _ : state) {
        if (ioctl(5, IDECODE_NEW_FRAME, &taken) != 0 || ioctl(5, IDECODE_COMMIT_FRAME, &returned) != 0)
            state.SkipWithError("a request failed");
        benchmark::DoNotOptimize(taken);
        benchmark::DoNotOptimize(returned);
    }
}

static void library(benchmark::State &state)
{
    kernel_fd = -1;
    frame_through_library(state);
}

static void bare(benchmark::State &state)
{
    kernel_fd = -1;
    frame_by_bare_requests(state);
}

/* A pipe: its driver answers from what it has at hand, which is about the least that a driver does. */
static void set_kernel_fd()
{
    static int pipe_ends[2] = {-1, -1};

    if (pipe_ends[0] < 0 && pipe(pipe_ends) != 0)
        abort();
    kernel_fd = pipe_ends[0];
}

static void library_and_kernel(benchmark::State &state)
{
    set_kernel_fd();
    frame_through_library(state);
}

static void bare_and_kernel(benchmark::State &state)
{
    set_kernel_fd();
    frame_by_bare_requests(state);
}

BENCHMARK(library);
BENCHMARK(bare);
BENCHMARK(library_and_kernel);
BENCHMARK(bare_and_kernel);

/* Calls to be counted */

static void make_calls(long count)
{
    const orka_idecode_queue_t *queues[] = {video_queue(), audio_queue()};
    orka_idecode_frame_t frame;

    for (long call = 0; call < count; call++) {
        orka_idecode_start_video_decoder(0, 0);
        orka_idecode_start_audio_decoder(0);
        for (const orka_idecode_queue_t *queue : queues) {
            orka_idecode_new_frame(&frame, queue, -1);
            orka_idecode_commit_frame(&frame, queue);
        }
    }
}

int main(int argc, char **argv)
{
    static constexpr orka::bench::ratio_row rows[] = {
        {"library", "bare", 0},
        {"library_and_kernel", "bare_and_kernel", 1.05},
    };

    if (argc == 3 && strcmp(argv[1], "--calls") == 0) {
        make_calls(atol(argv[2]));
        return 0;
    }
    return orka::bench::run_and_compare(argc, argv, rows);
}
