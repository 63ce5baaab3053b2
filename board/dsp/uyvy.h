/* From whatever a codec gives to UYVY 4:2:2. */
#ifndef ORKA_BOARD_DSP_UYVY_H
#define ORKA_BOARD_DSP_UYVY_H

#include <cstdint>
#include <span>
#include <vector>

#include "dsp/av.h"

namespace orka::board {

/* Keeps its tables from picture to picture, as long as size and format stay. */
class UyvyConverter {
  public:
    /* out holds stride x height bytes, stride = 2 x width rounded up to 4. */
    void write(const AVFrame &picture, std::span<uint8_t> out);

  private:
    /* What the tables depend on. */
    struct Form {
        int width = 0;
        int height = 0;
        int format = AV_PIX_FMT_NONE;
        AVColorRange range = AVCOL_RANGE_UNSPECIFIED;
        bool operator==(const Form &) const = default;
    };

    void prepare(const Form &form);
    void scale(const AVFrame &picture, uint8_t *out, int stride);
    void scale_aside(const AVFrame &picture, uint8_t *out, int stride);

    Form form_;
    av::Scaler scaler_;
    std::vector<uint8_t> aside_;
};

} // namespace orka::board

#endif
