#include "capture.h"

#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <strings.h>

#include "common/checks.h"
#include "common/failure.h"
#include "common/listing.h"
#include "common/picture_file.h"
#include "common/process.h"
#include "orka_icapture.h"

namespace orka::ctl {

namespace {

void check(orka_status_t status, const char *what)
{
    if (status != ORKA_STATUS_SUCCESS)
        throw Failure(std::string("capture refused ") + what + ": " + orka_status_string(status));
}

/* In full or up to a "_", in any case, as the search compares them. */
bool is_name_of(const std::string &name, const std::string &mode)
{
    return strncasecmp(name.c_str(), mode.c_str(), name.size()) == 0 &&
           (mode[name.size()] == '\0' || mode[name.size()] == '_');
}

/* A number of a row is one digit. */
bool is_number_of_one(const std::string &text, size_t rows)
{
    return text.size() == 1 && text[0] >= '0' && text[0] <= '9' && static_cast<size_t>(text[0] - '0') < rows;
}

/* The search takes its default for what it does not know; a person wants to hear of it. */
void check_known(const std::string &wanted)
{
    const std::vector<Mode> modes = modes_of(orka_icapture_print_modes);
    std::string names;
    for (const Mode &mode : modes) {
        if (is_name_of(wanted, mode.mode))
            return;
        names.append(" ").append(mode.mode);
    }
    if (!is_number_of_one(wanted, modes.size()))
        throw Failure("there is no capture mode '" + wanted + "'; there are:" + names + ", or 0 to " +
                          std::to_string(modes.size() - 1),
                      status_usage);
}

orka_capture_params_t find_mode(const std::optional<std::string> &mode)
{
    if (mode)
        check_known(*mode);
    const orka_display_request_t request = {
        .device = nullptr, .mode = mode ? mode->c_str() : nullptr, .width = 0, .height = 0};
    orka_capture_params_t params;
    check(orka_icapture_get_capture_params(&params, &request), "the mode");
    params.req_width = params.width;
    params.req_height = params.height;
    return params;
}

void show(const std::optional<std::string> &mode)
{
    const orka_capture_params_t params = find_mode(mode);
    printf("%s %s: %ux%u %s, %u a second\n", params.device, params.mode, params.width, params.height,
           params.interlaced == 1 ? "frames" : "fields", params.frame_rate);
}

struct CloseCapture {
    void operator()(orka_capture_handle_t *handle) const
    {
        orka_icapture_set_enable(0);
        orka_icapture_close(handle);
    }
};

void snap(const std::string &file, orka_capture_params_t params)
{
    check(orka_icapture_setup(&params), "its setup");
    check(orka_icapture_set_enable(1), "to run");
    const std::unique_ptr<orka_capture_handle_t, CloseCapture> capture(orka_icapture_init());
    if (!capture)
        throw Failure("capture gave no frame buffers");
    const auto *frame = static_cast<const uint8_t *>(orka_icapture_get_frame(capture.get(), 0));
    if (!frame)
        throw Failure("capture gave no frame");
    save_picture(file, {frame, capture->framesize}, capture->width, capture->height, capture->width * 2);
    check(orka_icapture_release_frame(capture.get(), 0), "a frame back");
}

} // namespace

void add_capture(CLI::App &app)
{
    struct Choice {
        std::optional<std::string> mode;
        std::string file;
    };
    constexpr char mode_help[] = "A name or a digit of `orka-ctl list capture`; the first by default";
    const auto choice = std::make_shared<Choice>();
    CLI::App &capture = *app.add_subcommand("capture", "Show a capture mode, or what the camera sees");
    capture.require_subcommand(1);

    CLI::App &show_command = *capture.add_subcommand("show", "Show which mode a name or a digit chooses");
    show_command.add_option("MODE", choice->mode, mode_help);
    show_command.callback([choice] { show(choice->mode); });

    CLI::App &snap_command = *capture.add_subcommand("snap", "Save what the camera sees");
    snap_command.add_option("FILE.png", choice->file)->required()->check(CLI::Validator(check_png_name, ""));
    snap_command.add_option("--mode", choice->mode, mode_help)->option_text("MODE");
    snap_command.callback([choice] {
        const orka_capture_params_t params = find_mode(choice->mode);
        check_board("/dev/icapture");
        snap(choice->file, params);
    });
}

} // namespace orka::ctl
