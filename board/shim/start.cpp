#include "shim/start.h"

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <unistd.h>

#include "protocol/protocol.h"
#include "shim/connection.h"

namespace orka::board::shim {

/* Never destroyed: libraries that are finalised after the shim still close their devices. */
constinit real_functions real{};
constinit server_address server{};

namespace {

enum stage : int { untouched, starting, no_board, board };

constinit std::atomic<int> reached{untouched};

template <typename Function>
void resolve(Function *&function, const char *name)
{
    function = reinterpret_cast<Function *>(dlsym(RTLD_NEXT, name));
}

void resolve_openers()
{
    resolve(real.open, "open");
    resolve(real.open64, "open64");
    resolve(real.openat, "openat");
    resolve(real.openat64, "openat64");
    resolve(real.open_2, "__open_2");
    resolve(real.open64_2, "__open64_2");
    resolve(real.openat_2, "__openat_2");
    resolve(real.openat64_2, "__openat64_2");
    resolve(real.ioctl, "ioctl");
    resolve(real.ioctl_time64, "__ioctl_time64");
    resolve(real.mmap, "mmap");
    resolve(real.mmap64, "mmap64");
    resolve(real.msync, "msync");
}

void resolve_lookers()
{
    resolve(real.access, "access");
    resolve(real.eaccess, "eaccess");
    resolve(real.euidaccess, "euidaccess");
    resolve(real.faccessat, "faccessat");
    resolve(real.statx, "statx");
    resolve(real.stat, "stat");
    resolve(real.lstat, "lstat");
    resolve(real.stat64, "stat64");
    resolve(real.lstat64, "lstat64");
    resolve(real.stat_time64, "__stat64_time64");
    resolve(real.lstat_time64, "__lstat64_time64");
    resolve(real.fstatat, "fstatat");
    resolve(real.fstatat64, "fstatat64");
    resolve(real.fstatat_time64, "__fstatat64_time64");
    resolve(real.xstat, "__xstat");
    resolve(real.lxstat, "__lxstat");
    resolve(real.xstat64, "__xstat64");
    resolve(real.lxstat64, "__lxstat64");
    resolve(real.fxstatat, "__fxstatat");
    resolve(real.fxstatat64, "__fxstatat64");
    resolve(real.getxattr, "getxattr");
    resolve(real.lgetxattr, "lgetxattr");
}

/* Keeps a copy: the program may change its environment, or write over it. */
bool read_environment()
{
    const char *path = getenv(protocol::socket_variable);
    if (path == nullptr || path[0] == '\0')
        return false;

    const size_t length = strlen(path);
    if (length < sizeof server.name.sun_path) {
        server.name.sun_family = AF_UNIX;
        memcpy(server.name.sun_path, path, length + 1);
        server.length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + length + 1);
    }
    return true;
}

void start()
{
    int expected = untouched;
    if (environ == nullptr || !reached.compare_exchange_strong(expected, starting))
        return;

    const int saved = errno;
    resolve_openers();
    resolve_lookers();
    const bool found = read_environment();
    if (found)
        prepare_connections();
    reached.store(found ? board : no_board, std::memory_order_release);
    errno = saved;
}

/* The server learns from the first connection that its program is one that can be preloaded. */
__attribute__((constructor)) void start_and_greet()
{
    if (has_board())
        greet();
}

} // namespace

bool has_board()
{
    if (reached.load(std::memory_order_acquire) < no_board)
        start();
    return reached.load(std::memory_order_acquire) == board;
}

} // namespace orka::board::shim
