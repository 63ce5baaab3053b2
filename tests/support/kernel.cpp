#include "support/kernel.h"

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <link.h>
#include <poll.h>
#include <pthread.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <unistd.h>

#ifdef ORKA_TEST_TSAN
extern "C" void __tsan_func_entry(void *caller);
extern "C" void __tsan_func_exit();
#endif

/*
 * Stand-ins run before the sanitizers are ready and inside malloc, so this file is built without sanitizers,
 * and what a stand-in touches on its way is constant-initialised and never allocates.
 */

namespace orka_test {
namespace {

constexpr size_t max_calls = 768;
constexpr size_t max_files = 128;
constexpr size_t memory_size = 64u << 20;
constexpr const char *memory_name = "orka-test-memory";
constexpr int fn_count = static_cast<int>(Fn::count);

struct Slot {
    std::atomic<int> skip{0};
    std::atomic<int> times{0};
    long result = 0;
    int error = 0;
};

struct File {
    int fd;
    const char *path;
};

constinit std::atomic<bool> active{false};
constinit std::atomic_flag lock_word = ATOMIC_FLAG_INIT;
constinit Slot slots[fn_count];
constinit std::atomic<bool> watched[fn_count];
constinit Call recorded[max_calls];
constinit size_t recorded_count = 0;
constinit File files[max_files];
constinit size_t file_count = 0;
constinit std::atomic<size_t> wanted_size{0};
constinit std::atomic<const void *> block_to_watch{nullptr};
constinit size_t freed_size = 0;
constinit uint8_t freed_copy[Call::max_bytes];
constinit std::atomic<bool> freed_seen{false};
constinit uintptr_t runtime_begin = 0;
constinit uintptr_t runtime_end = 0;
constinit int memory_fd = -1;
constinit std::atomic<int> open_delay{0};

struct Node {
    std::string path;
    int error; /* 0: it exists */
};

struct Request {
    std::string path;
    uint32_t number;
    size_t size;
    Handler handler;
};

/* What the test scripted: written while no call is under way. */
struct Script {
    std::vector<Node> nodes;
    std::vector<Request> requests;
    std::function<void()> meanwhile[fn_count];
    Script *outer = nullptr; /* that of the kernel around this one, in a forked child */
};
Script *script = nullptr;
constinit char unexpected[512];

class Guard {
  public:
    Guard()
    {
        while (lock_word.test_and_set(std::memory_order_acquire))
            sched_yield_quietly();
    }
    ~Guard() { lock_word.clear(std::memory_order_release); }

  private:
    static void sched_yield_quietly() { usleep(50); }
};

template <typename Function>
class Next {
  public:
    constexpr explicit Next(const char *name) : name_(name) {}

    /* Whether get() would call dlsym, which itself may free what an earlier failed dlsym said. */
    bool is_unresolved() const { return found_.load(std::memory_order_relaxed) == nullptr; }

    Function *get()
    {
        Function *found = found_.load(std::memory_order_relaxed);
        if (!found) {
            found = reinterpret_cast<Function *>(dlsym(RTLD_NEXT, name_));
            if (!found)
                abort();
            found_.store(found, std::memory_order_relaxed);
        }
        return found;
    }

