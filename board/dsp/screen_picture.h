/* From UYVY pictures to the RGB of a screen, scaled. */
#ifndef ORKA_BOARD_DSP_SCREEN_PICTURE_H
#define ORKA_BOARD_DSP_SCREEN_PICTURE_H

#include <cstdint>
#include <span>
#include <vector>

namespace orka::board {

/* UYVY 4:2:2; the pixels are somebody else's. */
struct UyvyPicture {
    std::span<const uint8_t> pixels; /* stride x height bytes */
    uint32_t width = 0;
    uint32_t height = 0;
    uint32_t stride = 0;
    uint32_t tsms = 0;
};

/* Three bytes a pixel, red first, without gaps between the lines. */
struct RgbPicture {
    uint32_t width = 0;
    uint32_t height = 0;
    std::vector<uint8_t> pixels;

    RgbPicture() = default;
    RgbPicture(uint32_t columns, uint32_t lines) /* black */
        : width(columns), height(lines), pixels(size_t{3} * columns * lines)
    {
    }
    uint8_t *at(uint32_t x, uint32_t y) { return pixels.data() + (size_t{y} * width + x) * 3; }
};

struct Rectangle {
    uint32_t x = 0;
    uint32_t y = 0;
    uint32_t width = 0;
    uint32_t height = 0;

    bool empty() const { return width == 0 || height == 0; }
    bool operator==(const Rectangle &) const = default;
};

/*
 * Draws the part `from` of the picture over the part `to` of the target; both lie inside and are not empty.
 * A part that begins at an odd pixel is moved to the one before: two pixels share their colour. BT.601,
 * bilinear; areas of one colour come out as one colour. Throws std::bad_alloc.
 */
void draw_scaled(const UyvyPicture &picture, Rectangle from, RgbPicture &target, const Rectangle &to);

} // namespace orka::board

#endif
