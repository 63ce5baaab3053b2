/* Pictures of any size and form, scaled to UYVY 4:2:2 of the standard's size. */
#ifndef ORKA_BOARD_DSP_STANDARD_SCALER_H
#define ORKA_BOARD_DSP_STANDARD_SCALER_H

#include "dsp/av.h"
#include "dsp/camera.h"

namespace orka::board {

/* Keeps its tables, and the picture scaled last, for as long as that is asked for again. */
class StandardScaler {
  public:
    /* changed: it is not the picture of the call before. A picture that cannot be scaled comes out black. */
    void write(const AVFrame &picture, bool changed, const Standard &standard, std::span<uint8_t> uyvy);

  private:
    bool prepare(const AVFrame &picture, const Standard &standard);
    bool scale(const AVFrame &picture, const Standard &standard);

    av::Scaler scaler_;
    int width_ = 0; /* of what the tables are for */
    int height_ = 0;
    int format_ = AV_PIX_FMT_NONE;
    AVColorSpace space_ = AVCOL_SPC_UNSPECIFIED;
    AVColorRange range_ = AVCOL_RANGE_UNSPECIFIED;
    av::Frame scaled_;
    bool good_ = false;
};

void fill_black(std::span<uint8_t> uyvy);

} // namespace orka::board

#endif
