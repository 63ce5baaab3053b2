#include "dsp/encoder.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <deque>
#include <utility>

#include "dsp/capture_scaler.h"
#include "dsp/coding.h"
#include "dsp/motion_vectors.h"
#include "dsp/needed_codecs.h"

extern "C" {
#include <libavutil/opt.h>
}

namespace orka::board {

namespace {

using Params = orka_iencode_video_params_t;

constexpr uint32_t largest_side = 4096;
constexpr uint32_t highest_bitrate = 100'000; /* kbit/s */
constexpr int ms_per_s = 1000;

/* ---- What libavcodec's encoders want to know ---- */

/* Key pictures come by distance alone, not where the scene changes. */
void keep_key_distance(AVCodecContext &context)
{
    av_opt_set_int(context.priv_data, "sc_threshold", INT32_MAX, 0);
}

/*
 * Pictures have their true time in the stream, at a resolution of 1000. The encoder's rate control takes a
 * picture for each tick of that clock, as if there were 1000 a second, and aims too low by that factor; what
 * corrects it is its compensation, 1 + missing bits / tolerance. With this tolerance it is the factor when
 * one second's bits are missing, and Ticks begins one second late, so that they are from the first picture
 * on: no more are missing at the end than in the beginning.
 */
void configure_mpeg4(AVCodecContext &context, const Params &params)
{
    context.bit_rate_tolerance = static_cast<int>(context.bit_rate * params.frame_rate / ms_per_s);
    keep_key_distance(context);
}

/* One second of bits too many is the most that is tolerated. */
void configure_by_rate(AVCodecContext &context, const Params & /*params*/)
{
    context.bit_rate_tolerance = static_cast<int>(context.bit_rate);
    keep_key_distance(context);
}

void configure_mpeg2(AVCodecContext &context, const Params &params)
{
    context.flags |= AV_CODEC_FLAG_LOW_DELAY;
    configure_by_rate(context, params);
}

void configure_h264(AVCodecContext &context, const Params & /*params*/)
{
    av_opt_set(context.priv_data, "preset", "superfast", 0);
    av_opt_set(context.priv_data, "tune", "zerolatency", 0);
    av_opt_set(context.priv_data, "profile", "baseline", 0);
    av_opt_set(context.priv_data, "forced-idr", "1", 0);
    av_opt_set(context.priv_data, "x264-params", "scenecut=0", 0);
}

constexpr int jpeg_quality = 3; /* of 1, the best, to 31 */

void configure_jpeg(AVCodecContext &context, const Params & /*params*/)
{
    context.flags |= AV_CODEC_FLAG_QSCALE;
    context.global_quality = jpeg_quality * FF_QP2LAMBDA;
    context.color_range = AVCOL_RANGE_JPEG;
}

/* ---- What only some codecs refuse; an empty text where they do not ---- */

std::string size_text(const Params &params)
{
    return std::to_string(params.width) + "x" + std::to_string(params.height);
}

std::string nothing(const Params & /*params*/)
{
    return {};
}

std::string object_to_odd_sides(const Params &params)
{
    const bool odd = params.width % 2 != 0 || params.height % 2 != 0;
    return odd ? "pictures of " + size_text(params) + " have an odd side" : "";
}

std::string object_to_h263_size(const Params &params)
{
    constexpr std::pair<uint32_t, uint32_t> sizes[] = {
        {128, 96}, {176, 144}, {352, 288}, {704, 576}, {1408, 1152}};
    const bool known = std::ranges::find(sizes, std::pair{params.width, params.height}) != std::end(sizes);
    return known ? ""
                 : "pictures of " + size_text(params) +
                       " are none of 128x96, 176x144, 352x288, 704x576, 1408x1152";
}

std::string object_to_mpeg2_rate(const Params &params)
{
    constexpr uint8_t rates[] = {24, 25, 30, 50, 60};
    const bool known = std::ranges::find(rates, params.frame_rate) != std::end(rates);
    return known ? ""
                 : std::to_string(params.frame_rate) + " pictures a second are none of 24, 25, 30, 50, 60";
}

/* ---- Codec numbers ---- */

/* What time stamps in the stream count in. */
enum class Ticking { milliseconds, pictures };

struct VideoCodec {
    uint32_t number;
    const char *name;
    const char *encoder;
    void (*configure)(AVCodecContext &context, const Params &params);
    AVPixelFormat format = AV_PIX_FMT_YUV420P;
    Ticking ticking = Ticking::milliseconds;
    int head_start = 0; /* ticks */
    bool has_rate = true;
    std::string (*objection)(const Params &params) = nothing;
};

constexpr VideoCodec h263{.number = 1,
                          .name = "H.263",
                          .encoder = "h263",
                          .configure = configure_by_rate,
                          .ticking = Ticking::pictures,
                          .objection = object_to_h263_size};

constexpr auto codecs = std::to_array<VideoCodec>({
    {.number = 1, .name = "MPEG-4", .encoder = "mpeg4", .configure = configure_mpeg4, .head_start = ms_per_s},
    {.number = 6,
     .name = "H.264",
     .encoder = "libx264",
     .configure = configure_h264,
     .objection = object_to_odd_sides},
    {.number = 8,
     .name = "MPEG-2",
     .encoder = "mpeg2video",
     .configure = configure_mpeg2,
     .ticking = Ticking::pictures,
     .objection = object_to_mpeg2_rate},
    {.number = 10,
     .name = "JPEG",
     .encoder = "mjpeg",
     .configure = configure_jpeg,
     .format = AV_PIX_FMT_YUVJ422P,
     .has_rate = false},
});

/* Numbers of the coding standard that share the codec number of MPEG-4. */
constexpr bool is_h263(const Params &params)
{
    return params.codec == h263.number && (params.word16 == 6 || params.word16 == 7);
}

const VideoCodec *find_codec(const Params &params)
{
    if (is_h263(params))
        return &h263;
    const auto found = std::ranges::find(codecs, params.codec, &VideoCodec::number);
    return found != codecs.end() ? found : nullptr;
}

std::string subject_of(const VideoCodec &codec)
{
    return "video codec " + std::to_string(codec.number) + " (" + codec.name + "): ";
}

std::string why_unknown(uint32_t number)
{
    const std::string subject = "video codec " + std::to_string(number);
    return number == 0 ? subject + " is no video: there is nothing to encode" : subject + " has no encoder";
}

std::string common_objection(const VideoCodec &codec, const Params &params)
{
    if (params.width == 0 || params.height == 0)
        return "pictures of " + size_text(params) + " are none";
    if (params.width > largest_side || params.height > largest_side)
        return "pictures of " + size_text(params) + " are too large";
    if (params.frame_rate == 0)
        return "0 pictures a second are none";
    if (codec.has_rate && (params.bitrate == 0 || params.bitrate > highest_bitrate))
        return std::to_string(params.bitrate) + " kbit/s is no bit rate that it can have";
    return {};
}

/* An empty text where the setup can be served, as far as can be told before the encoder opens. */
std::string objection(const VideoCodec &codec, const Params &params)
{
    const std::string common = common_objection(codec, params);
    const std::string why = common.empty() ? codec.objection(params) : common;
    return why.empty() ? why : subject_of(codec) + why;
}

/* ---- Time in the stream ---- */

/* Counted from the first picture's time, never twice the same. */
class Ticks {
  public:
    Ticks(int per_second, int head_start) : per_second_(per_second), next_(head_start), start_(head_start) {}

