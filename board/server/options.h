/* What the command line asks for. */
#ifndef ORKA_BOARD_SERVER_OPTIONS_H
#define ORKA_BOARD_SERVER_OPTIONS_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "drivers/driver.h"
#include "protocol/protocol.h"
#include "server/fault.h"

namespace orka::board {

/* Where the live view is served; port 0 is any free one. */
struct ViewAddress {
    std::string host = "127.0.0.1"; /* a numeric address */
    uint16_t port = 0;
};

constexpr uint32_t usual_memory_mib = 128;

struct BoardOptions {
    uint32_t memory_mib = usual_memory_mib;
    bool strict_cache = false;
    Options drivers;
    std::string trace; /* files; empty where there is none */
    std::string log;
    std::optional<ViewAddress> view;
    std::vector<Fault> faults;
};

enum class Action { run, serve, screenshot, status, doctor, nothing };

struct Command {
    Action action = Action::nothing;
    int status = 0; /* of the process, where there is nothing to do */
    BoardOptions board;
    std::vector<std::string> shims;   /* directories to look in first */
    std::string socket;               /* serve: where to listen; all others: the board to join, or empty */
    std::vector<std::string> program; /* run */
    std::string file;                 /* screenshot; "-" is standard output */
    protocol::plane plane = protocol::plane::composed;
    bool json = false; /* status, doctor */
};

/* Says on the standard streams what there is to say: help, the version, an error. */
Command parse_command_line(int argc, char **argv);

} // namespace orka::board

#endif
