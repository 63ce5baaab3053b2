/*
 * Capture time: one time line for the camera, the microphone and all who take from them, so that what is
 * captured side by side stays together. It begins at 0 with the first consumer and ends with the last.
 *
 * In real time it goes with the wall clock. As fast as possible, each consumer has its own position, which is
 * how far it has taken; a new one begins where the slowest stands, as far as its program has seen: programs
 * start encoders one after the other and mean the same moment. Those that keep step ask before they take:
 * none gets more than a second ahead of the slowest other one. One that is stalled, because nobody takes from
 * it what it has, holds nobody back and is waited for again as soon as it goes on.
 *
 * Any thread may call.
 */
#ifndef ORKA_BOARD_CAPTURE_CLOCK_H
#define ORKA_BOARD_CAPTURE_CLOCK_H

#include <cstdint>
#include <functional>
#include <list>
#include <mutex>
#include <optional>

#include "server/reactor.h"

namespace orka::board {

class CaptureClock {
  public:
    /* A consumer's place on the time line, from join to leave. */
    class Consumer {
        friend class CaptureClock;
        uint64_t position_us_ = 0;
        uint64_t seen_us_ = 0;       /* of one that keeps step */
        std::function<void()> wake_; /* of one that keeps step */
        bool stalled_ = false;
        std::optional<uint64_t> wanted_us_; /* what it was refused to take */
    };
    using Place = std::list<Consumer>::iterator;
    static constexpr uint64_t longest_lead_us = 1'000'000;

    explicit CaptureClock(bool real_time) : real_time_(real_time) {}

    /*
     * position(place) is where it begins. One with a wake keeps step: it is called, on any thread and with
     * the clock locked, when what may_take() refused may be taken.
     */
    Place join(std::function<void()> wake = {});
    void leave(Place place);
    uint64_t position(Place place); /* µs */
    void advance(Place place, uint64_t position_us);
    void seen(Place place, uint64_t time_us);     /* what lies there came to the program */
    bool may_take(Place place, uint64_t time_us); /* what lies there; as fast as possible */
    void stall(Place place, bool stalled);

    bool real_time() const { return real_time_; }
    uint64_t now_us();                        /* of the time line; real time */
    Clock::time_point when(uint64_t time_us); /* when that capture time comes; real time */

  private:
    static uint64_t where_it_stands(const Consumer &who);
    uint64_t where_to_begin() const;
    bool is_in_step(const Consumer &who, uint64_t time_us) const;
    void wake_waiting();

    const bool real_time_;
    std::mutex mutex_;
    std::list<Consumer> consumers_;
    Clock::time_point origin_{};
};

} // namespace orka::board

#endif
