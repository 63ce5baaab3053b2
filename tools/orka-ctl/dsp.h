/* orka-ctl dsp: the DSP's memory window, and the image that it runs. */
#ifndef ORKA_CTL_DSP_H
#define ORKA_CTL_DSP_H

#include <CLI/CLI.hpp>

namespace orka::ctl {

void add_dsp(CLI::App &app);

} // namespace orka::ctl

#endif
