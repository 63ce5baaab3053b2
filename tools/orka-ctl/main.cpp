/* orka-ctl: looks at a board and sets it, through the library's public calls. */
#include <cerrno>
#include <cstdio>
#include <cstring>

#include <CLI/CLI.hpp>

#include "capture.h"
#include "common/failure.h"
#include "display.h"
#include "dsp.h"
#include "imem.h"
#include "list.h"
#include "locks.h"
#include "manual/manual.h"
#include "mcbsp.h"
#include "types.h"

namespace {

constexpr char description[] = "Looks at a DM320 board and sets it: `orka-board run --board SOCKET -- "
                               "orka-ctl COMMAND` where the board is virtual.";

constexpr char notes[] = "Examples:\n"
                         "  orka-ctl list display            the display modes\n"
                         "  orka-ctl display set LCD/VGA     show pictures on the LCD panel\n"
                         "  orka-ctl capture snap now.png    save what the camera sees\n"
                         "  orka-ctl dsp dump 0 32           the words in which the DSP tells of itself\n"
                         "  orka-ctl locks --break           free the locks that a killed program left\n"
                         "\n"
                         "Exit status: 0 done; 1 the board refused, or a file failed; 2 usage; 3 no board.";

using namespace orka;

/* What was said has to have arrived: a full disk shows here. errno is of the last write that failed. */
int checked_output(int status)
{
    if (fflush(stdout) == 0 && ferror(stdout) == 0)
        return status;
    fprintf(stderr, "orka-ctl: standard output: %s\n", strerror(errno != 0 ? errno : EIO));
    return status == status_done ? status_failed : status;
}

int run(int argc, char **argv)
{
    CLI::App app(description, "orka-ctl");
    app.footer(notes);
    app.set_version_flag("--version", ORKA_VERSION);
    app.require_subcommand(1);
    ctl::add_list(app);
    ctl::add_display(app);
    ctl::add_capture(app);
    ctl::add_imem(app);
    ctl::add_dsp(app);
    ctl::add_mcbsp(app);
    ctl::add_locks(app);
    ctl::add_types(app);
    manual::add_options(app, ORKA_VERSION);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &error) {
        return app.exit(error) == 0 ? status_done : status_usage;
    } catch (const std::exception &failure) {
        return say("orka-ctl", failure);
    }
    return status_done;
}

} // namespace

int main(int argc, char **argv)
{
    return checked_output(run(argc, argv));
}
