/* From whatever a codec gives to interleaved signed 16-bit samples of another rate and number of channels. */
#ifndef ORKA_BOARD_DSP_SAMPLE_CONVERTER_H
#define ORKA_BOARD_DSP_SAMPLE_CONVERTER_H

#include <cstdint>
#include <vector>

#include "dsp/av.h"

namespace orka::board {

class SampleConverter {
  public:
    SampleConverter(uint32_t sample_rate, uint32_t channels) : sample_rate_(sample_rate), channels_(channels)
    {
    }

    uint32_t sample_rate() const { return sample_rate_; }
    uint32_t channels() const { return channels_; }

    /* Appends what comes of the frame; a null frame gives what was held back at the end. */
    void convert(const AVFrame *frame, std::vector<int16_t> &samples);

  private:
    bool prepare(const AVFrame &frame);

    uint32_t sample_rate_;
    uint32_t channels_;
    av::Resampler resampler_;
    int rate_in_ = 0;
    int channels_in_ = 0;
    int format_in_ = 0;
};

} // namespace orka::board

#endif
