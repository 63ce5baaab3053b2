/*
 * An encoder that is set up: its queue in physical memory, the worker that fills it, and where it stands in
 * the order of calls.
 *
 *     (set up -> init ->) ready -> start -> encoding -> stop -> stopped -> start ...
 *
 * How a medium's driver uses it: an Encoder (drivers/encoder.h) checks image, owner and order, and makes the
 * session from an EncodeStream (drivers/encode_worker.h), which is all that differs between pictures and
 * sound. The driver answers the requests for frames out of frames(), and is told by frames_changed when
 * frames came; what waits for a frame is the driver's. The worker sees by itself when there is room again.
 *
 * The reactor's thread alone.
 */
#ifndef ORKA_BOARD_ENCODE_SESSION_H
#define ORKA_BOARD_ENCODE_SESSION_H

#include "drivers/driver.h"
#include "drivers/encode_worker.h"

namespace orka::board {

enum class EncodeState : uint8_t { set_up, ready, encoding, stopped };
enum class EncodeOrder : uint8_t { init, start, stop };

/* How a session is made. */
struct EncodePlan {
    EncodeState first = EncodeState::ready;
    std::string label; /* begins its lines in the log */
    uint32_t bufsize = 0;
    uint32_t bufcount = 0;
    orka_iencode_frame_t form{}; /* what all its frames have in common: kind, width, height, stride */
    uint32_t vectors_size = 0;   /* bytes of a picture's motion vectors */
    std::unique_ptr<EncodeStream> stream;
    std::function<void()> frames_changed;
};

class EncodeSession : public std::enable_shared_from_this<EncodeSession> {
  public:
    /* Pictures whose motion vectors the queue for them holds. */
    static constexpr uint32_t vector_count = 16;

    /* Null when there is no memory for its queue. */
    static std::shared_ptr<EncodeSession> create(Machine &machine, EncodePlan plan);
    ~EncodeSession();
    EncodeSession(const EncodeSession &) = delete;
    EncodeSession &operator=(const EncodeSession &) = delete;

    EncodeState state() const { return state_; }
    bool enter(EncodeOrder order); /* false for what does not follow on the present state */

    FrameQueue &frames() { return *frames_; }
    const FrameQueue &frames() const { return *frames_; }
    void hang() { worker_->hang(); }
    void room_came() { worker_->room_came(); }
    void taken(const orka_iencode_frame_t &frame); /* by the program */

    /* The motion vectors' queue; there are vectors from the first call on. Null when there is no memory. */
    FrameQueue *open_vectors();
    FrameQueue *vectors() const { return vectors_.get(); } /* null before */

    const EncodeCounts &counts() const { return worker_->counts(); }
    uint64_t frames_out() const { return frames_out_; } /* taken since setup, each LAST left out */
    uint32_t taken_tsms() const { return taken_tsms_; } /* time stamp of the one taken last */

  private:
    EncodeSession(Machine &machine, EncodePlan &plan, std::shared_ptr<FrameQueue> frames);
    void start_worker(EncodePlan &plan);
    void collect();
    void count_frames();

    Machine &machine_;
    const std::string label_;
    const uint32_t vectors_size_;
    const std::function<void()> frames_changed_;
    EncodeState state_;
    uint64_t counted_ = 0; /* frames, in the DSP's window */
    uint64_t frames_out_ = 0;
    uint32_t taken_tsms_ = 0;
    std::shared_ptr<FrameQueue> frames_;
    std::shared_ptr<FrameQueue> vectors_;
    std::unique_ptr<EncodeWorker> worker_; /* ends first */
};

} // namespace orka::board

#endif
