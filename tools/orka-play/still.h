/* Plays a still: puts it on the display, and keeps it there for a while. */
#ifndef ORKA_PLAY_STILL_H
#define ORKA_PLAY_STILL_H

#include <atomic>
#include <optional>
#include <string>

#include "clip.h"
#include "common/display_output.h"
#include "options.h"
#include "orka_media.h"
#include "outputs.h"
#include "snapshot.h"
#include "still_decoder.h"

namespace orka::play {

/* NONE for a clip that is no still. */
orka_image_type_t still_type(const Clip &clip);

class StillPlayer {
  public:
    /* Sets the decoder up. Throws Failure. */
    StillPlayer(const Clip &clip, const Options &options, const std::atomic<bool> &stop);

    /* Returns when it was shown for long enough, or stopped. Throws Failure. */
    void play();
    void print_summary() const;

  private:
    void open_outputs();
    void close_outputs();
    void take();
    void deliver(const orka_idecode_frame_t &frame);
    void keep_shown();
    void report_faults() const;

    const std::string path_;
    const orka_image_type_t type_;
    const Options &options_;
    const std::atomic<bool> &stop_;
    const double seconds_; /* to be shown */
    const AVRational rate_;
    std::vector<uint8_t> file_;
    std::optional<PictureHashes> hashes_;
    std::optional<Snapshot> snapshot_;
    std::optional<DisplayOutput> display_; /* for longer than what it shows */
    std::optional<StillDecoder> decoder_;
    orka_idecode_frame_t shown_ = {}; /* the words of what is on the display; its kind is 0 before */
    double shown_seconds_ = 0;
};

} // namespace orka::play

#endif
