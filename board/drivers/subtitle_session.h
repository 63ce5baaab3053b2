/*
 * The subtitle decoder that is set up: texts wait in its queue for their time, are on the screen while it
 * lasts, and are forgotten.
 *
 *     handed out -> committed -> on the screen -> over
 *     '----- in the queue -----'
 *
 * Time is that of the display clock. What is over when it is first looked at is dropped.
 */
#ifndef ORKA_BOARD_SUBTITLE_SESSION_H
#define ORKA_BOARD_SUBTITLE_SESSION_H

#include <cerrno>
#include <list>

#include "drivers/session.h"

namespace orka::board {

class SubtitleSession final : public DecoderSession {
  public:
    /* Null when there is no memory for its queue. */
    static std::shared_ptr<DecoderSession> create(Machine &machine, const SessionPlan &plan,
                                                  std::shared_ptr<TextPainter> painter);
    ~SubtitleSession() override;

    void enter(State next) override;
    void flush() override;
    void close() override;

    void queue(Call &call) override;
    void new_frame(std::shared_ptr<Call> call) override;
    void commit(Call &call) override;
    /* Nothing comes out. */
    void get(std::shared_ptr<Call> call) override { call->fail(EINVAL); }
    void release(Call &call) override { call.fail(EINVAL); }
    void wait(std::shared_ptr<Call> call) override { call->fail(EINVAL); }
    bool readable() const override { return false; }

    void report(nlohmann::json &decoder) const override;

  private:
    /* At the same time; the oldest has to go. */
    static constexpr size_t most_on_screen = 8;
    static constexpr uint64_t open_end = UINT64_MAX;

    struct Subtitle {
        uint32_t address; /* its place in the queue, 0 once it was shown */
        uint32_t begin;   /* ms */
        uint64_t end;     /* from here on it is over */
        std::string text;

        bool waits() const { return address != 0; }
        bool is_over(uint32_t now) const { return end <= now; }
    };

    SubtitleSession(Machine &machine, const SessionPlan &plan, std::shared_ptr<TextPainter> painter,
                    uint32_t base);
    void add(const orka_idecode_frame_t &frame);
    void follow();
    void move_on(uint32_t now);
    void begin(Subtitle &subtitle, uint32_t now);
    void forget_oldest();
    size_t on_screen() const;
    std::string text_at(uint32_t now) const;
    void show(const std::string &text);

    Machine &machine_;
    const uint32_t base_;
    const uint32_t length_;
    const std::shared_ptr<TextPainter> painter_;
    FrameInput input_;
    std::list<Subtitle> subtitles_; /* as they were committed */
    uint64_t shown_ = 0;            /* since setup */
    uint64_t dropped_ = 0;
};

} // namespace orka::board

#endif
