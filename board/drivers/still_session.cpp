#include "drivers/still_session.h"

#include <algorithm>
#include <cerrno>
#include <utility>

#include "drivers/capture_session.h"
#include "drivers/coded_frame_answer.h"
#include "orka_media.h"

namespace orka::board {

namespace {

constexpr uint64_t least_queue = 4 << 20;
constexpr uint32_t queued_frames = 16;

} // namespace

/* What the largest file of one picture may need: three bytes a pixel, and what the worst case adds. */
uint64_t StillSession::queue_bytes(uint32_t width, uint32_t height)
{
    constexpr uint64_t head = 64 << 10;
    const uint64_t line = uint64_t{width} * 3 + 8;
    return std::max(least_queue, line * height * 17 / 16 + head);
}

std::shared_ptr<StillSession> StillSession::create(Machine &machine, StillPlan plan)
{
    std::shared_ptr<FrameQueue> frames =
        FrameQueue::create(machine.memory, queue_bytes(plan.width, plan.height), queued_frames);
    if (!frames)
        return nullptr;
    std::shared_ptr<StillSession> session(new StillSession(machine, plan, std::move(frames)));
    session->start_worker(plan);
    return session;
}

StillSession::StillSession(Machine &machine, StillPlan &plan, std::shared_ptr<FrameQueue> frames)
    : machine_(machine), label_(std::move(plan.label)), readable_changed_(std::move(plan.readable_changed)),
      frames_(std::move(frames)), place_(machine.capture.join()),
      takers_(machine.reactor, answer_without_coded_frame)
{
    machine_.capture.stall(place_, true); /* nobody waits for one who takes now and then */
    next_us_ = machine_.capture.position(place_);
}

void StillSession::start_worker(StillPlan &plan)
{
    const auto done = [&reactor = machine_.reactor, self = weak_from_this()](const std::string &why) {
        reactor.post([self, why] {
            if (const std::shared_ptr<StillSession> session = self.lock())
                session->done(why);
        });
    };
    const orka_iencode_frame_t form{
        .kind = ORKA_FRAME_TYPE_VIDEO, .flags = frame_key, .width = plan.width, .height = plan.height};
    worker_ =
        std::make_unique<StillWorker>(machine_.camera->open(), std::move(plan.codec), frames_, form, done);
}

StillSession::~StillSession()
{
    if (timer_)
        machine_.reactor.cancel(*timer_);
    machine_.capture.leave(place_);
}

/* When a picture is taken. */

/* As fast as possible it joins anew, where the others stand; alone it goes on where it was. */
uint64_t StillSession::present_us()
{
    if (machine_.capture.real_time())
        return machine_.capture.now_us();
    machine_.capture.leave(place_);
    place_ = machine_.capture.join();
    machine_.capture.stall(place_, true);
    return machine_.capture.position(place_);
}

void StillSession::take()
{
    const Standard standard = machine_.standard;
    const uint64_t number = first_picture_from(standard, std::max(present_us(), next_us_));
    const StillJob job{.standard = standard, .time_us = picture_time_us(standard, number)};
    next_us_ = job.time_us + 1;
    machine_.capture.advance(place_, job.time_us);
    busy_ = true;
    if (!machine_.capture.real_time())
        return worker_->make(job);
    timer_ = machine_.reactor.at(machine_.capture.when(job.time_us), [this, job] {
        timer_.reset();
        worker_->make(job);
    });
}

void StillSession::done(const std::string &why)
{
    busy_ = false;
    made_ += why.empty();
    failed_ += !why.empty();
    machine_.dsp_window.count_frames(why.empty());
    if (!why.empty()) {
        machine_.log(label_ + ": " + why);
        if (!takers_.empty())
            answer_without_coded_frame(*takers_.take(), wire::driver_failure);
    }
    serve();
}

/* The program's side. */

bool StillSession::deliver(Call &call)
{
    const std::optional<orka_iencode_frame_t> frame = frames_->take();
    if (frame)
        answer_coded_frame(call, wire::driver_done, *frame);
    return frame.has_value();
}

void StillSession::get(std::shared_ptr<Call> call)
{
    const auto timeout = coded_frame_timeout(*call);
    if (timeout < -1)
        return call->fail(EINVAL);
    if (takers_.empty() && deliver(*call))
        return readable_changed_();
    takers_.add(std::move(call), timeout);
    if (!busy_)
        take();
}

void StillSession::serve()
{
    while (!takers_.empty() && frames_->readable())
        deliver(*takers_.take());
    if (!takers_.empty())
        take();
    readable_changed_();
}

void StillSession::release(Call &call)
{
    const auto frame = call.record<wire::encode_frame_return_record>().frame;
    frames_->release(frame.addr) ? call.reply() : call.fail(EINVAL);
}

} // namespace orka::board
