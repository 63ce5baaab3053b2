/*
 * When pictures and sound are due, in real time: one clock for the whole board, so that what is decoded side
 * by side stays together. The first frame shown after a start is due at once and places all others.
 */
#ifndef ORKA_BOARD_PRESENTATION_H
#define ORKA_BOARD_PRESENTATION_H

#include <cstdint>
#include <optional>

#include "server/reactor.h"

namespace orka::board {

class PresentationClock {
  public:
    /* A frame that lies farther ahead belongs to another part of the stream, or has a damaged time stamp: it
       is due at once and places the ones after it. */
    static constexpr std::chrono::milliseconds longest_wait{10'000};

    /* A decoder starts and stops. With the last one that stops the time line ends. */
    void begin() { started_++; }
    void end();

    /* A started decoder begins and ceases to move. The clock stands still while none moves. */
    void go(Clock::time_point now);
    void halt(Clock::time_point now);

    /* The next frame places all others: time stamps begin anew. */
    void restart() { origin_.reset(); }

    Clock::time_point due(uint32_t tsms, Clock::time_point now);

  private:
    unsigned started_ = 0;
    unsigned moving_ = 0;
    Clock::time_point halted_at_{};
    std::optional<Clock::time_point> origin_; /* when the frame of time stamp 0 was or would have been due */
};

} // namespace orka::board

#endif
