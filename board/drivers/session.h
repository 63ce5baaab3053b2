/*
 * A decoder that is set up: its range of physical memory, its frames on their way in and out, and who waits
 * for them.
 *
 *     handed out -> committed -> (worker) -> decoded -> shown -> taken -> released
 *     '-------- input part ---------'        '----------- output part ----------'
 *
 * Shown is what a program can take. In real time a frame is shown when it is due; as fast as possible, when
 * it is decoded. While nobody has ever asked for a frame, the decoder stalls with its output full, and if
 * that lasts, takes what was shown as seen: a program that takes nothing still plays. Once somebody asked,
 * nothing is dropped.
 */
#ifndef ORKA_BOARD_SESSION_H
#define ORKA_BOARD_SESSION_H

#include <deque>
#include <set>

#include "drivers/decoder_session.h"
#include "drivers/frame_input.h"
#include "drivers/video_plane.h"
#include "drivers/worker.h"

namespace orka::board {

/* How a session is made. */
struct SessionPlan {
    State first = State::ready;
    uint32_t kind = 0; /* of its frames */
    std::string label; /* begins its lines in the log */
    uint32_t bufsize = 0;
    uint32_t bufcount = 0;
    uint32_t maxframe = 0;
    uint64_t output = 0; /* bytes */
    std::unique_ptr<CodecStream> stream;
    std::optional<uint32_t> rank; /* of pictures: the decoder's in the video plane */
    bool timeless = false;        /* frames are shown when they are decoded, whatever clock and viewer say */
    std::function<void()> readable_changed;
};

class Session final : public DecoderSession, public std::enable_shared_from_this<Session> {
  public:
    /*
     * How long the output stays full before what nobody takes is taken as seen: a program may feed for a
     * while before it takes, but at the clip's own pace a pause is noticed.
     */
    static constexpr std::chrono::milliseconds patience{2000};
    static constexpr std::chrono::milliseconds real_time_patience{500};

    /* Null when there is no memory for its queue. */
    static std::shared_ptr<Session> create(Machine &machine, SessionPlan plan);
    ~Session() override;

    void enter(State next) override;
    void flush() override;
    bool hang() override;
    void close() override;

    void queue(Call &call) override;
    void new_frame(std::shared_ptr<Call> call) override;
    void commit(Call &call) override;
    void get(std::shared_ptr<Call> call) override;
    void release(Call &call) override;
    void wait(std::shared_ptr<Call> call) override;
    bool readable() const override { return !shown_.empty(); }

    void report(nlohmann::json &decoder) const override;

  private:
    Session(Machine &machine, SessionPlan plan, uint32_t base, uint32_t input, uint32_t length);
    void start_worker(std::unique_ptr<CodecStream> stream, uint32_t input);

    bool deliver(Call &call);
    void serve_takers();

    void collect();
    void begin_stream();
    void keep_time(State before);
    bool is_hurried() const { return state_ == State::rewinding || state_ == State::forwarding; }
    void present();
    bool is_due(const orka_idecode_frame_t &frame);
    bool is_let_through(const orka_idecode_frame_t &frame, uint32_t tsms);
    bool is_skipped(const orka_idecode_frame_t &frame) const;
    bool is_held_back() const { return !timeless_ && machine_.presentation.is_held() && !decoded_.empty(); }
    void show(orka_idecode_frame_t frame);
    void finish();
    void relieve();
    void lose_patience();
    void drop_shown();
    void drop_everything();
    void drop(const orka_idecode_frame_t &frame);
    void put_on_screen(const orka_idecode_frame_t &frame);
    void let_hear(const orka_idecode_frame_t &frame);
    void give_back(uint32_t address);
    void relieve_screen();
    void tell_readable();
    void disarm(std::optional<Reactor::TimerId> &timer);

    Machine &machine_;
    const uint32_t kind_;
    const std::string label_;
    const uint32_t base_;
    const uint32_t length_;
    const bool timeless_;
    const std::function<void()> readable_changed_;
    const uint32_t listener_; /* to the clock */

    FrameInput input_;

    std::deque<orka_idecode_frame_t> decoded_;
    std::deque<orka_idecode_frame_t> shown_;
    std::set<uint32_t> taken_;
    uint32_t shown_number_ = 0;
    uint32_t shown_until_ = 0; /* the end of the last shown frame */
    bool finished_ = false;    /* LAST was shown */
    bool was_readable_ = false;
    bool left_time_line_ = false; /* by rewind or fast-forward */

    std::optional<DisplayClock::Source> time_; /* of pictures and sound */

    /* The picture in the video plane keeps its buffer until the next one is there. */
    std::optional<VideoPlane::Source> plane_;
    uint32_t on_screen_ = 0;      /* its buffer, or 0 */
    bool on_screen_done_ = false; /* nobody else has it any more */

    uint64_t frames_out_ = 0; /* since setup, each LAST left out */
    uint64_t dropped_ = 0;

    bool asked_ = false;     /* somebody takes frames */
    bool unwatched_ = false; /* nobody does */
    std::optional<Reactor::TimerId> stall_timer_;
    std::optional<Reactor::TimerId> due_timer_;

    Waiting takers_;
    Waiting finishers_;
    std::unique_ptr<Worker> worker_; /* ends first */
};

} // namespace orka::board

#endif
