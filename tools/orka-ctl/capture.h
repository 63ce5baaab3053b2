/* orka-ctl capture: modes, and a picture of what the camera sees. */
#ifndef ORKA_CTL_CAPTURE_H
#define ORKA_CTL_CAPTURE_H

#include <CLI/CLI.hpp>

namespace orka::ctl {

void add_capture(CLI::App &app);

} // namespace orka::ctl

#endif
