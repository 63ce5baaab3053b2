/* Where the encoders' codecs come from; the DSP's own, or a test's. */
#ifndef ORKA_BOARD_ENCODE_DRIVER_H
#define ORKA_BOARD_ENCODE_DRIVER_H

#include "drivers/driver.h"
#include "dsp/encoder.h"
#include "dsp/image_encoder.h"

namespace orka::board {

using VideoEncoders =
    std::function<std::unique_ptr<VideoEncoder>(const orka_iencode_video_params_t &params, std::string &why)>;
using AudioEncoders =
    std::function<std::unique_ptr<AudioEncoder>(const orka_iencode_audio_params_t &params, std::string &why)>;
using ImageEncoders =
    std::function<std::unique_ptr<ImageEncoder>(const ImageCoding &coding, std::string &why)>;

std::unique_ptr<Driver> make_video_encode_driver(Machine &machine, VideoEncoders codecs,
                                                 ImageEncoders image_codecs = ImageEncoder::create);
std::unique_ptr<Driver> make_audio_encode_driver(Machine &machine, AudioEncoders codecs);

} // namespace orka::board

#endif
