/*
 * The part of a decoder's queue that a program fills: buffers of one size are handed out, come back filled,
 * trimmed to what is in them, and keep their place until whoever decodes them is done.
 *
 *     handed out -> committed -> free
 */
#ifndef ORKA_BOARD_FRAME_INPUT_H
#define ORKA_BOARD_FRAME_INPUT_H

#include <optional>
#include <set>

#include "drivers/buffer_space.h"
#include "drivers/waiting.h"

namespace orka::board {

/* Answers to requests for a frame, whichever way it goes. */
void answer_frame_request(Call &call, int32_t status, const orka_idecode_frame_t &frame);
void answer_without_frame(Call &call, int32_t status);
int32_t frame_timeout(const Call &call);

class FrameInput {
  public:
    struct Limits {
        uint32_t kind = 0;  /* of its frames */
        uint32_t count = 0; /* buffers at a time */
        uint32_t bytes = 0; /* of a buffer that is handed out */
    };

    FrameInput(Reactor &reactor, BufferSpace space, const Limits &limits)
        : limits_(limits), space_(std::move(space)), fillers_(reactor, answer_without_frame)
    {
    }

    bool has_room() const { return space_.count() < limits_.count && space_.has_room(limits_.bytes); }
    /* Answers with a buffer. With no room the call waits for one, but not where the decoder is stopped. */
    void new_frame(std::shared_ptr<Call> call, bool stopped);
    /* What was filled; the caller answers the call. Nothing where it was refused, and answered. A LAST has
       used up its buffer, and nothing is taken after it until the stream begins anew. */
    std::optional<orka_idecode_frame_t> commit(Call &call);
    void free(uint32_t address) { space_.free(address); }
    void begin_anew() { ended_ = false; }
    /* To those who wait: the buffers that there are, or a failure. */
    void serve();
    void wake() { fillers_.answer_all(wire::driver_failure); }

    uint32_t count() const { return static_cast<uint32_t>(space_.count()); }
    uint32_t limit() const { return limits_.count; }
    uint64_t frames() const { return frames_; } /* committed, each LAST left out */

  private:
    void hand_out(Call &call);
    int check(const orka_idecode_frame_t &frame) const;

    const Limits limits_;
    BufferSpace space_;
    std::set<uint32_t> handed_out_;
    uint32_t number_ = 0;
    bool ended_ = false; /* LAST was committed */
    uint64_t frames_ = 0;
    Waiting fillers_;
};

} // namespace orka::board

#endif
