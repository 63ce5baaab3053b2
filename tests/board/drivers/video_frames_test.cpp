/* Frames on their way into and out of a video decoder. */
#include <nlohmann/json.hpp>

#include "video_desk.h"

namespace orka::board::desk {
namespace {

using ::testing::Test;

class VideoInput : public VideoDesk {};
class VideoOutput : public VideoDesk {
  protected:
    /* Twelve pictures, of which eight fill the output. */
    void play_more_than_fits(Player &player)
    {
        play(player);
        for (uint8_t i = 0; i < 12; i++)
            ASSERT_TRUE(feed(player, show, i));
        ASSERT_TRUE(player.feed_last());
    }
    bool has_full_output() { return desk.report<nlohmann::json>()["decoders"][0]["queue"]["shown"] == 8; }
    /* A decoder that was full before has had its time when another one's pictures are dropped. */
    void lose_patience_elsewhere()
    {
        Player other(desk, wire::node::vdecode, 1, 1);
        play_more_than_fits(other);
        EXPECT_EQ(other.wait(), wire::driver_done);
    }
};

/* ---- The queue's address and the side that fills ---- */

TEST_F(VideoInput, TheQueueTellsItsPlaceInWholePages)
{
    set_up(video);
    const wire::queue_record queue = video.queue();
    EXPECT_EQ(queue.pbase % page_size, 0U);
    EXPECT_EQ(queue.length, 0x300000U + (8U << 20));
    EXPECT_EQ(queue.queueid, 8U);
}

TEST_F(VideoInput, QueueNumbersThatAreNotTheVideoQueueAreRefused)
{
    set_up(video);
    for (const uint32_t queueid : {0U, 3U, 7U, 9U, UINT32_MAX}) {
        EXPECT_EQ(video.error_of(wire::IDECODE_QUEUE, wire::queue_record{0, 0, queueid}), EINVAL);
        EXPECT_EQ(video.error_of(wire::IDECODE_NEW_FRAME, wire::frame_request_record{0, 0, queueid}), EINVAL);
        EXPECT_EQ(video.error_of(wire::IDECODE_GET_FRAME, wire::frame_request_record{0, 0, queueid}), EINVAL);
        EXPECT_EQ(video.error_of(wire::IDECODE_COMMIT_FRAME, wire::frame_return_record{0, 0, queueid}),
                  EINVAL);
        EXPECT_EQ(video.error_of(wire::IDECODE_RELEASE_FRAME, wire::frame_return_record{0, 0, queueid}),
                  EINVAL);
    }
}

TEST_F(VideoInput, ANewFrameSaysKindNumberAddressAndCapacityAlone)
{
    set_up(video);
    const wire::queue_record queue = video.queue();
    const auto first = video.new_frame();
    const auto second = video.new_frame();
    EXPECT_EQ(first.status, wire::driver_done);
    const orka_idecode_frame_t expected{
        .kind = ORKA_FRAME_TYPE_VIDEO, .number = 0, .addr = queue.pbase, .capacity = 307200};
    EXPECT_EQ(std::memcmp(&first.frame, &expected, sizeof expected), 0);
    EXPECT_EQ(second.frame.number, 1U);
    EXPECT_GE(second.frame.addr, queue.pbase + 307200);
}

TEST_F(VideoInput, AFullQueueAnswersTimeoutAtOnceForNoTime)
{
    set_up(video, {.codec = 1, .bufsize = 8192, .bufcount = 2, .maxframe = 1000});
    EXPECT_EQ(video.new_frame().status, wire::driver_done);
    EXPECT_EQ(video.new_frame().status, wire::driver_done);
    const auto full = video.new_frame();
    EXPECT_EQ(full.status, wire::driver_timeout);
    EXPECT_EQ(full.frame.addr, 0U);
}

TEST_F(VideoInput, AFullQueueAnswersTimeoutWhenTheTimeIsOver)
{
    set_up(video, {.codec = 1, .bufsize = 8192, .bufcount = 1, .maxframe = 1000});
    ASSERT_EQ(video.new_frame().status, wire::driver_done);
    const auto begin = Clock::now();
    EXPECT_EQ(video.new_frame(60).status, wire::driver_timeout);
    EXPECT_GE(Clock::now() - begin, 60ms);
}

TEST_F(VideoInput, SmallFramesLeaveTheirRoomToOthers)
{
    set_up(video, {.codec = 1, .bufsize = 8192, .bufcount = 100, .maxframe = 4096});
    for (int i = 0; i < 50; i++)
        EXPECT_TRUE(feed(video, show)) << i;
}

TEST_F(VideoInput, BytesAloneCanFillTheQueue)
{
    set_up(video, {.codec = 1, .bufsize = 8192, .bufcount = 100, .maxframe = 4096});
    const std::vector<uint8_t> packet(4096, show);
    EXPECT_TRUE(video.feed(packet));
    EXPECT_TRUE(video.feed(packet));
    EXPECT_EQ(video.new_frame(0).status, wire::driver_timeout);
}

TEST_F(VideoInput, AWaitingFillerIsServedWhenThePacketsBeforeAreEaten)
{
    set_up(video, {.codec = 1, .bufsize = 8192, .bufcount = 1, .maxframe = 1000});
    ASSERT_TRUE(feed(video, show));
    const auto waiting = video.begin_new(-1);
    EXPECT_FALSE(waiting->wait(20ms));
    ASSERT_EQ(video.start(), 0);
    EXPECT_EQ(Player::frame_of(*waiting).status, wire::driver_done);
}

TEST_F(VideoInput, ANegativeTimeoutOtherThanWithoutLimitIsRefused)
{
    set_up(video);
    EXPECT_EQ(Player::answer_of(*video.begin_new(-2)).error, EINVAL);
    EXPECT_EQ(Player::answer_of(*video.begin_get(INT32_MIN)).error, EINVAL);
    ASSERT_EQ(video.start(), 0);
    EXPECT_EQ(Player::answer_of(*video.begin_wait(-2)).error, EINVAL);
}

TEST_F(VideoInput, ANonblockingCallThatWouldWaitIsToldToTryAgain)
{
    play(video, {.codec = 1, .bufsize = 8192, .bufcount = 1, .maxframe = 1000});
    ASSERT_EQ(video.new_frame().status, wire::driver_done);
    EXPECT_EQ(Player::answer_of(*video.begin_new(-1, true)).error, EAGAIN);
    EXPECT_EQ(Player::answer_of(*video.begin_get(100, true)).error, EAGAIN);
    EXPECT_EQ(Player::answer_of(*video.begin_wait(-1, true)).error, EAGAIN);
}

struct Bad {
    const char *name;
    void (*spoil)(orka_idecode_frame_t &frame);
};

class VideoCommit : public VideoDesk, public ::testing::WithParamInterface<Bad> {};

TEST_P(VideoCommit, IsRefusedAndTheBufferStaysHandedOut)
{
    play(video);
    const orka_idecode_frame_t good = video.new_frame().frame;
    orka_idecode_frame_t bad = good;
    GetParam().spoil(bad);
    EXPECT_EQ(video.commit(bad), EINVAL);
    EXPECT_EQ(video.commit(good), 0);
}

INSTANTIATE_TEST_SUITE_P(
    Of, VideoCommit,
    ::testing::Values(Bad{"NoAddress", [](auto &frame) { frame.addr = 0; }},
                      Bad{"AnAddressInsideTheBuffer", [](auto &frame) { frame.addr += 4; }},
                      Bad{"AnAddressBeforeTheQueue", [](auto &frame) { frame.addr -= 4096; }},
                      Bad{"AnAddressBeyondMemory", [](auto &frame) { frame.addr = 0xFFFFF000; }},
                      Bad{"MoreThanItsCapacity", [](auto &frame) { frame.size = 307201; }},
                      Bad{"EndlessBytes", [](auto &frame) { frame.size = UINT32_MAX; }},
                      Bad{"NoKind", [](auto &frame) { frame.kind = 0; }},
                      Bad{"Sound", [](auto &frame) { frame.kind = ORKA_FRAME_TYPE_AUDIO; }},
                      Bad{"AnUnknownKind", [](auto &frame) { frame.kind = UINT32_MAX; }},
                      Bad{"AnEndWithData",
                          [](auto &frame) {
                              frame.kind = ORKA_FRAME_TYPE_LAST;
                              frame.size = 1;
                          }}),
    [](const auto &test) { return test.param.name; });

TEST_F(VideoInput, ABufferIsCommittedOnce)
{
    set_up(video);
    const orka_idecode_frame_t frame = video.new_frame().frame;
    EXPECT_EQ(video.commit(frame), 0);
    EXPECT_EQ(video.commit(frame), EINVAL);
}

TEST_F(VideoInput, FramesAreDecodedInTheOrderOfTheirCommits)
{
    play(video);
    orka_idecode_frame_t first = video.new_frame().frame;
    orka_idecode_frame_t second = video.new_frame().frame;
    for (uint8_t value = 1; orka_idecode_frame_t * frame : {&first, &second}) {
        desk.bytes(frame->addr, 2)[0] = show;
        desk.bytes(frame->addr, 2)[1] = value++;
        frame->size = 2;
    }
    EXPECT_EQ(video.commit(second), 0);
    EXPECT_EQ(video.commit(first), 0);
    ASSERT_TRUE(video.feed_last());
    EXPECT_EQ(take_all(video), (std::vector{2, 1}));
}

TEST_F(VideoInput, WhatIsCommittedBeforeTheStartIsDecodedAfterIt)
{
    set_up(video);
    ASSERT_TRUE(feed(video, show, 7));
    ASSERT_TRUE(video.feed_last());
    EXPECT_EQ(video.get(30).status, wire::driver_timeout);
    ASSERT_EQ(video.start(), 0);
    EXPECT_EQ(take_all(video), std::vector{7});
}

TEST_F(VideoInput, AfterTheEndNothingIsTakenUntilAFlush)
{
    play(video);
    ASSERT_TRUE(video.feed_last());
    const orka_idecode_frame_t late = video.new_frame().frame;
    EXPECT_EQ(video.commit(late), EINVAL);
    ASSERT_EQ(video.flush(), 0);
    EXPECT_EQ(video.commit(late), 0);
}

TEST_F(VideoInput, HeadersGoToTheCodecAndShowNothing)
{
    play(video);
    ASSERT_TRUE(feed(video, show, 1, 0, frame_header));
    ASSERT_TRUE(video.feed_last());
    EXPECT_TRUE(take_all(video).empty());
    EXPECT_EQ(stage.headers, 1);
}

TEST_F(VideoInput, AnEmptyFrameIsNoPicture)
{
    play(video);
    ASSERT_TRUE(video.feed({}));
    ASSERT_TRUE(feed(video, show, 5));
    ASSERT_TRUE(video.feed_last());
    EXPECT_EQ(take_all(video), std::vector{5});
}

/* ---- The side that empties ---- */

TEST_F(VideoOutput, AFrameSaysWhatItHolds)
{
    play(video);
    ASSERT_TRUE(feed(video, show, 9, 1234, frame_key));
    const auto answer = video.get();
    const wire::queue_record queue = video.queue();
    const orka_idecode_frame_t expected{.kind = ORKA_FRAME_TYPE_VIDEO,
                                        .flags = frame_key,
                                        .number = 0,
                                        .addr = queue.pbase + 0x300000,
                                        .size = fake_width * 2 * fake_height,
                                        .width = fake_width,
                                        .height = fake_height,
                                        .tsms = 1234,
                                        .stride = fake_width * 2,
                                        .capacity = fake_width * 2 * fake_height};
    EXPECT_EQ(answer.status, wire::driver_done);
    EXPECT_EQ(std::memcmp(&answer.frame, &expected, sizeof expected), 0);
}

TEST_F(VideoOutput, TheEndComesAfterAllFramesWithAnAddressAndNoData)
{
    play(video);
    ASSERT_TRUE(feed(video, keep, 3, 40));
    ASSERT_TRUE(video.feed_last());
    const auto kept = video.get();
    const auto last = video.get();
    EXPECT_EQ(desk.bytes(kept.frame.addr, 1)[0], 3);
    EXPECT_EQ(last.frame.kind, static_cast<uint32_t>(ORKA_FRAME_TYPE_LAST));
    EXPECT_EQ(last.frame.size, 0U);
    EXPECT_EQ(last.frame.number, 1U);
    EXPECT_EQ(last.frame.addr, video.queue().pbase);
    EXPECT_EQ(video.release(last.frame), 0);
    EXPECT_EQ(video.get(0).status, wire::driver_timeout);
}

TEST_F(VideoOutput, AnEmptyStreamIsItsEndAlone)
{
    play(video);
    ASSERT_TRUE(video.feed_last());
    EXPECT_EQ(video.get().frame.kind, static_cast<uint32_t>(ORKA_FRAME_TYPE_LAST));
    EXPECT_EQ(video.wait(), wire::driver_done);
}

TEST_F(VideoOutput, ATakerSeesEveryFrameHoweverLateItIs)
{
    play(video);
    EXPECT_EQ(video.get(0).status, wire::driver_timeout);
    std::thread feeder([&] {
        for (uint8_t i = 0; i < 40; i++)
            EXPECT_TRUE(feed(video, show, i));
        EXPECT_TRUE(video.feed_last());
    });
    EXPECT_TRUE(eventually([&] { return has_full_output(); }));
    lose_patience_elsewhere();
    std::vector<int> expected(40);
    for (int i = 0; i < 40; i++)
        expected[static_cast<size_t>(i)] = i;
    EXPECT_EQ(take_all(video), expected);
    feeder.join();
}

TEST_F(VideoOutput, AProgramThatTakesNothingStillPlays)
{
    play(video);
    for (uint8_t i = 0; i < 40; i++)
        ASSERT_TRUE(feed(video, show, i, i));
    ASSERT_TRUE(video.feed_last());
    EXPECT_EQ(video.wait(), wire::driver_done);
    EXPECT_EQ(clock(video), 39U);
}

TEST_F(VideoOutput, AFullOutputHoldsTheDecoderBackAtFirst)
{
    const auto begin = Clock::now();
    play_more_than_fits(video);
    EXPECT_EQ(video.wait(), wire::driver_done);
    EXPECT_GE(Clock::now() - begin, Session::patience);
}

TEST_F(VideoOutput, OneLateTakerStillGetsWhatWasNotSeen)
{
    play_more_than_fits(video);
    ASSERT_EQ(video.wait(), wire::driver_done);
    EXPECT_EQ(take_all(video), (std::vector{8, 9, 10, 11}));
}

TEST_F(VideoOutput, APictureLargerThanTheOutputIsDroppedAndTheNextOneTellsSo)
{
    play(video);
    ASSERT_TRUE(feed(video, huge, 1));
    ASSERT_TRUE(feed(video, show, 2));
    const auto answer = video.get();
    EXPECT_EQ(desk.bytes(answer.frame.addr, 1)[0], 2);
    EXPECT_EQ(answer.frame.flags, static_cast<uint32_t>(frame_damaged));
    EXPECT_EQ(desk.log(),
              "vdecode 0/0: dropped a frame of 33554432 bytes, which is more than the output queue holds\n");
}

TEST_F(VideoOutput, DamageIsLoggedOncePerBurstAndMarkedOnTheNextPicture)
{
    play(video);
    for (const Script script : {show, damage, damage, throws, show, show})
        ASSERT_TRUE(feed(video, script));
    EXPECT_EQ(video.get().frame.flags, 0U);
    EXPECT_EQ(video.get().frame.flags, static_cast<uint32_t>(frame_damaged));
    EXPECT_EQ(video.get().frame.flags, 0U);
    EXPECT_EQ(desk.log(), "vdecode 0/0: damaged packet: as scripted\n"
                          "vdecode 0/0: 3 damaged packets one after the other\n");
}

TEST_F(VideoOutput, APacketThatShowedAPictureLeavesItsDamageToTheCodec)
{
    play(video);
    ASSERT_TRUE(feed(video, mend));
    ASSERT_TRUE(feed(video, show));
    EXPECT_EQ(video.get().frame.flags, 0U);
    EXPECT_EQ(video.get().frame.flags, 0U);
}

TEST_F(VideoOutput, OnlyWhatIsHeldCanBeReleasedAndOnlyOnce)
{
    play(video);
    ASSERT_TRUE(feed(video, show));
    const orka_idecode_frame_t frame = video.get().frame;
    for (const uint32_t addr : {0U, frame.addr + 2, video.queue().pbase, 0xFFFFFFFFU}) {
        orka_idecode_frame_t other = frame;
        other.addr = addr;
        EXPECT_EQ(video.release(other), EINVAL) << addr;
    }
    EXPECT_EQ(video.release(frame), 0);
    EXPECT_EQ(video.release(frame), EINVAL);
}

TEST_F(VideoOutput, AWaitingTakerGetsTheNextFrame)
{
    play(video);
    const auto first = video.begin_get(-1);
    const auto second = video.begin_get(10'000);
    EXPECT_FALSE(first->wait(20ms));
    ASSERT_TRUE(feed(video, show, 1));
    ASSERT_TRUE(feed(video, show, 2));
    EXPECT_EQ(desk.bytes(Player::frame_of(*first).frame.addr, 1)[0], 1);
    EXPECT_EQ(desk.bytes(Player::frame_of(*second).frame.addr, 1)[0], 2);
}

TEST_F(VideoOutput, NoFrameWithinTheTimeIsATimeout)
{
    play(video);
    const auto begin = Clock::now();
    EXPECT_EQ(video.get(50).status, wire::driver_timeout);
    EXPECT_GE(Clock::now() - begin, 50ms);
    EXPECT_EQ(video.get(0).status, wire::driver_timeout);
}

TEST_F(VideoOutput, TheFileIsReadableWhileAFrameWaits)
{
    play(video);
    EXPECT_FALSE(video.file.readable());
    ASSERT_TRUE(feed(video, show));
    EXPECT_TRUE(eventually([&] { return video.file.readable(); }));
    video.get();
    EXPECT_FALSE(video.file.readable());
}

TEST_F(VideoOutput, TheFileOfTwoDecodersIsReadableWhileEitherHasAFrame)
{
    Player second(desk, wire::node::vdecode, 1, 1);
    play(video);
    play(second);
    ASSERT_TRUE(feed(second, show));
    EXPECT_TRUE(eventually([&] { return second.file.readable(); }));
    EXPECT_FALSE(video.file.readable());
    EXPECT_EQ(second.tear_down(), 0);
    EXPECT_FALSE(second.file.readable());
}

} // namespace
} // namespace orka::board::desk
