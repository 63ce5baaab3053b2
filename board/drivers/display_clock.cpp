#include "drivers/display_clock.h"

#include <utility>

#include "dsp/codec.h"

namespace orka::board {

DisplayClock::Source::Source(DisplayClock &clock, uint32_t rank) : clock_(clock), rank_(rank)
{
    clock_.sources_[rank_] = this;
}

DisplayClock::Source::~Source()
{
    clock_.sources_.erase(rank_);
    clock_.tell();
}

void DisplayClock::Source::start(bool started)
{
    if (std::exchange(started_, started) == started)
        return;
    tsms_.reset();
    clock_.tell();
}

void DisplayClock::Source::show(uint32_t tsms)
{
    if (tsms == no_tsms)
        return;
    tsms_ = tsms;
    clock_.tell();
}

std::optional<uint32_t> DisplayClock::now() const
{
    bool pictures = false;
    for (const auto &[rank, source] : sources_) {
        if (!source->started_)
            continue;
        if (source->tsms_ && (rank != sound || !pictures))
            return source->tsms_;
        pictures = true;
    }
    return std::nullopt;
}

} // namespace orka::board
