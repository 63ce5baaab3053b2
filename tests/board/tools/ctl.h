/* orka-ctl in scripts, and in need of room for what it says. */
#ifndef ORKA_TESTS_TOOLS_CTL_H
#define ORKA_TESTS_TOOLS_CTL_H

#include <algorithm>
#include <string>

#include "board/tools/support.h"

namespace orka_tools_test {

inline const std::string ctl = ORKA_CTL_PROGRAM;

/* Programs one after the other, on one board. */
inline Ending on_board(const std::string &script)
{
    return run({ORKA_BOARD_PROGRAM, "run", "--", "sh", "-ec", script});
}

/* What --help of a command says, on one line. */
inline std::string help_of(const Words &command)
{
    std::string help = run(Words{ctl} + command + Words{"--help"}).out;
    std::ranges::replace(help, '\n', ' ');
    return help;
}

/* A command whose standard output is a full disk. */
inline Words on_full_disk(const Words &command)
{
    return Words{"sh", "-c", "exec \"$@\" >/dev/full", "sh"} + command;
}

constexpr char no_room[] = "orka-ctl: standard output: No space left on device\n";

} // namespace orka_tools_test

#endif
