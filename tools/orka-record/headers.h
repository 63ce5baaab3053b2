/* What containers want to know of a stream before its first packet. */
#ifndef ORKA_RECORD_HEADERS_H
#define ORKA_RECORD_HEADERS_H

#include <span>
#include <vector>

#include "common/ffmpeg.h"
#include "orka_iencode.h"
#include "orka_media.h"

namespace orka::record {

/* Gives the stream its codec's headers. Throws Failure when there is no memory. */
void set_headers(AVCodecParameters &stream, std::span<const uint8_t> headers);

/*
 * The headers of a video stream, from its first coded picture: those that the picture brings, and for MPEG-4
 * without any, made for its size; empty where the codec has none.
 */
std::vector<uint8_t> video_headers(const orka_iencode_frame_t &first, orka_video_type_t type,
                                   const AVCodecParameters &stream);

/*
 * As long a silence as a coded packet is; the packet itself, heard twice, of codecs whose silence is not
 * known.
 */
std::vector<uint8_t> silence_like(std::span<const uint8_t> packet, const AVCodecParameters &stream);

/* The coded picture is a key frame; said: by its encoder. */
bool is_key_frame(bool said, std::span<const uint8_t> picture, orka_video_type_t type);

} // namespace orka::record

#endif
