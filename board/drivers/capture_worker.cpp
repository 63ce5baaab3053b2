#include "drivers/capture_worker.h"

#include <algorithm>
#include <exception>
#include <utility>

namespace orka::board {

CaptureWorker::CaptureWorker(Camera &camera, std::function<void(Captured)> done)
    : view_(camera.open()), done_(std::move(done)), thread_([this] { loop(); })
{
}

CaptureWorker::~CaptureWorker()
{
    {
        const std::lock_guard lock(mutex_);
        quit_ = true;
    }
    view_->cancel();
    bell_.ring();
    thread_.join();
}

void CaptureWorker::capture(const CaptureJob &job)
{
    {
        const std::lock_guard lock(mutex_);
        job_ = job;
    }
    bell_.ring();
}

/* Waits for it; nothing when the worker is to end. */
std::optional<CaptureJob> CaptureWorker::next_job()
{
    for (;;) {
        {
            const std::lock_guard lock(mutex_);
            if (quit_ || job_)
                return quit_ ? std::nullopt : std::exchange(job_, std::nullopt);
        }
        bell_.wait();
    }
}

void CaptureWorker::loop()
{
    while (const std::optional<CaptureJob> job = next_job()) {
        Captured captured;
        try {
            captured.shown = take(*job);
        } catch (const std::exception &failure) {
            captured.fault = failure.what();
        }
        done_(std::move(captured));
    }
}

ShownPicture CaptureWorker::take(const CaptureJob &job)
{
    picture_.resize(job.standard.picture_size());
    view_->picture(job.standard, job.time_us, picture_);
    if (!job.buffer.empty())
        copy_frame(job, job.buffer);
    return shown_of(job);
}

void CaptureWorker::copy_frame(const CaptureJob &job, std::span<uint8_t> out) const
{
    const size_t line = size_t{job.standard.width} * 2;
    const size_t step = job.field ? 2 : 1;
    auto to = out.begin();
    for (size_t at = job.first_line; at < job.standard.height; at += step)
        to = std::copy_n(picture_.begin() + static_cast<ptrdiff_t>(at * line), line, to);
}

ShownPicture CaptureWorker::shown_of(const CaptureJob &job)
{
    ShownPicture shown{.width = job.shown_width, .height = job.shown_height};
    shown.uyvy.resize(size_t{shown.width} * shown.height * 2);
    if (job.show == CaptureJob::Show::frame)
        copy_frame(job, shown.uyvy);
    if (job.show == CaptureJob::Show::scaled)
        scaler_.scale(picture_, job.standard.width, job.standard.height, shown.uyvy, shown.width,
                      shown.height);
    return shown;
}

} // namespace orka::board
