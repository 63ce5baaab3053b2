/*
 * The DSP's side of the encoder of stills: a thread that takes the camera's picture, encodes it and puts it
 * into the queue. One job at a time.
 */
#ifndef ORKA_BOARD_STILL_WORKER_H
#define ORKA_BOARD_STILL_WORKER_H

#include <thread>
#include <vector>

#include "drivers/bell.h"
#include "drivers/frame_queue.h"
#include "dsp/camera.h"
#include "dsp/image_encoder.h"

namespace orka::board {

/* Which picture of the camera. */
struct StillJob {
    Standard standard;
    uint64_t time_us = 0; /* capture time */
};

class StillWorker {
  public:
    /*
     * form: the words that all its frames have in common. done is called on the worker's thread after each
     * job: empty when the picture is in the queue, otherwise why it is not.
     */
    StillWorker(std::unique_ptr<CameraView> view, std::unique_ptr<ImageEncoder> codec,
                std::shared_ptr<FrameQueue> frames, const orka_iencode_frame_t &form,
                std::function<void(const std::string &why)> done);
    ~StillWorker(); /* ends the wait for a picture's source; waits until the codec is done with it */
    StillWorker(const StillWorker &) = delete;
    StillWorker &operator=(const StillWorker &) = delete;

    /* Not before the job before is done. */
    void make(const StillJob &job);
    void hang(); /* jobs are never done any more */

  private:
    void loop();
    std::optional<StillJob> next_job();
    std::string encode(const StillJob &job);
    std::string deliver();
    bool is_ending();

    const std::unique_ptr<CameraView> view_;
    const std::unique_ptr<ImageEncoder> codec_;
    const std::shared_ptr<FrameQueue> frames_;
    const std::function<void(const std::string &why)> done_;
    const std::shared_ptr<Bell> bell_ = std::make_shared<Bell>();
    std::mutex mutex_;
    std::optional<StillJob> job_;
    bool hung_ = false;
    bool quit_ = false;

    /* The worker's thread alone. */
    std::vector<uint8_t> picture_;
    std::vector<uint8_t> coded_;
    orka_iencode_frame_t frame_; /* the one in work */

    std::thread thread_;
};

} // namespace orka::board

#endif
