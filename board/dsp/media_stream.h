/* The pictures or the sound of a file or device that libavformat or libavdevice opens, decoded one by one. */
#ifndef ORKA_BOARD_DSP_MEDIA_STREAM_H
#define ORKA_BOARD_DSP_MEDIA_STREAM_H

#include <cstdint>
#include <memory>
#include <string>

#include "dsp/av.h"
#include "dsp/camera.h"
#include "dsp/fifo.h"
#include "dsp/media_libraries.h"

namespace orka::board {

/* What does not open is told as "<what> <source>: <why>". */
class MediaStream {
  public:
    /*
     * source: [FORMAT:]NAME. What stands before the first colon is a format where libavformat knows it as
     * one, unless a file has that whole name or "//" follows. type: video or sound. Null, and a text in why,
     * where it does not open or holds no such stream. Once stop says so, now or while the stream lives, what
     * waits for the source ends: opening fails, and the stream is at its end.
     */
    static std::unique_ptr<MediaStream> open(const std::string &source, AVMediaType type, std::string &why,
                                             Stop stop = {});

    enum class Step : uint8_t { frame, not_yet, end };
    /* Damaged packets are skipped. Only a device is ever not yet ready. */
    Step next(AVFrame &frame);
    /* Goes on near that time; false where it cannot. */
    bool seek(uint64_t time_us);

    /* When the frame given last begins and ends, µs from the beginning of the file. */
    uint64_t begin_us() const { return begin_us_; }
    uint64_t end_us() const { return end_us_; }
    /* Of the whole file with all its streams, so that its pictures and its sound begin anew together; 0 where
       nobody knows. */
    uint64_t length_us() const;
    /* It delivers at its own pace, and can be opened once only. */
    bool is_device() const;

  private:
    struct Close {
        const MediaLibraries *libraries;
        void operator()(AVFormatContext *context) const { libraries->close_input(&context); }
    };
    using Format = std::unique_ptr<AVFormatContext, Close>;

    MediaStream(const MediaLibraries &libraries, Stop stop)
        : libraries_(libraries), stop_(std::move(stop)), format_(nullptr, Close{&libraries})
    {
    }
    int open_input(const std::string &source);
    int open_decoder(AVMediaType type);
    int feed();
    bool stopped() const { return stop_ && stop_(); }
    void keep_time(const AVFrame &frame);
    const AVStream &stream() const { return *format_->streams[index_]; }

    const MediaLibraries &libraries_;
    const Stop stop_;
    Fifo fifo_; /* which the format reads, where it is one */
    Format format_;
    av::Context decoder_;
    av::Packet packet_;
    int index_ = -1;
    uint64_t begin_us_ = 0;
    uint64_t end_us_ = 0;
};

} // namespace orka::board

#endif
