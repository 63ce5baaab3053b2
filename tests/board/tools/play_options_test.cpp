/* Options, what is told, exit statuses, and that nothing is decoded behind the board's back. */
#include <chrono>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <ostream>
#include <sstream>

#include <unistd.h>

#include "board/soon.h"
#include "board/tools/support.h"

namespace orka_tools_test {

using orka_test::soon;
using testing::ContainsRegex;
using testing::HasSubstr;
using testing::Not;

TEST(Play, EndsWithZeroAndASummary)
{
    const Ending ending = play({plain_clip()});
    EXPECT_EQ(ending.status, 0);
    EXPECT_THAT(ending.out,
                ContainsRegex("^picture: 25 frames in, 25 frames out, [0-9.]+ frames a second\n"
                              "sound: [0-9]+ frames in, [0-9]+ frames out, 1\\.[0-9]+ seconds\n$"));
    EXPECT_EQ(ending.err, "");
}

TEST(Play, ShowsNoProgressWhereThereIsNoTerminal)
{
    EXPECT_THAT(play({plain_clip()}).out, Not(HasSubstr("\r")));
}

TEST(Play, ShowsOneProgressLineOnATerminal)
{
    const std::string command =
        std::string(ORKA_BOARD_PROGRAM) + " run -- " + ORKA_PLAY_PROGRAM + " --clock real " + plain_clip();
    const Ending ending = run({"script", "-qec", command, "/dev/null"});
    EXPECT_EQ(ending.status, 0);
    EXPECT_THAT(ending.out,
                ContainsRegex("\r.\\[K0\\.[0-9] s of 1\\.[0-9] s  [0-9.]+ frames/s  queue [0-9]+/400"));
}

TEST(Play, TakesAsManyFramesFromTheBoardAsItCounts)
{
    const std::string trace = scratch("trace");
    const std::string framemd5 = scratch("framemd5");
    const Ending ending = run({ORKA_BOARD_PROGRAM, "run", "--trace", trace, "--", ORKA_PLAY_PROGRAM,
                               "--no-audio", "--framemd5", framemd5, plain_clip()});
    ASSERT_EQ(ending.status, 0) << ending.err;
    size_t given = 0;
    std::istringstream lines(contents(trace));
    for (std::string line; std::getline(lines, line);)
        given += line.find("IDECODE_GET_FRAME") != std::string::npos &&
                 line.find("status=0, kind=2") != std::string::npos;
    EXPECT_EQ(given, 25u);
    EXPECT_EQ(sizes_and_hashes(contents(framemd5)).size(), given);
}

TEST(Play, WithoutAudioLeavesTheSoundOut)
{
    const Ending ending = play({"--no-audio", plain_clip()});
    EXPECT_EQ(ending.status, 0);
    EXPECT_THAT(ending.out, ContainsRegex("^picture: 25 [^\n]*\n$"));
}

TEST(Play, WithoutVideoLeavesThePictureOut)
{
    const Ending ending = play({"--no-video", plain_clip()});
    EXPECT_EQ(ending.status, 0);
    EXPECT_THAT(ending.out, ContainsRegex("^sound: [^\n]*\n$"));
}

TEST(Play, PlaysThePictureAloneWhereNoImageServesThePair)
{
    const std::string file =
        clip("mpeg2_mp2.ts", picture_source() + sound_source(44100) + "-c:v mpeg2video -c:a mp2");
    const Ending ending = play({file});
    EXPECT_EQ(ending.status, 0);
    EXPECT_THAT(ending.err,
                HasSubstr("orka-play: playing the picture alone: no codec image decodes MPEG2 with MP2 "
                          "(--no-video plays the sound alone)\n"));
    EXPECT_THAT(ending.out, ContainsRegex("^picture: 25 frames in, 25 frames out, [^\n]*\n$"));
}

TEST(Play, PlaysThePictureAloneWhereNoImageDecodesTheSound)
{
    const std::string file =
        clip("mpeg4_flac.mkv", picture_source() + sound_source(44100) + "-c:v mpeg4 -c:a flac");
    const Ending ending = play({file});
    EXPECT_EQ(ending.status, 0);
    EXPECT_EQ(ending.err, "orka-play: playing the picture alone: no codec image decodes flac\n");
}

TEST(Play, PlaysLayerTwoBesideMpeg4OnTheImageOfLayerThree)
{
    const std::string file =
        clip("mpeg4.mkv", picture_source() + sound_source(44100) + "-c:v mpeg4 -c:a mp2");
    EXPECT_TRUE(played_pcm(file) == ffmpeg_pcm(file)) << "the samples differ";
}

TEST(Play, LoadsTheImageThatItIsTold)
{
    const std::string trace = scratch("trace");
    const Ending ending = run({ORKA_BOARD_PROGRAM, "run", "--trace", trace, "--", ORKA_PLAY_PROGRAM,
                               "--no-audio", "--image", "mpeg4_aac_dec", plain_clip()});
    EXPECT_EQ(ending.status, 0) << ending.err;
    EXPECT_THAT(contents(trace), HasSubstr("name=\"mpeg4_aac_dec\""));
}

TEST(Play, EndsWithOneWhereTheImageDoesNotDecodeTheClip)
{
    const Ending ending = play({"--image", "h264_aac_dec", plain_clip()});
    EXPECT_EQ(ending.status, 1);
    EXPECT_THAT(ending.err, HasSubstr("orka-play: the video decoder refused its setup"));
}

TEST(Play, EndsWithOneWhereThereIsNoSuchImage)
{
    const Ending ending = play({"--image", "nonsense", plain_clip()});
    EXPECT_EQ(ending.status, 1);
    EXPECT_THAT(ending.err, HasSubstr("orka-play: the video decoder refused the image nonsense"));
}

TEST(Play, EndsWithThreeWhereThereIsNoBoard)
{
    if (access("/dev/idecode", F_OK) == 0)
        GTEST_SKIP() << "this machine is a board";
    const Ending ending = run({ORKA_PLAY_PROGRAM, plain_clip()});
    EXPECT_EQ(ending.status, 3);
    EXPECT_EQ(ending.err, "orka-play: no /dev/idecode: run it under `orka-board run -- …`\n");
}

TEST(Play, TakesFramesAtTheirTimeOnTheRealClock)
{
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(play({"--clock", "real", plain_clip()}).status, 0);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(900));
}

