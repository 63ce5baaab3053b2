#include "dsp/picture_controls.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace orka::board {

namespace {

constexpr int middle = PictureControls::neutral;
constexpr int luma_black = 16;
constexpr int chroma_grey = 128;

uint8_t limited(long value)
{
    return static_cast<uint8_t>(std::clamp(value, 1L, 254L));
}

class ControlledView final : public CameraView {
  public:
    ControlledView(std::unique_ptr<CameraView> view, const PictureControls &controls)
        : view_(std::move(view)), controls_(controls)
    {
    }

    void picture(const Standard &standard, uint64_t time_us, std::span<uint8_t> uyvy) override
    {
        view_->picture(standard, time_us, uyvy);
        adjust(uyvy, controls_.settings());
    }
    void cancel() override { view_->cancel(); }

  private:
    std::unique_ptr<CameraView> view_;
    const PictureControls &controls_;
};

class ControlledCamera final : public Camera {
  public:
    ControlledCamera(std::unique_ptr<Camera> camera, const PictureControls &controls)
        : camera_(std::move(camera)), controls_(controls)
    {
    }

    std::unique_ptr<CameraView> open() override
    {
        return std::make_unique<ControlledView>(camera_->open(), controls_);
    }

  private:
    std::unique_ptr<Camera> camera_;
    const PictureControls &controls_;
};

} // namespace

void PictureControls::set(Control control, uint8_t value)
{
    Settings before = settings_.load();
    Settings after{};
    do {
        after = before;
        after[control] = value;
    } while (!settings_.compare_exchange_weak(before, after));
}

void adjust(std::span<uint8_t> uyvy, const PictureControls::Settings &settings)
{
    using Control = PictureControls::Control;
    if (std::ranges::all_of(settings, [](uint8_t value) { return value == middle; }))
        return;
    std::array<uint8_t, 256> luma{};
    for (int y = 0; y < 256; y++)
        luma[static_cast<size_t>(y)] =
            limited(luma_black + (y - luma_black) * settings[Control::contrast] / middle +
                    settings[Control::brightness] - middle);
    const double angle = (settings[Control::hue] - middle) * 2 * std::numbers::pi / 256;
    constexpr int bits = 16;
    constexpr long one = 1L << bits;
    constexpr long half = one / 2;
    const long along = std::lround(std::cos(angle) * settings[Control::saturation] / middle * one);
    const long across = std::lround(std::sin(angle) * settings[Control::saturation] / middle * one);
    for (size_t at = 0; at + 3 < uyvy.size(); at += 4) {
        const long u = uyvy[at] - chroma_grey;
        const long v = uyvy[at + 2] - chroma_grey;
        uyvy[at] = limited(chroma_grey + ((u * along - v * across + half) >> bits));
        uyvy[at + 1] = luma[uyvy[at + 1]];
        uyvy[at + 2] = limited(chroma_grey + ((u * across + v * along + half) >> bits));
        uyvy[at + 3] = luma[uyvy[at + 3]];
    }
}

std::unique_ptr<Camera> with_controls(std::unique_ptr<Camera> camera, const PictureControls &controls)
{
    return std::make_unique<ControlledCamera>(std::move(camera), controls);
}

} // namespace orka::board
