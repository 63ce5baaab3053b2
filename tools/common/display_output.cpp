#include "common/display_output.h"

#include "common/display_mode.h"
#include "common/failure.h"

namespace orka {

DisplayOutput::DisplayOutput(const std::string &mode, const Size &source)
{
    const orka_display_params_t params = find_display_mode(mode, source);
    if (orka_idisplay_setup(&params) != ORKA_STATUS_SUCCESS)
        throw Failure("the display refused its setup for " + mode +
                      ": only one program at a time can set it up (`orka-board status` tells who has)");
}

DisplayOutput::~DisplayOutput()
{
    orka_idisplay_teardown();
}

} // namespace orka
