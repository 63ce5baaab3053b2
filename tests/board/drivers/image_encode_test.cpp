/* The encoder of stills: image, setup, gets and their pictures, failures, ownership. */
#include <nlohmann/json.hpp>

#include "encode_desk.h"
#include "open_node.h"

namespace orka::board::desk {
namespace {

/* What the test has the encoders of stills do. */
struct StillStage {
    std::atomic<uint32_t> size = 64;
    std::atomic<bool> fails = false;
    std::atomic<bool> throws = false;
    std::atomic<bool> gate_open = true;
    std::atomic<bool> at_gate = false;
    std::atomic<int> alive = 0;

    void open_gate()
    {
        gate_open = true;
        gate_open.notify_all();
    }
};

class FakeStills final : public ImageEncoder {
  public:
    FakeStills(StillStage &stage, const ImageCoding &coding) : stage_(stage), coding_(coding)
    {
        stage_.alive++;
    }
    ~FakeStills() override { stage_.alive--; }
    bool encode(const CapturedPicture &picture, const CodedSink &sink) override
    {
        stage_.at_gate = true;
        stage_.gate_open.wait(false);
        stage_.at_gate = false;
        if (stage_.throws)
            throw std::runtime_error("out of luck");
        if (stage_.fails)
            return false;
        Stamp stamp{.standard_height = picture.height, .codec = coding_.type, .width = coding_.width};
        std::memcpy(&stamp.shown_us, picture.uyvy.data(), sizeof stamp.shown_us);
        std::vector<uint8_t> data(stage_.size);
        std::memcpy(data.data(), &stamp, sizeof stamp);
        sink({.data = data, .tsms = picture.tsms, .key = true});
        return true;
    }
    const std::string &error() const override { return error_; }

  private:
    StillStage &stage_;
    const ImageCoding coding_;
    const std::string error_ = "as scripted";
};

/* A program with the node open, one request a line. */
class Photographer : public OpenNode {
  public:
    explicit Photographer(Desk &desk, int32_t process = 1) : OpenNode(desk, wire::node::imgencode, process) {}

    int load(const std::string &name) { return OpenNode::load(wire::IENCODE_LOAD_IMAGE, name); }
    int set_up(const wire::image_encode_setup_record &record)
    {
        return error_of(wire::IENCODE_SETUP_IMAGE, record);
    }
    int tear_down() { return error_of(wire::IENCODE_TEARDOWN_IMAGE, wire::audio_encoder_record{}); }
    std::shared_ptr<TestCall> begin_get(int32_t timeout, bool nonblocking = false)
    {
        return desk_.begin(file, wire::IENCODE_GET_IMAGE, request(timeout), nonblocking);
    }
    static wire::encode_frame_request_record frame_of(TestCall &call)
    {
        return Player::answer_of(call).as<wire::encode_frame_request_record>();
    }
    wire::encode_frame_request_record get(int32_t timeout = 20'000) { return frame_of(*begin_get(timeout)); }
    int release(uint32_t address)
    {
        return error_of(wire::IENCODE_RELEASE_IMAGE,
                        wire::encode_frame_return_record{.queueid = 8, .frame = {.addr = address}});
    }
    wire::audio_encode_queue_record queue()
    {
        return Player::answer_of(*desk_.begin(file, wire::IENCODE_IMAGE_QUEUE,
                                              wire::audio_encode_queue_record{.queueid = 8}))
            .as<wire::audio_encode_queue_record>();
    }
    Stamp stamp_of(const orka_iencode_frame_t &frame)
    {
        Stamp stamp;
        std::memcpy(&stamp, desk_.bytes(frame.addr, sizeof stamp).data(), sizeof stamp);
        return stamp;
    }
    static wire::encode_frame_request_record request(int32_t timeout)
    {
        return {.queueid = 8, .timeout = static_cast<uint32_t>(timeout), .status = 77};
    }
};

class StillEncoders : public ::testing::Test {
  protected:
    explicit StillEncoders(bool real_time) : desk(real_time)
    {
        desk.attach([this](Machine &machine) {
            machine.camera = &camera;
            return make_video_encode_driver(
                machine,
                [this](const auto &params, std::string &) {
                    return std::make_unique<FakeEncoder>(video_stage, params);
                },
                [this](const ImageCoding &coding, std::string &why) -> std::unique_ptr<ImageEncoder> {
                    why = "not today";
                    return coding.quality == 13 ? nullptr : std::make_unique<FakeStills>(stage, coding);
                });
        });
    }
    ~StillEncoders() override { stage.open_gate(); }

