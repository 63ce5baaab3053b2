#include "drivers/still_worker.h"

#include <exception>
#include <utility>

namespace orka::board {

StillWorker::StillWorker(std::unique_ptr<CameraView> view, std::unique_ptr<ImageEncoder> codec,
                         std::shared_ptr<FrameQueue> frames, const orka_iencode_frame_t &form,
                         std::function<void(const std::string &why)> done)
    : view_(std::move(view)), codec_(std::move(codec)), frames_(std::move(frames)), done_(std::move(done)),
      frame_(form)
{
    frames_->on_room([bell = bell_] { bell->ring(); });
    thread_ = std::thread([this] { loop(); });
}

StillWorker::~StillWorker()
{
    {
        const std::lock_guard lock(mutex_);
        quit_ = true;
    }
    view_->cancel();
    bell_->ring();
    thread_.join();
}

void StillWorker::make(const StillJob &job)
{
    {
        const std::lock_guard lock(mutex_);
        job_ = job;
    }
    bell_->ring();
}

void StillWorker::hang()
{
    const std::lock_guard lock(mutex_);
    hung_ = true;
}

bool StillWorker::is_ending()
{
    const std::lock_guard lock(mutex_);
    return quit_;
}

/* Waits for it; nothing when the worker is to end. */
std::optional<StillJob> StillWorker::next_job()
{
    for (;;) {
        {
            const std::lock_guard lock(mutex_);
            if (quit_ || (job_ && !hung_))
                return quit_ ? std::nullopt : std::exchange(job_, std::nullopt);
        }
        bell_->wait();
    }
}

void StillWorker::loop()
{
    while (const std::optional<StillJob> job = next_job()) {
        std::string why;
        try {
            why = encode(*job);
            why = why.empty() ? deliver() : why;
        } catch (const std::exception &failure) {
            why = std::string("cannot encode: ") + failure.what();
        }
        done_(why);
    }
}

std::string StillWorker::encode(const StillJob &job)
{
    picture_.resize(job.standard.picture_size());
    view_->picture(job.standard, job.time_us, picture_);
    const CapturedPicture picture{.uyvy = picture_,
                                  .width = job.standard.width,
                                  .height = job.standard.height,
                                  .tsms = static_cast<uint32_t>(job.time_us / 1000)};
    coded_.clear();
    const bool good = codec_->encode(picture, [this](const CodedPacket &packet) {
        coded_.insert(coded_.end(), packet.data.begin(), packet.data.end());
    });
    frame_.timestamp = picture.tsms;
    return good ? std::string() : "cannot encode: " + codec_->error();
}

/* Waits for room. */
std::string StillWorker::deliver()
{
    if (!frames_->fits(static_cast<uint32_t>(coded_.size())))
        return "dropped a picture of " + std::to_string(coded_.size()) +
               " bytes, which is more than the queue holds";
    while (!frames_->put(frame_, coded_)) {
        if (is_ending())
            return "the encoder ends";
        bell_->wait();
    }
    frame_.number++;
    return {};
}

} // namespace orka::board
