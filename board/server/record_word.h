/* Words of a driver's record, wherever they stand in it. */
#ifndef ORKA_BOARD_SERVER_RECORD_WORD_H
#define ORKA_BOARD_SERVER_RECORD_WORD_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>

namespace orka::board {

/* 0 where it does not lie whole in the record. */
template <typename Word = uint32_t>
Word word_at(std::span<const uint8_t> record, size_t offset)
{
    Word word = 0;
    if (offset + sizeof word <= record.size())
        memcpy(&word, record.data() + offset, sizeof word);
    return word;
}

} // namespace orka::board

#endif
