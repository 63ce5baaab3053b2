/*
 * Capture that is set up: a ring of frame buffers in physical memory, the camera's pictures on their way into
 * it, and who waits for them.
 *
 *     free -> filling -> waiting -> held by the program -> free
 *
 * In real time a frame is captured when its time has come. With no buffer free, the frame that waits longest
 * makes room; where the program holds them all, the new one is dropped. As fast as possible the next frame is
 * captured as soon as the one before was got, and none is dropped.
 */
#ifndef ORKA_BOARD_CAPTURE_SESSION_H
#define ORKA_BOARD_CAPTURE_SESSION_H

#include <deque>
#include <set>

#include "drivers/capture_worker.h"
#include "drivers/waiting.h"

namespace orka::board {

/* A mode, as far as it matters here. */
struct CaptureMode {
    std::string name;
    Standard standard;
    bool field = false; /* fields, upper and lower lines by turns, as many a second as pictures */

    uint32_t height() const { return field ? standard.height / 2 : standard.height; }
    uint32_t frame_size() const { return standard.width * height() * 2; }
};

/* The first picture that begins at that time or later. */
constexpr uint64_t first_picture_from(const Standard &standard, uint64_t time_us)
{
    const uint64_t number = picture_number(standard, time_us);
    return picture_time_us(standard, number) < time_us ? number + 1 : number;
}

enum class PassThrough : uint32_t { none = 0, encoded = 1, captured = 2 };

class CaptureSession : public std::enable_shared_from_this<CaptureSession> {
  public:
    static constexpr uint32_t buffers = 16; /* as many as a program's handle has slots */

    struct Counts {
        uint64_t captured = 0; /* frames that came into a buffer */
        uint64_t got = 0;
        uint64_t dropped = 0; /* for want of a buffer, or of time */
    };

    /* Null when there is no memory for its buffers. readable_changed: a frame waits, or none does any more.
     */
    static std::shared_ptr<CaptureSession> create(Machine &machine, CaptureMode mode,
                                                  std::function<void()> readable_changed);
    ~CaptureSession();
    CaptureSession(const CaptureSession &) = delete;
    CaptureSession &operator=(const CaptureSession &) = delete;

    const CaptureMode &mode() const { return mode_; }
    uint32_t base() const { return base_; }
    uint32_t size() const { return mode_.frame_size() * buffers; }
    bool enabled() const { return enabled_; }
    bool readable() const { return !waiting_.empty(); }
    size_t waiting() const { return waiting_.size(); }
    size_t held() const { return held_.size(); }
    const Counts &counts() const { return counts_; }

    /* Whoever waits when it is disabled gets EINVAL, and frames that wait are gone; what the program holds
       stays its own. */
    void enable(bool enabled);
    /* channel: whose encoder's picture PassThrough::encoded means. */
    void pass_through(PassThrough mode, uint32_t channel);
    void get(std::shared_ptr<Call> call);
    void release(Call &call);

  private:
    CaptureSession(Machine &machine, CaptureMode mode, uint32_t base, std::function<void()> readable_changed);

    void begin();
    void end();
    void schedule();
    void tick();
    void skip_to(uint64_t number);
    void capture_ahead();
    void capture();
    void captured(const Captured &captured);
    CaptureJob job_for(std::optional<uint32_t> buffer) const;
    std::optional<uint32_t> room();
    void deliver(Call &call);
    void serve();
    void show_nothing();
    void tell_readable();

    Machine &machine_;
    const CaptureMode mode_;
    const uint32_t base_;
    const std::function<void()> readable_changed_;
    Counts counts_;

    bool enabled_ = false;
    std::optional<CaptureClock::Place> place_; /* while enabled */
    uint64_t number_ = 0;                      /* of the picture that is captured next */
    std::optional<Reactor::TimerId> timer_;
    PassThrough pass_through_ = PassThrough::none;
    uint32_t channel_ = 0;
    bool showing_ = false; /* the display has a captured picture */

    std::set<uint32_t> free_; /* addresses of buffers */
    std::deque<uint32_t> waiting_;
    std::set<uint32_t> held_;
    bool busy_ = false;   /* the worker makes a picture */
    bool wanted_ = false; /* and it is still wanted */
    std::optional<uint32_t> filling_;
    bool was_readable_ = false;

    Waiting takers_;
    std::unique_ptr<CaptureWorker> worker_; /* ends first */
};

} // namespace orka::board

#endif
