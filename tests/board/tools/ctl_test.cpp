/* orka-ctl. */
#include <gtest/gtest.h>
#include <string>

#include <unistd.h>

#include "board/tools/ctl.h"

using namespace orka_tools_test;

namespace {

Ending bare(const Words &arguments)
{
    return run(Words{ORKA_CTL_PROGRAM} + arguments);
}

} // namespace

TEST(OrkaCtlList, NeedsNoBoard)
{
    const Ending ending = bare({"list", "display"});
    EXPECT_EQ(ending.status, 0) << ending.err;
    EXPECT_EQ(ending.out, "INTERNAL 480i (720x480) Interlaced\nINTERNAL 576i (720x576) Interlaced\n"
                          "LCD VGA (640x480) Progressive\nLCD QVGA (320x240) Progressive\n");
}

TEST(OrkaCtlList, NamesFramesAndModes)
{
    EXPECT_EQ(bare({"list", "frame"}).out, "NONE\nAUDIO\nVIDEO\nSUBTITLE\nMOTION VECTOR\nLAST\n");
    EXPECT_NE(bare({"list", "capture"}).out.find("TVP5150 480i_field (720x240) Progressive\n"),
              std::string::npos);
}

TEST(OrkaCtlList, NamesEachImageWithItsPairs)
{
    const Ending ending = bare({"list", "images"});
    EXPECT_EQ(ending.err, "");
    EXPECT_NE(ending.out.find("h264_aac_dec decodes H264+AAC\n"), std::string::npos);
    EXPECT_NE(ending.out.find("h264_pcm_enc encodes H264+NONE H264+PCM\n"), std::string::npos);
}

TEST(OrkaCtlList, IsJsonWhenAsked)
{
    EXPECT_EQ(
        bare({"list", "--json", "mux"}).out,
        "{\n  \"mux\": [\n    \"UNKNOWN\",\n    \"DEFAULT\",\n    \"2TO1\",\n    \"1TO2\",\n    \"LEFT\",\n"
        "    \"RIGHT\",\n    \"AGC\"\n  ]\n}\n");
}

TEST(OrkaCtlList, GivesModesAsObjectsInJson)
{
    const std::string all = bare({"list", "--json", "display", "capture"}).out;
    const std::string first_of_display = "\"display\": [\n    {\n      \"device\": \"INTERNAL\",\n      "
                                         "\"mode\": \"480i\",\n      \"width\": 720,\n"
                                         "      \"height\": 480,\n      \"interlaced\": true\n    },\n";
    const std::string second_of_capture =
        ",\n    {\n      \"device\": \"TVP5150\",\n      \"mode\": \"576i_field\",\n      \"width\": 720,\n"
        "      \"height\": 288,\n      \"interlaced\": false,\n      \"rate\": 25\n    },\n";
    EXPECT_NE(all.find(first_of_display), std::string::npos) << all;
    EXPECT_NE(all.find(second_of_capture), std::string::npos) << all;
    EXPECT_EQ(all.find("WARNING"), std::string::npos) << all;
}

TEST(OrkaCtlList, GivesImagesAsObjectsInJson)
{
    const Ending ending = bare({"list", "--json", "images"});
    EXPECT_EQ(ending.err, "");
    for (const char *const image :
         {"    {\n      \"image\": \"h264_aac_dec\",\n      \"decodes\": [\n        {\n"
          "          \"video\": \"H264\",\n          \"audio\": \"AAC\"\n        }\n      ]\n    }",
          "    {\n      \"image\": \"h264_pcm_enc\",\n      \"encodes\": [\n        {\n"
          "          \"video\": \"H264\",\n          \"audio\": \"NONE\"\n        },\n        {\n"
          "          \"video\": \"H264\",\n          \"audio\": \"PCM\"\n        }\n      ]\n    }"})
        EXPECT_NE(ending.out.find(image), std::string::npos) << image << "\nis not in\n" << ending.out;
}

