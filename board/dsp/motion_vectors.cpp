#include "dsp/motion_vectors.h"

#include <algorithm>
#include <cmath>
#include <cstring>

extern "C" {
#include <libavutil/motion_vector.h>
}

namespace orka::board {

namespace {

constexpr int side = 16; /* of a macroblock, pixels */
constexpr int quarters = 4;

/* libavcodec's vectors point back, to where the picture before shows what is here. */
int forward(int back, int scale)
{
    return scale == 0 ? 0 : -back * quarters / scale;
}

int16_t mean(int32_t sum)
{
    return static_cast<int16_t>(std::lround(static_cast<double>(sum) / (side * side)));
}

} // namespace

MotionVectors::MotionVectors(AVCodecID codec, uint32_t width, uint32_t height)
    : columns_((width + side - 1) / side), rows_((height + side - 1) / side),
      picture_(av::need(av_frame_alloc())), vectors_(size_t{columns_} * rows_), sums_(vectors_.size())
{
    const AVCodec *decoder = avcodec_find_decoder(codec);
    decoder_.reset(av::need(avcodec_alloc_context3(decoder)));
    decoder_->thread_count = 1;
    decoder_->flags |= AV_CODEC_FLAG_LOW_DELAY;
    decoder_->flags2 |= AV_CODEC_FLAG2_EXPORT_MVS;
    const av::Listener listener;
    const int result = avcodec_open2(decoder_.get(), decoder, nullptr);
    if (result < 0)
        error_ = listener.text("cannot open the decoder for motion vectors", result);
}

void MotionVectors::clear()
{
    std::ranges::fill(sums_, std::pair{0, 0});
    for (uint32_t i = 0; i < vectors_.size(); i++)
        vectors_[i] = {.x = static_cast<uint16_t>(i % columns_ * side),
                       .y = static_cast<uint16_t>(i / columns_ * side)};
}

/* x and y: of the part's middle. */
void MotionVectors::add(int x, int y, int width, int height, int dx, int dy)
{
    const auto column = static_cast<uint32_t>(std::max(x, 0) / side);
    const auto row = static_cast<uint32_t>(std::max(y, 0) / side);
    if (column >= columns_ || row >= rows_)
        return;
    auto &[sum_x, sum_y] = sums_[size_t{row} * columns_ + column];
    sum_x += dx * width * height;
    sum_y += dy * width * height;
}

void MotionVectors::read(const AVFrame &picture)
{
    const AVFrameSideData *data = av_frame_get_side_data(&picture, AV_FRAME_DATA_MOTION_VECTORS);
    if (data == nullptr)
        return;
    for (size_t at = 0; at + sizeof(AVMotionVector) <= data->size; at += sizeof(AVMotionVector)) {
        AVMotionVector part;
        std::memcpy(&part, data->data + at, sizeof part);
        add(part.dst_x, part.dst_y, part.w, part.h, forward(part.motion_x, part.motion_scale),
            forward(part.motion_y, part.motion_scale));
    }
    for (size_t i = 0; i < sums_.size(); i++) {
        vectors_[i].dx = mean(sums_[i].first);
        vectors_[i].dy = mean(sums_[i].second);
    }
}

std::span<const MotionVector> MotionVectors::of(const AVPacket &packet)
{
    clear();
    const av::Listener listener;
    int result = avcodec_send_packet(decoder_.get(), &packet);
    if (result >= 0)
        result = avcodec_receive_frame(decoder_.get(), picture_.get());
    if (result < 0) {
        error_ = listener.text("motion vectors", result);
        return {};
    }
    read(*picture_);
    return vectors_;
}

} // namespace orka::board
