/*
 * The capture node's thread, in which the camera's pictures are made: files are opened, read and decoded
 * there. One job at a time.
 */
#ifndef ORKA_BOARD_CAPTURE_WORKER_H
#define ORKA_BOARD_CAPTURE_WORKER_H

#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <thread>
#include <vector>

#include "drivers/bell.h"
#include "dsp/camera.h"
#include "dsp/uyvy_scaler.h"

namespace orka::board {

/* A picture for the display; without pixels where none was asked for. */
struct ShownPicture {
    std::vector<uint8_t> uyvy;
    uint32_t width = 0;
    uint32_t height = 0;
};

/* What came of a job. */
struct Captured {
    ShownPicture shown;
    std::string fault; /* empty, or why nothing was captured */
};

/* One picture of the camera, and what becomes of it. */
struct CaptureJob {
    Standard standard;
    uint64_t time_us = 0;      /* capture time */
    bool field = false;        /* every second line alone, from first_line on */
    uint32_t first_line = 0;   /* 0 or 1 */
    std::span<uint8_t> buffer; /* for the frame; empty where there is no room for it */

    enum class Show : uint8_t { nothing, frame, scaled };
    Show show = Show::nothing; /* the frame as it is, or the whole picture scaled */
    uint32_t shown_width = 0;  /* the size of what is shown */
    uint32_t shown_height = 0;
};

class CaptureWorker {
  public:
    /* done is called on the worker's thread after each job. */
    CaptureWorker(Camera &camera, std::function<void(Captured)> done);
    ~CaptureWorker(); /* ends the wait for a picture's source; waits until the picture in work is made */
    CaptureWorker(const CaptureWorker &) = delete;
    CaptureWorker &operator=(const CaptureWorker &) = delete;

    /* Not before the job before is done. */
    void capture(const CaptureJob &job);

  private:
    void loop();
    std::optional<CaptureJob> next_job();
    ShownPicture take(const CaptureJob &job);
    void copy_frame(const CaptureJob &job, std::span<uint8_t> out) const;
    ShownPicture shown_of(const CaptureJob &job);

    const std::unique_ptr<CameraView> view_;
    const std::function<void(Captured)> done_;
    Bell bell_;
    std::mutex mutex_;
    std::optional<CaptureJob> job_;
    bool quit_ = false;

    /* The worker's thread alone. */
    std::vector<uint8_t> picture_;
    UyvyScaler scaler_;

    std::thread thread_;
};

} // namespace orka::board

#endif
