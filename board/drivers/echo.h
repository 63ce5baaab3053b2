/* The way from the loudspeaker to the microphone, and what takes its echo out again. */
#ifndef ORKA_BOARD_ECHO_H
#define ORKA_BOARD_ECHO_H

#include <cstdint>
#include <span>
#include <vector>

namespace orka::board {

/* Two ways: straight, a quarter as loud and 4 ms later, and over a wall, an eighth as loud and 9 ms later. */
class Room {
  public:
    explicit Room(uint32_t sample_rate);
    /* To interleaved samples, what was played meanwhile: one sample for each of every channel. */
    void add_echo(std::span<const int16_t> played, std::span<int16_t> samples, uint32_t channels);

  private:
    size_t straight_;
    size_t wall_;
    std::vector<int16_t> past_; /* a ring */
    size_t at_ = 0;
};

/*
 * Learns the room: a filter over the last 12 ms of what was played, for each channel, that is moved after
 * every sample towards what it has not yet explained (normalised least mean squares).
 */
class EchoCanceller {
  public:
    EchoCanceller(uint32_t sample_rate, uint32_t channels);
    void cancel(std::span<const int16_t> played, std::span<int16_t> samples);

  private:
    int16_t cancel(std::span<float> filter, int16_t heard);
    void remember(float played);

    const size_t taps_;
    const uint32_t channels_;
    std::vector<float> past_; /* played, the latest first, from at_ on */
    size_t at_ = 0;
    std::vector<float> filters_; /* one after the other */
};

} // namespace orka::board

#endif
