/* Opening a node of the board. */
#include <cstdarg>
#include <fcntl.h>

#include "shim/connection.h"
#include "shim/kernel.h"
#include "shim/nodes.h"
#include "shim/start.h"

namespace orka::board::shim {

namespace {

/* Whether open() takes a third argument. */
bool takes_mode(int flags)
{
    return (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE;
}

/* The descriptor that the board gives for a node, at any number; or a negative error number. */
long ask_for_node(wire::node node, int flags)
{
    exchange asked;
    asked.request.operation = static_cast<uint32_t>(protocol::operation::open);
    asked.request.node = static_cast<uint32_t>(node);
    asked.request.flags = static_cast<uint32_t>(flags & (O_ACCMODE | O_NONBLOCK));

    const long result = transact(asked);
    if (result < 0)
        return result;
    if (asked.reply.error != 0)
        return -static_cast<long>(asked.reply.error);
    return asked.descriptor >= 0 ? asked.descriptor : -ENODEV;
}

/*
 * Another character device that everybody may open is opened in the node's place first: it takes the number
 * that open() must give, and the kernel judges the flags. The board's descriptor then moves there.
 */
int open_node(wire::node node, int flags, mode_t mode)
{
    const long place = kernel(SYS_openat, AT_FDCWD, "/dev/null", flags, mode);
    /* O_PATH reaches no driver. */
    if (place < 0 || (flags & O_PATH) != 0)
        return as_libc(place);

    long result = ask_for_node(node, flags);
    if (result >= 0) {
        const long given = result;
        result = kernel(SYS_dup3, given, place, flags & O_CLOEXEC);
        kernel(SYS_close, given);
    }
    if (result < 0)
        kernel(SYS_close, place);
    return as_libc(result);
}

int open_at(openat_function *const &real, int large, int directory, const char *path, int flags, mode_t mode)
{
    if (const std::optional<wire::node> node = find_node(directory, path))
        return open_node(*node, flags, mode);
    if (real == nullptr)
        return as_libc(kernel(SYS_openat, directory, path, flags | large, mode));
    return real(directory, path, flags, mode);
}

int open_path(open_function *const &real, int large, const char *path, int flags, mode_t mode)
{
    if (const std::optional<wire::node> node = find_node(AT_FDCWD, path))
        return open_node(*node, flags, mode);
    if (real == nullptr)
        return as_libc(kernel(SYS_openat, AT_FDCWD, path, flags | large, mode));
    return real(path, flags, mode);
}

/* The fortified forms: libc ends the program when a mode is missing. */
int open_checked(checked_open_function *const &real, int large, const char *path, int flags)
{
    const bool complete = !takes_mode(flags);

    if (const std::optional<wire::node> node = find_node(AT_FDCWD, path); node && complete)
        return open_node(*node, flags, 0);
    if (real == nullptr)
        return as_libc(kernel(SYS_openat, AT_FDCWD, path, flags | large, 0));
    return real(path, flags);
}

int open_checked_at(checked_openat_function *const &real, int large, int directory, const char *path,
                    int flags)
{
    const bool complete = !takes_mode(flags);

    if (const std::optional<wire::node> node = find_node(directory, path); node && complete)
        return open_node(*node, flags, 0);
    if (real == nullptr)
        return as_libc(kernel(SYS_openat, directory, path, flags | large, 0));
    return real(directory, path, flags);
}

mode_t creation_mode(int flags, va_list arguments)
{
    return takes_mode(flags) ? va_arg(arguments, mode_t) : 0;
}

} // namespace

} // namespace orka::board::shim

using namespace orka::board;

extern "C" {

int open(const char *path, int flags, ...)
{
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = shim::creation_mode(flags, arguments);
    va_end(arguments);
    return shim::open_path(shim::real.open, 0, path, flags, mode);
}

int open64(const char *path, int flags, ...)
{
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = shim::creation_mode(flags, arguments);
    va_end(arguments);
    return shim::open_path(shim::real.open64, O_LARGEFILE, path, flags, mode);
}

int openat(int directory, const char *path, int flags, ...)
{
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = shim::creation_mode(flags, arguments);
    va_end(arguments);
    return shim::open_at(shim::real.openat, 0, directory, path, flags, mode);
}

int openat64(int directory, const char *path, int flags, ...)
{
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = shim::creation_mode(flags, arguments);
    va_end(arguments);
    return shim::open_at(shim::real.openat64, O_LARGEFILE, directory, path, flags, mode);
}

int __open_2(const char *path, int flags)
{
    return shim::open_checked(shim::real.open_2, 0, path, flags);
}

int __open64_2(const char *path, int flags)
{
    return shim::open_checked(shim::real.open64_2, O_LARGEFILE, path, flags);
}

int __openat_2(int directory, const char *path, int flags)
{
    return shim::open_checked_at(shim::real.openat_2, 0, directory, path, flags);
}

int __openat64_2(int directory, const char *path, int flags)
{
    return shim::open_checked_at(shim::real.openat64_2, O_LARGEFILE, directory, path, flags);
}

} // extern "C"
