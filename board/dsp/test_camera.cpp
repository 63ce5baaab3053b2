/* The test picture as a camera, and the test tone as a microphone. */
#include "dsp/test_camera.h"

#include <cmath>
#include <numbers>
#include <optional>

#include "dsp/picture_marks.h"
#include "dsp/test_picture.h"

namespace orka::board {

namespace {

class TestView final : public CameraView {
  public:
    void picture(const Standard &standard, uint64_t time_us, std::span<uint8_t> uyvy) override
    {
        if (!drawn_ || drawn_->standard() != standard)
            drawn_.emplace(standard);
        drawn_->draw(picture_number(standard, time_us), uyvy);
    }

  private:
    std::optional<TestPicture> drawn_;
};

class TestCamera final : public Camera {
  public:
    std::unique_ptr<CameraView> open() override { return std::make_unique<TestView>(); }
};

constexpr double full_scale = 32767;
constexpr double tone_level = 0.1;
constexpr double click_level = 0.8;
constexpr uint32_t click_hz = 1000;

/* Of each channel its own. */
constexpr uint32_t tone_hz(uint32_t channel)
{
    return 440 + 110 * channel;
}

/* Whole turns are left out before the angle is computed: it stays exact for days. */
double wave(uint32_t hz, uint64_t number, uint32_t sample_rate)
{
    const uint64_t turn = number * hz % sample_rate;
    return std::cos(2 * std::numbers::pi * static_cast<double>(turn) / sample_rate);
}

int16_t test_sample(uint32_t sample_rate, uint32_t channel, uint64_t number)
{
    const uint64_t in_second = number % sample_rate;
    const bool click = in_second * 1000 < uint64_t{sample_rate} * marks::second_ms;
    const double value = click ? click_level * wave(click_hz, in_second, sample_rate)
                               : tone_level * wave(tone_hz(channel), in_second, sample_rate);
    return static_cast<int16_t>(std::lround(full_scale * value));
}

class ToneView final : public MicrophoneView {
  public:
    void sound(uint32_t sample_rate, uint32_t channels, uint64_t first, std::span<int16_t> samples) override
    {
        for (size_t at = 0; at < samples.size(); at++)
            samples[at] =
                test_sample(sample_rate, static_cast<uint32_t>(at % channels), first + at / channels);
    }
};

class ToneMicrophone final : public Microphone {
  public:
    std::unique_ptr<MicrophoneView> open() override { return std::make_unique<ToneView>(); }
};

} // namespace

std::unique_ptr<Camera> make_test_camera()
{
    return std::make_unique<TestCamera>();
}

std::unique_ptr<Microphone> make_test_microphone()
{
    return std::make_unique<ToneMicrophone>();
}

} // namespace orka::board
