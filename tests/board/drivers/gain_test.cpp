#include "drivers/gain.h"

#include <gtest/gtest.h>

#include <vector>

namespace orka::board {
namespace {

std::vector<int16_t> apply(const orka_idecode_gain_t &setting, std::vector<int16_t> samples,
                           uint32_t channels = 2)
{
    Gain gain;
    gain.set(setting);
    gain.apply(samples, channels);
    return samples;
}

using Samples = std::vector<int16_t>;

TEST(Gain, LeavesSamplesAloneAtFirst)
{
    Samples samples{32767, -32768, 1, -1};
    Gain().apply(samples, 2);
    EXPECT_EQ(samples, (Samples{32767, -32768, 1, -1}));
}

TEST(Gain, OfZeroDecibelsIsExact)
{
    EXPECT_EQ(apply({32767, 32767, 0, 0}, {32767, -32768, 12345, -1}), (Samples{32767, -32768, 12345, -1}));
}

TEST(Gain, FirstIsLeftAndSecondIsRight)
{
    EXPECT_EQ(apply({16384, 16384, 0, 2}, {1000, 1000, -1000, -1000}), (Samples{500, 2000, -500, -2000}));
}

TEST(Gain, OfOneChannelIsTheFirst)
{
    EXPECT_EQ(apply({16384, 0, 0, 0}, {1000, 1000}, 1), (Samples{500, 500}));
}

TEST(Gain, LimitsInsteadOfWrapping)
{
    EXPECT_EQ(apply({32457, 32457, 4, 4}, {30000, -30000}), (Samples{32767, -32768}));
}

TEST(Gain, OfNoMantissaIsSilence)
{
    EXPECT_EQ(apply({0, 0, 25, 65535}, {30000, -30000}), (Samples{0, 0}));
}

TEST(Gain, OfTheLargestWordsIsLimited)
{
    EXPECT_EQ(apply({65535, 65535, 65535, 65535}, {32767, -32768, 1, -1}),
              (Samples{32767, -32768, 32767, -32768}));
}

TEST(Gain, RoundsToTheNearest)
{
    EXPECT_EQ(apply({16384, 16384, 0, 0}, {1, -1, 3, -3}), (Samples{1, 0, 2, -1}));
}

TEST(Gain, OfNoChannelsDoesNothing)
{
    EXPECT_EQ(apply({0, 0, 0, 0}, {5}, 0), (Samples{5}));
}

} // namespace
} // namespace orka::board
