#include "dsp/test_picture.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <numbers>

#include "dsp/picture_marks.h"

namespace orka::board {

namespace {

constexpr Colour black{16};
constexpr Colour white{235};
constexpr Colour ground{28};
constexpr Colour pale{150};
constexpr Colour dial_light{196};
constexpr Colour dial_dark{88};

/* Bars of 75 %. */
constexpr Colour bars[] = {{180},          {162, 44, 142}, {131, 156, 44}, {112, 72, 58},
                           {84, 184, 198}, {65, 100, 212}, {35, 212, 114}, {16}};

/* Where the parts lie, from the top; the marks follow below. */
constexpr double ramp_top = 0.50;
constexpr double text_top = 0.62;
constexpr double dial_middle = 0.25;
constexpr double dial_radius = 0.21;
constexpr double dial_rim = 0.97; /* of the radius */

constexpr uint32_t time_dot = 6;
constexpr uint32_t number_dot = 4;
constexpr uint32_t label_dot = 4;
constexpr uint32_t margin = 24;
constexpr uint32_t right_column = 444;

constexpr uint32_t box_width = 64;
constexpr uint32_t box_step = 4; /* pixels from picture to picture */

void fill(Canvas &canvas, const marks::Area &area, Colour colour)
{
    const auto place = [](double fraction, uint32_t side) {
        return static_cast<uint32_t>(std::lround(fraction * side));
    };
    const uint32_t left = place(area.left, canvas.width());
    const uint32_t top = place(area.top, canvas.height());
    canvas.fill(left, top, place(area.left + area.width, canvas.width()) - left,
                place(area.top + area.height, canvas.height()) - top, colour);
}

} // namespace

TestPicture::TestPicture(const Standard &standard) : standard_(standard), background_(standard.picture_size())
{
    Canvas canvas(background_, standard.width, standard.height);
    draw_bars(canvas);
    draw_ramp(canvas);
    draw_labels(canvas);
    lay_out_dial(canvas);
    constexpr double frame = 0.012;
    fill(canvas,
         {marks::second.left - frame, marks::second.top - frame, marks::second.width + 2 * frame,
          marks::second.height + 2 * frame},
         pale);
}

uint32_t TestPicture::line(double fraction) const
{
    return static_cast<uint32_t>(std::lround(fraction * standard_.height));
}

void TestPicture::draw_bars(Canvas &canvas) const
{
    const auto count = static_cast<uint32_t>(std::size(bars));
    for (uint32_t bar = 0; bar < count; bar++) {
        const uint32_t left = standard_.width * bar / count;
        canvas.fill(left, 0, standard_.width * (bar + 1) / count - left, line(ramp_top), bars[bar]);
    }
}

void TestPicture::draw_ramp(Canvas &canvas) const
{
    for (uint32_t x = 0; x < standard_.width; x += 2) {
        const Colour grey{static_cast<uint8_t>(black.y + (white.y - black.y) * x / standard_.width)};
        canvas.fill(x, line(ramp_top), 2, line(text_top) - line(ramp_top), grey);
    }
}

void TestPicture::draw_labels(Canvas &canvas) const
{
    const uint32_t top = line(text_top);
    canvas.fill(0, top, standard_.width, line(marks::counter.top) - top, ground);
    const uint32_t middle = (top + line(marks::counter.top)) / 2;
    canvas.text(right_column, middle - (Canvas::glyph_height + 1) * label_dot, label_dot,
                standard_.rate == pal.rate ? "ORKA PAL" : "ORKA NTSC", pale);
}

/* Round on a screen of 4:3. */
void TestPicture::lay_out_dial(Canvas &canvas)
{
    const double radius_y = dial_radius * standard_.height;
    const double radius_x = dial_radius * standard_.width * 3 / 4;
    for (uint32_t y = 0; y < line(ramp_top); y++) {
        for (uint32_t x = 0; x < standard_.width; x += 2) {
            const double right = (x + 1 - standard_.width / 2.0) / radius_x;
            const double up = (dial_middle * standard_.height - y - 0.5) / radius_y;
            const double distance = std::hypot(right, up);
            const double turn = std::atan2(right, up) / (2 * std::numbers::pi);
            if (distance <= 1)
                canvas.pair(x, y, white);
            if (distance <= dial_rim)
                dial_.push_back({static_cast<uint16_t>(x), static_cast<uint16_t>(y),
                                 static_cast<float>(turn < 0 ? turn + 1 : turn)});
        }
    }
}

void TestPicture::draw(uint64_t number, std::span<uint8_t> uyvy) const
{
    std::ranges::copy(background_, uyvy.begin());
    Canvas canvas(uyvy, standard_.width, standard_.height);
    draw_dial(canvas, number);
    draw_box(canvas, number);
    draw_time(canvas, number);
    draw_second(canvas, number);
    draw_counter(canvas, number);
}

void TestPicture::draw_dial(Canvas &canvas, uint64_t number) const
{
    const float hand = static_cast<float>(number % standard_.rate + 1) / static_cast<float>(standard_.rate);
    for (const DialPlace &place : dial_)
        canvas.pair(place.x, place.y, place.turn < hand ? dial_light : dial_dark);

    const uint32_t dot = line(dial_radius) / 8 & ~1U;
    const char digit = static_cast<char>('0' + number / standard_.rate % 10);
    canvas.text((standard_.width - (Canvas::glyph_width - 1) * dot) / 2,
                line(dial_middle) - Canvas::glyph_height * dot / 2, dot, {&digit, 1}, black);
}

void TestPicture::draw_box(Canvas &canvas, uint64_t number) const
{
    const uint32_t way = (standard_.width - box_width) / box_step;
    const auto phase = static_cast<uint32_t>(number % (uint64_t{2} * way));
    const uint32_t x = (phase < way ? phase : 2 * way - phase) * box_step;
    const uint32_t top = line(ramp_top) + 8;
    const uint32_t height = line(text_top) - line(ramp_top) - 16;
    constexpr Colour orange{150, 54, 190};
    constexpr Colour blue{70, 190, 100};
    canvas.fill(x, top, box_width, height, orange);
    canvas.fill(x + 8, top + 8, box_width / 2 - 8, height / 2 - 8, blue);
    canvas.fill(x + box_width / 2, top + height / 2, box_width / 2 - 8, height / 2 - 8, blue);
}

void TestPicture::draw_time(Canvas &canvas, uint64_t number) const
{
    const uint64_t seconds = number / standard_.rate;
    char text[64];
    const uint32_t middle = (line(text_top) + line(marks::counter.top)) / 2;
    snprintf(text, sizeof text, "%02u:%02u:%02u:%02u", static_cast<unsigned>(seconds / 3600 % 100),
             static_cast<unsigned>(seconds / 60 % 60), static_cast<unsigned>(seconds % 60),
             static_cast<unsigned>(number % standard_.rate));
    canvas.text(margin, middle - Canvas::glyph_height * time_dot / 2, time_dot, text, white);
    snprintf(text, sizeof text, "%08llu", static_cast<unsigned long long>(number % 100'000'000));
    canvas.text(right_column, middle + number_dot, number_dot, text, white);
}

void TestPicture::draw_second(Canvas &canvas, uint64_t number) const
{
    const uint64_t ms = number % standard_.rate * 1000 / standard_.rate;
    fill(canvas, marks::second, ms < marks::second_ms ? white : black);
}

void TestPicture::draw_counter(Canvas &canvas, uint64_t number)
{
    const uint32_t code = marks::code_of(static_cast<uint32_t>(number));
    for (uint32_t row = 0; row < marks::rows; row++)
        for (uint32_t column = 0; column < marks::columns; column++)
            fill(canvas, marks::cell(column, row), marks::is_white(code, column, row) ? white : black);
}

} // namespace orka::board
