#include "server/board.h"

#include <stdexcept>

#include <sys/resource.h>

#include "server/devices.h"

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

/* What was made, or an exception that says why it was not. */
template <typename Source>
std::unique_ptr<Source> source_of(const std::string &name, const Stop &stop)
{
    std::string why;
    std::unique_ptr<Source> source = Source::create(name, why, stop);
    if (!source && stop())
        throw StoppedAtStart();
    if (!source)
        throw std::runtime_error(why);
    return source;
}

} // namespace

Board::Board(const BoardOptions &options, int listener, const Stop &stop)
    : options_(options.drivers),
      log_file_(options.log.empty() ? nullptr : std::make_unique<LineFile>(options.log)),
      trace_(options.trace.empty() ? Trace() : Trace(options.trace)),
      memory_(options.memory_mib * mebibyte, options.strict_cache),
      machine_{.reactor = reactor_,
               .memory = memory_,
               .options = options_,
               .log = [this](const std::string &line) { log(line); },
               .dsp_image = {},
               .capture = CaptureClock(options.drivers.real_time)},
      camera_(with_controls(source_of<Camera>(options.drivers.camera, stop), machine_.picture_controls)),
      microphone_(source_of<Microphone>(options.drivers.microphone, stop)),
      server_(machine_, listener, &trace_, options.faults)
{
    take_all_descriptors();
    machine_.camera = camera_.get();
    machine_.microphone = microphone_.get();
    attach_devices(server_, machine_);
}

Board::~Board()
{
    server_.tell_idle_faults();
}

void Board::log(const std::string &line)
{
    say(line);
    if (log_file_)
        log_file_->write(line);
}

} // namespace orka::board
