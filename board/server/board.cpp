#include "server/board.h"

#include <stdexcept>

#include <sys/resource.h>

namespace orka::board {

namespace {

constexpr uint32_t mebibyte = 1024 * 1024;

constexpr wire::node video_encode_nodes[] = {
    wire::node::iencode,    wire::node::vencode0,   wire::node::vencode1,   wire::node::vencode2,
    wire::node::vencode3,   wire::node::vmvencode0, wire::node::vmvencode1, wire::node::vmvencode2,
    wire::node::vmvencode3, wire::node::imgencode,
};

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
std::unique_ptr<Source> source_of(const std::string &name)
{
    std::string why;
    std::unique_ptr<Source> source = Source::create(name, why);
    if (!source)
        throw std::runtime_error(why);
    return source;
}

} // namespace

Board::Board(const BoardOptions &options, int listener)
    : options_(options.drivers),
      log_file_(options.log.empty() ? nullptr : std::make_unique<LineFile>(options.log)),
      trace_(options.trace.empty() ? Trace() : Trace(options.trace)),
      memory_(options.memory_mib * mebibyte), machine_{.reactor = reactor_,
                                                       .memory = memory_,
                                                       .options = options_,
                                                       .log = [this](const std::string &line) { log(line); },
                                                       .dsp_image = {},
                                                       .capture = CaptureClock(options.drivers.real_time)},
      camera_(with_controls(source_of<Camera>(options.drivers.camera), machine_.picture_controls)),
      microphone_(source_of<Microphone>(options.drivers.microphone)), server_(machine_, listener, &trace_, options.faults)
{
    take_all_descriptors();
    machine_.camera = camera_.get();
    machine_.microphone = microphone_.get();
    server_.attach(wire::node::imanage, make_imanage_driver(machine_));
    server_.attach(wire::node::adecode, make_audio_decode_driver(machine_));
    server_.attach(wire::node::vdecode, make_video_decode_driver(machine_));
    server_.attach(wire::node::subtldecode, make_subtitle_decode_driver(machine_));
    server_.attach(wire::node::imgdecode, make_image_decode_driver(machine_));
    const std::shared_ptr<Driver> video_encoders = make_video_encode_driver(machine_);
    for (const wire::node node : video_encode_nodes)
        server_.attach(node, video_encoders);
    server_.attach(wire::node::aencode, make_audio_encode_driver(machine_));
    server_.attach(wire::node::idecode, make_display_driver(machine_));
    server_.attach(wire::node::icapture, make_icapture_driver(machine_));
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
