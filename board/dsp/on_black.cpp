#include "dsp/on_black.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <span>

extern "C" {
#include <libavutil/opt.h>
}

namespace orka::board {

namespace {

/* A format with opacity, and what libswscale blends it to. */
struct Blend {
    AVPixelFormat from;
    AVPixelFormat to;
};

constexpr Blend blends[] = {
    {AV_PIX_FMT_RGBA, AV_PIX_FMT_RGB24},       {AV_PIX_FMT_BGRA, AV_PIX_FMT_BGR24},
    {AV_PIX_FMT_ARGB, AV_PIX_FMT_RGB24},       {AV_PIX_FMT_ABGR, AV_PIX_FMT_BGR24},
    {AV_PIX_FMT_RGBA64LE, AV_PIX_FMT_RGB48},   {AV_PIX_FMT_RGBA64BE, AV_PIX_FMT_RGB48},
    {AV_PIX_FMT_YA8, AV_PIX_FMT_GRAY8},        {AV_PIX_FMT_YA16LE, AV_PIX_FMT_GRAY16},
    {AV_PIX_FMT_YA16BE, AV_PIX_FMT_GRAY16},    {AV_PIX_FMT_GBRAP, AV_PIX_FMT_GBRP},
    {AV_PIX_FMT_YUVA420P, AV_PIX_FMT_YUV420P}, {AV_PIX_FMT_YUVA444P, AV_PIX_FMT_YUV444P},
};

/* Of that opacity, rounded as libswscale does. */
constexpr uint32_t blended(uint32_t colour, uint32_t opacity)
{
    const uint32_t mixed = colour * opacity + 128;
    return (mixed + (mixed >> 8)) >> 8;
}

/* libswscale does not look at the opacity of a palette's colours. */
void blend_palette(AVFrame &picture)
{
    if (av_frame_make_writable(&picture) < 0)
        throw std::bad_alloc();
    auto *const palette = reinterpret_cast<uint32_t *>(picture.data[1]);
    for (uint32_t &entry : std::span(palette, AVPALETTE_COUNT)) {
        const uint32_t opacity = entry >> 24;
        entry = 0xFF000000 | blended(entry >> 16 & 0xFF, opacity) << 16 |
                blended(entry >> 8 & 0xFF, opacity) << 8 | blended(entry & 0xFF, opacity);
    }
}

av::Scaler make_blender(const AVFrame &picture, AVPixelFormat to)
{
    av::Scaler scaler(av::need(sws_alloc_context()));
    av_opt_set_int(scaler.get(), "sws_flags", SWS_POINT, 0);
    av_opt_set_int(scaler.get(), "srcw", picture.width, 0);
    av_opt_set_int(scaler.get(), "srch", picture.height, 0);
    av_opt_set_int(scaler.get(), "src_format", picture.format, 0);
    av_opt_set_int(scaler.get(), "dstw", picture.width, 0);
    av_opt_set_int(scaler.get(), "dsth", picture.height, 0);
    av_opt_set_int(scaler.get(), "dst_format", to, 0);
    av_opt_set(scaler.get(), "alphablend", "uniform_color", 0);
    if (sws_init_context(scaler.get(), nullptr, nullptr) < 0)
        throw std::bad_alloc();
    return scaler;
}

/* What lies beyond the last column of an odd number is read by conversions: it is the same each time. */
void clear(AVFrame &picture)
{
    for (const AVBufferRef *const buffer : picture.buf) {
        if (buffer)
            std::memset(buffer->data, 0, buffer->size);
    }
}

av::Frame blend(const AVFrame &picture, AVPixelFormat to)
{
    const av::Scaler blender = make_blender(picture, to);
    av::Frame whole(av::need(av_frame_alloc()));
    if (av_frame_copy_props(whole.get(), &picture) < 0)
        throw std::bad_alloc();
    whole->format = to;
    whole->width = picture.width;
    whole->height = picture.height;
    if (av_frame_get_buffer(whole.get(), 0) < 0)
        throw std::bad_alloc();
    clear(*whole);
    sws_scale(blender.get(), picture.data, picture.linesize, 0, picture.height, whole->data, whole->linesize);
    return whole;
}

} // namespace

void put_on_black(av::Frame &picture)
{
    if (picture->format == AV_PIX_FMT_PAL8)
        return blend_palette(*picture);
    const auto *const found =
        std::ranges::find(blends, static_cast<AVPixelFormat>(picture->format), &Blend::from);
    if (found != std::end(blends))
        picture = blend(*picture, found->to);
}

} // namespace orka::board
