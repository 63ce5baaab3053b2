/* orka-record's command line, and what it says of what cannot be recorded. None of it needs a board. */
#include <gtest/gtest.h>
#include <string>

#include "board/tools/support.h"

using namespace orka_tools_test;

namespace {

Ending bare(const Words &arguments)
{
    return run(Words{ORKA_RECORD_PROGRAM} + arguments);
}

void expect_usage(const Words &arguments, const std::string &message)
{
    const Ending ending = bare(arguments);
    EXPECT_EQ(ending.status, 2);
    EXPECT_NE(ending.err.find(message), std::string::npos) << ending.err;
}

} // namespace

TEST(OrkaRecordOptions, HelpNamesContainersPairsAndStatuses)
{
    const Ending ending = bare({"--help"});
    EXPECT_EQ(ending.status, 0);
    for (const char *word : {".avi", ".mkv", "H264", "--standard", "Exit status"})
        EXPECT_NE(ending.out.find(word), std::string::npos) << word;
}

TEST(OrkaRecordOptions, AFileIsRequired)
{
    expect_usage({}, "FILE is required");
}

TEST(OrkaRecordOptions, AnUnknownExtensionNamesTheKnownOnes)
{
    expect_usage({"clip.xyz"}, "'clip.xyz' has no extension that names a container: .avi .mp4 .mkv .mov .ts "
                               ".m4v .h263 .h264 .m2v .mp3 .aac .wav .jpg .jpeg .png .bmp .gif .tif .tiff");
}

TEST(OrkaRecordOptions, AContainerThatCannotCarryThePairNamesThoseThatCan)
{
    expect_usage({"clip.mp4", "--audio", "G711"},
                 "a .mp4 file cannot carry MPEG4 with G711; these can: .avi .mkv .mov");
    expect_usage({"clip.ts", "--video", "H263", "--no-audio"},
                 "a .ts file cannot carry H263; these can: .avi .mkv .mov .h263");
    expect_usage({"clip.wav", "--audio", "MP3"},
                 "a .wav file cannot carry MP3; these can: .avi .mp4 .mkv .mov .ts .mp3");
}

TEST(OrkaRecordOptions, AStillCarriesNothingElse)
{
    expect_usage({"still.jpg", "--video", "H264"}, "a .jpg file cannot carry H264; these can: .avi");
    expect_usage({"still.png", "--audio", "MP3"}, "a .png file cannot carry MP3; these can: .avi");
    expect_usage({"still.gif", "--no-video"}, "there is nothing to record");
}

TEST(OrkaRecordOptions, AQualityIsAPartOfAHundred)
{
    for (const char *quality : {"0", "101", "-1", "best"})
        EXPECT_EQ(bare({"still.jpg", "--quality", quality}).status, 2) << quality;
}

TEST(OrkaRecordOptions, ATypeThatNoContainerCarriesIsRefused)
{
    expect_usage({"clip.avi", "--video", "WMV9"}, "a .avi file cannot carry WMV9 with MP3; no container can");
}

TEST(OrkaRecordOptions, ATypeThatIsNoneIsRefused)
{
    expect_usage({"clip.avi", "--video", "VP8"}, "there is no video type 'VP8'");
    expect_usage({"clip.avi", "--audio", "OPUS"}, "there is no audio type 'OPUS'");
}

TEST(OrkaRecordOptions, APairThatNoImageEncodesIsRefused)
{
    const Ending ending = bare({"clip.mkv", "--video", "H264", "--audio", "AAC"});
    EXPECT_EQ(ending.status, 2);
    EXPECT_NE(
        ending.err.find("orka-record: no codec image encodes H264 with AAC (orka-record --help lists the "
                        "pairs)\n"),
        std::string::npos)
        << ending.err;
}

TEST(OrkaRecordOptions, NothingToRecordIsRefused)
{
    expect_usage({"clip.avi", "--no-audio", "--no-video"}, "there is nothing to record");
    expect_usage({"clip.wav", "--no-audio"}, "there is nothing to record");
}

TEST(OrkaRecordOptions, ASizeHasTwoSides)
{
    for (const char *size : {"640", "640x", "x480", "640x480x", "0x480", "640x4097", "-1x2", "a"})
        expect_usage({"clip.avi", "--size", size}, "'" + std::string(size) + "' is no size: WIDTHxHEIGHT");
}

TEST(OrkaRecordOptions, SecondsAreANumberAboveNought)
{
    for (const char *seconds : {"0", "-1", "nan", "inf", "5s"})
        expect_usage({"clip.avi", "--seconds", seconds}, "a number of seconds above 0");
}

TEST(OrkaRecordOptions, WithoutABoardItSaysWhereThereIsOne)
{
    const Ending ending = bare({scratch("clip.avi")});
    EXPECT_EQ(ending.status, 3);
    EXPECT_EQ(ending.err, "orka-record: no /dev/iencode: run it under `orka-board run -- …`\n");
}