TEST(OrkaCtlList, KnowsNoOtherTopics)
{
    const Ending ending = bare({"list", "colours"});
    EXPECT_EQ(ending.status, 2);
    EXPECT_NE(ending.err.find("colours"), std::string::npos);
}

TEST(OrkaCtlTypes, NeedNoFilesAndNoBoard)
{
    const Ending ending = bare({"types", "MOVIE.AVI", "a.g711", "b.jpg", "c.TIFF", "d.m2v", "avi"});
    EXPECT_EQ(ending.status, 0);
    EXPECT_EQ(ending.err, "");
    EXPECT_EQ(ending.out, "MOVIE.AVI: file AVI, audio MP3, video MPEG4, image NONE\n"
                          "a.g711: file AUDIO, audio G711, video NONE, image NONE\n"
                          "b.jpg: file IMAGE, audio NONE, video NONE, image JPEG\n"
                          "c.TIFF: file IMAGE, audio NONE, video NONE, image TIFF\n"
                          "d.m2v: file VES, audio NONE, video MPEG2, image NONE\n"
                          "avi: file UNKNOWN, audio NONE, video NONE, image NONE\n");
}

TEST(OrkaCtlTypes, AreJsonWhenAsked)
{
    EXPECT_EQ(bare({"types", "--json", "a \"b\".mp4", "c.gif"}).out,
              "[\n  {\n    \"name\": \"a \\\"b\\\".mp4\",\n    \"file\": \"MP4\",\n    \"audio\": \"AAC\",\n"
              "    \"video\": \"MPEG4\",\n    \"image\": \"NONE\"\n  },\n"
              "  {\n    \"name\": \"c.gif\",\n    \"file\": \"IMAGE\",\n    \"audio\": \"NONE\",\n"
              "    \"video\": \"NONE\",\n    \"image\": \"GIF\"\n  }\n]\n");
}

TEST(OrkaCtl, WithoutABoardItSaysWhereThereIsOne)
{
    for (const Words &words :
         {Words{"display", "show"}, Words{"imem", "reset"}, Words{"capture", "snap", "a.png"},
          Words{"dsp", "dump"}, Words{"dsp", "write", "32", "1"}, Words{"mcbsp", "print", "0"}}) {
        const Ending ending = bare(words);
        EXPECT_EQ(ending.status, 3);
        EXPECT_NE(ending.err.find("run it under `orka-board run -- …`"), std::string::npos);
    }
}

TEST(OrkaCtl, SaysThatItsOutputFoundNoRoom)
{
    for (const Words &words :
         {Words{"list"}, Words{"list", "--json"}, Words{"list", "mux"}, Words{"types", "a.avi"},
          Words{"types", "--json", "a.avi"}, Words{"capture", "show"}, Words{"--help"}, Words{"--version"}}) {
        const Ending ending = run(on_full_disk(Words{ctl} + words));
        EXPECT_EQ(ending.status, 1) << testing::PrintToString(words);
        EXPECT_EQ(ending.err, no_room) << testing::PrintToString(words);
    }
}

TEST(OrkaCtl, SaysOnABoardThatItsOutputFoundNoRoom)
{
    for (const Words &words : {Words{"display", "show"}, Words{"dsp", "dump"}, Words{"dsp", "read", "0"}}) {
        const Ending ending = run(Words{ORKA_BOARD_PROGRAM, "run", "--"} + on_full_disk(Words{ctl} + words));
        EXPECT_EQ(ending.status, 1) << testing::PrintToString(words);
        EXPECT_EQ(ending.err, no_room) << testing::PrintToString(words);
    }
}

TEST(OrkaCtl, NeedsNoRoomWhereItSaysNothing)
{
    EXPECT_EQ(run(Words{ORKA_BOARD_PROGRAM, "run", "--"} + on_full_disk({ctl, "imem", "reset"})).status, 0);
}

TEST(OrkaCtl, ThatWasRefusedKeepsItsStatusOnAFullDisk)
{
    EXPECT_EQ(run(on_full_disk({ctl, "display", "show"})).status, 3);
}

