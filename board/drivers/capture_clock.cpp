#include "drivers/capture_clock.h"

#include <algorithm>
#include <utility>

namespace orka::board {

namespace {

uint64_t microseconds(Clock::duration duration)
{
    return static_cast<uint64_t>(std::chrono::duration_cast<std::chrono::microseconds>(duration).count());
}

} // namespace

CaptureClock::Place CaptureClock::join(std::function<void()> wake)
{
    const std::scoped_lock lock(mutex_);
    if (consumers_.empty())
        origin_ = Clock::now();
    Consumer consumer;
    consumer.position_us_ = consumer.seen_us_ = where_to_begin();
    consumer.wake_ = std::move(wake);
    return consumers_.insert(consumers_.end(), std::move(consumer));
}

uint64_t CaptureClock::where_it_stands(const Consumer &who)
{
    return who.wake_ ? who.seen_us_ : who.position_us_;
}

/* Where somebody goes on; a stalled consumer may have been left far behind. */
uint64_t CaptureClock::where_to_begin() const
{
    if (consumers_.empty())
        return 0;
    if (real_time_)
        return microseconds(Clock::now() - origin_);
    const auto slower = [](const Consumer &one, const Consumer &other) {
        return std::pair(one.stalled_, where_it_stands(one)) <
               std::pair(other.stalled_, where_it_stands(other));
    };
    return where_it_stands(*std::ranges::min_element(consumers_, slower));
}

void CaptureClock::leave(Place place)
{
    const std::scoped_lock lock(mutex_);
    consumers_.erase(place);
    wake_waiting();
}

uint64_t CaptureClock::position(Place place)
{
    const std::scoped_lock lock(mutex_);
    return place->position_us_;
}

void CaptureClock::advance(Place place, uint64_t position_us)
{
    const std::scoped_lock lock(mutex_);
    place->position_us_ = position_us;
    wake_waiting();
}

void CaptureClock::seen(Place place, uint64_t time_us)
{
    const std::scoped_lock lock(mutex_);
    place->seen_us_ = time_us;
}

bool CaptureClock::is_in_step(const Consumer &who, uint64_t time_us) const
{
    return std::ranges::all_of(consumers_, [&](const Consumer &other) {
        return &other == &who || !other.wake_ || other.stalled_ ||
               time_us <= other.position_us_ + longest_lead_us;
    });
}

bool CaptureClock::may_take(Place place, uint64_t time_us)
{
    const std::scoped_lock lock(mutex_);
    const bool may = is_in_step(*place, time_us);
    if (!may)
        place->wanted_us_ = time_us;
    return may;
}

void CaptureClock::stall(Place place, bool stalled)
{
    const std::scoped_lock lock(mutex_);
    if (std::exchange(place->stalled_, stalled) != stalled)
        wake_waiting();
}

void CaptureClock::wake_waiting()
{
    for (Consumer &consumer : consumers_) {
        if (!consumer.wanted_us_ || !is_in_step(consumer, *consumer.wanted_us_))
            continue;
        consumer.wanted_us_.reset();
        consumer.wake_();
    }
}

uint64_t CaptureClock::now_us()
{
    const std::scoped_lock lock(mutex_);
    return microseconds(Clock::now() - origin_);
}

Clock::time_point CaptureClock::when(uint64_t time_us)
{
    const std::scoped_lock lock(mutex_);
    return origin_ + std::chrono::microseconds(time_us);
}

} // namespace orka::board
