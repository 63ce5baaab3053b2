#include "drivers/frame_input.h"

#include <cerrno>

#include "orka_media.h"

namespace orka::board {

void answer_frame_request(Call &call, int32_t status, const orka_idecode_frame_t &frame)
{
    auto record = call.record<wire::frame_request_record>();
    record.status = status;
    record.frame = frame;
    call.reply_record(record);
}

void answer_without_frame(Call &call, int32_t status)
{
    answer_frame_request(call, status, {});
}

int32_t frame_timeout(const Call &call)
{
    return call.record<wire::frame_request_record>().timeout;
}

void FrameInput::hand_out(Call &call)
{
    const uint32_t address = *space_.allocate(limits_.bytes);
    handed_out_.insert(address);
    answer_frame_request(
        call, wire::driver_done,
        {.kind = limits_.kind, .number = number_++, .addr = address, .capacity = limits_.bytes});
}

void FrameInput::new_frame(std::shared_ptr<Call> call, bool stopped)
{
    const int32_t timeout = frame_timeout(*call);
    if (timeout < -1)
        return call->fail(EINVAL);
    if (fillers_.empty() && has_room())
        return hand_out(*call);
    if (stopped)
        return answer_without_frame(*call, wire::driver_failure);
    fillers_.add(std::move(call), timeout);
}

void FrameInput::serve()
{
    while (!fillers_.empty() && has_room())
        hand_out(*fillers_.take());
}

/* An errno value for what cannot be committed. */
int FrameInput::check(const orka_idecode_frame_t &frame) const
{
    const bool last = frame.kind == ORKA_FRAME_TYPE_LAST;
    if (!last && frame.kind != limits_.kind)
        return EINVAL;
    if (!handed_out_.contains(frame.addr) || frame.size > (last ? 0 : limits_.bytes))
        return EINVAL;
    return ended_ ? EINVAL : 0;
}

std::optional<orka_idecode_frame_t> FrameInput::commit(Call &call)
{
    const auto frame = call.record<wire::frame_return_record>().frame;
    if (const int error = check(frame)) {
        call.fail(error);
        return std::nullopt;
    }
    handed_out_.erase(frame.addr);
    ended_ = frame.kind == ORKA_FRAME_TYPE_LAST;
    frames_ += !ended_;
    if (ended_)
        space_.free(frame.addr);
    else
        space_.trim(frame.addr, frame.size);
    return frame;
}

} // namespace orka::board
