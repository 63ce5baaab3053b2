#include "dsp/uyvy_scaler.h"

#include "dsp/standard_scaler.h"

namespace orka::board {

struct UyvyScaler::State {
    StandardScaler scaler;
};

UyvyScaler::UyvyScaler() : state_(std::make_unique<State>()) {}

UyvyScaler::~UyvyScaler() = default;

void UyvyScaler::scale(std::span<const uint8_t> from, uint32_t from_width, uint32_t from_height,
                       std::span<uint8_t> to, uint32_t to_width, uint32_t to_height)
{
    const av::Frame picture(av::need(av_frame_alloc()));
    picture->width = static_cast<int>(from_width);
    picture->height = static_cast<int>(from_height);
    picture->format = AV_PIX_FMT_UYVY422;
    picture->colorspace = AVCOL_SPC_SMPTE170M;
    picture->data[0] = const_cast<uint8_t *>(from.data());
    picture->linesize[0] = static_cast<int>(from_width * 2);
    state_->scaler.write(*picture, true, {.width = to_width, .height = to_height}, to);
}

} // namespace orka::board
