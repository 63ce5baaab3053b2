#include "display.h"

#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "common/display_mode.h"
#include "common/failure.h"
#include "common/process.h"
#include "common/size.h"
#include "orka_idevice.h"

namespace orka::ctl {

namespace {

constexpr size_t most_outputs = 8; /* that the library steps through */

constexpr char notes[] =
    "On a virtual board, what is set here lasts for as long as some program has /dev/idecode open, a player "
    "say. Where none has, all is as at power-on again when orka-ctl ends: set, toggle and lcd then say so.\n"
    "\n"
    "No driver can be asked whether the display is masked or off; `orka-board status` tells it of a virtual "
    "board.";

void check(orka_status_t status, const char *what)
{
    if (status != ORKA_STATUS_SUCCESS)
        throw Failure(std::string("the display refused ") + what + ": " + orka_status_string(status));
}

orka_display_params_t output()
{
    orka_display_params_t params;
    check(orka_idisplay_get_output(&params), "to tell its output");
    return params;
}

void show(const orka_display_params_t &params)
{
    printf("%s/%s: %ux%u %s\n", params.device, params.mode, params.width, params.height,
           params.interlaced == 1 ? "interlaced" : "progressive");
    printf("picture area %" PRIu32 "x%" PRIu32 ", %s\n", params.pe_width, params.pe_height,
           params.resize == 1 ? "scaled" : "not scaled");
    if (params.src_width != 0)
        printf("source %" PRIu32 "x%" PRIu32 "\n", params.src_width, params.src_height);
}

/* Of the same picture on the same output; the source's size alone shows nowhere. */
bool are_alike(const orka_display_params_t &one, const orka_display_params_t &other)
{
    return strcmp(one.device, other.device) == 0 && strcmp(one.mode, other.mode) == 0 &&
           one.pe_width == other.pe_width && one.pe_height == other.pe_height &&
           (one.resize == 1) == (other.resize == 1);
}

/* Whether anybody else keeps the output is seen by closing the display and asking anew. */
void tell_whether_kept(const orka_display_params_t &chosen)
{
    orka_idevice_close_atexit();
    const orka_display_params_t kept = output();
    if (!are_alike(chosen, kept))
        fprintf(stderr,
                "orka-ctl: notice: the output is %s/%s again: no other program has the display open to keep "
                "what was set\n",
                kept.device, kept.mode);
}

void show_new()
{
    const orka_display_params_t chosen = output();
    show(chosen);
    tell_whether_kept(chosen);
}

void set(const std::string &mode, const Size &source)
{
    const orka_display_params_t params = find_display_mode(mode, source);
    check(orka_idisplay_set_output(&params), "the output");
    show_new();
}

void toggle(const std::vector<std::string> &modes)
{
    std::vector<ModeName> names(modes.begin(), modes.end());
    std::vector<orka_display_request_t> requests;
    requests.reserve(names.size());
    for (const ModeName &name : names)
        requests.push_back(name.request({}));
    check(orka_idisplay_toggle_init(requests.data(), static_cast<int>(requests.size())), "the outputs");
    check(orka_idisplay_toggle_output(), "the next output");
    show_new();
}

void add_action(CLI::App &display, const char *name, const char *about, orka_status_t (*action)())
{
    display.add_subcommand(name, about)->callback([=] {
        check_board("/dev/idecode");
        check(action(), name);
    });
}

void add_set(CLI::App &display)
{
    struct Choice {
        std::string mode;
        Size source;
        std::string size;
    };
    const auto choice = std::make_shared<Choice>();
    CLI::App &command = *display.add_subcommand("set", "Choose the output");
    command
        .add_option("DEVICE/MODE", choice->mode, "As `orka-ctl list display` names them, or one of the two")
        ->required();
    command.add_option("--source", choice->size, "Fit pictures of this size into the picture area")
        ->option_text("WxH");
    command.callback([choice] {
        if (!choice->size.empty())
            choice->source = read_size(choice->size);
        check_board("/dev/idecode");
        set(choice->mode, choice->source);
    });
}

void add_toggle(CLI::App &display)
{
    const auto modes = std::make_shared<std::vector<std::string>>();
    CLI::App &command = *display.add_subcommand("toggle", "Step to the output after the present one");
    command.add_option("DEVICE/MODE", *modes, "The outputs to step through, at most 8")
        ->required()
        ->option_text("...");
    command.callback([modes] {
        if (modes->size() > most_outputs)
            throw Failure("toggle steps through at most " + std::to_string(most_outputs) + " outputs",
                          status_usage);
        check_board("/dev/idecode");
        toggle(*modes);
    });
}

void add_lcd(CLI::App &display)
{
    const auto on = std::make_shared<std::string>();
    CLI::App &command = *display.add_subcommand("lcd", "The LCD panel as output, or the TV encoder again");
    command.add_option("on|off", *on)->required()->check(CLI::IsMember({"on", "off"}));
    command.callback([on] {
        check_board("/dev/idecode");
        check(orka_idisplay_lcd_set_enable(*on == "on"), "the LCD panel");
        tell_whether_kept(output());
    });
}

} // namespace

void add_display(CLI::App &app)
{
    CLI::App &display = *app.add_subcommand(
        "display", "Show or change the display's output, as long as a program has it open");
    display.footer(notes);
    display.require_subcommand(1);
    display.add_subcommand("show", "Show the present output; not whether it is masked or off")->callback([] {
        check_board("/dev/idecode");
        show(output());
    });
    add_set(display);
    add_toggle(display);
    add_lcd(display);
    add_action(display, "enable", "Switch the display on", orka_idisplay_enable);
    add_action(display, "disable", "Switch it off", orka_idisplay_disable);
    add_action(display, "mask", "Hide the picture", orka_idisplay_mask);
    add_action(display, "unmask", "Show it again", orka_idisplay_unmask);
    add_action(display, "resync", "Synchronise the display with the picture again", orka_idisplay_resync);
}

} // namespace orka::ctl
