#include "capture.h"

#include <cstdio>

#include "common/failure.h"
#include "orka_icapture.h"

namespace orka::record {

namespace {

enum passthru : uint32_t { passthru_none = 0, passthru_encoded = 1, passthru_captured = 2 };

void check(orka_status_t status, const char *what)
{
    if (status != ORKA_STATUS_SUCCESS)
        throw Failure(std::string("capture refused ") + what + ": " + orka_status_string(status));
}

} // namespace

/*
 * The first mode is NTSC's; only another one has to be asked for. Capture belongs to one program at a time,
 * while four can record: the others have the standard that it has chosen.
 */
void set_up_capture(const Options &options)
{
    const orka_display_request_t request = {.device = nullptr,
                                            .mode = options.pal ? "576i" : nullptr,
                                            .width = options.size.width,
                                            .height = options.size.height};
    orka_capture_params_t params;
    check(orka_icapture_get_capture_params(&params, &request), "the mode");
    const orka_status_t status = orka_icapture_setup(&params);
    if (status == ORKA_STATUS_ERROR && !options.view) {
        fprintf(stderr, "orka-record: capture is another program's, and stays as it has set it up\n");
        return;
    }
    check(status, "its setup");
}

void show_picture(const Options &options)
{
    if (!options.view)
        return;
    const bool encoded = options.video != ORKA_VIDEO_TYPE_NONE;
    check(orka_icapture_set_start_channel(static_cast<uint32_t>(options.channel)), "the channel");
    check(orka_icapture_set_passthru(encoded ? passthru_encoded : passthru_captured), "pass-through");
    check(orka_icapture_set_enable(1), "to run");
}

void release_capture(const Options &options)
{
    if (!options.view)
        return;
    orka_icapture_set_passthru(passthru_none);
    orka_icapture_set_enable(0);
}

} // namespace orka::record
