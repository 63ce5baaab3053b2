#include "server/log.h"

#include <cerrno>
#include <cstring>
#include <system_error>

#include <fcntl.h>
#include <unistd.h>

namespace orka::board {

std::string printable(const std::string &text)
{
    std::string shown;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < 0x20 || byte >= 0x7f) {
            constexpr char digits[] = "0123456789abcdef";
            shown += {'\\', 'x', digits[byte >> 4], digits[byte & 15]};
        } else {
            shown += c;
        }
    }
    return shown;
}

void say(const std::string &text)
{
    const std::string line = "orka-board: " + text + "\n";
    [[maybe_unused]] const ssize_t put = ::write(STDERR_FILENO, line.data(), line.size());
}

LineFile::LineFile(const std::string &path)
    : path_(path), fd_(open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_APPEND | O_CLOEXEC, 0666))
{
    if (fd_ < 0)
        throw std::system_error(errno, std::generic_category(), "cannot write " + path);
}

LineFile::~LineFile()
{
    close(fd_);
}

void LineFile::write(const std::string &line)
{
    const std::string whole = line + "\n";
    const ssize_t put = ::write(fd_, whole.data(), whole.size());
    if (put == static_cast<ssize_t>(whole.size()) || failed_)
        return;
    failed_ = true;
    say("writing " + path_ + ": " + (put < 0 ? strerror(errno) : "no room for a whole line"));
}

} // namespace orka::board
