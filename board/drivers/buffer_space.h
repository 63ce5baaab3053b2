/*
 * Buffers of any size, cut from one range of physical memory.
 *
 * Cut in turn, each after the one before, and from the range's beginning again: buffers that come back in the
 * order in which they went out make a ring, and one that is kept for long costs no more than its own place.
 */
#ifndef ORKA_BOARD_BUFFER_SPACE_H
#define ORKA_BOARD_BUFFER_SPACE_H

#include <cstdint>
#include <map>
#include <optional>

namespace orka::board {

class BufferSpace {
  public:
    /* What the converters of pictures write fastest to. */
    static constexpr uint32_t alignment = 64;

    BufferSpace(uint32_t base, uint32_t length) : base_(base), length_(length), next_(base) {}

    std::optional<uint32_t> allocate(uint32_t bytes); /* a buffer of 0 bytes has a place of its own, too */
    uint32_t length_of(uint32_t address) const { return buffers_.at(address); }
    bool has_room(uint32_t bytes) const { return place(bytes).has_value(); }
    void trim(uint32_t address, uint32_t bytes);       /* what lies behind is free again */
    bool free(uint32_t address);                       /* false for what is no buffer's beginning */
    void prefer(uint32_t address) { next_ = address; } /* begin there to look for the next buffer */
    size_t count() const { return buffers_.size(); }
    bool fits(uint32_t bytes) const { return place_of(bytes) <= length_; } /* in an empty range */

    /* All of a buffer's place, rounded up so that the next one begins aligned. */
    static uint64_t place_of(uint32_t bytes);

  private:
    std::optional<uint32_t> place(uint32_t bytes) const;
    std::optional<uint32_t> find(uint64_t place, uint64_t from, uint64_t end) const;

    uint32_t base_;
    uint32_t length_;
    uint32_t next_;
    std::map<uint32_t, uint32_t> buffers_; /* address to length */
};

} // namespace orka::board

#endif
