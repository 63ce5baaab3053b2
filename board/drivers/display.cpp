#include "drivers/display.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include <nlohmann/json.hpp>

#include "drivers/display_modes.h"
#include "drivers/display_placement.h"

namespace orka::board {

namespace {

constexpr uint32_t osd_pixel_bytes = 2;
constexpr uint32_t osd_channel_bytes =
    (largest_mode * osd_pixel_bytes + page_size - 1) / page_size * page_size;

constexpr uint16_t opaque = 0x8000;

/* From 5 bits to 8, so that none is none and all is all. */
constexpr uint8_t widened(unsigned five)
{
    return static_cast<uint8_t>(five << 3 | five >> 2);
}

void put_pixel(uint8_t *rgb, unsigned pixel)
{
    rgb[0] = widened(pixel >> 10 & 31);
    rgb[1] = widened(pixel >> 5 & 31);
    rgb[2] = widened(pixel & 31);
}

nlohmann::json report_of(const orka_display_params_t &output)
{
    return {{"device", output.device},
            {"mode", output.mode},
            {"width", output.width},
            {"height", output.height},
            {"interlaced", output.interlaced == 1},
            {"resize", output.resize},
            {"pe_width", output.pe_width},
            {"pe_height", output.pe_height},
            {"src_width", output.src_width},
            {"src_height", output.src_height}};
}

nlohmann::json report_of(const Rectangle &rectangle)
{
    return {{"x", rectangle.x}, {"y", rectangle.y}, {"width", rectangle.width}, {"height", rectangle.height}};
}

nlohmann::json report_of(const VideoPlane &plane)
{
    const UyvyPicture picture = plane.picture();
    if (picture.pixels.empty())
        return nullptr;
    return {{"source", plane.source()},
            {"width", picture.width},
            {"height", picture.height},
            {"tsms", picture.tsms}};
}

} // namespace

/* What the output is set to. */

void Display::reset()
{
    output_ = default_output();
    enabled_ = true;
    masked_ = false;
    from_ = {};
    to_ = {};
    if (osd_base_)
        machine_.memory.queues().free(*std::exchange(osd_base_, std::nullopt));
    std::ranges::fill(osd_, Osd{});
    zoom_x_ = 1;
    zoom_y_ = 1;
    changes_++;
}

/* In a mode of another size, what was drawn makes no sense. */
void Display::set_output(const orka_display_params_t &output)
{
    const bool same_size = output.width == output_.width && output.height == output_.height;
    output_ = output;
    from_ = {};
    to_ = {};
    if (!same_size)
        clear_osd();
    changes_++;
}

void Display::enable(bool enabled)
{
    enabled_ = enabled;
    changes_++;
}

void Display::mask(bool masked)
{
    masked_ = masked;
    changes_++;
}

void Display::place(const Rectangle &from, const Rectangle &to)
{
    from_ = from;
    to_ = to;
    changes_++;
}

/* The OSD. */

bool Display::open_osd()
{
    osd_base_ = machine_.memory.queues().allocate(osd_size());
    clear_osd();
    return osd_base_.has_value();
}

uint32_t Display::osd_size()
{
    return osd_channels * osd_channel_bytes;
}

uint32_t Display::osd_address(uint32_t channel) const
{
    return *osd_base_ + channel * osd_channel_bytes;
}

std::span<const uint8_t> Display::osd_pixels(uint32_t channel) const
{
    return machine_.memory.shared(osd_address(channel),
                                  uint32_t{output_.width} * output_.height * osd_pixel_bytes);
}

void Display::clear_osd()
{
    if (osd_base_)
        std::ranges::fill(machine_.memory.shared(*osd_base_, osd_size()), uint8_t{0});
}

void Display::zoom_osd(uint32_t horizontally, uint32_t vertically)
{
    zoom_x_ = horizontally;
    zoom_y_ = vertically;
    changes_++;
}

uint32_t Display::use_osd(uint32_t channel)
{
    osd_[channel] = {.shown = true, .used = true};
    changes_++;
    return osd_address(channel);
}

bool Display::release_osd(uint32_t channel)
{
    return std::exchange(osd_[channel].used, false);
}

/* The picture. */

RgbPicture Display::compose(Plane plane)
{
    RgbPicture screen(output_.width, output_.height);
    if (plane == Plane::composed && (masked_ || !enabled_))
        return screen;
    if (plane != Plane::osd)
        draw_video(screen);
    if (plane != Plane::video)
        machine_.subtitles.draw(screen, place_picture(output_, output_.pe_width, output_.pe_height).to);
    for (uint32_t channel = 0; plane != Plane::video && channel < osd_channels; channel++)
        draw_osd(screen, channel);
    return screen;
}

void Display::draw_video(RgbPicture &screen) const
{
    const UyvyPicture picture = machine_.video.picture();
    const Rectangle part = part_of_picture(from_, picture.width, picture.height);
    if (picture.pixels.empty() || part.empty())
        return;
    Placement placement = place_picture(output_, part.width, part.height);
    if (!to_.empty())
        placement = {.from = {0, 0, part.width, part.height}, .to = to_};
    placement.from.x += part.x;
    placement.from.y += part.y;
    draw_scaled(picture, placement.from, screen, placement.to);
}

void Display::draw_osd(RgbPicture &screen, uint32_t channel) const
{
    if (!osd_[channel].shown)
        return;
    const auto *const pixels = reinterpret_cast<const uint16_t *>(osd_pixels(channel).data());
    for (uint32_t y = 0; y < screen.height; y++) {
        const uint16_t *const line = pixels + size_t{y / zoom_y_} * screen.width;
        for (uint32_t x = 0; x < screen.width; x++) {
            if (const unsigned pixel = line[x / zoom_x_]; pixel & opaque)
                put_pixel(screen.at(x, y), pixel);
        }
    }
}

uint64_t Display::changes()
{
    size_t fingerprint = 0;
    for (uint32_t channel = 0; channel < osd_channels; channel++) {
        if (!osd_[channel].shown)
            continue;
        const std::span<const uint8_t> pixels = osd_pixels(channel);
        const std::string_view text(reinterpret_cast<const char *>(pixels.data()), pixels.size());
        fingerprint = fingerprint * 31 + std::hash<std::string_view>{}(text);
    }
    if (fingerprint != std::exchange(osd_fingerprint_, fingerprint))
        changes_++;
    return changes_ + machine_.video.changes() + machine_.subtitles.changes();
}

void Display::report(nlohmann::json &display) const
{
    display["output"] = report_of(output_);
    display["enabled"] = enabled_;
    display["masked"] = masked_;
    display["source_part"] = from_.empty() ? nlohmann::json() : report_of(from_);
    display["screen_part"] = to_.empty() ? nlohmann::json() : report_of(to_);
    display["video"] = report_of(machine_.video);
    display["osd"] = nullptr;
    if (!osd_base_)
        return;
    display["osd"] = {{"base", *osd_base_}, {"bytes", osd_size()}, {"zoom_a", zoom_x_}, {"zoom_b", zoom_y_}};
    for (uint32_t channel = 0; channel < osd_channels; channel++)
        display["osd"]["channels"].push_back({{"channel", channel},
                                              {"address", osd_address(channel)},
                                              {"shown", osd_[channel].shown},
                                              {"used", osd_[channel].used}});
}

} // namespace orka::board
