#include "help.h"

namespace orka::manual {

namespace {

/* Where the part of a line that begins at start is to end: at the last blank that fits, or at the first. */
size_t blank_to_break_at(const std::string &line, size_t start, size_t indent, size_t columns)
{
    const size_t last = line.rfind(' ', start + columns);

    return last != line.npos && last > start + indent ? last : line.find(' ', start + columns);
}

std::string folded_line(std::string line, size_t columns)
{
    const size_t first = line.find_first_not_of(' ');
    const size_t indent = first != line.npos ? first : 0;

    for (size_t start = 0; line.size() - start > columns;) {
        const size_t end = blank_to_break_at(line, start, indent, columns);
        if (end == line.npos)
            break;
        line.replace(end, 1, '\n' + std::string(indent, ' '));
        start = end + 1;
    }
    return line;
}

} // namespace

std::string folded(const std::string &text, size_t columns)
{
    std::string result;

    for (size_t start = 0; start < text.size();) {
        const size_t end = std::min(text.find('\n', start), text.size());
        result += folded_line(text.substr(start, end - start), columns);
        if (end < text.size())
            result += '\n';
        start = end + 1;
    }
    return result;
}

std::string FoldedHelp::make_description(const CLI::App *app) const
{
    return folded(Formatter::make_description(app), terminal_columns) + '\n';
}

std::string FoldedHelp::make_usage(const CLI::App *app, std::string name) const
{
    return folded(Formatter::make_usage(app, std::move(name)), terminal_columns);
}

std::string FoldedHelp::make_footer(const CLI::App *app) const
{
    return folded(Formatter::make_footer(app), terminal_columns);
}

std::string FoldedHelp::make_subcommand(const CLI::App *command) const
{
    std::ostringstream out;

    CLI::detail::format_help(out, command->get_display_name(true), beside_name(command->get_description()),
                             get_column_width());
    return out.str();
}

std::string FoldedHelp::make_option_desc(const CLI::Option *option) const
{
    return beside_name(option->get_description());
}

std::string FoldedHelp::beside_name(const std::string &text) const
{
    return folded(text, terminal_columns - get_column_width());
}

} // namespace orka::manual
