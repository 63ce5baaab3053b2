/* orka-ctl dsp and orka-ctl mcbsp. */
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>

#include "board/tools/ctl.h"

namespace orka_tools_test {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

const std::string zeros = " 0000 0000 0000 0000 0000 0000 0000 0000\n";

const std::string no_ports =
    ": there is no such port or register, or the DSP runs no image that serves it (`orka-ctl "
    "dsp load mpeg4_g711_aec_codec` loads one)\n";

} // namespace

TEST(OrkaCtlDsp, ReadsZeroWhereNoImageIsLoaded)
{
    const Ending ending = control({"dsp", "read", "0"});
    EXPECT_EQ(ending.status, 0) << ending.err;
    EXPECT_EQ(ending.out, "0x0000\n");
}

TEST(OrkaCtlDsp, DumpsWhatTheDspTellsOfItsImage)
{
    const Ending ending = on_board(ctl + " dsp load ogg_dec; " + ctl + " dsp dump 0 9");
    EXPECT_EQ(ending.status, 0) << ending.err;
    EXPECT_EQ(ending.out, "0000: 0100 0001 0000 0000 676F 5F67 6564 0063\n0008: 0000\n");
}

TEST(OrkaCtlDsp, DumpsLinesThatRepeatAsAStar)
{
    EXPECT_EQ(control({"dsp", "dump", "0x20", "40"}).out, "0020:" + zeros + "*\n0040:" + zeros);
}

TEST(OrkaCtlDsp, DumpsAllWordsByDefault)
{
    EXPECT_EQ(control({"dsp", "dump"}).out, "0000:" + zeros + "*\nFFF8:" + zeros);
    EXPECT_EQ(control({"dsp", "dump", "65530"}).out, "FFFA: 0000 0000 0000 0000 0000 0000\n");
}

TEST(OrkaCtlDsp, ShowsWhatAnotherProcessWrote)
{
    const Ending ending =
        on_board(ctl + " dsp write 65535 0xABCD; " + ctl + " dsp read 0xFFFF; " + ctl + " dsp dump 65534");
    EXPECT_EQ(ending.status, 0) << ending.err;
    EXPECT_EQ(ending.out, "0xABCD\nFFFE: 0000 ABCD\n");
}

TEST(OrkaCtlDsp, ShowsHowManyFramesAPlayerHadDecoded)
{
    const Ending ending = on_board(std::string(ORKA_PLAY_PROGRAM) + " --no-audio " + plain_clip() + " >&2; " +
                                   ctl + " dsp dump 0 4");
    EXPECT_EQ(ending.status, 0) << ending.err;
    EXPECT_EQ(ending.out, "0000: 0000 0000 0019 0000\n");
}

TEST(OrkaCtlDsp, KnowsNoWordsBehindTheWindow)
{
    for (const Words &words :
         {Words{"read", "65536"}, Words{"write", "65536", "1"}, Words{"dump", "65536"}}) {
        const Ending ending = run(Words{ctl, "dsp"} + words);
        EXPECT_EQ(ending.status, 2);
        EXPECT_THAT(ending.err, HasSubstr("65536 not in range"));
    }
    const Ending ending = control({"dsp", "dump", "65535", "2"});
    EXPECT_EQ(ending.status, 2);
    EXPECT_EQ(ending.err, "orka-ctl: the window has no 2 words from word 65535 on: its last is word 65535\n");
}

TEST(OrkaCtlDsp, KnowsNoValuesOfMoreThanSixteenBits)
{
    const Ending ending = run({ctl, "dsp", "write", "32", "0x10000"});
    EXPECT_EQ(ending.status, 2);
    EXPECT_THAT(ending.err, HasSubstr("VALUE: Value 0x10000 not in range"));
}

TEST(OrkaCtlDsp, NamesAnImageThatIsRefused)
{
    const Ending ending = control({"dsp", "load", "toaster"});
    EXPECT_EQ(ending.status, 1);
    EXPECT_THAT(ending.err, HasSubstr("orka-ctl: the DSP refused the image 'toaster'; `orka-ctl list images` "
                                      "names those there are\n"));
}

TEST(OrkaCtlMcbsp, PrintsTheRegistersAsTheyWereWritten)
{
    const Ending ending = on_board(ctl + " dsp load mpeg4_g711_aec_codec; " + ctl +
                                   " mcbsp write 1 0xE 0x0A03; " + ctl + " mcbsp print 1");
    EXPECT_EQ(ending.status, 0) << ending.err;
    EXPECT_EQ(ending.out, "ORKA_IMEM: McBSP 1 Registers:\n\tAddr   Value\n\t====== ======\n"
                          "\t 0000  0000\n\t 0001  0000\n\t 0002  0000\n\t 0003  0000\n\t 0004  0000\n"
                          "\t 0005  0000\n\t 0006  0001\n\t 0007  2000\n\t 0008  0000\n\t 0009  0000\n"
                          "\t 000A  0000\n\t 000B  0000\n\t 000C  0000\n\t 000D  0000\n\t 000E  0A03\n\n\n");
}

TEST(OrkaCtlMcbsp, SaysWhatIsMissingWithoutAnImageThatServesThem)
{
    const Ending ending = control({"mcbsp", "print", "0"});
    EXPECT_EQ(ending.status, 1);
    EXPECT_EQ(ending.out, "");
    EXPECT_THAT(ending.err, HasSubstr("ORKA_IMEM: Feature Not Supported by DSP Image?"));
    EXPECT_THAT(ending.err, HasSubstr("Operation not supported"));
    EXPECT_THAT(ending.err, HasSubstr("orka-ctl: serial port 0 was not read" + no_ports));
}

TEST(OrkaCtlMcbsp, SaysThatARegisterCannotBeSet)
{
    const Ending ending = on_board(ctl + " dsp load mpeg4_g711_aec_codec; " + ctl + " mcbsp write 0 15 1");
    EXPECT_EQ(ending.status, 1);
    EXPECT_THAT(ending.err, HasSubstr("Invalid argument"));
    EXPECT_THAT(ending.err, HasSubstr("orka-ctl: serial port 0 was not set" + no_ports));
}

} // namespace orka_tools_test
