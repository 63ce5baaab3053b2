/* Programs on a board that keeps them and the DSP apart by a cache. */
#include <gtest/gtest.h>

#include "board/tools/support.h"

namespace orka_tools_test {
namespace {

const std::string strict = "--strict-cache";
const std::string looker = ORKA_BUILD_TREE "/programs/strict_cache";

Ending on_board(const Words &board, const Words &program)
{
    return run(Words{ORKA_BOARD_PROGRAM, "run"} + board + Words{"--"} + program);
}

std::string seen(const Words &board, const Words &program)
{
    const Ending ending = on_board(board, program);
    EXPECT_EQ(ending.status, 0) << ending.err;
    return ending.out;
}

/* What a recorder makes on such a board. */
std::string recorded(const Words &board, const std::string &name)
{
    const std::string file = scratch(name);
    seen(board, {ORKA_RECORD_PROGRAM, "--seconds", "0.5", file});
    return contents(file);
}

} // namespace

TEST(StrictCache, AProgramThatDoesNotSyncSeesWhatWasThereBefore)
{
    EXPECT_EQ(seen({strict}, {looker}), "old\nold\nold\nnew\n");
}

TEST(StrictCache, AProgramThatSyncsSeesWhatTheDspWrote)
{
    EXPECT_EQ(seen({strict}, {looker, "sync"}), "old\nold\nnew\nnew\n");
}

TEST(StrictCache, WithoutItEverythingIsSeenAtOnce)
{
    EXPECT_EQ(seen({}, {looker}), "old\nnew\nnew\nnew\n");
}

TEST(StrictCache, AClipPlaysAsWithout)
{
    const std::string pictures = scratch("framemd5");
    const std::string sound = scratch("pcm");
    seen({strict}, {ORKA_PLAY_PROGRAM, "--framemd5", pictures, "--pcm", sound, plain_clip()});
    EXPECT_EQ(sizes_and_hashes(contents(pictures)), sizes_and_hashes(ffmpeg_framemd5(plain_clip())));
    EXPECT_EQ(contents(sound), ffmpeg_pcm(plain_clip()));
}

TEST(StrictCache, PicturesAreRecordedAsWithout)
{
    const std::string file = recorded({strict}, "strict.m4v");
    EXPECT_FALSE(file.empty());
    EXPECT_EQ(file, recorded({}, "plain.m4v"));
}

TEST(StrictCache, SoundIsRecordedAsWithout)
{
    const std::string file = recorded({strict}, "strict.wav");
    EXPECT_FALSE(file.empty());
    EXPECT_EQ(file, recorded({}, "plain.wav"));
}

TEST(StrictCache, AStillIsTakenAsWithout)
{
    const std::string still = scratch("strict.png");
    const std::string plain = scratch("plain.png");
    seen({strict}, {ORKA_RECORD_PROGRAM, still});
    seen({}, {ORKA_RECORD_PROGRAM, plain});
    EXPECT_FALSE(contents(still).empty());
    EXPECT_EQ(contents(still), contents(plain));
}

TEST(StrictCache, TheDspsWindowIsReadAndWrittenAsWithout)
{
    const std::string ctl = ORKA_CTL_PROGRAM;
    const Words script{"sh", "-ec",
                       ctl + " dsp load ogg_dec; " + ctl + " dsp write 40 0x1234; " + ctl + " dsp dump 0 64"};
    const std::string dump = seen({strict}, script);
    EXPECT_NE(dump.find("1234"), std::string::npos) << dump;
    EXPECT_EQ(dump, seen({}, script));
}

} // namespace orka_tools_test
