#include "track.h"

#include <algorithm>
#include <cstdlib>

namespace orka::record {

namespace {

/* Time stamps in ms are not exact: a smaller step is none. */
constexpr int64_t gap_ms = 40;

} // namespace

Place PictureTicks::place(int64_t ms)
{
    const int64_t nearest = (ms * rate_ + 500) / 1000;
    const Place place{std::max(nearest, next_), 1};
    next_ = place.time + 1;
    count_++;
    return place;
}

Place SoundTicks::place(int64_t ms, int64_t samples)
{
    const int64_t stamped = ms * sample_rate_ / 1000 - delay_;
    if (!next_ || std::abs(stamped - *next_) > gap_ms * sample_rate_ / 1000)
        next_ = std::max(stamped, next_.value_or(stamped));
    const Place place{*next_, samples};
    *next_ += samples;
    return place;
}

} // namespace orka::record
