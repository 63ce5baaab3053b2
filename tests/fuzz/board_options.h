/* Which board an input is for. */
#ifndef ORKA_TESTS_FUZZ_BOARD_OPTIONS_H
#define ORKA_TESTS_FUZZ_BOARD_OPTIONS_H

#include <cstdint>

#include "drivers/driver.h"

namespace orka_test {

/* By its first byte. */
inline orka::board::Options options_by(uint8_t byte)
{
    return {.real_time = (byte & 1) != 0, .reclaim = (byte & 2) != 0, .camera = {}, .microphone = {}};
}

} // namespace orka_test

#endif
