#include "view/png.h"

#include <stdexcept>

#include <png.h>

namespace orka::board {

std::string png_of(const RgbPicture &picture)
{
    png_image image{.version = PNG_IMAGE_VERSION,
                    .width = picture.width,
                    .height = picture.height,
                    .format = PNG_FORMAT_RGB,
                    .flags = PNG_IMAGE_FLAG_FAST};
    png_alloc_size_t size = PNG_IMAGE_PNG_SIZE_MAX(image);
    std::string file(size, '\0');
    if (!png_image_write_to_memory(&image, file.data(), &size, 0, picture.pixels.data(), 0, nullptr))
        throw std::runtime_error(image.message);
    file.resize(size);
    return file;
}

} // namespace orka::board
