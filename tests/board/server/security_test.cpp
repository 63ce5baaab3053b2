/* What lies between the board and those who mean it harm: other users, and programs that name files. */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <system_error>

#include <fcntl.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include "server/directory_safety.h"
#include "server/layouts.h"
#include "server/runtime_directory.h"
#include "stepped_board/stepped_board.h"

namespace orka::board {
namespace {

namespace fs = std::filesystem;
using orka_test::OwnedFd;
using orka_test::SteppedAnswer;
using orka_test::SteppedBoard;
using orka_test::SteppedClient;
using testing::EndsWith;
using testing::StartsWith;

constexpr uid_t somebody_else = 65534;

class InADirectory : public testing::Test {
  protected:
    InADirectory()
    {
        char name[] = "/tmp/orka-s-XXXXXX"; /* as a codec image's name it must fit a request */
        directory = mkdtemp(name);
    }
    ~InADirectory() override { fs::remove_all(directory); }

    void open_to(mode_t mode) const { ASSERT_EQ(chmod(directory.c_str(), mode), 0); }
    bool give_away() const { return chown(directory.c_str(), somebody_else, somebody_else) == 0; }

    std::string directory;
};

/* Other users. */

using SafeDirectory = InADirectory;

TEST_F(SafeDirectory, IsOneThatNobodyElseCanWriteTo)
{
    for (const mode_t mode : {0700, 0750, 0755}) {
        open_to(mode);
        EXPECT_TRUE(is_safe_directory(directory)) << mode;
    }
}

TEST_F(SafeDirectory, IsNoneThatOthersCanWriteTo)
{
    for (const mode_t mode : {0720, 0702, 0777}) {
        open_to(mode);
        EXPECT_FALSE(is_safe_directory(directory)) << mode;
    }
}

TEST_F(SafeDirectory, IsOneInWhichEverybodyKeepsWhatIsHisOwn)
{
    open_to(01777);
    EXPECT_TRUE(is_safe_directory(directory));
}

TEST_F(SafeDirectory, IsNoneOfAnotherUser)
{
    if (!give_away())
        GTEST_SKIP() << "only root can give a directory away";
    EXPECT_FALSE(is_safe_directory(directory));
}

TEST_F(SafeDirectory, IsNoFileAndNothingThatIsNotThere)
{
    std::ofstream(directory + "/file") << "no directory";
    EXPECT_FALSE(is_safe_directory(directory + "/file"));
    EXPECT_FALSE(is_safe_directory(directory + "/nothing"));
}

class ListeningIn : public InADirectory {
  protected:
    std::string refusal() const
    {
        try {
            close(listen_at(directory + "/board"));
        } catch (const std::system_error &error) {
            EXPECT_FALSE(fs::exists(directory + "/board"));
            return error.what();
        }
        return "none";
    }
};

TEST_F(ListeningIn, ADirectoryThatOthersCanWriteToIsRefused)
{
    open_to(0777);
    EXPECT_EQ(refusal(), "the board's socket " + directory +
                             "/board: other users can change its directory: Operation not permitted");
}

TEST_F(ListeningIn, ADirectoryOfAnotherUserIsRefused)
{
    if (!give_away())
        GTEST_SKIP() << "only root can give a directory away";
    EXPECT_THAT(refusal(), EndsWith("other users can change its directory: Operation not permitted"));
}

TEST_F(ListeningIn, ADirectoryOfOnesOwnIsTaken)
{
    EXPECT_EQ(refusal(), "none");
}

class RuntimeDirectory : public InADirectory {
  protected:
    std::string made() const
    {
        setenv("XDG_RUNTIME_DIR", directory.c_str(), 1);
        std::string name = make_runtime_directory();
        struct stat status {};
        EXPECT_EQ(stat(name.c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 07777, 0700U);
        remove_runtime_directory(name);
        return name;
    }
};

TEST_F(RuntimeDirectory, LiesWhereTheUserKeepsWhatRuns)
{
    EXPECT_THAT(made(), StartsWith(directory + "/orka-board-"));
}

TEST_F(RuntimeDirectory, LiesElsewhereWhereOthersCouldReplaceIt)
{
    open_to(0777);
    EXPECT_THAT(made(), StartsWith("/tmp/orka-board-"));
}

TEST_F(RuntimeDirectory, LiesElsewhereWhereThePlaceIsSomebodyElses)
{
    if (!give_away())
        GTEST_SKIP() << "only root can give a directory away";
    EXPECT_THAT(made(), StartsWith("/tmp/orka-board-"));
}

/* Names of files. */

class NamedFiles : public InADirectory {
  protected:
    NamedFiles()
    {
        std::ofstream(file) << "BM";
        EXPECT_GE(inotify_add_watch(watch, directory.c_str(), IN_OPEN | IN_CREATE | IN_DELETE | IN_MOVE), 0);
    }

    /* True when somebody touched a file of the directory since the last time. */
    bool touched() const
    {
        char events[4096];
        return read(watch, events, sizeof events) > 0;
    }
    /* The file's name in every text of a request's record. */
    std::vector<uint8_t> naming(const wire::request_row &row) const
    {
        std::vector<uint8_t> record(row.argument == wire::argument::name ? file.size() + 1 : row.in);
        for (const layouts::field &field : layouts::find_layout(row)->in) {
            if (field.as == layouts::form::text)
                memcpy(&record[field.offset], file.c_str(), file.size() + 1);
        }
        return record;
    }
    SteppedAnswer ask(const protocol::request &request, std::span<const uint8_t> payload = {})
    {
        client.send(request, payload);
        board.work();
        board.work(); /* the first time it is the connection that is new */
        std::optional<SteppedAnswer> answer = client.receive();
        EXPECT_TRUE(answer);
        return answer ? std::move(*answer) : SteppedAnswer();
    }
    /* What a request with the name is answered, on a file of its own. */
    uint32_t error_of(const wire::request_row &row)
    {
        const SteppedAnswer opened = ask({.operation = static_cast<uint32_t>(protocol::operation::open),
                                          .node = static_cast<uint32_t>(row.node),
                                          .flags = O_RDWR});
        struct stat status {};
        EXPECT_EQ(fstat(opened.passed, &status), 0);
        const std::vector<uint8_t> record = naming(row);
        return ask({.operation = static_cast<uint32_t>(protocol::operation::control),
                    .file = static_cast<uint32_t>(status.st_ino),
                    .number = row.number,
                    .length = static_cast<uint32_t>(record.size())},
                   record)
            .reply.error;
    }

    const std::string file = directory + "/f.bmp";
    const OwnedFd watch{inotify_init1(IN_NONBLOCK | IN_CLOEXEC)};
    SteppedBoard board{{}};
    SteppedClient client = board.connect();
};

bool names_something(const wire::request_row &row)
{
    return row.in != 0 && std::ranges::any_of(layouts::find_layout(row)->in, [](const layouts::field &field) {
               return field.as == layouts::form::text;
           });
}

TEST_F(NamedFiles, AreNotOpenedWhateverRequestNamesThem)
{
    client.hello();
    board.work();
    board.work();
    ASSERT_TRUE(client.receive());
    std::ifstream(file).get();
    ASSERT_TRUE(touched()) << "this test sees nothing";
    int asked = 0;
    for (const wire::request_row &row : wire::requests) {
        if (!names_something(row))
            continue;
        asked++;
        EXPECT_EQ(error_of(row), static_cast<uint32_t>(EINVAL)) << row.name;
        EXPECT_FALSE(touched()) << row.name;
    }
    EXPECT_GE(asked, 10);
}

} // namespace
} // namespace orka::board
