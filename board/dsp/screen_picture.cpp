#include "dsp/screen_picture.h"

#include "dsp/av.h"

extern "C" {
#include <libavutil/imgutils.h>
}

namespace orka::board {

namespace {

constexpr int conversion = SWS_BILINEAR | SWS_ACCURATE_RND | SWS_FULL_CHR_H_INT;

/* The routines of libswscale write whole vectors, also beyond the last pixel of a line. */
constexpr uint32_t pixels_at_a_time = 32;

av::Scaler make_scaler(const Rectangle &from, const Rectangle &to)
{
    return av::Scaler(
        av::need(sws_getContext(static_cast<int>(from.width), static_cast<int>(from.height),
                                AV_PIX_FMT_UYVY422, static_cast<int>(to.width), static_cast<int>(to.height),
                                AV_PIX_FMT_RGB24, conversion, nullptr, nullptr, nullptr)));
}

} // namespace

void draw_scaled(const UyvyPicture &picture, Rectangle from, RgbPicture &target, const Rectangle &to)
{
    from.x -= from.x % 2;
    const av::Scaler scaler = make_scaler(from, to);
    const uint32_t stride = (to.width + pixels_at_a_time) / pixels_at_a_time * pixels_at_a_time * 3;
    std::vector<uint8_t> aside(size_t{stride} * (to.height + 1));
    const uint8_t *const source[4] = {picture.pixels.data() + size_t{picture.stride} * from.y +
                                      size_t{from.x} * 2};
    const int source_stride[4] = {static_cast<int>(picture.stride)};
    uint8_t *const out[4] = {aside.data()};
    const int out_stride[4] = {static_cast<int>(stride)};

    sws_scale(scaler.get(), source, source_stride, 0, static_cast<int>(from.height), out, out_stride);
    av_image_copy_plane(target.at(to.x, to.y), static_cast<int>(target.width * 3), aside.data(),
                        static_cast<int>(stride), static_cast<int>(to.width * 3),
                        static_cast<int>(to.height));
}

} // namespace orka::board
