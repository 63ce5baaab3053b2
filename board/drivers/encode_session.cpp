#include "drivers/encode_session.h"

#include <utility>

#include "drivers/transition.h"
#include "orka_media.h"

namespace orka::board {

namespace {

constexpr Transition<EncodeOrder, EncodeState> transitions[] = {
    {EncodeOrder::init, any_of({EncodeState::set_up}), EncodeState::ready},
    {EncodeOrder::start, any_of({EncodeState::ready, EncodeState::stopped}), EncodeState::encoding},
    {EncodeOrder::stop, any_of({EncodeState::encoding}), EncodeState::stopped},
};

} // namespace

std::shared_ptr<EncodeSession> EncodeSession::create(Machine &machine, EncodePlan plan)
{
    std::shared_ptr<FrameQueue> frames = FrameQueue::create(machine.memory, plan.bufsize, plan.bufcount);
    if (!frames)
        return nullptr;
    std::shared_ptr<EncodeSession> session(new EncodeSession(machine, plan, std::move(frames)));
    session->start_worker(plan);
    return session;
}

EncodeSession::EncodeSession(Machine &machine, EncodePlan &plan, std::shared_ptr<FrameQueue> frames)
    : machine_(machine), label_(std::move(plan.label)), vectors_size_(plan.vectors_size),
      frames_changed_(std::move(plan.frames_changed)), state_(plan.first), frames_(std::move(frames))
{
}

EncodeSession::~EncodeSession()
{
    count_frames();
}

void EncodeSession::start_worker(EncodePlan &plan)
{
    const auto notify = [&reactor = machine_.reactor, self = weak_from_this()] {
        reactor.post([self] {
            if (const std::shared_ptr<EncodeSession> session = self.lock())
                session->collect();
        });
    };
    worker_ =
        std::make_unique<EncodeWorker>(machine_.capture, frames_, plan.form, std::move(plan.stream), notify);
}

bool EncodeSession::enter(EncodeOrder order)
{
    const auto *const row = find_transition<EncodeOrder, EncodeState>(transitions, order, state_);
    if (!row)
        return false;
    state_ = row->to;
    if (order == EncodeOrder::start)
        worker_->start(machine_.standard);
    if (order == EncodeOrder::stop)
        worker_->stop();
    return true;
}

void EncodeSession::taken(const orka_iencode_frame_t &frame)
{
    if (frame.kind != ORKA_FRAME_TYPE_LAST) {
        frames_out_++;
        taken_tsms_ = frame.timestamp;
    }
    worker_->taken(frame);
}

FrameQueue *EncodeSession::open_vectors()
{
    if (!vectors_) {
        const uint64_t place = BufferSpace::place_of(vectors_size_);
        vectors_ = FrameQueue::create(machine_.memory, vector_count * place, vector_count);
        worker_->set_vectors(vectors_);
    }
    return vectors_.get();
}

void EncodeSession::collect()
{
    for (const std::string &line : worker_->collect())
        machine_.log(label_ + ": " + line);
    count_frames();
    frames_changed_();
}

void EncodeSession::count_frames()
{
    const uint64_t encoded = worker_->counts().encoded;
    machine_.dsp_window.count_frames(encoded - std::exchange(counted_, encoded));
}

} // namespace orka::board
