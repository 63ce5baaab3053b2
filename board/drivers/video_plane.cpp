#include "drivers/video_plane.h"

#include <algorithm>
#include <utility>

namespace orka::board {

namespace {

UyvyPicture copy_of(const UyvyPicture &picture, std::vector<uint8_t> &store)
{
    UyvyPicture copied = picture;
    store.assign(picture.pixels.begin(), picture.pixels.end());
    copied.pixels = store;
    return copied;
}

} // namespace

VideoPlane::Source::Source(VideoPlane &plane, uint32_t rank, std::string name)
    : plane_(plane), rank_(rank), name_(std::move(name))
{
    plane_.sources_[rank_] = this;
}

VideoPlane::Source::~Source()
{
    plane_.sources_.erase(rank_);
    if (plane_.last_ == this)
        plane_.last_ = nullptr;
    plane_.changes_++;
}

void VideoPlane::Source::show(const UyvyPicture &picture)
{
    picture_ = picture;
    plane_.last_ = this;
    plane_.changes_++;
}

void VideoPlane::Source::start(bool started)
{
    if (std::exchange(started_, started) != started)
        plane_.changes_++;
}

void VideoPlane::Source::copy()
{
    picture_ = copy_of(picture_, copied_);
}

void VideoPlane::show_captured(const UyvyPicture &picture)
{
    captured_ = copy_of(picture, captured_pixels_);
    changes_++;
}

const VideoPlane::Source *VideoPlane::seen() const
{
    const auto found = std::ranges::find_if(sources_, [](const auto &entry) {
        return entry.second->started_ && !entry.second->picture_.pixels.empty();
    });
    return found == sources_.end() ? last_ : found->second;
}

UyvyPicture VideoPlane::picture() const
{
    if (!captured_.pixels.empty())
        return captured_;
    const Source *const source = seen();
    return source ? source->picture_ : UyvyPicture{};
}

std::string VideoPlane::source() const
{
    if (!captured_.pixels.empty())
        return "capture";
    const Source *const source = seen();
    return source ? source->name_ : "";
}

} // namespace orka::board