TEST(Play, StopsInOrderWhenInterrupted)
{
    const std::string trace = scratch("trace");
    Process process({ORKA_BOARD_PROGRAM, "run", "--trace", trace, "--", ORKA_PLAY_PROGRAM, "--clock", "real",
                     clip("long.avi", picture_source("176x144", 30) + "-c:v mpeg4")});
    ASSERT_TRUE(soon([&] { return contents(trace).find("IDECODE_RELEASE_FRAME") != std::string::npos; }));
    process.signal(SIGINT);
    EXPECT_EQ(process.wait(), 130);
    EXPECT_THAT(process.out(), HasSubstr("frames out"));
    EXPECT_EQ(process.err(), "");
}

struct WrongUsage {
    const char *name;
    Words arguments;
};

void PrintTo(const WrongUsage &usage, std::ostream *stream)
{
    *stream << usage.name;
}

class Usage : public testing::TestWithParam<WrongUsage> {};

TEST_P(Usage, IsRefusedWithTwo)
{
    const Ending ending = run(Words{ORKA_PLAY_PROGRAM} + GetParam().arguments);
    EXPECT_EQ(ending.status, 2);
    EXPECT_THAT(ending.err, HasSubstr("Run with --help for more information.\n"));
}

const WrongUsage wrong_usages[] = {
    {"NoFile", {}},
    {"TwoFiles", {"one.avi", "two.avi"}},
    {"UnknownOption", {"--what", "clip.avi"}},
    {"UnknownClock", {"--clock", "slow", "clip.avi"}},
    {"NeitherPictureNorSound", {"--no-audio", "--no-video", "clip.avi"}},
    {"SubtitlesAndNone", {"--subtitles", "a.srt", "--no-subtitles", "clip.avi"}},
    {"SnapshotTimeWithoutSnapshot", {"--snapshot-at", "1", "clip.avi"}},
    {"NegativeSnapshotTime", {"--snapshot", "a.png", "--snapshot-at", "-1", "clip.avi"}},
    {"UnknownOutput", {"--output", "LCD/VGA2", "clip.avi"}},
    {"ImageNameOf33Characters", {"--image", "a_name_of_thirty_three_characters", "clip.avi"}},
};

INSTANTIATE_TEST_SUITE_P(Of, Usage, testing::ValuesIn(wrong_usages),
                         [](const testing::TestParamInfo<WrongUsage> &info) { return info.param.name; });

TEST(Usage, OfAnUnknownOutputNamesThoseThereAre)
{
    const Ending ending = run({ORKA_PLAY_PROGRAM, "--output", "LCD/VGA2", "clip.avi"});
    EXPECT_EQ(ending.status, 2);
    EXPECT_EQ(ending.err,
              "--output: there is no display mode 'LCD/VGA2'; there are: INTERNAL/480i INTERNAL/576i "
              "LCD/VGA LCD/QVGA\nRun with --help for more information.\n");
}

TEST(Help, TellsTheExitStatuses)
{
    const Ending ending = run({ORKA_PLAY_PROGRAM, "--help"});
    EXPECT_EQ(ending.status, 0);
    EXPECT_THAT(ending.out, HasSubstr("Exit status: 0 played; 1 "));
}

} // namespace orka_tools_test
