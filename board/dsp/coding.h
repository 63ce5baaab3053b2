/* What encoding picture and sound have in common: an encoder of libavcodec, frames in, packets out. */
#ifndef ORKA_BOARD_DSP_CODING_H
#define ORKA_BOARD_DSP_CODING_H

#include <functional>
#include <string>

#include "dsp/av.h"

namespace orka::board {

class Coding {
  public:
    /* Sets what the encoder needs to know before it opens. */
    using Configure = std::function<void(AVCodecContext &context)>;
    using PacketSink = std::function<void(const AVPacket &)>;

    Coding() : packet_(av::need(av_packet_alloc())) {}

    /* Also instead of what was open: a new stream begins. */
    bool open(const char *encoder, const Configure &configure);
    void close() { context_.reset(); }
    /* Null ends the stream, and gives what was held back. */
    bool send(const AVFrame *frame, const PacketSink &sink);

    /* Null while closed. */
    AVCodecContext *context() const { return context_.get(); }
    const std::string &error() const { return error_; }
    bool fail(std::string text);

  private:
    av::Context context_;
    av::Packet packet_;
    std::string error_;
};

} // namespace orka::board

#endif
