/* What a recording of the test picture and the test tone holds, as a player would come to know it. */
#ifndef ORKA_TESTS_TOOLS_RECORDED_H
#define ORKA_TESTS_TOOLS_RECORDED_H

#include <cstdint>
#include <string>
#include <vector>

namespace orka_tools_test {

/* Times are those of the container, seconds. */
struct Marks {
    std::vector<double> lamps;     /* where the second mark lights up */
    std::vector<double> clicks;    /* where the click begins */
    std::vector<int64_t> counters; /* of all pictures; -1 for one without */
    double end = 0;                /* where the last picture begins */
};

/*
 * By how much each click comes after the lamp that it belongs to. The first and last half second is left out:
 * some decoders give nothing of a stream's first packets.
 */
std::vector<double> lateness(const Marks &marks);

/* Decodes the whole file. Throws std::runtime_error where it does not open. */
Marks marks_of(const std::string &file);

/* Of a still, one byte a pixel; and the test picture's number in a part of it, -1 where there is none. */
struct Part {
    uint32_t x;
    uint32_t y;
    uint32_t width;
    uint32_t height;
};
std::string decoded_grey(const std::string &file);
int64_t counter_in(const std::string &grey, uint32_t stride, const Part &part);

/* The numbers from the first one on, as many. */
std::vector<int64_t> consecutive(const std::vector<int64_t> &counters);

} // namespace orka_tools_test

#endif
