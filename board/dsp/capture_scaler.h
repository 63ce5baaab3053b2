/* From captured UYVY 4:2:2 of any size to what an encoder takes. */
#ifndef ORKA_BOARD_DSP_CAPTURE_SCALER_H
#define ORKA_BOARD_DSP_CAPTURE_SCALER_H

#include "dsp/av.h"
#include "dsp/encoder.h"

namespace orka::board {

/* Empty where the picture is one; otherwise why it cannot be. */
std::string fault_of(const CapturedPicture &captured);

/* Bilinear. */
class CaptureScaler {
  public:
    /* extra: flags of libswscale. */
    CaptureScaler(AVPixelFormat format, uint32_t width, uint32_t height, int extra = 0);

    /* The last column of an odd number is half a pair of pixels, and left out. The frame is the scaler's. */
    AVFrame *scale(const CapturedPicture &captured);

  private:
    void make_room();

    const int flags_;
    av::Frame picture_;
    av::Scaler scaler_;
};

} // namespace orka::board

#endif
