#include "png/png_file.h"

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <vector>

#include <fcntl.h>
#include <png.h>
#include <unistd.h>

namespace orka {

namespace {

std::vector<uint8_t> encode(uint32_t width, uint32_t height, std::span<const uint8_t> rgb)
{
    png_image image{.version = PNG_IMAGE_VERSION, .width = width, .height = height, .format = PNG_FORMAT_RGB};
    png_alloc_size_t size = PNG_IMAGE_PNG_SIZE_MAX(image);
    std::vector<uint8_t> file(size);
    if (!png_image_write_to_memory(&image, file.data(), &size, 0, rgb.data(), 0, nullptr))
        throw std::runtime_error(image.message);
    file.resize(size);
    return file;
}

bool write_whole(int fd, std::span<const uint8_t> bytes)
{
    while (!bytes.empty()) {
        const ssize_t put = write(fd, bytes.data(), bytes.size());
        if (put < 0 && errno != EINTR)
            return false;
        bytes = bytes.subspan(put < 0 ? 0 : static_cast<size_t>(put));
    }
    return true;
}

bool write_file(const char *path, std::span<const uint8_t> bytes)
{
    const int fd = open(path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    if (fd < 0)
        return false;
    const bool written = write_whole(fd, bytes);
    const int error = errno;
    const bool closed = close(fd) == 0;
    if (!written)
        errno = error;
    return written && closed;
}

} // namespace

void write_png(const std::string &path, uint32_t width, uint32_t height, std::span<const uint8_t> rgb)
{
    const bool to_file = path != "-";
    const std::string subject = (to_file ? path : "standard output") + ": ";
    std::vector<uint8_t> file;
    try {
        file = encode(width, height, rgb);
    } catch (const std::runtime_error &failure) {
        throw std::runtime_error(subject + failure.what());
    }
    if (to_file ? !write_file(path.c_str(), file) : !write_whole(STDOUT_FILENO, file))
        throw std::runtime_error(subject + strerror(errno));
}

} // namespace orka
