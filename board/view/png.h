#ifndef ORKA_BOARD_VIEW_PNG_H
#define ORKA_BOARD_VIEW_PNG_H

#include <string>

#include "dsp/screen_picture.h"

namespace orka::board {

/* As a PNG file, made fast rather than small. Throws std::runtime_error. */
std::string png_of(const RgbPicture &picture);

} // namespace orka::board

#endif
