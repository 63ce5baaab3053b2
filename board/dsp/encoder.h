/*
 * The DSP's encoders: synchronous, without clocks or drivers. Pictures and sound go in; packets come out, as
 * containers take them.
 */
#ifndef ORKA_BOARD_DSP_ENCODER_H
#define ORKA_BOARD_DSP_ENCODER_H

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "dsp/codec.h"
#include "orka_iencode.h"

namespace orka::board {

/* A picture as capture delivers it: UYVY 4:2:2, 2 x width bytes a line; read during the call alone. */
struct CapturedPicture {
    std::span<const uint8_t> uyvy;
    uint32_t width = 0;
    uint32_t height = 0;
    uint32_t tsms = 0;
};

/* A macroblock's vector: from the picture before to this one, in quarters of a pixel. */
struct MotionVector {
    uint16_t x = 0; /* of the macroblock's upper left corner, pixels */
    uint16_t y = 0;
    int16_t dx = 0;
    int16_t dy = 0;
};
static_assert(sizeof(MotionVector) == 8);

/* A coded picture, or coded sound; valid during the sink's call. */
struct CodedPacket {
    std::span<const uint8_t> data;
    uint32_t tsms = 0;
    uint32_t duration = 0; /* ms */
    bool key = false;
    bool header = false;                     /* the codec's headers, and no picture */
    std::span<const MotionVector> vectors{}; /* one a macroblock, row by row, where they were asked for */
};

using CodedSink = std::function<void(const CodedPacket &)>;

/*
 * One encoder. A picture that cannot be encoded gives false and a text in error(). drain() ends the stream
 * and gives what was held back.
 */
class VideoEncoder {
  public:
    /* Null, and a text for the board's log in why, for what cannot be encoded. Pictures of any size are
       scaled to that of the parameters. */
    static std::unique_ptr<VideoEncoder> create(const orka_iencode_video_params_t &params, std::string &why);
    virtual ~VideoEncoder() = default;
    virtual bool encode(const CapturedPicture &picture, const CodedSink &sink) = 0;
    virtual bool drain(const CodedSink &sink) = 0;
    virtual void want_vectors(bool wanted) = 0; /* may be called between pictures */
    virtual const std::string &error() const = 0;
};

class AudioEncoder {
  public:
    static std::unique_ptr<AudioEncoder> create(const orka_iencode_audio_params_t &params, std::string &why);
    virtual ~AudioEncoder() = default;
    /* Interleaved samples of the rate and channels of the parameters, any number of them. */
    virtual bool encode(std::span<const int16_t> samples, uint32_t tsms, const CodedSink &sink) = 0;
    virtual bool drain(const CodedSink &sink) = 0;
    virtual uint32_t frame_samples() const = 0; /* of each channel, that make a packet */
    virtual const std::string &error() const = 0;
};

} // namespace orka::board

#endif
