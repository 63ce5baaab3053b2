#include "drivers/subtitle_session.h"

#include <algorithm>
#include <utility>

#include <nlohmann/json.hpp>

#include "dsp/subtitle_text.h"
#include "orka_media.h"

namespace orka::board {

std::shared_ptr<DecoderSession> SubtitleSession::create(Machine &machine, const SessionPlan &plan,
                                                        std::shared_ptr<TextPainter> painter)
{
    const std::optional<uint32_t> base = machine.memory.queues().allocate(plan.bufsize);
    if (!base)
        return nullptr;
    return std::shared_ptr<DecoderSession>(new SubtitleSession(machine, plan, std::move(painter), *base));
}

SubtitleSession::SubtitleSession(Machine &machine, const SessionPlan &plan,
                                 std::shared_ptr<TextPainter> painter, uint32_t base)
    : DecoderSession(plan.first), machine_(machine), base_(base),
      length_(machine.memory.queues().blocks().at(base)), painter_(std::move(painter)),
      input_(machine.reactor, BufferSpace(base, length_),
             {.kind = plan.kind, .count = plan.bufcount, .bytes = plan.maxframe})
{
    machine_.display_clock.listen([this] { follow(); });
}

SubtitleSession::~SubtitleSession()
{
    machine_.memory.queues().free(base_);
}

void SubtitleSession::close()
{
    state_ = State::stopped;
    machine_.display_clock.listen({});
    show("");
    input_.wake();
}

void SubtitleSession::enter(State next)
{
    if (!is_started(std::exchange(state_, next)))
        shown_tsms_ = 0;
    if (next == State::stopped) {
        input_.wake();
        flush();
    }
    follow();
}

void SubtitleSession::flush()
{
    for (const Subtitle &subtitle : subtitles_) {
        dropped_ += subtitle.waits();
        input_.free(subtitle.address);
    }
    subtitles_.clear();
    input_.begin_anew();
    show("");
    input_.serve();
}

void SubtitleSession::queue(Call &call)
{
    auto record = call.record<wire::queue_record>();
    record.length = length_;
    record.pbase = base_;
    call.reply_record(record);
}

void SubtitleSession::new_frame(std::shared_ptr<Call> call)
{
    input_.new_frame(std::move(call), state_ == State::stopped);
}

void SubtitleSession::commit(Call &call)
{
    const std::optional<orka_idecode_frame_t> frame = input_.commit(call);
    if (!frame)
        return;
    if (frame->kind != ORKA_FRAME_TYPE_LAST)
        add(*frame);
    call.reply();
    follow();
}

/* The text is read here: the program may write to its buffer at any time. */
void SubtitleSession::add(const orka_idecode_frame_t &frame)
{
    if (!subtitles_.empty() && subtitles_.back().end == open_end && frame.tsms > subtitles_.back().begin)
        subtitles_.back().end = frame.tsms;
    subtitles_.push_back({.address = frame.addr,
                          .begin = frame.tsms,
                          .end = frame.duration ? uint64_t{frame.tsms} + frame.duration : open_end,
                          .text = subtitle_text(machine_.memory.at(frame.addr, frame.size))});
}

/* After everything that may change what is to be seen. Paused, it stays as it is. */
void SubtitleSession::follow()
{
    const std::optional<uint32_t> now = machine_.display_clock.now();
    if (state_ == State::playing && now)
        move_on(*now);
    if (state_ != State::paused)
        show(state_ == State::playing && now ? text_at(*now) : "");
    input_.serve();
}

void SubtitleSession::move_on(uint32_t now)
{
    for (Subtitle &subtitle : subtitles_) {
        if (subtitle.waits() && subtitle.begin <= now)
            begin(subtitle, now);
    }
    std::erase_if(subtitles_, [now](const Subtitle &one) { return !one.waits() && one.is_over(now); });
    while (on_screen() > most_on_screen)
        forget_oldest();
}

void SubtitleSession::begin(Subtitle &subtitle, uint32_t now)
{
    input_.free(std::exchange(subtitle.address, 0));
    dropped_ += subtitle.is_over(now);
    shown_ += !subtitle.is_over(now);
    if (!subtitle.is_over(now))
        shown_tsms_ = subtitle.begin;
}

size_t SubtitleSession::on_screen() const
{
    return static_cast<size_t>(
        std::ranges::count_if(subtitles_, [](const auto &one) { return !one.waits(); }));
}

void SubtitleSession::forget_oldest()
{
    subtitles_.erase(std::ranges::find_if(subtitles_, [](const auto &one) { return !one.waits(); }));
}

/* Time may have gone back. */
std::string SubtitleSession::text_at(uint32_t now) const
{
    std::string text;
    for (const Subtitle &subtitle : subtitles_) {
        if (!subtitle.waits() && subtitle.begin <= now)
            text = stacked(text, subtitle.text);
    }
    return text;
}

void SubtitleSession::show(const std::string &text)
{
    machine_.subtitles.show(text, painter_);
}

void SubtitleSession::report(nlohmann::json &decoder) const
{
    decoder["state"] = state_name(state_);
    decoder["queue"] = {{"base", base_},
                        {"bytes", length_},
                        {"in", input_.count()},
                        {"in_limit", input_.limit()},
                        {"decoded", 0},
                        {"shown", on_screen()},
                        {"taken", 0}};
    decoder["frames_in"] = input_.frames();
    decoder["frames_out"] = shown_;
    decoder["dropped"] = dropped_;
    decoder["tsms"] = shown_tsms_;
}

} // namespace orka::board
