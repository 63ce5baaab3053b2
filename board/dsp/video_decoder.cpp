#include "dsp/codec.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <iterator>
#include <optional>
#include <string_view>

#include "dsp/decoded_picture.h"
#include "dsp/needed_codecs.h"
#include "dsp/stream.h"

namespace orka::board {

namespace {

constexpr uint32_t largest_side = 4096;
/* For streams that tell neither time stamps nor a rate. */
constexpr uint32_t usual_duration = 40;

/* ---- Codec numbers ---- */

/* A start code 00 00 01 is MPEG-4's; H.263 begins its pictures with 00 00 and the bits 100000. */
AVCodecID tell_mpeg4_from_h263(Bytes data)
{
    for (size_t at = 0; at + 2 < data.size(); at++) {
        if (data[at] != 0 || data[at + 1] != 0)
            continue;
        if (data[at + 2] == 1)
            return AV_CODEC_ID_MPEG4;
        if ((data[at + 2] & 0xFC) == 0x80)
            return AV_CODEC_ID_H263;
    }
    return AV_CODEC_ID_NONE;
}

AVCodecID choose_mpeg4_or_h263(Bytes header, Bytes packet)
{
    const AVCodecID told = tell_mpeg4_from_h263(header);
    return told != AV_CODEC_ID_NONE ? told : tell_mpeg4_from_h263(packet);
}

/* The advanced profile's header holds a sequence start code, the others' is a few bits without one. */
AVCodecID choose_wmv9(Bytes header, Bytes packet)
{
    constexpr uint8_t sequence[] = {0, 0, 1, 0x0F};
    if (std::search(header.begin(), header.end(), std::begin(sequence), std::end(sequence)) != header.end())
        return AV_CODEC_ID_VC1;
    return header.empty() && packet.empty() ? AV_CODEC_ID_NONE : AV_CODEC_ID_WMV3;
}

template <AVCodecID codec>
AVCodecID choose(Bytes, Bytes)
{
    return codec;
}

struct VideoCodec {
    uint32_t number;
    AVCodecID (*choose)(Bytes header, Bytes packet);
    bool needs_size = false; /* its bitstream does not tell it */
    AVPixelFormat raw = AV_PIX_FMT_NONE;
};

constexpr auto codecs = std::to_array<VideoCodec>({
    {1, choose_mpeg4_or_h263},
    {4, choose<AV_CODEC_ID_MSMPEG4V3>, true},
    {5, choose_wmv9, true},
    {6, choose<AV_CODEC_ID_H264>},
    {7, choose<AV_CODEC_ID_MPEG1VIDEO>},
    {8, choose<AV_CODEC_ID_MPEG2VIDEO>},
    {15, choose<AV_CODEC_ID_WMV2>, true},
    {16, choose<AV_CODEC_ID_WMV1>, true},
    {256, choose<AV_CODEC_ID_RAWVIDEO>, true, AV_PIX_FMT_UYVY422},
    {257, choose<AV_CODEC_ID_RAWVIDEO>, true, AV_PIX_FMT_RGB24},
});

const char *why_refused(uint32_t number)
{
    switch (number) {
    case 0:
        return "video codec 0 is no video: there is nothing to decode";
    case 9:
        return "video codec 9 (MJPEG): no image decodes it";
    case 10:
        return "video codec 10 (JPEG): no image decodes it";
    default:
        return nullptr;
    }
}

/* An empty text where the setup can be served. */
std::string objection(const VideoCodec &codec, const orka_idecode_video_params_t &params)
{
    const std::string size = std::to_string(params.width) + "x" + std::to_string(params.height);
    const std::string subject = "video codec " + std::to_string(codec.number) + ": ";
    if (params.width > largest_side || params.height > largest_side)
        return subject + "pictures of " + size + " are too large";
    if (codec.needs_size && (params.width == 0 || params.height == 0))
        return subject + "the size of its pictures must be set up, and " + size + " is none";
    return {};
}

/* ---- The decoder ---- */

/* How many pictures an H.264 decoder holds back at first, where the header's last message tells it. */
std::optional<int> told_delay(Bytes header)
{
    constexpr std::string_view begin("\0\0\0\1\6\5\21orka, held back:", 23);
    constexpr size_t end = 2; /* the number, and a closing bit */
    constexpr int most = 16;
    if (header.size() < begin.size() + end)
        return std::nullopt;
    const Bytes note = header.last(begin.size() + end);
    if (!std::equal(begin.begin(), begin.end(), note.begin(),
                    [](char a, uint8_t b) { return static_cast<uint8_t>(a) == b; }))
        return std::nullopt;
    return std::min<int>(note[begin.size()], most);
}

/*
 * Where nobody tells, as many pictures are held back as a stream that does not tell its order may need,
 * instead of losing the first one that comes out of order.
 */
void configure_order(AVCodecContext &context)
{
    const std::optional<int> told =
        told_delay({context.extradata, static_cast<size_t>(context.extradata_size)});
    context.has_b_frames = told.value_or(0);
    if (!told)
        context.strict_std_compliance = FF_COMPLIANCE_STRICT;
}

void configure(AVCodecContext &context, int width, int height, AVPixelFormat raw)
{
    context.width = width;
    context.height = height;
    context.pix_fmt = raw;
    if (context.codec_id == AV_CODEC_ID_H264)
        configure_order(context);
}

/* The mark at the end of an MPEG-4 sequence, alone: to libavcodec it is a picture without a header. */
bool is_mpeg4_end(uint32_t number, Bytes packet)
{
    constexpr uint32_t mpeg4_or_h263 = 1;
    constexpr uint8_t mark[] = {0, 0, 1, 0xB1};
    return number == mpeg4_or_h263 && std::ranges::equal(packet, mark);
}

class AvVideoDecoder : public VideoDecoder {
  public:
    AvVideoDecoder(const VideoCodec &codec, int width, int height)
        : number_(codec.number),
          stream_(codec.choose,
                  [=](AVCodecContext &context) { configure(context, width, height, codec.raw); }),
          converter_(std::make_shared<UyvyConverter>())
    {
    }

