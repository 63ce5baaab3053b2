#include "dsp/codec.h"
#include "dsp/needed_codecs.h"

#include <algorithm>
#include <array>
#include <vector>

#include "dsp/stream.h"

extern "C" {
#include <libavutil/channel_layout.h>
#include <libavutil/opt.h>
}

namespace orka::board {

namespace {

constexpr uint32_t most_channels = 8;
constexpr uint32_t highest_rate = 192000;
constexpr uint32_t largest_wma_block = 65535;

/* ---- Codec numbers ---- */

/* Of MPEG sound: the layer of the first frame header. */
AVCodecID choose_layer(Bytes, Bytes packet)
{
    for (size_t at = 0; at + 1 < packet.size(); at++) {
        if (packet[at] != 0xFF || (packet[at + 1] & 0xE0) != 0xE0)
            continue;
        switch (packet[at + 1] >> 1 & 3) {
        case 3:
            return AV_CODEC_ID_MP1;
        case 2:
            return AV_CODEC_ID_MP2;
        case 1:
            return AV_CODEC_ID_MP3;
        default:
            break;
        }
    }
    return AV_CODEC_ID_NONE;
}

/* The header of version 1 is 4 bytes long, that of version 2 longer. */
AVCodecID choose_wma(Bytes header, Bytes)
{
    return header.size() == 4 ? AV_CODEC_ID_WMAV1 : AV_CODEC_ID_WMAV2;
}

AVCodecID choose_vorbis(Bytes header, Bytes packet)
{
    return header.empty() && packet.empty() ? AV_CODEC_ID_NONE : AV_CODEC_ID_VORBIS;
}

template <AVCodecID codec>
AVCodecID choose(Bytes, Bytes)
{
    return codec;
}

/* What the setup must tell because packets do not. */
enum class Needs { nothing, rate, rate_and_channels };

struct AudioCodec {
    uint32_t number;
    const char *name;
    Needs needs;
    AVCodecID (*choose)(Bytes header, Bytes packet);
    /* The other choice where the setup's first extra word is 1. */
    AVCodecID (*variant)(Bytes header, Bytes packet) = nullptr;
    int coded_bits = 0; /* of each sample; G.722: of each codeword */
};

constexpr auto g726 = choose<AV_CODEC_ID_ADPCM_G726>;
constexpr auto g726le = choose<AV_CODEC_ID_ADPCM_G726LE>;
constexpr auto g722 = choose<AV_CODEC_ID_ADPCM_G722>;

constexpr uint32_t pcm = 6;
constexpr uint32_t wma = 8;
constexpr uint32_t g729 = 25;

constexpr auto codecs = std::to_array<AudioCodec>({
    {0, "G.726", Needs::rate, g726, g726le, 2},
    {1, "G.726", Needs::rate, g726, g726le, 3},
    {2, "G.726", Needs::rate, g726, g726le, 4},
    {3, "G.726", Needs::rate, g726, g726le, 5},
    {4, "G.711", Needs::rate_and_channels, choose<AV_CODEC_ID_PCM_MULAW>, choose<AV_CODEC_ID_PCM_ALAW>},
    {pcm, "PCM", Needs::rate_and_channels, choose<AV_CODEC_ID_PCM_S16LE>},
    {7, "MP3", Needs::nothing, choose<AV_CODEC_ID_MP3>},
    {wma, "WMA", Needs::rate_and_channels, choose_wma},
    {10, "AAC", Needs::nothing, choose<AV_CODEC_ID_AAC>},
    {13, "MPEG layer I or II", Needs::nothing, choose_layer},
    {14, "Vorbis", Needs::nothing, choose_vorbis},
    {g729, "G.729", Needs::rate, choose<AV_CODEC_ID_G729>},
    {26, "G.723.1", Needs::rate, choose<AV_CODEC_ID_G723_1>},
    {27, "G.722", Needs::rate, g722, nullptr, 6},
    {28, "G.722", Needs::rate, g722, nullptr, 7},
    {29, "G.722", Needs::rate, g722, nullptr, 8},
});

std::string why_refused(uint32_t number)
{
    const std::string subject = "audio codec " + std::to_string(number);
    if (number == 5)
        return subject + " is no sound: there is nothing to decode";
    if (number == 30 || number == 31)
        return subject + " (G.722.1): libavcodec has no decoder for it";
    return subject + " is unknown";
}

/* An empty text where the setup can be served. */
std::string objection(const AudioCodec &codec, const orka_idecode_audio_params_t &params)
{
    const std::string subject = "audio codec " + std::to_string(codec.number) + " (" + codec.name + "): ";
    if (params.sample_rate > highest_rate || (codec.needs != Needs::nothing && params.sample_rate == 0))
        return subject + std::to_string(params.sample_rate) + " Hz is no sample rate that it can have";
    if (params.channels > most_channels || (codec.needs == Needs::rate_and_channels && params.channels == 0))
        return subject + std::to_string(params.channels) + " channels are none that it can have";
    if (codec.variant != nullptr && params.extra1 > 1)
        return subject + "it has no variant " + std::to_string(params.extra1) + ", only 0 and 1";
    if (codec.number == wma && (params.extra2 == 0 || params.extra2 > largest_wma_block))
        return subject + "blocks of " + std::to_string(params.extra2) + " bytes cannot be";
    return {};
}

/* ---- Sound as signed 16-bit samples, interleaved ---- */

class Interleaver {
  public:
    std::span<const int16_t> samples(const AVFrame &frame)
    {
        const auto count =
            static_cast<size_t>(frame.nb_samples) * static_cast<size_t>(frame.ch_layout.nb_channels);
        if (frame.format == AV_SAMPLE_FMT_S16)
            return {reinterpret_cast<const int16_t *>(frame.data[0]), count};
        prepare(frame);
        samples_.resize(count);
        uint8_t *out[] = {reinterpret_cast<uint8_t *>(samples_.data())};
        swr_convert(resampler_.get(), out, frame.nb_samples,
                    const_cast<const uint8_t **>(frame.extended_data), frame.nb_samples);
        return samples_;
    }

