#include "shim/kernel.h"

#include <fcntl.h>
#include <linux/futex.h>
#include <sys/stat.h>

namespace orka::board::shim {

int as_libc(long result)
{
    if (result >= 0)
        return static_cast<int>(result);
    errno = static_cast<int>(-result);
    return -1;
}

long identify(int directory, const char *path, identity &found)
{
    struct statx status;
    const long result = kernel(SYS_statx, directory, path, AT_EMPTY_PATH | AT_STATX_DONT_SYNC,
                               STATX_TYPE | STATX_INO, &status);

    if (result == 0)
        found = {.inode = status.stx_ino,
                 .major = status.stx_dev_major,
                 .minor = status.stx_dev_minor,
                 .type = status.stx_mode & uint32_t{S_IFMT}};
    return result;
}

long control_descriptor(int fd, int command, int argument)
{
#ifdef SYS_fcntl64
    return kernel(SYS_fcntl64, fd, command, argument);
#else
    return kernel(SYS_fcntl, fd, command, argument);
#endif
}

namespace {

constexpr uintptr_t smallest_page = 4096;

/*
 * Whether the page at an address can be read: the kernel is asked to compare the word there, by a wait that
 * has no time to wait. It costs no more than any call, has no effect, and an emulator understands it too.
 */
bool readable(const char *address)
{
    static constexpr long no_time[2] = {0, 0};
    const uintptr_t aligned = reinterpret_cast<uintptr_t>(address) & ~uintptr_t{3};

    return kernel(SYS_futex, aligned, FUTEX_WAIT_PRIVATE, -1, &no_time[0], 0, 0) != -EFAULT;
}

} // namespace

long copy_text(const char *text, char *copy, size_t capacity)
{
    for (size_t i = 0; i < capacity; i++) {
        const bool enters_page = i == 0 || reinterpret_cast<uintptr_t>(text + i) % smallest_page == 0;
        if (enters_page && !readable(text + i))
            return -EFAULT;
        copy[i] = text[i];
        if (copy[i] == '\0')
            return static_cast<long>(i);
    }
    return -ENAMETOOLONG;
}

} // namespace orka::board::shim
