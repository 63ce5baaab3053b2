#include "drivers/gain.h"

#include <algorithm>

namespace orka::board {

namespace {

struct Factor {
    int64_t mantissa;
    int shift;

    bool is_unity() const { return mantissa == 32767 && shift == 0; }

    int16_t operator()(int16_t sample) const
    {
        /* 16 bits by 16 by at most 31: no product is too large. */
        const int64_t product = (sample * mantissa * (int64_t{1} << shift) + 16384) >> 15;
        return static_cast<int16_t>(std::clamp<int64_t>(product, INT16_MIN, INT16_MAX));
    }
};

Factor make_factor(uint16_t mantissa, uint16_t shift)
{
    return {mantissa, std::min<int>(shift, 31)};
}

} // namespace

void Gain::apply(std::span<int16_t> samples, uint32_t channels) const
{
    const orka_idecode_gain_t gain = gain_.load(std::memory_order_relaxed);
    const Factor factors[] = {make_factor(gain.first_mantissa, gain.first_shift),
                              make_factor(gain.second_mantissa, gain.second_shift)};
    if (channels == 0)
        return;
    for (uint32_t channel = 0; channel < channels; channel++) {
        const Factor &factor = factors[channel % 2];
        if (factor.is_unity())
            continue;
        for (size_t i = channel; i < samples.size(); i += channels)
            samples[i] = factor(samples[i]);
    }
}

} // namespace orka::board
