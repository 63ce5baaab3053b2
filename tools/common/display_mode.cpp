#include "common/display_mode.h"

#include <strings.h>

#include "common/failure.h"
#include "common/listing.h"

namespace orka {

namespace {

bool equal(const std::string &left, const std::string &right)
{
    return strcasecmp(left.c_str(), right.c_str()) == 0;
}

} // namespace

/* The search takes its default for a name that it does not know; a person wants to hear of it. */
ModeName::ModeName(const std::string &text)
{
    std::string names;
    for (const auto &[device, mode, width, height, interlaced] : modes_of(orka_idisplay_print_modes)) {
        const std::string name = std::string(device).append("/").append(mode);
        names.append(" ").append(name);
        if (equal(text, name)) {
            device_ = device;
            mode_ = mode;
        } else if (equal(text, device)) {
            device_ = device;
        } else if (equal(text, mode)) {
            mode_ = mode;
        }
    }
    if (device_.empty() && mode_.empty())
        throw Failure("there is no display mode '" + text + "'; there are:" + names, status_usage);
}

/* Where the mode's name tells all, the device is left out: the search then says nothing. */
orka_display_request_t ModeName::request(const Size &source) const
{
    return {.device = mode_.empty() ? device_.c_str() : nullptr,
            .mode = mode_.empty() ? nullptr : mode_.c_str(),
            .width = source.width,
            .height = source.height};
}

orka_display_params_t find_display_mode(const std::string &name, const Size &source)
{
    const ModeName mode(name);
    const orka_display_request_t request = mode.request(source);
    orka_display_params_t params;
    if (orka_idisplay_get_display_params(&params, &request) != ORKA_STATUS_SUCCESS)
        throw Failure("the display mode '" + name + "' cannot be resolved");
    return params;
}

} // namespace orka
