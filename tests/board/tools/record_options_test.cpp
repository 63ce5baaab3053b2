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
    expect_usage({"clip.avi", "--video", "WMV9"}, "a .avi file cannot carry WMV9; no container can");
    expect_usage({"clip.avi", "--video", "JPEG"}, "a .avi file cannot carry JPEG; no container can");
}

TEST(OrkaRecordOptions, ATypeThatIsNoneIsRefused)
{
    expect_usage({"clip.avi", "--video", "VP8"}, "there is no video type 'VP8'");
    expect_usage({"clip.avi", "--audio", "OPUS"}, "there is no audio type 'OPUS'");
}

TEST(OrkaRecordOptions, APairThatNoImageEncodesIsRefused)
{
    expect_usage({"clip.mkv", "--video", "H264", "--audio", "AAC"},
                 "orka-record: no codec image encodes H264 with AAC; a .mkv file takes H264 with PCM, "
                 "H264 without sound\n");
    expect_usage({"clip.mov", "--video", "H263", "--audio", "PCM"},
                 "orka-record: no codec image encodes H263 with PCM; a .mov file takes H263 with G711, "
                 "H263 without sound\n");
    expect_usage({"clip.mp4", "--video", "H264", "--audio", "AAC"},
                 "orka-record: no codec image encodes H264 with AAC; a .mp4 file takes H264 without sound\n");
}

TEST(OrkaRecordOptions, WhereNobodyAsksForASoundOneIsChosenThatGoesWithThePicture)
{
    const std::string no_board = "orka-record: no /dev/iencode: run it under `orka-board run -- …`\n";
    const struct {
        const char *file;
        const char *video;
        const char *told;
    } choices[] = {
        {"clip.avi", "MPEG4", ""},
        {"clip.mp4", "MPEG4", ""},
        {"clip.h264", "H264", ""},
        {"clip.avi", "H264", "recording H264 with PCM: no codec image encodes H264 with MP3"},
        {"clip.mkv", "H264", "recording H264 with PCM: no codec image encodes H264 with AAC"},
        {"clip.mov", "H264", "recording H264 with PCM: no codec image encodes H264 with AAC"},
        {"clip.mp4", "H264", "recording H264 without sound: no codec image encodes H264 with AAC"},
        {"clip.ts", "H264", "recording H264 without sound: no codec image encodes H264 with MP3"},
        {"clip.mkv", "MPEG2", "recording MPEG2 with PCM: no codec image encodes MPEG2 with AAC"},
        {"clip.ts", "MPEG2", "recording MPEG2 without sound: no codec image encodes MPEG2 with MP3"},
        {"clip.avi", "H263", "recording H263 with G711: no codec image encodes H263 with MP3"},
        {"clip.mov", "H263", "recording H263 with G711: no codec image encodes H263 with AAC"},
    };
    for (const auto &choice : choices) {
        const Ending ending = bare({scratch(choice.file), "--video", choice.video});
        const std::string told(choice.told);
        EXPECT_EQ(ending.status, 3);
        EXPECT_EQ(ending.err, (told.empty() ? "" : "orka-record: " + told + "\n") + no_board);
    }
}

TEST(OrkaRecordOptions, WhatMeansNothingIsRefused)
{
    for (const char *option : {"--bitrate", "--audio-bitrate", "--sample-rate", "--seconds", "--channel"})
        expect_usage({"still.jpg", option, "1"},
                     option + std::string(": means nothing for still.jpg, which is a still\n"));
    expect_usage({"still.png", "--view"}, "--view: means nothing for still.png, which is a still\n");
    for (const char *file : {"still.png", "still.gif", "clip.avi", "clip.wav"})
        expect_usage({file, "--quality", "50"},
                     std::string("--quality: means nothing for ") + file + ", which is no JPEG still\n");
    for (const char *option : {"--bitrate", "--channel"})
        expect_usage({"clip.wav", option, "1"},
                     option + std::string(": means nothing for clip.wav, which has no picture\n"));
    expect_usage({"clip.avi", "--no-video", "--size", "64x64"},
                 "--size: means nothing for clip.avi, which has no picture\n");
    expect_usage({"clip.avi", "--no-video", "--standard", "pal"},
                 "--standard: means nothing for clip.avi, which has no picture\n");
    for (const char *option : {"--audio-bitrate", "--sample-rate"})
        expect_usage({"clip.avi", "--no-audio", option, "64"},
                     option + std::string(": means nothing for clip.avi, which has no sound\n"));
}

TEST(OrkaRecordOptions, WhatContradictsItselfIsRefused)
{
    expect_usage({"clip.avi", "--no-audio", "--audio", "MP3"}, "--audio excludes --no-audio\n");
    expect_usage({"clip.avi", "--no-video", "--video", "MPEG4"}, "--video excludes --no-video\n");
}

TEST(OrkaRecordOptions, WithoutAPictureTheShownOneHasItsOptions)
{
    const Ending ending =
        bare({scratch("clip.wav"), "--view", "--size", "352x288", "--standard", "pal", "--channel", "1"});
    EXPECT_EQ(ending.status, 3) << ending.err;
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
