/* The order of calls on the subtitle node, whose the decoder is, its setup and its queue. */
#include "subtitle_desk.h"

namespace orka::board::desk {
namespace {

using namespace wire;

class SubtitleOrder : public SubtitleDesk {};

TEST_F(SubtitleOrder, SetupWithoutAnImageIsRefused)
{
    EXPECT_EQ(subtitles.set_up(usual), EINVAL);
    EXPECT_EQ(desk.log(), "subtldecode 0/0: setup for codec 0 without a codec image; load one first\n");
}

TEST_F(SubtitleOrder, AnImageWithoutSubtitlesIsRefusedWithARemedy)
{
    ASSERT_EQ(subtitles.load("mpeg4_pcm_dec"), 0);
    EXPECT_EQ(subtitles.set_up(usual), EINVAL);
    EXPECT_EQ(desk.log(),
              "subtldecode 0/0: image mpeg4_pcm_dec does not decode codec 0; load subtitle_dec\n");
}

TEST_F(SubtitleOrder, AnUnknownImageIsRefused)
{
    EXPECT_EQ(subtitles.load("no_such_dec"), EINVAL);
    EXPECT_EQ(desk.log(), "subtldecode 0/0: there is no codec image 'no_such_dec'\n");
}

TEST_F(SubtitleOrder, BeforeTheSetupEverythingElseIsRefused)
{
    ASSERT_EQ(subtitles.load("subtitle_dec"), 0);
    for (const uint32_t request : {IDECODE_START, IDECODE_PAUSE, IDECODE_STOP, IDECODE_TEARDOWN})
        EXPECT_EQ(subtitles.order(request), EINVAL);
    EXPECT_EQ(subtitles.commit({}), EINVAL);
    EXPECT_EQ(Player::answer_of(*subtitles.begin_new(0)).error, EINVAL);
}

TEST_F(SubtitleOrder, OtherChannelsAndStreamsAreRefused)
{
    for (const auto &[channel, stream] : {std::pair{1, 0}, {-1, 0}, {0, 1}}) {
        Player nobody(desk, node::subtldecode, channel, stream);
        ASSERT_EQ(nobody.load("subtitle_dec"), 0);
        EXPECT_EQ(nobody.set_up(usual), EINVAL);
        EXPECT_EQ(nobody.start(), EINVAL);
    }
}

struct Step {
    const char *name;
    std::vector<uint32_t> path; /* after the setup */
    std::vector<uint32_t> allowed;
};

class SubtitleStates : public SubtitleDesk, public ::testing::WithParamInterface<Step> {};

TEST_P(SubtitleStates, TakeWhatIsInOrderAndRefuseTheRest)
{
    for (const uint32_t request : {IDECODE_START, IDECODE_PAUSE, IDECODE_STOP}) {
        set_up(subtitles);
        for (const uint32_t step : GetParam().path)
            ASSERT_EQ(subtitles.order(step), 0);
        const bool allowed = std::ranges::count(GetParam().allowed, request) != 0;
        EXPECT_EQ(subtitles.order(request), allowed ? 0 : EINVAL) << std::hex << request;
        EXPECT_EQ(subtitles.tear_down(), 0);
    }
    EXPECT_EQ(desk.queues(), 0U);
}

INSTANTIATE_TEST_SUITE_P(
    Each, SubtitleStates,
    ::testing::Values(Step{"SetUp", {}, {IDECODE_START}},
                      Step{"Playing", {IDECODE_START}, {IDECODE_PAUSE, IDECODE_STOP}},
                      Step{"Paused", {IDECODE_START, IDECODE_PAUSE}, {IDECODE_START, IDECODE_STOP}},
                      Step{"Stopped", {IDECODE_START, IDECODE_STOP}, {IDECODE_START}}),
    [](const auto &test) { return test.param.name; });

TEST_F(SubtitleOrder, ASecondSetupIsOutOfOrder)
{
    set_up(subtitles);
    EXPECT_EQ(subtitles.set_up(usual), EINVAL);
}

TEST_F(SubtitleOrder, ADecoderThatIsSetUpIsBusyToOtherFiles)
{
    Player other(desk, node::subtldecode);
    play(subtitles);
    EXPECT_EQ(other.load("mpeg4_pcm_dec"), EBUSY);
    EXPECT_EQ(other.set_up(usual), EBUSY);
    EXPECT_EQ(other.stop(), EBUSY);
    EXPECT_EQ(Player::answer_of(*other.begin_new(0)).error, EBUSY);
    EXPECT_EQ(other.commit({}), EBUSY);
}

TEST_F(SubtitleOrder, TheLastCloseOfItsFileReleasesTheDecoder)
{
    Player other(desk, node::subtldecode);
    play(subtitles);
    ASSERT_EQ(commit(subtitles, 0, 0, "Hello"), 0);
    ASSERT_EQ(at(0), "Hello");
    desk.close(subtitles.file);
    EXPECT_EQ(desk.queues(), 0U);
    EXPECT_EQ(shown(), "");
    play(other);
}

/* What a setup may ask for. */

struct Sizes {
    const char *name;
    orka_idecode_subtitle_params_t params;
    int error;
    const char *line;
};

class SubtitleSetup : public SubtitleDesk, public ::testing::WithParamInterface<Sizes> {};

TEST_P(SubtitleSetup, IsRefusedWithALineAndLeavesNothingBehind)
{
    ASSERT_EQ(subtitles.load("subtitle_dec"), 0);
    EXPECT_EQ(subtitles.set_up(GetParam().params), GetParam().error);
    EXPECT_EQ(desk.log(), std::string("subtldecode 0/0: ") + GetParam().line + "\n");
    EXPECT_EQ(desk.queues(), 0U);
    EXPECT_EQ(subtitles.set_up(usual), 0);
}

INSTANTIATE_TEST_SUITE_P(
    Of, SubtitleSetup,
    ::testing::Values(
        Sizes{"FramesTooSmall",
              {{4096, 65}},
              EINVAL,
              "setup asks for an input queue of 4096 bytes and 65 frames of at most 0 bytes"},
        Sizes{"MoreFramesThanBytes",
              {{1, 0}},
              EINVAL,
              "setup asks for an input queue of 1 bytes and 32 frames of at most 0 bytes"},
        Sizes{"EndlessFrames",
              {{0, UINT32_MAX}},
              EINVAL,
              "setup asks for an input queue of 65536 bytes and 4294967295 frames of at most 0 bytes"},
        Sizes{"AnEndlessQueue",
              {{UINT32_MAX, 0}},
              ENOMEM,
              "no memory for a queue of 4294967295 bytes; give the board more (--memory)"}),
    [](const auto &test) { return test.param.name; });

TEST_F(SubtitleOrder, ASetupOfZerosHas32FramesIn64KiB)
{
    set_up(subtitles);
    EXPECT_EQ(subtitles.queue().length, 65536U);
    for (int i = 0; i < 32; i++) {
        const auto answer = subtitles.new_frame();
        ASSERT_EQ(answer.status, driver_done);
        EXPECT_EQ(answer.frame.capacity, 2048U);
        EXPECT_EQ(answer.frame.kind, uint32_t{ORKA_FRAME_TYPE_SUBTITLE});
    }
    EXPECT_EQ(subtitles.new_frame().status, driver_timeout);
}

TEST_F(SubtitleOrder, FramesAreAtMost4096BytesLong)
{
    set_up(subtitles, {{1 << 20, 2, 0, 0}});
    EXPECT_EQ(subtitles.new_frame().frame.capacity, 4096U);
}

TEST_F(SubtitleOrder, TheOtherWordsOfTheSetupAreNotLookedAt)
{
    set_up(subtitles, {{0, 0, UINT32_MAX, UINT32_MAX}});
}

TEST(SubtitleFont, OneThatCannotBeUsedIsNamedAtSetup)
{
    Desk desk;
    desk.attach([](Machine &machine) {
        return make_subtitle_decode_driver(
            machine, [](std::string &why) { return TextPainter::create("/nonexistent/font.ttf", why); });
    });
    Player subtitles(desk, node::subtldecode);
    ASSERT_EQ(subtitles.load("subtitle_dec"), 0);
    EXPECT_EQ(subtitles.set_up(usual), EINVAL);
    EXPECT_EQ(desk.log(), "subtldecode 0/0: codec 0: /nonexistent/font.ttf: No such file or directory\n");
}

/* The queue. */

TEST_F(SubtitleOrder, NothingComesOut)
{
    play(subtitles);
    ASSERT_EQ(commit(subtitles, 0, 0, "Hello"), 0);
    ASSERT_EQ(at(0), "Hello");
    EXPECT_EQ(Player::answer_of(*subtitles.begin_get(-1)).error, EINVAL);
    EXPECT_EQ(subtitles.release({}), EINVAL);
    EXPECT_FALSE(subtitles.file.readable());
}

TEST_F(SubtitleOrder, WhatCannotBeCommittedIsRefused)
{
    set_up(subtitles);
    orka_idecode_frame_t frame = subtitles.new_frame().frame;
    frame.kind = ORKA_FRAME_TYPE_VIDEO;
    EXPECT_EQ(subtitles.commit(frame), EINVAL);
    frame.kind = ORKA_FRAME_TYPE_SUBTITLE;
    frame.size = frame.capacity + 1;
    EXPECT_EQ(subtitles.commit(frame), EINVAL);
    frame.size = frame.capacity;
    frame.addr += 64;
    EXPECT_EQ(subtitles.commit(frame), EINVAL);
    frame.addr -= 64;
    EXPECT_EQ(subtitles.commit(frame), 0);
    EXPECT_EQ(subtitles.commit(frame), EINVAL);
}

TEST_F(SubtitleOrder, AfterLastNothingIsTakenUntilTheNextStart)
{
    play(subtitles);
    const orka_idecode_frame_t frame = subtitles.new_frame().frame;
    ASSERT_TRUE(subtitles.feed_last());
    EXPECT_EQ(subtitles.commit(frame), EINVAL);
    ASSERT_EQ(subtitles.stop(), 0);
    EXPECT_EQ(subtitles.commit(frame), 0);
}

TEST_F(SubtitleOrder, AFullQueueWaitsUntilASubtitleBegins)
{
    play(subtitles, {{4096, 2, 0, 0}});
    ASSERT_EQ(commit(subtitles, 1000, 500, "one"), 0);
    ASSERT_EQ(commit(subtitles, 2000, 500, "two"), 0);
    EXPECT_EQ(subtitles.new_frame(0).status, driver_timeout);
    const auto waiting = subtitles.begin_new(-1);
    EXPECT_EQ(at(999), "");
    EXPECT_FALSE(waiting->wait(0ms));
    EXPECT_EQ(at(1000), "one");
    EXPECT_EQ(Player::frame_of(*waiting).status, driver_done);
}

TEST_F(SubtitleOrder, WhoWaitsMayBeInterruptedAndNonblockingFilesDoNotWait)
{
    play(subtitles, {{64, 1, 0, 0}});
    ASSERT_EQ(commit(subtitles, 1000, 0, "one"), 0);
    const auto waiting = subtitles.begin_new(-1);
    desk.interrupt(*waiting);
    EXPECT_EQ(Player::frame_of(*waiting).status, driver_interrupted);
    EXPECT_EQ(Player::answer_of(*subtitles.begin_new(-1, true)).error, EAGAIN);
    EXPECT_EQ(Player::answer_of(*subtitles.begin_new(-2)).error, EINVAL);
}

TEST_F(SubtitleOrder, StopAndTearDownWakeWhoeverWaits)
{
    play(subtitles, {{64, 1, 0, 0}});
    ASSERT_EQ(commit(subtitles, 1000, 0, "one"), 0);
    const auto first = subtitles.begin_new(-1);
    ASSERT_EQ(subtitles.pause(), 0);
    EXPECT_FALSE(first->wait(0ms));
    ASSERT_EQ(subtitles.tear_down(), 0);
    EXPECT_EQ(Player::frame_of(*first).status, driver_failure);

    play(subtitles, {{128, 2, 0, 0}});
    const orka_idecode_frame_t held = subtitles.new_frame().frame;
    ASSERT_EQ(commit(subtitles, 1000, 0, "one"), 0);
    const auto second = subtitles.begin_new(-1);
    ASSERT_EQ(subtitles.stop(), 0);
    EXPECT_EQ(Player::frame_of(*second).status, driver_failure);
    EXPECT_EQ(subtitles.new_frame(-1).status, driver_done);
    EXPECT_EQ(subtitles.new_frame(-1).status, driver_failure);
    EXPECT_EQ(subtitles.commit(held), 0);
}

TEST_F(SubtitleOrder, IsToldInTheReport)
{
    EXPECT_TRUE(desk.report<nlohmann::json>()["decoders"].empty());
    play(subtitles);
    ASSERT_EQ(commit(subtitles, 500, 100, "one"), 0);
    ASSERT_EQ(commit(subtitles, 1000, 100, "two"), 0);
    ASSERT_EQ(commit(subtitles, 2000, 100, "three"), 0);
    ASSERT_EQ(at(1000), "two");
    const nlohmann::json decoder = told();
    EXPECT_EQ(decoder["node"], "subtldecode");
    EXPECT_EQ(decoder["state"], "playing");
    EXPECT_EQ(decoder["image"], "subtitle_dec");
    EXPECT_EQ(decoder["frames_in"], 3);
    EXPECT_EQ(decoder["frames_out"], 1);
    EXPECT_EQ(decoder["dropped"], 1);
    EXPECT_EQ(decoder["tsms"], 1000);
    EXPECT_EQ(decoder["queue"]["in"], 1);
    EXPECT_EQ(decoder["queue"]["in_limit"], 32);
    EXPECT_EQ(decoder["queue"]["shown"], 1);
}

} // namespace
} // namespace orka::board::desk
