/* The loudness of decoded sound: two factors, for the first and the second channel of a pair. */
#ifndef ORKA_BOARD_GAIN_H
#define ORKA_BOARD_GAIN_H

#include <atomic>
#include <span>

#include "orka_idecode.h"

namespace orka::board {

/*
 * Set on the reactor's thread while workers apply it: what a worker reads is one setting, never parts of
 * two.
 */
class Gain {
  public:
    void set(const orka_idecode_gain_t &gain) { gain_.store(gain, std::memory_order_relaxed); }
    /* Multiplies interleaved samples by the factor, mantissa / 32768 x 2^shift, rounded to nearest and
       limited to the range of a sample. The largest mantissa without a shift stands for 1 and leaves the
       samples as they are. */
    void apply(std::span<int16_t> samples, uint32_t channels) const;

  private:
    static constexpr orka_idecode_gain_t unity{32767, 32767, 0, 0};
    std::atomic<orka_idecode_gain_t> gain_{unity};
    static_assert(std::atomic<orka_idecode_gain_t>::is_always_lock_free);
};

} // namespace orka::board

#endif
