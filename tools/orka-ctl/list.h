/* orka-ctl list: what the library knows, as the library itself lists it. */
#ifndef ORKA_CTL_LIST_H
#define ORKA_CTL_LIST_H

#include <CLI/CLI.hpp>

namespace orka::ctl {

void add_list(CLI::App &app);

} // namespace orka::ctl

#endif
