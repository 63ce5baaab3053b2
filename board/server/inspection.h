/* The subcommands that look at a running board. Each returns the process's exit status. */
#ifndef ORKA_BOARD_SERVER_INSPECTION_H
#define ORKA_BOARD_SERVER_INSPECTION_H

#include "server/options.h"

namespace orka::board {

int save_screenshot(const Command &command);
int print_status(const Command &command);

} // namespace orka::board

#endif
