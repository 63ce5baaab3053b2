/*
 * What programs read in the test picture: the frame counter, two rows of black and white cells at the foot,
 * and the second mark, a lamp in the upper right corner.
 *
 * The outer cells of the counter are always white, black (upper row) and black, white (lower row): they say
 * what is black and white in this picture, and that there is a counter at all. Between them lie 24 bits of
 * the counter and 8 of its checksum, the highest first.
 */
#ifndef ORKA_BOARD_DSP_PICTURE_MARKS_H
#define ORKA_BOARD_DSP_PICTURE_MARKS_H

#include <cstdint>

namespace orka::board::marks {

/* A part of the picture, in fractions of its sides. */
struct Area {
    double left = 0;
    double top = 0;
    double width = 0;
    double height = 0;
};

constexpr uint32_t columns = 18;
constexpr uint32_t rows = 2;
constexpr uint32_t counter_bits = 24;

constexpr Area counter{0.0, 0.8, 1.0, 0.2};
constexpr Area second{0.86, 0.05, 0.11, 0.18};
constexpr uint32_t second_ms = 50; /* how long the mark is lit and the click sounds */

constexpr Area cell(uint32_t column, uint32_t row)
{
    return {counter.left + counter.width * column / columns, counter.top + counter.height * row / rows,
            counter.width / columns, counter.height / rows};
}

/* What the cells between the guards show of a counter. */
uint32_t code_of(uint32_t number);
/* Whether a cell is white. */
bool is_white(uint32_t code, uint32_t column, uint32_t row);

} // namespace orka::board::marks

#endif
