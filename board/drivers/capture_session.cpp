#include "drivers/capture_session.h"

#include <cerrno>
#include <utility>

namespace orka::board {

namespace {

/* Nobody waits here with a time-out: it is a signal, or capture has ended. */
void answer_without_frame(Call &call, int32_t status)
{
    call.fail(status == wire::driver_interrupted ? EINTR : EINVAL);
}

void show(CaptureJob &job, CaptureJob::Show what, const PictureSize &size)
{
    job.show = what;
    job.shown_width = size.width;
    job.shown_height = size.height;
}

} // namespace

std::shared_ptr<CaptureSession> CaptureSession::create(Machine &machine, CaptureMode mode,
                                                       std::function<void()> readable_changed)
{
    const std::optional<uint32_t> base =
        machine.memory.queues().allocate(uint64_t{mode.frame_size()} * buffers);
    if (!base)
        return nullptr;
    std::shared_ptr<CaptureSession> session(
        new CaptureSession(machine, std::move(mode), *base, std::move(readable_changed)));
    const auto done = [&reactor = machine.reactor, self = session->weak_from_this()](Captured captured) {
        reactor.post([self, captured = std::move(captured)] {
            if (const std::shared_ptr<CaptureSession> alive = self.lock())
                alive->captured(captured);
        });
    };
    session->worker_ = std::make_unique<CaptureWorker>(*machine.camera, done);
    return session;
}

CaptureSession::CaptureSession(Machine &machine, CaptureMode mode, uint32_t base,
                               std::function<void()> readable_changed)
    : machine_(machine), mode_(std::move(mode)), base_(base), readable_changed_(std::move(readable_changed)),
      takers_(machine.reactor, answer_without_frame)
{
    for (uint32_t buffer = 0; buffer < buffers; buffer++)
        free_.insert(base_ + buffer * mode_.frame_size());
}

CaptureSession::~CaptureSession()
{
    enable(false);
    worker_.reset();
    machine_.memory.queues().free(base_);
}

void CaptureSession::enable(bool enabled)
{
    if (enabled == std::exchange(enabled_, enabled))
        return;
    if (enabled)
        begin();
    else
        end();
}

void CaptureSession::begin()
{
    place_ = machine_.capture.join();
    machine_.capture.stall(*place_, true); /* a program that gets no frames is no measure for others */
    number_ = first_picture_from(mode_.standard, machine_.capture.position(*place_));
    if (machine_.capture.real_time())
        schedule();
    else
        capture_ahead();
}

void CaptureSession::end()
{
    if (timer_)
        machine_.reactor.cancel(*std::exchange(timer_, std::nullopt));
    machine_.capture.leave(*std::exchange(place_, std::nullopt));
    free_.insert(waiting_.begin(), waiting_.end());
    waiting_.clear();
    wanted_ = false;
    takers_.answer_all(wire::driver_failure);
    show_nothing();
    tell_readable();
}

void CaptureSession::pass_through(PassThrough mode, uint32_t channel)
{
    pass_through_ = mode;
    channel_ = channel;
    if (mode == PassThrough::none)
        show_nothing();
}

void CaptureSession::show_nothing()
{
    if (std::exchange(showing_, false) && machine_.show_captured)
        machine_.show_captured({}, 0, 0);
}

/* When pictures are captured. */

void CaptureSession::schedule()
{
    const uint64_t time_us = picture_time_us(mode_.standard, number_);
    timer_ = machine_.reactor.at(machine_.capture.when(time_us), [this] {
        timer_.reset();
        tick();
    });
}

/* A board that was held up goes on with the picture that is shown now. */
void CaptureSession::tick()
{
    skip_to(picture_number(mode_.standard, machine_.capture.now_us()));
    if (busy_)
        skip_to(number_ + 1);
    else
        capture();
    schedule();
}

void CaptureSession::skip_to(uint64_t number)
{
    if (number <= number_)
        return;
    counts_.dropped += number - number_;
    number_ = number;
}

/* As fast as possible, one frame waits at a time. */
void CaptureSession::capture_ahead()
{
    if (enabled_ && !machine_.capture.real_time() && !busy_ && waiting_.empty() && !free_.empty())
        capture();
}

/* A buffer for the next frame. */
std::optional<uint32_t> CaptureSession::room()
{
    if (free_.empty() && !waiting_.empty()) {
        free_.insert(waiting_.front());
        waiting_.pop_front();
        counts_.dropped++;
    }
    if (free_.empty()) {
        counts_.dropped++;
        return std::nullopt;
    }
    return free_.extract(free_.begin()).value();
}

CaptureJob CaptureSession::job_for(std::optional<uint32_t> buffer) const
{
    CaptureJob job{.standard = mode_.standard,
                   .time_us = picture_time_us(mode_.standard, number_),
                   .field = mode_.field,
                   .first_line = mode_.field ? static_cast<uint32_t>(number_ % 2) : 0};
    if (buffer)
        job.buffer = machine_.memory.at(*buffer, mode_.frame_size());
    PictureSize encoded = machine_.encoded.at(channel_);
    encoded.width &= ~1U; /* two pixels share their colour */
    if (pass_through_ == PassThrough::captured)
        show(job, CaptureJob::Show::frame, {mode_.standard.width, mode_.height()});
    if (pass_through_ == PassThrough::encoded && encoded.width != 0 && encoded.height != 0)
        show(job, CaptureJob::Show::scaled, encoded);
    return job;
}

/* A picture without a buffer is made where the display wants it. */
void CaptureSession::capture()
{
    const std::optional<uint32_t> buffer = room();
    const CaptureJob job = job_for(buffer);
    number_++;
    if (job.show == CaptureJob::Show::nothing) {
        show_nothing();
        if (job.buffer.empty())
            return;
    }
    filling_ = buffer;
    busy_ = true;
    wanted_ = true;
    worker_->capture(job);
}

void CaptureSession::captured(const Captured &captured)
{
    const ShownPicture &shown = captured.shown;
    const std::optional<uint32_t> buffer = std::exchange(filling_, std::nullopt);
    busy_ = false;
    if (!wanted_) {
        if (buffer)
            free_.insert(*buffer);
        return capture_ahead();
    }
    if (!captured.fault.empty())
        machine_.log("capture: a frame holds no new picture: " + captured.fault);
    if (pass_through_ != PassThrough::none && !shown.uyvy.empty() && machine_.show_captured) {
        machine_.show_captured(shown.uyvy, shown.width, shown.height);
        showing_ = true;
    }
    if (buffer) {
        counts_.captured++;
        waiting_.push_back(*buffer);
    }
    serve();
}

/* The program's side. */

void CaptureSession::deliver(Call &call)
{
    const uint32_t address = waiting_.front();
    waiting_.pop_front();
    held_.insert(address);
    counts_.got++;
    machine_.capture.advance(*place_, picture_time_us(mode_.standard, number_));
    machine_.memory.hand_out(address, mode_.frame_size()); /* its answer does not say how long it is */
    call.reply_record(address);
}

void CaptureSession::get(std::shared_ptr<Call> call)
{
    if (!enabled_)
        return call->fail(EINVAL);
    if (!takers_.empty() || waiting_.empty())
        return takers_.add(std::move(call), -1);
    deliver(*call);
    capture_ahead();
    tell_readable();
}

void CaptureSession::serve()
{
    while (!takers_.empty() && !waiting_.empty())
        deliver(*takers_.take());
    capture_ahead();
    tell_readable();
}

void CaptureSession::release(Call &call)
{
    const auto address = call.record<uint32_t>();
    if (held_.erase(address) == 0)
        return call.fail(EINVAL);
    free_.insert(address);
    call.reply_record(address);
    capture_ahead();
}

void CaptureSession::tell_readable()
{
    if (readable() != std::exchange(was_readable_, readable()))
        readable_changed_();
}

} // namespace orka::board
