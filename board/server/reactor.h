/* The server's one thread: waits for descriptors, timers and work that other threads hand in. */
#ifndef ORKA_BOARD_SERVER_REACTOR_H
#define ORKA_BOARD_SERVER_REACTOR_H

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>

namespace orka::board {

using Clock = std::chrono::steady_clock;

/* All members but post() belong to the reactor's own thread. */
class Reactor {
  public:
    Reactor();
    ~Reactor();
    Reactor(const Reactor &) = delete;
    Reactor &operator=(const Reactor &) = delete;

    /* Calls handler(epoll events) whenever fd is ready, until unwatched. */
    void watch(int fd, uint32_t events, std::function<void(uint32_t)> handler);
    void unwatch(int fd);

    using TimerId = uint64_t;
    /* Calls once at the given time; cancelling an id that has fired does nothing. */
    TimerId at(Clock::time_point time, std::function<void()> handler);
    void cancel(TimerId id);

    /* From any thread: runs task on the reactor's thread, in the order posted. */
    void post(std::function<void()> task);

    void run();
    void stop(); /* run() returns after what is under way */

  private:
    struct State;
    std::unique_ptr<State> state_;
};

} // namespace orka::board

#endif
