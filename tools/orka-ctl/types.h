/* orka-ctl types: what the library takes a file for, by its name. */
#ifndef ORKA_CTL_TYPES_H
#define ORKA_CTL_TYPES_H

#include <CLI/CLI.hpp>

namespace orka::ctl {

void add_types(CLI::App &app);

} // namespace orka::ctl

#endif
