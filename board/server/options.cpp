#include "server/options.h"

#include <algorithm>
#include <iostream>
#include <span>
#include <string_view>

#include <CLI/CLI.hpp>

namespace orka::board {

namespace {

constexpr int usage_error = 2;

constexpr char about[] =
    "A virtual DM320 board: memory, DSP and device drivers for programs that use /dev/mem, /dev/imanage,\n"
    "/dev/idecode, /dev/adecode and /dev/vdecode.";

constexpr char examples[] =
    "Examples:\n"
    "  orka-board run -- ./player clip.avi          run a program on a board of its own\n"
    "  orka-board run --clock real -- ./player a.avi   ... with pictures shown at their time stamps\n"
    "  orka-board run --trace calls.txt -- ./player a.avi   ... and every driver request written down\n"
    "  orka-board serve                             keep a board running; prints what to put into the\n"
    "                                               environment of the programs that join it\n"
    "  orka-board run --board SOCKET -- ./player    run a program on a board that is kept running\n"
    "\n"
    "The exit status of run is the program's own; 128 + N when signal N killed it; 127 or 126 when it was\n"
    "not found or cannot be executed; 125 when the board failed; 2 for a wrong command line.";

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
    app.add_option("--trace", command.board.trace, "Write one decoded line for each driver request to FILE")
        ->type_name("FILE");
    app.add_option("--log", command.board.log, "Write the board's log to FILE too")->type_name("FILE");
    app.add_option(
           "--shims", command.shims,
           "Look for the shims in DIR, as lib/<triple>/liborka-board-shim.so, before the usual places")
        ->type_name("DIR")
        ->allow_extra_args(false);
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
}

/* The options of a board do not apply to one that already runs. */
void check_combination(const CLI::App &run, const Command &command)
{
    if (command.program.empty())
        throw CLI::RequiredError("-- PROGRAM");
    if (run.count("--board") == 0)
        return;
    for (const char *const option : {"--memory", "--clock", "--reclaim", "--trace", "--log"}) {
        if (run.count(option) != 0)
            throw CLI::ExcludesError("--board", option);
    }
}

} // namespace

Command parse_command_line(int argc, char **argv)
{
    Command command;
    CLI::App app(about);
    const std::span<char *> words(argv, static_cast<size_t>(argc));

    /* What comes after "--" is the program's, whatever it looks like. */
    const auto end = std::ranges::find(words, std::string_view("--"));
    if (end != words.end())
        command.program.assign(end + 1, words.end());
    define(app, command);
    try {
        app.parse(static_cast<int>(end - words.begin()), argv);
        const CLI::App &run = *app.get_subcommand("run");
        if (run.parsed())
            check_combination(run, command);
        else if (end != words.end())
            throw CLI::ExtrasError({"--"});
        command.action = run.parsed() ? Action::run : Action::serve;
    } catch (const CLI::ParseError &error) {
        command.status = app.exit(error) == 0 ? 0 : usage_error;
    }
    return command;
}

} // namespace orka::board
