/* Reads an input as a list of calls: behind its end everything is 0. */
#ifndef ORKA_TESTS_FUZZ_SCRIPT_H
#define ORKA_TESTS_FUZZ_SCRIPT_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace orka_test {

class Script {
  public:
    explicit Script(std::span<const uint8_t> bytes) : bytes_(bytes) {}

    bool ended() const { return next_ >= bytes_.size(); }
    uint8_t byte() { return ended() ? uint8_t{0} : bytes_[next_++]; }

    /* Of one to four bytes. */
    uint32_t number(unsigned bytes)
    {
        uint32_t value = 0;
        for (unsigned i = 0; i < bytes; i++)
            value = value << 8 | byte();
        return value;
    }

    std::vector<uint8_t> take(size_t count)
    {
        std::vector<uint8_t> taken(count);
        for (uint8_t &value : taken)
            value = byte();
        return taken;
    }

    /* One of several things, by the next byte. */
    template <typename List>
    auto &pick(List &&list)
    {
        return list[byte() % std::size(list)];
    }

  private:
    std::span<const uint8_t> bytes_;
    size_t next_ = 0;
};

} // namespace orka_test

#endif
