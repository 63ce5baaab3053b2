/* The video encoders' images, setup, order of calls, ownership and end. */
#include "encode_desk.h"

namespace orka::board::desk {
namespace {

class EncodeImages : public EncodeDesk {};
class EncodeOwner : public EncodeDesk {};
class EncodeReport : public EncodeDesk {};

/* ---- Images ---- */

TEST_F(EncodeImages, AnUnknownImageIsRefusedAndLogged)
{
    Recorder recorder(desk);
    EXPECT_EQ(recorder.load("mpeg9_enc"), EINVAL);
    EXPECT_EQ(recorder.load_for_stills("gif_enc"), EINVAL);
    EXPECT_EQ(desk.log(), "vencode 0: there is no codec image 'mpeg9_enc'\n"
                          "imgencode: there is no codec image 'gif_enc'\n");
}

TEST_F(EncodeImages, ThereAreFourChannelsOfOneStream)
{
    Recorder recorder(desk);
    for (const auto &[channel, stream] : {std::pair(-1, 0), {4, 0}, {INT32_MIN, 0}, {0, 1}, {0, -1}})
        EXPECT_EQ(recorder.load("h264_pcm_enc", channel, stream), EINVAL) << channel << "/" << stream;
    EXPECT_EQ(recorder.load("h264_pcm_enc", 3, 0), 0);
}

TEST_F(EncodeImages, ANameWithoutEndIsNoImage)
{
    Recorder recorder(desk);
    wire::encode_framework_record record{};
    std::ranges::fill(record.name, 'x');
    EXPECT_EQ(recorder.answer(recorder.common, wire::IENCODE_LOAD_VIDEO, record).error, EINVAL);
}

TEST_F(EncodeImages, SetupWithoutAnImageIsRefused)
{
    Recorder recorder(desk);
    EXPECT_EQ(recorder.set_up(), EINVAL);
    EXPECT_EQ(desk.log(), "vencode 0: setup for codec 1 without a codec image; load one first\n");
}

TEST_F(EncodeImages, TheImageOfTheDspServesAChannelThatLoadedNone)
{
    desk.set_dsp_image("mpeg4_aac_enc");
    Recorder recorder(desk);
    EXPECT_EQ(recorder.set_up(), 0);
}

TEST_F(EncodeImages, ACodecThatTheImageDoesNotEncodeIsRefused)
{
    Recorder recorder(desk);
    ASSERT_EQ(recorder.load("mpeg4_pcm_enc"), 0);
    EXPECT_EQ(recorder.set_up(encode_params(6)), EINVAL);
    EXPECT_EQ(desk.log(), "vencode 0: image mpeg4_pcm_enc does not encode codec 6; load the image that the "
                          "selection table names for it\n");
}

TEST_F(EncodeImages, ADecodersImageEncodesNothing)
{
    Recorder recorder(desk);
    ASSERT_EQ(recorder.load("mpeg4_pcm_dec"), 0);
    EXPECT_EQ(recorder.set_up(), EINVAL);
}

TEST_F(EncodeImages, AnotherImageIsBusyWhileTheChannelIsSetUpAndTheSameOneIsNot)
{
    Recorder recorder(desk);
    set_up(recorder);
    EXPECT_EQ(recorder.load("h264_pcm_enc"), EBUSY);
    EXPECT_EQ(recorder.load("mpeg4_pcm_enc"), 0);
    EXPECT_EQ(desk.log(), "vencode 0: image h264_pcm_enc cannot be loaded while the encoder is set up with "
                          "mpeg4_pcm_enc\n");
}

TEST_F(EncodeImages, AnImageGoesWithTheFileThatLoadedIt)
{
    Recorder first(desk);
    ASSERT_EQ(first.load("mpeg4_pcm_enc"), 0);
    first.close();
    Recorder second(desk);
    EXPECT_EQ(second.set_up(), EINVAL);
}

TEST_F(EncodeImages, StillsAreServedByTheImageLoadedForThemAlone)
{
    Recorder recorder(desk);
    ASSERT_EQ(recorder.load("jpeg_enc"), 0);
    EXPECT_EQ(recorder.set_up(encode_params(10)), EINVAL);
    ASSERT_EQ(recorder.load_for_stills("jpeg_enc"), 0);
    EXPECT_EQ(recorder.set_up(encode_params(10)), 0);
    EXPECT_EQ(recorder.load_for_stills("mpeg4_pcm_enc"), EBUSY);
}

TEST_F(EncodeImages, TheImageForStillsServesNoOtherCodec)
{
    Recorder recorder(desk);
    ASSERT_EQ(recorder.load_for_stills("jpeg_enc"), 0);
    EXPECT_EQ(recorder.set_up(encode_params(1)), EINVAL);
}

TEST_F(EncodeImages, AStillWithoutASizeHasThatOfTheCamera)
{
    Recorder recorder(desk);
    ASSERT_EQ(recorder.load_for_stills("jpeg_enc"), 0);
    orka_iencode_video_params_t params = encode_params(10);
    params.width = 0;
    params.height = 0;
    ASSERT_EQ(recorder.set_up(params), 0);
    EXPECT_EQ(told()["width"], 720);
    EXPECT_EQ(told()["height"], 480);
}

/* ---- Setup ---- */

struct Absurd {
    const char *name;
    int error;
    void (*spoil)(orka_iencode_video_params_t &params);
    const char *log;
};

class EncodeSetupOf : public EncodeDesk, public ::testing::WithParamInterface<Absurd> {};

TEST_P(EncodeSetupOf, IsRefusedAndLogged)
{
    Recorder recorder(desk);
    ASSERT_EQ(recorder.load("mpeg4_pcm_enc"), 0);
    orka_iencode_video_params_t params = encode_params();
    GetParam().spoil(params);
    EXPECT_EQ(recorder.set_up(params), GetParam().error);
    EXPECT_EQ(desk.log(), GetParam().log);
    EXPECT_EQ(desk.queues(), 0U);
    EXPECT_EQ(stage.alive, 0);
    EXPECT_EQ(recorder.set_up(), 0);
}

INSTANTIATE_TEST_SUITE_P(
    Of, EncodeSetupOf,
    ::testing::Values(
        Absurd{"NoFrameRate", EINVAL, [](auto &params) { params.frame_rate = 0; },
               "vencode 0: codec 1: no frame rate\n"},
        Absurd{"NoWidth", EINVAL, [](auto &params) { params.width = 0; },
               "vencode 0: codec 1: no pictures of 0 x 240\n"},
        Absurd{"NoHeight", EINVAL, [](auto &params) { params.height = 0; },
               "vencode 0: codec 1: no pictures of 320 x 0\n"},
        Absurd{"AnEndlessWidth", EINVAL, [](auto &params) { params.width = UINT32_MAX; },
               "vencode 0: codec 1: no pictures of 4294967295 x 240\n"},
        Absurd{"AnEndlessHeight", EINVAL, [](auto &params) { params.height = 4097; },
               "vencode 0: codec 1: no pictures of 320 x 4097\n"},
        Absurd{"NoBitRate", EINVAL, [](auto &params) { params.bitrate = 0; },
               "vencode 0: codec 1: no bit rate\n"},
        Absurd{"AnEmptyQueue", EINVAL, [](auto &params) { params.bufsize = 0; },
               "vencode 0: setup asks for a queue of 0 bytes and 120 frames\n"},
        Absurd{"AQueueOfNoFrames", EINVAL, [](auto &params) { params.bufcount = 0; },
               "vencode 0: setup asks for a queue of 65536 bytes and 0 frames\n"},
        Absurd{"AQueueLargerThanMemory", ENOMEM, [](auto &params) { params.bufsize = UINT32_MAX; },
               "vencode 0: no memory for a queue of 4294967295 bytes; give the board more (--memory)\n"},
        Absurd{"AChannelThatIsNot", EINVAL, [](auto &params) { params.channel = 4; },
               "iencode: setup of channel 4; there are 4\n"},
        Absurd{"Nothing", EINVAL, [](auto &params) { params = {}; },
               "vencode 0: image mpeg4_pcm_enc does not encode codec 0; load the image that the selection "
               "table names for it\n"}),
    [](const auto &test) { return test.param.name; });

TEST_F(EncodeOwner, WhatTheDspCannotEncodeIsRefusedWithItsReason)
{
    Recorder recorder(desk);
    ASSERT_EQ(recorder.load("mpeg4_pcm_enc"), 0);
    stage.refuses = true;
    EXPECT_EQ(recorder.set_up(), EINVAL);
    EXPECT_EQ(desk.log(), "vencode 0: codec 1: not today\n");
}

/* ---- The order of calls ---- */

enum class Step : uint8_t { set_up, init, start, stop, tear_down, queue };
using Steps = std::vector<Step>;

int take(Recorder &recorder, Step step)
{
    switch (step) {
    case Step::set_up:
        return recorder.set_up();
    case Step::init:
        return recorder.init();
    case Step::start:
        return recorder.start();
    case Step::stop:
        return recorder.stop();
    case Step::tear_down:
        return recorder.tear_down();
    case Step::queue:
        break;
    }
    return recorder.order(wire::IENCODE_VIDEO_QUEUE);
}

struct Stand {
    const char *name;
    Steps before;
    Steps allowed;
};

class EncodeOrderIn : public EncodeDesk, public ::testing::WithParamInterface<Stand> {
  protected:
    void go_to(Recorder &recorder)
    {
        ASSERT_EQ(recorder.load("mpeg4_pcm_enc"), 0);
        for (const Step step : GetParam().before)
            ASSERT_EQ(take(recorder, step), 0);
    }
};

TEST_P(EncodeOrderIn, TakesWhatFollowsAndRefusesTheRest)
{
    for (const Step step :
         {Step::set_up, Step::init, Step::start, Step::stop, Step::tear_down, Step::queue}) {
        Recorder recorder(desk);
        go_to(recorder);
        const bool allowed = std::ranges::count(GetParam().allowed, step) != 0;
        EXPECT_EQ(take(recorder, step), allowed ? 0 : EINVAL) << static_cast<int>(step);
    }
}

TEST_P(EncodeOrderIn, TheLastCloseEndsEverything)
{
    Recorder recorder(desk);
    go_to(recorder);
    recorder.close();
    EXPECT_EQ(desk.queues(), 0U);
    EXPECT_EQ(stage.alive, 0);
    EXPECT_EQ(told()["state"], "idle");
}

TEST_P(EncodeOrderIn, AFrameIsTakenFromSetupOnAndRefusedWithoutOne)
{
    Recorder recorder(desk);
    go_to(recorder);
    const bool is_set_up = std::ranges::count(GetParam().allowed, Step::queue) != 0;
    const int error = recorder.get().error;
    if (is_set_up)
        EXPECT_TRUE(error == 0 || error == EAGAIN) << error;
    else
        EXPECT_EQ(error, EINVAL);
}

INSTANTIATE_TEST_SUITE_P(
    State, EncodeOrderIn,
    ::testing::Values(
        Stand{"Loaded", {}, {Step::set_up}},
        Stand{"SetUp", {Step::set_up}, {Step::init, Step::tear_down, Step::queue}},
        Stand{"Ready", {Step::set_up, Step::init}, {Step::start, Step::tear_down, Step::queue}},
        Stand{
            "Encoding", {Step::set_up, Step::init, Step::start}, {Step::stop, Step::tear_down, Step::queue}},
        Stand{"Stopped",
              {Step::set_up, Step::init, Step::start, Step::stop},
              {Step::start, Step::tear_down, Step::queue}},
        Stand{"TornDown", {Step::set_up, Step::init, Step::start, Step::tear_down}, {Step::set_up}}),
    [](const auto &test) { return test.param.name; });

/* ---- Whose it is ---- */

TEST_F(EncodeOwner, ToOtherProcessesTheChannelIsBusy)
{
    Recorder owner(desk);
    record(owner);
    Recorder other(desk, 0, 2);
    EXPECT_EQ(other.set_up(), EBUSY);
    for (const uint32_t request :
         {wire::IENCODE_INIT_VIDEO, wire::IENCODE_START_VIDEO, wire::IENCODE_STOP_VIDEO,
          wire::IENCODE_TEARDOWN_VIDEO, wire::IENCODE_VIDEO_QUEUE, wire::IENCODE_GET_VIDEO_FRAME,
          wire::IENCODE_RELEASE_VIDEO_FRAME})
        EXPECT_EQ(other.order(request), EBUSY) << request;
    EXPECT_EQ(other.get_vectors().error, EBUSY);
}

TEST_F(EncodeOwner, NoOtherFileBecomesReadable)
{
    Recorder owner(desk);
    Recorder other(desk, 0, 2);
    Recorder neighbour(desk, 1);
    record(owner);
    EXPECT_TRUE(eventually([&] { return owner.file.readable(); }));
    for (const TestFile *const file :
         {&other.file, &neighbour.file, &owner.vectors, &owner.common, &owner.stills})
        EXPECT_FALSE(file->readable());
}

TEST_F(EncodeOwner, AFileOpenedLaterIsReadableAtOnce)
{
    Recorder owner(desk);
    record(owner);
    EXPECT_TRUE(eventually([&] { return owner.file.readable(); }));
    TestFile second(wire::node::vencode0);
    desk.open(second);
    EXPECT_TRUE(second.readable());
    desk.close(second);
}

TEST_F(EncodeOwner, ClosingTheChannelsFilesEndsNothingAndClosingTheCommonOneDoes)
{
    Recorder owner(desk);
    record(owner);
    desk.close(owner.file);
    desk.close(owner.vectors);
    EXPECT_EQ(told()["state"], "encoding");
    desk.close(owner.common);
    EXPECT_EQ(told()["state"], "idle");
    EXPECT_EQ(desk.queues(), 0U);
}

TEST_F(EncodeOwner, AnotherProcessTakesOverWhatWasTornDown)
{
    Recorder first(desk);
    record(first);
    ASSERT_EQ(first.tear_down(), 0);
    Recorder second(desk, 0, 2);
    record(second);
    EXPECT_EQ(second.wait_frame().number, 0U);
    EXPECT_FALSE(first.file.readable());
}

TEST_F(EncodeOwner, CloseEndsAnEncoderInTheMidstOfAPicture)
{
    stage.gated_from = 0;
    stage.gate_open = false;
    Recorder owner(desk);
    record(owner);
    ASSERT_TRUE(eventually([&] { return stage.at_gate.load(); }));
    std::thread opener([&] {
        std::this_thread::sleep_for(20ms);
        stage.open_gate();
    });
    owner.close();
    opener.join();
    EXPECT_EQ(desk.queues(), 0U);
    EXPECT_EQ(stage.alive, 0);
}

/* ---- What the board tells ---- */

TEST_F(EncodeReport, ChannelsThatDoNothingAreIdle)
{
    const nlohmann::json idle{{"node", "vencode"}, {"channel", 3}, {"image", ""}, {"state", "idle"}};
    EXPECT_EQ(desk.report<nlohmann::json>()["encoders"].size(), 4U);
    EXPECT_EQ(told(3), idle);
}

TEST_F(EncodeReport, AnEncoderTellsItsStateItsStreamAndItsQueue)
{
    Recorder recorder(desk, 2);
    orka_iencode_video_params_t params = encode_params(1, 2);
    params.bufcount = 3;
    record(recorder, params);
    ASSERT_TRUE(eventually([&] { return told(2)["queue"]["waiting"] == 3 && told(2)["frames_in"] == 4; }));
    recorder.wait_frame();
    recorder.wait_frame();
    const nlohmann::json encoder = told(2);
    const nlohmann::json expected{
        {"node", "vencode"},
        {"channel", 2},
        {"image", "mpeg4_pcm_enc"},
        {"state", "encoding"},
        {"codec", 1},
        {"width", 320},
        {"height", 240},
        {"process", 1},
        {"frames_in", 4},
        {"frames_out", 2},
        {"dropped", 0},
        {"tsms", 33},
        {"queue",
         {{"base", recorder.queue().pbase}, {"bytes", 0x10000}, {"limit", 3}, {"waiting", 1}, {"taken", 2}}}};
    EXPECT_EQ(encoder, expected);
}

} // namespace
} // namespace orka::board::desk
