/* Owners for libavcodec's records, and its errors as text. */
#ifndef ORKA_BOARD_DSP_AV_H
#define ORKA_BOARD_DSP_AV_H

#include <memory>
#include <new>
#include <string>
#include <string_view>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libswresample/swresample.h>
#include <libswscale/swscale.h>
}

namespace orka::board::av {

struct Free {
    void operator()(AVCodecContext *context) const { avcodec_free_context(&context); }
    void operator()(AVPacket *packet) const { av_packet_free(&packet); }
    void operator()(AVFrame *frame) const { av_frame_free(&frame); }
    void operator()(SwsContext *context) const { sws_freeContext(context); }
    void operator()(SwrContext *context) const { swr_free(&context); }
};

using Context = std::unique_ptr<AVCodecContext, Free>;
using Packet = std::unique_ptr<AVPacket, Free>;
using Frame = std::unique_ptr<AVFrame, Free>;
using Scaler = std::unique_ptr<SwsContext, Free>;
using Resampler = std::unique_ptr<SwrContext, Free>;

/* The pointer, or std::bad_alloc. */
template <typename Pointer>
Pointer *need(Pointer *pointer)
{
    if (pointer == nullptr)
        throw std::bad_alloc();
    return pointer;
}

/*
 * Collects what libavcodec says while it lives, on this thread alone, instead of letting it onto the server's
 * standard error. Lives around one call into libavcodec.
 */
class Listener {
  public:
    Listener();
    Listener(const Listener &) = delete;
    Listener &operator=(const Listener &) = delete;

    /* Something was wrong, if only so much that decoding went on. */
    bool heard() const;
    /* "who: the error's meaning (the first complaint)"; without an error, "who: the first complaint". */
    std::string text(std::string_view who, int error = 0) const;
};

} // namespace orka::board::av

#endif
