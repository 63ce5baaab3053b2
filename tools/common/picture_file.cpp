#include "common/picture_file.h"

#include <vector>

#include "common/failure.h"
#include "common/ffmpeg.h"
#include "png/png_file.h"

namespace orka {

namespace {

constexpr int conversion = SWS_BILINEAR | SWS_ACCURATE_RND | SWS_FULL_CHR_H_INT;

std::vector<uint8_t> to_rgb(const std::string &path, const uint8_t *uyvy, int width, int height, int stride)
{
    SwsContext *context = sws_getContext(width, height, AV_PIX_FMT_UYVY422, width, height, AV_PIX_FMT_RGB24,
                                         conversion, nullptr, nullptr, nullptr);
    if (!context)
        throw Failure(path + ": the picture cannot be converted");

    std::vector<uint8_t> rgb(static_cast<size_t>(width) * static_cast<size_t>(height) * 3);
    uint8_t *const target[] = {rgb.data()};
    const int target_stride[] = {width * 3};
    sws_scale(context, &uyvy, &stride, 0, height, target, target_stride);
    sws_freeContext(context);
    return rgb;
}

} // namespace

void save_picture(const std::string &path, std::span<const uint8_t> uyvy, uint32_t width, uint32_t height,
                  uint32_t stride)
{
    const std::vector<uint8_t> rgb = to_rgb(path, uyvy.data(), static_cast<int>(width),
                                            static_cast<int>(height), static_cast<int>(stride));
    try {
        write_png(path, width, height, rgb);
    } catch (const std::runtime_error &failure) {
        throw Failure(failure.what());
    }
}

} // namespace orka
