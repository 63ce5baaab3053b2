#include "server/cache.h"

#include <cstring>

#include "server/fault_target.h"
#include "server/record_word.h"

namespace orka::board {

namespace {

orka_idecode_frame_t frame_at(std::span<const uint8_t> record, size_t offset)
{
    return {.addr = word_at(record, offset + offsetof(orka_idecode_frame_t, addr)),
            .size = word_at(record, offset + offsetof(orka_idecode_frame_t, size))};
}

} // namespace

void hand_in_frame(Memory &memory, const PendingCall &call)
{
    if (const std::optional<size_t> place = committed_frame(call.row())) {
        const orka_idecode_frame_t frame = frame_at(call.in(), *place);
        memory.hand_in(frame.addr, frame.size);
    }
}

void hand_out_frame(Memory &memory, const PendingCall &call, std::span<const uint8_t> out)
{
    const std::optional<size_t> place = delivered_frame(call.row());
    const std::optional<size_t> status = status_offset(call.row());
    if (!place || (status && static_cast<int32_t>(word_at(out, *status)) != wire::driver_done))
        return;
    const orka_idecode_frame_t frame = frame_at(out, *place);
    memory.hand_out(frame.addr, frame.size);
}

} // namespace orka::board
