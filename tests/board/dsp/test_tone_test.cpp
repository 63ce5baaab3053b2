/* The test tone: a function of the sample's number alone, in every form that is asked for. */
#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <numbers>

#include "dsp/camera.h"

namespace orka::board::test {
namespace {

constexpr uint32_t rates[] = {8000, 11'025, 16'000, 22'050, 32'000, 44'100, 48'000, 96'000};

std::vector<int16_t> heard(uint32_t rate, uint32_t channels, uint64_t first, size_t count)
{
    std::string why;
    const auto view = Microphone::create("", why)->open();
    std::vector<int16_t> samples(count * channels);
    view->sound(rate, channels, first, samples);
    return samples;
}

/* How strong one frequency is in one channel, of full scale. */
double strength(std::span<const int16_t> samples, uint32_t rate, uint32_t channels, uint32_t channel,
                double hz)
{
    std::complex<double> sum = 0;
    size_t count = 0;
    for (size_t at = channel; at < samples.size(); at += channels, count++)
        sum +=
            std::polar(samples[at] / 32767.0, -2 * std::numbers::pi * hz * static_cast<double>(count) / rate);
    return 2 * std::abs(sum) / static_cast<double>(count);
}

TEST(TestTone, IsOneFrequencyOnEachChannel)
{
    for (const uint32_t rate : rates) {
        const auto samples = heard(rate, 2, rate / 10, rate / 10); /* behind the click */
        EXPECT_NEAR(strength(samples, rate, 2, 0, 440), 0.1, 0.002) << rate;
        EXPECT_NEAR(strength(samples, rate, 2, 1, 550), 0.1, 0.002) << rate;
        EXPECT_LT(strength(samples, rate, 2, 0, 550), 0.01) << rate;
        EXPECT_LT(strength(samples, rate, 2, 1, 440), 0.01) << rate;
    }
}

TEST(TestTone, ClicksFromTheFirstSampleOfEachSecondOn)
{
    for (const uint32_t rate : rates) {
        for (const uint32_t channels : {1U, 2U, 6U}) {
            const auto samples = heard(rate, channels, 0, size_t{rate} * 2);
            for (const uint64_t second : {0U, 1U})
                EXPECT_EQ(samples[second * rate * channels], 26'214) << rate;
            for (size_t at = rate - 100; at < rate; at++)
                ASSERT_LE(std::abs(samples[at * channels]), 3277) << rate;
        }
    }
}

TEST(TestTone, ClicksFor50Ms)
{
    const auto samples = heard(8000, 1, 0, 8000);
    int last = 0;
    for (int at = 0; at < 8000; at++)
        last = std::abs(samples[static_cast<size_t>(at)]) > 10'000 ? at : last;
    EXPECT_GE(last, 390);
    EXPECT_LT(last, 400);
}

TEST(TestTone, IsTheSameInPiecesOfAnySize)
{
    const auto whole = heard(44'100, 2, 0, 10'000);
    std::string why;
    const auto view = Microphone::create("", why)->open();
    std::vector<int16_t> pieced;
    for (size_t first = 0, size = 1; first < 10'000; first += size, size = size * 7 % 1013 + 1) {
        std::vector<int16_t> piece(std::min<size_t>(size, 10'000 - first) * 2);
        view->sound(44'100, 2, first, piece);
        pieced.insert(pieced.end(), piece.begin(), piece.end());
    }
    EXPECT_TRUE(pieced == whole);
}

TEST(TestTone, IsExactAfterAMonth)
{
    constexpr uint64_t month = 30ULL * 24 * 3600;
    EXPECT_TRUE(heard(44'100, 2, month * 44'100, 44'100) == heard(44'100, 2, 0, 44'100));
}

} // namespace
} // namespace orka::board::test
