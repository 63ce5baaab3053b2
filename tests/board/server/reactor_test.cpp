#include "server/reactor.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ctime>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <sys/epoll.h>
#include <unistd.h>

namespace orka::board {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;

struct Pipe {
    Pipe() { EXPECT_EQ(pipe2(ends, O_CLOEXEC | O_NONBLOCK), 0); }
    ~Pipe()
    {
        close(ends[0]);
        close(ends[1]);
    }
    void fill() const { EXPECT_EQ(write(ends[1], "x", 1), 1); }
    int ends[2];
};

/* False where nothing that it was given stopped it. */
bool ends(Reactor &reactor)
{
    bool stopped = true;
    reactor.at(Clock::now() + 20s, [&] {
        stopped = false;
        reactor.stop();
    });
    reactor.run();
    return stopped;
}

TEST(ReactorTest, CallsTheHandlerOfAReadyDescriptor)
{
    Reactor reactor;
    const Pipe pipe;
    uint32_t seen = 0;
    pipe.fill();
    reactor.watch(pipe.ends[0], EPOLLIN, [&](uint32_t events) {
        seen = events;
        reactor.stop();
    });
    reactor.run();
    EXPECT_EQ(seen, uint32_t{EPOLLIN});
}

TEST(ReactorTest, AHandlerMayUnwatchItself)
{
    Reactor reactor;
    const Pipe pipe;
    int calls = 0;
    pipe.fill();
    reactor.watch(pipe.ends[0], EPOLLIN, [&](uint32_t) {
        reactor.unwatch(pipe.ends[0]);
        calls++;
    });
    reactor.at(Clock::now() + 20ms, [&] { reactor.stop(); });
    reactor.run();
    EXPECT_EQ(calls, 1);
}

TEST(ReactorTest, AnEventOfAReplacedWatchFindsNobody)
{
    Reactor reactor;
    const Pipe first;
    const Pipe second;
    int stale = 0;
    first.fill();
    second.fill();
    const auto replace_other = [&](int other) {
        reactor.unwatch(other);
        reactor.watch(other, 0, [&](uint32_t) { stale++; });
        reactor.stop();
    };
    reactor.watch(first.ends[0], EPOLLIN, [&](uint32_t) { replace_other(second.ends[0]); });
    reactor.watch(second.ends[0], EPOLLIN, [&](uint32_t) { replace_other(first.ends[0]); });
    reactor.run();
    EXPECT_EQ(stale, 0);
}

TEST(ReactorTest, TimersFireInOrderOfTime)
{
    Reactor reactor;
    std::vector<int> order;
    const auto now = Clock::now();
    reactor.at(now + 15ms, [&] {
        order.push_back(3);
        reactor.stop();
    });
    reactor.at(now + 5ms, [&] { order.push_back(1); });
    reactor.at(now + 10ms, [&] { order.push_back(2); });
    reactor.run();
    EXPECT_THAT(order, ElementsAre(1, 2, 3));
}

TEST(ReactorTest, ATimerNeverFiresEarly)
{
    Reactor reactor;
    const auto due = Clock::now() + 12ms;
    Clock::time_point fired;
    reactor.at(due, [&] {
        fired = Clock::now();
        reactor.stop();
    });
    reactor.run();
    EXPECT_GE(fired, due);
}

TEST(ReactorTest, ACancelledTimerDoesNotFire)
{
    Reactor reactor;
    bool fired = false;
    const auto id = reactor.at(Clock::now() + 5ms, [&] { fired = true; });
    reactor.at(Clock::now() + 20ms, [&] { reactor.stop(); });
    reactor.cancel(id);
    reactor.run();
    EXPECT_FALSE(fired);
}

TEST(ReactorTest, CancellingATimerThatFiredDoesNothing)
{
    Reactor reactor;
    int fired = 0;
    Reactor::TimerId first = 0;
    first = reactor.at(Clock::now(), [&] { fired++; });
    reactor.at(Clock::now() + 5ms, [&] {
        reactor.cancel(first);
        fired++;
    });
    reactor.at(Clock::now() + 10ms, [&] { reactor.stop(); });
    reactor.run();
    EXPECT_EQ(fired, 2);
}

TEST(ReactorTest, ATimerThatAlwaysComesBackDoesNotStarveDescriptors)
{
    Reactor reactor;
    const Pipe pipe;
    std::function<void()> again = [&] { reactor.at(Clock::now(), again); };
    again();
    pipe.fill();
    reactor.watch(pipe.ends[0], EPOLLIN, [&](uint32_t) { reactor.stop(); });
    EXPECT_TRUE(ends(reactor));
}

TEST(ReactorTest, PostedTasksRunOnTheReactorsThreadInOrder)
{
    Reactor reactor;
    std::vector<int> order;
    std::thread::id where;
    std::thread poster([&] {
        for (int i = 1; i <= 3; i++)
            reactor.post([&, i] { order.push_back(i); });
        reactor.post([&] {
            where = std::this_thread::get_id();
            reactor.stop();
        });
    });
    reactor.run();
    poster.join();
    EXPECT_EQ(where, std::this_thread::get_id());
    EXPECT_THAT(order, ElementsAre(1, 2, 3));
}

TEST(ReactorTest, ATaskPostedByATaskRuns)
{
    Reactor reactor;
    reactor.post([&] { reactor.post([&] { reactor.stop(); }); });
    EXPECT_TRUE(ends(reactor));
}

TEST(ReactorTest, WaitingTakesNoProcessorTime)
{
    Reactor reactor;
    reactor.at(Clock::now() + 200ms, [&] { reactor.stop(); });
    const clock_t before = clock();
    reactor.run();
    EXPECT_LT(clock() - before, CLOCKS_PER_SEC / 50);
}

} // namespace
} // namespace orka::board
