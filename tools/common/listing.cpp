#include "common/listing.h"

#include <cstdlib>
#include <new>
#include <sstream>

namespace orka {

std::vector<std::string> items_of(PrintList print)
{
    char *text = nullptr;
    size_t size = 0;
    FILE *stream = open_memstream(&text, &size);
    if (!stream)
        throw std::bad_alloc();
    print(stream, nullptr, "\n", nullptr);
    fclose(stream);
    std::istringstream all(text);
    free(text);
    std::vector<std::string> items;
    for (std::string item; std::getline(all, item);)
        items.push_back(item);
    return items;
}

/* "DEVICE MODE (WxH) Interlaced" each, or Progressive. */
std::vector<Mode> modes_of(PrintList print)
{
    std::vector<Mode> modes;
    for (const std::string &item : items_of(print)) {
        std::istringstream words(item);
        Mode mode;
        std::string scan;
        char mark = 0;
        words >> mode.device >> mode.mode >> mark >> mode.width >> mark >> mode.height >> mark >> scan;
        mode.interlaced = scan == "Interlaced";
        modes.push_back(mode);
    }
    return modes;
}

} // namespace orka
