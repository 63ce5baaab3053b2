#include "packet_queue.h"

namespace orka::play {

void PacketQueue::push(ClipPacket packet)
{
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return closed_ || packets_.size() < limit; });
    if (closed_)
        return;
    packets_.push_back(std::move(packet));
    changed_.notify_all();
}

ClipPacket PacketQueue::pop()
{
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return closed_ || finished_ || !packets_.empty(); });
    if (closed_ || packets_.empty())
        return {};
    ClipPacket packet = std::move(packets_.front());
    packets_.pop_front();
    changed_.notify_all();
    return packet;
}

void PacketQueue::finish()
{
    std::lock_guard lock(mutex_);
    finished_ = true;
    changed_.notify_all();
}

void PacketQueue::close()
{
    std::lock_guard lock(mutex_);
    closed_ = true;
    changed_.notify_all();
}

} // namespace orka::play
