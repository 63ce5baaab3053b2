#include "common/checks.h"

#include <cmath>
#include <cstdlib>

namespace orka {

std::string check_duration(const std::string &text)
{
    char *end = nullptr;
    const double seconds = strtod(text.c_str(), &end);
    const bool is_number = end != text.c_str() && *end == '\0';
    return is_number && std::isfinite(seconds) && seconds >= 0
               ? ""
               : "'" + text + "' is not a number of seconds, 0 or more";
}

} // namespace orka
