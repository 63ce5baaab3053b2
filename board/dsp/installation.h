/* Whether this machine has what the DSP uses of it. */
#ifndef ORKA_BOARD_DSP_INSTALLATION_H
#define ORKA_BOARD_DSP_INSTALLATION_H

#include <string>
#include <vector>

namespace orka::board {

/* "decoder vorbis", "encoder libx264": what codec images offer and this machine's libavcodec does not have.
 */
std::vector<std::string> lacking_codecs();

/* Empty where files and devices can be cameras and microphones, else what is wrong. */
std::string why_no_capture_sources();

/* Empty where the font can be used for subtitles, else what is wrong. */
std::string why_no_subtitles(const std::string &font);

} // namespace orka::board

#endif