  private:
    void prepare(const AVFrame &frame)
    {
        if (resampler_ && frame.format == format_ && frame.ch_layout.nb_channels == channels_)
            return;
        /* The same layout on both sides, whatever it is: channels are neither mixed nor moved. */
        AVChannelLayout layout = {};
        av_channel_layout_from_mask(&layout, UINT64_MAX >> (64 - frame.ch_layout.nb_channels));
        SwrContext *made = nullptr;
        const int result =
            swr_alloc_set_opts2(&made, &layout, AV_SAMPLE_FMT_S16, frame.sample_rate, &layout,
                                static_cast<AVSampleFormat>(frame.format), frame.sample_rate, 0, nullptr);
        resampler_.reset(made);
        av_channel_layout_uninit(&layout);
        if (result < 0 || swr_init(resampler_.get()) < 0)
            throw std::bad_alloc();
        format_ = frame.format;
        channels_ = frame.ch_layout.nb_channels;
    }

    av::Resampler resampler_;
    int format_ = AV_SAMPLE_FMT_NONE;
    int channels_ = 0;
    std::vector<int16_t> samples_;
};

/* Time stamps counted in samples from the last one that a packet told. */
class SampleClock {
  public:
    void reset() { *this = {}; }

    uint32_t advance(const AVFrame &frame)
    {
        const int64_t told = frame.pts;
        if (told != AV_NOPTS_VALUE || frame.sample_rate != rate_) {
            origin_ = told != AV_NOPTS_VALUE ? told : now();
            rate_ = frame.sample_rate;
            samples_ = 0;
        }
        const auto tsms = static_cast<uint32_t>(now());
        samples_ += frame.nb_samples;
        return tsms;
    }
    uint32_t now_ms() const { return static_cast<uint32_t>(now()); }

  private:
    int64_t now() const { return rate_ > 0 ? origin_ + (samples_ * 1000 + rate_ / 2) / rate_ : origin_; }

