#include "server/reactor.h"

#include <cerrno>
#include <map>
#include <mutex>
#include <system_error>
#include <unordered_map>
#include <vector>

#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <unistd.h>

namespace orka::board {

namespace {

constexpr int events_at_once = 64;

/* Of a watch, and so of its events: a number is new for each watch, so that an event that was fetched before
   its descriptor was closed and its number reused finds nobody. */
using WatchId = uint64_t;

int checked(int result, const char *what)
{
    if (result < 0)
        throw std::system_error(errno, std::generic_category(), what);
    return result;
}

int milliseconds_until(Clock::time_point time)
{
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(time - Clock::now()).count();
    constexpr int64_t longest = 3'600'000;
    return static_cast<int>(left < 0 ? 0 : left > longest ? longest : left);
}

} // namespace

struct Reactor::State {
    struct Watch {
        int fd;
        std::function<void(uint32_t)> handler;
    };

    int epoll = -1;
    int wake = -1;
    bool running = false;
    WatchId next_watch = 1; /* 0 is the wake-up descriptor */
    std::unordered_map<WatchId, std::shared_ptr<Watch>> watches;
    std::unordered_map<int, WatchId> watch_of_fd;

    TimerId next_timer = 1;
    std::map<std::pair<Clock::time_point, TimerId>, std::function<void()>> timers;
    std::unordered_map<TimerId, Clock::time_point> timer_times;

    std::mutex mutex;
    std::vector<std::function<void()>> posted; /* under mutex */

    int timeout() const { return timers.empty() ? -1 : milliseconds_until(timers.begin()->first.first); }
    void add(int fd, uint32_t events, WatchId id) const;
    void dispatch(const epoll_event &event);
    void run_timers();
    void run_posted();
};

void Reactor::State::add(int fd, uint32_t events, WatchId id) const
{
    epoll_event event{.events = events, .data = {.u64 = id}};
    checked(epoll_ctl(epoll, EPOLL_CTL_ADD, fd, &event), "watching a descriptor");
}

void Reactor::State::dispatch(const epoll_event &event)
{
    const WatchId id = event.data.u64; /* a copy: the kernel's record is packed, and its words lie anywhere */
    if (id == 0) {
        run_posted();
        return;
    }
    const auto found = watches.find(id);
    if (found == watches.end())
        return;
    const std::shared_ptr<Watch> watch = found->second; /* survives an unwatch by its own handler */
    watch->handler(event.events);
}

/* Those that are due now; what they add in turn waits for the next round. */
void Reactor::State::run_timers()
{
    const Clock::time_point now = Clock::now();
    const TimerId limit = next_timer;
    for (auto next = timers.begin(); next != timers.end() && next->first.first <= now;) {
        if (next->first.second >= limit) {
            ++next;
            continue;
        }
        const std::function<void()> handler = std::move(next->second);
        timer_times.erase(next->first.second);
        timers.erase(next);
        handler();
        next = timers.begin();
    }
}

void Reactor::State::run_posted()
{
    uint64_t count = 0;
    [[maybe_unused]] const ssize_t got = read(wake, &count, sizeof count);
    std::vector<std::function<void()>> tasks;
    {
        const std::lock_guard lock(mutex);
        tasks.swap(posted);
    }
    for (const std::function<void()> &task : tasks)
        task();
}

Reactor::Reactor() : state_(std::make_unique<State>())
{
    state_->epoll = checked(epoll_create1(EPOLL_CLOEXEC), "epoll_create1");
    state_->wake = checked(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK), "eventfd");
    state_->add(state_->wake, EPOLLIN, 0);
}

Reactor::~Reactor()
{
    close(state_->wake);
    close(state_->epoll);
}

void Reactor::watch(int fd, uint32_t events, std::function<void(uint32_t)> handler)
{
    const WatchId id = state_->next_watch++;
    state_->add(fd, events, id);
    state_->watches[id] = std::make_shared<State::Watch>(State::Watch{fd, std::move(handler)});
    state_->watch_of_fd[fd] = id;
}

void Reactor::unwatch(int fd)
{
    const auto found = state_->watch_of_fd.find(fd);
    if (found == state_->watch_of_fd.end())
        return;
    epoll_ctl(state_->epoll, EPOLL_CTL_DEL, fd, nullptr);
    state_->watches.erase(found->second);
    state_->watch_of_fd.erase(found);
}

Reactor::TimerId Reactor::at(Clock::time_point time, std::function<void()> handler)
{
    const TimerId id = state_->next_timer++;
    state_->timers.emplace(std::pair{time, id}, std::move(handler));
    state_->timer_times[id] = time;
    return id;
}

void Reactor::cancel(TimerId id)
{
    const auto found = state_->timer_times.find(id);
    if (found == state_->timer_times.end())
        return;
    state_->timers.erase({found->second, id});
    state_->timer_times.erase(found);
}

void Reactor::post(std::function<void()> task)
{
    bool first = false;
    {
        const std::lock_guard lock(state_->mutex);
        first = state_->posted.empty();
        state_->posted.push_back(std::move(task));
    }
    if (first) {
        const uint64_t one = 1;
        [[maybe_unused]] const ssize_t put = write(state_->wake, &one, sizeof one);
    }
}

void Reactor::run()
{
    epoll_event events[events_at_once];

    state_->running = true;
    while (state_->running) {
        const int count = epoll_wait(state_->epoll, events, events_at_once, state_->timeout());
        if (count < 0 && errno != EINTR)
            checked(count, "epoll_wait");
        for (int i = 0; i < count; i++)
            state_->dispatch(events[i]);
        state_->run_timers();
    }
}

void Reactor::stop()
{
    state_->running = false;
}

} // namespace orka::board
