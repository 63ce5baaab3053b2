#include "dsp/uyvy.h"

extern "C" {
#include <libavutil/imgutils.h>
#include <libavutil/opt.h>
}

namespace orka::board {

namespace {

/* The routines of libswscale write whole vectors: 16 pixels at a time, which may end beyond the last line. */
constexpr int pixels_at_a_time = 16;
constexpr size_t alignment = 32;

av::Scaler make_scaler(int width, int height, int format, AVColorRange range)
{
    av::Scaler scaler(av::need(sws_alloc_context()));
    av_opt_set_int(scaler.get(), "sws_flags", SWS_POINT, 0);
    av_opt_set_int(scaler.get(), "srcw", width, 0);
    av_opt_set_int(scaler.get(), "srch", height, 0);
    av_opt_set_int(scaler.get(), "src_format", format, 0);
    av_opt_set_int(scaler.get(), "dstw", width, 0);
    av_opt_set_int(scaler.get(), "dsth", height, 0);
    av_opt_set_int(scaler.get(), "dst_format", AV_PIX_FMT_UYVY422, 0);
    if (range != AVCOL_RANGE_UNSPECIFIED)
        av_opt_set_int(scaler.get(), "src_range", range == AVCOL_RANGE_JPEG, 0);
    if (format == AV_PIX_FMT_YUV420P) /* chroma lies between the lines, as in MPEG-2 */
        av_opt_set_int(scaler.get(), "src_v_chr_pos", 128, 0);
    return scaler;
}

} // namespace

void UyvyConverter::prepare(const Form &form)
{
    if (scaler_ && form == form_)
        return;
    scaler_ = make_scaler(form.width, form.height, form.format, form.range);
    if (sws_init_context(scaler_.get(), nullptr, nullptr) < 0) {
        scaler_.reset();
        throw std::bad_alloc();
    }
    form_ = form;
}

void UyvyConverter::scale(const AVFrame &picture, uint8_t *out, int stride)
{
    uint8_t *const planes[4] = {out};
    const int strides[4] = {stride};
    sws_scale(scaler_.get(), picture.data, picture.linesize, 0, picture.height, planes, strides);
}

void UyvyConverter::scale_aside(const AVFrame &picture, uint8_t *out, int stride)
{
    const int whole = (picture.width + pixels_at_a_time - 1) / pixels_at_a_time * pixels_at_a_time * 2;
    aside_.resize(static_cast<size_t>(whole) * static_cast<size_t>(picture.height) + alignment);
    uint8_t *aligned = aside_.data() + (alignment - reinterpret_cast<uintptr_t>(aside_.data()) % alignment);
    scale(picture, aligned, whole);
    av_image_copy_plane(out, stride, aligned, whole, stride, picture.height);
}

void UyvyConverter::write(const AVFrame &picture, std::span<uint8_t> out)
{
    const int stride = (picture.width + 1) / 2 * 4;
    if (picture.format == AV_PIX_FMT_UYVY422) {
        av_image_copy_plane(out.data(), stride, picture.data[0], picture.linesize[0], stride, picture.height);
        return;
    }
    prepare({picture.width, picture.height, picture.format, picture.color_range});
    if (picture.width % pixels_at_a_time == 0 && reinterpret_cast<uintptr_t>(out.data()) % alignment == 0)
        scale(picture, out.data(), stride);
    else
        scale_aside(picture, out.data(), stride);
}

} // namespace orka::board
