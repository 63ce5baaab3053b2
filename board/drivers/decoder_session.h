/* A decoder that is set up, as its node's requests see it: its state, its queue, and what it tells. */
#ifndef ORKA_BOARD_DECODER_SESSION_H
#define ORKA_BOARD_DECODER_SESSION_H

#include <string_view>

#include "drivers/driver.h"

namespace orka::board {

enum class State : uint8_t { set_up, ready, playing, paused, rewinding, forwarding, stopped };

/* Frames come out; not while paused. */
constexpr bool is_moving(State state)
{
    return state == State::playing || state == State::rewinding || state == State::forwarding;
}

constexpr bool is_started(State state)
{
    return is_moving(state) || state == State::paused;
}

/* For people. */
std::string_view state_name(State state);

class DecoderSession {
  public:
    explicit DecoderSession(State first) : state_(first) {}
    virtual ~DecoderSession() = default;
    DecoderSession(const DecoderSession &) = delete;
    DecoderSession &operator=(const DecoderSession &) = delete;

    State state() const { return state_; }
    virtual void enter(State next) = 0;
    virtual void flush() = 0;
    /* Nothing more comes out of its codec; false where no codec runs. */
    virtual bool hang() { return false; }
    /* Wakes whoever waits; the session does nothing any more. */
    virtual void close() = 0;

    virtual void queue(Call &call) = 0;
    virtual void new_frame(std::shared_ptr<Call> call) = 0;
    virtual void commit(Call &call) = 0;
    virtual void get(std::shared_ptr<Call> call) = 0;
    virtual void release(Call &call) = 0;
    virtual void wait(std::shared_ptr<Call> call) = 0;
    virtual bool readable() const = 0;

    uint32_t shown_tsms() const { return shown_tsms_; } /* of the frame shown last */
    void reset_shown_tsms() { shown_tsms_ = 0; }

    /* Adds its queues and its counts. */
    virtual void report(nlohmann::json &decoder) const = 0;

  protected:
    State state_;
    uint32_t shown_tsms_ = 0;
};

} // namespace orka::board

#endif
