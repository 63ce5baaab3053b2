/* Requests to a file of the board. */
#include <asm/ioctls.h>
#include <cstdarg>
#include <fcntl.h>
#include <sys/ioctl.h>

#include "shim/connection.h"
#include "shim/kernel.h"
#include "shim/nodes.h"
#include "shim/start.h"

namespace orka::board::shim {

namespace {

/* The kernel answers these for every descriptor; no driver hears of them. */
bool is_generic(uint32_t number)
{
    return number == FIOCLEX || number == FIONCLEX || number == FIONBIO || number == FIOASYNC;
}

/* What a request carries, as its row says. A name or a value comes by way of `copy`. */
long carry(const wire::request_row &row, void *argument, char (&copy)[protocol::payload_limit],
           exchange &what)
{
    if (row.argument == wire::argument::none)
        return 0;
    if (row.argument == wire::argument::value) {
        const auto value = static_cast<uint32_t>(reinterpret_cast<uintptr_t>(argument));
        __builtin_memcpy(copy, &value, sizeof value);
        what.record = copy;
        what.request.length = row.in;
        return 0;
    }
    if (row.argument == wire::argument::name) {
        const long length = copy_text(static_cast<const char *>(argument), copy, row.in);
        if (length == -EFAULT)
            return -EFAULT;
        /* A name that does not end goes as far as names may: the driver refuses it. */
        what.record = copy;
        what.request.length = length < 0 ? row.in : static_cast<uint32_t>(length) + 1;
        return 0;
    }
    what.record = argument;
    what.request.length = row.in;
    what.answer = argument;
    what.room = row.out;
    return 0;
}

static_assert(wire::largest_record() <= protocol::payload_limit);

/* Nothing where the server does not know the file, which is then not the board's. */
std::optional<long> control(const board_file &file, int fd, uint32_t number, void *argument)
{
    char copy[protocol::payload_limit];
    exchange what{.interruptible = true};
    what.request.operation = static_cast<uint32_t>(protocol::operation::control);
    what.request.file = file.number;
    what.request.number = number;
    what.request.nonblock = (control_descriptor(fd, F_GETFL) & O_NONBLOCK) != 0;

    /*
     * A request that the node does not take goes without a record: the server refuses it, and its trace
     * shows it.
     */
    const wire::request_row *row = wire::find_request(file.node, number);
    long result = row == nullptr ? 0 : carry(*row, argument, copy, what);
    if (result == 0)
        result = transact(what);
    if (result < 0)
        return result;
    if (what.reply.error == protocol::unknown_file)
        return {};
    return what.reply.error != 0 ? -static_cast<long>(what.reply.error) : what.reply.result;
}

int control_any(ioctl_function *const &real, int fd, unsigned long request, void *argument)
{
    /* Some programs sign-extend the number. */
    const uint32_t number = static_cast<uint32_t>(request);

    const std::optional<board_file> file = is_generic(number) ? std::nullopt : find_file(fd);
    if (file) {
        if (const std::optional<long> result = control(*file, fd, number, argument))
            return as_libc(*result);
    }
    if (real == nullptr)
        return as_libc(kernel(SYS_ioctl, fd, request, argument));
    return real(fd, request, argument);
}

} // namespace

} // namespace orka::board::shim

using namespace orka::board;

extern "C" {

int ioctl(int fd, unsigned long request, ...) noexcept
{
    va_list arguments;
    va_start(arguments, request);
    void *const argument = va_arg(arguments, void *);
    va_end(arguments);
    return shim::control_any(shim::real.ioctl, fd, request, argument);
}

#ifndef __LP64__
/* What ioctl() is in a program whose time has 64 bits. */
int __ioctl_time64(int fd, unsigned long request, ...) noexcept
{
    va_list arguments;
    va_start(arguments, request);
    void *const argument = va_arg(arguments, void *);
    va_end(arguments);
    return shim::control_any(shim::real.ioctl_time64, fd, request, argument);
}
#endif

} // extern "C"
