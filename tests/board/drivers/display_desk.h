/* The display on the desk: its node, one program that has it open, and what is on the screen. */
#ifndef ORKA_TESTS_BOARD_DISPLAY_DESK_H
#define ORKA_TESTS_BOARD_DISPLAY_DESK_H

#include <array>

#include <nlohmann/json.hpp>

#include "desk.h"
#include "drivers/display.h"
#include "drivers/display_modes.h"

namespace orka::board::desk {

using Rgb = std::array<int, 3>;

constexpr Rgb black{0, 0, 0};
constexpr Rgb white{255, 255, 255};

inline orka_display_params_t mode(const char *device, const char *name, uint16_t width, uint16_t height,
                                  bool interlaced = false)
{
    orka_display_params_t params = default_output();
    std::memset(params.device, 0, sizeof params.device);
    std::memset(params.mode, 0, sizeof params.mode);
    std::strcpy(params.device, device);
    std::strcpy(params.mode, name);
    params.width = width;
    params.height = height;
    params.interlaced = interlaced;
    params.pe_width = width > 640 ? 640 : width;
    params.pe_height = height;
    return params;
}

inline orka_display_params_t ntsc_tv()
{
    return mode("INTERNAL", "480i", 720, 480, true);
}
inline orka_display_params_t pal_tv()
{
    return mode("INTERNAL", "576i", 720, 576, true);
}
inline orka_display_params_t vga()
{
    return mode("LCD", "VGA", 640, 480);
}
inline orka_display_params_t qvga()
{
    return mode("LCD", "QVGA", 320, 240);
}

/* Words of a UYVY picture: two pixels each. */
constexpr uint32_t two_white = 0xEB80EB80;
constexpr uint32_t two_black = 0x10801080;

/* A decoder's picture on the video plane. */
struct Shown {
    Shown(VideoPlane &plane, uint32_t columns, uint32_t lines, uint32_t pixels = two_white, uint32_t rank = 0)
        : source(plane, rank, "decoder " + std::to_string(rank)), width(columns), height(lines),
          words(size_t{columns} / 2 * lines, pixels)
    {
        source.start(true);
        show();
    }
    void show()
    {
        const auto *const bytes = reinterpret_cast<const uint8_t *>(words.data());
        source.show(
            {.pixels = {bytes, words.size() * 4}, .width = width, .height = height, .stride = width * 2});
    }
    uint32_t &word(uint32_t x, uint32_t y) { return words[(size_t{y} * width + x) / 2]; }

    VideoPlane::Source source;
    uint32_t width;
    uint32_t height;
    std::vector<uint32_t> words;
};

class DisplayDesk : public ::testing::Test {
  protected:
    DisplayDesk()
    {
        desk.attach([this](Machine &machine) {
            board = &machine;
            return make_display_driver(machine);
        });
        desk.open(program);
        desk.open(other);
    }

    Answer ask(TestFile &file, uint32_t number, std::vector<uint8_t> in = {})
    {
        return Player::answer_of(*desk.begin(file, number, std::move(in)));
    }
    template <typename Record>
    Answer ask(TestFile &file, uint32_t number, const Record &record)
    {
        return Player::answer_of(*desk.begin(file, number, record));
    }
    template <typename... Record>
    int error(uint32_t number, const Record &...record)
    {
        return ask(program, number, record...).error;
    }
    orka_display_params_t output()
    {
        return ask(other, wire::IDISPLAY_GET_OUTPUT).as<orka_display_params_t>();
    }
    int set_up(const orka_display_params_t &params = ntsc_tv())
    {
        return error(wire::IDISPLAY_SETUP, params);
    }
    uint32_t buffer(uint32_t channel)
    {
        return ask(program, wire::IDISPLAY_GET_FRAME_BUFFER, wire::frame_buffer_record{.channel = channel})
            .as<wire::frame_buffer_record>()
            .paddr;
    }
    /* Of the OSD of the active mode. */
    void draw(uint32_t channel, uint32_t x, uint32_t y, uint16_t pixel)
    {
        const uint32_t at = buffer(channel) + (y * output().width + x) * 2;
        std::memcpy(desk.bytes(at, 2).data(), &pixel, 2);
    }
    RgbPicture screen(Plane plane = Plane::composed)
    {
        RgbPicture picture;
        desk.on_reactor([&] { picture = board->screen->compose(plane); });
        return picture;
    }
    uint64_t changes()
    {
        uint64_t count = 0;
        desk.on_reactor([&] { count = board->screen->changes(); });
        return count;
    }

    Desk desk;
    Machine *board = nullptr;
    TestFile program{wire::node::idecode, 11};
    TestFile other{wire::node::idecode, 12};
};

inline Rgb pixel(RgbPicture &picture, uint32_t x, uint32_t y)
{
    const uint8_t *const at = picture.at(x, y);
    return {at[0], at[1], at[2]};
}

/* The rectangle is all of the first colour, and what is around it of the second. */
inline ::testing::AssertionResult is_framed(RgbPicture picture, const Rectangle &inside,
                                            const Rgb &in = white, const Rgb &around = black)
{
    for (uint32_t y = 0; y < picture.height; y++) {
        for (uint32_t x = 0; x < picture.width; x++) {
            const bool within =
                x >= inside.x && x < inside.x + inside.width && y >= inside.y && y < inside.y + inside.height;
            if (pixel(picture, x, y) != (within ? in : around))
                return ::testing::AssertionFailure()
                       << "at " << x << ", " << y << ": " << ::testing::PrintToString(pixel(picture, x, y));
        }
    }
    return ::testing::AssertionSuccess();
}

inline ::testing::AssertionResult is_all(const RgbPicture &picture, const Rgb &colour)
{
    return is_framed(picture, {0, 0, picture.width, picture.height}, colour);
}

} // namespace orka::board::desk

#endif
