/* orka-ctl locks: the media locks, which all processes of the system share. */
#ifndef ORKA_CTL_LOCKS_H
#define ORKA_CTL_LOCKS_H

#include <CLI/CLI.hpp>

namespace orka::ctl {

void add_locks(CLI::App &app);

} // namespace orka::ctl

#endif
