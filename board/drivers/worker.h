/*
 * The DSP's side of one decoder: a thread that takes packets out of physical memory, decodes them, and puts
 * what comes out into buffers of the decoder's output part.
 *
 *     reactor's thread                      worker's thread
 *     submit(), run(), discard()  ------->  jobs, one after the other
 *     release()                   ------->  room for output
 *     collect()                   <-------  progress: input done with, frames, lines for the log
 *
 * Everything that both touch lies behind one mutex that is never held while a codec works. What was under way
 * when the reactor discards belongs to an older generation, and is thrown away where it comes out.
 */
#ifndef ORKA_BOARD_WORKER_H
#define ORKA_BOARD_WORKER_H

#include <condition_variable>
#include <deque>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "drivers/buffer_space.h"
#include "dsp/codec.h"
#include "server/memory.h"

namespace orka::board {

/* Where a codec's frames go. */
class FrameSink {
  public:
    virtual ~FrameSink() = default;
    /*
     * The place of a frame of that many bytes; waits until there is one. Empty where the frame is not
     * wanted.
     */
    virtual std::span<uint8_t> reserve(uint32_t size) = 0;
    /* The frame that was written there; address, size and capacity are filled in. */
    virtual void publish(orka_idecode_frame_t frame) = 0;
};

/* A codec as a worker runs it, of whatever medium. */
class CodecStream {
  public:
    virtual ~CodecStream() = default;
    virtual bool header(std::span<const uint8_t> data) = 0;
    virtual bool decode(const Packet &packet, FrameSink &sink) = 0;
    virtual bool drain(FrameSink &sink) = 0;
    virtual void flush() = 0;
    virtual const std::string &error() const = 0;
    /* What a packet gives needs none before it: damage says nothing of the frames that follow. */
    virtual bool stands_alone() const { return false; }
};

/* A committed frame. */
struct Job {
    uint32_t address = 0;
    uint32_t size = 0;
    uint32_t flags = 0;
    uint32_t tsms = 0;
    uint32_t duration = 0;
    bool last = false; /* ends the stream; has no data */
};

/* What a worker has done since it was last asked. */
struct Progress {
    std::vector<uint32_t> consumed;           /* input buffers that are free again */
    std::vector<orka_idecode_frame_t> frames; /* in order; kind LAST where the stream ends */
    std::vector<std::string> log;
};

class Worker final : private FrameSink {
  public:
    /*
     * notify is called on the worker's thread when there is something to collect, once until it was
     * collected.
     */
    Worker(Memory &memory, BufferSpace output, std::unique_ptr<CodecStream> stream,
           std::function<void()> notify);
    ~Worker() override; /* waits until the codec is done with its packet */

    void run(bool running); /* while not running, packets wait */
    void hang();            /* it takes and gives nothing any more */
    void submit(const Job &job);
    /* Forgets everything that was not collected; the input so freed is collected as consumed. */
    void discard();
    /* An output buffer, which is the next one to be written: caches know it. */
    void release(uint32_t address);
    Progress collect();
    bool is_stalled(); /* it waits for room for its next frame, and what was released is not enough */

  private:
    std::span<uint8_t> reserve(uint32_t size) override;
    void publish(orka_idecode_frame_t frame) override;

    void loop();
    bool next_job(std::unique_lock<std::mutex> &lock, Job &job);
    void process(const Job &job);
    bool decode(const Job &job);
    void abandon_frame();
    void end_stream();
    void judge(bool good, const std::string &why);
    void judge_packet(bool good, const std::string &why);
    void say(std::string line);
    void tell();
    bool outdated() const { return quit_ || generation_ != job_generation_; }

    Memory &memory_;
    const std::unique_ptr<CodecStream> stream_;
    const std::function<void()> notify_;

    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<Job> jobs_;
    BufferSpace output_;
    Progress progress_;
    bool told_ = false;
    bool stalled_ = false;
    bool running_ = false;
    bool hung_ = false;
    bool quit_ = false;
    uint64_t generation_ = 0;

    /* The worker's thread alone. */
    uint64_t job_generation_ = 0; /* of the packet in work */
    std::vector<uint8_t> packet_;
    uint32_t reserved_ = 0; /* the buffer that is being written, or 0 */
    unsigned published_ = 0;
    unsigned damaged_packets_ = 0; /* one after the other */
    bool damaged_ = false;         /* something is missing before the next frame */

    std::thread thread_;
};

} // namespace orka::board

#endif
