#include "manual.h"

#include <iostream>
#include <memory>
#include <string>

#include <CLI/CLI.hpp>

#include "help.h"

namespace orka::manual {

namespace {

/* A command takes its formatter over when it is made, so each is given its own. */
void fold_help(CLI::App &app)
{
    app.formatter(std::make_shared<FoldedHelp>());
    for (CLI::App *const command : app.get_subcommands(nullptr))
        fold_help(*command);
}

} // namespace

void add_options(CLI::App &app, std::string_view version)
{
    const std::string text(version);

    fold_help(app);
    app.add_flag_callback("--man-page",
                          [&app, text] {
                              write_man_page(std::cout, app, text);
                              throw CLI::Success();
                          })
        ->group("");
    app.add_flag_callback("--bash-completion",
                          [&app] {
                              write_bash_completion(std::cout, app);
                              throw CLI::Success();
                          })
        ->group("");
}

} // namespace orka::manual
