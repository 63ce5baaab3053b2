/* A board whose camera is a FIFO that gives nothing any more: programs come and go, and it ends. */
#include <gtest/gtest.h>

#include <filesystem>
#include <optional>

#include <fcntl.h>
#include <nlohmann/json.hpp>
#include <sys/stat.h>

#include "board/tools/served_board.h"

namespace orka_tools_test {
namespace {

std::string made_fifo()
{
    const std::string path = scratch("camera");
    std::filesystem::remove(path);
    EXPECT_EQ(mkfifo(path.c_str(), 0600), 0);
    return path;
}

/* Pictures of 64x48, fewer than a pipe holds. */
std::string few_pictures()
{
    return clip("few.y4m", "-f lavfi -i testsrc2=size=64x48:rate=30:duration=0.2 -pix_fmt yuv420p");
}

class SilentCamera : public testing::Test {
  protected:
    nlohmann::json encoder() const
    {
        return nlohmann::json::parse(run(board->looking("status") + Words{"--json"}).out)["encoders"][0];
    }
    Words recording(const std::string &name) const
    {
        return board->running({ORKA_RECORD_PROGRAM, "--no-audio", scratch(name)});
    }

    const std::string fifo = made_fifo();
    Process first_writer{{"sh", "-c", "cat " + few_pictures() + " >" + fifo}}; /* for the board's start */
    std::optional<Board> board{std::in_place, Words{"--clock", "real", "--camera", fifo}};
};

TEST_F(SilentCamera, ThatNobodyWritesLetsProgramsBeKilledAndOthersGoOn)
{
    Process recorder(recording("killed.avi"));
    ASSERT_TRUE(soon([this] { return encoder()["frames_in"] > 0; }));
    EXPECT_EQ(run(board->running({ORKA_RECORD_PROGRAM, "--seconds", "0.2", scratch("sound.wav")})).status, 0);
    recorder.signal(SIGKILL);
    recorder.wait();
    EXPECT_TRUE(soon([this] { return encoder()["state"] == "idle"; }));
}

TEST_F(SilentCamera, WhoseWriterFallsSilentLetsProgramsBeKilledAndTheBoardEnd)
{
    first_writer.wait();
    const std::string data = contents(few_pictures());
    const int writer = open(fifo.c_str(), O_RDWR | O_CLOEXEC);
    ASSERT_EQ(write(writer, data.data(), data.size()), static_cast<ssize_t>(data.size()));
    Process recorder(recording("killed.avi"));
    ASSERT_TRUE(soon([this] { return encoder()["frames_out"] > 0; }));
    recorder.signal(SIGKILL);
    recorder.wait();
    ASSERT_TRUE(soon([this] { return encoder()["state"] == "idle"; }));

    Process other(recording("other.avi"));
    ASSERT_TRUE(soon([this] { return encoder()["frames_in"] > 0; }));
    board.reset(); /* SIGTERM, and status 0 */
    close(writer);
}

} // namespace
} // namespace orka_tools_test
