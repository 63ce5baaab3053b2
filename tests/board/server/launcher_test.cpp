#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <optional>
#include <sstream>
#include <thread>

#include <sys/resource.h>
#include <sys/stat.h>

#include "board/server/command.h"
#include "board/soon.h"

namespace orka::board {
namespace {

namespace fs = std::filesystem;
using orka_test::soon;
using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::StartsWith;

using Words = std::vector<std::string>;

constexpr char board[] = ORKA_BOARD_PROGRAM;
constexpr char probe[] = ORKA_BOARD_PROBE;
constexpr char static_probe[] = ORKA_BOARD_STATIC_PROBE;

Words operator+(Words words, const Words &more)
{
    words.insert(words.end(), more.begin(), more.end());
    return words;
}

Outcome on_board(const Words &options, const Words &program)
{
    return run(Words{board, "run"} + options + Words{"--"} + program);
}

std::string text_of(const fs::path &path)
{
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
}

bool exists(pid_t process)
{
    return kill(process, 0) == 0;
}

/* Every test has a runtime directory of its own, and must leave nothing in it. */
class LauncherTest : public testing::Test {
  protected:
    LauncherTest()
    {
        char name[] = "/tmp/orka-launcher-test-XXXXXX";
        directory = mkdtemp(name);
        runtime = directory / "run";
        fs::create_directory(runtime);
        setenv("XDG_RUNTIME_DIR", runtime.c_str(), 1);
        unsetenv("LD_PRELOAD");
    }
    ~LauncherTest() override
    {
        EXPECT_TRUE(soon([&] { return fs::is_empty(runtime); })) << "left behind";
        fs::remove_all(directory);
    }
    fs::path directory;
    fs::path runtime;
};

/* What the program's end means. */

TEST_F(LauncherTest, PassesOnTheExitStatus)
{
    EXPECT_EQ(on_board({}, {probe}).status, 0);
    EXPECT_EQ(on_board({}, {probe, "exit:42"}).status, 42);
}

TEST_F(LauncherTest, ProgramsKilledByASignalEndWith128AndItsNumber)
{
    EXPECT_EQ(on_board({}, {probe, "die:9"}).status, 128 + SIGKILL);
    EXPECT_EQ(on_board({}, {probe, "die:15"}).status, 128 + SIGTERM);
}

TEST_F(LauncherTest, AProgramThatIsNotFoundIsAShells127)
{
    const Outcome outcome = on_board({}, {"orka-no-such-program"});
    EXPECT_EQ(outcome.status, 127);
    EXPECT_EQ(outcome.err, "orka-board: orka-no-such-program: not found\n");
}

TEST_F(LauncherTest, AProgramThatCannotBeExecutedIsAShells126)
{
    const Outcome directory_itself = on_board({}, {directory});
    EXPECT_EQ(directory_itself.status, 126);
    EXPECT_EQ(directory_itself.err, "orka-board: " + directory.string() + ": Is a directory\n");
    std::ofstream(directory / "text") << "no program";
    EXPECT_EQ(on_board({}, {directory / "text"}).status, 126);
    fs::permissions(directory / "text", fs::perms::owner_all);
    const Outcome text = on_board({}, {directory / "text"});
    EXPECT_EQ(text.status, 126);
    EXPECT_THAT(text.err, HasSubstr("Exec format error"));
}

TEST_F(LauncherTest, AProgramWithoutItsLoaderIsNotFound)
{
    std::ofstream(directory / "script") << "#!/no/such/interpreter\n";
    fs::permissions(directory / "script", fs::perms::owner_all);
    const Outcome outcome = on_board({}, {directory / "script"});
    EXPECT_EQ(outcome.status, 127);
    EXPECT_THAT(outcome.err, HasSubstr("its loader or interpreter is not installed"));
}

TEST_F(LauncherTest, ProgramsAreFoundOnThePath)
{
    EXPECT_EQ(on_board({}, {"sh", "-c", "exit 5"}).status, 5);
}

TEST_F(LauncherTest, TheProgramsArgumentsAreItsOwn)
{
    const Outcome outcome = on_board({}, {"echo", "--trace", "--", "-h"});
    EXPECT_EQ(outcome.out, "--trace -- -h\n");
}

TEST_F(LauncherTest, TheProgramsStreamsAreTheLaunchers)
{
    const Outcome outcome = run({"sh", "-c", std::string("echo in | ") + board + " run -- cat"});
    EXPECT_EQ(outcome.out, "in\n");
}

TEST_F(LauncherTest, AnExistingPreloadIsKept)
{
    setenv("LD_PRELOAD", "libdl.so.2", 1);
    const Outcome outcome = on_board({}, {"sh", "-c", "echo $LD_PRELOAD"});
    unsetenv("LD_PRELOAD");
    EXPECT_THAT(outcome.out, EndsWith("/shims/$LIB/liborka-board-shim.so:libdl.so.2\n"));
}

/* Signals. */

class SignalTest : public LauncherTest, public testing::WithParamInterface<int> {};

TEST_P(SignalTest, IsForwarded)
{
    Running running({board, "run", "--", probe, "linger"});
    ASSERT_TRUE(running.says("lingering"));
    kill(running.process(), GetParam());
    const Outcome outcome = running.finish();
    EXPECT_EQ(outcome.status, 10 + GetParam() % 10);
    EXPECT_EQ(outcome.out, "lingering\nsignal " + std::to_string(GetParam()) + "\n");
}

INSTANTIATE_TEST_SUITE_P(Every, SignalTest,
                         testing::Values(SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGUSR1, SIGUSR2),
                         [](const auto &info) { return std::string(sigabbrev_np(info.param)); });

TEST_F(LauncherTest, AKilledLauncherTakesProgramAndBoardWithIt)
{
    Running running({board, "run", "--", "sh", "-c", "echo pid $$ end; exec sleep 100"});
    ASSERT_TRUE(running.says("end"));
    const pid_t program = std::stoi(running.out().substr(4));
    kill(running.process(), SIGKILL);
    EXPECT_EQ(running.finish().status, 128 + SIGKILL);
    EXPECT_TRUE(soon([&] { return !exists(program); }));
}

pid_t server_of(pid_t launcher)
{
    const std::string id = std::to_string(launcher);
    std::istringstream children(text_of("/proc/" + id + "/task/" + id + "/children"));
    pid_t first = 0;
    children >> first;
    return first;
}

TEST_F(LauncherTest, AServerThatDiesIsSaidAndTheProgramsStatusStaysItsOwn)
{
    Running running({board, "run", "--", probe, "linger"});
    ASSERT_TRUE(running.says("lingering"));
    kill(server_of(running.process()), SIGKILL);
    ASSERT_TRUE(running.complains("its devices are gone\n"));
    kill(running.process(), SIGTERM);
    const Outcome outcome = running.finish();
    EXPECT_EQ(outcome.err, "orka-board: the board's server has died; its devices are gone\n");
    EXPECT_EQ(outcome.status, 10 + SIGTERM % 10);
}

TEST_F(LauncherTest, ARunStartedWithChildrenIgnoredStillSeesTheEnd)
{
    EXPECT_EQ(
        run({"sh", "-c", std::string("trap '' CHLD; exec ") + board + " run -- " + probe + " exit:3"}).status,
        3);
}

/* A program that does not come to the board. */

TEST_F(LauncherTest, NothingIsSaidOfAProgramThatCame)
{
    EXPECT_THAT(on_board({}, {probe, "open"}).err, IsEmpty());
}

TEST_F(LauncherTest, AStaticProgramIsNamedAsSuch)
{
    const Outcome outcome = on_board({}, {static_probe, "exit:4"});
    EXPECT_EQ(outcome.status, 4);
    EXPECT_EQ(outcome.err, std::string("orka-board: nothing came to the board: ") + static_probe +
                               " is statically linked, and nothing can be preloaded into such a program\n");
}

TEST_F(LauncherTest, ASetUserIdProgramIsNamedAsSuch)
{
    const fs::path copy = directory / "privileged";
    fs::copy_file(static_probe, copy);
    ASSERT_EQ(chmod(copy.c_str(), 04755), 0);
    EXPECT_THAT(on_board({}, {copy}).err, HasSubstr("privileged is set-user-ID or set-group-ID"));
}

TEST_F(LauncherTest, AMissingShimIsNamedWithItsArchitecture)
{
    const fs::path alone = directory / "bin";
    fs::create_directory(alone);
    fs::copy_file(board, alone / "orka-board");
    const Outcome outcome = run({alone / "orka-board", "run", "--", probe});
    EXPECT_THAT(outcome.err,
                AllOf(HasSubstr("no shim found"),
                      HasSubstr("is a program for x86-64, whose shim is missing; `cmake --preset host")));
}

TEST_F(LauncherTest, ShimsAreFoundWhereTheOptionSays)
{
    const fs::path alone = directory / "bin";
    fs::create_directory(alone);
    fs::copy_file(board, alone / "orka-board");
    const std::string shims = fs::path(board).parent_path() / "shims";
    const Outcome outcome = run({alone / "orka-board", "run", "--shims", shims, "--", probe, "open"});
    EXPECT_EQ(outcome.out, "open ok\n");
    EXPECT_EQ(outcome.err, "");
}

TEST_F(LauncherTest, AnEmptiedEnvironmentIsNamed)
{
    EXPECT_THAT(on_board({}, {static_probe}).err, HasSubstr("statically linked"));
    std::ofstream(directory / "script") << "#!" << static_probe << "\n";
    fs::permissions(directory / "script", fs::perms::owner_all);
    EXPECT_THAT(on_board({}, {directory / "script"}).err, HasSubstr("did not load the board's shim"));
}

/* Memory. */

TEST_F(LauncherTest, MemoryIsMappedUpToItsEndAndNoFurther)
{
    const Outcome outcome = on_board({}, {probe, "mem", "map:0x7fff000", "map:0x8000000", "map:0x40000000"});
    EXPECT_EQ(outcome.out, "mem ok\nmap ok\nmap EINVAL\nmap EINVAL\n");
    EXPECT_THAT(outcome.err, HasSubstr("mem: refused to map 4096 bytes at 0x08000000"));
}

TEST_F(LauncherTest, MemoryHasTheSizeAskedFor)
{
    const Outcome outcome = on_board({"--memory", "16"}, {probe, "mem", "map:0x00fff000", "map:0x01000000"});
    EXPECT_EQ(outcome.out, "mem ok\nmap ok\nmap EINVAL\n");
    EXPECT_EQ(on_board({"--memory", "512"}, {probe, "mem", "map:0x1ffff000"}).out, "mem ok\nmap ok\n");
}

/* The IMEM manager, through the shim. */

TEST_F(LauncherTest, BlocksAreGivenFirstFitAndTakenBack)
{
    const Outcome outcome = on_board({}, {probe, "open", "alloc:1", "alloc:5000", "alloc:1", "free:0x101000",
                                          "alloc:8192", "free:0x101000", "free:0x101000", "free:0x5000"});
    EXPECT_EQ(outcome.out, "open ok\nalloc 0x00100000\nalloc 0x00101000\nalloc 0x00103000\nfree ok\n"
                           "alloc 0x00101000\nfree ok\nfree EINVAL\nfree EINVAL\n");
}

TEST_F(LauncherTest, AFullPoolIsNoMemoryUntilReset)
{
    const Outcome outcome = on_board({"--memory", "16"}, {probe, "open", "alloc:0x500000", "alloc:1",
                                                          "alloc:0", "reset", "alloc:0x500000"});
    EXPECT_EQ(outcome.out,
              "open ok\nalloc 0x00100000\nalloc ENOMEM\nalloc EINVAL\nreset ok\nalloc 0x00100000\n");
}

TEST_F(LauncherTest, ImagesLoadByName)
{
    const Outcome outcome = on_board({}, {probe, "open", "load:mpeg4_aac_dec", "load:toaster"});
    EXPECT_EQ(outcome.out, "open ok\nload ok\nload EINVAL\n");
    EXPECT_EQ(outcome.err,
              "orka-board: imanage: no codec image \"toaster\"; the library's codec selection names "
              "those that there are\n");
}

TEST_F(LauncherTest, RequestsAreTakenOnAFileOpenedForReading)
{
    EXPECT_EQ(on_board({}, {probe, "read-only", "alloc:1"}).out, "read-only ok\nalloc 0x00100000\n");
}

TEST_F(LauncherTest, AnUnknownRequestIsNotForThisDevice)
{
    EXPECT_EQ(on_board({}, {probe, "open", "odd"}).out, "open ok\nodd ENOTTY\n");
}

const std::string two_programs =
    std::string(probe) + " open alloc:1 && " + probe + " open alloc:1 free:0x100000";

TEST_F(LauncherTest, BlocksStayAllocatedWhenTheirProgramIsGone)
{
    EXPECT_EQ(on_board({}, {"sh", "-c", two_programs}).out,
              "open ok\nalloc 0x00100000\nopen ok\nalloc 0x00101000\nfree ok\n");
}

TEST_F(LauncherTest, ReclaimTakesTheBlocksOfAProgramThatIsGone)
{
    EXPECT_EQ(on_board({"--reclaim"}, {"sh", "-c", two_programs}).out,
              "open ok\nalloc 0x00100000\nopen ok\nalloc 0x00100000\nfree ok\n");
}

/* Trace and log. */

TEST_F(LauncherTest, TheTraceHasALineForEachRequest)
{
    const fs::path trace = directory / "trace";
    on_board({"--trace", trace}, {probe, "mem", "open", "alloc:8192", "free:0x100000", "free:0x100000",
                                  "load:mpeg4_aac_dec", "odd"});
    std::istringstream lines(text_of(trace));
    std::string text;
    for (std::string line; std::getline(lines, line);) {
        EXPECT_THAT(line, MatchesRegex("[0-9]+\\.[0-9]{6} [0-9]+/board_probe /dev/.*"));
        text += line.substr(line.find("/dev/")) + "\n";
    }
    EXPECT_EQ(text, "/dev/mem open(O_RDWR) = 0\n"
                    "/dev/imanage open(O_RDWR) = 0\n"
                    "/dev/imanage IMANAGE_ALLOC(bytes=8192) = 0 {address=0x00100000}\n"
                    "/dev/imanage IMANAGE_FREE(address=0x00100000) = 0\n"
                    "/dev/imanage IMANAGE_FREE(address=0x00100000) = -1 EINVAL\n"
                    "/dev/imanage IMANAGE_LOAD(name=\"mpeg4_aac_dec\") = 0\n"
                    "/dev/imanage 0x00006b63() = -1 ENOTTY\n"
                    "/dev/imanage close()\n");
}

TEST_F(LauncherTest, ATraceThatCannotBeWrittenEndsTheRunBeforeItBegins)
{
    const Outcome outcome = on_board({"--trace", "/nonexistent/trace"}, {probe, "exit:1"});
    EXPECT_EQ(outcome.status, 125);
    EXPECT_EQ(outcome.err, "orka-board: cannot write /nonexistent/trace: No such file or directory\n");
}

TEST_F(LauncherTest, AFullDiskIsSaidOnceAndTheProgramGoesOn)
{
    const Outcome outcome =
        on_board({"--trace", "/dev/full"}, {probe, "open", "alloc:1", "alloc:1", "exit:6"});
    EXPECT_EQ(outcome.status, 6);
    EXPECT_EQ(outcome.err, "orka-board: writing /dev/full: No space left on device\n");
}

TEST_F(LauncherTest, TheLogGoesToItsFileToo)
{
    const fs::path log = directory / "log";
    const Outcome outcome = on_board({"--log", log}, {probe, "open", "load:toaster"});
    EXPECT_EQ("orka-board: " + text_of(log), outcome.err);
    EXPECT_THAT(text_of(log), StartsWith("imanage: no codec image \"toaster\""));
}

/* Boards beside each other, and boards that stay. */

TEST_F(LauncherTest, TwoBoardsKnowNothingOfEachOther)
{
    Running first({board, "run", "--", probe, "open", "alloc:1", "linger"});
    ASSERT_TRUE(first.says("lingering"));
    EXPECT_EQ(on_board({}, {probe, "open", "alloc:1", "free:0x100000", "free:0x100000"}).out,
              "open ok\nalloc 0x00100000\nfree ok\nfree EINVAL\n");
    kill(first.process(), SIGTERM);
    EXPECT_EQ(first.finish().status, 10 + SIGTERM % 10);
}

TEST_F(LauncherTest, ABoardInABoardIsTheInnerOnes)
{
    const Outcome outcome =
        on_board({}, {"sh", "-c",
                      std::string(probe) + " open alloc:1; " + board + " run -- " + probe + " open alloc:1"});
    EXPECT_EQ(outcome.out, "open ok\nalloc 0x00100000\nopen ok\nalloc 0x00100000\n");
}

class ServeTest : public LauncherTest {
  protected:
    void serve(const Words &options = {})
    {
        server.emplace(Words{board, "serve"} + options);
        ASSERT_TRUE(server->says("LD_PRELOAD=") && server->says("}\n"));
        environment = server->out();
    }
    Outcome stop(int signal = SIGTERM)
    {
        kill(server->process(), signal);
        return server->finish();
    }
    Outcome joined(const std::string &words) const
    {
        return run({"sh", "-c", environment + probe + std::string(" ") + words});
    }
    std::optional<Running> server;
    std::string environment;
};

TEST_F(ServeTest, ProgramsJoinByTheEnvironmentItPrints)
{
    serve();
    EXPECT_EQ(joined("open alloc:1").out, "open ok\nalloc 0x00100000\n");
    EXPECT_EQ(joined("open alloc:1").out, "open ok\nalloc 0x00101000\n");
    stop();
}

TEST_F(ServeTest, ThePrintedEnvironmentIsTwoLinesForAShell)
{
    serve();
    EXPECT_THAT(environment, MatchesRegex("export ORKA_BOARD='[^']*/board'\n"
                                          "export LD_PRELOAD='[^']*/shims/.LIB/liborka-board-shim.so'.*\n"));
    stop();
}

TEST_F(ServeTest, EndsCleanlyOnEachSignal)
{
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        serve();
        const Outcome outcome = stop(signal);
        EXPECT_EQ(outcome.status, 0);
        EXPECT_EQ(outcome.err, "");
        EXPECT_TRUE(fs::is_empty(runtime));
    }
}

TEST_F(ServeTest, ListensWhereItIsTold)
{
    const std::string socket = directory / "here";
    serve({"--socket", socket});
    EXPECT_EQ(on_board({"--board", socket}, {probe, "open", "alloc:1"}).out, "open ok\nalloc 0x00100000\n");
    EXPECT_EQ(on_board({"--board", socket}, {probe, "open", "alloc:1"}).out, "open ok\nalloc 0x00101000\n");
    stop();
    EXPECT_FALSE(fs::exists(socket));
}

TEST_F(ServeTest, TheEnvironmentServesInEveryFolder)
{
    serve({"--socket", fs::relative(directory / "here")});
    EXPECT_EQ(run({"sh", "-c", environment + "cd / && " + probe + " open"}).out, "open ok\n");
    stop();
}

TEST_F(ServeTest, TheEnvironmentIsQuotedForAShell)
{
    serve({"--socket", directory / "it's here"});
    EXPECT_EQ(joined("open").out, "open ok\n");
    stop();
}

TEST_F(ServeTest, ABoardThatDoesNotStartLeavesNoSocket)
{
    const std::string socket = directory / "here";
    EXPECT_EQ(run({board, "serve", "--socket", socket, "--camera", "/no/such/file"}).status, 125);
    EXPECT_FALSE(fs::exists(socket));
}

TEST_F(ServeTest, ASecondBoardDoesNotTakeTheFirstOnesSocket)
{
    const std::string socket = directory / "here";
    serve({"--socket", socket});
    const Outcome second = run({board, "serve", "--socket", socket});
    EXPECT_EQ(second.status, 125);
    EXPECT_EQ(second.err, "orka-board: the board's socket " + socket + ": Address already in use\n");
    EXPECT_EQ(on_board({"--board", socket}, {probe, "open"}).out, "open ok\n");
    stop();
}

TEST_F(ServeTest, ASocketPathThatIsTooLongIsAnError)
{
    const Outcome outcome = run({board, "serve", "--socket", "/tmp/" + std::string(108, 'x')});
    EXPECT_EQ(outcome.status, 125);
    EXPECT_THAT(outcome.err, HasSubstr("File name too long"));
}

TEST_F(ServeTest, JoiningABoardThatIsNotThereIsAnError)
{
    const Outcome outcome = on_board({"--board", directory / "nowhere"}, {probe, "exit:1"});
    EXPECT_EQ(outcome.status, 125);
    EXPECT_EQ(outcome.err, "orka-board: no board answers at " + (directory / "nowhere").string() + "\n");
}

TEST_F(ServeTest, AnIdleBoardTakesNoProcessorTime)
{
    serve();
    EXPECT_EQ(joined("open alloc:1 mem").status, 0);
    const auto ticks = [&] {
        std::istringstream fields(text_of("/proc/" + std::to_string(server->process()) + "/stat"));
        std::string skipped;
        for (int i = 0; i < 13; i++)
            fields >> skipped;
        long user = 0;
        long system = 0;
        fields >> user >> system;
        return user + system;
    };
    const long before = ticks();
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    EXPECT_LE(ticks() - before, 1);
    stop();
}

TEST_F(ServeTest, ReclaimTakesTheBlocksOfAProgramThatWasKilled)
{
    serve({"--reclaim"});
    EXPECT_EQ(joined("open alloc:1 die:9").out, "open ok\nalloc 0x00100000\n");
    EXPECT_TRUE(soon([&] { return joined("open alloc:1").out == "open ok\nalloc 0x00100000\n"; }));
    stop();
}

TEST_F(ServeTest, ClientsKilledAtAnyInstantLeaveTheBoardAsItWas)
{
    serve({"--reclaim", "--memory", "16"});
    const auto descriptors = [&] {
        return std::distance(fs::directory_iterator("/proc/" + std::to_string(server->process()) + "/fd"),
                             {});
    };
    const auto before = descriptors();
    for (int i = 0; i < 40; i++) {
        Running victim({"sh", "-c", environment + "exec " + probe + " open churn"});
        ASSERT_TRUE(victim.says("open ok"));
        std::this_thread::sleep_for(std::chrono::microseconds(137 * i));
        kill(victim.process(), SIGKILL);
        victim.finish();
    }
    EXPECT_TRUE(soon([&] { return descriptors() == before; }));
    EXPECT_EQ(joined("open alloc:0x500000").out, "open ok\nalloc 0x00100000\n");
    EXPECT_EQ(stop().status, 0);
}

/* The command line. */

TEST_F(LauncherTest, WrongCommandLinesEndWithTwo)
{
    for (const Words &words :
         {Words{}, Words{"fly"}, Words{"run"}, Words{"run", "--"}, Words{"run", "true"},
          Words{"run", "--memory", "8", "--", "true"}, Words{"run", "--memory", "513", "--", "true"},
          Words{"run", "--clock", "slow", "--", "true"}, Words{"serve", "--", "true"},
          Words{"serve", "--board", "x"}, Words{"run", "--board", "x", "--reclaim", "--", "true"}}) {
        const Outcome outcome = run(Words{board} + words);
        EXPECT_EQ(outcome.status, 2) << testing::PrintToString(words);
        EXPECT_NE(outcome.err, "") << testing::PrintToString(words);
    }
}

TEST_F(LauncherTest, WordsThatAreNotExpectedAreNamedInOrder)
{
    const std::pair<Words, std::string> cases[] = {
        {{"run", "--memory", "64", "echo", "hi"},
         "Not expected: echo hi; a program comes after --: orka-board run [OPTIONS] -- echo hi"},
        {{"run", "echo", "hi", "--", "true"}, "Not expected: echo hi"},
        {{"run", "--memroy", "64", "--", "true"}, "Not expected: --memroy 64"},
        {{"status", "one", "two"}, "Not expected: one two"},
        {{"--frobnicate"}, "Not expected: --frobnicate"},
        {{"frobnicate", "now"},
         "There is no command 'frobnicate'; there are: run, serve, screenshot, status, doctor"}};
    for (const auto &[words, message] : cases) {
        const Outcome outcome = run(Words{board} + words);
        EXPECT_EQ(outcome.status, 2);
        EXPECT_EQ(outcome.err, message + "\nRun with --help for more information.\n");
    }
}

TEST_F(LauncherTest, TellsItsVersion)
{
    const Outcome outcome = run({board, "--version"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.out, MatchesRegex("orka-board [0-9]+\\.[0-9]+\\.[0-9]+\n"));
}

TEST_F(LauncherTest, HelpHasExamplesAndStatuses)
{
    for (const Words &words : {Words{"--help"}, Words{"run", "--help"}, Words{"serve", "--help"}}) {
        const Outcome outcome = run(Words{board} + words);
        EXPECT_EQ(outcome.status, 0);
        EXPECT_THAT(outcome.out, AllOf(HasSubstr("orka-board run -- ./player"), HasSubstr("127 or 126")));
    }
}

TEST_F(LauncherTest, ARuntimeDirectoryThatPreloadingCannotNameIsNotUsed)
{
    const fs::path odd = directory / "with space";
    fs::create_directory(odd);
    setenv("XDG_RUNTIME_DIR", odd.c_str(), 1);
    EXPECT_EQ(on_board({}, {probe, "open"}).out, "open ok\n");
}

TEST_F(LauncherTest, ThePrivateDirectoryIsForItsUserAlone)
{
    const Outcome outcome = on_board({}, {"sh", "-c", "stat -c %a \"${ORKA_BOARD%/*}\" \"$ORKA_BOARD\""});
    EXPECT_EQ(outcome.out, "700\n600\n");
}

} // namespace
} // namespace orka::board
