/*
 * The audio output: what is heard there, and what of it the room carries on to the microphone.
 *
 * Decoders play into it as they show their sound; an encoder passes through what its microphone hears. The
 * room's listener takes what was played, sample by sample at its own rate, so that it hears each played
 * sample once, whatever the clock: in real time as it is played, as fast as possible one after the other. Any
 * thread may call.
 */
#ifndef ORKA_BOARD_LOUDSPEAKER_H
#define ORKA_BOARD_LOUDSPEAKER_H

#include <cstdint>
#include <deque>
#include <mutex>
#include <span>

namespace orka::board {

class Loudspeaker {
  public:
    /* What was heard of one source. */
    struct Heard {
        uint64_t samples = 0; /* of each channel */
        uint32_t level = 0;   /* root of the mean square of the last piece */
    };

    /* Interleaved samples. Sound that is passed through does not go back to the microphone. */
    void play(std::span<const int16_t> samples, uint32_t sample_rate, uint32_t channels);
    void pass(std::span<const int16_t> samples, uint32_t channels);

    /* One listener: from now on, at that rate (Hz). What it does not take in a second is forgotten. */
    void listen(uint32_t sample_rate);
    void leave() { listen(0); }
    /* Of one channel, the mean of those that were played; silence where nothing was. */
    void take(std::span<int16_t> samples);

    Heard played() const;
    Heard passed() const;

  private:
    void keep(std::span<const int16_t> samples, uint32_t sample_rate, uint32_t channels);

    mutable std::mutex mutex_;
    Heard played_;
    Heard passed_;
    uint32_t listener_rate_ = 0; /* 0: nobody listens */
    std::deque<int16_t> to_listener_;
    uint64_t phase_ = 0; /* of the next sample to take after the last one played, 1/listener_rate_ of one */
    int16_t last_ = 0;   /* of the played samples */
};

} // namespace orka::board

#endif
