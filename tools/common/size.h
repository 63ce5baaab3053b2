/* Sizes as people write them. */
#ifndef ORKA_TOOLS_SIZE_H
#define ORKA_TOOLS_SIZE_H

#include <cstdint>
#include <string>

namespace orka {

struct Size {
    uint32_t width = 0;
    uint32_t height = 0;
};

/* WIDTHxHEIGHT, sides of 1 to 4096 pixels. Throws Failure with status_usage. */
Size read_size(const std::string &text);

} // namespace orka

#endif
