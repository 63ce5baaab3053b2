#include "drivers/program_sound.h"

#include <algorithm>
#include <utility>

namespace orka::board {

void ProgramSound::claim()
{
    const std::lock_guard lock(mutex_);
    feeds_.back().claimed = true;
}

void ProgramSound::give(std::span<const int16_t> samples)
{
    const std::lock_guard lock(mutex_);
    Feed &feed = feeds_.back();
    feed.claimed = true;
    feed.samples.insert(feed.samples.end(), samples.begin(), samples.end());
}

void ProgramSound::stop()
{
    const std::lock_guard lock(mutex_);
    feeds_.emplace_back();
}

bool ProgramSound::is_claimed() const
{
    const std::lock_guard lock(mutex_);
    return feeds_.back().claimed;
}

bool ProgramSound::has_room(size_t frames_in_hands) const
{
    const std::lock_guard lock(mutex_);
    return feeds_.back().samples.size() + (frames_in_hands + 1) * unit_ <= most_units * unit_;
}

EncodeStream::Supply ProgramSound::supply() const
{
    const std::lock_guard lock(mutex_);
    const Feed &feed = feeds_.front();
    if (!feed.claimed)
        return EncodeStream::Supply::captured;
    return feed.samples.size() >= unit_ ? EncodeStream::Supply::given : EncodeStream::Supply::missing;
}

bool ProgramSound::take(std::span<int16_t> samples)
{
    {
        const std::lock_guard lock(mutex_);
        std::vector<int16_t> &given = feeds_.front().samples;
        if (given.size() < samples.size())
            return false;
        const auto end = given.begin() + static_cast<ptrdiff_t>(samples.size());
        std::copy(given.begin(), end, samples.begin());
        given.erase(given.begin(), end);
    }
    taken_();
    return true;
}

std::vector<int16_t> ProgramSound::end()
{
    const std::lock_guard lock(mutex_);
    std::vector<int16_t> rest = std::move(feeds_.front().samples);
    feeds_.pop_front();
    if (feeds_.empty()) /* it ends with the session */
        feeds_.emplace_back();
    return rest;
}

} // namespace orka::board
