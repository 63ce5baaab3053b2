#include "view/reactor_calls.h"

namespace orka::board {

void ReactorCalls::hand_in(std::function<void()> work)
{
    {
        const std::lock_guard lock(mutex_);
        handed_in_.push_back(std::move(work));
    }
    reactor_.post([this] { do_next(); });
}

void ReactorCalls::do_next()
{
    std::function<void()> work;
    {
        const std::lock_guard lock(mutex_);
        if (handed_in_.empty())
            return;
        work = std::move(handed_in_.front());
        handed_in_.pop_front();
    }
    work();
    const std::lock_guard lock(mutex_);
    changed_.notify_all();
}

void ReactorCalls::wait_until(const std::function<bool()> &is_done)
{
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [&] { return closed_ || is_done(); });
    if (!is_done())
        throw Closed();
}

void ReactorCalls::sleep(std::chrono::milliseconds time)
{
    std::unique_lock lock(mutex_);
    if (changed_.wait_for(lock, time, [this] { return closed_; }))
        throw Closed();
}

void ReactorCalls::close()
{
    const std::lock_guard lock(mutex_);
    closed_ = true;
    handed_in_.clear();
    changed_.notify_all();
}

} // namespace orka::board
