/*
 * Mapping physical memory. A memfd maps beyond its end and faults when it is touched there; the device
 * refuses, with EINVAL, and so does the shim.
 */
#include <sys/mman.h>
#include <type_traits>

#include "shim/connection.h"
#include "shim/kernel.h"
#include "shim/start.h"

namespace orka::board::shim {

namespace {

void report_outside(uint64_t offset, uint64_t length)
{
    const protocol::range asked{.offset = offset, .length = length};
    exchange report{.record = &asked};
    report.request.operation = static_cast<uint32_t>(protocol::operation::outside);
    report.request.length = sizeof asked;

    transact(report);
}

bool is_outside(int flags, int fd, uint64_t offset, uint64_t length)
{
    identity file;
    uint64_t size = 0;
    if ((flags & MAP_ANONYMOUS) != 0 || !has_board() || identify(fd, "", file) < 0 || !is_memory(file, size))
        return false;
    return offset > size || length > size - offset;
}

void *refuse(uint64_t offset, uint64_t length)
{
    report_outside(offset, length);
    errno = EINVAL;
    return MAP_FAILED;
}

/* Only until the shim has found libc's own. */
void *map_raw(void *address, size_t length, int protection, int flags, int fd, off64_t offset)
{
#ifdef SYS_mmap2
    constexpr off64_t unit = 4096;
    if (offset % unit != 0)
        return reinterpret_cast<void *>(as_libc(-EINVAL));
    const long mapped = kernel(SYS_mmap2, address, length, protection, flags, fd, offset / unit);
#else
    const long mapped = kernel(SYS_mmap, address, length, protection, flags, fd, offset);
#endif
    /* High addresses are negative numbers too, where a word has 32 bits. */
    constexpr long last_error = -4095;
    if (mapped < 0 && mapped >= last_error)
        return reinterpret_cast<void *>(as_libc(mapped));
    return reinterpret_cast<void *>(mapped);
}

} // namespace

} // namespace orka::board::shim

using namespace orka::board;

extern "C" {

void *mmap(void *address, size_t length, int protection, int flags, int fd, off_t offset) noexcept
{
    /* Physical addresses of the upper half are negative offsets, where an offset has 32 bits. */
    const uint64_t physical = static_cast<std::make_unsigned_t<off_t>>(offset);

    if (shim::is_outside(flags, fd, physical, length))
        return shim::refuse(physical, length);
    if (shim::real.mmap == nullptr)
        return shim::map_raw(address, length, protection, flags, fd, offset);
    return shim::real.mmap(address, length, protection, flags, fd, offset);
}

void *mmap64(void *address, size_t length, int protection, int flags, int fd, off64_t offset) noexcept
{
    const uint64_t physical = static_cast<uint64_t>(offset);

    if (shim::is_outside(flags, fd, physical, length))
        return shim::refuse(physical, length);
    if (shim::real.mmap64 == nullptr)
        return shim::map_raw(address, length, protection, flags, fd, offset);
    return shim::real.mmap64(address, length, protection, flags, fd, offset);
}

} // extern "C"
