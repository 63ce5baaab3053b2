/* Signals, threads that end, processes that fork or die, and boards that are gone. */
#include "board/shim/shim_fixture.h"

#include <cerrno>
#include <csignal>
#include <set>
#include <sys/wait.h>

namespace orka::board::test {

class ShimLives : public Shim {
  protected:
    static constexpr char start[] = "control a 80086406 0000000000000000";
    static constexpr char wait[] = "control a c0106408 00000000000000000000000000000000";

    /* The next request of a number gets this answer, later ones the default's. */
    void answer_once(uint32_t number, const Answer &answer)
    {
        server.on(operation::control, [=, done = false](const Asked &asked) mutable {
            if (asked.request.number != number || done)
                return Answer{};
            done = true;
            return answer;
        });
    }
};
INSTANTIATE_TEST_SUITE_P(Abis, ShimLives, testing::ValuesIn(abis()), name_of_abi);

using testing::SizeIs;

TEST_P(ShimLives, ASignalMakesTheServerGiveTheRequestUp)
{
    answer_once(wire::IDECODE_WAIT, {.deed = Deed::hold, .bytes = std::vector<uint8_t>(16, 2)});

    EXPECT_EQ(probe({"open a open /dev/adecode rw", "alarm 300 plain", wait, start}),
              "ok\nok\n0 02020202020202020202020202020202\n0 0000000000000000\n");
    EXPECT_THAT(asked(operation::cancel), SizeIs(1));
}

TEST_P(ShimLives, ASignalThatRestartsCallsInterruptsTooAndTheAnswerMayBeAnError)
{
    answer_once(wire::IDECODE_WAIT, {.deed = Deed::hold, .error = EINTR});

    EXPECT_EQ(probe({"open a open /dev/adecode rw", "alarm 300 restart", wait, start}),
              "ok\nok\n-1 EINTR 00000000000000000000000000000000\n0 0000000000000000\n");
    EXPECT_THAT(asked(operation::cancel), SizeIs(1));
}

TEST_P(ShimLives, AChildForkedByASignalHandlerLeavesTheRequestToItsParent)
{
    answer_once(wire::IDECODE_WAIT, {.deed = Deed::hold, .bytes = std::vector<uint8_t>(16, 2)});

    EXPECT_EQ(probe({"open a open /dev/adecode rw", "alarm 300 fork", wait, start}),
              "ok\nok\n-1 EINTR 00000000000000000000000000000000\n0 0000000000000000\n"
              "0 02020202020202020202020202020202\n0 0000000000000000\n");
    EXPECT_THAT(asked(operation::cancel), SizeIs(1));
}

TEST_P(ShimLives, AThreadThatIsCancelledLeavesTheOthersTheirAnswers)
{
    answer_once(wire::IDECODE_WAIT, {.deed = Deed::hold});

    EXPECT_EQ(
        probe({"open a open /dev/adecode rw", "cancel a c0106408 00000000000000000000000000000000", start}),
        "ok\ncancelled\n0 0000000000000000\n");
    const std::vector<Asked> requests = asked(operation::control);
    ASSERT_THAT(requests, SizeIs(2));
    EXPECT_NE(requests[0].connection, requests[1].connection);
}

TEST_P(ShimLives, AForkedChildHasAConnectionOfItsOwnAndTheParentKeepsIts)
{
    probe({"open a open /dev/adecode rw", start, std::string("child ") + start, start});

    const std::vector<Asked> requests = asked(operation::control);
    ASSERT_THAT(requests, SizeIs(3));
    EXPECT_NE(requests[1].process, requests[0].process);
    EXPECT_EQ(requests[2].connection, requests[0].connection);
}

TEST_P(ShimLives, AForkedChildDropsItsParentsConnectionsAtOnce)
{
    const std::string inherited = probe_with({"count 60"}, {.preload = false});

    EXPECT_NE(probe({"count 60"}), inherited);
    EXPECT_EQ(probe({"child count 60"}), inherited);
}

TEST_P(ShimLives, AForkedChildKeepsItsConnectionForItsNextRequest)
{
    EXPECT_EQ(probe({"open a open /dev/adecode rw", "child threads 1 3 a c0106408"}), "ok\n0 wrong\n");

    const std::vector<Asked> requests = asked(operation::control);
    ASSERT_THAT(requests, SizeIs(3));
    EXPECT_EQ(requests[0].connection, requests[2].connection);
}

TEST_P(ShimLives, AChildUnknownToLibcHasAConnectionOfItsOwn)
{
    EXPECT_EQ(probe({"open a open /dev/adecode rw", start, std::string("clone ") + start, start}),
              "ok\n0 0000000000000000\n0 0000000000000000\n0 0000000000000000\n");

    const std::vector<Asked> requests = asked(operation::control);
    ASSERT_THAT(requests, SizeIs(3));
    EXPECT_NE(requests[1].process, requests[0].process);
    EXPECT_EQ(requests[2].connection, requests[0].connection);
}

TEST_P(ShimLives, AChildThatBorrowsItsParentsMemoryLeavesItsConnections)
{
    EXPECT_EQ(probe({"open a open /dev/adecode rw", start, std::string("vfork ") + start, start}),
              "ok\n0 0000000000000000\n0 0000000000000000\n0 0000000000000000\n");

    const std::vector<Asked> requests = asked(operation::control);
    ASSERT_THAT(requests, SizeIs(3));
    EXPECT_EQ(requests[2].connection, requests[0].connection);
}

TEST_P(ShimLives, ClosedConnectionsAreMadeAgain)
{
    EXPECT_EQ(probe({"open a open /dev/adecode rw", start, "closefrom 60", start, start}),
              "ok\n0 0000000000000000\nok\n0 0000000000000000\n0 0000000000000000\n");

    const std::vector<Asked> requests = asked(operation::control);
    ASSERT_THAT(requests, SizeIs(3));
    EXPECT_NE(requests[1].connection, requests[0].connection);
    EXPECT_EQ(requests[2].connection, requests[1].connection);
}

TEST_P(ShimLives, AProcessThatIsKilledLeavesNothingOpen)
{
    probe({"open a open /dev/adecode rw", start, "end"});

    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL);
    EXPECT_TRUE(server.wait_until([&] { return server.files() == 0; }));
}

