/* What comes out of the video encoders: frames, motion vectors, the end, and what is dropped. */
#include "drivers/encode_session.h"
#include "encode_desk.h"

namespace orka::board::desk {
namespace {

class EncodeFrames : public EncodeDesk {};
class EncodeEnd : public EncodeDesk {};
class EncodeVectors : public EncodeDesk {};
class EncodeChannels : public EncodeDesk {};
class EncodeRealTime : public EncodeDesk {
  protected:
    EncodeRealTime() : EncodeDesk(true) {}
};

orka_iencode_video_params_t small_queue(uint32_t bufcount)
{
    orka_iencode_video_params_t params = encode_params();
    params.bufcount = bufcount;
    return params;
}

/* ---- Frames ---- */

TEST_F(EncodeFrames, AFrameSaysWhatItHolds)
{
    Recorder recorder(desk);
    record(recorder);
    const orka_iencode_frame_t frame = recorder.wait_frame();
    const orka_iencode_frame_t expected{.kind = ORKA_FRAME_TYPE_VIDEO,
                                        .flags = frame_key,
                                        .number = 0,
                                        .addr = recorder.queue().pbase,
                                        .size = 64,
                                        .width = 320,
                                        .height = 240,
                                        .timestamp = 0,
                                        .stride = 0,
                                        .capacity = 64,
                                        .duration = 33};
    EXPECT_EQ(std::memcmp(&frame, &expected, sizeof frame), 0);
}

TEST_F(EncodeFrames, TheQueueIsAsLongAsTheSetupAskedInWholePages)
{
    Recorder recorder(desk);
    orka_iencode_video_params_t params = encode_params();
    params.bufsize = 5000;
    set_up(recorder, params);
    EXPECT_EQ(recorder.queue().length, 8192U);
    EXPECT_FALSE(desk.bytes(recorder.queue().pbase, 8192).empty());
}

TEST_F(EncodeFrames, TimeStampsAreThoseOfCaptureAndDoNotDrift)
{
    Recorder recorder(desk);
    record(recorder);
    for (uint32_t n = 0; n < 400; n++) {
        const orka_iencode_frame_t frame = recorder.wait_frame();
        ASSERT_EQ(frame.number, n);
        ASSERT_EQ(frame.timestamp, n * 1000 / 30);
        ASSERT_EQ(frame.flags, n % 15 == 0 ? uint32_t{frame_key} : 0U);
        ASSERT_EQ(recorder.stamp_of(frame).shown_us, (uint64_t{n} * 1'000'000 + 29) / 30);
        ASSERT_EQ(recorder.release(), 0);
    }
}

TEST_F(EncodeFrames, PicturesAreThoseOfTheStandardAtTheStart)
{
    Recorder recorder(desk);
    set_up(recorder);
    desk.set_standard(pal);
    ASSERT_EQ(recorder.start(), 0);
    EXPECT_EQ(recorder.stamp_of(recorder.wait_frame()).standard_height, 576U);
}

TEST_F(EncodeFrames, AHeaderComesBeforeThePicturesAndIsMarked)
{
    stage.with_header = true;
    Recorder recorder(desk);
    record(recorder);
    const orka_iencode_frame_t header = recorder.next_frame();
    EXPECT_EQ(header.flags, uint32_t{frame_header});
    EXPECT_EQ(header.size, 3U);
    EXPECT_EQ(recorder.next_frame().number, 1U);
}

TEST_F(EncodeFrames, WithoutAFrameTheProgramIsToldToTryAgain)
{
    Recorder recorder(desk);
    set_up(recorder);
    EXPECT_EQ(recorder.get().error, EAGAIN);
    EXPECT_EQ(recorder.release(), EINVAL);
}

TEST_F(EncodeFrames, TheFileIsReadableExactlyWhileAFrameWaits)
{
    Recorder recorder(desk);
    EXPECT_FALSE(recorder.file.readable());
    record(recorder, small_queue(1));
    orka_iencode_frame_t frame = recorder.wait_frame();
    EXPECT_FALSE(recorder.file.readable());
    EXPECT_EQ(recorder.get().error, EAGAIN);
    EXPECT_EQ(recorder.release(), 0);
    frame = recorder.wait_frame();
    EXPECT_EQ(frame.number, 1U);
}

TEST_F(EncodeFrames, SeveralAreHeldAndReleasedInTurn)
{
    Recorder recorder(desk);
    record(recorder, small_queue(2));
    const orka_iencode_frame_t first = recorder.wait_frame();
    const orka_iencode_frame_t second = recorder.wait_frame();
    EXPECT_EQ(recorder.stamp_of(first).serial, 0U);
    EXPECT_EQ(recorder.release(), 0);
    EXPECT_EQ(recorder.wait_frame().number, 2U);
    EXPECT_EQ(recorder.stamp_of(second).serial, 1U);
    EXPECT_EQ(recorder.release(), 0);
    EXPECT_EQ(recorder.release(), 0);
    EXPECT_EQ(recorder.next_frame().number, 3U);
}

TEST_F(EncodeFrames, WhatIsNotTakenHoldsTheEncoderUpAndNothingIsLost)
{
    Recorder recorder(desk);
    record(recorder, small_queue(4));
    ASSERT_TRUE(eventually([&] { return told()["frames_in"] == 5; }));
    EXPECT_EQ(told()["queue"]["waiting"], 4);
    for (uint32_t n = 0; n < 50; n++)
        ASSERT_EQ(recorder.next_frame().timestamp, n * 1000 / 30);
    EXPECT_EQ(told()["dropped"], 0);
}

TEST_F(EncodeFrames, BytesAloneCanFillTheQueue)
{
    stage.packet_size = 20'000;
    Recorder recorder(desk);
    record(recorder);
    ASSERT_TRUE(eventually([&] { return told()["frames_in"] == 4; }));
    EXPECT_EQ(told()["queue"]["waiting"], 3);
    for (uint32_t n = 0; n < 20; n++)
        ASSERT_EQ(recorder.stamp_of(recorder.next_frame()).codec, 1U);
}

TEST_F(EncodeFrames, FailuresAreLoggedOncePerBurstCountedAndMarkedOnTheNextFrame)
{
    stage.fails_from = 1;
    stage.fails_until = 4;
    Recorder recorder(desk);
    record(recorder);
    EXPECT_EQ(recorder.next_frame().flags, uint32_t{frame_key});
    const orka_iencode_frame_t next = recorder.next_frame();
    EXPECT_EQ(next.flags, uint32_t{frame_damaged});
    EXPECT_EQ(next.number, 1U);
    EXPECT_EQ(next.timestamp, 4U * 1000 / 30);
    EXPECT_EQ(told()["dropped"], 3);
    EXPECT_EQ(desk.log(), "vencode 0: cannot encode: as scripted\n"
                          "vencode 0: 3 failures one after the other\n");
}

TEST_F(EncodeFrames, AnEncoderThatThrowsLosesItsPictureAlone)
{
    stage.throws_at = 1;
    Recorder recorder(desk);
    record(recorder);
    EXPECT_EQ(recorder.next_frame().timestamp, 0U);
    EXPECT_EQ(recorder.next_frame().timestamp, 66U);
    EXPECT_EQ(desk.log(), "vencode 0: cannot encode: out of luck\n");
}

TEST_F(EncodeFrames, AFrameLargerThanTheQueueIsDropped)
{
    stage.huge_at = 1;
    Recorder recorder(desk);
    record(recorder);
    EXPECT_EQ(recorder.next_frame().number, 0U);
    const orka_iencode_frame_t next = recorder.next_frame();
    EXPECT_EQ(next.number, 1U);
    EXPECT_EQ(next.flags, uint32_t{frame_damaged});
    EXPECT_EQ(desk.log(),
              "vencode 0: dropped a frame of 67108864 bytes, which is more than the queue holds\n");
}

/* ---- The end ---- */

TEST_F(EncodeEnd, WhatWasCapturedComesOutAndThenLast)
{
    stage.hold_back = true;
    Recorder recorder(desk);
    record(recorder);
    ASSERT_TRUE(eventually([&] { return told()["frames_in"] > 10; }));
    ASSERT_EQ(recorder.stop(), 0);
    std::vector<orka_iencode_frame_t> frames;
    orka_iencode_frame_t last = recorder.next_frame();
    for (; last.kind == ORKA_FRAME_TYPE_VIDEO; last = recorder.next_frame())
        frames.push_back(last);
    EXPECT_EQ(frames.size(), told()["frames_in"]);
    const orka_iencode_frame_t expected{
        .kind = ORKA_FRAME_TYPE_LAST,
        .number = static_cast<uint32_t>(frames.size()),
        .addr = recorder.queue().pbase,
        .timestamp = frames.back().timestamp + frames.back().duration,
    };
    EXPECT_EQ(std::memcmp(&last, &expected, sizeof last), 0);
    EXPECT_EQ(recorder.release(), EINVAL);
    EXPECT_EQ(recorder.get().error, EAGAIN);
}

TEST_F(EncodeEnd, AStoppedEncoderWithAFullQueueLosesNothing)
{
    Recorder recorder(desk);
    record(recorder, small_queue(2));
    ASSERT_TRUE(eventually([&] { return told()["frames_in"] == 3; }));
    ASSERT_EQ(recorder.stop(), 0);
    EXPECT_EQ(recorder.take_all().size(), 3U);
}

TEST_F(EncodeEnd, AStartAfterStopIsAStreamOfItsOwn)
{
    Recorder recorder(desk);
    record(recorder, small_queue(3));
    ASSERT_TRUE(holds(3));
    ASSERT_EQ(recorder.stop(), 0);
    ASSERT_FALSE(recorder.take_all().empty());
    ASSERT_EQ(recorder.start(), 0);
    const orka_iencode_frame_t first = recorder.next_frame();
    EXPECT_EQ(first.number, 0U);
    EXPECT_EQ(first.timestamp, 0U);
    EXPECT_EQ(stage.made, 2);
}

TEST_F(EncodeEnd, WhatIsLeftOfOneStreamStaysBeforeTheNext)
{
    Recorder recorder(desk);
    record(recorder, small_queue(3));
    ASSERT_TRUE(eventually([&] { return told()["frames_in"] == 4; }));
    ASSERT_EQ(recorder.stop(), 0);
    ASSERT_EQ(recorder.start(), 0);
    EXPECT_EQ(recorder.take_all().size(), 4U);
    EXPECT_EQ(recorder.next_frame().number, 0U);
}

TEST_F(EncodeEnd, EveryStreamHasItsEndHoweverShortItWas)
{
    Recorder recorder(desk);
    set_up(recorder, small_queue(2));
    for (int i = 0; i < 10; i++) {
        ASSERT_EQ(recorder.start(), 0);
        ASSERT_EQ(recorder.stop(), 0);
    }
    for (int i = 0; i < 10; i++)
        recorder.take_all();
    EXPECT_EQ(recorder.get().error, EAGAIN);
}

TEST_F(EncodeEnd, ACodecThatCannotBeMadeAgainLeavesAnEmptyStream)
{
    Recorder recorder(desk);
    record(recorder, small_queue(1));
    recorder.wait_frame();
    ASSERT_EQ(recorder.stop(), 0);
    ASSERT_EQ(recorder.release(), 0);
    recorder.take_all();
    stage.refuses = true;
    ASSERT_EQ(recorder.start(), 0);
    ASSERT_TRUE(eventually([&] { return told()["dropped"] > 0; }));
    ASSERT_EQ(recorder.stop(), 0);
    EXPECT_TRUE(recorder.take_all().empty());
    EXPECT_EQ(desk.log(), "vencode 0: cannot encode: not today\n");
}

TEST_F(EncodeEnd, TearDownDropsEverything)
{
    Recorder recorder(desk);
    record(recorder);
    recorder.wait_frame();
    ASSERT_EQ(recorder.tear_down(), 0);
    EXPECT_FALSE(recorder.file.readable());
    EXPECT_EQ(desk.queues(), 0U);
    EXPECT_EQ(recorder.get().error, EINVAL);
    EXPECT_EQ(recorder.release(), EINVAL);
}

/* ---- Motion vectors ---- */

TEST_F(EncodeVectors, ThereAreNoneUntilTheirQueueIsAskedFor)
{
    Recorder recorder(desk);
    record(recorder, small_queue(1));
    recorder.wait_frame();
    EXPECT_EQ(recorder.get_vectors().error, EINVAL);
    EXPECT_EQ(recorder.release_vectors(), EINVAL);
    EXPECT_FALSE(recorder.vectors.readable());
}

TEST_F(EncodeVectors, APicturesVectorsHaveItsNumberAndTime)
{
    Recorder recorder(desk);
    set_up(recorder);
    const wire::video_encode_queue_record queue = recorder.vector_queue();
    EXPECT_NE(queue.pbase, recorder.queue().pbase);
    ASSERT_EQ(recorder.start(), 0);
    const orka_iencode_frame_t frame = recorder.wait_vectors();
    const orka_iencode_frame_t expected{.kind = ORKA_FRAME_TYPE_MOTION_VECTOR,
                                        .flags = frame.number % 15 == 0 ? uint32_t{frame_key} : 0U,
                                        .number = frame.number,
                                        .addr = frame.addr,
                                        .size = 20 * 15 * 8,
                                        .width = 320,
                                        .height = 240,
                                        .timestamp = frame.number * 1000 / 30,
                                        .stride = 20 * 8,
                                        .capacity = 20 * 15 * 8,
                                        .duration = 33};
    EXPECT_EQ(std::memcmp(&frame, &expected, sizeof frame), 0);
    EXPECT_GE(frame.addr, queue.pbase);
    EXPECT_LE(frame.addr + frame.size, queue.pbase + queue.length);
    MotionVector vector;
    std::memcpy(&vector, desk.bytes(frame.addr, sizeof vector).data(), sizeof vector);
    EXPECT_EQ(vector.dx, static_cast<int16_t>(frame.number));
    EXPECT_EQ(recorder.release_vectors(), 0);
    EXPECT_EQ(recorder.release_vectors(), EINVAL);
}

TEST_F(EncodeVectors, TheOldestAreDroppedWhenNobodyTakesThem)
{
    Recorder recorder(desk);
    set_up(recorder);
    recorder.vector_queue();
    ASSERT_EQ(recorder.start(), 0);
    for (int i = 0; i < 60; i++)
        recorder.next_frame();
    const uint32_t first = recorder.wait_vectors().number;
    EXPECT_GE(first, 60U - EncodeSession::vector_count - 1);
    EXPECT_GT(told()["vectors"]["dropped"], 0);
    EXPECT_EQ(told()["dropped"], 0);
}

TEST_F(EncodeVectors, AHeldOneIsKept)
{
    Recorder recorder(desk);
    set_up(recorder);
    recorder.vector_queue();
    ASSERT_EQ(recorder.start(), 0);
    const orka_iencode_frame_t held = recorder.wait_vectors();
    for (int i = 0; i < 60; i++)
        recorder.next_frame();
    MotionVector vector;
    std::memcpy(&vector, desk.bytes(held.addr, sizeof vector).data(), sizeof vector);
    EXPECT_EQ(vector.dx, static_cast<int16_t>(held.number));
}

TEST_F(EncodeVectors, TheHeadersHaveNone)
{
    stage.with_header = true;
    Recorder recorder(desk);
    set_up(recorder, small_queue(2));
    recorder.vector_queue();
    ASSERT_EQ(recorder.start(), 0);
    EXPECT_EQ(recorder.wait_vectors().number, 1U);
}

/* ---- Channels ---- */

TEST_F(EncodeChannels, FourEncodeAtOnceEachItsOwn)
{
    constexpr uint32_t codecs[] = {1, 6, 8, 10};
    constexpr const char *images[] = {"mpeg4_pcm_enc", "h264_pcm_enc", "mpeg2_pcm_enc", "mpeg4_pcm_enc"};
    std::vector<std::unique_ptr<Recorder>> recorders;
    for (uint32_t i = 0; i < 4; i++) {
        recorders.push_back(std::make_unique<Recorder>(desk, i));
        ASSERT_EQ(recorders[i]->load_for_stills("jpeg_enc"), 0);
        orka_iencode_video_params_t params = encode_params(codecs[i], i);
        params.width = 160 * (i + 1);
        record(*recorders[i], params, images[i]);
    }
    for (uint32_t n = 0; n < 50; n++) {
        for (uint32_t i = 0; i < 4; i++) {
            const orka_iencode_frame_t frame = recorders[i]->next_frame();
            ASSERT_EQ(frame.number, n);
            ASSERT_EQ(frame.width, 160 * (i + 1));
            ASSERT_EQ(recorders[i]->stamp_of(frame).codec, codecs[i]);
        }
    }
}

TEST_F(EncodeChannels, OneThatNobodyTakesFromHoldsNoOtherUp)
{
    Recorder idle(desk, 0);
    record(idle, small_queue(1));
    ASSERT_TRUE(holds(1));
    Recorder busy(desk, 1);
    record(busy, encode_params(1, 1));
    for (uint32_t n = 0; n < 100; n++)
        ASSERT_EQ(busy.next_frame().number, n);
}

TEST_F(EncodeChannels, NoneRunsMoreThanASecondAheadOfOneThatWorks)
{
    stage.gate_open = false;
    stage.gated_from = 5;
    Recorder slow(desk, 0);
    record(slow);
    ASSERT_TRUE(eventually([&] { return stage.at_gate.load(); }));
    stage.gated_from = -1;
    Recorder quick(desk, 1);
    record(quick, encode_params(1, 1));
    const uint32_t first = quick.wait_frame().timestamp;
    ASSERT_TRUE(eventually([&] { return told(1)["frames_in"] == 35; }));
    EXPECT_EQ(first, 0U);
    stage.open_gate();
    EXPECT_TRUE(eventually([&] { return told(1)["frames_in"] > 44; }));
}

/* ---- Real time ---- */

TEST_F(EncodeRealTime, WithAFullQueueWholePicturesAreDroppedAndCounted)
{
    Recorder recorder(desk);
    record(recorder, small_queue(2));
    ASSERT_TRUE(eventually([&] { return told()["dropped"] > 2; }));
    std::vector<orka_iencode_frame_t> frames;
    for (uint32_t n = 0; n < 4; n++) {
        frames.push_back(recorder.next_frame());
        EXPECT_EQ(frames.back().number, n);
    }
    EXPECT_GT(frames[3].timestamp - frames[2].timestamp, 2U * 33);
    EXPECT_EQ(desk.log(), "vencode 0: the queue is full: what is captured until frames are released is "
                          "dropped\n");
}

TEST_F(EncodeRealTime, PicturesAreTakenAtTheFrameTimes)
{
    Recorder recorder(desk);
    record(recorder);
    uint32_t before = 0;
    for (int i = 0; i < 10; i++) {
        const uint64_t shown_us = recorder.stamp_of(recorder.wait_frame()).shown_us;
        const auto number = static_cast<uint32_t>(shown_us * 30 / 1'000'000);
        EXPECT_EQ(shown_us, (uint64_t{number} * 1'000'000 + 29) / 30);
        EXPECT_TRUE(i == 0 || number > before);
        before = number;
        EXPECT_EQ(recorder.release(), 0);
    }
}

TEST_F(EncodeRealTime, AnEncoderThatIsTooSlowLosesPicturesAndCatchesUp)
{
    stage.gate_open = false;
    stage.gated_from = 1;
    Recorder recorder(desk);
    record(recorder);
    ASSERT_TRUE(eventually([&] { return stage.at_gate.load(); }));
    const uint64_t late_us = desk.captured_us() + EncodeWorker::longest_lag_us + 1'000'000 / 30;
    ASSERT_TRUE(eventually([&] { return desk.captured_us() > late_us; }));
    stage.open_gate();
    ASSERT_TRUE(eventually([&] { return told()["dropped"] > 0; }));
    EXPECT_EQ(desk.log(), "vencode 0: the encoder is too slow: what it cannot keep up with is dropped\n");
    ASSERT_EQ(recorder.stop(), 0);
    const auto frames = recorder.take_all();
    EXPECT_EQ(frames.size() + told()["dropped"].get<size_t>(), told()["frames_in"]);
}

TEST_F(EncodeRealTime, StopNeedNotWaitForTheNextPicture)
{
    Recorder recorder(desk);
    orka_iencode_video_params_t params = encode_params();
    params.frame_rate = 1;
    params.key_distance = 1;
    const auto begin = Clock::now();
    record(recorder, params);
    const auto come = 1 + (Clock::now() - begin) / 1s;
    EXPECT_EQ(recorder.stop(), 0);
    EXPECT_LE(static_cast<int64_t>(recorder.take_all().size()), come);
}

} // namespace
} // namespace orka::board::desk
