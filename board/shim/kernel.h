/*
 * The kernel's calls as the shim makes them: none of libc's functions that it replaces, no cancellation
 * point, and errno as it was.
 */
#ifndef ORKA_BOARD_SHIM_KERNEL_H
#define ORKA_BOARD_SHIM_KERNEL_H

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <sys/syscall.h>
#include <unistd.h>

namespace orka::board::shim {

template <typename Value>
long word(Value value)
{
    return static_cast<long>(value);
}

template <typename Pointed>
long word(Pointed *pointer)
{
    return reinterpret_cast<long>(pointer);
}

/* What the call returns, or the negative error number. */
template <typename... Arguments>
long kernel(long number, Arguments... arguments)
{
    const int saved = errno;
    long result = syscall(number, word(arguments)...);
    if (result == -1) {
        result = -errno;
        errno = saved;
    }
    return result;
}

/* The other way round: errno and -1 for a negative error number, as the program expects it. */
int as_libc(long result);

/* Which file a descriptor is. */
struct identity {
    uint64_t inode;
    uint32_t major;
    uint32_t minor;
    uint32_t type; /* S_IFIFO and the like */

    bool operator==(const identity &) const = default;
};

/* 0, or the negative error number. An empty path: of directory itself, which may be any descriptor. */
long identify(int directory, const char *path, identity &found);

/* F_GETFL, F_GETPIPE_SZ and the like, which fit the oldest fcntl of every ABI. */
long control_descriptor(int fd, int command, int argument = 0);

/*
 * Copies a text of the program's with its NUL: the length without it, -EFAULT where the program cannot read
 * its own text, or -ENAMETOOLONG where the first `capacity` bytes, which are then all copied, hold no NUL.
 */
long copy_text(const char *text, char *copy, size_t capacity);

} // namespace orka::board::shim

#endif
