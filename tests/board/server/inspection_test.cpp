/* orka-board screenshot and orka-board status, on boards that run, and on none. */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <optional>
#include <sstream>

#include <nlohmann/json.hpp>
#include <png.h>

#include "board/server/command.h"
#include "board/server/raw_client.h"
#include "server/status_text.h"

namespace orka::board {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;

using Words = std::vector<std::string>;

constexpr char board[] = ORKA_BOARD_PROGRAM;
constexpr char probe[] = ORKA_BOARD_PROBE;

Outcome orka_board(Words words)
{
    words.insert(words.begin(), board);
    return run(words);
}

struct Image {
    uint32_t width = 0;
    uint32_t height = 0;
    std::vector<uint8_t> rgb;
};

Image read_png(const std::string &path)
{
    png_image image{.version = PNG_IMAGE_VERSION};
    EXPECT_TRUE(png_image_begin_read_from_file(&image, path.c_str())) << image.message;
    image.format = PNG_FORMAT_RGB;
    std::vector<uint8_t> rgb(PNG_IMAGE_SIZE(image));
    EXPECT_TRUE(png_image_finish_read(&image, nullptr, rgb.data(), 0, nullptr)) << image.message;
    return {image.width, image.height, rgb};
}

std::string contents(const fs::path &path)
{
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
}

class NoBoard : public testing::Test {
  protected:
    NoBoard()
    {
        char name[] = "/tmp/orka-inspection-test-XXXXXX";
        directory = mkdtemp(name);
        socket = directory / "board";
        file = directory / "shot.png";
        setenv("XDG_RUNTIME_DIR", directory.c_str(), 1);
        unsetenv("ORKA_BOARD");
    }
    ~NoBoard() override
    {
        unsetenv("ORKA_BOARD");
        fs::remove_all(directory);
    }

    fs::path directory;
    std::string socket;
    std::string file;
};

class Inspection : public NoBoard {
  protected:
    Inspection()
    {
        serving.emplace(Words{board, "serve", "--memory", "32", "--socket", socket});
        EXPECT_TRUE(serving->says("LD_PRELOAD"));
    }
    nlohmann::json status() const
    {
        return nlohmann::json::parse(orka_board({"status", "--json", "--board", socket}).out);
    }
    std::optional<Running> serving;
};

/* Screenshots. */

TEST_F(Inspection, AScreenshotIsAPngOfTheModesSize)
{
    const Outcome outcome = orka_board({"screenshot", "--board", socket, file});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out + outcome.err, "");
    const Image image = read_png(file);
    EXPECT_EQ(image.width, 720u);
    EXPECT_EQ(image.height, 480u);
    EXPECT_EQ(image.rgb, std::vector<uint8_t>(720 * 480 * 3));
}

TEST_F(Inspection, AScreenshotGoesToStandardOutputToo)
{
    const Outcome outcome = orka_board({"screenshot", "--board", socket, "-"});
    EXPECT_EQ(outcome.status, 0);
    ASSERT_EQ(orka_board({"screenshot", "--board", socket, file}).status, 0);
    EXPECT_EQ(outcome.out, contents(file));
}

TEST_F(Inspection, EachPlaneCanBeSaved)
{
    for (const char *const plane : {"video", "osd"}) {
        EXPECT_EQ(orka_board({"screenshot", "--board", socket, "--plane", plane, file}).status, 0) << plane;
        EXPECT_EQ(read_png(file).width, 720u);
        fs::remove(file);
    }
}

TEST_F(Inspection, TheBoardOfTheEnvironmentIsTheOneLookedAt)
{
    setenv("ORKA_BOARD", socket.c_str(), 1);
    EXPECT_EQ(orka_board({"screenshot", file}).status, 0);
    EXPECT_EQ(orka_board({"status"}).status, 0);
    EXPECT_EQ(orka_board({"status", "--board", "/nowhere"}).status, 1) << "the option comes first";
}

