#include "dsp/installation.h"

#include <set>

#include "dsp/media_libraries.h"
#include "dsp/needed_codecs.h"
#include "dsp/text_painter.h"

namespace orka::board {

/* Several codec numbers may need the same. */
std::vector<std::string> lacking_codecs()
{
    std::set<std::string> lacking;
    for (const auto list : {video_decoders_needed, audio_decoders_needed, image_decoders_needed}) {
        for (const AVCodecID codec : list()) {
            if (!avcodec_find_decoder(codec))
                lacking.insert(std::string("decoder ") + avcodec_get_name(codec));
        }
    }
    for (const auto list : {video_encoders_needed, audio_encoders_needed, image_encoders_needed}) {
        for (const char *const name : list()) {
            if (!avcodec_find_encoder_by_name(name))
                lacking.insert(std::string("encoder ") + name);
        }
    }
    return {lacking.begin(), lacking.end()};
}

std::string why_no_capture_sources()
{
    std::string why;
    MediaLibraries::get(why);
    return why;
}

std::string why_no_subtitles(const std::string &font)
{
    std::string why;
    TextPainter::create(font, why);
    return why;
}

} // namespace orka::board
