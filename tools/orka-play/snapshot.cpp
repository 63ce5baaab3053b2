#include "snapshot.h"

#include <cstring>

#include <png.h>

#include "decoder.h"
#include "failure.h"
#include "ffmpeg.h"

namespace orka::play {

namespace {

constexpr int conversion = SWS_BILINEAR | SWS_ACCURATE_RND | SWS_FULL_CHR_H_INT;

} // namespace

void Snapshot::offer(const orka_idecode_frame_t &frame)
{
    const bool too_late = at_ && frame.tsms > *at_ * 1000;
    if (too_late && !uyvy_.empty())
        return;
    frame_ = frame;
    uyvy_.assign(frame_data(frame), frame_data(frame) + size_t{frame.stride} * frame.height);
}

std::vector<uint8_t> Snapshot::to_rgb() const
{
    const int width = static_cast<int>(frame_.width);
    const int height = static_cast<int>(frame_.height);
    SwsContext *context = sws_getContext(width, height, AV_PIX_FMT_UYVY422, width, height, AV_PIX_FMT_RGB24,
                                         conversion, nullptr, nullptr, nullptr);
    if (!context)
        throw Failure(path_ + ": the picture cannot be converted");

    std::vector<uint8_t> rgb(size_t{frame_.width} * frame_.height * 3);
    const uint8_t *const source[] = {uyvy_.data()};
    const int source_stride[] = {static_cast<int>(frame_.stride)};
    uint8_t *const target[] = {rgb.data()};
    const int target_stride[] = {width * 3};
    sws_scale(context, source, source_stride, 0, height, target, target_stride);
    sws_freeContext(context);
    return rgb;
}

void Snapshot::save() const
{
    if (uyvy_.empty())
        throw Failure(path_ + ": there was no picture to save");
    png_image image = {};
    image.version = PNG_IMAGE_VERSION;
    image.width = frame_.width;
    image.height = frame_.height;
    image.format = PNG_FORMAT_RGB;
    const std::vector<uint8_t> rgb = to_rgb();
    if (!png_image_write_to_file(&image, path_.c_str(), 0, rgb.data(), 0, nullptr))
        throw Failure(path_ + ": " + image.message);
}

} // namespace orka::play
