/* The display, set up by a tool for what it shows. */
#ifndef ORKA_TOOLS_DISPLAY_OUTPUT_H
#define ORKA_TOOLS_DISPLAY_OUTPUT_H

#include <string>

#include "common/size.h"

namespace orka {

/* As it was before again once this ends. */
class DisplayOutput {
  public:
    /* mode: as ModeName takes it; source: of the pictures to be fitted in, 0x0 for none. Throws Failure. */
    DisplayOutput(const std::string &mode, const Size &source);
    ~DisplayOutput();
    DisplayOutput(const DisplayOutput &) = delete;
    DisplayOutput &operator=(const DisplayOutput &) = delete;
};

} // namespace orka

#endif
