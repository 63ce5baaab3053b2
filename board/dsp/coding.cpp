#include "dsp/coding.h"

namespace orka::board {

bool Coding::fail(std::string text)
{
    error_ = std::move(text);
    return false;
}

bool Coding::open(const char *encoder, const Configure &configure)
{
    const AVCodec *codec = avcodec_find_encoder_by_name(encoder);
    if (codec == nullptr)
        return fail(std::string("libavcodec has no encoder ") + encoder);
    av::Context context(av::need(avcodec_alloc_context3(codec)));
    context->thread_count = 1; /* what goes in comes out at once, and always the same */
    context->flags |= AV_CODEC_FLAG_BITEXACT;
    configure(*context);

    const av::Listener listener;
    const int result = avcodec_open2(context.get(), codec, nullptr);
    if (result < 0)
        return fail(listener.text(std::string("cannot open ") + encoder, result));
    context_ = std::move(context);
    return true;
}

bool Coding::send(const AVFrame *frame, const PacketSink &sink)
{
    const av::Listener listener;
    int result = avcodec_send_frame(context_.get(), frame);
    while (result >= 0) {
        result = avcodec_receive_packet(context_.get(), packet_.get());
        if (result < 0)
            break;
        sink(*packet_);
        av_packet_unref(packet_.get());
    }
    const bool all_done = result == AVERROR(EAGAIN) || result == AVERROR_EOF;
    return all_done || fail(listener.text(context_->codec->name, result));
}

} // namespace orka::board
