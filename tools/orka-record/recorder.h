/* Records: sets the encoders up, takes what they give, and writes the file. */
#ifndef ORKA_RECORD_RECORDER_H
#define ORKA_RECORD_RECORDER_H

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <exception>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "catalogue.h"
#include "common/progress_line.h"
#include "encoder.h"
#include "media_file.h"
#include "options.h"
#include "track.h"
#include "written_time.h"

namespace orka::record {

/*
 * Threads: each stream has one that takes from its encoder and writes. The thread that calls record() shows
 * the progress and listens to `stop`. The first failure of any thread ends all of them; the file is finished
 * all the same.
 */
class Recorder {
  public:
    /* Sets the encoders up and opens the file. Throws Failure. */
    Recorder(const Options &options, const std::atomic<bool> &stop);
    ~Recorder();

    /* Returns when all is recorded, or stopped. Throws Failure, after the file was finished as it is. */
    void record();
    void print_summary() const;

  private:
    /* A frame that waits for the file to begin. */
    struct Held {
        orka_iencode_frame_t words;
        std::vector<uint8_t> data;
    };

    struct Stream {
        std::unique_ptr<Encoder> encoder;
        AVCodecParameters description = {};
        std::vector<uint8_t> headers; /* of the codec */
        bool video;
        int number = -1; /* in the file; -1: not in it */
        std::vector<Held> held;
        std::optional<int64_t> first; /* ticks: where its first packet stands */
        int64_t written_to = 0;       /* ticks */
        bool enough = false;          /* what was asked for has been written */
        bool ended = false;
        std::atomic<bool> goes_on = false; /* the encoder could not be stopped */
        uint32_t frames = 0;
        int64_t ticks = 0; /* that they last */
        uint64_t bytes = 0;
        std::thread taker;
    };

    void set_up_video(const std::string &image);
    void set_up_audio(const std::string &image);
    std::vector<Stream *> streams() const;

    void take(Stream &stream);
    void deliver(Stream &stream, const orka_iencode_frame_t &frame);
    void end(Stream &stream);
    void begin_if_ready();
    void begin();
    void describe(Stream &stream);
    void write(Stream &stream, const orka_iencode_frame_t &words, std::span<const uint8_t> data);
    void put(Stream &stream, const Place &at, std::span<const uint8_t> data, bool key);
    int ticks_a_second(const Stream &stream) const;
    bool is_beyond(const Stream &stream, const Place &place) const;
    Place place(const Stream &stream, const orka_iencode_frame_t &words, size_t size);
    void take_place(const Stream &stream, const Place &place);
    void end_as_asked(Stream &stream);
    void fill_gap(Stream &stream, std::span<const uint8_t> next, const Place &at);

    std::thread guarded(Stream &stream);
    void keep_failure();
    void watch(ProgressLine &line);
    bool is_done() const;
    void stop_encoders();
    void finish();
    std::string progress() const;
    std::string told_frames(const Stream &stream) const;

    const Options &options_;
    const std::atomic<bool> &stop_;
    std::unique_ptr<Stream> video_;
    std::unique_ptr<Stream> audio_;
    std::optional<MediaFile> file_;

    mutable std::mutex mutex_; /* guards what follows, and the streams' words */
    std::condition_variable changed_;
    bool begun_ = false;
    uint32_t base_ = 0; /* ms: the first picture's time stamp, or the first sound's, where the file begins */
    std::optional<PictureTicks> picture_ticks_;
    std::optional<SoundTicks> sound_ticks_;
    WrittenTime written_;
    std::exception_ptr failure_;
    std::chrono::steady_clock::time_point begin_;
    std::chrono::steady_clock::time_point end_;
};

} // namespace orka::record

#endif
