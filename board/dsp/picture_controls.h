/*
 * What the video decoder chip does to the camera's picture before anybody takes it. Any thread may read and
 * set; a picture is made with one state of all four.
 */
#ifndef ORKA_BOARD_DSP_PICTURE_CONTROLS_H
#define ORKA_BOARD_DSP_PICTURE_CONTROLS_H

#include <array>
#include <atomic>
#include <memory>
#include <span>

#include "dsp/camera.h"

namespace orka::board {

class PictureControls {
  public:
    /* brightness: added to luma. contrast, saturation: 128ths that luma and chroma are multiplied by.
       hue: a turn of the colours, in 256ths. 128 leaves each as it is. */
    enum Control : uint32_t { brightness, contrast, saturation, hue, count };
    using Settings = std::array<uint8_t, count>;
    static constexpr uint8_t neutral = 128;

    Settings settings() const { return settings_.load(); }
    void set(Control control, uint8_t value);

  private:
    std::atomic<Settings> settings_{Settings{neutral, neutral, neutral, neutral}};
};

void adjust(std::span<uint8_t> uyvy, const PictureControls::Settings &settings);

/* The camera behind the controls, which outlive it. */
std::unique_ptr<Camera> with_controls(std::unique_ptr<Camera> camera, const PictureControls &controls);

} // namespace orka::board

#endif
