#include "drivers/display_placement.h"

#include <algorithm>

namespace orka::board {

namespace {

Rectangle centred(uint32_t width, uint32_t height, uint32_t whole_width, uint32_t whole_height)
{
    return {(whole_width - width) / 2, (whole_height - height) / 2, width, height};
}

/* As large as it can be within the limits; at least one pixel each way. */
Rectangle fitted(uint32_t width, uint32_t height, uint32_t most_width, uint32_t most_height)
{
    const uint64_t width_limited = uint64_t{most_width} * height;
    const uint64_t height_limited = uint64_t{most_height} * width;
    if (width_limited <= height_limited)
        return {0, 0, most_width, std::max(1U, static_cast<uint32_t>(width_limited / width))};
    return {0, 0, std::max(1U, static_cast<uint32_t>(height_limited / height)), most_height};
}

} // namespace

Placement place_picture(const orka_display_params_t &output, uint32_t width, uint32_t height)
{
    Placement placement{.from = {0, 0, width, height}, .to = {0, 0, output.pe_width, output.pe_height}};
    if (output.resize == 0) {
        placement.to.width = std::min(width, output.pe_width);
        placement.to.height = std::min(height, output.pe_height);
        placement.from = centred(placement.to.width, placement.to.height, width, height);
    } else if (output.resize < 0) {
        placement.to = fitted(width, height, output.pe_width, output.pe_height);
    }
    placement.to = centred(placement.to.width, placement.to.height, output.width, output.height);
    return placement;
}

Rectangle part_of_picture(const Rectangle &wanted, uint32_t width, uint32_t height)
{
    if (wanted.empty())
        return {0, 0, width, height};
    const uint32_t x = std::min(wanted.x, width);
    const uint32_t y = std::min(wanted.y, height);
    return {x, y, std::min(wanted.width, width - x), std::min(wanted.height, height - y)};
}

} // namespace orka::board
