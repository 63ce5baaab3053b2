/* Pictures that are transparent in part. */
#ifndef ORKA_BOARD_DSP_ON_BLACK_H
#define ORKA_BOARD_DSP_ON_BLACK_H

#include "dsp/av.h"

namespace orka::board {

/* Lays what is transparent on black, as libswscale blends it; other pictures are left alone. Throws
   std::bad_alloc. */
void put_on_black(av::Frame &picture);

} // namespace orka::board

#endif
