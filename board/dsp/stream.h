/*
 * What decoding picture and sound have in common: a codec of libavcodec that opens when its bytes show what
 * it is.
 */
#ifndef ORKA_BOARD_DSP_STREAM_H
#define ORKA_BOARD_DSP_STREAM_H

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <vector>

#include "dsp/av.h"
#include "dsp/codec.h"

namespace orka::board {

using Bytes = std::span<const uint8_t>;

/* libavcodec patched what it could not decode. */
bool is_damaged(const AVFrame &frame);

/*
 * A stream is closed, open or to be reopened:
 *
 *   closed -- header or packet that tells the codec --> open -- another header --> open, header waiting
 *
 * and the packet that follows a waiting header drains the old codec and opens the new one.
 */
class Stream {
  public:
    /*
     * The codec that the header (may be empty), or else the packet (may be empty), tells; NONE while it is
     * untold.
     */
    using Choose = std::function<AVCodecID(Bytes header, Bytes packet)>;
    /* Sets what the codec needs to know beside its header. */
    using Configure = std::function<void(AVCodecContext &context)>;
    /* The frame is the sink's to keep. */
    using FrameSink = std::function<void(av::Frame)>;

    Stream(Choose choose, Configure configure);

    bool header(Bytes data);
    bool decode(const Packet &packet, const FrameSink &sink);
    bool drain(const FrameSink &sink);
    void flush();
    const std::string &error() const { return error_; }

    /* For streams whose container gave no header. */
    void set_default_header(std::vector<uint8_t> header) { header_ = std::move(header); }
    /* Null while closed. */
    const AVCodecContext *context() const { return context_.get(); }

  private:
    bool open(AVCodecID codec);
    bool open_for(Bytes packet);
    bool takes_header_on_packet() const;
    bool reopen_if_waiting(const FrameSink &sink);
    bool receive(const av::Listener &listener, const FrameSink &sink);
    void fill_packet(const Packet &packet);
    bool fail(std::string text);

    Choose choose_;
    Configure configure_;
    std::vector<uint8_t> header_;
    bool header_waits_ = false;
    av::Context context_;
    bool proven_ = false; /* the open codec has given something whole */
    av::Packet packet_;
    std::string error_;
};

} // namespace orka::board

#endif