    int64_t at(uint32_t tsms)
    {
        if (next_ == start_)
            first_ = tsms;
        const int64_t ms = int64_t{tsms} - first_;
        const int64_t tick = std::max(next_, start_ + (ms * per_second_ + ms_per_s / 2) / ms_per_s);
        next_ = tick + 1;
        return tick;
    }
    void reset() { next_ = start_; }

  private:
    int64_t per_second_;
    int64_t next_;
    int64_t start_;
    uint32_t first_ = 0;
};

/* ---- The encoder ---- */

class AvVideoEncoder : public VideoEncoder {
  public:
    AvVideoEncoder(const VideoCodec &codec, const Params &params)
        : codec_(codec), params_(params), scaling_(codec.format, params.width, params.height),
          ticks_(ticks_per_second(), codec.head_start)
    {
    }

    bool open()
    {
        ticks_.reset();
        times_.clear();
        wants_key_ = false;
        vectors_.reset();
        return coding_.open(codec_.encoder, [this](AVCodecContext &context) { configure(context); });
    }

    bool encode(const CapturedPicture &picture, const CodedSink &sink) override;
    bool drain(const CodedSink &sink) override;
    void want_vectors(bool wanted) override;
    const std::string &error() const override { return coding_.error(); }

  private:
    int ticks_per_second() const
    {
        return codec_.ticking == Ticking::milliseconds ? ms_per_s : params_.frame_rate;
    }
    void configure(AVCodecContext &context) const;
    bool send(const AVFrame *frame, const CodedSink &sink);
    bool put(const AVPacket &packet, const CodedSink &sink);
    bool add_vectors(const AVPacket &packet, CodedPacket &coded);

