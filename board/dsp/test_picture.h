/*
 * The camera's test picture: colour bars, a dial that turns once a second, the second mark, a box that moves
 * to and fro, time and number for people, and the counter for programs. Every picture depends on its number
 * alone.
 */
#ifndef ORKA_BOARD_DSP_TEST_PICTURE_H
#define ORKA_BOARD_DSP_TEST_PICTURE_H

#include <vector>

#include "dsp/camera.h"
#include "dsp/canvas.h"

namespace orka::board {

class TestPicture {
  public:
    /* Draws what never changes. */
    explicit TestPicture(const Standard &standard);

    const Standard &standard() const { return standard_; }
    void draw(uint64_t number, std::span<uint8_t> uyvy) const;

  private:
    /* Two pixels of the dial, and where on its turn they lie. */
    struct DialPlace {
        uint16_t x;
        uint16_t y;
        float turn; /* 0 to 1, clockwise from the top */
    };

    uint32_t line(double fraction) const;
    void draw_bars(Canvas &canvas) const;
    void draw_ramp(Canvas &canvas) const;
    void draw_labels(Canvas &canvas) const;
    void lay_out_dial(Canvas &canvas);
    void draw_dial(Canvas &canvas, uint64_t number) const;
    void draw_box(Canvas &canvas, uint64_t number) const;
    void draw_time(Canvas &canvas, uint64_t number) const;
    void draw_second(Canvas &canvas, uint64_t number) const;
    static void draw_counter(Canvas &canvas, uint64_t number);

    Standard standard_;
    std::vector<DialPlace> dial_;
    std::vector<uint8_t> background_;
};

} // namespace orka::board

#endif
