/* --camera and --microphone: which sources a board begins with, and what becomes of those that do not open.
 */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <initializer_list>
#include <thread>

#include <sys/stat.h>

#include "board/server/command.h"
#include "board/soon.h"

namespace orka::board {
namespace {

using orka_test::soon;
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

/* A camera that does not come to open: a FIFO whose writer is silent. */
class SilentCameraAtTheStart : public testing::TestWithParam<int> {
  protected:
    SilentCameraAtTheStart()
    {
        char name[] = "/tmp/orka-camera-test-XXXXXX";
        directory = mkdtemp(name);
        runtime = directory / "run";
        std::filesystem::create_directory(runtime);
        setenv("XDG_RUNTIME_DIR", runtime.c_str(), 1);
        EXPECT_EQ(mkfifo(fifo().c_str(), 0600), 0);
    }
    ~SilentCameraAtTheStart() override
    {
        close(writer);
        std::filesystem::remove_all(directory);
    }
    std::string fifo() const { return directory / "camera"; }

    /* The signals come while the board waits for the camera. */
    Outcome ended(const Words &words, std::initializer_list<int> signals)
    {
        Running running(words);
        EXPECT_TRUE(soon([this] {
            writer = open(fifo().c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
            return writer >= 0;
        })) << "the board does not open it";
        for (const int one : signals) {
            kill(running.process(), one);
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
        }
        return running.finish();
    }

    std::filesystem::path directory;
    std::filesystem::path runtime;
    int writer = -1;
};

TEST_P(SilentCameraAtTheStart, EndsARunByASignalBeforeItsProgramBegan)
{
    const Outcome outcome =
        ended({ORKA_BOARD_PROGRAM, "run", "--camera", fifo(), "--", "sh", "-c", "echo ran"}, {GetParam()});
    EXPECT_EQ(outcome.status, 128 + GetParam());
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err, "");
    EXPECT_TRUE(std::filesystem::is_empty(runtime));
}

TEST_P(SilentCameraAtTheStart, EndsServingByASignalAsAtAnyOtherTime)
{
    const std::string socket = directory / "socket";
    const Outcome outcome =
        ended({ORKA_BOARD_PROGRAM, "serve", "--socket", socket, "--camera", fifo()}, {GetParam()});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err, "");
    EXPECT_TRUE(std::filesystem::is_empty(runtime));
    EXPECT_FALSE(std::filesystem::exists(socket));
}

/* As nohup and a shell's & have them. */
TEST_P(SilentCameraAtTheStart, GoesOnAtASignalThatTheCallerHasIgnored)
{
    const std::string number = std::to_string(GetParam());
    const int other = GetParam() == SIGTERM ? SIGINT : SIGTERM;
    const std::string command =
        "trap '' " + number + "; exec " ORKA_BOARD_PROGRAM " run --camera " + fifo() + " -- true";
    EXPECT_EQ(ended({"sh", "-c", command}, {GetParam(), other}).status, 128 + other);
}

INSTANTIATE_TEST_SUITE_P(Every, SilentCameraAtTheStart, testing::Values(SIGINT, SIGTERM, SIGHUP),
                         [](const auto &info) { return std::string(sigabbrev_np(info.param)); });

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
