/*
 * The DSP's side of one encoder: a thread that captures, encodes, and puts what comes out into the queue.
 *
 *     reactor's thread                      worker's thread
 *     start(), stop()             ------->  streams, one after the other
 *     room_came()                 ------->  look again
 *     collect()                   <-------  lines for the log; notify when frames came
 *
 * A stream is what is captured between a start and its stop; what was captured is encoded, and LAST ends it,
 * also when the next one has already been started. While the queue has no room the worker holds the packets
 * that it has, and captures nothing: in real time the units that pass meanwhile are dropped and counted, and
 * so are those that an encoder is too slow for; as fast as possible capture time stands still for it.
 */
#ifndef ORKA_BOARD_ENCODE_WORKER_H
#define ORKA_BOARD_ENCODE_WORKER_H

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "drivers/bell.h"
#include "drivers/capture_clock.h"
#include "drivers/frame_queue.h"
#include "dsp/camera.h"
#include "dsp/encoder.h"

namespace orka::board {

/* Where a stream begins, as it was when it was started. */
struct CaptureBegin {
    uint64_t time_us = 0; /* capture time */
    Standard standard = ntsc;
};

/*
 * One medium, captured and encoded in units: a picture, or a packet's worth of sound. Made, cancelled and
 * ended on the reactor's thread; everything else is called by the worker's alone.
 */
class EncodeStream {
  public:
    /* Where the next unit comes from: from capture, in time, or from the program, whenever it has it. */
    enum class Supply : uint8_t { captured, given, missing };

    virtual ~EncodeStream() = default;
    /* A new stream, whose first unit is the first that begins at that capture time or later. Encoders do not
       go on after drain(): this is where the next one is made. */
    virtual void begin(const CaptureBegin &from) = 0;
    /* When the next unit is captured to its end, µs of capture time. */
    virtual uint64_t due_us() const = 0;
    virtual Supply supply() const { return Supply::captured; }
    /* Captures and encodes it, and goes on to the one after; false, and a text in error(), where that
       failed. */
    virtual bool encode(const CodedSink &sink) = 0;
    /* Goes on to the one after, without. */
    virtual void skip() = 0;
    /* Gives what was held back; the stream is over. */
    virtual bool drain(const CodedSink &sink) = 0;
    virtual const std::string &error() const = 0;
    /* Of what is captured nothing is waited for any more, also by a unit in work: the stream is about to end.
     */
    virtual void cancel() = 0;
};

/* What an encoder has done since its setup. */
struct EncodeCounts {
    std::atomic<uint64_t> captured = 0; /* units encoded or dropped */
    std::atomic<uint64_t> dropped = 0;  /* units without room or time, or that failed */
    std::atomic<uint64_t> encoded = 0;  /* frames into the queue, without LAST */
    std::atomic<uint64_t> vectors_dropped = 0;
};

class EncodeWorker {
  public:
    /* How late a unit may be before it is dropped: what the capture side holds. */
    static constexpr uint64_t longest_lag_us = 250'000;

    /*
     * form: the words that all its frames have in common. notify is called on the worker's thread when there
     * is something to collect, once until it was collected.
     */
    EncodeWorker(CaptureClock &clock, std::shared_ptr<FrameQueue> frames, const orka_iencode_frame_t &form,
                 std::unique_ptr<EncodeStream> stream, std::function<void()> notify);
    ~EncodeWorker(); /* ends the wait for a unit's source; waits until the codec is done with it */
    EncodeWorker(const EncodeWorker &) = delete;
    EncodeWorker &operator=(const EncodeWorker &) = delete;

    void start(const Standard &standard);
    void stop();
    void hang(); /* nothing more is captured or encoded, nor does a stream end */
    void taken(const orka_iencode_frame_t &frame); /* by the program */
    void room_came() { bell_->ring(); }            /* for room in the queue it looks by itself */
    /* From the next unit on, the motion vectors of each picture go there. */
    void set_vectors(std::shared_ptr<FrameQueue> vectors);
    std::vector<std::string> collect();
    const EncodeCounts &counts() const { return counts_; }

  private:
    /* A coded packet that waits for its place in the queue. */
    struct Coded {
        orka_iencode_frame_t frame{};
        std::vector<uint8_t> data;
        std::vector<MotionVector> vectors;
        std::shared_ptr<FrameQueue> vector_queue; /* null where they were not asked for */
    };
    enum class Step : uint8_t { quit, wait, begin, encode, skip, end };

    void loop();
    Step next_step();
    Step next_in_stream(bool room);
    Step next_in_real_time(uint64_t due_us, bool room);
    void take(Step step);
    void begin_stream();
    void encode();
    void skip();
    void end_stream();
    void advance(uint64_t position_us);
    void keep(const CodedPacket &packet);
    void deliver();
    bool deliver(const Coded &coded);
    void deliver_vectors(const Coded &coded);
    void judge(bool good, const std::string &why);
    void say(std::string line);
    void tell();

    CaptureClock &clock_;
    const std::shared_ptr<FrameQueue> frames_;
    const orka_iencode_frame_t form_;
    const std::unique_ptr<EncodeStream> stream_;
    const std::function<void()> notify_;
    const std::shared_ptr<Bell> bell_ = std::make_shared<Bell>();
    EncodeCounts counts_;

    std::mutex mutex_; /* before the clock's and the queues' */
    uint64_t starts_ = 0;
    uint64_t stops_ = 0;
    CaptureBegin from_;                        /* of the last start */
    std::optional<CaptureClock::Place> place_; /* while it captures */
    std::shared_ptr<FrameQueue> vectors_;
    std::vector<std::string> log_;
    bool told_ = false;
    bool hung_ = false;
    bool quit_ = false;

    /* The worker's thread alone. */
    uint64_t begun_ = 0; /* streams */
    uint64_t ended_ = 0;
    std::optional<Clock::time_point> until_; /* when to look again */
    std::deque<Coded> coded_;
    std::shared_ptr<FrameQueue> unit_vectors_; /* as the unit in work found it */
    uint32_t number_ = 0;
    uint32_t coded_until_ = 0;  /* ms, the end of the last packet */
    unsigned failed_units_ = 0; /* one after the other */
    bool damaged_ = false;      /* something is missing before the next frame */
    bool said_dropped_ = false; /* in this stream */

    std::thread thread_;
};

} // namespace orka::board

#endif
