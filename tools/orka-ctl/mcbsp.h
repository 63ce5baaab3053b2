/* orka-ctl mcbsp: the registers of the DSP's serial ports. */
#ifndef ORKA_CTL_MCBSP_H
#define ORKA_CTL_MCBSP_H

#include <CLI/CLI.hpp>

namespace orka::ctl {

void add_mcbsp(CLI::App &app);

} // namespace orka::ctl

#endif
