/* What --fault takes, and what it says of what it does not take. */
#include "server/fault.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <stdexcept>

namespace orka::board {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;
using wire::node;

std::string refusal(const std::string &spec)
{
    try {
        parse_fault(spec);
    } catch (const std::invalid_argument &why) {
        return why.what();
    }
    return "taken";
}

const wire::request_row &row(node on, uint32_t number)
{
    return *wire::find_request(on, number);
}

const wire::request_row &new_video_frame = row(node::vdecode, wire::IDECODE_NEW_FRAME);
const wire::request_row &new_audio_frame = row(node::adecode, wire::IDECODE_NEW_FRAME);

std::vector<uint64_t> struck(const Fault &fault, uint64_t calls)
{
    std::vector<uint64_t> list;
    for (uint64_t call = 1; call <= calls; call++) {
        if (fault.strikes(call))
            list.push_back(call);
    }
    return list;
}

TEST(FaultSpec, NamesANodeARequestAndAnError)
{
    const Fault fault = parse_fault("vdecode:IDECODE_NEW_FRAME:nth=3:errno=EIO");
    EXPECT_TRUE(fault.covers(node::vdecode, new_video_frame));
    EXPECT_FALSE(fault.covers(node::vdecode, row(node::vdecode, wire::IDECODE_START)));
    EXPECT_FALSE(fault.covers(node::adecode, new_audio_frame));
    EXPECT_EQ(fault.effect, Fault::Effect::error);
    EXPECT_EQ(fault.value, EIO);
    EXPECT_EQ(fault.effects, "errno=EIO");
    EXPECT_EQ(struck(fault, 6), std::vector<uint64_t>{3});
}

TEST(FaultSpec, TakesANodeByItsPathAndByItsOtherName)
{
    EXPECT_TRUE(parse_fault("/dev/vdecode:IDECODE_START:errno=EIO").nodes[4]);
    EXPECT_TRUE(parse_fault("vdecode0:IDECODE_START:errno=EIO").nodes[4]);
}

TEST(FaultSpec, TakesPatternsOfNodesAndRequests)
{
    const Fault fault = parse_fault("?decode:*_FRAME:errno=EIO");
    EXPECT_TRUE(fault.covers(node::vdecode, new_video_frame));
    EXPECT_TRUE(fault.covers(node::adecode, new_audio_frame));
    EXPECT_FALSE(fault.covers(node::adecode, row(node::adecode, wire::IDECODE_QUEUE)));
}

TEST(FaultSpec, TakesOneChannelsNodeAlone)
{
    const Fault fault = parse_fault("vencode2:IENCODE_GET_VIDEO_FRAME:errno=EIO");
    const wire::request_row &get = row(node::vencode2, wire::IENCODE_GET_VIDEO_FRAME);
    EXPECT_TRUE(fault.covers(node::vencode2, get));
    EXPECT_FALSE(fault.covers(node::vencode1, get));
}

TEST(FaultSpec, StrikesEveryNth)
{
    EXPECT_EQ(struck(parse_fault("vdecode:IDECODE_START:every=3:hang"), 9), (std::vector<uint64_t>{3, 6, 9}));
}

TEST(FaultSpec, StrikesFromTheNthOn)
{
    EXPECT_EQ(struck(parse_fault("vdecode:IDECODE_START:from=3:hang"), 5), (std::vector<uint64_t>{3, 4, 5}));
}

TEST(FaultSpec, StrikesAlwaysWithoutACondition)
{
    EXPECT_EQ(struck(parse_fault("vdecode:IDECODE_START:hang"), 2), (std::vector<uint64_t>{1, 2}));
}

TEST(FaultSpec, StrikesByAChanceThatTheSeedDetermines)
{
    const auto with_seed = [](const std::string &seed) {
        return struck(parse_fault("vdecode:IDECODE_START:chance=0.25:seed=" + seed + ":hang"), 4000);
    };
    EXPECT_EQ(with_seed("7"), with_seed("7"));
    EXPECT_NE(with_seed("7"), with_seed("8"));
    EXPECT_NEAR(static_cast<double>(with_seed("7").size()), 1000, 100);
}

TEST(FaultSpec, TakesOnlyProgramsOfAName)
{
    const Fault fault = parse_fault("vdecode:IDECODE_START:program=orka-*:hang");
    EXPECT_TRUE(fault.covers_program("orka-play"));
    EXPECT_FALSE(fault.covers_program("player"));
    EXPECT_TRUE(parse_fault("vdecode:IDECODE_START:hang").covers_program("player"));
}

TEST(FaultSpec, ComparesAsMuchOfANameAsTheKernelTells)
{
    EXPECT_TRUE(parse_fault("vdecode:IDECODE_START:program=a_rather_long_name:hang")
                    .covers_program("a_rather_long_n"));
}

TEST(FaultSpec, TakesAStatusByNameAndByNumber)
{
    EXPECT_EQ(parse_fault("vdecode:IDECODE_WAIT:status=failure").value, -1);
    EXPECT_EQ(parse_fault("vdecode:IDECODE_WAIT:status=timeout").value, 1);
    EXPECT_EQ(parse_fault("vdecode:IDECODE_WAIT:status=interrupted").value, 2);
    EXPECT_EQ(parse_fault("vdecode:IDECODE_WAIT:status=-7").value, -7);
}

TEST(FaultSpec, KeepsOfAPatternTheRequestsThatHaveWhatTheEffectChanges)
{
    const Fault fault = parse_fault("vdecode:*:status=timeout");
    EXPECT_TRUE(fault.covers(node::vdecode, new_video_frame));
    EXPECT_FALSE(fault.covers(node::vdecode, row(node::vdecode, wire::IDECODE_START)));
}

TEST(FaultSpec, TakesADelayBesidesAnotherEffect)
{
    const Fault fault = parse_fault("vdecode:IDECODE_START:delay=50ms:errno=EIO");
    EXPECT_EQ(fault.delay, std::chrono::milliseconds(50));
    EXPECT_EQ(fault.value, EIO);
    EXPECT_EQ(fault.effects, "delay=50ms:errno=EIO");
}

TEST(FaultSpec, TakesCorruptionWithAndWithoutANumberOfBits)
{
    EXPECT_EQ(parse_fault("vdecode:IDECODE_COMMIT_FRAME:corrupt").value, 16);
    EXPECT_EQ(parse_fault("vdecode:IDECODE_GET_FRAME:corrupt=3").value, 3);
}

TEST(FaultSpec, OpensAreNoRequests)
{
    const Fault fault = parse_fault("mem:open:errno=EACCES");
    EXPECT_TRUE(fault.opening);
    EXPECT_TRUE(fault.requests.empty());
}

TEST(FaultSpec, NamesTheUnknownNodeAndTheKnownOnes)
{
    EXPECT_THAT(
        refusal("vdecod:IDECODE_START:errno=EIO"),
        StartsWith("'vdecod:IDECODE_START:errno=EIO': no node 'vdecod'; there are mem, imanage, idecode, "));
}

TEST(FaultSpec, NamesTheUnknownRequestAndThoseOfTheNode)
{
    EXPECT_THAT(
        refusal("imanage:IMANAGE_ALOC:errno=EIO"),
        EndsWith("no request 'IMANAGE_ALOC' on that node; there are open, IMANAGE_LOAD, IMANAGE_RESET, "
                 "IMANAGE_ALLOC, IMANAGE_FREE, IMANAGE_WRITE_MCBSP, IMANAGE_READ_MCBSP, and patterns of * "
                 "and ?"));
    EXPECT_THAT(refusal("mem:IMANAGE_ALLOC:errno=EIO"), EndsWith("on that node; there are open"));
}

TEST(FaultSpec, SaysThatMapsAndPollsAreTheKernels)
{
    EXPECT_THAT(refusal("mem:mmap:errno=EIO"), HasSubstr("'mmap' is no request: the kernel does it"));
    EXPECT_THAT(refusal("vdecode:poll:errno=EIO"), HasSubstr("'poll' is no request: the kernel does it"));
}

TEST(FaultSpec, NamesTheUnknownWordAndThoseThatThereAre)
{
    EXPECT_THAT(
        refusal("vdecode:IDECODE_START:nht=3:errno=EIO"),
        EndsWith("'nht=3' is no condition and no effect; conditions are nth=N, every=N, from=N, chance=P, "
                 "seed=N, program=NAME; effects are errno=NAME, status=STATUS, delay=TIME, corrupt[=BITS], "
                 "hang, no-memory"));
    EXPECT_THAT(refusal("vdecode:IDECODE_START:hang=3"), HasSubstr("'hang=3' is no condition and no effect"));
    EXPECT_THAT(refusal("vdecode:IDECODE_START:errno"), HasSubstr("'errno' is no condition and no effect"));
}

TEST(FaultSpec, NamesTheUnknownErrorAndTheKnownOnes)
{
    EXPECT_THAT(refusal("vdecode:IDECODE_START:errno=EOI"),
                HasSubstr("no error 'EOI'; there are EPERM, ENOENT, "));
}

TEST(FaultSpec, RefusesValuesOutOfRange)
{
    const std::string start = "vdecode:IDECODE_GET_FRAME:";
    EXPECT_THAT(refusal(start + "nth=0:hang"),
                EndsWith("'0' is no number for nth, which takes one from 1 on"));
    EXPECT_THAT(refusal(start + "every=x:hang"),
                EndsWith("'x' is no number for every, which takes one from 1 on"));
    EXPECT_THAT(refusal(start + "chance=1.5:hang"),
                HasSubstr("'1.5' is no chance, which is above 0 and at most 1"));
    EXPECT_THAT(refusal(start + "chance=nan:hang"), HasSubstr("'nan' is no chance"));
    EXPECT_THAT(refusal(start + "seed=-1:hang"), HasSubstr("'-1' is no seed"));
    EXPECT_THAT(refusal(start + "status=0"),
                HasSubstr("no status '0'; there are failure (-1), timeout (1), "));
    EXPECT_THAT(refusal(start + "delay=50"),
                HasSubstr("'50' is no delay, which is a whole number with us, ms or s"));
    EXPECT_THAT(refusal(start + "delay=3601s"), HasSubstr("'3601s' is no delay"));
    EXPECT_THAT(refusal(start + "corrupt=0"), HasSubstr("'0' is no number of bits"));
}

TEST(FaultSpec, RefusesWhatExcludesEachOther)
{
    const std::string start = "vdecode:IDECODE_GET_FRAME:";
    EXPECT_THAT(refusal(start + "nth=1:every=2:hang"),
                HasSubstr("nth, every, from and chance exclude each other"));
    EXPECT_THAT(refusal(start + "hang:errno=EIO"),
                HasSubstr("errno, status, corrupt, hang and no-memory exclude each other"));
    EXPECT_THAT(refusal(start + "delay=1s:corrupt"), HasSubstr("delay and corrupt exclude each other"));
}

TEST(FaultSpec, RefusesAnEffectThatMeansNothingForTheRequest)
{
    EXPECT_THAT(refusal("vdecode:IDECODE_START:status=failure"),
                HasSubstr("'status=failure' means nothing for that request; it does for IDECODE_WAIT, "));
    EXPECT_THAT(
        refusal("vdecode:IDECODE_NEW_FRAME:corrupt"),
        EndsWith("it does for IDECODE_COMMIT_FRAME, IDECODE_GET_FRAME, IENCODE_COMMIT_FRAME, "
                 "IENCODE_GET_FRAME, IENCODE_GET_VIDEO_FRAME, IENCODE_GET_MV_FRAME, IENCODE_GET_IMAGE"));
    EXPECT_THAT(refusal("vdecode:IDECODE_SETUP_VIDEO:hang"),
                HasSubstr("'hang' means nothing for that request"));
    EXPECT_THAT(refusal("vdecode:open:hang"), EndsWith("open takes errno=NAME alone, and no 'hang'"));
}

TEST(FaultSpec, RefusesWhatIsNotWhole)
{
    EXPECT_THAT(refusal("vdecode:IDECODE_START"), HasSubstr("a fault is NODE:REQUEST[:CONDITION...]:EFFECT"));
    EXPECT_THAT(refusal("vdecode:IDECODE_START:nth=3"),
                HasSubstr("what is to happen? effects are errno=NAME, "));
    EXPECT_THAT(refusal(""), HasSubstr("a fault is NODE:REQUEST[:CONDITION...]:EFFECT"));
}

} // namespace
} // namespace orka::board
