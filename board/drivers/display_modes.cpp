#include "drivers/display_modes.h"

#include <algorithm>
#include <cstring>

#include "server/log.h"

namespace orka::board {

namespace {

struct Mode {
    const char *device;
    const char *mode;
    uint16_t width;
    uint16_t height;
    bool interlaced;
};

constexpr Mode modes[] = {
    {"INTERNAL", "480i", 720, 480, true},
    {"INTERNAL", "576i", 720, 576, true},
    {"LCD", "VGA", 640, 480, false},
    {"LCD", "QVGA", 320, 240, false},
};
static_assert(std::ranges::all_of(modes, [](const Mode &mode) {
    return mode.width * mode.height <= int{largest_mode};
}));

constexpr int32_t unresolved = -1;
constexpr int32_t scaled = 1;

template <size_t Size>
std::string text_in(const char (&field)[Size])
{
    return {field, strnlen(field, Size)};
}

std::string size_text(uint32_t width, uint32_t height)
{
    return std::to_string(width) + "x" + std::to_string(height);
}

const Mode *find_mode(const std::string &device, const std::string &name)
{
    const auto *const found = std::ranges::find_if(
        modes, [&](const Mode &mode) { return device == mode.device && name == mode.mode; });
    return found == std::end(modes) ? nullptr : found;
}

} // namespace

orka_display_params_t default_output()
{
    return {.device = "INTERNAL",
            .mode = "480i",
            .width = 720,
            .height = 480,
            .interlaced = 1,
            .words = {0, 1, 1, 8, 8},
            .resize = unresolved,
            .pe_width = 640,
            .pe_height = 480};
}

std::string refuse_output(const orka_display_params_t &output)
{
    const std::string device = text_in(output.device);
    const std::string name = text_in(output.mode);
    const Mode *const mode = find_mode(device, name);
    if (output.output != 0)
        return "there is no output " + std::to_string(output.output) + ", only 0";
    if (!mode)
        return "there is no mode '" + printable(device) + "' '" + printable(name) + "'";
    if (output.width != mode->width || output.height != mode->height ||
        (output.interlaced == 1) != mode->interlaced)
        return device + " " + name + " is " + size_text(mode->width, mode->height) +
               (mode->interlaced ? " interlaced" : " progressive") + ", not " +
               size_text(output.width, output.height) +
               (output.interlaced == 1 ? " interlaced" : " progressive");
    if (output.pe_width == 0 || output.pe_width > mode->width || output.pe_height == 0 ||
        output.pe_height > mode->height)
        return "a picture area of " + size_text(output.pe_width, output.pe_height) + " does not fit into " +
               device + " " + name;
    if (output.resize < unresolved || output.resize > scaled)
        return "resize is " + std::to_string(output.resize) + ", not -1, 0 or 1";
    return "";
}

} // namespace orka::board
