#include "server/views.h"

#include <cerrno>
#include <new>

#include <sys/mman.h>
#include <unistd.h>

namespace orka::board {

namespace {

bool write_whole(int fd, std::span<const uint8_t> bytes)
{
    while (!bytes.empty()) {
        const ssize_t put = write(fd, bytes.data(), bytes.size());
        if (put < 0)
            return false;
        bytes = bytes.subspan(static_cast<size_t>(put));
    }
    return true;
}

} // namespace

int memory_file(const char *name, std::span<const uint8_t> bytes)
{
    const int fd = memfd_create(name, MFD_CLOEXEC);
    if (fd >= 0 && write_whole(fd, bytes))
        return fd;
    const int error = errno;
    if (fd >= 0)
        close(fd);
    return -error;
}

int screenshot_file(Screen *screen, uint32_t plane, protocol::picture &size)
{
    if (!screen)
        return -ENODEV;
    if (plane > static_cast<uint32_t>(Plane::osd))
        return -EINVAL;
    try {
        const RgbPicture picture = screen->compose(static_cast<Plane>(plane));
        size = {.width = picture.width, .height = picture.height};
        return memory_file("orka-board screenshot", picture.pixels);
    } catch (const std::bad_alloc &) {
        return -ENOMEM;
    }
}

} // namespace orka::board
