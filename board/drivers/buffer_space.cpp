#include "drivers/buffer_space.h"

#include <algorithm>

namespace orka::board {

uint64_t BufferSpace::place_of(uint32_t bytes)
{
    const uint64_t wanted = std::max<uint64_t>(bytes, 1);
    return (wanted + alignment - 1) / alignment * alignment;
}

/* The first gap of that many bytes between two addresses. */
std::optional<uint32_t> BufferSpace::find(uint64_t place, uint64_t from, uint64_t end) const
{
    uint64_t gap = from;
    auto buffer = buffers_.upper_bound(static_cast<uint32_t>(from));
    if (buffer != buffers_.begin()) {
        const auto &[address, length] = *std::prev(buffer);
        gap = std::max(gap, address + place_of(length));
    }
    for (; buffer != buffers_.end() && gap + place <= end; ++buffer) {
        if (gap + place <= buffer->first)
            break;
        gap = buffer->first + place_of(buffer->second);
    }
    if (gap + place > end)
        return std::nullopt;
    return static_cast<uint32_t>(gap);
}

std::optional<uint32_t> BufferSpace::place(uint32_t bytes) const
{
    const uint64_t end = uint64_t{base_} + length_;
    const std::optional<uint32_t> address = find(place_of(bytes), next_, end);
    return address ? address : find(place_of(bytes), base_, end);
}

std::optional<uint32_t> BufferSpace::allocate(uint32_t bytes)
{
    const std::optional<uint32_t> address = place(bytes);
    if (address) {
        buffers_.emplace(*address, bytes);
        next_ = static_cast<uint32_t>(*address + place_of(bytes));
    }
    return address;
}

void BufferSpace::trim(uint32_t address, uint32_t bytes)
{
    uint32_t &length = buffers_.at(address);
    if (next_ == address + place_of(length))
        next_ = static_cast<uint32_t>(address + place_of(bytes));
    length = bytes;
}

bool BufferSpace::free(uint32_t address)
{
    return buffers_.erase(address) != 0;
}

} // namespace orka::board
