/*
 * The encoder of stills, set up: who waits for a picture, and when the next one is taken.
 *
 * A get that finds no picture has the next one taken that the camera shows. A picture that nobody waits for
 * any more when it comes is kept for the next get.
 *
 * The reactor's thread alone.
 */
#ifndef ORKA_BOARD_STILL_SESSION_H
#define ORKA_BOARD_STILL_SESSION_H

#include "drivers/still_worker.h"
#include "drivers/waiting.h"

namespace orka::board {

/* How a session is made. */
struct StillPlan {
    std::string label; /* begins its lines in the log */
    uint32_t width = 0;
    uint32_t height = 0;
    std::unique_ptr<ImageEncoder> codec;
    std::function<void()> readable_changed;
};

class StillSession : public std::enable_shared_from_this<StillSession> {
  public:
    /* Null when there is no memory for its queue. */
    static std::shared_ptr<StillSession> create(Machine &machine, StillPlan plan);
    static uint64_t queue_bytes(uint32_t width, uint32_t height);
    ~StillSession();
    StillSession(const StillSession &) = delete;
    StillSession &operator=(const StillSession &) = delete;

    void get(std::shared_ptr<Call> call);
    void release(Call &call);
    void hang() { worker_->hang(); }
    const FrameQueue &frames() const { return *frames_; }
    bool readable() const { return frames_->readable(); }
    uint64_t made() const { return made_; }       /* pictures */
    uint64_t failures() const { return failed_; } /* pictures that were not */

  private:
    StillSession(Machine &machine, StillPlan &plan, std::shared_ptr<FrameQueue> frames);
    void start_worker(StillPlan &plan);

    uint64_t present_us();
    void take();
    void done(const std::string &why);
    bool deliver(Call &call);
    void serve();

    Machine &machine_;
    const std::string label_;
    const std::function<void()> readable_changed_;
    const std::shared_ptr<FrameQueue> frames_;
    CaptureClock::Place place_;
    std::optional<Reactor::TimerId> timer_;
    bool busy_ = false;    /* a picture is waited for or made */
    uint64_t next_us_ = 0; /* no picture is taken twice */
    uint64_t made_ = 0;
    uint64_t failed_ = 0;
    Waiting takers_;
    std::unique_ptr<StillWorker> worker_; /* ends first */
};

} // namespace orka::board

#endif
