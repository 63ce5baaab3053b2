#include "common/picture_file.h"

#include <vector>

#include <png.h>

#include "common/failure.h"
#include "common/ffmpeg.h"

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
    png_image image = {};
    image.version = PNG_IMAGE_VERSION;
    image.width = width;
    image.height = height;
    image.format = PNG_FORMAT_RGB;
    if (!png_image_write_to_file(&image, path.c_str(), 0, rgb.data(), 0, nullptr))
        throw Failure(path + ": " + image.message);
}

} // namespace orka
