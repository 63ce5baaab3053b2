/* Plays a clip: reads it, feeds the decoders, takes what they give. */
#ifndef ORKA_PLAY_PLAYER_H
#define ORKA_PLAY_PLAYER_H

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "clip.h"
#include "common/display_output.h"
#include "decoder.h"
#include "edits.h"
#include "options.h"
#include "outputs.h"
#include "packet_queue.h"
#include "snapshot.h"
#include "subtitles.h"

namespace orka::play {

/*
 * Threads: one reads the file; each stream has one that feeds its decoder and one that takes from it. The
 * thread that calls play() shows the progress and listens to `stop`. The first failure of any thread ends all
 * of them.
 */
class Player {
  public:
    /* Chooses the streams and their image, and sets the decoders up. Throws Failure. */
    Player(Clip &clip, const Options &options, const std::atomic<bool> &stop);
    ~Player();

    /* Returns when all is played, or stopped. Throws Failure, after all that is good was delivered. */
    void play();
    void print_summary() const;

  private:
    using Clock = std::chrono::steady_clock;

    struct Stream {
        int index;                                 /* in the clip */
        const AVCodecParameters *source = nullptr; /* the clip's */
        std::vector<uint8_t> header;               /* the codec's extradata */
        std::unique_ptr<Decoder> decoder;
        bool begins_silent;   /* no sound comes of its first packet, which an edit would be meant for */
        uint32_t queue_limit; /* frames */
        std::optional<orka_idecode_frame_t> unused; /* an empty frame that was obtained, and nothing fitted */
        PacketQueue packets;
        Edits edits;
        bool (Player::*deliver)(const orka_idecode_frame_t &frame); /* false: an edit leaves it out */
        std::atomic<uint32_t> frames_in = 0;
        std::atomic<uint32_t> frames_out = 0;
        uint32_t whole = 0;   /* frames */
        uint32_t leading = 0; /* damaged pictures before it begins, and before a whole one */
        uint32_t damaged = 0; /* all others */
        std::atomic<uint32_t> begins_at = no_time; /* ms, where its first packet is a key picture */
        uint32_t left_out = 0;                     /* packets that no frame of the decoder holds */
        uint32_t frame_capacity = 0;               /* bytes, where some were left out */
        std::atomic<uint32_t> position = 0;        /* ms */
        std::atomic<uint32_t> fed_to = 0;          /* ms, the latest time stamp that went in */
        std::atomic<bool> starved = false;         /* the feeder waits for the reader */
        std::thread feeder;
        std::thread taker;
    };

    struct Choice {
        orka_video_type_t video = ORKA_VIDEO_TYPE_NONE;
        orka_audio_type_t audio = ORKA_AUDIO_TYPE_NONE;
        std::string image;
    };

    Choice choose() const;
    void choose_image(Choice &choice) const;
    void set_up_display(const Choice &choice);
    void set_up(const Choice &choice);
    template <typename Params>
    static std::unique_ptr<Stream> make_stream(const AVStream &source, const std::string &image,
                                               const Params &params);
    void open_outputs(const Choice &choice);
    void close_outputs();

    void read();
    static ClipPacket next_packet(Stream &stream);
    void feed(Stream &stream);
    void count_damage(Stream &stream, const orka_idecode_frame_t &frame) const;
    bool put_new_header(Stream &stream, const AVPacket &packet);
    bool obtain(Stream &stream, orka_idecode_frame_t &frame);
    bool put(Stream &stream, const orka_idecode_frame_t &words, std::span<const uint8_t> data);
    Patience patience_with(const Stream &stream) const;
    static std::chrono::milliseconds lead_of(const Stream &stream);
    void take(Stream &stream);
    void wait_finished(const Stream &stream) const;
    void hold(uint32_t tsms);
    bool deliver_picture(const orka_idecode_frame_t &frame);
    bool deliver_sound(const orka_idecode_frame_t &frame);

    std::thread guarded(std::function<void()> work);
    void start_threads();
    void watch();
    void end();
    bool ending() const { return stop_ || failed_; }
    std::vector<Stream *> streams() const;
    Stream *stream_at(int index);
    std::string progress() const;
    double elapsed() const;
    void report_faults() const;

    Clip &clip_;
    const Options &options_;
    const std::atomic<bool> &stop_;
    std::optional<DisplayOutput> display_; /* for longer than what it shows */
    std::unique_ptr<Stream> video_;
    std::unique_ptr<Stream> audio_;
    std::unique_ptr<Subtitles> subtitles_; /* while it plays, the reader's */
    std::thread reader_;

    std::optional<PictureHashes> hashes_;
    std::optional<OutputFile> pcm_;
    std::optional<Snapshot> snapshot_;
    double audio_seconds_ = 0; /* the audio taker's, until it ends */

    std::atomic<bool> failed_ = false;
    std::atomic<bool> played_ = false; /* all is taken */
    Clock::time_point begin_;
    Clock::time_point end_;
    std::mutex mutex_;                        /* guards what follows */
    std::optional<Clock::time_point> origin_; /* when time stamp 0 is shown */
    std::exception_ptr failure_;
    size_t takers_ = 0; /* that have not come to their stream's end */
    std::condition_variable taker_ended_;
};

} // namespace orka::play

#endif
