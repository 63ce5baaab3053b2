/*
 * What the nodes of the decoders have in common: their decoders, found by channel and stream.
 */
#ifndef ORKA_BOARD_DECODE_DRIVER_H
#define ORKA_BOARD_DECODE_DRIVER_H

#include "drivers/decoder.h"
#include "dsp/image_decoder.h"

namespace orka::board {

class DecodeDriver : public Driver {
  public:
    void closed(File &file) override;
    void control(std::shared_ptr<Call> call) final;
    bool hang(const Call &call) override;
    void report(nlohmann::json &status) const override;

  protected:
    DecodeDriver(Machine &machine, const DecoderKind &kind, int32_t channels, int32_t streams);

    /* Null for a channel or a stream that the node does not have. */
    Decoder *find(int32_t channel, int32_t stream);
    const std::vector<std::unique_ptr<Decoder>> &decoders() const { return decoders_; }

    virtual void load(Call &call) = 0;
    virtual void set_up(Call &call) = 0;
    /* Requests of this node alone; false for any other. */
    virtual bool control_node(Call &call) = 0;

    Machine &machine_;

  private:
    void tell_readable(File &file) const;

    const int32_t channels_;
    const int32_t streams_;
    std::vector<std::unique_ptr<Decoder>> decoders_;
};

/* Where the codecs come from; the DSP's own, or a test's. */
using AudioCodecs =
    std::function<std::unique_ptr<AudioDecoder>(const orka_idecode_audio_params_t &params, std::string &why)>;
using VideoCodecs =
    std::function<std::unique_ptr<VideoDecoder>(const orka_idecode_video_params_t &params, std::string &why)>;
using TextPainters = std::function<std::shared_ptr<TextPainter>(std::string &why)>;
using ImageCodecs = std::function<std::unique_ptr<VideoDecoder>(const ImageSetup &setup, std::string &why)>;

std::unique_ptr<Driver> make_audio_decode_driver(Machine &machine, AudioCodecs codecs);
std::unique_ptr<Driver> make_video_decode_driver(Machine &machine, VideoCodecs codecs);
std::unique_ptr<Driver> make_subtitle_decode_driver(Machine &machine, TextPainters painters);
std::unique_ptr<Driver> make_image_decode_driver(Machine &machine, ImageCodecs codecs);

} // namespace orka::board

#endif
