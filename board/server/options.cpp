#include "server/options.h"

#include <algorithm>
#include <charconv>
#include <iostream>
#include <map>
#include <span>
#include <stdexcept>
#include <string_view>

#include <CLI/CLI.hpp>

#include "manual/manual.h"
#include "view/access.h"

namespace orka::board {

namespace {

constexpr int usage_error = 2;

constexpr char about[] =
    "A virtual DM320 board: memory, DSP, camera, microphone, screen and device drivers, for programs that "
    "use /dev/mem, /dev/imanage and the nodes of decoders, encoders, capture and display.";

constexpr char examples[] =
    "Run a program on a board of its own; with pictures shown at their time stamps; and watched in a "
    "browser:\n"
    "  orka-board run -- ./player clip.avi\n"
    "  orka-board run --clock real -- ./player clip.avi\n"
    "  orka-board run --clock real --view -- ./player clip.avi\n"
    "\n"
    "Write down every driver request; let one go wrong:\n"
    "  orka-board run --trace calls.txt -- ./player clip.avi\n"
    "  orka-board run --fault vdecode:IDECODE_NEW_FRAME:nth=3:errno=EIO -- ./player\n"
    "\n"
    "Keep a board running, which prints what to put into the environment of the programs that join it; join "
    "it; save what it shows; ask what it does:\n"
    "  orka-board serve\n"
    "  orka-board run --board SOCKET -- ./player clip.avi\n"
    "  orka-board screenshot shot.png\n"
    "  orka-board status --board SOCKET\n"
    "\n"
    "Look whether this machine has all that a board needs:\n"
    "  orka-board doctor\n"
    "\n"
    "The exit status of screenshot and status is 1 when they failed, that of doctor when something is "
    "missing. That of run is the program's own; 128 + N when signal N killed it; 127 or 126 when it was not "
    "found or cannot be executed; 125 when the board failed; 2 for a wrong command line.";

/* ADDRESS:PORT, [ADDRESS]:PORT; of nothing the default. */
ViewAddress view_address(const std::string &text)
{
    ViewAddress view;
    if (text.empty())
        return view;
    const size_t colon = text.rfind(':');
    view.host = text.substr(0, colon);
    if (view.host.starts_with('[') && view.host.ends_with(']'))
        view.host = view.host.substr(1, view.host.size() - 2);
    const std::string port = colon == std::string::npos ? "" : text.substr(colon + 1);
    const auto [end, error] = std::from_chars(port.data(), port.data() + port.size(), view.port);
    if (error != std::errc() || end != port.data() + port.size() || !is_numeric_address(view.host))
        throw CLI::ValidationError("--view",
                                   "'" + text + "' is not ADDRESS:PORT, as in 127.0.0.1:8080 or [::1]:8080");
    return view;
}

void add_view_option(CLI::App &app, Command &command)
{
    app.add_option_function<std::string>(
           "--view", [&](const std::string &address) { command.board.view = view_address(address); },
           "Serve a live view for browsers, on this machine alone at a free port unless told otherwise")
        ->expected(0, 1)
        ->type_name("[ADDRESS:PORT]");
}

void add_shims_option(CLI::App &app, Command &command)
{
    app.add_option(
           "--shims", command.shims,
           "Look for the shims in DIR, as lib/<triple>/liborka-board-shim.so, before the usual places")
        ->type_name("DIR")
        ->allow_extra_args(false);
}

void add_fault_option(CLI::App &app, Command &command)
{
    const auto take = [&](const std::vector<std::string> &specs) {
        for (const std::string &spec : specs) {
            try {
                command.board.faults.push_back(parse_fault(spec));
            } catch (const std::invalid_argument &why) {
                throw CLI::ValidationError("--fault", why.what());
            }
        }
    };
    app.add_option_function<std::vector<std::string>>(
           "--fault", take,
           "Let requests go wrong: "
           "NODE:REQUEST[:nth=N|every=N|from=N|chance=P][:seed=N][:program=NAME]:EFFECT, "
           "where EFFECT is errno=NAME, status=STATUS, delay=TIME, corrupt[=BITS], hang or no-memory; may be "
           "given more than once")
        ->type_name("SPEC")
        ->allow_extra_args(false);
}

void add_board_options(CLI::App &app, Command &command)
{
    app.add_option("--memory", command.board.memory_mib, "Physical memory in MiB")
        ->check(CLI::Range(16, 512))
        ->capture_default_str();
    app.add_option_function<std::string>(
           "--clock", [&](const std::string &clock) { command.board.drivers.real_time = clock == "real"; },
           "real: frames are due at their time stamps; fast: as soon as they are decoded")
        ->check(CLI::IsMember({"real", "fast"}))
        ->default_str("fast");
    app.add_flag(
        "--reclaim", command.board.drivers.reclaim,
        "Free the IMEM blocks of a program that closed /dev/imanage or died; they stay allocated otherwise");
    app.add_option(
           "--camera", command.board.drivers.camera,
           "What the capture input and the video encoders see, instead of the test picture: a file or "
           "device, as ffmpeg's -f FORMAT -i FILE takes it; files begin anew at their end")
        ->type_name("[FORMAT:]FILE");
    app.add_option("--microphone", command.board.drivers.microphone,
                   "What the audio encoder hears, instead of the test tone: likewise")
        ->type_name("[FORMAT:]FILE");
    app.add_option("--trace", command.board.trace, "Write one decoded line for each driver request to FILE")
        ->type_name("FILE");
    app.add_option("--log", command.board.log, "Write the board's log to FILE too")->type_name("FILE");
    app.add_flag(
        "--strict-cache", command.board.strict_cache,
        "Keep programs and the DSP apart as a cache does: what is neither synced nor in a frame that is "
        "committed or taken does not reach the other");
    add_view_option(app, command);
    add_fault_option(app, command);
    add_shims_option(app, command);
}

void define_doctor(CLI::App &app, Command &command)
{
    CLI::App &doctor = *app.add_subcommand(
        "doctor",
        "Look whether this machine has what a board and its programs need, and say what to do about what it "
        "has not: a line each, which begins with ok, warning (not every program needs it) or missing");
    add_shims_option(doctor, command);
    doctor.add_flag("--json", command.json, "As JSON, for programs");
}

void add_running_board(CLI::App &app, Command &command)
{
    app.footer(examples);
    app.add_option("--board", command.socket, "The board that serves at SOCKET, not that of $ORKA_BOARD")
        ->type_name("SOCKET");
}

void define_inspection(CLI::App &app, Command &command)
{
    using protocol::plane;
    static const std::map<std::string, plane> planes{{"video", plane::video}, {"osd", plane::osd}};

    CLI::App &screenshot =
        *app.add_subcommand("screenshot", "Save what the display of a running board shows, as a PNG file");
    add_running_board(screenshot, command);
    screenshot.add_option("FILE", command.file, "The file, or - for standard output")->required();
    screenshot
        .add_option_function<std::string>(
            "--plane", [&](const std::string &name) { command.plane = planes.at(name); },
            "One plane alone, also while it is masked or switched off")
        ->check(CLI::IsMember(&planes));

    CLI::App &status = *app.add_subcommand("status", "Tell what a running board does");
    add_running_board(status, command);
    status.add_flag("--json", command.json, "As JSON, for programs");
}

void define(CLI::App &app, Command &command)
{
    app.footer(examples);
    app.set_version_flag("--version", "orka-board " ORKA_VERSION);
    app.require_subcommand(1);

    CLI::App &run = *app.add_subcommand("run", "Run a program on a private board, or on the one at --board:\n"
                                               "orka-board run [OPTIONS] -- PROGRAM [ARGS...]");
    run.footer(examples);
    add_board_options(run, command);
    run.add_option("--board", command.socket, "Join the board that serves at SOCKET")->type_name("SOCKET");

    CLI::App &serve = *app.add_subcommand("serve", "Keep a board running until INT, TERM or HUP");
    serve.footer(examples);
    add_board_options(serve, command);
    serve.add_option("--socket", command.socket, "Listen at PATH, not in a directory of the board's own")
        ->type_name("PATH");

    define_inspection(app, command);
    define_doctor(app, command);
    manual::add_options(app, ORKA_VERSION);
}

/* The options of a board do not apply to one that already runs. */
void check_combination(const CLI::App &run, const Command &command)
{
    if (command.program.empty())
        throw CLI::RequiredError("-- PROGRAM");
    if (run.count("--board") == 0)
        return;
    for (const char *const option : {"--memory", "--clock", "--reclaim", "--camera", "--microphone",
                                     "--trace", "--log", "--view", "--fault", "--strict-cache"}) {
        if (run.count(option) != 0)
            throw CLI::ExcludesError("--board", option);
    }
}

bool is_option(const std::string &word)
{
    return word.starts_with('-');
}

/* CLI11 tells words that nothing expected in reverse, and of a command that there is none says not that. */
std::string unexpected(const CLI::App &app, const std::vector<std::string> &words, bool divided)
{
    if (app.get_subcommands().empty() && !is_option(words.front())) {
        std::string commands;
        for (const CLI::App *const command : app.get_subcommands(nullptr))
            commands += (commands.empty() ? "" : ", ") + command->get_name();
        return "There is no command '" + words.front() + "'; there are: " + commands;
    }
    const std::string all = CLI::detail::join(words, " ");
    const bool is_program = app.got_subcommand("run") && !divided && !is_option(words.front());
    return "Not expected: " + all +
           (is_program ? "; a program comes after --: orka-board run [OPTIONS] -- " + all : "");
}

std::string error_text(const CLI::App &app, const CLI::Error &error, bool divided)
{
    const std::vector<std::string> words = app.remaining(true);
    const auto code = static_cast<CLI::ExitCodes>(error.get_exit_code());
    if (words.empty() || (code != CLI::ExitCodes::ExtrasError && code != CLI::ExitCodes::RequiredError))
        return CLI::FailureMessage::simple(&app, error);
    return CLI::FailureMessage::simple(&app, CLI::ExtrasError(unexpected(app, words, divided), code));
}

Action action_of(const CLI::App &app)
{
    constexpr std::pair<const char *, Action> actions[] = {{"run", Action::run},
                                                           {"serve", Action::serve},
                                                           {"screenshot", Action::screenshot},
                                                           {"status", Action::status},
                                                           {"doctor", Action::doctor}};
    for (const auto &[name, action] : actions) {
        if (app.got_subcommand(name))
            return action;
    }
    return Action::nothing;
}

} // namespace

Command parse_command_line(int argc, char **argv)
{
    Command command;
    CLI::App app(about, "orka-board");
    const std::span<char *> words(argv, static_cast<size_t>(argc));

    /* What comes after "--" is the program's, whatever it looks like. */
    const auto end = std::ranges::find(words, std::string_view("--"));
    if (end != words.end())
        command.program.assign(end + 1, words.end());
    define(app, command);
    app.failure_message([divided = end != words.end()](const CLI::App *whole, const CLI::Error &error) {
        return error_text(*whole, error, divided);
    });
    try {
        app.parse(static_cast<int>(end - words.begin()), argv);
        const CLI::App &run = *app.get_subcommand("run");
        if (run.parsed())
            check_combination(run, command);
        else if (end != words.end())
            throw CLI::ExtrasError({"--"});
        command.action = action_of(app);
    } catch (const CLI::ParseError &error) {
        command.status = app.exit(error) == 0 ? 0 : usage_error;
    }
    return command;
}

} // namespace orka::board