TEST(OrkaCtlDisplay, ShowsTheDefaultOutput)
{
    const Ending ending = control({"display", "show"});
    EXPECT_EQ(ending.status, 0) << ending.err;
    EXPECT_EQ(ending.out.substr(0, ending.out.find('\n')), "INTERNAL/480i: 720x480 interlaced");
}

TEST(OrkaCtlDisplay, SetsAnOutput)
{
    const Ending ending = control({"display", "set", "lcd/vga", "--source", "320x240"});
    EXPECT_EQ(ending.status, 0) << ending.err;
    EXPECT_EQ(ending.out, "LCD/VGA: 640x480 progressive\npicture area 640x480, scaled\nsource 320x240\n");
}

TEST(OrkaCtlDisplay, NamesTheModesWhenOneIsUnknown)
{
    const Ending ending = control({"display", "set", "VGA2"});
    EXPECT_EQ(ending.status, 2);
    EXPECT_EQ(ending.err, "orka-ctl: there is no display mode 'VGA2'; there are: INTERNAL/480i INTERNAL/576i "
                          "LCD/VGA LCD/QVGA\n");
}

TEST(OrkaCtlDisplay, TogglesToTheNextOutput)
{
    const Ending ending = control({"display", "toggle", "480i", "QVGA"});
    EXPECT_EQ(ending.status, 0) << ending.err;
    EXPECT_EQ(ending.out.substr(0, ending.out.find('\n')), "LCD/QVGA: 320x240 progressive");
}

TEST(OrkaCtlDisplay, StepsThroughAtMostEightOutputs)
{
    const Words toggle{"display", "toggle"};
    const Words eight{"480i", "576i", "VGA", "QVGA", "480i", "576i", "VGA", "QVGA"};
    EXPECT_EQ(control(toggle + eight).status, 0);
    const Ending ending = control(toggle + eight + Words{"VGA"});
    EXPECT_EQ(ending.status, 2);
    EXPECT_EQ(ending.err, "orka-ctl: toggle steps through at most 8 outputs\n");
}

TEST(OrkaCtlDisplay, HelpOfToggleShowsThatOutputsRepeat)
{
    const std::string help = bare({"display", "toggle", "--help"}).out;
    EXPECT_NE(help.find("Usage: orka-ctl display toggle [OPTIONS] DEVICE/MODE...\n"), std::string::npos);
    EXPECT_NE(help.find("  DEVICE/MODE ... "), std::string::npos) << help;
}

TEST(OrkaCtlDisplay, SaysThatNothingKeepsAnOutputOnAnIdleBoard)
{
    for (const Words &words : {Words{"set", "LCD/VGA"}, Words{"toggle", "480i", "VGA"}, Words{"lcd", "on"},
                               Words{"set", "480i", "--source", "320x288"}}) {
        const Ending ending = control(Words{"display"} + words);
        EXPECT_EQ(ending.status, 0) << testing::PrintToString(words);
        EXPECT_EQ(ending.err, "orka-ctl: notice: the output is INTERNAL/480i again: no other program has the "
                              "display open to keep what was set\n")
            << testing::PrintToString(words);
    }
}

TEST(OrkaCtlDisplay, HasNothingToSayOfAnOutputThatStays)
{
    const Ending kept = on_board("exec 3</dev/idecode; " + ctl + " display set LCD/VGA >/dev/null; " + ctl +
                                 " display show | head -n 1");
    EXPECT_EQ(kept.out, "LCD/VGA: 640x480 progressive\n");
    EXPECT_EQ(kept.err, "");
    EXPECT_EQ(control({"display", "set", "INTERNAL/480i"}).err, "");
    EXPECT_EQ(control({"display", "lcd", "off"}).err, "");
}

