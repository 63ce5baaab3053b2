#include "drivers/echo.h"

#include <cmath>
#include <numbers>

#include <gtest/gtest.h>

#include "drivers/loudspeaker.h"

namespace orka::board {

namespace {

constexpr uint32_t rate = 8000;

std::vector<int16_t> tone(double frequency, size_t count, double amplitude)
{
    std::vector<int16_t> samples(count);
    for (size_t i = 0; i < count; i++)
        samples[i] = static_cast<int16_t>(
            amplitude * std::sin(2 * std::numbers::pi * frequency * static_cast<double>(i) / rate));
    return samples;
}

/* How much of that frequency is in it: the amplitude of its sine. */
double amplitude(std::span<const int16_t> samples, double frequency)
{
    double sine = 0;
    double cosine = 0;
    for (size_t i = 0; i < samples.size(); i++) {
        const double angle = 2 * std::numbers::pi * frequency * static_cast<double>(i) / rate;
        sine += samples[i] * std::sin(angle);
        cosine += samples[i] * std::cos(angle);
    }
    return 2 * std::hypot(sine, cosine) / static_cast<double>(samples.size());
}

TEST(Room, BringsASoundBackTwice)
{
    Room room(rate);
    std::vector<int16_t> played(100);
    played[10] = 8000;
    std::vector<int16_t> heard(100);
    room.add_echo(played, heard, 1);
    std::vector<int16_t> expected(100);
    expected[10 + 32] = 2000;
    expected[10 + 72] = 1000;
    EXPECT_EQ(heard, expected);
}

TEST(Room, BringsItToEveryChannelAndAddsItToWhatIsThere)
{
    Room room(rate);
    std::vector<int16_t> played(40);
    played[0] = 8000;
    std::vector<int16_t> heard(80, 100);
    room.add_echo(played, heard, 2);
    EXPECT_EQ(heard[64], 2100);
    EXPECT_EQ(heard[65], 2100);
    EXPECT_EQ(heard[66], 100);
}

TEST(Room, IsLimitedToTheRangeOfASample)
{
    Room room(rate);
    std::vector<int16_t> heard(40, 32000);
    room.add_echo(std::vector<int16_t>(40, 32767), heard, 1);
    EXPECT_EQ(heard[39], 32767);
}

TEST(EchoCanceller, LeavesAloneWhatIsSaidWhileNothingIsPlayed)
{
    EchoCanceller canceller(rate, 1);
    std::vector<int16_t> heard = tone(440, 1000, 8000);
    canceller.cancel(std::vector<int16_t>(1000), heard);
    EXPECT_EQ(heard, tone(440, 1000, 8000));
}

/* One second to learn in, one to look at: what is played is lowered, what is said is left. */
TEST(EchoCanceller, TellsWhatIsPlayedFromWhatIsSaid)
{
    Room room(rate);
    EchoCanceller canceller(rate, 2);
    const std::vector<int16_t> played = tone(1000, 2 * rate, 8000);
    const std::vector<int16_t> said = tone(440, 2 * rate, 4000);
    std::vector<int16_t> heard(played.size() * 2);
    for (size_t i = 0; i < heard.size(); i++)
        heard[i] = said[i / 2];
    room.add_echo(played, heard, 2);
    const auto channel = [&](size_t which) {
        std::vector<int16_t> samples;
        for (size_t i = rate; i < 2 * rate; i++)
            samples.push_back(heard[i * 2 + which]);
        return samples;
    };
    const double echo = amplitude(channel(0), 1000);
    canceller.cancel(played, heard);
    for (const size_t which : {size_t{0}, size_t{1}}) {
        EXPECT_GT(20 * std::log10(echo / amplitude(channel(which), 1000)), 12);
        EXPECT_NEAR(amplitude(channel(which), 440), 4000, 200);
    }
}

TEST(Loudspeaker, LetsItsListenerHearEachSampleOnce)
{
    Loudspeaker loudspeaker;
    loudspeaker.listen(rate);
    const std::vector<int16_t> first{1, 2, 3, 4};
    loudspeaker.play(first, rate, 1);
    std::vector<int16_t> heard(3);
    loudspeaker.take(heard);
    std::vector<int16_t> rest(3, 99);
    loudspeaker.take(rest);
    heard.insert(heard.end(), rest.begin(), rest.end());
    EXPECT_EQ(heard, (std::vector<int16_t>{0, 1, 2, 3, 0, 0}));
}

TEST(Loudspeaker, MixesChannelsForItsListener)
{
    Loudspeaker loudspeaker;
    loudspeaker.listen(rate);
    const std::vector<int16_t> pairs{100, 300, -50, 50, 7, 7};
    loudspeaker.play(pairs, rate, 2);
    std::vector<int16_t> heard(3);
    loudspeaker.take(heard);
    EXPECT_EQ(heard, (std::vector<int16_t>{0, 200, 0}));
}

TEST(Loudspeaker, TurnsOneRateIntoAnother)
{
    for (const uint32_t played_rate : {44100U, 48000U, 8000U, 4000U}) {
        Loudspeaker loudspeaker;
        loudspeaker.listen(rate);
        loudspeaker.play(std::vector<int16_t>(played_rate / 10, 5000), played_rate, 1);
        std::vector<int16_t> heard(rate / 10 + 1, -1);
        loudspeaker.take(heard);
        EXPECT_EQ(heard[rate / 10 - 1], 5000) << played_rate;
        EXPECT_EQ(heard[rate / 10], 0) << played_rate;
    }
}

TEST(Loudspeaker, ForgetsWhatNobodyTakesInASecond)
{
    Loudspeaker loudspeaker;
    loudspeaker.listen(rate);
    for (int16_t second = 0; second < 3; second++)
        loudspeaker.play(std::vector<int16_t>(rate, second), rate, 1);
    std::vector<int16_t> heard(rate + 1, -1);
    loudspeaker.take(heard);
    EXPECT_EQ(heard[1], 2);
    EXPECT_EQ(heard[rate], 0);
}

/* A frame of 64 KiB at 1 Hz is hours at the listener's rate. */
TEST(Loudspeaker, KeepsTheEndOfWhatLastsForHours)
{
    constexpr uint32_t listener = 192'000;
    Loudspeaker loudspeaker;
    loudspeaker.listen(listener);
    std::vector<int16_t> played(32'768, -1000);
    played.back() = 3000;
    loudspeaker.play(played, 1, 1);
    std::vector<int16_t> heard(listener + 1, 99);
    loudspeaker.take(heard);
    EXPECT_EQ(heard[0], -1000);
    EXPECT_EQ(heard[listener / 4], 0);
    EXPECT_EQ(heard[listener / 2], 1000);
    EXPECT_EQ(heard[listener], 0);
}

TEST(Loudspeaker, CountsWhatWasHeardAndHowLoud)
{
    Loudspeaker loudspeaker;
    loudspeaker.play(std::vector<int16_t>(200, -300), 44100, 2);
    loudspeaker.pass(std::vector<int16_t>(50, 40), 1);
    EXPECT_EQ(loudspeaker.played().samples, 100U);
    EXPECT_EQ(loudspeaker.played().level, 300U);
    EXPECT_EQ(loudspeaker.passed().samples, 50U);
    EXPECT_EQ(loudspeaker.passed().level, 40U);
}

} // namespace

} // namespace orka::board
