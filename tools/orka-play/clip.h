/* A media file: its streams and their packets, with times in milliseconds from its start. */
#ifndef ORKA_PLAY_CLIP_H
#define ORKA_PLAY_CLIP_H

#include <atomic>
#include <string>
#include <string_view>

#include "common/ffmpeg.h"

namespace orka::play {

/* The time stamp of a packet whose container tells none; the decoder works it out. */
constexpr uint32_t no_time = UINT32_MAX;

struct ClipPacket {
    PacketPtr data;    /* null at the end */
    uint32_t tsms;     /* when it is shown, or no_time */
    uint32_t duration; /* ms, 0 where unknown */
};

/* read() belongs to one thread, and while it is used the rest does too, but for path() and seconds(). */
class Clip {
  public:
    /* Throws Failure. Waiting for data ends when stop becomes true. */
    Clip(const std::string &path, const std::atomic<bool> &stop);

    /* The first of each kind, null where there is none; cover art is no video. */
    const AVStream *video() const { return video_; }
    const AVStream *audio() const { return audio_; }
    /* The first that is text, or else the first of all. */
    const AVStream *subtitles() const;
    const std::string &path() const { return path_; }
    std::string_view format() const { return context_->iformat->name; } /* libavformat's name */
    double seconds() const { return seconds_; } /* as far as the container tells, otherwise 0 */
    AVRational frame_rate() const;

    /* Ends at the end, and after an error, which fault() tells. */
    ClipPacket read();

    /* What was wrong with the file, once read() gave null: a clause, or empty. */
    std::string fault() const;

  private:
    struct Closer {
        void operator()(AVFormatContext *context) const { avformat_close_input(&context); }
    };

    void open();
    AVStream *first(AVMediaType type) const;
    uint32_t milliseconds(const AVPacket &packet) const;
    int64_t presentation_time(const AVPacket &packet) const;
    void note_end(const AVPacket &packet);
    double announced_seconds() const;

    std::string path_;
    const std::atomic<bool> &stop_;
    std::unique_ptr<AVFormatContext, Closer> context_;
    AVStream *video_ = nullptr;
    AVStream *audio_ = nullptr;
    double seconds_ = 0;
    double end_seconds_ = 0; /* of the packets read: of the measured stream's, or of all */
    bool damaged_ = false;
    bool cut_short_ = false; /* the last packet read */
    int error_ = 0;
};

} // namespace orka::play

#endif
