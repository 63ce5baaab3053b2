#include "server/device_file.h"

#include <cerrno>
#include <system_error>

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "protocol/protocol.h"

namespace orka::board {

DeviceFile::DeviceFile(wire::node node, const Client &opener, bool nonblocking, int &reader)
    : node_(node), opener_(opener)
{
    int ends[2];
    struct stat status {};

    if (pipe2(ends, O_CLOEXEC) != 0)
        throw std::system_error(errno, std::generic_category(), "pipe2");
    reader = ends[0];
    writer_ = ends[1];
    reopen_path_ = "/proc/self/fd/" + std::to_string(writer_);
    fcntl(writer_, F_SETFL, O_NONBLOCK);
    fcntl(writer_, F_SETPIPE_SZ, protocol::file_pipe_size);
    if (nonblocking)
        fcntl(reader, F_SETFL, O_NONBLOCK);
    fstat(writer_, &status);
    number_ = static_cast<uint32_t>(status.st_ino);
}

DeviceFile::~DeviceFile()
{
    close(writer_);
}

/* The pipe itself is asked what it holds: a program may have read from it. */
void DeviceFile::set_readable(bool readable)
{
    int held = 0;
    char byte[16] = {};

    if (ioctl(writer_, FIONREAD, &held) != 0 || readable == (held > 0))
        return;
    if (readable) {
        [[maybe_unused]] const ssize_t put = write(writer_, byte, 1);
        return;
    }
    /* Open for this moment only: a reading end that stayed here would hide the last close. */
    const int reader = open(reopen_path_.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (reader < 0)
        return;
    [[maybe_unused]] const ssize_t got = read(reader, byte, sizeof byte);
    close(reader);
}

} // namespace orka::board
