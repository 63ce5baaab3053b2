#include "drivers/loudspeaker.h"

#include <algorithm>
#include <cmath>

namespace orka::board {

namespace {

uint32_t level_of(std::span<const int16_t> samples)
{
    double sum = 0;
    for (const int16_t sample : samples)
        sum += static_cast<double>(sample) * sample;
    return static_cast<uint32_t>(std::lround(std::sqrt(sum / static_cast<double>(samples.size()))));
}

void hear(Loudspeaker::Heard &heard, std::span<const int16_t> samples, uint32_t channels)
{
    heard.samples += samples.size() / channels;
    heard.level = level_of(samples);
}

int16_t mean_of(std::span<const int16_t> channels)
{
    int32_t sum = 0;
    for (const int16_t sample : channels)
        sum += sample;
    return static_cast<int16_t>(sum / static_cast<int32_t>(channels.size()));
}

} // namespace

void Loudspeaker::play(std::span<const int16_t> samples, uint32_t sample_rate, uint32_t channels)
{
    if (samples.empty() || channels == 0 || sample_rate == 0)
        return;
    const std::lock_guard lock(mutex_);
    hear(played_, samples, channels);
    if (listener_rate_ != 0)
        keep(samples, sample_rate, channels);
}

/*
 * At the listener's rate, on straight lines between the samples. Of what lasts longer only the last second is
 * kept: whole seconds before it change nothing and are left out.
 */
void Loudspeaker::keep(std::span<const int16_t> samples, uint32_t sample_rate, uint32_t channels)
{
    const size_t seconds = samples.size() / channels / sample_rate;
    const size_t begin = seconds > 1 ? (seconds - 1) * sample_rate * channels : 0;
    if (begin > 0)
        last_ = mean_of(samples.subspan(begin - channels, channels));
    for (size_t at = begin; at + channels <= samples.size(); at += channels) {
        const int16_t next = mean_of(samples.subspan(at, channels));
        for (; phase_ < listener_rate_; phase_ += sample_rate) {
            const auto part = static_cast<int64_t>(phase_);
            to_listener_.push_back(
                static_cast<int16_t>(last_ + (next - last_) * part / static_cast<int64_t>(listener_rate_)));
        }
        phase_ -= listener_rate_;
        last_ = next;
    }
    while (to_listener_.size() > listener_rate_)
        to_listener_.pop_front();
}

void Loudspeaker::pass(std::span<const int16_t> samples, uint32_t channels)
{
    const std::lock_guard lock(mutex_);
    hear(passed_, samples, channels);
}

void Loudspeaker::listen(uint32_t sample_rate)
{
    const std::lock_guard lock(mutex_);
    listener_rate_ = sample_rate;
    to_listener_.clear();
    phase_ = 0;
    last_ = 0;
}

void Loudspeaker::take(std::span<int16_t> samples)
{
    const std::lock_guard lock(mutex_);
    const auto count = static_cast<ptrdiff_t>(std::min(samples.size(), to_listener_.size()));
    const auto end = to_listener_.begin() + count;
    const auto rest = std::copy(to_listener_.begin(), end, samples.begin());
    std::fill(rest, samples.end(), int16_t{0});
    to_listener_.erase(to_listener_.begin(), end);
}

Loudspeaker::Heard Loudspeaker::played() const
{
    const std::lock_guard lock(mutex_);
    return played_;
}

Loudspeaker::Heard Loudspeaker::passed() const
{
    const std::lock_guard lock(mutex_);
    return passed_;
}

} // namespace orka::board