TEST_P(ShimLives, AnIdleProgramMakesOneConnection)
{
    probe({"open a open /dev/adecode rw", start, start, start});

    std::set<int> connections;
    for (const Asked &one : asked(operation::control))
        connections.insert(one.connection);
    EXPECT_THAT(connections, SizeIs(1));
}

TEST_P(ShimLives, ABoardThatWasNeverThereIsNoDevice)
{
    for (const std::string &path : {std::string("/tmp/no-board-here"), "/tmp/" + std::string(200, 'x')})
        EXPECT_EQ(
            probe_with({"open a open /dev/adecode rw", "open a open /dev/null rw", start}, {.board = path}),
            "-1 ENODEV\nok\n" + refused() + " 0000000000000000\n");
}

TEST_P(ShimLives, ABoardThatSpeaksAnotherVersionIsNoDevice)
{
    server.on(operation::hello, [](const Asked &) { return Answer{.error = EPROTO}; });

    EXPECT_EQ(probe({"open a open /dev/adecode rw"}), "-1 ENODEV\n");
}

TEST_P(ShimLives, ABoardThatHangsUpAtTheGreetingIsNoDevice)
{
    server.on(operation::hello, [](const Asked &) { return Answer{.deed = Deed::drop}; });

    EXPECT_EQ(probe({"open a open /dev/adecode rw"}), "-1 ENODEV\n");
}

TEST_P(ShimLives, ABoardThatIsGoneAtTheOpenIsNoDevice)
{
    server.on(operation::open, [](const Asked &) { return Answer{.deed = Deed::stop}; });

    EXPECT_EQ(probe({"open a open /dev/adecode rw", "open b open /dev/mem rw", "open c open /dev/null ro"}),
              "-1 ENODEV\n-1 ENODEV\nok\n");
}

TEST_P(ShimLives, ABoardThatIsGoneAtARequestHangsUpEveryDescriptor)
{
    answer_once(wire::IDECODE_START, {.deed = Deed::stop});

    EXPECT_EQ(
        probe({"open a open /dev/adecode rw", start, start, "poll a", "epoll a",
               "open b open /dev/adecode rw"}),
        "ok\n-1 ENODEV 0000000000000000\n-1 ENODEV 0000000000000000\nhup\nhup hup hup nothing \n-1 ENODEV\n");
}

TEST_P(ShimLives, AnOpenThatBringsNoDescriptorIsNoDevice)
{
    server.on(operation::open, [](const Asked &) { return Answer{}; });

    EXPECT_EQ(probe({"open a open /dev/adecode rw"}), "-1 ENODEV\n");
}

TEST_P(ShimLives, AnAnswerLongerThanItsRecordIsNoAnswer)
{
    answer_once(wire::IDECODE_WAIT, {.bytes = std::vector<uint8_t>(17, 9)});

    EXPECT_THAT(probe({"open a open /dev/adecode rw", wait}), testing::HasSubstr("-1 ENODEV"));
}

TEST_P(ShimLives, AConnectionThatBreaksIsMadeAgain)
{
    answer_once(wire::IDECODE_START, {.deed = Deed::drop});

    EXPECT_EQ(probe({"open a open /dev/adecode rw", start, start}),
              "ok\n-1 ENODEV 0000000000000000\n0 0000000000000000\n");
}

TEST_P(ShimLives, AnotherBoardInTheFirstOnesPlaceIsNotTaken)
{
    server.on(operation::control, [&](const Asked &) {
        server.replace_memory();
        return Answer{.deed = Deed::drop};
    });

    EXPECT_EQ(probe({"open a open /dev/adecode rw", start, "open b open /dev/adecode rw"}),
              "ok\n-1 ENODEV 0000000000000000\n-1 ENODEV\n");
}

} // namespace orka::board::test
