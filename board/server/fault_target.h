/* What of a request an injected fault can change, by its record. */
#ifndef ORKA_BOARD_SERVER_FAULT_TARGET_H
#define ORKA_BOARD_SERVER_FAULT_TARGET_H

#include <cstddef>
#include <optional>

#include "wire/orka_nodes.h"

namespace orka::board {

/* Where the driver's status lies in the answer. */
std::optional<size_t> status_offset(const wire::request_row &row);

/* Where a frame lies: in a request that hands its data to the DSP, in an answer that hands them out. */
std::optional<size_t> committed_frame(const wire::request_row &row);
std::optional<size_t> delivered_frame(const wire::request_row &row);

/* The request is for a codec that is set up, which runs in a thread of the DSP. */
bool reaches_codec(const wire::request_row &row);

} // namespace orka::board

#endif
