/* The tools on a board whose requests go wrong. */
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "board/tools/served_board.h"

namespace orka_tools_test {

using testing::ContainsRegex;
using testing::HasSubstr;
using testing::Not;

const Words short_patience = {"--give-up", "0.3"};

Ending with_fault(const std::string &fault, const Words &program)
{
    return run(Words{ORKA_BOARD_PROGRAM, "run", "--fault", fault, "--"} + program);
}

Ending play_with(const std::string &fault, const Words &options = {})
{
    return with_fault(fault, Words{ORKA_PLAY_PROGRAM} + options + Words{plain_clip()});
}

Ending record_with(const std::string &fault, const Words &options = {})
{
    return with_fault(fault, Words{ORKA_RECORD_PROGRAM} + options +
                                 Words{"--seconds", "1", scratch("recorded.avi")});
}

struct Expected {
    const char *fault;
    const char *error;
};

/* Each ends the tool with a line that says what refused what, and status 1. */
class PlayFault : public testing::TestWithParam<Expected> {};

TEST_P(PlayFault, EndsThePlayerWithAnErrorThatNamesIt)
{
    const Ending ending = play_with(GetParam().fault);
    EXPECT_EQ(ending.status, 1);
    EXPECT_THAT(ending.err, HasSubstr(std::string("orka-play: ") + GetParam().error + "\n"));
    EXPECT_THAT(ending.err, Not(HasSubstr("never happened")));
}

INSTANTIATE_TEST_SUITE_P(Faults, PlayFault,
                         testing::Values(Expected{"vdecode:IDECODE_NEW_FRAME:nth=3:errno=EIO",
                                                  "the video decoder refused a frame to fill: ERROR(I/O)"},
                                         Expected{"adecode:IDECODE_GET_FRAME:nth=2:status=failure",
                                                  "the audio decoder refused a decoded frame: ERROR"},
                                         Expected{"adecode:IDECODE_SETUP_AUDIO:no-memory",
                                                  "the audio decoder refused its setup: ERROR"},
                                         Expected{"mem:open:errno=EACCES",
                                                  "the video decoder gave no queue"}));

class RecordFault : public testing::TestWithParam<Expected> {};

TEST_P(RecordFault, EndsTheRecorderWithAnErrorThatNamesIt)
{
    const Ending ending = record_with(GetParam().fault);
    EXPECT_EQ(ending.status, 1);
    EXPECT_THAT(ending.err, HasSubstr(std::string("orka-record: ") + GetParam().error + "\n"));
    EXPECT_THAT(ending.err, Not(HasSubstr("never happened")));
}

INSTANTIATE_TEST_SUITE_P(Faults, RecordFault,
                         testing::Values(Expected{"vencode0:IENCODE_GET_VIDEO_FRAME:nth=3:errno=EIO",
                                                  "the video encoder refused an encoded frame: ERROR(I/O)"},
                                         Expected{"aencode:IENCODE_GET_FRAME:nth=3:status=failure",
                                                  "the audio encoder refused an encoded frame: ERROR"},
                                         Expected{"iencode:IENCODE_SETUP_VIDEO:no-memory",
                                                  "the video encoder refused its setup: ERROR"},
                                         Expected{"aencode:IENCODE_STOP_AUDIO:errno=EIO",
                                                  "the audio encoder refused to stop: ERROR"}));

/* Where a machine is slow the other codec may be silent for so long, too. */
class Hang : public testing::TestWithParam<const char *> {};

TEST_P(Hang, EndsAToolThatWaits)
{
    const std::string fault = GetParam();
    const bool records =
        fault.find("encode:") != std::string::npos || fault.find("vencode0") != std::string::npos;
    const Ending ending = records ? record_with(fault, short_patience) : play_with(fault, short_patience);
    EXPECT_EQ(ending.status, 1);
    EXPECT_THAT(ending.err, ContainsRegex(std::string(records ? "orka-record: the (audio|video) encoder"
                                                              : "orka-play: the (audio|video) decoder") +
                                          " says nothing for 0.3 s: it hangs, or the board is held\n"));
    EXPECT_THAT(ending.err, Not(HasSubstr("never happened")));
}

INSTANTIATE_TEST_SUITE_P(Faults, Hang,
                         testing::Values("adecode:IDECODE_WAIT:status=timeout",
                                         "vdecode:IDECODE_COMMIT_FRAME:nth=5:hang",
                                         "aencode:IENCODE_START_AUDIO:hang",
                                         "vencode0:IENCODE_RELEASE_VIDEO_FRAME:nth=2:hang"));

TEST(Fault, ARecorderThatCannotStartHasRecordedForNoTime)
{
    const Ending ending = record_with("aencode:IENCODE_START_AUDIO:errno=EIO");
    EXPECT_EQ(ending.status, 1);
    EXPECT_THAT(ending.out, HasSubstr("recorded in 0.0 seconds\n"));
}

TEST(Fault, AHungEncoderOfStillsEndsTheRecorder)
{
    const Ending ending =
        with_fault("imgencode:IENCODE_GET_IMAGE:nth=1:hang",
                   Words{ORKA_RECORD_PROGRAM} + short_patience + Words{scratch("still.png")});
    EXPECT_EQ(ending.status, 1);
    EXPECT_THAT(ending.err, HasSubstr("orka-record: the image encoder says nothing for 0.3 s: it hangs"));
}

TEST(Fault, AHungDecoderOfStillsEndsThePlayer)
{
    const std::string still = clip("still.png", picture_source("64x48", 0.04) + "-frames:v 1");
    const Ending ending =
        with_fault("imgdecode:IDECODE_START:hang", Words{ORKA_PLAY_PROGRAM} + short_patience + Words{still});
    EXPECT_EQ(ending.status, 1);
    EXPECT_THAT(ending.err, HasSubstr("orka-play: the image decoder says nothing for 0.3 s: it hangs"));
}

TEST(Fault, ANodeThatDoesNotOpenIsNoBoard)
{
    const Ending ending = play_with("vdecode:open:errno=EBUSY");
    EXPECT_EQ(ending.status, 3);
    EXPECT_THAT(ending.err, HasSubstr("orka-play: the video decoder's node cannot be opened\n"));
}

/* Not the shim's own word for a file that is none of the board's. */
TEST(Fault, ABadDescriptorReachesTheProgram)
{
    const Ending ending = play_with("vdecode:IDECODE_START:errno=EBADF");
    EXPECT_EQ(ending.status, 1);
    EXPECT_THAT(ending.err, HasSubstr("Bad file descriptor"));
    EXPECT_THAT(ending.err, HasSubstr("orka-play: the video decoder refused to start: ERROR\n"));
}

TEST(Fault, ANameThatIsNoTextIsToldInTheStatus)
{
    const Board board({"--fault", "vdecode:IDECODE_START:program=\xff:errno=EIO"});
    const Ending ending = run(board.looking("status") + Words{"--json"});
    EXPECT_EQ(ending.status, 0);
    EXPECT_EQ(nlohmann::json::parse(ending.out)["faults"][0]["fault"],
              "vdecode:IDECODE_START:program=\xef\xbf\xbd:errno=EIO");
}

TEST(Fault, DamageOnTheWayInIsTold)
{
    const Ending ending = play_with("vdecode:IDECODE_COMMIT_FRAME:nth=3:corrupt=200", {"--no-audio"});
    EXPECT_EQ(ending.status, 1);
    EXPECT_THAT(ending.err,
                ContainsRegex("[0-9]+ of [0-9]+ pictures are damaged: the clip's data is corrupt"));
}

TEST(Fault, DamageOnTheWayOutIsInThatPictureAlone)
{
    const std::string file = scratch("framemd5");
    const Ending ending =
        play_with("vdecode:IDECODE_GET_FRAME:nth=3:corrupt=1", {"--no-audio", "--framemd5", file});
    EXPECT_EQ(ending.status, 0) << ending.err;
    Words expected = sizes_and_hashes(ffmpeg_framemd5(plain_clip()));
    Words played = sizes_and_hashes(contents(file));
    ASSERT_EQ(played.size(), expected.size());
    EXPECT_NE(played[2], expected[2]);
    played[2] = expected[2];
    EXPECT_EQ(played, expected);
}

TEST(Fault, WhatIsDelayedIsTheSame)
{
    const std::string file = scratch("framemd5");
    const Ending ending = play_with("*decode:*_FRAME:every=5:delay=5ms", {"--framemd5", file});
    EXPECT_EQ(ending.status, 0) << ending.err;
    EXPECT_EQ(sizes_and_hashes(contents(file)), sizes_and_hashes(ffmpeg_framemd5(plain_clip())));
}

TEST(Fault, AFaultThatNeverHappenedIsToldAtTheEnd)
{
    const Ending ending = play_with("vencode0:IENCODE_START_VIDEO:errno=EIO");
    EXPECT_EQ(ending.status, 0);
    EXPECT_THAT(ending.err,
                HasSubstr("orka-board: the fault vencode0:IENCODE_START_VIDEO:errno=EIO never happened; "
                          "calls that it could strike: 0\n"));
}

TEST(Fault, AWrongSpecIsAUsageErrorThatNamesThePart)
{
    const Ending ending = play_with("vdecode:IDECODE_START:errno=EOI");
    EXPECT_EQ(ending.status, 2);
    EXPECT_THAT(ending.err,
                HasSubstr("--fault: 'vdecode:IDECODE_START:errno=EOI': no error 'EOI'; there are EPERM, "));
}

TEST(Fault, FaultsDoNotApplyToABoardThatRuns)
{
    const Ending ending = run({ORKA_BOARD_PROGRAM, "run", "--board", "/nonexistent", "--fault",
                               "vdecode:IDECODE_START:errno=EIO", "--", "true"});
    EXPECT_EQ(ending.status, 2);
    EXPECT_THAT(ending.err, HasSubstr("--board excludes --fault"));
}

TEST(Fault, TheTraceMarksTheLinesThatItStruck)
{
    const std::string trace = scratch("trace");
    run(Words{ORKA_BOARD_PROGRAM, "run", "--trace", trace, "--fault",
              "vdecode:IDECODE_NEW_FRAME:nth=3:errno=EIO", "--fault", "imgdecode:open:errno=EBUSY", "--",
              ORKA_PLAY_PROGRAM, plain_clip()});
    const std::string lines = contents(trace);
    EXPECT_THAT(lines, ContainsRegex("/dev/vdecode IDECODE_NEW_FRAME\\([^\n]* = -1 EIO[^\n]* "
                                     "\\[fault 1: errno=EIO\\]\n"));
    EXPECT_EQ(lines.find("[fault"), lines.rfind("[fault"));
}

/* One after the other on one board: each fails as it should, and leaves nothing behind for the next. */
TEST(Fault, TheBoardStaysUsable)
{
    const Board board({"--fault", "vdecode:IDECODE_NEW_FRAME:nth=3:errno=EIO", "--fault",
                       "vdecode:IDECODE_START:nth=2:hang", "--fault",
                       "adecode:IDECODE_SETUP_AUDIO:nth=3:no-memory", "--fault",
                       "vencode0:IENCODE_START_VIDEO:nth=1:hang"});
    const Words player{ORKA_PLAY_PROGRAM, plain_clip()};
    const Words recorder{ORKA_RECORD_PROGRAM, "--no-audio", "--seconds", "0.2", scratch("recorded.avi")};
    EXPECT_EQ(run(board.running(player)).status, 1);
    EXPECT_EQ(run(board.running(player + short_patience)).status, 1);
    EXPECT_EQ(run(board.running(player)).status, 1);
    EXPECT_EQ(run(board.running(recorder + short_patience)).status, 1);
    EXPECT_EQ(run(board.running(player)).status, 0);
    EXPECT_EQ(run(board.running(recorder)).status, 0);

    nlohmann::json status;
    EXPECT_TRUE(soon([&] {
        status = nlohmann::json::parse(run(board.looking("status") + Words{"--json"}).out);
        return status["nodes"].empty();
    })) << status;
    EXPECT_EQ(status["queues"]["blocks"], 0);
    EXPECT_TRUE(status["decoders"].empty());
    for (const nlohmann::json &fault : status["faults"])
        EXPECT_EQ(fault["fired"], 1) << fault;
    EXPECT_THAT(run(board.looking("status")).out,
                HasSubstr("  calls 2, fault vencode0:IENCODE_START_VIDEO:nth=1:hang, fired 1\n"));
}

} // namespace orka_tools_test
