/* What the library lists in print, as values. */
#ifndef ORKA_TOOLS_LISTING_H
#define ORKA_TOOLS_LISTING_H

#include <cstdio>
#include <string>
#include <vector>

namespace orka {

/* A listing function of the library. */
using PrintList = void (*)(FILE *stream, const char *prefix, const char *separator, const char *suffix);

std::vector<std::string> items_of(PrintList print);

/* A mode of the display, or of capture. */
struct Mode {
    std::string device;
    std::string mode;
    unsigned width = 0;
    unsigned height = 0;
    bool interlaced = false;
};

std::vector<Mode> modes_of(PrintList print);

} // namespace orka

#endif
