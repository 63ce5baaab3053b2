#include "drivers/encode_worker.h"

#include <exception>
#include <utility>

#include "orka_media.h"

namespace orka::board {

EncodeWorker::EncodeWorker(CaptureClock &clock, std::shared_ptr<FrameQueue> frames,
                           const orka_iencode_frame_t &form, std::unique_ptr<EncodeStream> stream,
                           std::function<void()> notify)
    : clock_(clock), frames_(std::move(frames)), form_(form), stream_(std::move(stream)),
      notify_(std::move(notify))
{
    frames_->on_room([bell = bell_] { bell->ring(); });
    thread_ = std::thread([this] { loop(); });
}

EncodeWorker::~EncodeWorker()
{
    stop();
    {
        const std::lock_guard lock(mutex_);
        quit_ = true;
    }
    stream_->cancel();
    bell_->ring();
    thread_.join();
}

void EncodeWorker::start(const Standard &standard)
{
    {
        const std::lock_guard lock(mutex_);
        starts_++;
        place_ = clock_.join([bell = bell_] { bell->ring(); });
        from_ = {.time_us = clock_.position(*place_), .standard = standard};
    }
    bell_->ring();
}

void EncodeWorker::stop()
{
    {
        const std::lock_guard lock(mutex_);
        if (!place_)
            return;
        stops_++;
        clock_.leave(*std::exchange(place_, std::nullopt));
    }
    bell_->ring();
}

void EncodeWorker::hang()
{
    {
        const std::lock_guard lock(mutex_);
        hung_ = true;
    }
    bell_->ring();
}

void EncodeWorker::taken(const orka_iencode_frame_t &frame)
{
    constexpr uint64_t microseconds = 1000; /* in a millisecond */
    const std::lock_guard lock(mutex_);
    if (place_ && frame.kind != ORKA_FRAME_TYPE_LAST)
        clock_.seen(*place_, frame.timestamp * microseconds);
}

void EncodeWorker::set_vectors(std::shared_ptr<FrameQueue> vectors)
{
    const std::lock_guard lock(mutex_);
    vectors_ = std::move(vectors);
}

std::vector<std::string> EncodeWorker::collect()
{
    const std::lock_guard lock(mutex_);
    told_ = false;
    return std::exchange(log_, {});
}

void EncodeWorker::tell()
{
    const std::lock_guard lock(mutex_);
    if (!std::exchange(told_, true))
        notify_();
}

void EncodeWorker::say(std::string line)
{
    {
        const std::lock_guard lock(mutex_);
        log_.push_back(std::move(line));
    }
    tell();
}

/* The worker's thread, from here on. */

void EncodeWorker::loop()
{
    for (;;) {
        deliver();
        const Step step = next_step();
        if (step == Step::quit)
            return;
        if (step == Step::wait)
            bell_->wait(until_);
        else
            take(step);
    }
}

EncodeWorker::Step EncodeWorker::next_step()
{
    const std::lock_guard lock(mutex_);
    const bool in_stream = begun_ != ended_;
    const bool room = coded_.empty() && (in_stream || frames_->has_place());
    until_.reset();
    if (quit_)
        return Step::quit;
    /* Nobody waits for one whose units the program gives. */
    const bool captures = !in_stream || stream_->supply() == EncodeStream::Supply::captured;
    if (place_)
        clock_.stall(*place_, hung_ || !room || !captures);
    if (hung_)
        return Step::wait;
    if (!in_stream)
        return room && starts_ > begun_ ? Step::begin : Step::wait;
    if (stops_ > ended_)
        return room ? Step::end : Step::wait;
    return next_in_stream(room);
}

EncodeWorker::Step EncodeWorker::next_in_stream(bool room)
{
    const EncodeStream::Supply supply = stream_->supply();
    if (supply != EncodeStream::Supply::captured)
        return room && supply == EncodeStream::Supply::given ? Step::encode : Step::wait;
    const uint64_t due_us = stream_->due_us();
    if (clock_.real_time())
        return next_in_real_time(due_us, room);
    return room && clock_.may_take(*place_, due_us) ? Step::encode : Step::wait;
}

EncodeWorker::Step EncodeWorker::next_in_real_time(uint64_t due_us, bool room)
{
    const uint64_t now_us = clock_.now_us();
    if (now_us < due_us) {
        until_ = clock_.when(due_us);
        return Step::wait;
    }
    return room && now_us - due_us <= longest_lag_us ? Step::encode : Step::skip;
}

void EncodeWorker::take(Step step)
{
    switch (step) {
    case Step::begin:
        return begin_stream();
    case Step::encode:
        return encode();
    case Step::skip:
        return skip();
    default:
        return end_stream();
    }
}

void EncodeWorker::begin_stream()
{
    CaptureBegin from;
    {
        const std::lock_guard lock(mutex_);
        from = from_;
    }
    begun_++;
    number_ = 0;
    coded_until_ = 0;
    failed_units_ = 0;
    damaged_ = false;
    said_dropped_ = false;
    try {
        stream_->begin(from);
    } catch (const std::exception &failure) {
        judge(false, failure.what());
    }
}

void EncodeWorker::encode()
{
    const uint64_t due_us = stream_->due_us();
    {
        const std::lock_guard lock(mutex_);
        unit_vectors_ = vectors_;
    }
    counts_.captured++;
    try {
        const bool good = stream_->encode([this](const CodedPacket &packet) { keep(packet); });
        judge(good, stream_->error());
    } catch (const std::exception &failure) {
        judge(false, failure.what());
        if (stream_->due_us() == due_us)
            stream_->skip();
    }
    advance(due_us);
}

void EncodeWorker::skip()
{
    if (!std::exchange(said_dropped_, true))
        say(coded_.empty() ? "the encoder is too slow: what it cannot keep up with is dropped"
                           : "the queue is full: what is captured until frames are released is dropped");
    const uint64_t due_us = stream_->due_us();
    stream_->skip();
    counts_.captured++;
    counts_.dropped++;
    advance(due_us);
}

void EncodeWorker::advance(uint64_t position_us)
{
    const std::lock_guard lock(mutex_);
    if (place_ && starts_ == begun_)
        clock_.advance(*place_, position_us);
}

void EncodeWorker::end_stream()
{
    try {
        const bool good = stream_->drain([this](const CodedPacket &packet) { keep(packet); });
        if (!good)
            say("the end of the stream: " + stream_->error());
    } catch (const std::exception &failure) {
        say(std::string("the end of the stream: ") + failure.what());
    }
    ended_++;
    orka_iencode_frame_t last{};
    last.kind = ORKA_FRAME_TYPE_LAST;
    last.flags = damaged_ ? uint32_t{frame_damaged} : 0;
    last.number = number_;
    last.timestamp = coded_until_;
    coded_.push_back({.frame = last});
}

/* One line when failure begins, and one when it is over. */
void EncodeWorker::judge(bool good, const std::string &why)
{
    if (good) {
        if (failed_units_ > 1)
            say(std::to_string(failed_units_) + " failures one after the other");
        failed_units_ = 0;
        return;
    }
    if (failed_units_++ == 0)
        say("cannot encode: " + why);
    counts_.dropped++;
    damaged_ = true;
}

void EncodeWorker::keep(const CodedPacket &packet)
{
    if (!frames_->fits(static_cast<uint32_t>(packet.data.size()))) {
        say("dropped a frame of " + std::to_string(packet.data.size()) +
            " bytes, which is more than the queue holds");
        counts_.dropped++;
        damaged_ = true;
        return;
    }
    Coded coded{.frame = form_, .data = {packet.data.begin(), packet.data.end()}};
    coded.frame.flags = (packet.key ? frame_key : 0U) | (packet.header ? frame_header : 0U) |
                        (std::exchange(damaged_, false) ? frame_damaged : 0U);
    coded.frame.number = number_++;
    coded.frame.timestamp = packet.tsms;
    coded.frame.duration = packet.duration;
    coded_until_ = packet.tsms + packet.duration;
    if (unit_vectors_ && !packet.header) {
        coded.vectors.assign(packet.vectors.begin(), packet.vectors.end());
        coded.vector_queue = unit_vectors_;
    }
    coded_.push_back(std::move(coded));
}

void EncodeWorker::deliver()
{
    bool delivered = false;
    while (!coded_.empty() && deliver(coded_.front())) {
        coded_.pop_front();
        delivered = true;
    }
    if (delivered)
        tell();
}

bool EncodeWorker::deliver(const Coded &coded)
{
    if (coded.frame.kind == ORKA_FRAME_TYPE_LAST) {
        frames_->put_last(coded.frame);
        return true;
    }
    if (!frames_->put(coded.frame, coded.data))
        return false;
    counts_.encoded++;
    if (coded.vector_queue)
        deliver_vectors(coded);
    return true;
}

void EncodeWorker::deliver_vectors(const Coded &coded)
{
    constexpr uint32_t macroblock = 16;
    orka_iencode_frame_t frame = coded.frame;
    frame.kind = ORKA_FRAME_TYPE_MOTION_VECTOR;
    frame.stride = (frame.width + macroblock - 1) / macroblock * static_cast<uint32_t>(sizeof(MotionVector));
    const std::span<const MotionVector> vectors = coded.vectors;
    const auto *const bytes = reinterpret_cast<const uint8_t *>(vectors.data());
    counts_.vectors_dropped += coded.vector_queue->put_over(frame, {bytes, vectors.size_bytes()});
}

} // namespace orka::board
