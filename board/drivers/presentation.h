/*
 * When pictures and sound are due, in real time: one clock for the whole board, so that what is decoded side
 * by side stays together. The first frame shown after a start is due at once and places all others.
 *
 * Whoever watches the board can hold it, on either clock: nothing is shown then, but the pictures that are
 * asked for one by one, each with the sound up to its time stamp.
 */
#ifndef ORKA_BOARD_PRESENTATION_H
#define ORKA_BOARD_PRESENTATION_H

#include <cstdint>
#include <functional>
#include <map>
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
    void restart();

    Clock::time_point due(uint32_t tsms, Clock::time_point now);

    /* Twice is once. */
    void hold(Clock::time_point now);
    void release(Clock::time_point now);
    bool is_held() const { return held_; }

    /* While held: one picture more is to be shown, by the first decoder that has one. Without a decoder that
       is started it does nothing. */
    void ask_picture();
    bool take_picture(uint32_t tsms); /* true for the one that was asked for */
    bool is_reached(uint32_t tsms) const { return reached_ && tsms <= *reached_; }

    /* Calls when what is held back may be due. A listener must not listen or ignore. */
    uint32_t listen(std::function<void()> listener);
    void ignore(uint32_t listener) { listeners_.erase(listener); }
    void tell() const;

  private:
    bool stands() const { return held_ || moving_ == 0; }
    void run_on(bool stood, Clock::time_point now);

    bool held_ = false;
    unsigned asked_pictures_ = 0;
    std::optional<uint32_t> reached_; /* the time stamp of the last picture asked for */
    std::map<uint32_t, std::function<void()>> listeners_;
    uint32_t next_listener_ = 1;
    unsigned started_ = 0;
    unsigned moving_ = 0;
    Clock::time_point halted_at_{};
    std::optional<Clock::time_point> origin_; /* when the frame of time stamp 0 was or would have been due */
};

} // namespace orka::board

#endif
