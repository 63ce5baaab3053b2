/* The command line. */
#ifndef ORKA_PLAY_OPTIONS_H
#define ORKA_PLAY_OPTIONS_H

#include <optional>
#include <string>

#include "common/patience.h"

namespace orka::play {

struct Options {
    std::string file;
    bool no_audio = false;
    bool no_video = false;
    bool no_subtitles = false;
    bool real_time = false;
    std::string subtitles; /* a file; empty: the clip's own */
    std::string image;     /* empty: by the selection table */
    std::string output;    /* of the display; empty: as it is */
    std::string framemd5;  /* output files; empty: none */
    std::string pcm;
    std::string snapshot;
    std::optional<double> snapshot_at; /* seconds; none: the last picture */
    std::optional<double> seconds;     /* how long a still is shown; none: by the clock */
    double give_up = usual_patience;   /* seconds; 0: never */
};

/* Nothing when there is nothing to play: status is then the exit status. */
std::optional<Options> parse_options(int argc, char **argv, int &status);

} // namespace orka::play

#endif
