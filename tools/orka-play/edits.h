/*
 * What a container wants left out of the decoded streams: an encoder's lead-in, padding at the end, what lies
 * before an edit's first frame. Such marks sit on packets; decoded frames are told by their time stamps.
 */
#ifndef ORKA_PLAY_EDITS_H
#define ORKA_PLAY_EDITS_H

#include <deque>
#include <mutex>
#include <optional>

#include "common/ffmpeg.h"

namespace orka::play {

/*
 * The feeder notes its packets before it commits them; the taker asks for each frame, in presentation order.
 */
class Edits {
  public:
    /* Sound notes every packet: times go back where an edit begins, and what lies before one has time 0. */
    enum class Which { marked, every };
    void note(const AVPacket &packet, uint32_t tsms, Which which);

    /*
     * How long a packet's picture is shown, in ms: one that is to be left out goes in with 0, which tells it
     * from others of its time stamp. All that lies before the clip's start has 0, and some of it may never
     * come out.
     */
    static uint32_t duration(const AVPacket &packet, uint32_t duration);

    /* Whether the picture, of that duration, is to be left out. */
    bool drops_picture(uint32_t tsms, uint32_t duration);

    /* Which of the frame's samples (of one channel) remain. */
    struct Range {
        uint32_t first;
        uint32_t count;
    };
    Range kept_samples(uint32_t tsms, uint32_t count);

  private:
    struct Mark {
        uint32_t tsms;
        bool drop;
        std::optional<uint32_t> skip; /* samples, from here on */
        uint32_t padding;             /* samples at this frame's end */
    };

    std::optional<Mark> take_mark(uint32_t tsms);

    std::mutex mutex_;
    std::deque<Mark> marks_;
    uint32_t skip_ = 0; /* samples still to be left out */
};

} // namespace orka::play

#endif
