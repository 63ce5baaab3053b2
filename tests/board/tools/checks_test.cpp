/* What the tools ask of their options' values alike. None of it needs a board. */
#include <gtest/gtest.h>
#include <ostream>

#include "board/tools/support.h"

namespace orka_tools_test {
namespace {

/* An option that takes a time, and the command line that it completes. */
struct Duration {
    const char *name;
    const char *option;
    Words program;
};

void PrintTo(const Duration &duration, std::ostream *stream)
{
    *stream << duration.name;
}

class Durations : public testing::TestWithParam<Duration> {
  protected:
    static Ending with(const std::string &value)
    {
        return run(GetParam().program + Words{std::string(GetParam().option) + "=" + value});
    }
};

TEST_P(Durations, AreFiniteAndNotBelowZero)
{
    for (const std::string value :
         {"nan", "-nan", "inf", "-inf", "1e999", "-1", "-0.001", "x", "1x", "1 s"}) {
        const Ending ending = with(value);
        EXPECT_EQ(ending.status, 2) << value;
        EXPECT_EQ(ending.err, std::string(GetParam().option) + ": '" + value +
                                  "' is not a number of seconds, 0 or more\n"
                                  "Run with --help for more information.\n");
    }
}

TEST_P(Durations, MayBeZeroAndFractions)
{
    for (const char *const value : {"0", "0.5", "1e3", "60"})
        EXPECT_NE(with(value).status, 2) << value;
}

const std::string nowhere = "/nowhere/clip.avi";

const Duration durations[] = {
    {"GiveUpOfPlay", "--give-up", {ORKA_PLAY_PROGRAM, nowhere}},
    {"SecondsOfPlay", "--seconds", {ORKA_PLAY_PROGRAM, nowhere}},
    {"SnapshotAtOfPlay", "--snapshot-at", {ORKA_PLAY_PROGRAM, nowhere, "--snapshot", "a.png"}},
    {"GiveUpOfRecord", "--give-up", {ORKA_RECORD_PROGRAM, nowhere}},
};

INSTANTIATE_TEST_SUITE_P(Of, Durations, testing::ValuesIn(durations),
                         [](const testing::TestParamInfo<Duration> &info) { return info.param.name; });

TEST(PngNames, EndInPng)
{
    const Ending ending = run({ORKA_PLAY_PROGRAM, "--snapshot", "a.jpg", nowhere});
    EXPECT_EQ(ending.status, 2);
    EXPECT_EQ(ending.err, "--snapshot: 'a.jpg' does not end in .png, and a PNG file is what is written\n"
                          "Run with --help for more information.\n");
    EXPECT_NE(run({ORKA_PLAY_PROGRAM, "--snapshot", "A.PNG", nowhere}).status, 2);
}

} // namespace
} // namespace orka_tools_test