    bool header(std::span<const uint8_t> data) override { return stream_.header(data); }
    bool decode(const Packet &packet, const PictureSink &sink) override
    {
        return is_mpeg4_end(number_, packet.data) || stream_.decode(packet, pictures(sink));
    }
    bool drain(const PictureSink &sink) override { return stream_.drain(pictures(sink)); }
    void flush() override
    {
        stream_.flush();
        expected_tsms_ = 0;
    }
    const std::string &error() const override { return stream_.error(); }

  private:
    Stream::FrameSink pictures(const PictureSink &sink)
    {
        return [this, &sink](av::Frame frame) {
            const uint32_t tsms = time_of(*frame);
            sink(std::make_unique<DecodedPicture>(std::move(frame), tsms, converter_));
        };
    }

    /* A picture without a time stamp follows on the one before. */
    uint32_t time_of(const AVFrame &frame)
    {
        const int64_t told = frame.best_effort_timestamp;
        const uint32_t tsms = told == AV_NOPTS_VALUE ? expected_tsms_ : static_cast<uint32_t>(told);
        expected_tsms_ = tsms + duration_of(frame);
        return tsms;
    }

    uint32_t duration_of(const AVFrame &frame) const
    {
        if (frame.pkt_duration > 0)
            return static_cast<uint32_t>(frame.pkt_duration);
        const AVRational rate = stream_.context()->framerate;
        return rate.num > 0 && rate.den > 0 ? static_cast<uint32_t>(std::lround(1000 / av_q2d(rate)))
                                            : usual_duration;
    }

    uint32_t number_;
    Stream stream_;
    std::shared_ptr<UyvyConverter> converter_;
    uint32_t expected_tsms_ = 0;
};

} // namespace

std::unique_ptr<VideoDecoder> VideoDecoder::create(const orka_idecode_video_params_t &params,
                                                   std::string &why)
{
    const auto codec = std::ranges::find(codecs, params.codec, &VideoCodec::number);
    if (codec == codecs.end()) {
        const char *known = why_refused(params.codec);
        why = known != nullptr ? known : "video codec " + std::to_string(params.codec) + " is unknown";
        return nullptr;
    }
    why = objection(*codec, params);
    if (!why.empty())
        return nullptr;
    return std::make_unique<AvVideoDecoder>(*codec, static_cast<int>(params.width),
                                            static_cast<int>(params.height));
}

/* Those that bytes choose, and those that the number alone does. */
DecoderList video_decoders_needed()
{
    DecoderList needed = {AV_CODEC_ID_MPEG4, AV_CODEC_ID_H263, AV_CODEC_ID_VC1, AV_CODEC_ID_WMV3};
    for (const VideoCodec &codec : codecs) {
        if (const AVCodecID chosen = codec.choose({}, {}); chosen != AV_CODEC_ID_NONE)
            needed.push_back(chosen);
    }
    return needed;
}

} // namespace orka::board
