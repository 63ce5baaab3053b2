#include "server/board.h"

#include <sys/resource.h>

namespace orka::board {

namespace {

constexpr uint32_t mebibyte = 1024 * 1024;

/* Each file and each connection of a program is a descriptor here. */
void take_all_descriptors()
{
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) == 0) {
        limit.rlim_cur = limit.rlim_max;
        setrlimit(RLIMIT_NOFILE, &limit);
    }
}

template <typename Writer>
std::unique_ptr<Writer> writer_of(const std::string &path)
{
    return path.empty() ? nullptr : std::make_unique<Writer>(path);
}

} // namespace

Board::Board(const BoardOptions &options, int listener)
    : options_(options.drivers), log_file_(writer_of<LineFile>(options.log)),
      trace_(writer_of<Trace>(options.trace)), memory_(options.memory_mib * mebibyte),
      machine_{reactor_, memory_, options_, [this](const std::string &line) { log(line); }, {}},
      server_(machine_, listener, trace_.get())
{
    take_all_descriptors();
    server_.attach(wire::node::imanage, make_imanage_driver(machine_));
    server_.attach(wire::node::adecode, make_audio_decode_driver(machine_));
    server_.attach(wire::node::vdecode, make_video_decode_driver(machine_));
}

void Board::log(const std::string &line)
{
    say(line);
    if (log_file_)
        log_file_->write(line);
}

} // namespace orka::board
