#include "manual.h"

#include <string>

#include <CLI/CLI.hpp>

namespace orka::manual {

namespace {

/* What may follow a command: its own commands, and its options. */
std::string following_words(const CLI::App &app)
{
    std::string words;

    for (const CLI::App *const command : app.get_subcommands(nullptr))
        words += command->get_name() + ' ';
    for (const CLI::Option *const option :
         app.get_options([](const CLI::Option *option) { return !option->get_group().empty(); })) {
        for (const std::string &name : option->get_lnames())
            words += "--" + name + ' ';
    }
    return words;
}

/* A line for each chain of commands: which words may come after it. */
void write_chains(std::ostream &out, const CLI::App &app, const std::string &chain)
{
    out << "        '" << chain << "') words='" << following_words(app) << "' ;;\n";
    for (const CLI::App *const command : app.get_subcommands(nullptr))
        write_chains(out, *command, chain + ' ' + command->get_name());
}

void write_known_chains(std::ostream &out, const CLI::App &app, const std::string &chain)
{
    for (const CLI::App *const command : app.get_subcommands(nullptr)) {
        const std::string longer = chain + ' ' + command->get_name();
        out << "            '" << longer << "') chain='" << longer << "' ;;\n";
        write_known_chains(out, *command, longer);
    }
}

} // namespace

void write_bash_completion(std::ostream &out, const CLI::App &app)
{
    const std::string &name = app.get_name();
    std::string function = "_" + name;

    std::ranges::replace(function, '-', '_');
    out << function << "()\n{\n    local word words= chain='" << name << "'\n\n"
        << "    for word in \"${COMP_WORDS[@]:1:COMP_CWORD-1}\"; do\n        case \"$chain $word\" in\n";
    write_known_chains(out, app, name);
    out << "        esac\n    done\n    case $chain in\n";
    write_chains(out, app, name);
    out << "    esac\n"
        << "    mapfile -t COMPREPLY < <(compgen -f -W \"$words\" -- \"${COMP_WORDS[COMP_CWORD]}\")\n}\n"
        << "complete -o filenames -F " << function << ' ' << name << '\n';
}

} // namespace orka::manual
