#include "dsp/fifo.h"

#include <cerrno>
#include <filesystem>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

namespace orka::board {

namespace {

constexpr int between_looks_ms = 10;

} // namespace

bool Fifo::is_at(const std::string &path)
{
    std::error_code ignored;
    return std::filesystem::is_fifo(path, ignored);
}

Fifo::~Fifo()
{
    if (descriptor_ >= 0)
        close(descriptor_);
}

/* Before the first writer a read would say that the FIFO has ended. */
int Fifo::open(const std::string &path, const Stop &stop)
{
    descriptor_ = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (descriptor_ < 0)
        return errno;
    pollfd written{.fd = descriptor_, .events = POLLIN};
    while (poll(&written, 1, between_looks_ms) <= 0) {
        if (stop())
            return ECANCELED;
    }
    return 0;
}

} // namespace orka::board
