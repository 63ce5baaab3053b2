/* The command line. */
#ifndef ORKA_RECORD_OPTIONS_H
#define ORKA_RECORD_OPTIONS_H

#include <cstdint>
#include <optional>
#include <string>

#include "common/patience.h"
#include "common/size.h"
#include "container.h"

namespace orka::record {

struct Options {
    std::string file;
    const Container *container = nullptr;
    orka_video_type_t video = ORKA_VIDEO_TYPE_NONE;
    orka_audio_type_t audio = ORKA_AUDIO_TYPE_NONE;
    bool pal = false;
    bool view = false;
    Size size;            /* 0x0: the standard's, or the codec's own */
    uint32_t bitrate = 0; /* kbit/s; 0: the encoder's own */
    uint32_t quality = 0; /* of a JPEG still, 1 to 100; 0: the encoder's own */
    uint32_t sample_rate = 0;
    uint32_t audio_bitrate = 0;
    int32_t channel = 0;
    std::optional<double> seconds;   /* none: until a signal */
    double give_up = usual_patience; /* seconds; 0: never */
};

/* Nothing when there is nothing to record: status is then the exit status. */
std::optional<Options> parse_options(int argc, char **argv, int &status);

} // namespace orka::record

#endif
