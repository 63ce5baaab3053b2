#include "sound_desk.h"

namespace orka::board::desk {

namespace {

using SoundOrder = SoundDesk;

TEST_F(SoundOrder, IsLoadSetupStartStopTearDown)
{
    SoundRecorder recorder(desk);
    EXPECT_EQ(recorder.load("mpeg4_pcm_enc"), 0);
    EXPECT_EQ(recorder.set_up(sound_params()), 0);
    EXPECT_EQ(recorder.start(), 0);
    EXPECT_EQ(recorder.stop(), 0);
    EXPECT_EQ(recorder.start(), 0);
    EXPECT_EQ(recorder.stop(), 0);
    EXPECT_EQ(recorder.tear_down(), 0);
    EXPECT_EQ(desk.queues(), 0U);
    EXPECT_EQ(desk.log(), "");
}

TEST_F(SoundOrder, RefusesEverythingBeforeSetup)
{
    SoundRecorder recorder(desk);
    EXPECT_EQ(recorder.start(), EINVAL);
    EXPECT_EQ(recorder.stop(), EINVAL);
    EXPECT_EQ(recorder.tear_down(), EINVAL);
    EXPECT_EQ(recorder.start_aec(), EINVAL);
    EXPECT_EQ(recorder.stop_aec(), EINVAL);
    EXPECT_EQ(recorder.order(wire::IENCODE_PASSTHRU_ENABLE), EINVAL);
    EXPECT_EQ(recorder.queue().error, EINVAL);
    EXPECT_EQ(Player::answer_of(*recorder.begin_get(0)).error, EINVAL);
    EXPECT_EQ(Player::answer_of(*recorder.begin_new(0)).error, EINVAL);
}

TEST_F(SoundOrder, RefusesWhatDoesNotFollow)
{
    SoundRecorder recorder(desk);
    set_up(recorder);
    EXPECT_EQ(recorder.set_up(sound_params()), EINVAL);
    EXPECT_EQ(recorder.stop(), EINVAL);
    EXPECT_EQ(recorder.start(), 0);
    EXPECT_EQ(recorder.start(), EINVAL);
    EXPECT_EQ(recorder.stop(), 0);
    EXPECT_EQ(recorder.stop(), EINVAL);
}

TEST_F(SoundOrder, RefusesOtherChannelsThanTheFirst)
{
    SoundRecorder recorder(desk);
    ASSERT_EQ(recorder.load("mpeg4_pcm_enc"), 0);
    EXPECT_EQ(recorder.set_up(sound_params(), 1), EINVAL);
    ASSERT_EQ(recorder.set_up(sound_params()), 0);
    EXPECT_EQ(recorder.order(wire::IENCODE_START_AUDIO, 1), EINVAL);
}

TEST_F(SoundOrder, RefusesACodecThatTheImageDoesNotEncode)
{
    SoundRecorder recorder(desk);
    ASSERT_EQ(recorder.load("mpeg4_aac_enc"), 0);
    EXPECT_EQ(recorder.set_up(sound_params()), EINVAL);
    EXPECT_EQ(desk.log(), "aencode 0: image mpeg4_aac_enc does not encode codec 6; load the image that the "
                          "selection table names for it\n");
}

TEST_F(SoundOrder, RefusesWhatTheDspCannotEncode)
{
    SoundRecorder recorder(desk);
    stage.refuses = true;
    ASSERT_EQ(recorder.load("mpeg4_pcm_enc"), 0);
    EXPECT_EQ(recorder.set_up(sound_params()), EINVAL);
    EXPECT_EQ(desk.log(), "aencode 0: codec 6: not today\n");
}

TEST_F(SoundOrder, TakesTheImageThatTheWholeDspRuns)
{
    desk.set_dsp_image("mpeg4_pcm_enc");
    SoundRecorder recorder(desk);
    EXPECT_EQ(recorder.set_up(sound_params()), 0);
}

TEST_F(SoundOrder, IsBusyForOtherProcesses)
{
    SoundRecorder recorder(desk);
    SoundRecorder other(desk, 2);
    record(recorder);
    EXPECT_EQ(other.set_up(sound_params()), EBUSY);
    EXPECT_EQ(other.stop(), EBUSY);
    EXPECT_EQ(other.queue().error, EBUSY);
    EXPECT_EQ(other.start_aec(), EBUSY);
    EXPECT_EQ(other.set_gain({.first_mantissa = 1, .second_mantissa = 1}), 0);
}

TEST_F(SoundOrder, EndsWithTheFileThatSetItUp)
{
    SoundRecorder recorder(desk);
    record(recorder);
    recorder.close();
    EXPECT_EQ(desk.queues(), 0U);
    EXPECT_EQ(stage.alive, 0);
    SoundRecorder other(desk, 2);
    record(other);
}

TEST_F(SoundOrder, SwitchesEchoCancellationAndPassThroughOnceEach)
{
    SoundRecorder recorder(desk);
    set_up(recorder);
    EXPECT_EQ(recorder.stop_aec(), EINVAL);
    EXPECT_EQ(recorder.start_aec(), 0);
    EXPECT_EQ(recorder.start_aec(), EINVAL);
    EXPECT_EQ(recorder.order(wire::IENCODE_PASSTHRU_DISABLE), EINVAL);
    EXPECT_EQ(recorder.order(wire::IENCODE_PASSTHRU_ENABLE), 0);
    EXPECT_EQ(recorder.order(wire::IENCODE_PASSTHRU_ENABLE), EINVAL);
    EXPECT_EQ(told()["echo_cancelled"], true);
    EXPECT_EQ(told()["passed_through"], true);
    EXPECT_EQ(recorder.stop_aec(), 0);
    EXPECT_EQ(recorder.order(wire::IENCODE_PASSTHRU_DISABLE), 0);
    EXPECT_EQ(told()["echo_cancelled"], false);
}

TEST_F(SoundOrder, IsToldInTheReport)
{
    SoundRecorder recorder(desk);
    EXPECT_EQ(told()["state"], "idle");
    set_up(recorder);
    EXPECT_EQ(told()["node"], "aencode");
    EXPECT_EQ(told()["state"], "ready");
    EXPECT_EQ(told()["codec"], 6);
    EXPECT_EQ(told()["sample_rate"], 8000);
    EXPECT_EQ(told()["channels"], 1);
    EXPECT_EQ(told()["source"], "microphone");
}

} // namespace

} // namespace orka::board::desk
