/* The order of calls on the video node, whose a decoder is, and what a setup may ask for. */
#include "video_desk.h"

namespace orka::board::desk {
namespace {

class VideoOrder : public VideoDesk {};

TEST_F(VideoOrder, AnUnknownImageIsRefusedAndLogged)
{
    EXPECT_EQ(video.load("no_such_dec"), EINVAL);
    EXPECT_EQ(desk.log(), "vdecode 0/0: there is no codec image 'no_such_dec'\n");
}

TEST_F(VideoOrder, AnUnprintableNameDoesNotForgeALineOfTheLog)
{
    EXPECT_EQ(video.load("x\ny"), EINVAL);
    EXPECT_EQ(desk.log(), "vdecode 0/0: there is no codec image 'x\\x0ay'\n");
}

TEST_F(VideoOrder, ANameThatFillsItsFieldWithoutAnEndIsRefused)
{
    EXPECT_EQ(video.load(std::string(60, 'x')), EINVAL);
}

TEST_F(VideoOrder, LoadingAnotherImageBeforeTheSetupReplacesTheFirst)
{
    EXPECT_EQ(video.load("h264_pcm_dec"), 0);
    EXPECT_EQ(video.load("mpeg4_pcm_dec"), 0);
    EXPECT_EQ(video.set_up(video_params()), 0);
}

TEST_F(VideoOrder, LoadingTheSameImageWhileSetUpChangesNothingAndAnotherIsBusy)
{
    set_up(video);
    EXPECT_EQ(video.load("mpeg4_pcm_dec"), 0);
    EXPECT_EQ(video.load("h264_pcm_dec"), EBUSY);
    EXPECT_EQ(video.start(), 0);
}

TEST_F(VideoOrder, SetupWithoutAnImageIsRefused)
{
    EXPECT_EQ(video.set_up(video_params()), EINVAL);
    EXPECT_EQ(desk.log(), "vdecode 0/0: setup for codec 1 without a codec image; load one first\n");
}

TEST_F(VideoOrder, TheImageOfTheManagerServesADecoderThatLoadedNone)
{
    desk.set_dsp_image("mpeg4_pcm_dec");
    EXPECT_EQ(video.set_up(video_params()), 0);
}

TEST_F(VideoOrder, ACodecThatTheImageDoesNotDecodeIsRefusedWithARemedy)
{
    ASSERT_EQ(video.load("mpeg4_pcm_dec"), 0);
    EXPECT_EQ(video.set_up(video_params(6)), EINVAL);
    EXPECT_EQ(desk.log(), "vdecode 0/0: image mpeg4_pcm_dec does not decode codec 6; load the image that the "
                          "selection table names for it\n");
    EXPECT_EQ(desk.queues(), 0U);
}

TEST_F(VideoOrder, ChannelsAndStreamsThatDoNotExistAreRefusedByEveryRequest)
{
    for (const auto &[channel, stream] :
         {std::pair{4, 0}, {-1, 0}, {0, 2}, {0, -1}, {INT32_MAX, INT32_MAX}}) {
        Player nobody(desk, wire::node::vdecode, channel, stream);
        EXPECT_EQ(nobody.load("mpeg4_pcm_dec"), EINVAL);
        EXPECT_EQ(nobody.set_up(video_params()), EINVAL);
        EXPECT_EQ(nobody.start(), EINVAL);
        EXPECT_EQ(nobody.flush(), EINVAL);
        EXPECT_EQ(Player::answer_of(*nobody.begin_new(0)).error, EINVAL);
        EXPECT_EQ(Player::answer_of(*nobody.begin_wait(0)).error, EINVAL);
    }
}

TEST_F(VideoOrder, EveryChannelAndStreamIsADecoderOfItsOwn)
{
    std::vector<std::unique_ptr<Player>> players;
    for (int32_t channel = 0; channel < 4; channel++) {
        for (int32_t stream = 0; stream < 2; stream++) {
            players.push_back(std::make_unique<Player>(desk, wire::node::vdecode, channel, stream));
            play(*players.back(), {.codec = 1, .bufsize = 4096, .bufcount = 1, .maxframe = 4096});
        }
    }
    EXPECT_EQ(desk.queues(), 8U);
}

TEST_F(VideoOrder, BeforeTheSetupEverythingElseIsRefused)
{
    ASSERT_EQ(video.load("mpeg4_pcm_dec"), 0);
    for (const uint32_t request :
         {wire::IDECODE_INIT, wire::IDECODE_START, wire::IDECODE_PAUSE, wire::IDECODE_REWIND,
          wire::IDECODE_FASTFORWARD, wire::IDECODE_STOP, wire::IDECODE_TEARDOWN})
        EXPECT_EQ(video.order(request), EINVAL);
    EXPECT_EQ(video.flush(), EINVAL);
    EXPECT_EQ(video.commit({}), EINVAL);
    EXPECT_EQ(video.release({}), EINVAL);
    EXPECT_EQ(Player::answer_of(*video.begin_new(0)).error, EINVAL);
    EXPECT_EQ(Player::answer_of(*video.begin_get(0)).error, EINVAL);
    EXPECT_EQ(Player::answer_of(*video.begin_wait(0)).error, EINVAL);
}

struct Step {
    const char *name;
    std::vector<uint32_t> path; /* after the setup */
    std::vector<uint32_t> allowed;
};

constexpr uint32_t controls[] = {wire::IDECODE_INIT,   wire::IDECODE_START,       wire::IDECODE_PAUSE,
                                 wire::IDECODE_REWIND, wire::IDECODE_FASTFORWARD, wire::IDECODE_STOP};

class VideoStates : public VideoDesk, public ::testing::WithParamInterface<Step> {};

TEST_P(VideoStates, TakeWhatIsInOrderAndRefuseTheRest)
{
    for (const uint32_t request : controls) {
        ASSERT_EQ(video.load("mpeg4_pcm_dec"), 0);
        ASSERT_EQ(video.set_up(video_params()), 0);
        for (const uint32_t step : GetParam().path)
            ASSERT_EQ(video.order(step), 0);
        const bool allowed = std::ranges::count(GetParam().allowed, request) != 0;
        EXPECT_EQ(video.order(request), allowed ? 0 : EINVAL) << std::hex << request;
        EXPECT_EQ(video.tear_down(), 0);
    }
}

using namespace wire;

INSTANTIATE_TEST_SUITE_P(
    Each, VideoStates,
    ::testing::Values(Step{"SetUp", {}, {IDECODE_INIT}}, Step{"Initialised", {IDECODE_INIT}, {IDECODE_START}},
                      Step{"Playing",
                           {IDECODE_INIT, IDECODE_START},
                           {IDECODE_PAUSE, IDECODE_REWIND, IDECODE_FASTFORWARD, IDECODE_STOP}},
                      Step{"Paused",
                           {IDECODE_INIT, IDECODE_START, IDECODE_PAUSE},
                           {IDECODE_START, IDECODE_REWIND, IDECODE_FASTFORWARD, IDECODE_STOP}},
                      Step{"Rewinding",
                           {IDECODE_INIT, IDECODE_START, IDECODE_REWIND},
                           {IDECODE_START, IDECODE_PAUSE, IDECODE_FASTFORWARD, IDECODE_STOP}},
                      Step{"Forwarding",
                           {IDECODE_INIT, IDECODE_START, IDECODE_FASTFORWARD},
                           {IDECODE_START, IDECODE_PAUSE, IDECODE_REWIND, IDECODE_STOP}},
                      Step{"Stopped", {IDECODE_INIT, IDECODE_START, IDECODE_STOP}, {IDECODE_START}}),
    [](const auto &test) { return test.param.name; });

TEST_F(VideoOrder, FlushIsForDecodersThatAreStarted)
{
    set_up(video);
    EXPECT_EQ(video.flush(), EINVAL);
    ASSERT_EQ(video.start(), 0);
    EXPECT_EQ(video.flush(), 0);
    ASSERT_EQ(video.stop(), 0);
    EXPECT_EQ(video.flush(), EINVAL);
}

TEST_F(VideoOrder, WaitingForADecoderThatWasNeverStartedIsRefused)
{
    set_up(video);
    EXPECT_EQ(Player::answer_of(*video.begin_wait(-1)).error, EINVAL);
}

TEST_F(VideoOrder, ASecondSetupIsOutOfOrder)
{
    set_up(video);
    EXPECT_EQ(video.set_up(video_params()), EINVAL);
}

TEST_F(VideoOrder, ADecoderThatIsSetUpIsBusyToOtherFiles)
{
    Player other(desk, wire::node::vdecode);
    play(video);
    EXPECT_EQ(other.set_up(video_params()), EBUSY);
    EXPECT_EQ(other.stop(), EBUSY);
    EXPECT_EQ(other.flush(), EBUSY);
    EXPECT_EQ(Player::answer_of(*other.begin_new(0)).error, EBUSY);
    EXPECT_EQ(video.stop(), 0);
}

TEST_F(VideoOrder, TheLastCloseOfItsFileReleasesADecoder)
{
    Player other(desk, wire::node::vdecode);
    play(video);
    EXPECT_EQ(desk.queues(), 1U);
    desk.close(video.file);
    EXPECT_EQ(desk.queues(), 0U);
    EXPECT_EQ(stage.alive, 0);
    play(other);
}

TEST_F(VideoOrder, TheLastCloseOfAnotherFileReleasesNothing)
{
    Player other(desk, wire::node::vdecode);
    play(video);
    desk.close(other.file);
    EXPECT_EQ(video.pause(), 0);
}

TEST_F(VideoOrder, AnImageGoesWithTheFileThatLoadedIt)
{
    Player other(desk, wire::node::vdecode);
    ASSERT_EQ(other.load("mpeg4_pcm_dec"), 0);
    desk.close(other.file);
    EXPECT_EQ(video.set_up(video_params()), EINVAL);
}

TEST_F(VideoOrder, TearDownFreesMemoryAndKeepsTheImage)
{
    play(video);
    EXPECT_EQ(video.tear_down(), 0);
    EXPECT_EQ(desk.queues(), 0U);
    EXPECT_EQ(stage.alive, 0);
    EXPECT_EQ(video.set_up(video_params()), 0);
}

struct Bad {
    const char *name;
    orka_idecode_video_params_t params;
    int error;
};

class VideoSetup : public VideoDesk, public ::testing::WithParamInterface<Bad> {};

TEST_P(VideoSetup, IsRefusedAndLeavesNothingBehind)
{
    ASSERT_EQ(video.load("mpeg4_pcm_dec"), 0);
    EXPECT_EQ(video.set_up(GetParam().params), GetParam().error);
    EXPECT_NE(desk.log(), "");
    EXPECT_EQ(desk.queues(), 0U);
    EXPECT_EQ(video.set_up(video_params()), 0);
}

INSTANTIATE_TEST_SUITE_P(
    Of, VideoSetup,
    ::testing::Values(
        Bad{"NoBytes", {.codec = 1, .bufsize = 0, .bufcount = 1, .maxframe = 1}, EINVAL},
        Bad{"NoFrames", {.codec = 1, .bufsize = 4096, .bufcount = 0, .maxframe = 1}, EINVAL},
        Bad{"EmptyFrames", {.codec = 1, .bufsize = 4096, .bufcount = 1, .maxframe = 0}, EINVAL},
        Bad{"FramesLargerThanTheQueue",
            {.codec = 1, .bufsize = 4096, .bufcount = 1, .maxframe = 4097},
            EINVAL},
        Bad{"AnEndlessQueue", {.codec = 1, .bufsize = UINT32_MAX, .bufcount = 1, .maxframe = 1}, ENOMEM},
        Bad{"EndlessPictures",
            {.codec = 1,
             .width = UINT32_MAX,
             .height = UINT32_MAX,
             .bufsize = 4096,
             .bufcount = 1,
             .maxframe = 1},
            ENOMEM},
        Bad{"EndlessLines",
            {.codec = 1, .width = 2, .height = UINT32_MAX, .bufsize = 4096, .bufcount = 1, .maxframe = 1},
            ENOMEM},
        Bad{"NoCodec", {}, EINVAL}),
    [](const auto &test) { return test.param.name; });

TEST(VideoCodecs, OneThatTheDspCannotMakeIsRefusedWithItsReason)
{
    Desk desk;
    desk.attach([](Machine &machine) {
        return make_video_decode_driver(machine, [](const auto &, std::string &why) {
            why = "nobody knows how";
            return nullptr;
        });
    });
    Player video(desk, wire::node::vdecode);
    ASSERT_EQ(video.load("mpeg4_pcm_dec"), 0);
    EXPECT_EQ(video.set_up(video_params()), EINVAL);
    EXPECT_EQ(desk.log(), "vdecode 0/0: codec 1: nobody knows how\n");
}

} // namespace
} // namespace orka::board::desk
