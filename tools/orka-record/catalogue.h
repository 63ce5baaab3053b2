/* From the media types to the encoders' parameters and images, and to libavformat's codecs. */
#ifndef ORKA_RECORD_CATALOGUE_H
#define ORKA_RECORD_CATALOGUE_H

#include <string>
#include <vector>

#include "common/ffmpeg.h"
#include "options.h"
#include "orka_iencode.h"

namespace orka::record {

constexpr uint32_t rate_of(bool pal)
{
    return pal ? 25 : 30; /* pictures a second */
}

/* The sounds that a container carries and an image encodes beside that picture: the container's usual first.
 */
std::vector<orka_audio_type_t> sounds_beside(orka_video_type_t video, const Container &container);

/* "MPEG4 with MP3"; what there is alone of, by itself. */
std::string pair_text(orka_video_type_t video, orka_audio_type_t audio);

/* The image that encodes both. Throws Failure, which names the sounds that go. */
std::string select_image(const Options &options);

/* What the encoders are set up with. They throw Failure. */
orka_iencode_audio_params_t audio_params(const Options &options);
orka_iencode_video_params_t video_params(const Options &options);

/* What libavformat is told of the streams; the codecs' headers are still missing. */
void describe_audio(AVCodecParameters &stream, orka_audio_type_t type,
                    const orka_iencode_audio_params_t &params);
void describe_video(AVCodecParameters &stream, orka_video_type_t type,
                    const orka_iencode_video_params_t &params);

} // namespace orka::record

#endif
