/* What the audio encoder captures: the microphone in its room, or what the program gives. */
#ifndef ORKA_BOARD_SOUND_STREAM_H
#define ORKA_BOARD_SOUND_STREAM_H

#include <optional>

#include "drivers/echo.h"
#include "drivers/gain.h"
#include "drivers/loudspeaker.h"
#include "drivers/program_sound.h"

namespace orka::board {

/* What the driver changes while the worker captures. */
struct SoundControls {
    SoundControls(std::shared_ptr<const Gain> of_node, size_t unit, std::function<void()> taken)
        : gain(std::move(of_node)), program(unit, std::move(taken))
    {
    }

    const std::shared_ptr<const Gain> gain; /* of the microphone */
    std::atomic<bool> cancels_echo = false;
    std::atomic<bool> passes_through = false;
    ProgramSound program;
};

/* The unit is a packet's worth of samples. */
class SoundStream final : public EncodeStream {
  public:
    using MakeCodec = std::function<std::unique_ptr<AudioEncoder>(std::string &why)>;

    /* codec: the first stream's. */
    SoundStream(MakeCodec make, std::unique_ptr<AudioEncoder> codec,
                const orka_iencode_audio_params_t &params, std::unique_ptr<MicrophoneView> microphone,
                Loudspeaker &loudspeaker, std::shared_ptr<SoundControls> controls);

    void begin(const CaptureBegin &from) override;
    uint64_t due_us() const override;
    Supply supply() const override { return controls_->program.supply(); }
    bool encode(const CodedSink &sink) override;
    void skip() override;
    bool drain(const CodedSink &sink) override;
    const std::string &error() const override { return error_; }
    void cancel() override { microphone_->cancel(); }

  private:
    void capture();
    void cancel_echo();
    bool encode(std::span<const int16_t> samples, const CodedSink &sink);

    const MakeCodec make_;
    std::unique_ptr<AudioEncoder> codec_;
    const uint32_t sample_rate_;
    const uint32_t channels_;
    const uint32_t unit_; /* samples of each channel */
    const std::unique_ptr<MicrophoneView> microphone_;
    Loudspeaker &loudspeaker_;
    const std::shared_ptr<SoundControls> controls_;
    Room room_;
    std::optional<EchoCanceller> canceller_;
    std::vector<int16_t> played_;
    std::vector<int16_t> samples_;
    uint64_t first_ = 0; /* sample of the next unit, from capture time 0 */
    std::string error_;
};

} // namespace orka::board

#endif
