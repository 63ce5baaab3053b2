/* What the board's video output can be set to. */
#ifndef ORKA_BOARD_DISPLAY_MODES_H
#define ORKA_BOARD_DISPLAY_MODES_H

#include <string>

#include "orka_idisplay.h"

namespace orka::board {

/* The record of a display that nobody has set up: INTERNAL 480i, its picture area not resolved. */
orka_display_params_t default_output();

/* Empty for a record that the output can be set to, else what is wrong with it, for the board's log. */
std::string refuse_output(const orka_display_params_t &output);

/* The most pixels that a mode has. */
constexpr uint32_t largest_mode = 720 * 576;

} // namespace orka::board

#endif
