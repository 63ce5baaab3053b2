/* The capture interface, as a recording needs it. */
#ifndef ORKA_RECORD_CAPTURE_H
#define ORKA_RECORD_CAPTURE_H

#include "options.h"

namespace orka::record {

/* Chooses the standard, and with --view shows the camera's picture. Throws Failure. */
void set_up_capture(const Options &options);
void release_capture(const Options &options);

} // namespace orka::record

#endif