    EncoderStage video_stage;
    StillStage stage;
    FakeCamera camera;
    Desk desk;
};

class StillEncoderDesk : public StillEncoders {
  protected:
    explicit StillEncoderDesk(bool real_time = false) : StillEncoders(real_time) {}
    ~StillEncoderDesk() override { stage.open_gate(); }

    void set_up(Photographer &who, const wire::image_encode_setup_record &record = {.type = 4})
    {
        ASSERT_EQ(who.load("image_enc"), 0);
        ASSERT_EQ(who.set_up(record), 0);
    }
    void occupy()
    {
        stage.gate_open = false;
        camera_man.begin_get(0);
        ASSERT_TRUE(eventually([this] { return stage.at_gate.load(); }));
    }

    Photographer camera_man{desk};
};

class StillEncoderInRealTime : public StillEncoderDesk {
  protected:
    StillEncoderInRealTime() : StillEncoderDesk(true) {}
};

/* ---- Image and setup ---- */

TEST_F(StillEncoderDesk, SetupWithoutAnImageIsRefusedAndLogged)
{
    EXPECT_EQ(camera_man.set_up({.type = 3}), EINVAL);
    EXPECT_EQ(desk.log(), "imgencode: setup for image type 3 without a codec image; load one first\n");
}

TEST_F(StillEncoderDesk, TheImageForStillsEncodesAllTypesAndJpegsImageJpegAlone)
{
    ASSERT_EQ(camera_man.load("image_enc"), 0);
    for (uint32_t type = 1; type <= 5; type++) {
        EXPECT_EQ(camera_man.set_up({.type = type}), 0) << type;
        EXPECT_EQ(camera_man.tear_down(), 0);
    }
    EXPECT_EQ(camera_man.set_up({.type = 0}), EINVAL);
    EXPECT_EQ(camera_man.set_up({.type = 6}), EINVAL);
    ASSERT_EQ(camera_man.load("jpeg_enc"), 0);
    EXPECT_EQ(camera_man.set_up({.type = 3}), 0);
    EXPECT_EQ(camera_man.tear_down(), 0);
    EXPECT_EQ(camera_man.set_up({.type = 4}), EINVAL);
    EXPECT_NE(desk.log().find(
                  "imgencode: image jpeg_enc does not encode image type 4; image_enc encodes types 1 to 5\n"),
              std::string::npos)
        << desk.log();
}

TEST_F(StillEncoderDesk, WhatTheDspCannotEncodeIsRefusedAndLogged)
{
    ASSERT_EQ(camera_man.load("image_enc"), 0);
    EXPECT_EQ(camera_man.set_up({.type = 3, .quality = 13}), EINVAL);
    EXPECT_EQ(desk.log(), "imgencode: image type 3: not today\n");
}

TEST_F(StillEncoderDesk, AnotherImageIsBusyWhileItIsSetUp)
{
    set_up(camera_man);
    EXPECT_EQ(camera_man.load("jpeg_enc"), EBUSY);
    EXPECT_EQ(camera_man.load("image_enc"), 0);
    ASSERT_EQ(camera_man.tear_down(), 0);
    EXPECT_EQ(camera_man.load("jpeg_enc"), 0);
}

TEST_F(StillEncoderDesk, ThereIsOneChannelOfOneStream)
{
    ASSERT_EQ(camera_man.load("image_enc"), 0);
    EXPECT_EQ(camera_man.set_up({.channel = 1, .type = 4}), EINVAL);
    EXPECT_EQ(camera_man.set_up({.stream = 1, .type = 4}), EINVAL);
    EXPECT_EQ(camera_man.set_up({.type = 4}), 0);
    EXPECT_EQ(camera_man.error_of(wire::IENCODE_TEARDOWN_IMAGE, wire::audio_encoder_record{.channel = 1}),
              EINVAL);
}

TEST_F(StillEncoderDesk, WithoutASizeItIsThatOfCapture)
{
    desk.set_standard(pal);
    set_up(camera_man);
    const orka_iencode_frame_t frame = camera_man.get().frame;
    EXPECT_EQ(frame.width, 720U);
    EXPECT_EQ(frame.height, 576U);
    EXPECT_EQ(camera_man.stamp_of(frame).standard_height, 576U);
}

TEST_F(StillEncoderDesk, MorePixelsThanThereIsMemoryForAreRefused)
{
    ASSERT_EQ(camera_man.load("image_enc"), 0);
    EXPECT_EQ(camera_man.set_up({.type = 4, .width = 1U << 20, .height = 1U << 20}), ENOMEM);
    EXPECT_NE(desk.log().find("imgencode: no memory for a queue of "), std::string::npos);
}

/* ---- The order of calls, and whose it is ---- */

TEST_F(StillEncoderDesk, BeforeSetupNothingElseIsLegalAndSetupIsNotRepeated)
{
    EXPECT_EQ(camera_man.tear_down(), EINVAL);
    EXPECT_EQ(Player::answer_of(*camera_man.begin_get(0)).error, EINVAL);
    EXPECT_EQ(camera_man.release(0), EINVAL);
    EXPECT_EQ(camera_man.error_of(wire::IENCODE_IMAGE_QUEUE, wire::audio_encode_queue_record{.queueid = 8}),
              EINVAL);
    set_up(camera_man);
    EXPECT_EQ(camera_man.set_up({.type = 4}), EINVAL);
    EXPECT_EQ(camera_man.tear_down(), 0);
    EXPECT_EQ(camera_man.tear_down(), EINVAL);
}

TEST_F(StillEncoderDesk, OtherQueuesAreRefused)
{
    set_up(camera_man);
    for (const uint32_t queueid : {0U, 3U, 9U})
        EXPECT_EQ(camera_man.error_of(wire::IENCODE_IMAGE_QUEUE,
                                      wire::audio_encode_queue_record{.queueid = queueid}),
                  EINVAL);
}

TEST_F(StillEncoderDesk, ToOtherProcessesItIsBusyAndToFilesOfItsOwnItIsNot)
{
    set_up(camera_man);
    Photographer stranger(desk, 2);
    EXPECT_EQ(stranger.set_up({.type = 4}), EBUSY);
    EXPECT_EQ(stranger.tear_down(), EBUSY);
    EXPECT_EQ(Player::answer_of(*stranger.begin_get(0)).error, EBUSY);
    Photographer second(desk, 1);
    EXPECT_EQ(second.get().status, wire::driver_done);
}

TEST_F(StillEncoderDesk, AnOwnerThatDiesLeavesNothingBehind)
{
    set_up(camera_man);
    occupy();
    const auto waiting = camera_man.begin_get(-1);
    stage.open_gate();
    camera_man.close();
    EXPECT_TRUE(waiting->wait(eternity));
    EXPECT_EQ(desk.queues(), 0U);
    EXPECT_EQ(stage.alive, 0);
    Photographer other(desk, 2);
    EXPECT_EQ(other.set_up({.type = 4}), EINVAL) << "the image went with the file";
    set_up(other);
}

TEST_F(StillEncoderDesk, IsReportedWhileItIsSetUp)
{
    const auto encoders = [this] { return desk.report<nlohmann::json>()["encoders"]; };
    EXPECT_EQ(encoders().size(), 4U);
    set_up(camera_man, {.type = 4, .width = 100, .height = 50});
    camera_man.get();
    const nlohmann::json told = encoders()[4];
    EXPECT_EQ(told["node"], "imgencode");
    EXPECT_EQ(told["image"], "image_enc");
    EXPECT_EQ(told["codec"], 4);
    EXPECT_EQ(told["width"], 100);
    EXPECT_EQ(told["height"], 50);
    EXPECT_EQ(told["frames_out"], 1);
    EXPECT_EQ(told["queue"]["taken"], 1);
}

/* ---- Pictures ---- */

TEST_F(StillEncoderDesk, APictureHasTheWordsOfACodedFrame)
{
    set_up(camera_man, {.type = 3, .width = 320, .height = 240});
    const auto got = camera_man.get();
    EXPECT_EQ(got.status, wire::driver_done);
    EXPECT_EQ(got.frame.kind, uint32_t{ORKA_FRAME_TYPE_VIDEO});
    EXPECT_EQ(got.frame.flags, uint32_t{frame_key});
    EXPECT_EQ(got.frame.number, 0U);
    EXPECT_EQ(got.frame.size, 64U);
    EXPECT_EQ(got.frame.capacity, 64U);
    EXPECT_EQ(got.frame.width, 320U);
    EXPECT_EQ(got.frame.height, 240U);
    EXPECT_EQ(got.frame.timestamp, 0U);
    const auto queue = camera_man.queue();
    EXPECT_GE(got.frame.addr, queue.pbase);
    EXPECT_LE(got.frame.addr + got.frame.size, queue.pbase + queue.length);
    EXPECT_EQ(camera_man.stamp_of(got.frame).codec, 3U);
}

TEST_F(StillEncoderDesk, EachGetTakesTheNextPictureOfTheCamera)
{
    set_up(camera_man);
    for (uint32_t number = 0; number < 100; number++) {
        const auto got = camera_man.get();
        ASSERT_EQ(got.frame.number, number);
        ASSERT_EQ(camera_man.stamp_of(got.frame).shown_us, picture_time_us(ntsc, number));
        ASSERT_EQ(got.frame.timestamp, number * 1000 / 30);
        ASSERT_EQ(camera_man.release(got.frame.addr), 0);
    }
}

TEST_F(StillEncoderInRealTime, NoPictureIsTakenTwiceNorBeforeItsTime)
{
    set_up(camera_man);
    uint64_t before = 0;
    for (int i = 0; i < 5; i++) {
        const auto got = camera_man.get();
        ASSERT_EQ(got.status, wire::driver_done);
        const uint64_t shown_us = camera_man.stamp_of(got.frame).shown_us;
        EXPECT_TRUE(i == 0 || shown_us > before);
        before = shown_us;
        ASSERT_EQ(camera_man.release(got.frame.addr), 0);
        std::this_thread::sleep_for(40ms); /* longer than a picture */
    }
    EXPECT_GE(before, 4U * 40'000);
}

/* A still is of the moment at which the recording is. */
TEST_F(StillEncoderDesk, APictureIsTakenWhereTheOtherEncodersStand)
{
    set_up(camera_man);
    Recorder recorder(desk);
    ASSERT_EQ(recorder.load("mpeg4_pcm_enc"), 0);
    ASSERT_EQ(recorder.set_up(), 0);
    ASSERT_EQ(recorder.init(), 0);
    ASSERT_EQ(recorder.start(), 0);
    for (int i = 0; i < 90; i++)
        recorder.next_frame();
    const auto got = camera_man.get();
    EXPECT_GE(got.frame.timestamp, 89U * 1000 / 30);
    EXPECT_EQ(recorder.stop(), 0);
}

/* ---- Gets ---- */

TEST_F(StillEncoderDesk, AGetThatDoesNotWaitHasAPictureMadeForTheNext)
{
    set_up(camera_man);
    occupy();
    EXPECT_EQ(camera_man.get(0).status, wire::driver_timeout);
    EXPECT_FALSE(camera_man.file.readable());
    stage.open_gate();
    EXPECT_TRUE(eventually([this] { return camera_man.file.readable(); }));
    const auto got = camera_man.get(0);
    EXPECT_EQ(got.status, wire::driver_done);
    EXPECT_EQ(got.frame.number, 0U);
    EXPECT_FALSE(camera_man.file.readable());
}

TEST_F(StillEncoderDesk, GetsEndAsOthersDo)
{
    set_up(camera_man);
    occupy();
    EXPECT_EQ(camera_man.get(1).status, wire::driver_timeout);
    EXPECT_EQ(Player::answer_of(*camera_man.begin_get(-2)).error, EINVAL);
    EXPECT_EQ(Player::answer_of(*camera_man.begin_get(-1, true)).error, EAGAIN);
    const auto interrupted = camera_man.begin_get(-1);
    desk.interrupt(*interrupted);
    EXPECT_EQ(Photographer::frame_of(*interrupted).status, wire::driver_interrupted);
    const auto torn = camera_man.begin_get(-1);
    stage.open_gate();
    const int error = camera_man.tear_down();
    EXPECT_EQ(error, 0);
    const int32_t status = Photographer::frame_of(*torn).status;
    EXPECT_TRUE(status == wire::driver_failure || status == wire::driver_done) << status;
}

TEST_F(StillEncoderDesk, TearDownWakesWhoeverWaits)
{
    stage.size = 8U << 20; /* does not fit twice */
    set_up(camera_man, {.type = 4, .width = 2000, .height = 1400});
    const auto held = camera_man.get();
    ASSERT_EQ(held.status, wire::driver_done);
    const auto waiting = camera_man.begin_get(-1);
    ASSERT_EQ(camera_man.tear_down(), 0);
    EXPECT_EQ(Photographer::frame_of(*waiting).status, wire::driver_failure);
}

TEST_F(StillEncoderDesk, TwoThatWaitGetAPictureEach)
{
    set_up(camera_man);
    stage.gate_open = false;
    const auto first = camera_man.begin_get(-1);
    const auto second = camera_man.begin_get(-1);
    stage.open_gate();
    EXPECT_EQ(Photographer::frame_of(*first).frame.number, 0U);
    EXPECT_EQ(Photographer::frame_of(*second).frame.number, 1U);
}

TEST_F(StillEncoderDesk, WithoutRoomAGetWaitsForARelease)
{
    stage.size = 3U << 20;
    set_up(camera_man);
    const auto held = camera_man.get();
    EXPECT_EQ(camera_man.get(50).status, wire::driver_timeout);
    const auto waiting = camera_man.begin_get(-1);
    EXPECT_EQ(camera_man.release(held.frame.addr), 0);
    EXPECT_EQ(Photographer::frame_of(*waiting).status, wire::driver_done);
}

TEST_F(StillEncoderDesk, APictureIsReleasedOnceAndByItsAddress)
{
    set_up(camera_man);
    const uint32_t first = camera_man.get().frame.addr;
    const uint32_t second = camera_man.get().frame.addr;
    EXPECT_EQ(camera_man.release(second + 1), EINVAL);
    EXPECT_EQ(camera_man.release(second), 0);
    EXPECT_EQ(camera_man.release(second), EINVAL);
    EXPECT_EQ(camera_man.release(first), 0);
}

/* ---- Failures ---- */

TEST_F(StillEncoderDesk, APictureThatCannotBeEncodedFailsItsGetAndIsLogged)
{
    set_up(camera_man);
    stage.fails = true;
    EXPECT_EQ(camera_man.get().status, wire::driver_failure);
    EXPECT_EQ(camera_man.get().status, wire::driver_failure);
    stage.fails = false;
    stage.throws = true;
    EXPECT_EQ(camera_man.get().status, wire::driver_failure);
    stage.throws = false;
    const auto got = camera_man.get();
    EXPECT_EQ(got.status, wire::driver_done);
    EXPECT_EQ(got.frame.number, 0U);
    EXPECT_EQ(got.frame.flags, uint32_t{frame_key});
    EXPECT_EQ(desk.log(), "imgencode: cannot encode: as scripted\n"
                          "imgencode: cannot encode: as scripted\n"
                          "imgencode: cannot encode: out of luck\n");
}

TEST_F(StillEncoderDesk, APictureThatNoQueueHoldsFailsItsGetAndIsLogged)
{
    set_up(camera_man);
    stage.size = 5U << 20;
    EXPECT_EQ(camera_man.get().status, wire::driver_failure);
    EXPECT_EQ(desk.log(),
              "imgencode: dropped a picture of 5242880 bytes, which is more than the queue holds\n");
}

} // namespace
} // namespace orka::board::desk
