/*
 * A scripted kernel in the test program: stand-ins for the libc names that the library calls.
 *
 * The stand-ins are defined in the program itself, so they come before libc's for liborka.so and for the
 * static library alike. Without a live Kernel object, and for everything that the test has not scripted, they
 * pass the call on. With one, every path under /dev is the test's: a node exists only if the test said so.
 */
#ifndef ORKA_TESTS_KERNEL_H
#define ORKA_TESTS_KERNEL_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

namespace orka_test {

enum class Fn {
    open,
    close,
    ioctl,
    mmap,
    munmap,
    msync,
    poll,
    dup,
    lseek,
    read,
    fsync,
    sysconf,
    cxa_atexit,
    on_exit,
    malloc,
    calloc,
    allocation, /* to fail: malloc or calloc, whichever comes first */
    thread_create,
    thread_detach,
    thread_join,
    thread_cancel,
    thread_setcancelstate,
    thread_setschedparam,
    sched_yield,
    mutex_init,
    mutex_destroy,
    mutex_lock,
    mutex_trylock,
    mutex_unlock,
    cond_init,
    cond_destroy,
    cond_wait,
    cond_broadcast,
    cond_signal,
    count
};

/* One recorded call. A field that the function has no use for is 0. */
struct Call {
    static constexpr size_t max_bytes = 352;

    Fn fn;
    char path[48]; /* open; ioctl, close: the node's path */
    int fd;
    uint32_t request;     /* ioctl; sysconf: the name */
    const void *argument; /* ioctl; the pthread object */
    uint8_t bytes[max_bytes];
    size_t size; /* ioctl: how many of bytes were captured, before the answer was written */
    int flags;   /* open, mmap, msync; lseek: whence; poll: events; the cancel state; the policy */
    int mode;    /* open */
    int prot;
    int64_t offset;    /* mmap, lseek; poll: the time-out; the priority */
    uintptr_t address; /* munmap, msync; mmap: the result */
    size_t length;
    int64_t result;

    std::vector<uint8_t> sent() const { return {bytes, bytes + size}; }
    std::string text() const { return {reinterpret_cast<const char *>(bytes), size}; }
};

/* Which call fails: the first one to come unless `skip` lets some through. */
struct Failure {
    int error = 0; /* errno after the call */
    long result =
        -1; /* what a pthread call answers is its error code; mmap, malloc and calloc fail by themselves */
    int skip = 0;
    int times = 1;
    std::function<void()> meanwhile = {}; /* what happens while the call is under way */
};

/* Answers a request: gets the caller's pointer, gives the result, and sets errno itself. */
using Handler = std::function<int(void *argument)>;

/* Sizes for what a request carries in its argument, beside a record's plain byte count. */
constexpr size_t no_record = 0;
constexpr size_t name_record = SIZE_MAX; /* a NUL-terminated text; captured with its NUL */

class Kernel {
  public:
    Kernel();
    ~Kernel();
    Kernel(const Kernel &) = delete;
    Kernel &operator=(const Kernel &) = delete;

    /* Makes a device node exist. /dev/mem is memory: 64 MiB whose file offset is the physical address. */
    void node(const char *path);
    /* Opening this node fails with this error. Other nodes that do not exist fail with ENOENT. */
    void missing(const char *path, int error);
    /* Every open of a node takes this long, so that a second thread comes in its middle. */
    void delay_opens(int milliseconds);

    /* The node takes the request, whose record has this size. Any other request fails the test. */
    void on(const char *path, uint32_t request, size_t record_size, Handler handler);
    void accept(const char *path, uint32_t request, size_t record_size);
    void refuse(const char *path, uint32_t request, size_t record_size, int error, int result = -1);

    void fail(Fn fn, Failure failure);
    /*
     * Calls of the pthread, heap and yield names are recorded only when watched: the test program makes its
     * own.
     */
    void watch(Fn fn);
    void forget_calls();

    std::vector<Call> calls(Fn fn) const;
    std::vector<Call> calls(std::initializer_list<Fn> fns) const; /* in order of the calls */
    std::vector<std::string> paths(Fn fn) const;

    /* Notes what the next block of this size holds at the moment it is freed. */
    void watch_block(size_t size);
    std::vector<uint8_t> freed_bytes() const; /* empty until then */
    bool was_freed() const;
    void *watched_block() const; /* null before it was allocated and after it was freed */

    /* The bytes of physical memory behind /dev/mem. */
    void poke(uint32_t physical, std::string_view text);
    std::string peek(uint32_t physical, size_t length) const;

    /* What the script does not account for, one text a line: foreign requests, failures that no call met. */
    std::string complaints() const;
};

/* From now on every call is passed on, whatever was scripted: for a process that is about to end. */
void pass_all_calls();

/* How many mappings of the scripted /dev/mem the process has. */
int count_memory_mappings();

/* "fd -> what it is" for every open descriptor. */
std::vector<std::string> open_descriptors();

} // namespace orka_test

#endif
