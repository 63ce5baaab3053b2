/* A picture as libavcodec gives it, for whoever wants its UYVY form. */
#ifndef ORKA_BOARD_DSP_DECODED_PICTURE_H
#define ORKA_BOARD_DSP_DECODED_PICTURE_H

#include <memory>

#include "dsp/av.h"
#include "dsp/codec.h"
#include "dsp/uyvy.h"

namespace orka::board {

class DecodedPicture final : public Picture {
  public:
    DecodedPicture(av::Frame frame, uint32_t tsms, std::shared_ptr<UyvyConverter> converter)
        : frame_(std::move(frame)), tsms_(tsms), converter_(std::move(converter))
    {
    }

    int width() const override { return frame_->width; }
    int height() const override { return frame_->height; }
    uint32_t tsms() const override { return tsms_; }
    uint32_t duration() const override { return static_cast<uint32_t>(frame_->pkt_duration); }
    bool key() const override { return frame_->key_frame != 0; }
    bool damaged() const override;
    void write_uyvy(std::span<uint8_t> out) const override;

  private:
    av::Frame frame_;
    uint32_t tsms_;
    std::shared_ptr<UyvyConverter> converter_;
};

} // namespace orka::board

#endif
