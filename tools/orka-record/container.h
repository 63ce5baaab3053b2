/* The files that can be written, and what each of them can carry. */
#ifndef ORKA_RECORD_CONTAINER_H
#define ORKA_RECORD_CONTAINER_H

#include <span>
#include <string>
#include <string_view>

#include "orka_media.h"

namespace orka::record {

struct Container {
    std::string_view extension;
    const char *format;      /* libavformat's name; null for a still */
    orka_video_type_t video; /* recorded where nothing else is asked for */
    orka_audio_type_t audio;
    std::span<const orka_video_type_t> videos; /* that it carries */
    std::span<const orka_audio_type_t> audios;
    orka_image_type_t still = ORKA_IMAGE_TYPE_NONE; /* one picture, of that type */
    bool counts = false;                            /* packets have no times: all streams begin together */

    bool is_still() const { return still != ORKA_IMAGE_TYPE_NONE; }
    bool carries_video(orka_video_type_t type) const;
    bool carries_audio(orka_audio_type_t type) const;
    bool carries(orka_video_type_t video_type, orka_audio_type_t audio_type) const
    {
        return carries_video(video_type) && carries_audio(audio_type);
    }
};

/* By the file's extension; null for one that is not known. */
const Container *find_container(const std::string &file);

/* The extensions of all, and of those that carry a pair, for a message. */
std::string all_extensions();
std::string extensions_for(orka_video_type_t video, orka_audio_type_t audio);

} // namespace orka::record

#endif
