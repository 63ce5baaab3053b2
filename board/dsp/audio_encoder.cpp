#include "dsp/encoder.h"

#include <algorithm>
#include <array>
#include <deque>
#include <utility>

#include "dsp/coding.h"
#include "dsp/needed_codecs.h"

extern "C" {
#include <libavutil/channel_layout.h>
#include <libavutil/opt.h>
}

namespace orka::board {

namespace {

using Params = orka_iencode_audio_params_t;

/* Codecs whose packets may have any length, and G.726, get one that telephony likes. */
constexpr uint32_t packets_a_second = 50;

/* ---- Codec numbers ---- */

struct AudioCodec {
    uint32_t number;
    const char *name;
    const char *encoder;
    uint32_t sample_rate = 0; /* 0: any that the encoder knows */
    uint32_t most_channels = 2;
    int64_t bit_rate = 0;       /* 0: that of the parameters */
    bool short_packets = false; /* not as long as the encoder makes them by itself */
    unsigned free_bits = 0;     /* the lowest of each byte, which are left to the application's data */
};

constexpr uint32_t telephone = 8000;
constexpr uint32_t wideband = 16000;
constexpr uint32_t g723 = 26;

constexpr auto codecs = std::to_array<AudioCodec>({
    {0, "G.726", "g726", telephone, 1, 16000, true},
    {1, "G.726", "g726", telephone, 1, 24000, true},
    {2, "G.726", "g726", telephone, 1, 32000, true},
    {3, "G.726", "g726", telephone, 1, 40000, true},
    {4, "G.711", "pcm_mulaw"},
    {6, "PCM", "pcm_s16le"},
    {7, "MP3", "libmp3lame"},
    {8, "WMA", "wmav2"},
    {10, "AAC", "aac"},
    {g723, "G.723.1", "g723_1", telephone, 1, 6300},
    {27, "G.722", "g722", wideband, 1, 0, false, 2},
    {28, "G.722", "g722", wideband, 1, 0, false, 1},
    {29, "G.722", "g722", wideband, 1},
});

std::string why_unknown(uint32_t number)
{
    const std::string subject = "audio codec " + std::to_string(number);
    switch (number) {
    case 5:
        return subject + " is no sound: there is nothing to encode";
    case 25:
        return subject + " (G.729): libavcodec has no encoder for it";
    case 30:
    case 31:
        return subject + " (G.722.1): libavcodec has no encoder for it";
    default:
        return subject + " has no encoder";
    }
}

constexpr uint32_t highest_rate = 192'000;
constexpr uint32_t highest_bitrate = 1'000'000; /* bit/s; PCM is not asked */

bool knows_rate(const AudioCodec &codec, uint32_t rate)
{
    if (codec.sample_rate != 0)
        return rate == codec.sample_rate;
    const AVCodec *const encoder = avcodec_find_encoder_by_name(codec.encoder);
    if (encoder == nullptr || encoder->supported_samplerates == nullptr)
        return rate >= packets_a_second && rate <= highest_rate;
    const int *known = encoder->supported_samplerates;
    while (*known != 0 && static_cast<uint32_t>(*known) != rate)
        known++;
    return *known != 0;
}

/* Of the codecs of MPEG and its like. */
bool takes_bit_rate(const AudioCodec &codec)
{
    return codec.number == 7 || codec.number == 8 || codec.number == 10;
}

/* An empty text where the setup can be served, as far as can be told before the encoder opens. */
std::string objection(const AudioCodec &codec, const Params &params)
{
    const std::string subject = "audio codec " + std::to_string(codec.number) + " (" + codec.name + "): ";
    if (!knows_rate(codec, params.sample_rate))
        return subject + std::to_string(params.sample_rate) + " Hz is no sample rate that it can have";
    if (params.channels == 0 || params.channels > codec.most_channels)
        return subject + std::to_string(params.channels) + " channels are none that it can have";
    if (takes_bit_rate(codec) && (params.bitrate_bps == 0 || params.bitrate_bps > highest_bitrate))
        return subject + std::to_string(params.bitrate_bps) + " bit/s is no bit rate that it can have";
    if (codec.number == g723 && params.bitrate_bps != codec.bit_rate)
        return subject + std::to_string(params.bitrate_bps) + " bit/s: libavcodec encodes 6300 alone";
    return {};
}

/* The encoder's sample format that is nearest to what comes in. */
AVSampleFormat best_format(const AVCodec &encoder)
{
    for (const AVSampleFormat wanted : {AV_SAMPLE_FMT_S16, AV_SAMPLE_FMT_S16P}) {
        for (const AVSampleFormat *known = encoder.sample_fmts; *known != AV_SAMPLE_FMT_NONE; known++) {
            if (*known == wanted)
                return wanted;
        }
    }
    return encoder.sample_fmts[0];
}

/* ---- Time stamps, counted in samples ---- */

/*
 * Sound that comes in says its time; sound that follows on what was there before agrees with the count, but
 * for rounding to milliseconds. Where it does not, something was left out, and the count begins anew.
 */
class SampleTimes {
  public:
    explicit SampleTimes(uint32_t rate) : rate_(rate) {}

