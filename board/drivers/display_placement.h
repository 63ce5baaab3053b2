/* Where on a screen a picture comes to lie. */
#ifndef ORKA_BOARD_DISPLAY_PLACEMENT_H
#define ORKA_BOARD_DISPLAY_PLACEMENT_H

#include "dsp/screen_picture.h"
#include "orka_idisplay.h"

namespace orka::board {

struct Placement {
    Rectangle from; /* of the picture */
    Rectangle to;   /* of the screen; empty where nothing is seen */
};

/*
 * As the output says, in the middle of the screen: stretched over the picture area (resize 1), unscaled and
 * cut off at the picture area (0), or as large as fits into the picture area without a change of the
 * picture's proportions (-1). The picture is not empty.
 */
Placement place_picture(const orka_display_params_t &output, uint32_t width, uint32_t height);

/* The part of `wanted` that the picture has. */
Rectangle part_of_picture(const Rectangle &wanted, uint32_t width, uint32_t height);

} // namespace orka::board

#endif
