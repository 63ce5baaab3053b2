#include "imem.h"

#include "common/failure.h"
#include "common/process.h"
#include "orka_imem.h"

namespace orka::ctl {

void add_imem(CLI::App &app)
{
    CLI::App &imem = *app.add_subcommand("imem", "The shared memory of programs and DSP");
    imem.require_subcommand(1);
    imem.add_subcommand("reset", "Free all blocks, whoever holds them")->callback([] {
        check_board("/dev/imanage");
        if (orka_imem_reset() != ORKA_STATUS_SUCCESS)
            throw Failure("the memory could not be reset");
    });
}

} // namespace orka::ctl
