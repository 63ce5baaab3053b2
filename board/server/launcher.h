/* The two things that orka-board does. Each returns the process's exit status. */
#ifndef ORKA_BOARD_SERVER_LAUNCHER_H
#define ORKA_BOARD_SERVER_LAUNCHER_H

#include "server/options.h"

namespace orka::board {

constexpr int board_failure = 125;

int run_program(const Command &command);
int serve_board(const Command &command);

} // namespace orka::board

#endif
