#include "dsp/standard_scaler.h"

extern "C" {
#include <libavutil/imgutils.h>
#include <libavutil/opt.h>
#include <libavutil/pixdesc.h>
}

namespace orka::board {

namespace {

/* Pictures larger than SD are BT.709 where they do not say. */
const int *coefficients_of(const AVFrame &picture)
{
    constexpr int tallest_sd = 576;
    const bool told = picture.colorspace != AVCOL_SPC_UNSPECIFIED && picture.colorspace != AVCOL_SPC_RGB;
    if (told)
        return sws_getCoefficients(picture.colorspace);
    return sws_getCoefficients(picture.height > tallest_sd ? SWS_CS_ITU709 : SWS_CS_ITU601);
}

bool is_full_range(const AVFrame &picture)
{
    const AVPixFmtDescriptor *const form = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(picture.format));
    return picture.color_range == AVCOL_RANGE_JPEG ||
           (form != nullptr && std::string_view(form->name).starts_with("yuvj"));
}

av::Scaler make_scaler(const AVFrame &picture, const Standard &standard)
{
    av::Scaler scaler(av::need(sws_alloc_context()));
    av_opt_set_int(scaler.get(), "sws_flags", SWS_BILINEAR, 0);
    av_opt_set_int(scaler.get(), "srcw", picture.width, 0);
    av_opt_set_int(scaler.get(), "srch", picture.height, 0);
    av_opt_set_int(scaler.get(), "src_format", picture.format, 0);
    av_opt_set_int(scaler.get(), "dstw", standard.width, 0);
    av_opt_set_int(scaler.get(), "dsth", standard.height, 0);
    av_opt_set_int(scaler.get(), "dst_format", AV_PIX_FMT_UYVY422, 0);
    if (sws_init_context(scaler.get(), nullptr, nullptr) < 0)
        return nullptr;
    constexpr int unchanged = 1 << 16;
    sws_setColorspaceDetails(scaler.get(), coefficients_of(picture), is_full_range(picture) ? 1 : 0,
                             sws_getCoefficients(SWS_CS_ITU601), 0, 0, unchanged, unchanged);
    return scaler;
}

av::Frame make_picture(const Standard &standard)
{
    av::Frame frame(av::need(av_frame_alloc()));
    frame->width = static_cast<int>(standard.width);
    frame->height = static_cast<int>(standard.height);
    frame->format = AV_PIX_FMT_UYVY422;
    if (av_frame_get_buffer(frame.get(), 0) < 0)
        throw std::bad_alloc();
    return frame;
}

bool has_size(const AVFrame *picture, const Standard &standard)
{
    return picture != nullptr && picture->width == static_cast<int>(standard.width) &&
           picture->height == static_cast<int>(standard.height);
}

} // namespace

void fill_black(std::span<uint8_t> uyvy)
{
    for (size_t at = 0; at + 1 < uyvy.size(); at += 2) {
        uyvy[at] = 128;
        uyvy[at + 1] = 16;
    }
}

/* False where the tables cannot be made. */
bool StandardScaler::prepare(const AVFrame &picture, const Standard &standard)
{
    const bool same_target = has_size(scaled_.get(), standard);
    if (!same_target)
        scaled_ = make_picture(standard);
    if (scaler_ && same_target && picture.width == width_ && picture.height == height_ &&
        picture.format == format_ && picture.colorspace == space_ && picture.color_range == range_)
        return true;
    scaler_ = make_scaler(picture, standard);
    width_ = picture.width;
    height_ = picture.height;
    format_ = picture.format;
    space_ = picture.colorspace;
    range_ = picture.color_range;
    return scaler_ != nullptr;
}

bool StandardScaler::scale(const AVFrame &picture, const Standard &standard)
{
    const av::Listener listener;
    return prepare(picture, standard) && sws_scale(scaler_.get(), picture.data, picture.linesize, 0,
                                                   picture.height, scaled_->data, scaled_->linesize) > 0;
}

void StandardScaler::write(const AVFrame &picture, bool changed, const Standard &standard,
                           std::span<uint8_t> uyvy)
{
    if (changed || !has_size(scaled_.get(), standard))
        good_ = scale(picture, standard);
    if (!good_)
        return fill_black(uyvy);
    const auto line = static_cast<int>(standard.width * 2);
    av_image_copy_plane(uyvy.data(), line, scaled_->data[0], scaled_->linesize[0], line, scaled_->height);
}

} // namespace orka::board
