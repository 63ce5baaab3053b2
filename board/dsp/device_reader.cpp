#include "dsp/device_reader.h"

#include <algorithm>
#include <chrono>

namespace orka::board {

namespace {

/* Between looks at a device that has nothing yet. */
constexpr std::chrono::milliseconds pause{4};
/* What does not come within a few pictures' time does not come. */
constexpr std::chrono::milliseconds patience{100};

} // namespace

DeviceReader::DeviceReader(std::unique_ptr<MediaStream> stream, size_t keep)
    : kept_(keep), stream_(std::move(stream)), thread_([this] { loop(); })
{
}

DeviceReader::~DeviceReader()
{
    {
        const std::lock_guard lock(mutex_);
        quit_ = true;
    }
    changed_.notify_all();
    thread_.join();
}

void DeviceReader::loop()
{
    for (bool more = true; more;) {
        av::Frame frame(av::need(av_frame_alloc()));
        const MediaStream::Step step = stream_->next(*frame);
        if (step == MediaStream::Step::frame)
            keep(std::move(frame));
        more = step != MediaStream::Step::end && (step == MediaStream::Step::not_yet ? rest() : !quit());
    }
    const std::lock_guard lock(mutex_);
    ended_ = true;
    changed_.notify_all();
}

bool DeviceReader::quit()
{
    const std::lock_guard lock(mutex_);
    return quit_;
}

bool DeviceReader::rest()
{
    std::unique_lock lock(mutex_);
    return !changed_.wait_for(lock, pause, [this] { return quit_; });
}

void DeviceReader::keep(av::Frame frame)
{
    const std::lock_guard lock(mutex_);
    frames_.push_back(std::move(frame));
    newest_++;
    if (frames_.size() > kept_)
        frames_.pop_front();
    changed_.notify_all();
}

uint64_t DeviceReader::newest()
{
    const std::lock_guard lock(mutex_);
    return newest_;
}

av::Frame DeviceReader::frame(uint64_t &number)
{
    std::unique_lock lock(mutex_);
    changed_.wait_for(lock, patience, [&] { return newest_ >= number || ended_; });
    if (newest_ < number || frames_.empty())
        return nullptr;
    const uint64_t oldest = newest_ + 1 - frames_.size();
    number = std::max(number, oldest);
    return av::Frame(av::need(av_frame_clone(frames_[number - oldest].get())));
}

} // namespace orka::board
