/* The codec images that the DSP can load, and what each of them decodes and encodes. */
#ifndef ORKA_BOARD_DSP_IMAGES_H
#define ORKA_BOARD_DSP_IMAGES_H

#include <cstdint>
#include <span>
#include <string_view>

namespace orka::board {

struct CodecImage {
    std::string_view name;
    std::span<const uint32_t> video; /* codec numbers that it decodes */
    std::span<const uint32_t> audio;
    std::span<const uint32_t> coded_video{}; /* codec numbers that it encodes */
    std::span<const uint32_t> coded_audio{};
    std::span<const uint32_t> stills{}; /* types of still images that it decodes */
    std::span<const uint32_t> coded_stills{};
    std::span<const uint32_t> subtitles{}; /* that it decodes */
    bool serial_ports = false;             /* it answers for the DSP's serial ports */

    bool decodes_video(uint32_t codec) const;
    bool decodes_audio(uint32_t codec) const;
    bool decodes_subtitles(uint32_t codec) const;
    bool encodes_video(uint32_t codec) const;
    bool encodes_audio(uint32_t codec) const;
    bool decodes_still(uint32_t type) const; /* 0: whatever the data are */
    bool encodes_still(uint32_t type) const;
};

/* Null for a name that is no image's. */
const CodecImage *find_image(std::string_view name);

} // namespace orka::board

#endif
