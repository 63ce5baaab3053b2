/* One stream of a recording: from the encoder's time stamps to the file's ticks. */
#ifndef ORKA_RECORD_TRACK_H
#define ORKA_RECORD_TRACK_H

#include <cstdint>
#include <optional>

namespace orka::record {

/* Where a packet stands in its stream. */
struct Place {
    int64_t time;
    int64_t duration;
};

/* Pictures of a constant rate: each has a place of its own, and what was dropped leaves a hole. */
class PictureTicks {
  public:
    explicit PictureTicks(uint32_t rate) : rate_(rate) {}

    Place place(int64_t ms) const; /* since the recording began */
    void take(const Place &place); /* it is recorded */
    void end(int64_t ticks);       /* all that is missing up to there was dropped */
    int64_t dropped() const { return next_ - count_; }

  private:
    uint32_t rate_;
    int64_t next_ = 0;
    int64_t count_ = 0;
};

/*
 * Sound goes on without gaps, counted in samples, until its time stamps say that some of it is missing. What
 * decoders are late by is taken off: a packet stands where it is heard, which may be before the beginning.
 */
class SoundTicks {
  public:
    SoundTicks(uint32_t sample_rate, int delay) : sample_rate_(sample_rate), delay_(delay) {}

    Place place(int64_t ms, int64_t samples) const; /* since the recording began; negative before */
    void take(const Place &place);                  /* the next one follows it */

  private:
    uint32_t sample_rate_;
    int delay_; /* samples */
    std::optional<int64_t> next_;
};

} // namespace orka::record

#endif
