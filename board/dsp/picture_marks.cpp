#include "dsp/picture_marks.h"

#include <algorithm>
#include <cmath>

#include "dsp/camera.h"

namespace orka::board {

namespace marks {

namespace {

constexpr uint32_t counter_mask = (1U << counter_bits) - 1;

/* CRC-8 of the counter's bytes; it is not 0 for 0. */
uint32_t checksum(uint32_t number)
{
    constexpr uint32_t polynomial = 0x107;
    uint32_t rest = 0xFF;
    for (int shift = counter_bits - 8; shift >= 0; shift -= 8) {
        rest ^= number >> shift & 0xFF;
        for (int bit = 0; bit < 8; bit++)
            rest = (rest << 1) ^ ((rest & 0x80) != 0 ? polynomial : 0);
    }
    return rest;
}

} // namespace

uint32_t code_of(uint32_t number)
{
    return (number & counter_mask) << 8 | checksum(number & counter_mask);
}

bool is_white(uint32_t code, uint32_t column, uint32_t row)
{
    if (column == 0)
        return row == 0;
    if (column == columns - 1)
        return row != 0;
    const uint32_t bit = row * (columns - 2) + column - 1;
    return (code >> (31 - bit) & 1) != 0;
}

} // namespace marks

namespace {

struct Luma {
    std::span<const uint8_t> pixels;
    uint32_t width;
    uint32_t height;
    uint32_t stride;

    bool is_whole() const
    {
        return width > 0 && height > 0 && stride >= width &&
               pixels.size() >= uint64_t{stride} * (height - 1) + width;
    }
};

/* The pixels of an area's middle, one at least: edges are smeared by scaling and coding. */
double middle_of(const Luma &luma, const marks::Area &area)
{
    constexpr double margin = 0.28;
    const auto first = [](double start, double size, uint32_t side) {
        return std::min(static_cast<uint32_t>(std::lround((start + size * margin) * side)), side - 1);
    };
    const auto end = [](double start, double size, uint32_t side, uint32_t from) {
        const auto to = static_cast<uint32_t>(std::lround((start + size * (1 - margin)) * side));
        return std::clamp(to, from + 1, side);
    };
    const uint32_t left = first(area.left, area.width, luma.width);
    const uint32_t right = end(area.left, area.width, luma.width, left);
    const uint32_t top = first(area.top, area.height, luma.height);
    const uint32_t bottom = end(area.top, area.height, luma.height, top);

    uint64_t sum = 0;
    for (uint32_t y = top; y < bottom; y++)
        for (uint32_t x = left; x < right; x++)
            sum += luma.pixels[uint64_t{y} * luma.stride + x];
    return static_cast<double>(sum) / (double{static_cast<double>(right - left)} * (bottom - top));
}

/* What is black and white in this picture. */
struct Levels {
    double black = 0;
    double white = 0;

    /* Less is no counter, but a picture. */
    bool are_apart() const { return white - black > 60; }
    bool is_white(double value) const { return value > (black + white) / 2; }
    /* Far from the middle between both. */
    bool is_clear(double value) const { return std::abs(value - (black + white) / 2) > (white - black) / 8; }
};

Levels levels_of(const Luma &luma)
{
    using marks::cell;
    constexpr uint32_t last = marks::columns - 1;
    const double blacks[] = {middle_of(luma, cell(last, 0)), middle_of(luma, cell(0, 1))};
    const double whites[] = {middle_of(luma, cell(0, 0)), middle_of(luma, cell(last, 1))};
    return {std::max(blacks[0], blacks[1]), std::min(whites[0], whites[1])};
}

} // namespace

int64_t read_counter(std::span<const uint8_t> luma, uint32_t width, uint32_t height, uint32_t stride)
{
    const Luma picture{luma, width, height, stride};
    if (!picture.is_whole())
        return -1;
    const Levels levels = levels_of(picture);
    if (!levels.are_apart())
        return -1;
    uint32_t code = 0;
    for (uint32_t row = 0; row < marks::rows; row++) {
        for (uint32_t column = 1; column < marks::columns - 1; column++) {
            const double value = middle_of(picture, marks::cell(column, row));
            if (!levels.is_clear(value))
                return -1;
            code = code << 1 | (levels.is_white(value) ? 1 : 0);
        }
    }
    const uint32_t number = code >> 8;
    return marks::code_of(number) == code ? int64_t{number} : -1;
}

bool read_second_mark(std::span<const uint8_t> luma, uint32_t width, uint32_t height, uint32_t stride)
{
    const Luma picture{luma, width, height, stride};
    return read_counter(luma, width, height, stride) >= 0 &&
           levels_of(picture).is_white(middle_of(picture, marks::second));
}

} // namespace orka::board
