/* The subtitles that are shown with a clip: its own, or those of a file. */
#ifndef ORKA_PLAY_SUBTITLES_H
#define ORKA_PLAY_SUBTITLES_H

#include <deque>
#include <memory>
#include <string>

#include "clip.h"
#include "decoder.h"
#include "options.h"
#include "subtitle_reader.h"

namespace orka::play {

/*
 * They wait here, as many as there are, for the decoder to have room: whoever reads the clip is never held
 * up. All but frames_in() is for one thread at a time, and may throw Failure.
 */
class Subtitles {
  public:
    /* Null where there is nothing to show; where there is something that cannot be shown, that is said. */
    static std::unique_ptr<Subtitles> open(const Clip &clip, const Options &options);

    void start(); /* before the first picture, with what is known so far */
    void stop();
    void pass(const ClipPacket &packet); /* of the clip; of any stream */
    void finish();                       /* no packet will come any more */
    /* Gives the decoder what it has room for, and waits that many ms for room. True when nothing is left. */
    bool feed(int32_t timeout);

    uint32_t frames_in() const { return frames_in_; }

  private:
    Subtitles(const AVStream *track, SubtitleFile file);
    static std::unique_ptr<Subtitles> open_track(const AVStream &track);
    void put(const orka_idecode_frame_t &place, const Subtitle &subtitle);

    const int track_; /* in the clip; -1 for those of a file */
    std::unique_ptr<SubtitleReader> reader_;
    std::unique_ptr<Decoder> decoder_;
    std::deque<Subtitle> waiting_;
    bool finished_ = false; /* what waits is all there is */
    bool ended_ = false;    /* and the decoder knows */
    uint32_t frames_in_ = 0;
    uint32_t left_out_ = 0;
};

} // namespace orka::play

#endif
