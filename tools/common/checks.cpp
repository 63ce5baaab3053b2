#include "common/checks.h"

#include <cmath>
#include <cstdlib>

#include <strings.h>

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

std::string check_png_name(const std::string &name)
{
    constexpr char extension[] = ".png";
    constexpr size_t length = sizeof extension - 1;
    return name.size() >= length && strcasecmp(name.c_str() + name.size() - length, extension) == 0
               ? ""
               : "'" + name + "' does not end in .png, and a PNG file is what is written";
}

} // namespace orka
