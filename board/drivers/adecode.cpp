/* /dev/adecode: the decoder of sound, one channel. */
#include "drivers/decode_driver.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "drivers/gain.h"
#include "orka_media.h"

namespace orka::board {

namespace {

constexpr DecoderKind audio_kind{
    .node = "adecode",
    .frame_kind = ORKA_FRAME_TYPE_AUDIO,
    .queueid = 3,
    .wants_init = false,
    .decodes = &CodecImage::decodes_audio,
};

constexpr uint64_t least_output = 1 << 20;
constexpr uint64_t largest_expansion = 8; /* what a packet may grow to when decoded: G.726 at 16 kbit/s */

class AudioStream final : public CodecStream {
  public:
    AudioStream(std::unique_ptr<AudioDecoder> codec, std::shared_ptr<const Gain> gain)
        : codec_(std::move(codec)), gain_(std::move(gain))
    {
    }

    bool header(std::span<const uint8_t> data) override { return codec_->header(data); }
    void flush() override { codec_->flush(); }
    const std::string &error() const override { return codec_->error(); }
    bool drain(FrameSink &sink) override
    {
        return codec_->drain([&](const Sound &sound) { put(sound, sink); });
    }
    bool decode(const Packet &packet, FrameSink &sink) override
    {
        return codec_->decode(packet, [&](const Sound &sound) { put(sound, sink); });
    }

  private:
    void put(const Sound &sound, FrameSink &sink) const;

    const std::unique_ptr<AudioDecoder> codec_;
    const std::shared_ptr<const Gain> gain_;
};

void AudioStream::put(const Sound &sound, FrameSink &sink) const
{
    const std::span<uint8_t> place = sink.reserve(static_cast<uint32_t>(sound.samples.size_bytes()));
    if (place.empty())
        return;
    /* Buffers begin aligned, so their bytes can be samples in place. */
    auto *const samples = reinterpret_cast<int16_t *>(place.data());
    std::ranges::copy(sound.samples, samples);
    gain_->apply({samples, sound.samples.size()}, sound.channels);
    sink.publish({.kind = ORKA_FRAME_TYPE_AUDIO,
                  .flags = sound.damaged ? frame_damaged : 0U,
                  .width = sound.sample_rate,
                  .height = sound.channels,
                  .tsms = sound.tsms,
                  .stride = static_cast<uint32_t>(sizeof(int16_t)) * sound.channels,
                  .duration = sound.duration});
}

class AudioDecodeDriver final : public DecodeDriver {
  public:
    AudioDecodeDriver(Machine &machine, AudioCodecs codecs)
        : DecodeDriver(machine, audio_kind, 1, 1), codecs_(std::move(codecs))
    {
    }

  private:
    void load(Call &call) override;
    void set_up(Call &call) override;
    bool control_node(Call &call) override;
    void control_clock(Call &call);

    const AudioCodecs codecs_;
    const std::shared_ptr<Gain> gain_ = std::make_shared<Gain>();
};

void AudioDecodeDriver::load(Call &call)
{
    const auto *const name = reinterpret_cast<const char *>(call.in().data());
    find(0, 0)->load(call, {name, strnlen(name, call.in().size())});
}

void AudioDecodeDriver::set_up(Call &call)
{
    const auto record = call.record<wire::audio_setup_record>();
    Decoder *const decoder = find(record.channel, record.stream);
    if (!decoder)
        return call.fail(EINVAL);
    const orka_idecode_audio_params_t &params = record.params;
    decoder->set_up(call, {.codec = params.codec,
                           .bufsize = params.bufsize,
                           .bufcount = params.bufcount,
                           .maxframe = params.maxframe,
                           .output = std::max(least_output, largest_expansion * params.maxframe),
                           .make_stream = [&](std::string &why) -> std::unique_ptr<CodecStream> {
                               std::unique_ptr<AudioDecoder> codec = codecs_(params, why);
                               if (!codec)
                                   return nullptr;
                               return std::make_unique<AudioStream>(std::move(codec), gain_);
                           }});
}

bool AudioDecodeDriver::control_node(Call &call)
{
    switch (call.row().number) {
    case wire::IDECODE_SET_GAIN:
        gain_->set(call.record<orka_idecode_gain_t>());
        call.reply();
        return true;
    case wire::IDECODE_RESET_AUDIO_CLOCK:
    case wire::IDECODE_GET_AUDIO_CLOCK:
        control_clock(call);
        return true;
    default:
        return false;
    }
}

/* The clock can be asked by anybody and at any time; it stands at 0 where nothing has been heard. */
void AudioDecodeDriver::control_clock(Call &call)
{
    auto record = call.record<wire::audio_clock_record>();
    Decoder *const decoder = find(record.channel, 0);
    if (!decoder)
        return call.fail(EINVAL);
    if (call.row().number == wire::IDECODE_RESET_AUDIO_CLOCK) {
        decoder->reset_shown_tsms();
        return call.reply();
    }
    record.tsms = decoder->shown_tsms();
    call.reply_record(record);
}

} // namespace

std::unique_ptr<Driver> make_audio_decode_driver(Machine &machine, AudioCodecs codecs)
{
    return std::make_unique<AudioDecodeDriver>(machine, std::move(codecs));
}

std::unique_ptr<Driver> make_audio_decode_driver(Machine &machine)
{
    return make_audio_decode_driver(machine, AudioDecoder::create);
}

} // namespace orka::board
