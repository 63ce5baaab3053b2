/* For threads that need something of the reactor's: they hand work in and wait for what comes of it. */
#ifndef ORKA_BOARD_VIEW_REACTOR_CALLS_H
#define ORKA_BOARD_VIEW_REACTOR_CALLS_H

#include <condition_variable>
#include <deque>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <type_traits>

#include "server/reactor.h"

namespace orka::board {

class ReactorCalls {
  public:
    struct Closed : std::runtime_error {
        Closed() : std::runtime_error("the board ends") {}
    };

    explicit ReactorCalls(Reactor &reactor) : reactor_(reactor) {}

    /* What work returned on the reactor's thread, or what it threw. Throws Closed once the calls are closed,
       also while it waits. */
    template <typename Work>
    auto run(Work work)
    {
        using Result = std::invoke_result_t<Work>;
        const auto task = std::make_shared<std::packaged_task<Result()>>(std::move(work));
        std::future<Result> result = task->get_future();
        hand_in([task] { (*task)(); });
        wait_until([&] { return result.wait_for(std::chrono::seconds(0)) == std::future_status::ready; });
        return result.get();
    }

    /* Throws Closed too. */
    void sleep(std::chrono::milliseconds time);

    /* On the reactor's thread, or when that no longer runs. What was not begun is not done any more. */
    void close();

  private:
    void hand_in(std::function<void()> work);
    void wait_until(const std::function<bool()> &is_done);
    void do_next();

    Reactor &reactor_;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<std::function<void()>> handed_in_;
    bool closed_ = false;
};

} // namespace orka::board

#endif
