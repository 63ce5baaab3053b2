/* What is used of libavcodec; each list is given by the file that has the table of these codecs. */
#ifndef ORKA_BOARD_DSP_NEEDED_CODECS_H
#define ORKA_BOARD_DSP_NEEDED_CODECS_H

#include <vector>

#include "dsp/av.h"

namespace orka::board {

using DecoderList = std::vector<AVCodecID>;
using EncoderList = std::vector<const char *>;

DecoderList video_decoders_needed();
DecoderList audio_decoders_needed();
DecoderList image_decoders_needed();
EncoderList video_encoders_needed();
EncoderList audio_encoders_needed();
EncoderList image_encoders_needed();

template <typename Table>
EncoderList encoders_of(const Table &table)
{
    EncoderList names;
    for (const auto &row : table)
        names.push_back(row.encoder);
    return names;
}

} // namespace orka::board

#endif
