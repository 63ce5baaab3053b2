/* Records a still: one picture of the camera, as a file. */
#ifndef ORKA_RECORD_STILL_H
#define ORKA_RECORD_STILL_H

#include <atomic>

#include "options.h"

namespace orka::record {

/* Returns when the file is written, and says on standard output what is in it. Throws Failure. */
void record_still(const Options &options, const std::atomic<bool> &stop);

} // namespace orka::record

#endif
