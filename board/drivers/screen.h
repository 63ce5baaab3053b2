/* What the board shows to people. Everything here belongs to the reactor's thread. */
#ifndef ORKA_BOARD_SCREEN_H
#define ORKA_BOARD_SCREEN_H

#include "dsp/screen_picture.h"
#include "protocol/protocol.h"

namespace orka::board {

using Plane = protocol::plane;

class Screen {
  public:
    virtual ~Screen() = default;
    /* The picture as it is now, in the size of the active mode; takes some milliseconds. */
    virtual RgbPicture compose(Plane plane) = 0;
    /* A number that is another one when the composed picture may have changed. It looks at the frame buffers
       that programs draw into, which takes up to a millisecond. */
    virtual uint64_t changes() = 0;
};

} // namespace orka::board

#endif
