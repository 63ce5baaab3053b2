/* orka-ctl imem: the manager of shared memory. */
#ifndef ORKA_CTL_IMEM_H
#define ORKA_CTL_IMEM_H

#include <CLI/CLI.hpp>

namespace orka::ctl {

void add_imem(CLI::App &app);

} // namespace orka::ctl

#endif