TEST(OrkaCtlDisplay, HelpTellsHowLongASettingLasts)
{
    for (const Words &words : {Words{}, Words{"set"}, Words{"mask"}, Words{"enable"}, Words{"show"}}) {
        const std::string help = help_of(Words{"display"} + words);
        EXPECT_NE(help.find("as long as some program has /dev/idecode open"), std::string::npos) << help;
        EXPECT_NE(help.find("No driver can be asked whether the display is masked or off"),
                  std::string::npos);
    }
}

TEST(OrkaCtlDisplay, SwitchesTheLcdPanel)
{
    EXPECT_EQ(control({"display", "lcd", "on"}).status, 0);
    EXPECT_EQ(control({"display", "lcd", "maybe"}).status, 2);
}

TEST(OrkaCtlCapture, ShowsTheModeOfADigit)
{
    const Ending ending = bare({"capture", "show", "3"});
    EXPECT_EQ(ending.status, 0) << ending.err;
    EXPECT_NE(ending.out.find("TVP5150 576i_frame: 720x576 frames, 25 a second\n"), std::string::npos);
}

TEST(OrkaCtlCapture, TakesAModeUpToItsUnderscoreInAnyCase)
{
    EXPECT_NE(bare({"capture", "show", "576I"}).out.find("TVP5150 576i_field: 720x288 fields, 25 a second\n"),
              std::string::npos);
    EXPECT_EQ(bare({"capture", "show"}).out, "TVP5150 480i_field: 720x240 fields, 30 a second\n");
}

TEST(OrkaCtlCapture, NamesTheModesWhenOneIsUnknown)
{
    for (const char *const mode : {"foo", "480i_fram", "480i_frames", "48", "4", "9", "-1", "33"}) {
        const Ending ending = bare({"capture", "show", "--", mode});
        EXPECT_EQ(ending.status, 2) << mode;
        EXPECT_EQ(ending.out, "");
        EXPECT_EQ(ending.err, "orka-ctl: there is no capture mode '" + std::string(mode) +
                                  "'; there are: 480i_field 576i_field 480i_frame 576i_frame, or 0 to 3\n");
    }
}

TEST(OrkaCtlCapture, SavesNothingInAnUnknownMode)
{
    const std::string file = scratch("never.png");
    for (const char *const mode : {"480i_fram", "9"}) {
        const Ending ending = control({"capture", "snap", file, "--mode", mode});
        EXPECT_EQ(ending.status, 2);
        EXPECT_NE(ending.err.find("orka-ctl: there is no capture mode '" + std::string(mode) + "'"),
                  std::string::npos);
    }
    EXPECT_NE(access(file.c_str(), F_OK), 0);
}

TEST(OrkaCtlCapture, SavesUnderNoNameThatPromisesAnotherFormat)
{
    for (const char *const name : {"q.jpg", "q.png.jpg", "q", "png", ""}) {
        const Ending ending = bare({"capture", "snap", name});
        EXPECT_EQ(ending.status, 2);
        EXPECT_EQ(ending.err, "FILE.png: '" + std::string(name) +
                                  "' does not end in .png, and a PNG file is what is written\n"
                                  "Run with --help for more information.\n");
    }
    EXPECT_EQ(control({"capture", "snap", scratch("Q.PNG")}).status, 0);
}

TEST(OrkaCtlCapture, SavesWhatTheCameraSees)
{
    const std::string file = scratch("now.png");
    const Ending ending = control({"capture", "snap", file, "--mode", "480i_frame"});
    EXPECT_EQ(ending.status, 0) << ending.err;
    EXPECT_EQ(probed(file, "stream=codec_name,width,height"), "codec_name=png\nwidth=720\nheight=480\n");
}

TEST(OrkaCtlCapture, AFileThatCannotBeWrittenIsNamed)
{
    const Ending ending = control({"capture", "snap", "/nowhere/now.png"});
    EXPECT_EQ(ending.status, 1);
    EXPECT_NE(ending.err.find("orka-ctl: /nowhere/now.png: "), std::string::npos) << ending.err;
}

TEST(OrkaCtlImem, ResetsTheManager)
{
    EXPECT_EQ(control({"imem", "reset"}).status, 0);
}
