/* Wakes one thread: rung before or during its wait, from any thread and under any lock. */
#ifndef ORKA_BOARD_BELL_H
#define ORKA_BOARD_BELL_H

#include <condition_variable>
#include <mutex>
#include <optional>
#include <utility>

#include "server/reactor.h"

namespace orka::board {

class Bell {
  public:
    void ring()
    {
        {
            const std::lock_guard lock(mutex_);
            rung_ = true;
        }
        changed_.notify_one();
    }

    /* Until it rings or rang since the last wait, or until that time. */
    void wait(std::optional<Clock::time_point> until = std::nullopt)
    {
        std::unique_lock lock(mutex_);
        const auto rung = [this] { return std::exchange(rung_, false); };
        if (until)
            changed_.wait_until(lock, *until, rung);
        else
            changed_.wait(lock, rung);
    }

  private:
    std::mutex mutex_; /* nothing is locked while it is held */
    std::condition_variable changed_;
    bool rung_ = false;
};

} // namespace orka::board

#endif
