/*
 * The DSP's codecs: synchronous, without threads, clocks or drivers. Packets go in; pictures and sound come
 * out.
 *
 * Nothing here throws towards its caller for bad media; a packet that cannot be decoded is reported in the
 * result and the next good one decodes.
 */
#ifndef ORKA_BOARD_DSP_CODEC_H
#define ORKA_BOARD_DSP_CODEC_H

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>

#include "orka_idecode.h"

namespace orka::board {

/* Words of a frame. */
enum frame_flag : uint32_t { frame_key = 1, frame_header = 2, frame_damaged = 4 };

/* The time stamp of a packet whose container gives none: what it decodes to follows on what came before. */
constexpr uint32_t no_tsms = 0xFFFFFFFF;

/* A packet as a container delivers it. data need not be padded; it is read during the call alone. */
struct Packet {
    std::span<const uint8_t> data;
    uint32_t tsms = 0;     /* presentation time stamp, or no_tsms */
    uint32_t duration = 0; /* ms, 0 where unknown */
    bool key = false;
};

/*
 * A decoded picture; valid during the sink's call, or as long as whoever moved it out of it likes, also after
 * its decoder has gone. Pictures of one decoder share a converter: one thread at a time writes them, which
 * need not be the one that decodes.
 */
class Picture {
  public:
    virtual ~Picture() = default;
    virtual int width() const = 0; /* visible */
    virtual int height() const = 0;
    virtual uint32_t tsms() const = 0;
    virtual uint32_t duration() const = 0;
    virtual bool key() const = 0;
    virtual bool damaged() const = 0;
    /* Bytes of its UYVY 4:2:2 form: stride is 2 x width rounded up to 4. */
    uint32_t stride() const { return static_cast<uint32_t>(width() * 2 + 3) / 4 * 4; }
    uint32_t size() const { return stride() * static_cast<uint32_t>(height()); }
    /* Writes size() bytes. Fastest where the width is a multiple of 16 and out begins at a multiple of 32.
       std::length_error where out is shorter, std::bad_alloc where memory is out. */
    virtual void write_uyvy(std::span<uint8_t> out) const = 0;
};

/* Decoded sound: interleaved signed 16-bit samples; valid during the sink's call. */
struct Sound {
    std::span<const int16_t> samples;
    uint32_t sample_rate = 0;
    uint32_t channels = 0;
    uint32_t tsms = 0;
    uint32_t duration = 0;
    bool damaged = false;
};

using PictureSink = std::function<void(std::unique_ptr<Picture>)>;
using SoundSink = std::function<void(const Sound &)>;

/*
 * One decoder. header() takes the codec's extradata, before the first packet; a different one later begins a
 * new stream, and what the old one held back comes out first, with the next packet. A packet or a header that
 * is damaged gives false and a text in error(); what could be decoded has still gone to the sink. drain()
 * ends the stream and gives what was held back for order; after flush() or drain() a decoder takes packets
 * again.
 */
class VideoDecoder {
  public:
    /* Null, and a text for the board's log in why, for what cannot be decoded. Checks everything that can be
       told before the first packet. */
    static std::unique_ptr<VideoDecoder> create(const orka_idecode_video_params_t &params, std::string &why);
    virtual ~VideoDecoder() = default;
    virtual bool header(std::span<const uint8_t> data) = 0;
    virtual bool decode(const Packet &packet, const PictureSink &sink) = 0;
    virtual bool drain(const PictureSink &sink) = 0;
    virtual void flush() = 0;
    virtual const std::string &error() const = 0;
};

class AudioDecoder {
  public:
    static std::unique_ptr<AudioDecoder> create(const orka_idecode_audio_params_t &params, std::string &why);
    virtual ~AudioDecoder() = default;
    virtual bool header(std::span<const uint8_t> data) = 0;
    virtual bool decode(const Packet &packet, const SoundSink &sink) = 0;
    virtual bool drain(const SoundSink &sink) = 0;
    virtual void flush() = 0;
    virtual const std::string &error() const = 0;
};

} // namespace orka::board

#endif