    void come_in(uint32_t tsms, size_t samples)
    {
        const int64_t difference = int64_t{tsms} - at(in_);
        if (places_.empty() || difference > rounding || difference < -rounding)
            places_.push_back({in_, tsms});
        in_ += samples;
    }
    /* Of the packet that comes next. */
    uint32_t go_out(size_t samples)
    {
        while (places_.size() > 1 && places_[1].sample <= out_)
            places_.pop_front();
        const auto tsms = static_cast<uint32_t>(from(places_.front(), out_));
        out_ += samples;
        return tsms;
    }
    void reset() { *this = SampleTimes(rate_); }

  private:
    static constexpr int64_t rounding = 2;
    struct Place {
        uint64_t sample;
        uint32_t tsms;
    };

    int64_t from(const Place &place, uint64_t sample) const
    {
        return int64_t{place.tsms} + static_cast<int64_t>((sample - place.sample) * 1000 / rate_);
    }
    int64_t at(uint64_t sample) const { return places_.empty() ? 0 : from(places_.back(), sample); }

    uint32_t rate_;
    uint64_t in_ = 0;
    uint64_t out_ = 0;
    std::deque<Place> places_{};
};

/* ---- The encoder ---- */

class AvAudioEncoder : public AudioEncoder {
  public:
    AvAudioEncoder(const AudioCodec &codec, const Params &params)
        : codec_(codec), params_(params), frame_(av::need(av_frame_alloc())), times_(params.sample_rate)
    {
    }

    bool open();
    bool encode(std::span<const int16_t> samples, uint32_t tsms, const CodedSink &sink) override;
    bool drain(const CodedSink &sink) override;
    uint32_t frame_samples() const override { return frame_samples_; }
    const std::string &error() const override { return coding_.error(); }

  private:
    void configure(AVCodecContext &context) const;
    uint32_t choose_frame_samples();
    bool prepare_frame();
    bool encode_waiting(size_t values, const CodedSink &sink);
    bool convert(std::span<const int16_t> samples);
    void complete_last_frame();
    bool send(const AVFrame *frame, const CodedSink &sink);
    void put_header(uint32_t tsms, const CodedSink &sink);
    void put(const AVPacket &packet, const CodedSink &sink);

