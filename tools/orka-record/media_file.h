/* The file that is recorded, in its container. */
#ifndef ORKA_RECORD_MEDIA_FILE_H
#define ORKA_RECORD_MEDIA_FILE_H

#include <span>
#include <string>
#include <vector>

#include "common/ffmpeg.h"
#include "container.h"

namespace orka::record {

/* A packet of a stream; times are in the stream's ticks. */
struct FilePacket {
    int stream;
    std::span<const uint8_t> data;
    int64_t time;
    int64_t duration;
    bool key;
};

/*
 * Open from construction on, so that a path that cannot be written is found before anything is recorded. Add
 * the streams, begin, write packets in the order of each stream, finish. All but the destructor throw
 * Failure.
 */
class MediaFile {
  public:
    MediaFile(const std::string &path, const Container &container);
    ~MediaFile(); /* closes the file as it is */
    MediaFile(const MediaFile &) = delete;
    MediaFile &operator=(const MediaFile &) = delete;

    /* The number of a stream whose times are counted in ticks a second; of pictures, each is one. */
    int add_pictures(int ticks);
    int add_sound(int ticks);
    /* To be completed before begin(). */
    AVCodecParameters &parameters(int stream) { return *context_->streams[stream]->codecpar; }
    void begin();
    void write(const FilePacket &packet);
    void finish();

    /* Of the stream, written; when the file has failed, the last ones may not have come into it. */
    int64_t packets(int stream) const;
    bool has_failed() const { return failed_; }

  private:
    AVStream &add_stream(int ticks);
    bool has_own_files() const { return (context_->oformat->flags & AVFMT_NOFILE) != 0; }
    [[noreturn]] void fail(int error);

    std::string path_;
    AVFormatContext *context_ = nullptr;
    std::vector<int> ticks_;
    bool begun_ = false;
    bool failed_ = false;
};

} // namespace orka::record

#endif
