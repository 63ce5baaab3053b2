#include "common/text.h"

#include <cstdarg>
#include <cstdio>

namespace orka {

std::string format(const char *format, ...)
{
    char text[512];
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    return text;
}

} // namespace orka
