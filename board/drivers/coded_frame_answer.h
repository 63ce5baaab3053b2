/* How the encoders of sound and of stills answer a request for a frame, and how long it waits. */
#ifndef ORKA_BOARD_CODED_FRAME_ANSWER_H
#define ORKA_BOARD_CODED_FRAME_ANSWER_H

#include "drivers/driver.h"

namespace orka::board {

inline void answer_coded_frame(Call &call, int32_t status, const orka_iencode_frame_t &frame)
{
    auto record = call.record<wire::encode_frame_request_record>();
    record.status = status;
    record.frame = frame;
    call.reply_record(record);
}

inline void answer_without_coded_frame(Call &call, int32_t status)
{
    answer_coded_frame(call, status, {});
}

inline int32_t coded_frame_timeout(const Call &call)
{
    return static_cast<int32_t>(call.record<wire::encode_frame_request_record>().timeout);
}

} // namespace orka::board

#endif