    const VideoCodec &codec_;
    const Params params_;
    Coding coding_;
    CaptureScaler scaling_;
    Ticks ticks_;
    std::deque<uint32_t> times_; /* of the pictures whose packets are to come */
    bool wants_vectors_ = false;
    bool wants_key_ = false; /* of the next picture, whatever the distance */
    std::unique_ptr<MotionVectors> vectors_;
};

void AvVideoEncoder::configure(AVCodecContext &context) const
{
    context.width = static_cast<int>(params_.width);
    context.height = static_cast<int>(params_.height);
    context.pix_fmt = codec_.format;
    context.time_base = {1, ticks_per_second()};
    context.framerate = {params_.frame_rate, 1};
    context.gop_size = std::max<int>(params_.key_distance, 1);
    context.max_b_frames = 0;
    if (codec_.has_rate)
        context.bit_rate = int64_t{params_.bitrate} * 1000;
    codec_.configure(context, params_);
}

bool AvVideoEncoder::encode(const CapturedPicture &picture, const CodedSink &sink)
{
    if (std::string fault = fault_of(picture); !fault.empty())
        return coding_.fail(std::move(fault));
    if (coding_.context() == nullptr && !open())
        return false;
    AVFrame *const frame = scaling_.scale(picture);
    frame->pts = ticks_.at(picture.tsms);
    frame->quality = coding_.context()->global_quality;
    frame->pict_type = std::exchange(wants_key_, false) ? AV_PICTURE_TYPE_I : AV_PICTURE_TYPE_NONE;
    times_.push_back(picture.tsms);
    return send(frame, sink);
}

bool AvVideoEncoder::send(const AVFrame *frame, const CodedSink &sink)
{
    bool good = true;
    const bool sent = coding_.send(frame, [&](const AVPacket &packet) { good = put(packet, sink) && good; });
    return sent && good;
}

bool AvVideoEncoder::put(const AVPacket &packet, const CodedSink &sink)
{
    CodedPacket coded{.data = {packet.data, static_cast<size_t>(packet.size)},
                      .tsms = times_.front(),
                      .duration = static_cast<uint32_t>(std::lround(1000.0 / params_.frame_rate)),
                      .key = (packet.flags & AV_PKT_FLAG_KEY) != 0};
    times_.pop_front();
    const bool good = !wants_vectors_ || add_vectors(packet, coded);
    sink(coded);
    return good;
}

bool AvVideoEncoder::add_vectors(const AVPacket &packet, CodedPacket &coded)
{
    if (!vectors_)
        vectors_ =
            std::make_unique<MotionVectors>(coding_.context()->codec_id, params_.width, params_.height);
    coded.vectors = vectors_->of(packet);
    return !coded.vectors.empty() || coding_.fail(vectors_->error());
}

bool AvVideoEncoder::drain(const CodedSink &sink)
{
    if (coding_.context() == nullptr)
        return true;
    const bool good = send(nullptr, sink);
    coding_.close();
    return good;
}

/* Vectors are read by decoding, which begins at a key picture. */
void AvVideoEncoder::want_vectors(bool wanted)
{
    if (wanted == wants_vectors_)
        return;
    wants_vectors_ = wanted;
    wants_key_ = wanted;
    vectors_.reset();
}

} // namespace

std::unique_ptr<VideoEncoder> VideoEncoder::create(const orka_iencode_video_params_t &params,
                                                   std::string &why)
{
    const VideoCodec *const codec = find_codec(params);
    why = codec == nullptr ? why_unknown(params.codec) : objection(*codec, params);
    if (codec == nullptr || !why.empty())
        return nullptr;
    auto encoder = std::make_unique<AvVideoEncoder>(*codec, params);
    if (encoder->open())
        return encoder;
    why = subject_of(*codec) + encoder->error();
    return nullptr;
}

EncoderList video_encoders_needed()
{
    EncoderList names = encoders_of(codecs);
    names.push_back(h263.encoder);
    return names;
}

} // namespace orka::board
