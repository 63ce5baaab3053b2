/* The capture interface, as a recording needs it. */
#ifndef ORKA_RECORD_CAPTURE_H
#define ORKA_RECORD_CAPTURE_H

#include "options.h"

namespace orka::record {

/* Chooses the standard. Throws Failure. */
void set_up_capture(const Options &options);
/* With --view: the picture as the encoder, which is set up, takes it; without one, as it is captured. Throws
   Failure. */
void show_picture(const Options &options);
void release_capture(const Options &options);

} // namespace orka::record

#endif
