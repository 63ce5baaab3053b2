/* orka-board doctor: whether this machine has what a board and its programs need. */
#ifndef ORKA_BOARD_SERVER_DOCTOR_H
#define ORKA_BOARD_SERVER_DOCTOR_H

#include <string>
#include <vector>

#include "server/options.h"

namespace orka::board {

/* warning: something that not every program needs is not there, or is not safe. */
enum class Health { ok, warning, missing };

struct Finding {
    std::string check; /* what was looked at, one word */
    Health health = Health::ok;
    std::string found;  /* for people */
    std::string remedy; /* empty where nothing is to be done */
};

/* Where to look. */
struct Surroundings {
    std::vector<std::string> shims; /* directories to look in first */
    std::string font;
    std::vector<std::string> i686_loaders; /* any of them will do */
    std::vector<std::string> arm_loaders;
    std::string memory_information;
};

/* Where boards and programs look. */
Surroundings usual_surroundings(const std::vector<std::string> &shims);

std::vector<Finding> examine(const Surroundings &where);

/* Prints what was found. The process's exit status: 1 where something is missing, or the printing failed. */
int print_examination(const Command &command);

} // namespace orka::board

#endif
