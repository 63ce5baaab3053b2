/* Whoever listens to the trace, and the board's questions on a board without a display. */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>

#include "server/trace.h"
#include "server/views.h"

namespace orka::board {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

const Client client{.process = 4711, .name = "play"};

TEST(TraceListener, HearsEachLineUntilItIsIgnored)
{
    Trace trace;
    std::vector<std::string> heard;
    const uint32_t listener = trace.listen([&](const std::string &line) { heard.push_back(line); });
    trace.opened(client, wire::node::vdecode, 2, 0);
    trace.ignore(listener);
    trace.opened(client, wire::node::adecode, 2, 0);
    EXPECT_THAT(heard, ElementsAre(HasSubstr(" 4711/play /dev/vdecode open(O_RDWR) = 0")));
}

TEST(TraceListener, IsOneOfMany)
{
    Trace trace;
    int first = 0;
    int second = 0;
    const uint32_t one = trace.listen([&](const std::string &) { first++; });
    const uint32_t other = trace.listen([&](const std::string &) { second++; });
    EXPECT_NE(one, other);
    trace.refused(client, wire::node::vdecode, 1, EINVAL);
    trace.ignore(one);
    trace.refused(client, wire::node::vdecode, 1, EINVAL);
    EXPECT_EQ(first, 1);
    EXPECT_EQ(second, 2);
}

TEST(Views, ABoardWithoutADisplayHasNoScreenshot)
{
    protocol::picture size{};
    EXPECT_EQ(screenshot_file(nullptr, 0, size), -ENODEV);
}

} // namespace
} // namespace orka::board
