#include "board/shim/shim_fixture.h"

#include <cerrno>
#include <fcntl.h>

namespace orka::board::test {

class ShimOpens : public Shim {};
INSTANTIATE_TEST_SUITE_P(Abis, ShimOpens, testing::ValuesIn(abis()), name_of_abi);

TEST_P(ShimOpens, EveryFormOfOpenReachesTheBoard)
{
    for (const char *form :
         {"open", "open64", "openat", "openat64", "__open_2", "__open64_2", "__openat_2", "__openat64_2"})
        EXPECT_EQ(probe({std::string("open a ") + form + " /dev/vdecode rw"}), "ok\n") << form;

    const std::vector<Asked> opens = asked(operation::open);
    ASSERT_EQ(opens.size(), 8u);
    for (const Asked &open : opens)
        EXPECT_EQ(open.request.node, static_cast<uint32_t>(wire::node::vdecode));
}

TEST_P(ShimOpens, EveryNodeOpensUnderEachOfItsNames)
{
    for (const wire::node_path &row : wire::node_paths) {
        EXPECT_EQ(probe({"open a open " + std::string(row.path) + " ro"}), "ok\n") << row.path;
        EXPECT_EQ(asked(operation::open).back().request.node, static_cast<uint32_t>(row.node)) << row.path;
    }
}

TEST_P(ShimOpens, ANodeIsFoundByAnySpellingOfItsDirectory)
{
    EXPECT_EQ(
        probe({"open a open //dev/adecode rw", "open b open /dev/./adecode rw",
               "open c open /usr/../dev/adecode rw", "chdir /dev", "open d open adecode rw",
               "open e open ./adecode rw", "chdir /", "open f open /dev ro,directory", "openin g f adecode"}),
        "ok\nok\nok\nok\nok\nok\nok\nok\nok\n");
    EXPECT_EQ(asked(operation::open).size(), 6u);
}

TEST_P(ShimOpens, TheAccessModeAndNonblockTravel)
{
    probe({"open a open /dev/adecode ro", "open b open /dev/adecode wo",
           "open c open /dev/adecode rw,nonblock,sync,cloexec"});

    const std::vector<Asked> opens = asked(operation::open);
    ASSERT_EQ(opens.size(), 3u);
    EXPECT_EQ(opens[0].request.flags, static_cast<uint32_t>(O_RDONLY));
    EXPECT_EQ(opens[1].request.flags, static_cast<uint32_t>(O_WRONLY));
    EXPECT_EQ(opens[2].request.flags, static_cast<uint32_t>(O_RDWR | O_NONBLOCK));
}

TEST_P(ShimOpens, CloseOnExecAndNonblockAreHonoured)
{
    EXPECT_EQ(probe({"open a open /dev/adecode rw", "flags a", "open b open /dev/adecode rw,cloexec",
                     "flags b", "open c open /dev/adecode rw,nonblock", "flags c"}),
              "ok\nblock\nok\nblock cloexec\nok\nnonblock\n");
}

TEST_P(ShimOpens, TheDescriptorIsTheLowestFreeOne)
{
    const std::string numbers =
        probe({"open a open /dev/null ro", "number a", "close a", "open a open /dev/adecode rw", "number a",
               "close a", "open a open /dev/mem rw", "number a"});
    const std::string number = numbers.substr(3, numbers.find('\n', 3) - 3);

    EXPECT_EQ(numbers, "ok\n" + number + "\nok\nok\n" + number + "\nok\nok\n" + number + "\n");
}

TEST_P(ShimOpens, NothingStaysOpenButWhatWasOpened)
{
    EXPECT_EQ(probe({"open a open /dev/null ro", "number a", "open b open /dev/adecode rw",
                     "open c open /dev/mem rw", "close c", "close b", "close a", "open a open /dev/null ro",
                     "number a"})
                  .substr(3, 1),
              probe({"open b open /dev/adecode rw", "open c open /dev/mem rw", "close c", "close b",
                     "open a open /dev/null ro", "number a"})
                  .substr(15, 1));
    EXPECT_TRUE(server.wait_until([&] { return server.files() == 0; }));
}

TEST_P(ShimOpens, TheKernelJudgesTheFlags)
{
    EXPECT_EQ(probe({"open a open /dev/adecode rw,create,exclusive", "open a open /dev/adecode ro,directory",
                     "open a open /dev/adecode rw,create,truncate"}),
              "-1 EEXIST\n-1 ENOTDIR\nok\n");
    EXPECT_EQ(asked(operation::open).size(), 1u);
}

TEST_P(ShimOpens, APathOnlyDescriptorReachesNoDriver)
{
    EXPECT_EQ(probe({"open a open /dev/adecode path", "control a 541b 00"}), "ok\n-1 EBADF 00\n");
    EXPECT_TRUE(asked(operation::open).empty());
}

TEST_P(ShimOpens, ABadPathPointerIsAFault)
{
    EXPECT_EQ(probe({"open a open null ro", "open a open bad ro"}), "-1 EFAULT\n-1 EFAULT\n");
}

TEST_P(ShimOpens, OtherPathsGoToTheKernel)
{
    EXPECT_EQ(probe({"open a open /dev/null ro", "open b open /dev/adecode1 ro",
                     "open b open /tmp/adecode ro", "open b open /dev/adecode/ ro"}),
              "ok\n-1 ENOENT\n-1 ENOENT\n-1 ENOENT\n");
    EXPECT_TRUE(asked(operation::open).empty());
}

TEST_P(ShimOpens, WithoutABoardEverythingGoesToTheKernel)
{
    EXPECT_EQ(
        probe_with({"open a open /dev/adecode rw", "access access /dev/adecode 0", "stat stat /dev/adecode"},
                   {}),
        "-1 ENOENT\n-1 ENOENT\n-1 ENOENT\n");
}

TEST_P(ShimOpens, WhatTheServerRefusesIsErrno)
{
    server.on(operation::open, [](const Asked &) { return Answer{.error = EBUSY}; });

    EXPECT_EQ(probe({"open a open /dev/adecode rw", "open b open /dev/null ro"}), "-1 EBUSY\nok\n");
}

TEST_P(ShimOpens, AFullDescriptorTableIsReported)
{
    const std::string number = probe({"open a open /dev/null ro", "number a"}).substr(3, 1);
    const std::string next = std::to_string(std::stoi(number) + 1);

    EXPECT_EQ(probe({"limit " + number, "open a open /dev/adecode rw"}), "ok\n-1 EMFILE\n");
    EXPECT_EQ(probe({"limit " + next, "open a open /dev/adecode rw"}), "ok\n-1 EMFILE\n");
    EXPECT_TRUE(server.wait_until([&] { return server.files() == 0; }));
}

TEST_P(ShimOpens, TheProgramIsGreetedBeforeItOpensAnything)
{
    EXPECT_EQ(probe({"open a open /dev/null ro"}), "ok\n");
    ASSERT_FALSE(asked(operation::hello).empty());
    EXPECT_EQ(asked(operation::hello)[0].request.version, protocol::version);
}

TEST_P(ShimOpens, ALibrarysConstructorFindsTheBoard)
{
    EXPECT_EQ(run_program(GetParam(), "early_user", {}, {.board = server.path()}).output, "Success 20666\n");
}

} // namespace orka::board::test
