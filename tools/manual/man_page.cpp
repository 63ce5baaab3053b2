#include "manual.h"

#include <algorithm>
#include <sstream>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "help.h"

namespace orka::manual {

namespace {

/* A line as man(7) shows it: backslashes, hyphens that are typed, and no request at its beginning. */
std::string escaped(const std::string &line)
{
    std::string result;

    for (const char character : line) {
        if (character == '\\')
            result += "\\e";
        else if (character == '-')
            result += "\\-";
        else
            result += character;
    }
    return result.starts_with('.') || result.starts_with('\'') ? "\\&" + result : result;
}

/* Line by line, with a request in the place of empty ones. */
void write_lines(std::ostream &out, const std::string &text, std::string_view empty = ".PP")
{
    std::istringstream lines(text);

    for (std::string line; std::getline(lines, line);)
        out << (line.empty() ? std::string(empty) : escaped(line)) << '\n';
}

/* Of the text below a heading. */
constexpr size_t page_indent = 7;

/* What is laid out already stays so: examples stand in columns. */
void write_footer(std::ostream &out, const std::string &footer, std::string_view heading)
{
    if (footer.empty())
        return;
    out << heading << ".nf\n";
    write_lines(out, folded(footer, terminal_columns - page_indent), ".sp");
    out << ".fi\n";
}

std::string upper(std::string text)
{
    std::ranges::transform(text, text.begin(),
                           [](unsigned char letter) { return static_cast<char>(toupper(letter)); });
    return text;
}

/* "Plays a file. More of it." gives "plays a file". */
std::string short_description(const std::string &description)
{
    std::string first = description.substr(0, description.find_first_of(".:"));
    std::ranges::replace(first, '\n', ' ');
    if (!first.empty())
        first.front() = static_cast<char>(tolower(static_cast<unsigned char>(first.front())));
    return first;
}

bool is_listed(const CLI::Option *option)
{
    return !option->get_group().empty();
}

/* How an option is typed: its names, and what follows them. A positional one is its name alone. */
std::string typed(const CLI::Option &option)
{
    if (option.get_positional())
        return option.get_name(true);
    std::string names = option.get_name(false, true);
    std::ranges::replace(names, ',', ' ');
    return names + CLI::Formatter().make_option_opts(&option);
}

void write_options(std::ostream &out, const CLI::App &app)
{
    for (const CLI::Option *const option : app.get_options(is_listed)) {
        const bool said_before = app.get_parent() != nullptr && option == app.get_help_ptr();
        if (said_before)
            continue;
        out << ".TP\n.B " << escaped(typed(*option)) << '\n';
        write_lines(out, option->get_description());
    }
}

/* A command, and the commands that it has itself. */
void write_commands(std::ostream &out, const CLI::App &app, const std::string &words)
{
    for (const CLI::App *const command : app.get_subcommands(nullptr)) {
        const std::string path = words + command->get_name();
        out << ".SS " << escaped(path) << '\n';
        write_lines(out, command->get_description());
        write_options(out, *command);
        if (command->get_footer() != app.get_footer())
            write_footer(out, command->get_footer(), ".PP\n");
        write_commands(out, *command, path + ' ');
    }
}

void write_synopsis(std::ostream &out, const CLI::App &app)
{
    out << ".SH SYNOPSIS\n.B " << escaped(app.get_name()) << "\n[OPTIONS]";
    for (const CLI::Option *const option : app.get_options(is_listed)) {
        if (option->get_positional())
            out << ' ' << escaped(option->get_name(true));
    }
    out << (app.get_subcommands(nullptr).empty() ? "\n" : " COMMAND\n");
}

} // namespace

void write_man_page(std::ostream &out, const CLI::App &app, std::string_view version)
{
    const std::string &name = app.get_name();

    out << ".TH " << escaped(upper(name)) << " 1 \"\" \"Orka " << version << "\" \"User commands\"\n"
        << ".SH NAME\n"
        << escaped(name) << " \\- " << escaped(short_description(app.get_description())) << '\n';
    write_synopsis(out, app);
    out << ".SH DESCRIPTION\n";
    write_lines(out, app.get_description());
    out << ".SH OPTIONS\n";
    write_options(out, app);
    if (!app.get_subcommands(nullptr).empty()) {
        out << ".SH COMMANDS\n";
        write_commands(out, app, "");
    }
    write_footer(out, app.get_footer(), ".SH NOTES\n");
    out << ".SH SEE ALSO\n.BR orka (7)\n";
}

} // namespace orka::manual
