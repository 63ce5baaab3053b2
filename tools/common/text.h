/* printf() into a string. */
#ifndef ORKA_TOOLS_TEXT_H
#define ORKA_TOOLS_TEXT_H

#include <string>

namespace orka {

__attribute__((format(printf, 1, 2))) std::string format(const char *format, ...);

} // namespace orka

#endif
