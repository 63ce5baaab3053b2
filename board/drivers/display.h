/*
 * The display: its output, the OSD's frame buffers, and the picture that both make with the video plane.
 *
 *     black < video plane, placed in the picture area < subtitles < OSD channel 0 < OSD channel 1
 *
 * The OSD's pixels are 16 bits: bit 15 opaque, then 5 bits each of red, green and blue. What is not opaque
 * shows what lies behind.
 */
#ifndef ORKA_BOARD_DISPLAY_H
#define ORKA_BOARD_DISPLAY_H

#include <optional>

#include "drivers/driver.h"
#include "orka_idisplay.h"

namespace orka::board {

class Display final : public Screen {
  public:
    static constexpr uint32_t osd_channels = 2;

    explicit Display(Machine &machine) : machine_(machine) { reset(); }
    ~Display() override { reset(); }
    Display(const Display &) = delete;
    Display &operator=(const Display &) = delete;

    RgbPicture compose(Plane plane) override;
    uint64_t changes() override;
    void report(nlohmann::json &display) const;

    void reset(); /* as after power-on */
    const orka_display_params_t &output() const { return output_; }
    void set_output(const orka_display_params_t &output);
    void enable(bool enabled);
    void mask(bool masked);
    /* Parts of the source picture and of the screen; the first may be empty for the whole picture, the second
       for the output's own placement. */
    void place(const Rectangle &from, const Rectangle &to);

    /* The OSD. Its memory is there from open to reset. */
    bool open_osd(); /* false where there is no memory */
    std::optional<uint32_t> osd_base() const { return osd_base_; }
    static uint32_t osd_size();
    void zoom_osd(uint32_t horizontally, uint32_t vertically); /* 1 or 2 times */
    uint32_t use_osd(uint32_t channel);                        /* its buffer's address */
    bool release_osd(uint32_t channel);                        /* false where nobody uses it */

  private:
    /* Its buffer is shown from the first use on. */
    struct Osd {
        bool shown = false;
        bool used = false;
    };

    uint32_t osd_address(uint32_t channel) const;
    std::span<const uint8_t> osd_pixels(uint32_t channel) const;
    void clear_osd();
    void draw_video(RgbPicture &screen) const;
    void draw_osd(RgbPicture &screen, uint32_t channel) const;

    Machine &machine_;
    orka_display_params_t output_{};
    bool enabled_ = true;
    bool masked_ = false;
    Rectangle from_;
    Rectangle to_;

    std::optional<uint32_t> osd_base_;
    Osd osd_[osd_channels];
    uint32_t zoom_x_ = 1;
    uint32_t zoom_y_ = 1;

    uint64_t changes_ = 0;
    size_t osd_fingerprint_ = 0;
};

} // namespace orka::board

#endif
