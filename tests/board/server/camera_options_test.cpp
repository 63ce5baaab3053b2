/* --camera and --microphone: which sources a board begins with, and what becomes of those that do not open.
 */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "board/server/command.h"

namespace orka::board {
namespace {

using testing::HasSubstr;
using testing::Not;
using Words = std::vector<std::string>;

Outcome on_board_with(const Words &options)
{
    Words words{ORKA_BOARD_PROGRAM, "run"};
    words.insert(words.end(), options.begin(), options.end());
    words.insert(words.end(), {"--", "sh", "-c", "echo ran"});
    return run(words);
}

TEST(CameraOptions, AloneMakeABoardLoadTheLibrariesOfDevices)
{
    const Outcome outcome = run({"env", "LD_TRACE_LOADED_OBJECTS=1", ORKA_BOARD_PROGRAM});
    EXPECT_THAT(outcome.out, HasSubstr("libavcodec"));
    EXPECT_THAT(outcome.out, Not(HasSubstr("libavdevice")));
    EXPECT_THAT(outcome.out, Not(HasSubstr("libavformat")));
}

TEST(CameraOptions, TakeAnythingThatOpens)
{
    const Outcome outcome =
        on_board_with({"--camera", "lavfi:testsrc2=size=320x240", "--microphone", "lavfi:sine"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, "ran\n");
}

TEST(CameraOptions, ACameraThatDoesNotOpenEndsTheBoardAtItsStart)
{
    const Outcome outcome = on_board_with({"--camera", "/no/such.avi"});
    EXPECT_EQ(outcome.status, 125);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err, "orka-board: camera /no/such.avi: No such file or directory\n");
}

TEST(CameraOptions, ACameraWithoutPicturesEndsTheBoardAtItsStart)
{
    const Outcome outcome = on_board_with({"--camera", "lavfi:sine"});
    EXPECT_EQ(outcome.status, 125);
    EXPECT_EQ(outcome.err, "orka-board: camera lavfi:sine: holds no picture\n");
}

TEST(CameraOptions, AMicrophoneThatDoesNotOpenEndsTheBoardAtItsStart)
{
    const Outcome outcome = on_board_with({"--microphone", "lavfi:testsrc2"});
    EXPECT_EQ(outcome.status, 125);
    EXPECT_EQ(outcome.err, "orka-board: microphone lavfi:testsrc2: holds no sound\n");
}

TEST(CameraOptions, ServeSaysItToo)
{
    const Outcome outcome = run({ORKA_BOARD_PROGRAM, "serve", "--camera", "/no/such.avi"});
    EXPECT_EQ(outcome.status, 125);
    EXPECT_EQ(outcome.err, "orka-board: camera /no/such.avi: No such file or directory\n");
}

TEST(CameraOptions, DoNotApplyToABoardThatAlreadyRuns)
{
    for (const char *const option : {"--camera", "--microphone"}) {
        const Outcome outcome = on_board_with({"--board", "/no/such/socket", option, "x"});
        EXPECT_EQ(outcome.status, 2);
        EXPECT_THAT(outcome.err, HasSubstr(option));
    }
}

} // namespace
} // namespace orka::board
