/* Records as the 32-bit words they are made of. */
#ifndef ORKA_TESTS_WORDS_H
#define ORKA_TESTS_WORDS_H

#include <cstdint>
#include <cstring>
#include <vector>

namespace orka_test {

using Words = std::vector<uint32_t>;

template <typename Record>
Words words_of(const Record &record)
{
    static_assert(sizeof record % sizeof(uint32_t) == 0);
    Words words(sizeof record / sizeof(uint32_t));
    memcpy(words.data(), &record, sizeof record);
    return words;
}

} // namespace orka_test

#endif
