/* Drawing into UYVY 4:2:2: areas, and letters of 5x7 dots. */
#ifndef ORKA_BOARD_DSP_CANVAS_H
#define ORKA_BOARD_DSP_CANVAS_H

#include <cstdint>
#include <span>
#include <string_view>

namespace orka::board {

struct Colour {
    uint8_t y = 16;
    uint8_t u = 128;
    uint8_t v = 128;
};

/* Two pixels share their colour: places and widths are rounded down to even ones. What lies outside is cut.
 */
class Canvas {
  public:
    static constexpr uint32_t glyph_width = 6; /* dots from letter to letter */
    static constexpr uint32_t glyph_height = 7;

    Canvas(std::span<uint8_t> uyvy, uint32_t width, uint32_t height)
        : uyvy_(uyvy), width_(width), height_(height)
    {
    }

    uint32_t width() const { return width_; }
    uint32_t height() const { return height_; }
    void pair(uint32_t x, uint32_t y, Colour colour); /* two pixels, inside */
    void fill(uint32_t x, uint32_t y, uint32_t width, uint32_t height, Colour colour);
    /* dot: pixels of a dot's side, even. Digits, the colon, and capital letters; others are blank. */
    void text(uint32_t x, uint32_t y, uint32_t dot, std::string_view text, Colour colour);

  private:
    void glyph(uint32_t x, uint32_t y, uint32_t dot, char letter, Colour colour);

    std::span<uint8_t> uyvy_;
    uint32_t width_;
    uint32_t height_;
};

} // namespace orka::board

#endif