  private:
    const char *name_;
    std::atomic<Function *> found_{nullptr};
};

constinit Next<int(const char *, int, ...)> next_open{"open"};
constinit Next<int(int)> next_close{"close"};
constinit Next<int(int, unsigned long, ...)> next_ioctl{"ioctl"};
constinit Next<void *(void *, size_t, int, int, int, off_t)> next_mmap{"mmap"};
constinit Next<int(void *, size_t)> next_munmap{"munmap"};
constinit Next<int(void *, size_t, int)> next_msync{"msync"};
constinit Next<int(pollfd *, nfds_t, int)> next_poll{"poll"};
constinit Next<int(int)> next_dup{"dup"};
constinit Next<off_t(int, off_t, int)> next_lseek{"lseek"};
constinit Next<ssize_t(int, void *, size_t)> next_read{"read"};
constinit Next<int(int)> next_fsync{"fsync"};
constinit Next<long(int)> next_sysconf{"sysconf"};
constinit Next<int(void (*)(void *), void *, void *)> next_cxa_atexit{"__cxa_atexit"};
constinit Next<int(void (*)(int, void *), void *)> next_on_exit{"on_exit"};
constinit Next<void *(size_t)> next_malloc{"malloc"};
constinit Next<void *(size_t, size_t)> next_calloc{"calloc"};
constinit Next<void(void *)> next_free{"free"};

/*
 * Finds where the sanitizer's runtime lies, if there is one: it reads its own files in the middle of a test.
 */
int find_runtime(dl_phdr_info *info, size_t, void *)
{
    if (!strstr(info->dlpi_name, "/libasan.so") && !strstr(info->dlpi_name, "/libtsan.so"))
        return 0;
    runtime_begin = info->dlpi_addr;
    for (int i = 0; i < info->dlpi_phnum; i++) {
        if (info->dlpi_phdr[i].p_type == PT_LOAD)
            runtime_end = info->dlpi_addr + info->dlpi_phdr[i].p_vaddr + info->dlpi_phdr[i].p_memsz;
    }
    return 1;
}

/* Whether a call is none of the test's. */
bool passes(const void *caller)
{
    uintptr_t from = reinterpret_cast<uintptr_t>(caller);

    return !active || (from >= runtime_begin && from < runtime_end);
}

/* Whether this call is one that the test wants to fail. */
bool fails(Fn fn)
{
    Slot &slot = slots[static_cast<int>(fn)];

    if (slot.times.load(std::memory_order_relaxed) <= 0)
        return false;
    if (slot.skip.fetch_sub(1, std::memory_order_relaxed) > 0)
        return false;
    if (slot.times.fetch_sub(1, std::memory_order_relaxed) <= 0)
        return false;
    if (script->meanwhile[static_cast<int>(fn)])
        script->meanwhile[static_cast<int>(fn)]();
    return true;
}

const Slot &slot_of(Fn fn)
{
    return slots[static_cast<int>(fn)];
}

void record(const Call &call)
{
    int saved = errno;
    {
        Guard guard;
        if (recorded_count == max_calls)
            abort();
        recorded[recorded_count++] = call;
    }
    errno = saved;
}

void copy_path(Call &call, const char *path)
{
    snprintf(call.path, sizeof call.path, "%s", path ? path : "");
}

const char *path_of(int fd)
{
    Guard guard;
    for (size_t i = 0; i < file_count; i++) {
        if (files[i].fd == fd)
            return files[i].path;
    }
    return nullptr;
}

void add_file(int fd, const char *path)
{
    Guard guard;
    if (file_count == max_files)
        abort();
    files[file_count++] = {fd, path};
}

void remove_file(int fd)
{
    Guard guard;
    for (size_t i = 0; i < file_count; i++) {
        if (files[i].fd == fd) {
            files[i] = files[--file_count];
            return;
        }
    }
}

bool is_scripted_path(const char *path)
{
    static constexpr const char *foreign[] = {"/dev/null", "/dev/tty", "/dev/urandom", "/dev/random",
                                              "/dev/shm"};

    if (!path || strncmp(path, "/dev/", 5) != 0)
        return false;
    for (const char *name : foreign) {
        if (strncmp(path, name, strlen(name)) == 0)
            return false;
    }
    return true;
}

int open_scripted(const char *path)
{
    if (open_delay)
        usleep(static_cast<useconds_t>(open_delay) * 1000);
    for (const Node &node : script->nodes) {
        if (node.path != path)
            continue;
        if (node.error) {
            errno = node.error;
            return -1;
        }
        bool memory = node.path == "/dev/mem";
        int fd = memory ? next_dup.get()(memory_fd) : next_open.get()("/dev/null", O_RDWR);
        add_file(fd, node.path.c_str());
        return fd;
    }
    errno = ENOENT;
    return -1;
}

void capture_argument(Call &call, size_t size)
{
    if (size == name_record)
        size = call.argument ? strlen(static_cast<const char *>(call.argument)) + 1 : 0;
    call.size = size < Call::max_bytes ? size : Call::max_bytes;
    if (call.size)
        memcpy(call.bytes, call.argument, call.size);
}

int answer_request(Call &call)
{
    for (const Request &request : script->requests) {
        if (request.number != call.request || request.path != call.path)
            continue;
        capture_argument(call, request.size);
        return request.handler(const_cast<void *>(call.argument));
    }
    snprintf(unexpected, sizeof unexpected, "unexpected request 0x%08X on %s\n", call.request, call.path);
    errno = ENOTTY;
    return -1;
}

bool records(Fn fn)
{
    return active.load(std::memory_order_relaxed) &&
           watched[static_cast<int>(fn)].load(std::memory_order_relaxed);
}

/* Makes the call, or fails it as scripted, and records it. */
template <typename Result, typename Real>
Result perform(Call &call, Real real)
{
    if (fails(call.fn)) {
        call.result = slot_of(call.fn).result;
        errno = slot_of(call.fn).error;
    } else {
        call.result = real();
    }
    if (call.fn == Fn::open)
        call.fd = static_cast<int>(call.result);
    record(call);
    return static_cast<Result>(call.result);
}

template <typename Real>
void *allocate(Fn fn, size_t size, Real real)
{
    for (Fn failing : {fn, Fn::allocation}) {
        if (fails(failing)) {
            errno = slot_of(failing).error;
            return nullptr;
        }
    }
    void *block = real();
    if (size == wanted_size.load(std::memory_order_relaxed)) {
        wanted_size = 0;
        block_to_watch = block;
    }
    if (records(fn)) {
        Call call{};
        call.fn = fn;
        call.length = size;
        call.address = reinterpret_cast<uintptr_t>(block);
        record(call);
    }
    return block;
}

void record_object(Fn fn, const void *object, int result)
{
    if (!records(fn))
        return;
    Call call{};
    call.fn = fn;
    call.argument = object;
    call.result = result;
    record(call);
}

} // namespace

Kernel::Kernel()
{
    script = new Script{.outer = script};
    dl_iterate_phdr(find_runtime, nullptr);
    memory_fd = memfd_create(memory_name, MFD_CLOEXEC);
    if (memory_fd < 0 || ftruncate(memory_fd, memory_size) != 0)
        abort();
    recorded_count = 0;
    unexpected[0] = 0;
    block_to_watch = nullptr;
    freed_seen = false;
    for (int i = 0; i < fn_count; i++) {
        slots[i].times = 0;
        watched[i] = i < static_cast<int>(Fn::malloc);
    }
    active = true;
}

Kernel::~Kernel()
{
    pass_all_calls();
    open_delay = 0;
    wanted_size = 0;
    block_to_watch = nullptr;
    file_count = 0;
    next_close.get()(memory_fd);
    memory_fd = -1;
    Script *outer = script->outer;
    delete script;
    script = outer;
}

void Kernel::node(const char *path)
{
    missing(path, 0);
}

void Kernel::missing(const char *path, int error)
{
    for (Node &node : script->nodes) {
        if (node.path == path) {
            node.error = error;
            return;
        }
    }
    /* Open files point to the paths. */
    script->nodes.reserve(32);
    if (script->nodes.size() == 32)
        abort();
    script->nodes.push_back({path, error});
}

void Kernel::delay_opens(int milliseconds)
{
    open_delay = milliseconds;
}

void Kernel::on(const char *path, uint32_t request, size_t record_size, Handler handler)
{
    for (Request &known : script->requests) {
        if (known.path == path && known.number == request) {
            known.size = record_size;
            known.handler = std::move(handler);
            return;
        }
    }
    script->requests.push_back({path, request, record_size, std::move(handler)});
}

void Kernel::accept(const char *path, uint32_t request, size_t record_size)
{
    on(path, request, record_size, [](void *) { return 0; });
}

void Kernel::refuse(const char *path, uint32_t request, size_t record_size, int error, int result)
{
    on(path, request, record_size, [=](void *) {
        errno = error;
        return result;
    });
}

void Kernel::fail(Fn fn, Failure failure)
{
    Slot &slot = slots[static_cast<int>(fn)];

    slot.result = failure.result;
    slot.error = failure.error;
    slot.skip = failure.skip;
    script->meanwhile[static_cast<int>(fn)] = failure.meanwhile;
    slot.times = failure.times;
}

void Kernel::watch(Fn fn)
{
    watched[static_cast<int>(fn)] = true;
}

void Kernel::forget_calls()
{
    Guard guard;
    recorded_count = 0;
}

std::vector<Call> Kernel::calls(Fn fn) const
{
    return calls({fn});
}

std::vector<Call> Kernel::calls(std::initializer_list<Fn> fns) const
{
    std::vector<Call> found;
    size_t count = recorded_count;

    for (size_t i = 0; i < count; i++) {
        for (Fn fn : fns) {
            if (recorded[i].fn == fn)
                found.push_back(recorded[i]);
        }
    }
    return found;
}

std::vector<std::string> Kernel::paths(Fn fn) const
{
    std::vector<std::string> found;
    for (const Call &call : calls(fn))
        found.push_back(call.path);
    return found;
}

void Kernel::watch_block(size_t size)
{
    freed_size = size < sizeof freed_copy ? size : sizeof freed_copy;
    freed_seen = false;
    block_to_watch = nullptr;
    wanted_size = size;
}

std::vector<uint8_t> Kernel::freed_bytes() const
{
    return freed_seen ? std::vector<uint8_t>(freed_copy, freed_copy + freed_size) : std::vector<uint8_t>();
}

bool Kernel::was_freed() const
{
    return freed_seen;
}

void *Kernel::watched_block() const
{
    return const_cast<void *>(block_to_watch.load());
}

void Kernel::poke(uint32_t physical, std::string_view text)
{
    if (pwrite(memory_fd, text.data(), text.size(), static_cast<off_t>(physical)) < 0)
        abort();
}

std::string Kernel::peek(uint32_t physical, size_t length) const
{
    std::string text(length, '\0');
    if (pread(memory_fd, text.data(), length, static_cast<off_t>(physical)) < 0)
        abort();
    return text;
}

std::string Kernel::complaints() const
{
    std::string text = unexpected;

    for (int i = 0; i < fn_count; i++) {
        if (slots[i].times > 0)
            text += "a scripted failure was met by no call: function " + std::to_string(i) + "\n";
    }
    return text;
}

void pass_all_calls()
{
    active = false;
    for (Slot &slot : slots)
        slot.times = 0;
}

int count_memory_mappings()
{
    FILE *maps = fopen("/proc/self/maps", "re");
    if (!maps)
        abort();
    char line[512];
    int count = 0;
    while (fgets(line, sizeof line, maps))
        count += strstr(line, memory_name) != nullptr;
    fclose(maps);
    return count;
}

std::vector<std::string> open_descriptors()
{
    std::vector<std::string> found;
    DIR *directory = opendir("/proc/self/fd");
    if (!directory)
        abort();
    while (const dirent *entry = readdir(directory)) {
        char target[256] = "";
        char link[280];
        snprintf(link, sizeof link, "/proc/self/fd/%s", entry->d_name);
        if (entry->d_name[0] == '.' || atoi(entry->d_name) == dirfd(directory))
            continue;
        if (readlink(link, target, sizeof target - 1) < 0)
            continue;
        found.push_back(std::string(entry->d_name) + " -> " + target);
    }
    closedir(directory);
    return found;
}

} // namespace orka_test

