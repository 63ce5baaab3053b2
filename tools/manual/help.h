/* What --help prints, in lines that fit a terminal. */
#ifndef ORKA_MANUAL_HELP_H
#define ORKA_MANUAL_HELP_H

#include <cstddef>
#include <string>

#include <CLI/CLI.hpp>

namespace orka::manual {

/*
 * Breaks the lines that are longer than so many columns, between words; what follows is indented as the line
 * was. A word that is longer by itself stays whole.
 */
std::string folded(const std::string &text, size_t columns);

/* Of a terminal as it opens; what is printed does not depend on where it is printed. */
constexpr size_t terminal_columns = 80;

/* CLI11's layout, folded. */
class FoldedHelp : public CLI::Formatter {
  public:
    std::string make_description(const CLI::App *app) const override;
    std::string make_usage(const CLI::App *app, std::string name) const override;
    std::string make_footer(const CLI::App *app) const override;
    std::string make_subcommand(const CLI::App *command) const override;
    std::string make_option_desc(const CLI::Option *option) const override;

  private:
    /* Beside a name that has the left column. */
    std::string beside_name(const std::string &text) const;
};

} // namespace orka::manual

#endif
