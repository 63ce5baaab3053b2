#include "drivers/sound_stream.h"

#include <utility>

namespace orka::board {

namespace {

constexpr uint64_t second_us = 1'000'000;

} // namespace

SoundStream::SoundStream(MakeCodec make, std::unique_ptr<AudioEncoder> codec,
                         const orka_iencode_audio_params_t &params,
                         std::unique_ptr<MicrophoneView> microphone, Loudspeaker &loudspeaker,
                         std::shared_ptr<SoundControls> controls)
    : make_(std::move(make)), codec_(std::move(codec)), sample_rate_(params.sample_rate),
      channels_(params.channels), unit_(codec_->frame_samples()), microphone_(std::move(microphone)),
      loudspeaker_(loudspeaker), controls_(std::move(controls)), room_(sample_rate_), played_(unit_),
      samples_(size_t{unit_} * channels_)
{
}

void SoundStream::begin(const CaptureBegin &from)
{
    first_ = (from.time_us * sample_rate_ + second_us - 1) / second_us;
    room_ = Room(sample_rate_);
    canceller_.reset();
    loudspeaker_.listen(sample_rate_);
    if (!codec_)
        codec_ = make_(error_);
}

/* Rounded up: then the unit's last sample has come. */
uint64_t SoundStream::due_us() const
{
    return ((first_ + unit_) * second_us + sample_rate_ - 1) / sample_rate_;
}

void SoundStream::skip()
{
    loudspeaker_.take(played_);
    first_ += unit_;
}

bool SoundStream::encode(const CodedSink &sink)
{
    if (!controls_->program.take(samples_))
        capture();
    return encode(samples_, sink);
}

bool SoundStream::encode(std::span<const int16_t> samples, const CodedSink &sink)
{
    const auto tsms = static_cast<uint32_t>(first_ * 1000 / sample_rate_);
    first_ += samples.size() / channels_;
    if (!codec_)
        return false;
    if (codec_->encode(samples, tsms, sink))
        return true;
    error_ = codec_->error();
    return false;
}

/* What the microphone hears, as it is encoded and passed through. */
void SoundStream::capture()
{
    microphone_->sound(sample_rate_, channels_, first_, samples_);
    loudspeaker_.take(played_);
    room_.add_echo(played_, samples_, channels_);
    cancel_echo();
    controls_->gain->apply(samples_, channels_);
    if (controls_->passes_through)
        loudspeaker_.pass(samples_, channels_);
}

/* Each time that it is turned on it learns anew. */
void SoundStream::cancel_echo()
{
    if (!controls_->cancels_echo)
        return canceller_.reset();
    if (!canceller_)
        canceller_.emplace(sample_rate_, channels_);
    canceller_->cancel(played_, samples_);
}

bool SoundStream::drain(const CodedSink &sink)
{
    bool good = true;
    loudspeaker_.leave();
    const std::vector<int16_t> rest = controls_->program.end();
    if (!rest.empty())
        good = encode(rest, sink);
    const std::unique_ptr<AudioEncoder> codec = std::move(codec_);
    if (!codec || codec->drain(sink))
        return good;
    error_ = codec->error();
    return false;
}

} // namespace orka::board
