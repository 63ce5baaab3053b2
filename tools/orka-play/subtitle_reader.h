/* Subtitles as text, out of packets and out of files of their own. */
#ifndef ORKA_PLAY_SUBTITLE_READER_H
#define ORKA_PLAY_SUBTITLE_READER_H

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "common/ffmpeg.h"

namespace orka::play {

struct Subtitle {
    uint32_t tsms;
    uint32_t duration; /* ms, 0 where unknown */
    std::string text;  /* UTF-8, with the markup of ASS */
};

/* Subtitles may be pictures, too. */
bool is_text(const AVCodecParameters &track);

class SubtitleReader {
  public:
    /* Throws Failure where the track is no text, or none that libavcodec reads. */
    explicit SubtitleReader(const AVStream &track);

    /* Empty where there is nothing to be read; nothing where the packet is damaged. */
    std::optional<std::string> text(AVPacket &packet) const;

  private:
    struct Free {
        void operator()(AVCodecContext *context) const { avcodec_free_context(&context); }
    };
    std::unique_ptr<AVCodecContext, Free> context_;
};

struct SubtitleFile {
    std::vector<Subtitle> subtitles; /* in the order of their times */
    uint32_t damaged = 0;            /* which were left out */
};

/* Throws Failure, which names the file. */
SubtitleFile read_subtitle_file(const std::string &path);

} // namespace orka::play

#endif