    int64_t origin_ = 0;
    int64_t samples_ = 0;
    int rate_ = 0;
};

/* ---- The decoder ---- */

void configure(AVCodecContext &context, const AudioCodec &codec, const orka_idecode_audio_params_t &params)
{
    /* G.729 is a codec of one voice, although its setups say two channels. */
    const int channels = codec.number == g729 ? 1 : std::max<int>(params.channels, 1);
    av_channel_layout_default(&context.ch_layout, channels);
    context.sample_rate = static_cast<int>(params.sample_rate);
    context.bit_rate = params.bitrate_bps;
    context.bits_per_coded_sample = codec.coded_bits;
    if (codec.number == wma)
        context.block_align = static_cast<int>(params.extra2);
    if (codec.choose == g722)
        av_opt_set_int(context.priv_data, "bits_per_codeword", codec.coded_bits, 0);
}

/* A header of version 2 that holds nothing but the encoder's flags. */
std::vector<uint8_t> wma_header(uint32_t flags)
{
    return {0, 0, 0, 0, static_cast<uint8_t>(flags), static_cast<uint8_t>(flags >> 8)};
}

class AvAudioDecoder : public AudioDecoder {
  public:
    AvAudioDecoder(const AudioCodec &codec, const orka_idecode_audio_params_t &params)
        : stream_(codec.variant != nullptr && params.extra1 == 1 ? codec.variant : codec.choose,
                  [&codec, params](AVCodecContext &context) { configure(context, codec, params); })
    {
        if (codec.number == wma)
            stream_.set_default_header(wma_header(params.extra1));
    }

    bool header(std::span<const uint8_t> data) override { return stream_.header(data); }
    bool decode(const Packet &packet, const SoundSink &sink) override
    {
        return stream_.decode(packet, sounds(sink));
    }
    bool drain(const SoundSink &sink) override { return stream_.drain(sounds(sink)); }
    void flush() override
    {
        stream_.flush();
        clock_.reset();
    }
    const std::string &error() const override { return stream_.error(); }

  private:
    Stream::FrameSink sounds(const SoundSink &sink)
    {
        return [this, &sink](av::Frame frame) {
            if (frame->nb_samples <= 0)
                return;
            /* After a change of rate the first frame of MPEG sound still carries the old one. */
            frame->sample_rate = stream_.context()->sample_rate;
            Sound sound = {.samples = interleaver_.samples(*frame),
                           .sample_rate = static_cast<uint32_t>(frame->sample_rate),
                           .channels = static_cast<uint32_t>(frame->ch_layout.nb_channels),
                           .tsms = clock_.advance(*frame)};
            sound.duration = clock_.now_ms() - sound.tsms;
            sound.damaged = is_damaged(*frame);
            sink(sound);
        };
    }

    Stream stream_;
    Interleaver interleaver_;
    SampleClock clock_;
};

} // namespace

std::unique_ptr<AudioDecoder> AudioDecoder::create(const orka_idecode_audio_params_t &params,
                                                   std::string &why)
{
    const auto codec = std::ranges::find(codecs, params.codec, &AudioCodec::number);
    why = codec == codecs.end() ? why_refused(params.codec) : objection(*codec, params);
    return why.empty() ? std::make_unique<AvAudioDecoder>(*codec, params) : nullptr;
}

/* Those that bytes choose, and those that the setup alone does. */
DecoderList audio_decoders_needed()
{
    DecoderList needed = {AV_CODEC_ID_MP1, AV_CODEC_ID_MP2, AV_CODEC_ID_WMAV1, AV_CODEC_ID_VORBIS};
    for (const AudioCodec &codec : codecs) {
        for (const auto choice : {codec.choose, codec.variant}) {
            const AVCodecID chosen = choice ? choice({}, {}) : AV_CODEC_ID_NONE;
            if (chosen != AV_CODEC_ID_NONE)
                needed.push_back(chosen);
        }
    }
    return needed;
}

} // namespace orka::board
