/* The live view of a board, as a browser sees it. */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <sstream>
#include <thread>

#include "board/view/live_board.h"

namespace orka_tools_test {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;
using testing::HasSubstr;
using testing::Not;

constexpr uint32_t picture_ms = 40;

/* As the kernel writes them: 0100007F:1F90. */
std::set<std::string> listening_places(pid_t process)
{
    std::set<std::string> inodes;
    for (const auto &entry : fs::directory_iterator("/proc/" + std::to_string(process) + "/fd")) {
        std::error_code gone;
        const std::string target = fs::read_symlink(entry, gone);
        if (target.starts_with("socket:["))
            inodes.insert(target.substr(8, target.size() - 9));
    }
    std::set<std::string> places;
    for (const char *const table : {"/proc/net/tcp", "/proc/net/tcp6", "/proc/net/udp", "/proc/net/udp6"}) {
        std::ifstream lines(table);
        for (std::string line; std::getline(lines, line);) {
            std::istringstream text(line);
            std::vector<std::string> words{std::istream_iterator<std::string>(text), {}};
            if (words.size() > 9 && inodes.contains(words[9]))
                places.insert(words[1]);
        }
    }
    return places;
}

/* Who is served. */

TEST(NoView, OpensNoPort)
{
    const Board board({});
    EXPECT_TRUE(listening_places(board.process.id()).empty());
    EXPECT_THAT(board.process.err(), Not(HasSubstr("live view")));
}

TEST_F(LiveView, ListensOnThisMachineAlone)
{
    char place[sizeof "0100007F:0000"];
    snprintf(place, sizeof place, "0100007F:%04X", static_cast<unsigned>(port));
    EXPECT_EQ(listening_places(board.process.id()), std::set<std::string>{place});
}

TEST_F(LiveView, AnswersToItsOwnNamesAlone)
{
    const std::string at = ":" + std::to_string(port);
    for (const char *const path : {"/", "/status", "/picture.png", "/changes", "/trace"}) {
        EXPECT_EQ(client.Get(path, {{"Host", "localhost" + at}})->status, 200) << path;
        EXPECT_EQ(client.Get(path, {{"Host", "evil.example" + at}})->status, 403) << path;
    }
}

TEST_F(LiveView, ActsForItsOwnPageAndForProgramsAlone)
{
    const std::string own = "http://127.0.0.1:" + std::to_string(port);
    EXPECT_EQ(post("/pause", {{"Origin", "http://evil.example"}}), 403);
    EXPECT_EQ(post("/pause", {{"Origin", "null"}}), 403);
    EXPECT_EQ(post("/pause", {{"Host", "evil.example"}}), 403);
    EXPECT_EQ(client.Get("/pause")->status, 404);
    EXPECT_EQ(status()["board"]["held"], false);
    EXPECT_EQ(post("/pause", {{"Origin", own}}), 204);
    EXPECT_EQ(status()["board"]["held"], true);
    EXPECT_EQ(post("/resume"), 204);
    EXPECT_EQ(status()["board"]["held"], false);
}

TEST_F(LiveView, SharesItsPortWithNoOtherBoard)
{
    const std::string place = "127.0.0.1:" + std::to_string(port);
    for (const Words &words :
         {Words{"serve", "--view", place}, Words{"run", "--view=" + place, "--", "true"}}) {
        const Ending second = run(Words{ORKA_BOARD_PROGRAM} + words);
        EXPECT_EQ(second.status, 125);
        EXPECT_THAT(second.err, HasSubstr("orka-board: cannot serve the live view at " + place +
                                          ": Address already in use\n"));
    }
}

TEST(ViewOption, WantsAnAddressAndAPort)
{
    for (const char *const place :
         {"8080", "127.0.0.1", "localhost:8080", "127.0.0.1:", "127.0.0.1:65536", ":1"}) {
        const Ending ending = run({ORKA_BOARD_PROGRAM, "serve", "--view", place});
        EXPECT_EQ(ending.status, 2) << place;
        EXPECT_THAT(ending.err, HasSubstr(std::string("'") + place + "' is not ADDRESS:PORT"));
    }
}

TEST(ViewOption, IsNotForABoardThatRunsAlready)
{
    const Ending ending = run({ORKA_BOARD_PROGRAM, "run", "--board", "/nowhere", "--view", "--", "true"});
    EXPECT_EQ(ending.status, 2);
    EXPECT_THAT(ending.err, HasSubstr("--board excludes --view"));
}

TEST(ViewOfAProgram, EndsWithItWhoeverLooks)
{
    Process program({ORKA_BOARD_PROGRAM, "run", "--view", "--", "sh", "-c", "sleep 2; exit 7"});
    ASSERT_TRUE(soon([&] { return port_in(program.err()) != 0; }));
    httplib::Client client("127.0.0.1", port_in(program.err()));
    client.set_read_timeout(60);
    while (const httplib::Result answer = client.Get("/changes?since=0"))
        EXPECT_THAT(answer->status, testing::AnyOf(200, 503));
    EXPECT_EQ(program.wait(), 7);
}

/* What is served. */

TEST_F(LiveView, ServesAPageThatNeedsNothingFromElsewhere)
{
    const httplib::Result page = client.Get("/");
    EXPECT_EQ(page->get_header_value("Content-Type"), "text/html; charset=utf-8");
    EXPECT_THAT(page->get_header_value("Content-Security-Policy"), HasSubstr("default-src 'none'"));
    EXPECT_THAT(page->body, HasSubstr("<title>Orka board</title>"));
    EXPECT_TRUE(page->body.ends_with("</html>\n"));
    EXPECT_THAT(page->body, Not(HasSubstr("://")));
}

TEST_F(LiveView, SendsEverythingAsItIs)
{
    for (const char *const path : {"/", "/status", "/picture.png", "/changes", "/trace"}) {
        const httplib::Result answer = client.Get(path, {{"Accept-Encoding", "gzip, deflate, br"}});
        EXPECT_EQ(answer->get_header_value("Content-Encoding"), "") << path;
        EXPECT_EQ(answer->get_header_value("Content-Length"), std::to_string(answer->body.size())) << path;
    }
}

TEST_F(LiveView, ShowsTheScreenAsThePngOfAScreenshot)
{
    const std::string file = scratch("shot.png");
    write_file(file, get("/picture.png?plane=video"));
    EXPECT_EQ(probed(file, "stream=codec_name,width,height"), "codec_name=png\nwidth=720\nheight=480\n");
    EXPECT_EQ(client.Get("/picture.png?plane=sound")->status, 400);
}

TEST_F(PlayingView, TellsFiguresAndPicturesThatMove)
{
    const uint32_t before = shown("vdecode");
    const std::string changes = get("/changes");
    const std::string picture = get("/picture.png");
    EXPECT_NE(get("/changes?since=" + changes), changes);
    EXPECT_TRUE(soon([&] { return get("/picture.png") != picture; }));
    EXPECT_TRUE(soon([&] { return shown("vdecode") > before; }));
}

TEST_F(PlayingView, TellsEachLineOfTheTraceOnce)
{
    constexpr uint64_t kept_lines = 1000;
    json first;
    json next;
    const auto come = [&] { return next["next"].get<uint64_t>() - first["next"].get<uint64_t>(); };
    /* A program that fills its queues makes more lines at once than are kept. */
    ASSERT_TRUE(soon([&] {
        first = json::parse(get("/trace"));
        next = json::parse(get("/trace?since=" + first["next"].dump()));
        return come() > 0 && come() <= kept_lines;
    }));
    EXPECT_EQ(next["lines"].size(), come());
    EXPECT_THAT(first["lines"].dump(), HasSubstr("/orka-play /dev/vdecode IDECODE_"));
    std::set<std::string> lines = first["lines"];
    const auto seen = lines.size();
    EXPECT_EQ(seen, first["lines"].size());
    lines.merge(next["lines"].get<std::set<std::string>>());
    EXPECT_EQ(lines.size(), seen + next["lines"].size());
}

TEST_F(PlayingView, IsHeldAndShowsOnePictureForEachStep)
{
    ASSERT_EQ(post("/pause"), 204);
    const uint32_t held = shown("vdecode");
    const uint32_t sound = shown("adecode");
    std::this_thread::sleep_for(std::chrono::milliseconds(5 * picture_ms));
    EXPECT_EQ(shown("vdecode"), held);
    EXPECT_EQ(shown("adecode"), sound);
    /* Enough to show that sound comes along: nothing more is fed while its queue is full. */
    for (uint32_t step = 1; step <= 100; step++) {
        ASSERT_EQ(post("/step"), 204);
        ASSERT_TRUE(soon([&] { return shown("vdecode") == held + step * picture_ms; })) << step;
    }
    EXPECT_GT(shown("adecode"), sound);
    EXPECT_LE(shown("adecode"), shown("vdecode"));
    ASSERT_EQ(post("/resume"), 204);
    EXPECT_TRUE(soon([&] { return shown("vdecode") > held + 101 * picture_ms; }));
}

} // namespace
} // namespace orka_tools_test
