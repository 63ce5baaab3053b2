#include "dsp/capture_scaler.h"

namespace orka::board {

std::string fault_of(const CapturedPicture &captured)
{
    if (captured.width >= 2 && captured.height != 0 &&
        captured.uyvy.size() / 2 / captured.width >= captured.height)
        return {};
    return "a picture of " + std::to_string(captured.width) + "x" + std::to_string(captured.height) + " in " +
           std::to_string(captured.uyvy.size()) + " bytes cannot be";
}

CaptureScaler::CaptureScaler(AVPixelFormat format, uint32_t width, uint32_t height, int extra)
    : flags_(SWS_BILINEAR | SWS_ACCURATE_RND | SWS_BITEXACT | extra), picture_(av::need(av_frame_alloc()))
{
    picture_->format = format;
    picture_->width = static_cast<int>(width);
    picture_->height = static_cast<int>(height);
}

AVFrame *CaptureScaler::scale(const CapturedPicture &captured)
{
    const int width = static_cast<int>(captured.width) / 2 * 2;
    const int height = static_cast<int>(captured.height);
    scaler_.reset(av::need(sws_getCachedContext(
        scaler_.release(), width, height, AV_PIX_FMT_UYVY422, picture_->width, picture_->height,
        static_cast<AVPixelFormat>(picture_->format), flags_, nullptr, nullptr, nullptr)));
    make_room();
    const uint8_t *const planes[4] = {captured.uyvy.data()};
    const int strides[4] = {static_cast<int>(captured.width) * 2};
    sws_scale(scaler_.get(), planes, strides, 0, height, picture_->data, picture_->linesize);
    return picture_.get();
}

/* The encoder may keep the picture before: then this one gets a place of its own. */
void CaptureScaler::make_room()
{
    const int result = picture_->buf[0] == nullptr ? av_frame_get_buffer(picture_.get(), 0)
                                                   : av_frame_make_writable(picture_.get());
    if (result < 0)
        throw std::bad_alloc();
}

} // namespace orka::board
