/* Syncing physical memory, where the board keeps programs and the DSP apart by a cache. */
#include <sys/mman.h>

#include "shim/connection.h"
#include "shim/mapped.h"
#include "shim/start.h"

namespace orka::board::shim {

namespace {

void tell(uint64_t offset, uint64_t length)
{
    const protocol::range synced{.offset = offset, .length = length};
    exchange report{.record = &synced};
    report.request.operation = static_cast<uint32_t>(protocol::operation::sync);
    report.request.length = sizeof synced;

    transact(report);
}

void sync(uint64_t begin, uint64_t end)
{
    mappings all;
    mapping one;
    uint64_t size = 0;

    while (all.next(one)) {
        const uint64_t from = one.begin > begin ? one.begin : begin;
        const uint64_t to = one.end < end ? one.end : end;
        if (from < to && is_memory(one.file, size))
            tell(one.offset + (from - one.begin), to - from);
    }
}

} // namespace

} // namespace orka::board::shim

using namespace orka::board;

extern "C" int msync(void *address, size_t length, int flags)
{
    const bool through_cache = shim::has_board() && shim::has_cache();
    const int result = shim::real.msync == nullptr
                           ? shim::as_libc(shim::kernel(SYS_msync, address, length, flags))
                           : shim::real.msync(address, length, flags);
    if (result == 0 && through_cache) {
        const auto begin = reinterpret_cast<uintptr_t>(address);
        shim::sync(begin, uint64_t{begin} + length);
    }
    return result;
}
