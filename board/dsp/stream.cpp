#include "dsp/stream.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace orka::board {

namespace {

/* Sizes beyond these are damage or malice: no queue of the board could hold the picture. */
constexpr int64_t most_pixels = int64_t{4096} * 4096;
constexpr size_t longest_header = 1 << 20;
/* A codec holds back fewer pictures than this, so an end that fails more often does not end. */
constexpr int most_failures_at_end = 32;

void set_extradata(AVCodecContext &context, Bytes header)
{
    if (header.empty())
        return;
    context.extradata =
        static_cast<uint8_t *>(av::need(av_mallocz(header.size() + AV_INPUT_BUFFER_PADDING_SIZE)));
    context.extradata_size = static_cast<int>(header.size());
    std::memcpy(context.extradata, header.data(), header.size());
}

} // namespace

bool is_damaged(const AVFrame &frame)
{
    return frame.decode_error_flags != 0 || (frame.flags & AV_FRAME_FLAG_CORRUPT) != 0;
}

Stream::Stream(Choose choose, Configure configure)
    : choose_(std::move(choose)), configure_(std::move(configure)), packet_(av::need(av_packet_alloc()))
{
}

bool Stream::fail(std::string text)
{
    error_ = std::move(text);
    return false;
}

bool Stream::header(Bytes data)
{
    if (data.empty())
        return true;
    if (data.size() > longest_header)
        return fail("a codec header of " + std::to_string(data.size()) + " bytes is too long");
    if (context_ && std::ranges::equal(data, header_))
        return true;
    header_.assign(data.begin(), data.end());
    header_waits_ = context_ != nullptr;
    const AVCodecID codec = header_waits_ ? AV_CODEC_ID_NONE : choose_(header_, {});
    return codec == AV_CODEC_ID_NONE || open(codec);
}

bool Stream::open(AVCodecID codec)
{
    const AVCodec *decoder = avcodec_find_decoder(codec);
    if (decoder == nullptr)
        return fail(std::string("libavcodec has no decoder for ") + avcodec_get_name(codec));
    av::Context context(av::need(avcodec_alloc_context3(decoder)));
    context->pkt_timebase = {1, 1000};
    context->max_pixels = most_pixels;
    /* A thread of the DSP is one thread: what goes in comes out without the delay that frame threads add. */
    context->thread_count = 1;
    set_extradata(*context, header_);
    configure_(*context);

    const av::Listener listener;
    const int result = avcodec_open2(context.get(), decoder, nullptr);
    if (result < 0)
        return fail(listener.text(std::string("cannot open ") + decoder->name, result));
    context_ = std::move(context);
    proven_ = false;
    return true;
}

/*
 * Until something whole came out, a codec that garbage chose gives way to the one that a later packet shows.
 */
bool Stream::open_for(Bytes packet)
{
    if (context_ && proven_)
        return true;
    const AVCodecID codec = choose_(header_, packet);
    /* A decoder of MPEG-1 and MPEG-2 changes its context's codec to what it finds; its own stays. */
    if (context_ && (codec == AV_CODEC_ID_NONE || codec == context_->codec->id))
        return true;
    return codec == AV_CODEC_ID_NONE ? fail("neither header nor packet shows what codec this is")
                                     : open(codec);
}

/* A decoder of AAC goes on by another header: what overlaps the next packet's sound is not lost. */
bool Stream::takes_header_on_packet() const
{
    return context_ && context_->codec_id == AV_CODEC_ID_AAC;
}

bool Stream::reopen_if_waiting(const FrameSink &sink)
{
    if (!header_waits_ || takes_header_on_packet())
        return true;
    const bool drained = drain(sink);
    context_.reset();
    header_waits_ = false;
    return drained;
}

void Stream::fill_packet(const Packet &packet)
{
    av_packet_unref(packet_.get());
    if (av_new_packet(packet_.get(), static_cast<int>(packet.data.size())) < 0)
        throw std::bad_alloc();
    std::memcpy(packet_->data, packet.data.data(), packet.data.size());
    packet_->pts = packet.tsms == no_tsms ? AV_NOPTS_VALUE : packet.tsms;
    packet_->duration = packet.duration;
    packet_->flags = packet.key ? AV_PKT_FLAG_KEY : 0;
    if (!std::exchange(header_waits_, false))
        return;
    uint8_t *const header = static_cast<uint8_t *>(
        av::need(av_packet_new_side_data(packet_.get(), AV_PKT_DATA_NEW_EXTRADATA, header_.size())));
    std::memcpy(header, header_.data(), header_.size());
}

bool Stream::decode(const Packet &packet, const FrameSink &sink)
{
    const bool drained = reopen_if_waiting(sink);
    if (packet.data.empty()) /* to libavcodec this would be the end of the stream */
        return drained;
    if (packet.data.size() > INT32_MAX / 2)
        return fail("a packet of " + std::to_string(packet.data.size()) + " bytes is too long");
    if (!open_for(packet.data))
        return false;

    fill_packet(packet);
    const av::Listener listener;
    const int result = avcodec_send_packet(context_.get(), packet_.get());
    av_packet_unref(packet_.get());
    if (result < 0)
        return fail(listener.text(context_->codec->name, result));
    if (!receive(listener, sink))
        return false;
    return listener.heard() ? fail(listener.text(context_->codec->name)) : drained;
}

bool Stream::receive(const av::Listener &listener, const FrameSink &sink)
{
    for (;;) {
        av::Frame frame(av::need(av_frame_alloc()));
        const int result = avcodec_receive_frame(context_.get(), frame.get());
        if (result == AVERROR(EAGAIN) || result == AVERROR_EOF)
            return true;
        if (result < 0)
            return fail(listener.text(context_->codec->name, result));
        /* Some codecs complain of a frame and mark it whole. Where none are held back it is this frame. */
        if (listener.heard() && context_->has_b_frames == 0)
            frame->flags |= AV_FRAME_FLAG_CORRUPT;
        proven_ = proven_ || !is_damaged(*frame);
        sink(std::move(frame));
    }
}

bool Stream::drain(const FrameSink &sink)
{
    if (!context_)
        return true;
    const av::Listener listener;
    avcodec_send_packet(context_.get(), nullptr);
    int failures = 0;
    while (!receive(listener, sink) && failures < most_failures_at_end)
        failures++;
    avcodec_flush_buffers(context_.get());
    return failures == 0;
}

void Stream::flush()
{
    if (context_)
        avcodec_flush_buffers(context_.get());
}

} // namespace orka::board
