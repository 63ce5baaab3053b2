#include "drivers/presentation.h"

namespace orka::board {

void PresentationClock::end()
{
    if (--started_ == 0)
        restart();
}

void PresentationClock::go(Clock::time_point now)
{
    if (moving_++ == 0 && origin_)
        *origin_ += now - halted_at_;
}

void PresentationClock::halt(Clock::time_point now)
{
    if (--moving_ == 0)
        halted_at_ = now;
}

Clock::time_point PresentationClock::due(uint32_t tsms, Clock::time_point now)
{
    const std::chrono::milliseconds stamp{tsms};
    if (!origin_ || *origin_ + stamp > now + longest_wait || *origin_ + stamp < now - longest_wait)
        origin_ = now - stamp;
    return *origin_ + stamp;
}

} // namespace orka::board
