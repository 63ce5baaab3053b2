/* From a container's codecs to the decoders' types, parameters and images. */
#ifndef ORKA_PLAY_CATALOGUE_H
#define ORKA_PLAY_CATALOGUE_H

#include <span>
#include <string>
#include <vector>

#include "common/ffmpeg.h"
#include "orka_idecode.h"

namespace orka::play {

/* The decoders' type of a stream; NONE, and a clause that tells the user why, where no image decodes it. */
orka_audio_type_t audio_type(const AVCodecParameters &stream, std::string &why);
orka_video_type_t video_type(const AVCodecParameters &stream, std::string &why);

/* What the decoders are set up with, for a stream of that type. They throw Failure. */
orka_idecode_audio_params_t audio_params(const AVCodecParameters &stream, orka_audio_type_t type);
orka_idecode_video_params_t video_params(const AVCodecParameters &stream, orka_video_type_t type);

/*
 * What the decoder is told before the first packet, or before one with another header: the codec's extradata,
 * and what the container alone says.
 */
std::vector<uint8_t> codec_header(const AVCodecParameters &stream, std::span<const uint8_t> extradata);

/* The image for a pair, either of which may be NONE; empty where the selection table serves none. */
std::string select_image(orka_video_type_t video, orka_audio_type_t audio);

} // namespace orka::play

#endif
