/*
 * What requests do to the cache between programs and the DSP: drivers clean and invalidate it for the frames
 * that pass through them. Nothing where the board has no cache.
 */
#ifndef ORKA_BOARD_SERVER_CACHE_H
#define ORKA_BOARD_SERVER_CACHE_H

#include "server/pending_call.h"

namespace orka::board {

/* What a program commits reaches the DSP, before the driver sees the call. */
void hand_in_frame(Memory &memory, const PendingCall &call);

/* What the DSP made reaches the program, before the answer does. */
void hand_out_frame(Memory &memory, const PendingCall &call, std::span<const uint8_t> out);

} // namespace orka::board

#endif
