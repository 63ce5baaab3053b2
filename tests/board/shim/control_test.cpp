#include "board/shim/shim_fixture.h"

#include <cerrno>

namespace orka::board::test {

class ShimControls : public Shim {
  protected:
    /* What a request on a freshly opened node prints. */
    std::string control(const std::string &node, const std::string &request)
    {
        return probe({"open a open /dev/" + node + " rw", "control a " + request}).substr(3);
    }
};
INSTANTIATE_TEST_SUITE_P(Abis, ShimControls, testing::ValuesIn(abis()), name_of_abi);

using testing::ElementsAre;
using testing::SizeIs;

TEST_P(ShimControls, ARecordGoesToTheServerAndComesBack)
{
    EXPECT_EQ(control("adecode", "c0106408 000102030405060708090a0b0c0d0e0f"),
              "0 0102030405060708090a0b0c0d0e0f10\n");

    const std::vector<Asked> requests = asked(operation::control);
    ASSERT_THAT(requests, SizeIs(1));
    EXPECT_THAT(requests[0].bytes, ElementsAre(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15));
    EXPECT_EQ(requests[0].request.number, wire::IDECODE_WAIT);
    EXPECT_EQ(requests[0].request.nonblock, 0u);
}

TEST_P(ShimControls, ARecordThatOnlyGoesStaysAsItWas)
{
    EXPECT_EQ(control("adecode", "80086406 0102030405060708"), "0 0102030405060708\n");
    EXPECT_THAT(asked(operation::control).at(0).bytes, ElementsAre(1, 2, 3, 4, 5, 6, 7, 8));
}

TEST_P(ShimControls, ThePositiveResultOfADriverIsTheResult)
{
    server.on(operation::control, [](const Asked &) { return Answer{.result = 7}; });

    EXPECT_EQ(control("adecode", "80086406 0102030405060708"), "7 0102030405060708\n");
}

TEST_P(ShimControls, ARefusalIsErrnoAndLeavesTheRecord)
{
    server.on(operation::control, [](const Asked &) { return Answer{.error = EPERM}; });

    EXPECT_EQ(control("adecode", "c0106408 000102030405060708090a0b0c0d0e0f"),
              "-1 EPERM 000102030405060708090a0b0c0d0e0f\n");
}

TEST_P(ShimControls, ASignExtendedNumberIsTheSameRequest)
{
    EXPECT_EQ(probe({"open a open /dev/adecode rw", "extended a 80086406 0102030405060708"}),
              "ok\n0 0102030405060708\n");
    EXPECT_EQ(asked(operation::control).at(0).request.number, wire::IDECODE_START);
}

TEST_P(ShimControls, AnUnknownRequestIsRefusedByTheServer)
{
    EXPECT_EQ(control("adecode", "80086463 0102030405060708"), "-1 ENOTTY 0102030405060708\n");
    EXPECT_EQ(control("windisp", "80086406 0102030405060708"), "-1 ENOTTY 0102030405060708\n");
    EXPECT_THAT(asked(operation::control), SizeIs(2));
    EXPECT_THAT(asked(operation::control).at(0).bytes, SizeIs(0));
}

TEST_P(ShimControls, TheSameNumberCarriesWhatItsNodeSays)
{
    control("adecode", "80216400 =mp3");
    control("vdecode", "80216400 " + std::string(88, '1'));

    EXPECT_THAT(asked(operation::control).at(0).bytes, ElementsAre('m', 'p', '3', 0));
    EXPECT_THAT(asked(operation::control).at(1).bytes, SizeIs(44));
}

TEST_P(ShimControls, ANameThatDoesNotEndGoesAsFarAsNamesMay)
{
    EXPECT_EQ(control("imanage", "80216b00 unterminated"), "0\n");
    EXPECT_THAT(asked(operation::control).at(0).bytes, testing::ContainerEq(std::vector<uint8_t>(33, 'u')));
}

TEST_P(ShimControls, ANameMayEndWithItsPage)
{
    EXPECT_EQ(control("imanage", "80216b00 edge:6d703300"), "0 6d703300\n");
    EXPECT_THAT(asked(operation::control).at(0).bytes, ElementsAre('m', 'p', '3', 0));
}

TEST_P(ShimControls, ANameThatRunsIntoNothingIsAFault)
{
    EXPECT_EQ(control("imanage", "80216b00 edge:6d7033"), "-1 EFAULT 6d7033\n");
    EXPECT_EQ(control("imanage", "80216b00 null"), "-1 EFAULT\n");
    EXPECT_EQ(control("imanage", "80216b00 bad"), "-1 EFAULT\n");
    EXPECT_THAT(asked(operation::control), SizeIs(0));
}

TEST_P(ShimControls, ARequestWithoutRecordLooksAtNoPointer)
{
    EXPECT_EQ(control("imanage", "80046b01 null"), "0\n");
    EXPECT_EQ(control("imanage", "80046b01 bad"), "0\n");
}

TEST_P(ShimControls, ABadRecordPointerIsAFault)
{
    EXPECT_EQ(control("adecode", "80086406 null"), "-1 EFAULT\n");
    EXPECT_EQ(control("adecode", "80086406 bad"), "-1 EFAULT\n");
    EXPECT_EQ(control("adecode", "80086406 edge:010203"), "-1 EFAULT 010203\n");
    EXPECT_EQ(control("adecode", "80086406 edge:0102030405060708"), "0 0102030405060708\n");
}

TEST_P(ShimControls, AnAnswerThatCannotBeWrittenIsAFault)
{
    EXPECT_EQ(
        probe({"open a open /dev/adecode rw", "control a c0106408 readonly",
               "control a c0106408 " + std::string(32, '1')}),
        "ok\n-1 EFAULT\n0 " +
            [] {
                std::string bytes;
                for (int i = 0; i < 16; i++)
                    bytes += "12";
                return bytes;
            }() +
            "\n");
}

TEST_P(ShimControls, ARecordThatIsReadAloneMayBeReadOnly)
{
    EXPECT_EQ(control("adecode", "80086406 readonly"), "0\n");
}

TEST_P(ShimControls, TheServerHearsWhetherTheDescriptorIsNonblocking)
{
    probe({"open a open /dev/adecode rw", "nonblock a", "control a 80086406 0000000000000000"});

    EXPECT_EQ(asked(operation::control).at(0).request.nonblock, 1u);
}

TEST_P(ShimControls, TheKernelAnswersItsOwnGenericRequests)
{
    EXPECT_EQ(probe({"open a open /dev/adecode rw", "control a 5421 01000000", "control a 5451 null",
                     "flags a", "control a 5450 null", "flags a"}),
              "ok\n0 01000000\n0\nnonblock cloexec\n0\nnonblock\n");
    EXPECT_THAT(asked(operation::control), SizeIs(0));
}

TEST_P(ShimControls, OtherDescriptorsGoToTheKernelWhateverTheNumber)
{
    EXPECT_EQ(
        probe({"open a open /dev/null rw", "control a 80086406 00", "pipe b c", "control b 80086406 00"}),
        "ok\n" + refused() + " 00\nok\n" + refused() + " 00\n");
    EXPECT_EQ(probe({"pipe b c", "control b 541b ffffffff", "control z 541b ffffffff"}),
              "ok\n0 00000000\n-1 EBADF ffffffff\n");
    EXPECT_THAT(asked(operation::control), SizeIs(0));
}

TEST_P(ShimControls, AFileThatTheServerDoesNotKnowGoesToTheKernel)
{
    server.on(operation::control, [](const Asked &) { return Answer{.error = protocol::unknown_file}; });

    EXPECT_EQ(control("adecode", "541b ffffffff"), "0 00000000\n");
}

TEST_P(ShimControls, AFileIsAskedForOnce)
{
    probe({"open a open /dev/adecode rw", "control a 80086406 0000000000000000",
           "control a 80086406 0000000000000000"});

    EXPECT_THAT(asked(operation::identify), SizeIs(1));
    EXPECT_THAT(asked(operation::control), SizeIs(2));
}

TEST_P(ShimControls, AFileStaysItselfThroughDupForkExecAndSockets)
{
    const std::string start = "control b 80086406 0000000000000000";
    const std::string good = "0 0000000000000000\n";

    EXPECT_EQ(probe({"open a open /dev/adecode rw", "dup a b", "close a", start, "child " + start, exec(),
                     start, "pass b", start}),
              "ok\nok\nok\n" + good + good + good + good);
    const std::vector<Asked> requests = asked(operation::control);
    ASSERT_THAT(requests, SizeIs(4));
    for (const Asked &request : requests)
        EXPECT_EQ(request.request.file, requests[0].request.file);
}

TEST_P(ShimControls, ANumberThatIsUsedAgainIsAnotherFile)
{
    EXPECT_EQ(probe({"open a open /dev/adecode rw", "control a 80086406 0000000000000000", "close a",
                     "open a open /dev/vdecode rw", "control a 800c6422 000000000000000000000000"}),
              "ok\n0 0000000000000000\nok\nok\n0 000000000000000000000000\n");
}

TEST_P(ShimControls, ManyFilesAreNeverTakenForEachOther)
{
    Commands commands;
    std::string expected;
    for (int i = 0; i < 140; i++) {
        const bool sound = i % 3 == 0;
        commands.push_back(sound ? "open a open /dev/adecode rw" : "open a open /dev/vdecode rw");
        commands.push_back(sound ? "control a c008642d 0000000000000000"
                                 : "control a 800c6422 000000000000000000000000");
        expected += sound ? "ok\n0 0101010101010101\n" : "ok\n0 000000000000000000000000\n";
    }
    EXPECT_EQ(probe(commands), expected);
}

TEST_P(ShimControls, SixteenThreadsEachGetTheirOwnAnswers)
{
    EXPECT_EQ(probe({"open a open /dev/adecode rw", "threads 16 100 a c0106408"}), "ok\n0 wrong\n");
    EXPECT_THAT(asked(operation::control), SizeIs(1600));
}

TEST_P(ShimControls, MoreThreadsThanLanesAreServed)
{
    server.on(operation::control, [](const Asked &asked) {
        return Answer{.bytes = std::vector<uint8_t>(16, static_cast<uint8_t>(asked.bytes.at(0) + 1))};
    });

    EXPECT_EQ(probe({"open a open /dev/adecode rw", "threads 64 3 a c0106408"}), "ok\n0 wrong\n");
}

class ShimTime64 : public Shim {};
INSTANTIATE_TEST_SUITE_P(Abis, ShimTime64, testing::ValuesIn(abis_with_time64(true)), name_of_abi);

TEST_P(ShimTime64, AProgramWhoseTimeHas64BitsIsServedToo)
{
    const Commands commands = {
        "open a open /dev/adecode rw", "control a c0106408 000102030405060708090a0b0c0d0e0f",
        "stat stat /dev/adecode", "stat lstat /dev/adecode", "stat fstatat /dev/adecode"};

    EXPECT_EQ(run_program(GetParam(), "device_probe_time64", commands, {.board = server.path()}).output,
              "ok\n0 0102030405060708090a0b0c0d0e0f10\n020666 240:3\n020666 240:3\n020666 240:3\n");
}

} // namespace orka::board::test
