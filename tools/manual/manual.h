/*
 * A program's man page and bash completion, made of the same declarations as its --help: nothing is said
 * twice, and nothing can differ.
 */
#ifndef ORKA_MANUAL_H
#define ORKA_MANUAL_H

#include <ostream>
#include <string_view>

namespace CLI {
class App;
}

namespace orka::manual {

/*
 * Adds --man-page and --bash-completion, which --help does not list: each prints its text on standard output
 * and ends the parsing with CLI::Success. Has --help fit a terminal. To be called when all else is declared.
 */
void add_options(CLI::App &app, std::string_view version);

/* The page, section 1, in the language of man(7). */
void write_man_page(std::ostream &out, const CLI::App &app, std::string_view version);

/* A script for bash: options and commands by the commands before, files otherwise. */
void write_bash_completion(std::ostream &out, const CLI::App &app);

} // namespace orka::manual

#endif
