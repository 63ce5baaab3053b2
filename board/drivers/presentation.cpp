#include "drivers/presentation.h"

#include "dsp/codec.h"

namespace orka::board {

void PresentationClock::end()
{
    if (--started_ == 0)
        restart();
}

void PresentationClock::restart()
{
    origin_.reset();
    reached_.reset();
}

/* After a change: time that the clock stood still is left out. */
void PresentationClock::run_on(bool stood, Clock::time_point now)
{
    if (stood && !stands() && origin_)
        *origin_ += now - halted_at_;
    if (!stood && stands())
        halted_at_ = now;
}

void PresentationClock::go(Clock::time_point now)
{
    const bool stood = stands();
    moving_++;
    run_on(stood, now);
}

void PresentationClock::halt(Clock::time_point now)
{
    const bool stood = stands();
    moving_--;
    run_on(stood, now);
}

Clock::time_point PresentationClock::due(uint32_t tsms, Clock::time_point now)
{
    const std::chrono::milliseconds stamp{tsms};
    if (!origin_ || *origin_ + stamp > now + longest_wait || *origin_ + stamp < now - longest_wait)
        origin_ = now - stamp;
    return *origin_ + stamp;
}

void PresentationClock::hold(Clock::time_point now)
{
    const bool stood = stands();
    held_ = true;
    run_on(stood, now);
    tell();
}

void PresentationClock::release(Clock::time_point now)
{
    const bool stood = stands();
    held_ = false;
    asked_pictures_ = 0;
    reached_.reset();
    run_on(stood, now);
    tell();
}

void PresentationClock::ask_picture()
{
    asked_pictures_ += held_ && started_ != 0;
    tell();
}

/* The clock, which stands still, is set to the picture's time. */
bool PresentationClock::take_picture(uint32_t tsms)
{
    if (asked_pictures_ == 0)
        return false;
    asked_pictures_--;
    if (tsms != no_tsms) {
        reached_ = tsms;
        origin_ = halted_at_ - std::chrono::milliseconds(tsms);
    }
    return true;
}

uint32_t PresentationClock::listen(std::function<void()> listener)
{
    listeners_[next_listener_] = std::move(listener);
    return next_listener_++;
}

void PresentationClock::tell() const
{
    for (const auto &[number, listener] : listeners_)
        listener();
}

} // namespace orka::board
