/* What CLI::Validator asks of a word of the command line: nothing to object to is "". */
#ifndef ORKA_TOOLS_CHECKS_H
#define ORKA_TOOLS_CHECKS_H

#include <string>

namespace orka {

/* A finite number of seconds, 0 or more. */
std::string check_duration(const std::string &text);

/* A file that is written as PNG, whose name must not promise anything else. */
std::string check_png_name(const std::string &name);

} // namespace orka

#endif
