#include "drivers/echo.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace orka::board {

namespace {

constexpr uint32_t straight_ms = 4;
constexpr uint32_t wall_ms = 9;
constexpr uint32_t learned_ms = 12;

/* Slow enough not to follow what is said before the microphone. */
constexpr float step = 0.02F;
/* Of what was played; below it there is nothing to learn from. */
constexpr float least_power = 100;

size_t samples_in(uint32_t ms, uint32_t sample_rate)
{
    return size_t{sample_rate} * ms / 1000;
}

int16_t limited(float sample)
{
    return static_cast<int16_t>(std::lround(std::clamp(sample, -32768.0F, 32767.0F)));
}

} // namespace

Room::Room(uint32_t sample_rate)
    : straight_(samples_in(straight_ms, sample_rate)), wall_(samples_in(wall_ms, sample_rate)),
      past_(wall_ + 1)
{
}

void Room::add_echo(std::span<const int16_t> played, std::span<int16_t> samples, uint32_t channels)
{
    for (size_t i = 0; i < played.size(); i++) {
        past_[at_] = played[i];
        const auto before = [this](size_t delay) {
            return static_cast<float>(past_[(at_ + past_.size() - delay) % past_.size()]);
        };
        const float echo = before(straight_) / 4 + before(wall_) / 8;
        at_ = (at_ + 1) % past_.size();
        for (int16_t &sample : samples.subspan(i * channels, channels))
            sample = limited(static_cast<float>(sample) + echo);
    }
}

EchoCanceller::EchoCanceller(uint32_t sample_rate, uint32_t channels)
    : taps_(samples_in(learned_ms, sample_rate) + 1), channels_(channels), past_(taps_ * 2),
      filters_(taps_ * channels)
{
}

/* Twice, a filter's length apart: so the last samples lie in one piece wherever they begin. */
void EchoCanceller::remember(float played)
{
    at_ = (at_ == 0 ? taps_ : at_) - 1;
    past_[at_] = played;
    past_[at_ + taps_] = played;
}

int16_t EchoCanceller::cancel(std::span<float> filter, int16_t heard)
{
    const float *const played = past_.data() + at_;
    const float echo = std::inner_product(filter.begin(), filter.end(), played, 0.0F);
    const float power = std::inner_product(played, played + taps_, played, 0.0F);
    const float rest = static_cast<float>(heard) - echo;
    if (power > least_power * static_cast<float>(taps_)) {
        const float move = step * rest / power;
        for (size_t i = 0; i < taps_; i++)
            filter[i] += move * played[i];
    }
    return limited(rest);
}

void EchoCanceller::cancel(std::span<const int16_t> played, std::span<int16_t> samples)
{
    for (size_t i = 0; i < played.size(); i++) {
        remember(played[i]);
        for (uint32_t channel = 0; channel < channels_; channel++) {
            int16_t &sample = samples[i * channels_ + channel];
            sample = cancel(std::span(filters_).subspan(channel * taps_, taps_), sample);
        }
    }
}

} // namespace orka::board
