/* What the command line asks for. */
#ifndef ORKA_BOARD_SERVER_OPTIONS_H
#define ORKA_BOARD_SERVER_OPTIONS_H

#include <cstdint>
#include <string>
#include <vector>

#include "drivers/driver.h"

namespace orka::board {

struct BoardOptions {
    uint32_t memory_mib = 128;
    Options drivers;
    std::string trace; /* files; empty where there is none */
    std::string log;
};

enum class Action { run, serve, nothing };

struct Command {
    Action action = Action::nothing;
    int status = 0; /* of the process, where there is nothing to do */
    BoardOptions board;
    std::vector<std::string> shims;   /* directories to look in first */
    std::string socket;               /* serve: where to listen; run: the board to join */
    std::vector<std::string> program; /* run */
};

/* Says on the standard streams what there is to say: help, the version, an error. */
Command parse_command_line(int argc, char **argv);

} // namespace orka::board

#endif
