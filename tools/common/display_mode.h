/* Display modes as people name them. */
#ifndef ORKA_TOOLS_DISPLAY_MODE_H
#define ORKA_TOOLS_DISPLAY_MODE_H

#include <string>

#include "common/size.h"
#include "orka_idisplay.h"

namespace orka {

/* DEVICE/MODE, or one of the two alone. */
class ModeName {
  public:
    explicit ModeName(const std::string &text); /* throws Failure, with status_usage, for what is none */

    /* Lives as long as this. */
    orka_display_request_t request(const Size &source) const;

  private:
    std::string device_;
    std::string mode_;
};

/* The mode of that name, its picture area fitted for a source of that size, if any. Throws Failure. */
orka_display_params_t find_display_mode(const std::string &name, const Size &source);

} // namespace orka

#endif
