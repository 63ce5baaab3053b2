/*
 * Sound that a program gives instead of the microphone's: claimed with the first frame that it asks for, and
 * then all that is encoded until the next stop.
 *
 *     claim -> give, give ... -> (worker) take, take ... -> stop -> (worker) end
 *
 * What was given before a stop goes with the stream that ends, which the worker may end later; what comes
 * after it belongs to the next.
 */
#ifndef ORKA_BOARD_PROGRAM_SOUND_H
#define ORKA_BOARD_PROGRAM_SOUND_H

#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <span>
#include <vector>

#include "drivers/encode_worker.h"

namespace orka::board {

class ProgramSound {
  public:
    /* unit: values, of all channels together, that are encoded at once. taken is called on the worker's
       thread. */
    ProgramSound(size_t unit, std::function<void()> taken) : unit_(unit), taken_(std::move(taken)) {}

    /* On the reactor's thread. */
    void claim();
    void give(std::span<const int16_t> samples);
    void stop();
    bool is_claimed() const;
    /* For one frame more, beside those that the program is filling. */
    bool has_room(size_t frames_in_hands) const;

    /* On the worker's, for the stream that it has begun. */
    EncodeStream::Supply supply() const;
    bool take(std::span<int16_t> samples); /* a unit; false where it has not come */
    std::vector<int16_t> end();            /* the rest */

  private:
    static constexpr size_t most_units = 4;
    struct Feed {
        bool claimed = false;
        std::vector<int16_t> samples;
    };

    const size_t unit_;
    const std::function<void()> taken_;
    mutable std::mutex mutex_;
    std::deque<Feed> feeds_{1}; /* the worker's stream first, the next start's last */
};

} // namespace orka::board

#endif
