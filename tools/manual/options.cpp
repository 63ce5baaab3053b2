#include "manual.h"

#include <iostream>
#include <string>

#include <CLI/CLI.hpp>

namespace orka::manual {

void add_options(CLI::App &app, std::string_view version)
{
    const std::string text(version);

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