TEST_F(Inspection, AFileThatCannotBeWrittenIsSaid)
{
    const Outcome outcome = orka_board({"screenshot", "--board", socket, "/no/such/folder/shot.png"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.err, "orka-board: /no/such/folder/shot.png: No such file or directory\n");
}

/* A name that stands for something else stays, whatever comes of writing to it. */
TEST_F(Inspection, NothingIsRemovedWhereAFileCannotBeWritten)
{
    fs::create_symlink("/dev/full", file);
    const Outcome outcome = orka_board({"screenshot", "--board", socket, file});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.err, "orka-board: " + file + ": No space left on device\n");
    EXPECT_TRUE(fs::is_symlink(file));
}

TEST_F(Inspection, AStandardOutputThatIsFullIsSaid)
{
    for (const std::string &words : {"screenshot --board " + socket + " -", "status --board " + socket}) {
        const Outcome outcome = run({"sh", "-c", std::string(board) + " " + words + " > /dev/full"});
        EXPECT_EQ(outcome.status, 1) << words;
        EXPECT_THAT(outcome.err, HasSubstr("standard output: ")) << words;
    }
}

/* Without a board. */

TEST_F(NoBoard, WithoutASocketItIsSaidHowToNameOne)
{
    for (const Words &words : {Words{"status"}, Words{"screenshot", file}}) {
        const Outcome outcome = orka_board(words);
        EXPECT_EQ(outcome.status, 1);
        EXPECT_EQ(outcome.err, "orka-board: which board? Give --board SOCKET, or set ORKA_BOARD to the "
                               "socket that 'orka-board serve' prints\n");
    }
    EXPECT_FALSE(fs::exists(file));
}

TEST_F(NoBoard, ASocketThatIsNotThereIsSaid)
{
    const Outcome outcome = orka_board({"status", "--board", socket});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.err, "orka-board: no board answers at " + socket + "\n");
}

TEST_F(NoBoard, APathTooLongForASocketIsNoBoard)
{
    const std::string path = "/" + std::string(200, 'x');
    EXPECT_EQ(orka_board({"status", "--board", path}).err, "orka-board: no board answers at " + path + "\n");
}

TEST_F(Inspection, ABoardThatIsGoneIsSaid)
{
    kill(serving->process(), SIGKILL);
    serving->finish();
    const Outcome outcome = orka_board({"screenshot", "--board", socket, file});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.err, "orka-board: no board answers at " + socket + "\n");
    EXPECT_FALSE(fs::exists(file));
}

/* The command line. */

TEST_F(NoBoard, AScreenshotWantsAFile)
{
    const Outcome outcome = orka_board({"screenshot"});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_THAT(outcome.err, HasSubstr("FILE is required"));
}

TEST_F(NoBoard, AnUnknownPlaneIsRefused)
{
    const Outcome outcome = orka_board({"screenshot", "--plane", "audio", file});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_THAT(outcome.err, HasSubstr("--plane: audio not in"));
}

TEST_F(NoBoard, BothExplainThemselves)
{
    EXPECT_THAT(orka_board({"screenshot", "--help"}).out, HasSubstr("--plane"));
    EXPECT_THAT(orka_board({"status", "--help"}).out, HasSubstr("--json"));
}

/* The status. */

TEST_F(Inspection, TheStatusTellsOfTheBoardAndItsMemory)
{
    const nlohmann::json all = status();
    EXPECT_EQ(all["board"]["clock"], "fast");
    EXPECT_EQ(all["board"]["memory"], 32 << 20);
    EXPECT_EQ(all["board"]["process"], serving->process());
    EXPECT_EQ(all["imem"]["base"], 1 << 20);
    EXPECT_EQ(all["imem"]["free"], all["imem"]["bytes"]);
    EXPECT_EQ(all["display"]["output"]["mode"], "480i");
    EXPECT_EQ(all["nodes"], nlohmann::json::array());
    EXPECT_EQ(all["decoders"], nlohmann::json::array());
}

