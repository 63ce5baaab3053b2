#include "common/size.h"

#include <charconv>

#include "common/failure.h"

namespace orka {

namespace {

constexpr uint32_t longest_side = 4096;

/* The side that begins there; `end` is where it ends. */
uint32_t read_side(const char *begin, const char *limit, const char *&end)
{
    uint32_t side = 0;
    const auto [after, error] = std::from_chars(begin, limit, side);
    end = after;
    return error == std::errc() && side <= longest_side ? side : 0;
}

} // namespace

Size read_size(const std::string &text)
{
    const char *const limit = text.data() + text.size();
    const char *end = nullptr;
    Size size;
    size.width = read_side(text.data(), limit, end);
    if (end != limit && *end == 'x')
        size.height = read_side(end + 1, limit, end);
    if (size.width == 0 || size.height == 0 || end != limit)
        throw Failure("'" + text + "' is no size: WIDTHxHEIGHT, as in 640x480, sides of 1 to 4096 pixels",
                      status_usage);
    return size;
}

} // namespace orka