using namespace orka_test;

extern "C" {

/* What the loader keeps for itself is not told from a leak when its malloc is called from here. */
const char *__lsan_default_suppressions()
{
    return "leak:dl_open_worker\n";
}

const char *__lsan_default_options()
{
    return "print_suppressions=0";
}

int open(const char *path, int flags, ...)
{
    va_list arguments;
    va_start(arguments, flags);
    int mode = flags & O_CREAT ? va_arg(arguments, int) : 0;
    va_end(arguments);

    if (passes(__builtin_return_address(0)))
        return next_open.get()(path, flags, mode);
    Call call{};
    call.fn = Fn::open;
    copy_path(call, path);
    call.flags = flags;
    call.mode = mode;
    return perform<int>(call, [=] {
        return is_scripted_path(path) ? open_scripted(path) : next_open.get()(path, flags, mode);
    });
}

int close(int fd)
{
    if (passes(__builtin_return_address(0)))
        return next_close.get()(fd);
    Call call{};
    call.fn = Fn::close;
    call.fd = fd;
    copy_path(call, path_of(fd));
    return perform<int>(call, [=] {
        remove_file(fd);
        return next_close.get()(fd);
    });
}

int ioctl(int fd, unsigned long request, ...) noexcept
{
    va_list arguments;
    va_start(arguments, request);
    void *argument = va_arg(arguments, void *);
    va_end(arguments);

    const char *path = passes(__builtin_return_address(0)) ? nullptr : path_of(fd);
    if (!path)
        return next_ioctl.get()(fd, request, argument);
    Call call{};
    call.fn = Fn::ioctl;
    call.fd = fd;
    call.request = static_cast<uint32_t>(request);
    call.argument = argument;
    copy_path(call, path);
    call.result = answer_request(call);
    record(call);
    return static_cast<int>(call.result);
}

void *mmap(void *address, size_t length, int prot, int flags, int fd, off_t offset) noexcept
{
    if (passes(__builtin_return_address(0)))
        return next_mmap.get()(address, length, prot, flags, fd, offset);
    Call call{};
    call.fn = Fn::mmap;
    call.fd = fd;
    call.length = length;
    call.prot = prot;
    call.flags = flags;
    call.offset = offset;
    void *result;
    if (fails(Fn::mmap)) {
        result = reinterpret_cast<void *>(slot_of(Fn::mmap).result);
        errno = slot_of(Fn::mmap).error;
    } else {
        result = next_mmap.get()(address, length, prot, flags, fd, offset);
    }
    call.address = reinterpret_cast<uintptr_t>(result);
    record(call);
    return result;
}

int munmap(void *address, size_t length) noexcept
{
    if (passes(__builtin_return_address(0)))
        return next_munmap.get()(address, length);
    Call call{};
    call.fn = Fn::munmap;
    call.address = reinterpret_cast<uintptr_t>(address);
    call.length = length;
    return perform<int>(call, [=] { return next_munmap.get()(address, length); });
}

int msync(void *address, size_t length, int flags)
{
    if (passes(__builtin_return_address(0)))
        return next_msync.get()(address, length, flags);
    Call call{};
    call.fn = Fn::msync;
    call.address = reinterpret_cast<uintptr_t>(address);
    call.length = length;
    call.flags = flags;
    return perform<int>(call, [=] { return next_msync.get()(address, length, flags); });
}

int poll(pollfd *descriptors, nfds_t count, int timeout)
{
    if (passes(__builtin_return_address(0)))
        return next_poll.get()(descriptors, count, timeout);
    Call call{};
    call.fn = Fn::poll;
    call.fd = count ? descriptors[0].fd : -1;
    call.flags = count ? descriptors[0].events : 0;
    call.length = count;
    call.offset = timeout;
    return perform<int>(call, [=] { return next_poll.get()(descriptors, count, timeout); });
}

int dup(int fd) noexcept
{
    if (passes(__builtin_return_address(0)))
        return next_dup.get()(fd);
    Call call{};
    call.fn = Fn::dup;
    call.fd = fd;
    return perform<int>(call, [=] { return next_dup.get()(fd); });
}

off_t lseek(int fd, off_t offset, int whence) noexcept
{
    if (passes(__builtin_return_address(0)))
        return next_lseek.get()(fd, offset, whence);
    Call call{};
    call.fn = Fn::lseek;
    call.fd = fd;
    call.offset = offset;
    call.flags = whence;
    return perform<off_t>(call, [=] { return next_lseek.get()(fd, offset, whence); });
}

ssize_t read(int fd, void *buffer, size_t length)
{
    if (passes(__builtin_return_address(0)))
        return next_read.get()(fd, buffer, length);
    Call call{};
    call.fn = Fn::read;
    call.fd = fd;
    call.length = length;
    return perform<ssize_t>(call, [=] { return next_read.get()(fd, buffer, length); });
}

int fsync(int fd)
{
    if (passes(__builtin_return_address(0)))
        return next_fsync.get()(fd);
    Call call{};
    call.fn = Fn::fsync;
    call.fd = fd;
    return perform<int>(call, [=] { return next_fsync.get()(fd); });
}

long sysconf(int name) noexcept
{
    if (passes(__builtin_return_address(0)))
        return next_sysconf.get()(name);
    Call call{};
    call.fn = Fn::sysconf;
    call.request = static_cast<uint32_t>(name);
    return perform<long>(call, [=] { return next_sysconf.get()(name); });
}

/* What atexit() of every program and library comes down to. */
int __cxa_atexit(void (*function)(void *), void *argument, void *handle)
{
    if (passes(__builtin_return_address(0)))
        return next_cxa_atexit.get()(function, argument, handle);
    Call call{};
    call.fn = Fn::cxa_atexit;
    call.address = reinterpret_cast<uintptr_t>(function);
    return perform<int>(call, [=] { return next_cxa_atexit.get()(function, argument, handle); });
}

#ifdef ORKA_TEST_TSAN
/* ThreadSanitizer has an atexit of its own, which libraries find before libc's. */
int atexit(void (*function)()) noexcept
{
    static constinit Next<int(void (*)())> next{"atexit"};
    if (passes(__builtin_return_address(0)))
        return next.get()(function);
    Call call{};
    call.fn = Fn::cxa_atexit;
    call.address = reinterpret_cast<uintptr_t>(function);
    return perform<int>(call, [=] { return next.get()(function); });
}
#endif

int on_exit(void (*function)(int, void *), void *argument) noexcept
{
    if (passes(__builtin_return_address(0)))
        return next_on_exit.get()(function, argument);
    Call call{};
    call.fn = Fn::on_exit;
    call.address = reinterpret_cast<uintptr_t>(function);
    call.argument = argument;
    return perform<int>(call, [=] { return next_on_exit.get()(function, argument); });
}

void *malloc(size_t size) noexcept
{
    return allocate(Fn::malloc, size, [=] { return next_malloc.get()(size); });
}

void *calloc(size_t count, size_t size) noexcept
{
    return allocate(Fn::calloc, count * size, [=] { return next_calloc.get()(count, size); });
}

void free(void *block) noexcept
{
    static constinit bool resolving = false;
    if (next_free.is_unresolved()) {
        if (resolving)
            return; /* a few bytes of dlsym's own, once */
        resolving = true;
        next_free.get();
        resolving = false;
    }
    if (block && block == block_to_watch.load(std::memory_order_relaxed)) {
        memcpy(freed_copy, block, freed_size);
        block_to_watch = nullptr;
        freed_seen = true;
    }
    next_free.get()(block);
}

/*
 * The stand-ins are not instrumented, so ThreadSanitizer would see the caller of their caller and know no
 * suppression by the caller's name.
 */
struct CallerFrame {
#ifdef ORKA_TEST_TSAN
    explicit CallerFrame(void *caller) : shown(active.load(std::memory_order_relaxed))
    {
        if (shown)
            __tsan_func_entry(caller);
    }
    ~CallerFrame()
    {
        if (shown)
            __tsan_func_exit();
    }
    CallerFrame(const CallerFrame &) = delete;
    CallerFrame &operator=(const CallerFrame &) = delete;

    const bool shown;
#else
    explicit CallerFrame(void * /*caller*/) {}
#endif
};

/* The pthread family: the result is the error code, the first argument the object that is recorded. */
#define ORKA_STAND_IN(name, fn, specifier, object, parameters, arguments)                                    \
    int name parameters specifier                                                                            \
    {                                                                                                        \
        const CallerFrame frame(__builtin_return_address(0));                                                \
        static constinit Next<int parameters> next{#name};                                                   \
        int result = fails(fn) ? static_cast<int>(slot_of(fn).result) : next.get() arguments;                \
        record_object(fn, object, result);                                                                   \
        return result;                                                                                       \
    }

ORKA_STAND_IN(pthread_create, Fn::thread_create, noexcept, thread,
              (pthread_t * thread, const pthread_attr_t *attributes, void *(*start)(void *), void *argument),
              (thread, attributes, start, argument))
ORKA_STAND_IN(pthread_detach, Fn::thread_detach, noexcept, nullptr, (pthread_t thread), (thread))
ORKA_STAND_IN(pthread_join, Fn::thread_join, , nullptr, (pthread_t thread, void **result_value),
              (thread, result_value))
ORKA_STAND_IN(pthread_cancel, Fn::thread_cancel, , nullptr, (pthread_t thread), (thread))
ORKA_STAND_IN(sched_yield, Fn::sched_yield, noexcept, nullptr, (void), ())
ORKA_STAND_IN(pthread_mutex_init, Fn::mutex_init, noexcept, mutex,
              (pthread_mutex_t * mutex, const pthread_mutexattr_t *attributes), (mutex, attributes))
ORKA_STAND_IN(pthread_mutex_destroy, Fn::mutex_destroy, noexcept, mutex, (pthread_mutex_t * mutex), (mutex))
ORKA_STAND_IN(pthread_mutex_lock, Fn::mutex_lock, noexcept, mutex, (pthread_mutex_t * mutex), (mutex))
ORKA_STAND_IN(pthread_mutex_trylock, Fn::mutex_trylock, noexcept, mutex, (pthread_mutex_t * mutex), (mutex))
ORKA_STAND_IN(pthread_mutex_unlock, Fn::mutex_unlock, noexcept, mutex, (pthread_mutex_t * mutex), (mutex))
ORKA_STAND_IN(pthread_cond_init, Fn::cond_init, noexcept, condition,
              (pthread_cond_t * condition, const pthread_condattr_t *attributes), (condition, attributes))
ORKA_STAND_IN(pthread_cond_destroy, Fn::cond_destroy, noexcept, condition, (pthread_cond_t * condition),
              (condition))
ORKA_STAND_IN(pthread_cond_wait, Fn::cond_wait, , condition,
              (pthread_cond_t * condition, pthread_mutex_t *mutex), (condition, mutex))
ORKA_STAND_IN(pthread_cond_broadcast, Fn::cond_broadcast, noexcept, condition, (pthread_cond_t * condition),
              (condition))
ORKA_STAND_IN(pthread_cond_signal, Fn::cond_signal, noexcept, condition, (pthread_cond_t * condition),
              (condition))

int pthread_setcancelstate(int state, int *old_state)
{
    static constinit Next<int(int, int *)> next{"pthread_setcancelstate"};
    if (!records(Fn::thread_setcancelstate))
        return next.get()(state, old_state);
    Call call{};
    call.fn = Fn::thread_setcancelstate;
    call.argument = old_state;
    call.flags = state;
    return perform<int>(call, [=] { return next.get()(state, old_state); });
}

int pthread_setschedparam(pthread_t thread, int policy, const sched_param *parameter) noexcept
{
    static constinit Next<int(pthread_t, int, const sched_param *)> next{"pthread_setschedparam"};
    if (!records(Fn::thread_setschedparam))
        return next.get()(thread, policy, parameter);
    Call call{};
    call.fn = Fn::thread_setschedparam;
    call.flags = policy;
    call.offset = parameter->sched_priority;
    return perform<int>(call, [=] { return next.get()(thread, policy, parameter); });
}

} // extern "C"
