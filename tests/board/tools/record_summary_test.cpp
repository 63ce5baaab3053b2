/* What orka-record tells while it records, and in the end. */
#include <algorithm>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <regex>
#include <string>
#include <vector>

#include "board/tools/support.h"

namespace orka_tools_test {
namespace {

using testing::HasSubstr;

/* Those that a progress line tells, one after the other. */
std::vector<double> told_seconds(const std::string &out)
{
    const std::regex line("\r\x1b\\[K([0-9.]+) s  [0-9]+ frames");
    std::vector<double> seconds;
    for (std::sregex_iterator at(out.begin(), out.end(), line), end; at != end; ++at)
        seconds.push_back(std::stod((*at)[1]));
    return seconds;
}

std::vector<double> progress_of(const Words &board, const Words &arguments)
{
    std::string command;
    for (const std::string &word : Words{ORKA_BOARD_PROGRAM, "run"} + board +
                                       Words{"--", ORKA_RECORD_PROGRAM, "--seconds", "2"} + arguments)
        command += word + " ";
    const Ending ending = run({"script", "-qec", command + scratch("clip.avi"), "/dev/null"});
    EXPECT_EQ(ending.status, 0) << ending.out;
    return told_seconds(ending.out);
}

/* The terminal is written to more often than pictures come. */
TEST(RecordProgress, NeverGoesBack)
{
    const std::vector<double> seconds = progress_of({"--clock", "real"}, {});
    ASSERT_GT(seconds.size(), 1u);
    EXPECT_TRUE(std::ranges::is_sorted(seconds)) << testing::PrintToString(seconds);
}

TEST(RecordProgress, EndsAtTheEnd)
{
    for (const Words &arguments :
         {Words{}, Words{"--video", "H264", "--no-audio"}, Words{"--no-video", "--audio", "PCM"}}) {
        const std::vector<double> seconds = progress_of({}, arguments);
        ASSERT_FALSE(seconds.empty());
        EXPECT_TRUE(std::ranges::is_sorted(seconds)) << testing::PrintToString(seconds);
        EXPECT_EQ(seconds.back(), 2.0);
    }
}

struct Sound {
    const char *type;
    const char *extension;
    const char *told;
};

class RecordSummary : public testing::TestWithParam<Sound> {};

/* Sound has as many packets as are nearest to a second. */
TEST_P(RecordSummary, TellsTheSoundThatIsInTheFile)
{
    const Sound &sound = GetParam();
    const std::string file = scratch(std::string("clip") + sound.extension);
    const Ending ending = record({file, "--audio", sound.type, "--seconds", "1"});
    EXPECT_EQ(ending.status, 0) << ending.err;
    EXPECT_THAT(ending.out, HasSubstr(std::string("channels, ") + sound.told + "\n"));
}

INSTANTIATE_TEST_SUITE_P(Of, RecordSummary,
                         testing::Values(Sound{"PCM", ".wav", "50 frames, 1.00 seconds"},
                                         Sound{"PCM", ".avi", "50 frames, 1.00 seconds"},
                                         Sound{"PCM", ".mkv", "50 frames, 1.00 seconds"},
                                         Sound{"AAC", ".avi", "23 frames, 0.98 seconds"},
                                         Sound{"AAC", ".mp4", "23 frames, 0.98 seconds"},
                                         Sound{"MP3", ".mp3", "38 frames, 0.99 seconds"},
                                         Sound{"G723", ".wav", "33 frames, 0.99 seconds"}),
                         [](const auto &info) {
                             return std::string(info.param.type) + "In" + (info.param.extension + 1);
                         });

TEST(RecordSummary, TellsTheSoundThatWasChosenAndTheFileHasIt)
{
    const std::string file = scratch("clip.mkv");
    const Ending ending = record({file, "--video", "H264", "--seconds", "1"});
    EXPECT_EQ(ending.status, 0);
    EXPECT_EQ(ending.err, "orka-record: recording H264 with PCM: no codec image encodes H264 with AAC\n");
    EXPECT_THAT(ending.out, HasSubstr("sound: PCM 48000 Hz, 2 channels, 50 frames, 1.00 seconds\n"));
    EXPECT_EQ(probed(file, "stream=codec_name"), "codec_name=h264\ncodec_name=pcm_s16le\n");
}

} // namespace
} // namespace orka_tools_test
