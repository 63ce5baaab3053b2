/* What CLI::Validator asks of a word of the command line: nothing to object to is "". */
#ifndef ORKA_TOOLS_CHECKS_H
#define ORKA_TOOLS_CHECKS_H

#include <string>

namespace orka {

/* A finite number of seconds, 0 or more. */
std::string check_duration(const std::string &text);

} // namespace orka

#endif