TEST_F(Inspection, TheStatusTellsWhoHasANodeOpenAndWhatWasAllocated)
{
    Running running({board, "run", "--board", socket, "--", probe, "open", "alloc:5000", "linger"});
    ASSERT_TRUE(running.says("lingering"));
    const nlohmann::json all = status();
    ASSERT_EQ(all["nodes"].size(), 1u);
    EXPECT_EQ(all["nodes"][0]["node"], "/dev/imanage");
    EXPECT_EQ(all["nodes"][0]["program"], "board_probe");
    EXPECT_GT(all["nodes"][0]["process"], running.process());
    EXPECT_EQ(all["imem"]["blocks"], nlohmann::json::parse(R"([{"address": 1048576, "bytes": 8192}])"));
    kill(running.process(), SIGTERM);
}

TEST_F(Inspection, TheStatusIsTextForPeople)
{
    const Outcome outcome = orka_board({"status", "--board", socket});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.out, testing::StartsWith("board\n  clock fast, held no, memory 33554432, process "));
    EXPECT_THAT(outcome.out, HasSubstr("\nnodes\n  none\n"));
    EXPECT_THAT(outcome.out, HasSubstr("\nimem\n  base 0x00100000, bytes "));
    EXPECT_THAT(outcome.out, HasSubstr("\n    output\n      device INTERNAL, mode 480i, "));
}

TEST(StatusText, PutsRecordsOnLinesAndWhatTheyHoldBelow)
{
    const auto status = nlohmann::json::parse(R"({
        "zebra": "", "display": {"masked": true, "enabled": false, "osd": {"zoom_a": 2, "base": 4096}},
        "nodes": [{"process": 4, "node": "/dev/mem"}, {"process": 5, "node": "/dev/imanage"}],
        "decoders": []})");
    EXPECT_EQ(status_text(status), "nodes\n"
                                   "  node /dev/mem, process 4\n"
                                   "  node /dev/imanage, process 5\n"
                                   "decoders\n"
                                   "  none\n"
                                   "display\n"
                                   "  enabled no, masked yes\n"
                                   "    osd\n"
                                   "      base 0x00001000, zoom a 2\n"
                                   "zebra\n"
                                   "  none\n");
}

TEST(StatusText, TellsWhatSomethingIsBeforeItsFiguresAndTheRestByName)
{
    const auto status = nlohmann::json::parse(R"({"encoders": [
        {"bitrate": 1, "channel": 2, "codec": 6, "dropped": 0, "frames_in": 7, "frames_out": 5,
         "image": "h264_pcm_enc", "node": "vencode", "queue": {"taken": 1, "waiting": 1},
         "state": "encoding", "tsms": 133}]})");
    EXPECT_EQ(status_text(status), "encoders\n"
                                   "  node vencode, channel 2, state encoding, codec 6, image h264_pcm_enc, "
                                   "frames in 7, frames out 5, dropped 0, tsms 133, bitrate 1\n"
                                   "    queue\n"
                                   "      taken 1, waiting 1\n");
}

/* The questions themselves, as any client may put them. */

TEST_F(Inspection, APlaneThatIsNoneIsRefused)
{
    const RawClient client(socket);
    client.hello();
    const Answer answer =
        client.ask({.operation = RawClient::operation(protocol::operation::screenshot), .flags = 3});
    EXPECT_EQ(answer.reply.error, uint32_t{EINVAL});
    EXPECT_LT(answer.passed, 0);
}

TEST_F(Inspection, WhoDoesNotGreetIsToldNothing)
{
    const RawClient client(socket);
    const Answer answer = client.ask({.operation = RawClient::operation(protocol::operation::status)});
    EXPECT_FALSE(answer.received);
}

TEST_F(Inspection, AScreenshotLeavesNoDescriptorInTheServer)
{
    const RawClient client(socket);
    client.hello();
    const fs::path descriptors = "/proc/" + std::to_string(serving->process()) + "/fd";
    const auto count = [&] { return std::distance(fs::directory_iterator(descriptors), {}); };
    const auto before = count();
    for (int i = 0; i < 5; i++)
        EXPECT_GE(client.ask({.operation = RawClient::operation(protocol::operation::screenshot)}).passed, 0);
    EXPECT_EQ(client.ask({.operation = RawClient::operation(protocol::operation::status)}).reply.error, 0u);
    client.identify(0); /* what came before it is done with */
    EXPECT_EQ(count(), before);
}

} // namespace
} // namespace orka::board
