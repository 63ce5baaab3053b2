/* orka-ctl display: outputs and modes. */
#ifndef ORKA_CTL_DISPLAY_H
#define ORKA_CTL_DISPLAY_H

#include <CLI/CLI.hpp>

namespace orka::ctl {

void add_display(CLI::App &app);

} // namespace orka::ctl

#endif
