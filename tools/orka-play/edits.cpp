#include "edits.h"

#include <algorithm>

namespace orka::play {

namespace {

/* AV_PKT_DATA_SKIP_SAMPLES: two little-endian counts, and two bytes of reasons. */
constexpr size_t skip_data_size = 10;

} // namespace

void Edits::note(const AVPacket &packet, uint32_t tsms, Which which)
{
    size_t size = 0;
    const uint8_t *data = av_packet_get_side_data(&packet, AV_PKT_DATA_SKIP_SAMPLES, &size);
    Mark mark = {.tsms = tsms, .drop = (packet.flags & AV_PKT_FLAG_DISCARD) != 0, .skip = {}, .padding = 0};
    if (data && size >= skip_data_size) {
        mark.skip = AV_RL32(data);
        mark.padding = AV_RL32(data + 4);
    }
    if (which == Which::marked && !mark.drop && !mark.skip)
        return;
    std::lock_guard lock(mutex_);
    marks_.push_back(mark);
}

uint32_t Edits::duration(const AVPacket &packet, uint32_t duration)
{
    return (packet.flags & AV_PKT_FLAG_DISCARD) != 0 ? 0 : duration;
}

bool Edits::drops_picture(uint32_t tsms, uint32_t duration)
{
    if (duration != 0)
        return false;
    std::lock_guard lock(mutex_);
    const auto mark =
        std::find_if(marks_.begin(), marks_.end(), [tsms](const Mark &m) { return m.tsms == tsms; });
    if (mark == marks_.end())
        return false;
    const bool drop = mark->drop;
    marks_.erase(mark);
    return drop;
}

/*
 * A packet that gave no sound passes what it wanted skipped on to the next that does. Of a packet that gave
 * several frames the first alone has its time stamp.
 */
std::optional<Edits::Mark> Edits::take_mark(uint32_t tsms)
{
    std::lock_guard lock(mutex_);
    const auto found =
        std::find_if(marks_.begin(), marks_.end(), [tsms](const Mark &m) { return m.tsms == tsms; });
    if (found == marks_.end())
        return std::nullopt;
    const Mark mark = *found;
    std::for_each(marks_.begin(), found + 1, [this](const Mark &m) { skip_ = m.skip.value_or(skip_); });
    marks_.erase(marks_.begin(), found + 1);
    return mark;
}

Edits::Range Edits::kept_samples(uint32_t tsms, uint32_t count)
{
    const std::optional<Mark> mark = take_mark(tsms);
    const uint32_t skipped = std::min(skip_, count);
    skip_ -= skipped;
    if (mark && mark->drop)
        return {count, 0};
    const uint32_t left = count - skipped;
    const uint32_t padding = mark && mark->padding <= left ? mark->padding : 0;
    return {skipped, left - padding};
}

} // namespace orka::play
