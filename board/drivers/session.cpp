#include "drivers/session.h"

#include <algorithm>
#include <cerrno>
#include <utility>

#include <nlohmann/json.hpp>

#include "orka_media.h"

namespace orka::board {

namespace {

uint64_t whole_pages(uint64_t bytes)
{
    return (bytes + page_size - 1) / page_size * page_size;
}

void answer_wait(Call &call, int32_t status)
{
    auto record = call.record<wire::wait_record>();
    record.status = status;
    call.reply_record(record);
}

/* LAST is none. */
size_t frames_among(const std::vector<orka_idecode_frame_t> &decoded)
{
    return decoded.size() - static_cast<size_t>(std::ranges::count(decoded, uint32_t{ORKA_FRAME_TYPE_LAST},
                                                                   &orka_idecode_frame_t::kind));
}

} // namespace

std::string_view state_name(State state)
{
    constexpr std::string_view names[] = {"set up",    "ready",      "playing", "paused",
                                          "rewinding", "forwarding", "stopped"};
    return names[static_cast<size_t>(state)];
}

std::shared_ptr<Session> Session::create(Machine &machine, SessionPlan plan)
{
    const uint64_t input = whole_pages(plan.bufsize);
    const uint64_t length = input + whole_pages(plan.output);
    const std::optional<uint32_t> base = machine.memory.queues().allocate(length);
    if (!base)
        return nullptr;
    std::unique_ptr<CodecStream> stream = std::move(plan.stream);
    std::shared_ptr<Session> session(new Session(
        machine, std::move(plan), *base, static_cast<uint32_t>(input), static_cast<uint32_t>(length)));
    session->start_worker(std::move(stream), static_cast<uint32_t>(input));
    return session;
}

Session::Session(Machine &machine, SessionPlan plan, uint32_t base, uint32_t input, uint32_t length)
    : DecoderSession(plan.first), machine_(machine), kind_(plan.kind), label_(std::move(plan.label)),
      base_(base), length_(length), timeless_(plan.timeless),
      readable_changed_(std::move(plan.readable_changed)),
      listener_(machine.presentation.listen([this] { present(); })),
      input_(machine.reactor, BufferSpace(base, input),
             {.kind = plan.kind, .count = plan.bufcount, .bytes = plan.maxframe}),
      takers_(machine.reactor, answer_without_frame), finishers_(machine.reactor, answer_wait)
{
    if (plan.rank)
        plane_.emplace(machine.video, *plan.rank, label_);
    if (kind_ == ORKA_FRAME_TYPE_VIDEO || kind_ == ORKA_FRAME_TYPE_AUDIO)
        time_.emplace(machine.display_clock, plan.rank.value_or(DisplayClock::sound));
}

void Session::start_worker(std::unique_ptr<CodecStream> stream, uint32_t input)
{
    const auto notify = [&reactor = machine_.reactor, self = weak_from_this()] {
        reactor.post([self] {
            if (const std::shared_ptr<Session> session = self.lock())
                session->collect();
        });
    };
    worker_ = std::make_unique<Worker>(machine_.memory, BufferSpace(base_ + input, length_ - input),
                                       std::move(stream), notify);
}

Session::~Session()
{
    worker_.reset();
    machine_.memory.queues().free(base_);
}

void Session::close()
{
    keep_time(std::exchange(state_, State::stopped));
    machine_.presentation.ignore(listener_);
    plane_.reset();
    time_.reset();
    disarm(stall_timer_);
    disarm(due_timer_);
    input_.wake();
    takers_.answer_all(wire::driver_failure);
    finishers_.answer_all(wire::driver_failure);
}

void Session::enter(State next)
{
    const State before = std::exchange(state_, next);
    if (!is_started(before) && is_started(next))
        begin_stream();
    keep_time(before);
    if (time_)
        time_->start(is_started(next));
    if (plane_)
        plane_->start(is_started(next));
    worker_->run(is_started(next));
    if (next == State::stopped) {
        input_.wake(); /* before what is dropped makes room for those who wait */
        drop_everything();
        takers_.answer_all(wire::driver_failure);
        finishers_.answer_all(wire::driver_done);
    }
    present();
}

void Session::begin_stream()
{
    finished_ = false;
    shown_number_ = 0;
    shown_tsms_ = 0;
    shown_until_ = 0;
}

void Session::keep_time(State before)
{
    if (timeless_)
        return;
    PresentationClock &clock = machine_.presentation;
    const Clock::time_point now = Clock::now();
    if (is_started(state_) && !is_started(before))
        clock.begin();
    if (is_moving(state_) && !is_moving(before))
        clock.go(now);
    if (!is_moving(state_) && is_moving(before))
        clock.halt(now);
    if (!is_started(state_) && is_started(before))
        clock.end();
    if (state_ == State::playing && std::exchange(left_time_line_, false))
        clock.restart();
    left_time_line_ = left_time_line_ || is_hurried();
}

void Session::flush()
{
    drop_everything();
    finished_ = false;
    machine_.presentation.restart();
}

bool Session::hang()
{
    worker_->hang();
    return true;
}

/* Buffers that a program holds stay its own: those to be filled as well as those taken. */
void Session::drop_everything()
{
    input_.begin_anew();
    worker_->discard();
    for (const orka_idecode_frame_t &frame : decoded_)
        drop(frame);
    decoded_.clear();
    drop_shown();
    shown_.clear();
    disarm(stall_timer_);
    disarm(due_timer_);
    collect();
}

void Session::drop(const orka_idecode_frame_t &frame)
{
    if (frame.kind == ORKA_FRAME_TYPE_LAST)
        return;
    dropped_++;
    give_back(frame.addr);
}

void Session::disarm(std::optional<Reactor::TimerId> &timer)
{
    if (timer)
        machine_.reactor.cancel(*std::exchange(timer, std::nullopt));
}

/* The queue's address, and the side that fills. */

void Session::queue(Call &call)
{
    auto record = call.record<wire::queue_record>();
    record.length = length_;
    record.pbase = base_;
    call.reply_record(record);
}

void Session::new_frame(std::shared_ptr<Call> call)
{
    /* The worker tells of eaten packets with its next frame; who finds the queue full asks it. */
    if (!input_.has_room())
        collect();
    input_.new_frame(std::move(call), state_ == State::stopped);
}

void Session::commit(Call &call)
{
    const std::optional<orka_idecode_frame_t> frame = input_.commit(call);
    if (!frame)
        return;
    worker_->submit({.address = frame->addr,
                     .size = frame->size,
                     .flags = frame->flags,
                     .tsms = frame->tsms,
                     .duration = frame->duration,
                     .last = frame->kind == ORKA_FRAME_TYPE_LAST});
    call.reply();
    input_.serve();
}

/* The side that empties. */

bool Session::deliver(Call &call)
{
    if (shown_.empty())
        return false;
    const orka_idecode_frame_t frame = shown_.front();
    shown_.pop_front();
    if (frame.kind != ORKA_FRAME_TYPE_LAST) {
        taken_.insert(frame.addr);
        frames_out_++;
    }
    answer_frame_request(call, wire::driver_done, frame);
    return true;
}

void Session::get(std::shared_ptr<Call> call)
{
    const int32_t timeout = frame_timeout(*call);
    if (timeout < -1)
        return call->fail(EINVAL);
    asked_ = true;
    disarm(stall_timer_);
    if (takers_.empty() && deliver(*call))
        return tell_readable();
    if (state_ == State::stopped)
        return answer_without_frame(*call, wire::driver_failure);
    takers_.add(std::move(call), timeout);
}

void Session::serve_takers()
{
    while (!takers_.empty() && !shown_.empty())
        deliver(*takers_.take());
    tell_readable();
}

void Session::release(Call &call)
{
    const auto frame = call.record<wire::frame_return_record>().frame;
    if (taken_.erase(frame.addr) != 0)
        give_back(frame.addr);
    else if (frame.kind != ORKA_FRAME_TYPE_LAST || frame.addr != base_)
        return call.fail(EINVAL);
    call.reply();
    relieve_screen();
}

void Session::wait(std::shared_ptr<Call> call)
{
    const int32_t timeout = call->record<wire::wait_record>().timeout;
    if (timeout < -1 || state_ == State::set_up || state_ == State::ready)
        return call->fail(EINVAL);
    if (finished_ || state_ == State::stopped)
        return answer_wait(*call, wire::driver_done);
    finishers_.add(std::move(call), timeout);
}

void Session::tell_readable()
{
    if (readable() != std::exchange(was_readable_, readable()))
        readable_changed_();
}

/* From decoded to shown. */

void Session::collect()
{
    const Progress progress = worker_->collect();
    for (const std::string &line : progress.log)
        machine_.log(label_ + ": " + line);
    for (const uint32_t address : progress.consumed)
        input_.free(address);
    decoded_.insert(decoded_.end(), progress.frames.begin(), progress.frames.end());
    machine_.dsp_window.count_frames(frames_among(progress.frames));
    input_.serve();
    present();
}

/* What is seen of rewind and fast-forward are the key frames. */
bool Session::is_skipped(const orka_idecode_frame_t &frame) const
{
    return is_hurried() && frame.kind != ORKA_FRAME_TYPE_LAST && !(frame.flags & frame_key);
}

/* While the board is held. A picture that was asked for brings the sound with it, which may have been there
   before. */
bool Session::is_let_through(const orka_idecode_frame_t &frame, uint32_t tsms)
{
    PresentationClock &clock = machine_.presentation;
    if (is_skipped(frame))
        return true;
    if (kind_ != ORKA_FRAME_TYPE_VIDEO)
        return clock.is_reached(tsms);
    if (!clock.take_picture(tsms))
        return false;
    machine_.reactor.post([&clock] { clock.tell(); });
    return true;
}

bool Session::is_due(const orka_idecode_frame_t &frame)
{
    const uint32_t tsms = frame.kind == ORKA_FRAME_TYPE_LAST ? shown_until_ : frame.tsms;
    if (timeless_)
        return true;
    if (machine_.presentation.is_held())
        return is_let_through(frame, tsms);
    if (!machine_.options.real_time || is_hurried())
        return true;
    const Clock::time_point now = Clock::now();
    const Clock::time_point due = machine_.presentation.due(tsms, now);
    if (due <= now)
        return true;
    due_timer_ = machine_.reactor.at(due, [this] {
        due_timer_.reset();
        present();
    });
    return false;
}

void Session::present()
{
    disarm(due_timer_);
    while (is_moving(state_) && !decoded_.empty() && is_due(decoded_.front())) {
        show(decoded_.front());
        decoded_.pop_front();
    }
    serve_takers();
    relieve();
    relieve_screen();
}

void Session::show(orka_idecode_frame_t frame)
{
    if (frame.kind == ORKA_FRAME_TYPE_LAST) {
        frame.addr = base_;
        frame.tsms = shown_until_;
        finish();
    } else if (is_skipped(frame)) {
        return drop(frame);
    } else {
        shown_tsms_ = frame.tsms;
        shown_until_ = frame.tsms + frame.duration;
        put_on_screen(frame);
        let_hear(frame);
        if (time_)
            time_->show(frame.tsms);
    }
    frame.number = shown_number_++;
    shown_.push_back(frame);
}

void Session::let_hear(const orka_idecode_frame_t &frame)
{
    if (kind_ != ORKA_FRAME_TYPE_AUDIO)
        return;
    /* Buffers begin aligned, so their bytes can be samples in place. */
    const std::span<const uint8_t> bytes = machine_.memory.at(frame.addr, frame.size);
    machine_.loudspeaker.play(
        {reinterpret_cast<const int16_t *>(bytes.data()), bytes.size() / sizeof(int16_t)}, frame.width,
        frame.height);
}

void Session::put_on_screen(const orka_idecode_frame_t &frame)
{
    if (!plane_)
        return;
    const uint32_t before = std::exchange(on_screen_, frame.addr);
    plane_->show({.pixels = machine_.memory.at(frame.addr, frame.size),
                  .width = frame.width,
                  .height = frame.height,
                  .stride = frame.stride,
                  .tsms = frame.tsms});
    if (std::exchange(on_screen_done_, false))
        worker_->release(before);
}

/* An output buffer that neither the program nor the session needs any more. */
void Session::give_back(uint32_t address)
{
    if (address == on_screen_)
        on_screen_done_ = true;
    else
        worker_->release(address);
}

/* Where the decoder has no room for the next picture but that of the one on the screen. */
void Session::relieve_screen()
{
    if (!on_screen_done_ || !decoded_.empty() || !worker_->is_stalled())
        return;
    plane_->copy();
    on_screen_done_ = false;
    worker_->release(std::exchange(on_screen_, 0));
}

void Session::finish()
{
    finished_ = true;
    finishers_.answer_all(wire::driver_done);
}

void Session::drop_shown()
{
    std::erase_if(shown_, [this](const orka_idecode_frame_t &frame) {
        drop(frame);
        return frame.kind != ORKA_FRAME_TYPE_LAST;
    });
    tell_readable();
}

/* Makes room where nobody takes what was shown. */
void Session::relieve()
{
    if (asked_ || !is_moving(state_) || !worker_->is_stalled())
        return disarm(stall_timer_);
    const auto until = Clock::now() + (machine_.options.real_time ? real_time_patience : patience);
    if (is_held_back())
        disarm(stall_timer_);
    else if (!unwatched_ && !stall_timer_)
        stall_timer_ = machine_.reactor.at(until, [this] { lose_patience(); });
    if (unwatched_)
        drop_shown();
}

void Session::lose_patience()
{
    stall_timer_.reset();
    unwatched_ = worker_->is_stalled();
    if (unwatched_)
        machine_.log(
            "nobody asks for the decoded frames: they are dropped from here on, until somebody does");
    relieve();
    relieve_screen();
}

void Session::report(nlohmann::json &decoder) const
{
    decoder["state"] = state_name(state_);
    decoder["queue"] = {{"base", base_},
                        {"bytes", length_},
                        {"in", input_.count()},
                        {"in_limit", input_.limit()},
                        {"decoded", decoded_.size()},
                        {"shown", shown_.size()},
                        {"taken", taken_.size()}};
    decoder["frames_in"] = input_.frames();
    decoder["frames_out"] = frames_out_;
    decoder["dropped"] = dropped_;
    decoder["tsms"] = shown_tsms_;
}

} // namespace orka::board
