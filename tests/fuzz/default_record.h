/* Records that the drivers take, from which those of the inputs depart. */
#ifndef ORKA_TESTS_FUZZ_DEFAULT_RECORD_H
#define ORKA_TESTS_FUZZ_DEFAULT_RECORD_H

#include <vector>

#include "fuzz/script.h"
#include "wire/orka_nodes.h"

namespace orka_test {

/* What goes to the driver with a request; frame is the last one that the file was given. */
std::vector<uint8_t> default_record(const orka::wire::request_row &row, const orka_idecode_frame_t &frame,
                                    Script &script);

} // namespace orka_test

#endif
