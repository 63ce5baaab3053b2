#include "track.h"

#include <algorithm>
#include <cstdlib>

namespace orka::record {

namespace {

/* Time stamps in ms are not exact: a smaller step is none. */
constexpr int64_t gap_ms = 40;

} // namespace

Place PictureTicks::place(int64_t ms) const
{
    const int64_t nearest = (ms * rate_ + 500) / 1000;
    return {std::max(nearest, next_), 1};
}

void PictureTicks::take(const Place &place)
{
    next_ = place.time + place.duration;
    count_++;
}

void PictureTicks::end(int64_t ticks)
{
    next_ = std::max(next_, ticks);
}

Place SoundTicks::place(int64_t ms, int64_t samples) const
{
    const int64_t stamped = ms * sample_rate_ / 1000 - delay_;
    if (!next_ || std::abs(stamped - *next_) > gap_ms * sample_rate_ / 1000)
        return {std::max(stamped, next_.value_or(stamped)), samples};
    return {*next_, samples};
}

void SoundTicks::take(const Place &place)
{
    next_ = place.time + place.duration;
}

} // namespace orka::record