    const AudioCodec &codec_;
    const Params params_;
    Coding coding_;
    av::Frame frame_;
    av::Resampler resampler_;
    SampleTimes times_;
    uint32_t frame_samples_ = 0;
    bool any_length_ = false; /* of the last frame */
    bool header_sent_ = false;
    int64_t next_pts_ = 0;
    std::vector<int16_t> waiting_; /* less than a frame */
    std::vector<uint8_t> altered_; /* a packet with free bits */
};

void AvAudioEncoder::configure(AVCodecContext &context) const
{
    av_channel_layout_default(&context.ch_layout, static_cast<int>(params_.channels));
    context.sample_rate = static_cast<int>(params_.sample_rate);
    context.sample_fmt = best_format(*context.codec);
    context.time_base = {1, context.sample_rate};
    if (codec_.bit_rate != 0)
        context.bit_rate = codec_.bit_rate;
    else if (takes_bit_rate(codec_))
        context.bit_rate = params_.bitrate_bps;
    context.flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
}

/* The encoder's own; where it takes any number, or makes half a second a packet, that of the board. */
uint32_t AvAudioEncoder::choose_frame_samples()
{
    AVCodecContext &context = *coding_.context();
    any_length_ = context.frame_size == 0;
    if (!any_length_ && !codec_.short_packets)
        return static_cast<uint32_t>(context.frame_size);
    const uint32_t samples = params_.sample_rate / packets_a_second;
    if (!any_length_)
        context.frame_size = static_cast<int>(samples);
    return samples;
}

bool AvAudioEncoder::open()
{
    times_.reset();
    waiting_.clear();
    header_sent_ = false;
    next_pts_ = 0;
    if (!coding_.open(codec_.encoder, [this](AVCodecContext &context) { configure(context); }))
        return false;
    frame_samples_ = choose_frame_samples();
    return prepare_frame();
}

/* What samples are copied, or converted, into. */
bool AvAudioEncoder::prepare_frame()
{
    AVCodecContext &context = *coding_.context();
    av_frame_unref(frame_.get());
    frame_->format = context.sample_fmt;
    frame_->sample_rate = context.sample_rate;
    frame_->nb_samples = static_cast<int>(frame_samples_);
    SwrContext *made = nullptr;
    if (av_channel_layout_copy(&frame_->ch_layout, &context.ch_layout) < 0 ||
        av_frame_get_buffer(frame_.get(), 0) < 0 ||
        swr_alloc_set_opts2(&made, &context.ch_layout, context.sample_fmt, context.sample_rate,
                            &context.ch_layout, AV_SAMPLE_FMT_S16, context.sample_rate, 0, nullptr) < 0)
        throw std::bad_alloc();
    resampler_.reset(made);
    return swr_init(resampler_.get()) >= 0 || coding_.fail("the samples cannot be converted");
}

bool AvAudioEncoder::encode(std::span<const int16_t> samples, uint32_t tsms, const CodedSink &sink)
{
    if (coding_.context() == nullptr && !open())
        return false;
    if (samples.size() % params_.channels != 0)
        return coding_.fail(std::to_string(samples.size()) + " values are not the same number of each of " +
                            std::to_string(params_.channels) + " channels");
    times_.come_in(tsms, samples.size() / params_.channels);
    waiting_.insert(waiting_.end(), samples.begin(), samples.end());
    return encode_waiting(size_t{frame_samples_} * params_.channels, sink);
}

/* In frames of that many values. */
bool AvAudioEncoder::encode_waiting(size_t values, const CodedSink &sink)
{
    size_t done = 0;
    bool good = true;
    for (; good && waiting_.size() - done >= values; done += values)
        good = convert(std::span(waiting_).subspan(done, values)) && send(frame_.get(), sink);
    waiting_.erase(waiting_.begin(), waiting_.begin() + static_cast<ptrdiff_t>(done));
    return good;
}

bool AvAudioEncoder::convert(std::span<const int16_t> samples)
{
    if (av_frame_make_writable(frame_.get()) < 0)
        throw std::bad_alloc();
    const auto *const in = reinterpret_cast<const uint8_t *>(samples.data());
    const int count = static_cast<int>(samples.size() / params_.channels);
    const int made =
        swr_convert(resampler_.get(), frame_->extended_data, count, const_cast<const uint8_t **>(&in), count);
    if (made != count)
        return coding_.fail("the samples cannot be converted");
    frame_->nb_samples = count;
    frame_->pts = next_pts_;
    next_pts_ += count;
    return true;
}

bool AvAudioEncoder::send(const AVFrame *frame, const CodedSink &sink)
{
    return coding_.send(frame, [&](const AVPacket &packet) { put(packet, sink); });
}

void AvAudioEncoder::put_header(uint32_t tsms, const CodedSink &sink)
{
    const AVCodecContext &context = *coding_.context();
    if (std::exchange(header_sent_, true) || context.extradata_size == 0)
        return;
    sink({.data = {context.extradata, static_cast<size_t>(context.extradata_size)},
          .tsms = tsms,
          .header = true});
}

void AvAudioEncoder::put(const AVPacket &packet, const CodedSink &sink)
{
    const uint32_t samples = any_length_ ? static_cast<uint32_t>(frame_->nb_samples) : frame_samples_;
    const uint32_t tsms = times_.go_out(samples);
    put_header(tsms, sink);
    std::span<const uint8_t> data(packet.data, static_cast<size_t>(packet.size));
    if (codec_.free_bits != 0) {
        altered_.assign(data.begin(), data.end());
        for (uint8_t &byte : altered_)
            byte = static_cast<uint8_t>(byte >> codec_.free_bits << codec_.free_bits);
        data = altered_;
    }
    sink({.data = data,
          .tsms = tsms,
          .duration = (samples * 1000 + params_.sample_rate / 2) / params_.sample_rate,
          .key = true});
}

/*
 * The last frame is filled up with silence where frames have one length, and silence pushes out what the
 * encoder is late by, unless it does so itself.
 */
void AvAudioEncoder::complete_last_frame()
{
    const AVCodecContext &context = *coding_.context();
    if (any_length_ || next_pts_ + static_cast<int64_t>(waiting_.size()) == 0)
        return;
    const bool pushes = (context.codec->capabilities & AV_CODEC_CAP_DELAY) != 0;
    const size_t late = pushes ? 0 : static_cast<size_t>(context.initial_padding);
    const size_t samples = waiting_.size() / params_.channels + late;
    const size_t frames = (samples + frame_samples_ - 1) / frame_samples_;
    waiting_.resize(frames * frame_samples_ * params_.channels);
}

bool AvAudioEncoder::drain(const CodedSink &sink)
{
    if (coding_.context() == nullptr)
        return true;
    complete_last_frame();
    const size_t values = any_length_ ? waiting_.size() : size_t{frame_samples_} * params_.channels;
    const bool rest = waiting_.empty() || encode_waiting(values, sink);
    const bool end = next_pts_ == 0 || send(nullptr, sink);
    coding_.close();
    return rest && end;
}

} // namespace

std::unique_ptr<AudioEncoder> AudioEncoder::create(const orka_iencode_audio_params_t &params,
                                                   std::string &why)
{
    const auto codec = std::ranges::find(codecs, params.codec, &AudioCodec::number);
    why = codec == codecs.end() ? why_unknown(params.codec) : objection(*codec, params);
    if (!why.empty())
        return nullptr;
    auto encoder = std::make_unique<AvAudioEncoder>(*codec, params);
    if (encoder->open())
        return encoder;
    why = "audio codec " + std::to_string(codec->number) + " (" + codec->name + "): " + encoder->error();
    return nullptr;
}

EncoderList audio_encoders_needed()
{
    return encoders_of(codecs);
}

} // namespace orka::board
