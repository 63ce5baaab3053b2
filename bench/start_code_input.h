/* What the scans of encoded frames are measured on: random bytes, with a share of zeros, or all the same. */
#ifndef ORKA_BENCH_START_CODE_INPUT_H
#define ORKA_BENCH_START_CODE_INPUT_H

#include <cstddef>
#include <cstdint>
#include <random>
#include <vector>

namespace orka::bench {

using Bytes = std::vector<uint8_t>;

/* The same bytes at every run; `quarters` in four of them are 00, the others any value. */
inline Bytes random_bytes(size_t size, uint32_t quarters)
{
    std::mt19937 random(2005);
    Bytes bytes(size);

    for (uint8_t &byte : bytes)
        byte = random() % 4 < quarters ? uint8_t{0} : static_cast<uint8_t>(random() >> 8);
    return bytes;
}

} // namespace orka::bench

#endif
