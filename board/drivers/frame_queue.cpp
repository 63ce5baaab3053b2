#include "drivers/frame_queue.h"

#include <algorithm>

#include <nlohmann/json.hpp>

#include "orka_media.h"

namespace orka::board {

std::shared_ptr<FrameQueue> FrameQueue::create(Memory &memory, uint64_t bytes, uint32_t count)
{
    const std::optional<uint32_t> base = memory.queues().allocate(bytes);
    if (!base)
        return nullptr;
    return std::shared_ptr<FrameQueue>(
        new FrameQueue(memory, *base, memory.queues().blocks().at(*base), count));
}

FrameQueue::FrameQueue(Memory &memory, uint32_t base, uint32_t length, uint32_t count)
    : memory_(memory), base_(base), length_(length), count_(count), space_(base, length)
{
}

FrameQueue::~FrameQueue()
{
    memory_.queues().free(base_);
}

void FrameQueue::on_room(std::function<void()> handler)
{
    const std::lock_guard lock(mutex_);
    room_came_ = std::move(handler);
}

/* With the mutex held, as what follows up to put(). */
bool FrameQueue::place(orka_iencode_frame_t &frame, std::span<const uint8_t> data)
{
    const auto size = static_cast<uint32_t>(data.size());
    const std::optional<uint32_t> address = is_full() ? std::nullopt : space_.allocate(size);
    if (!address)
        return false;
    std::ranges::copy(data, memory_.at(*address, size).begin());
    frame.addr = *address;
    frame.size = size;
    frame.capacity = size;
    waiting_.push_back(frame);
    return true;
}

bool FrameQueue::drop_oldest()
{
    const auto oldest =
        std::ranges::find_if(waiting_, [](const auto &frame) { return frame.kind != ORKA_FRAME_TYPE_LAST; });
    if (oldest == waiting_.end())
        return false;
    space_.free(oldest->addr);
    waiting_.erase(oldest);
    return true;
}

bool FrameQueue::give_back(uint32_t address)
{
    const bool was_there = space_.free(address);
    room_came_();
    return was_there;
}

bool FrameQueue::put(orka_iencode_frame_t frame, std::span<const uint8_t> data)
{
    const std::lock_guard lock(mutex_);
    return place(frame, data);
}

unsigned FrameQueue::put_over(orka_iencode_frame_t frame, std::span<const uint8_t> data)
{
    if (!fits(static_cast<uint32_t>(data.size())))
        return 1;
    const std::lock_guard lock(mutex_);
    unsigned dropped = 0;
    while (!place(frame, data)) {
        dropped++;
        if (!drop_oldest())
            break;
    }
    return dropped;
}

void FrameQueue::put_last(orka_iencode_frame_t frame)
{
    const std::lock_guard lock(mutex_);
    frame.addr = base_;
    waiting_.push_back(frame);
}

std::optional<uint32_t> FrameQueue::lend(uint32_t bytes)
{
    const std::lock_guard lock(mutex_);
    const std::optional<uint32_t> address = space_.allocate(bytes);
    lent_ += address.has_value();
    return address;
}

void FrameQueue::take_back(uint32_t address)
{
    const std::lock_guard lock(mutex_);
    lent_ -= give_back(address);
}

bool FrameQueue::fits(uint32_t bytes) const
{
    const std::lock_guard lock(mutex_);
    return space_.fits(bytes);
}

bool FrameQueue::has_place() const
{
    const std::lock_guard lock(mutex_);
    return waiting_.size() + held_.size() < count_;
}

uint32_t FrameQueue::waiting() const
{
    const std::lock_guard lock(mutex_);
    return static_cast<uint32_t>(waiting_.size());
}

uint32_t FrameQueue::held() const
{
    const std::lock_guard lock(mutex_);
    return static_cast<uint32_t>(held_.size());
}

std::optional<orka_iencode_frame_t> FrameQueue::take()
{
    const std::lock_guard lock(mutex_);
    if (waiting_.empty())
        return std::nullopt;
    const orka_iencode_frame_t frame = waiting_.front();
    waiting_.pop_front();
    if (frame.kind != ORKA_FRAME_TYPE_LAST)
        held_.push_back(frame.addr);
    else
        room_came_();
    return frame;
}

bool FrameQueue::release()
{
    const std::lock_guard lock(mutex_);
    if (held_.empty())
        return false;
    give_back(held_.front());
    held_.pop_front();
    return true;
}

bool FrameQueue::release(uint32_t address)
{
    const std::lock_guard lock(mutex_);
    const auto place = std::ranges::find(held_, address);
    if (place == held_.end())
        return false;
    held_.erase(place);
    return give_back(address);
}

nlohmann::json FrameQueue::report() const
{
    return {
        {"base", base()}, {"bytes", length()}, {"limit", limit()}, {"waiting", waiting()}, {"taken", held()}};
}

} // namespace orka::board
