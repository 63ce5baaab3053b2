#include "sound_desk.h"

namespace orka::board::desk {

namespace {

/* What the microphone hears from that sample on. */
std::vector<int16_t> heard_from(uint64_t first, uint32_t channels = 1)
{
    std::vector<int16_t> samples(size_t{unit} * channels);
    for (size_t i = 0; i < samples.size(); i++)
        samples[i] = heard_at(first + i / channels, static_cast<uint32_t>(i % channels));
    return samples;
}

std::vector<int16_t> own_sound(int16_t first, size_t count = unit)
{
    std::vector<int16_t> samples(count);
    for (size_t i = 0; i < count; i++)
        samples[i] = static_cast<int16_t>(first + static_cast<int16_t>(i));
    return samples;
}

using SoundFrames = SoundDesk;

TEST_F(SoundFrames, AreTheMicrophonesOneAfterTheOther)
{
    SoundRecorder recorder(desk);
    record(recorder);
    for (uint32_t i = 0; i < 50; i++) {
        const orka_iencode_frame_t frame = recorder.get().frame;
        EXPECT_EQ(frame.kind, uint32_t{ORKA_FRAME_TYPE_AUDIO});
        EXPECT_EQ(frame.number, i);
        EXPECT_EQ(frame.timestamp, i * 10);
        EXPECT_EQ(frame.duration, 10U);
        EXPECT_EQ(frame.width, 8000U);
        EXPECT_EQ(frame.height, 1U);
        EXPECT_EQ(recorder.samples_of(frame), heard_from(i * unit));
        EXPECT_EQ(recorder.release(frame), 0);
    }
}

TEST_F(SoundFrames, AreInterleavedForTwoChannels)
{
    SoundRecorder recorder(desk);
    record(recorder, sound_params(2));
    EXPECT_EQ(recorder.next(), heard_from(0, 2));
    EXPECT_EQ(recorder.next(), heard_from(unit, 2));
}

TEST_F(SoundFrames, BeginWithTheCodecsHeader)
{
    stage.with_header = true;
    SoundRecorder recorder(desk);
    record(recorder);
    const orka_iencode_frame_t header = recorder.get().frame;
    EXPECT_EQ(header.flags, uint32_t{frame_header});
    EXPECT_EQ(header.size, 3U);
    EXPECT_EQ(recorder.get().frame.flags, uint32_t{frame_key});
}

TEST_F(SoundFrames, LieInTheQueueThatThisRequestTells)
{
    SoundRecorder recorder(desk);
    record(recorder);
    const auto queue = recorder.queue().as<wire::audio_encode_queue_record>();
    EXPECT_EQ(queue.length, 0x10000U);
    for (const orka_iencode_frame_t &frame : {recorder.get().frame, recorder.new_frame().frame}) {
        EXPECT_GE(frame.addr, queue.pbase);
        EXPECT_LE(frame.addr + frame.capacity, queue.pbase + queue.length);
    }
    EXPECT_EQ(recorder.queue(4).error, EINVAL);
    EXPECT_EQ(Player::answer_of(*recorder.begin(wire::IENCODE_GET_FRAME, 0, false, 8)).error, EINVAL);
}

TEST_F(SoundFrames, WaitForTheProgramWhenTheQueueIsFull)
{
    SoundRecorder recorder(desk);
    orka_iencode_audio_params_t params = sound_params();
    params.bufcount = 3;
    record(recorder, params);
    EXPECT_TRUE(eventually([this] { return told()["queue"]["waiting"] == 3; }));
    for (uint32_t i = 0; i < 20; i++)
        EXPECT_EQ(recorder.next(), heard_from(i * unit));
    EXPECT_EQ(told()["dropped"], 0);
}

TEST_F(SoundFrames, EndWithLastAfterStopAndThenFail)
{
    SoundRecorder recorder(desk);
    record(recorder);
    EXPECT_EQ(recorder.next(), heard_from(0));
    EXPECT_EQ(recorder.stop(), 0);
    uint32_t number = 1;
    orka_iencode_frame_t frame = recorder.get().frame;
    for (; frame.kind == ORKA_FRAME_TYPE_AUDIO; frame = recorder.get().frame) {
        EXPECT_EQ(frame.number, number++);
        recorder.release(frame);
    }
    EXPECT_EQ(frame.kind, uint32_t{ORKA_FRAME_TYPE_LAST});
    EXPECT_EQ(frame.size, 0U);
    EXPECT_EQ(recorder.release(frame), 0);
    EXPECT_EQ(recorder.get(-1).status, wire::driver_failure);
}

TEST_F(SoundFrames, BeginAnewWithTheNextStart)
{
    SoundRecorder recorder(desk);
    record(recorder);
    recorder.stop();
    recorder.rest();
    ASSERT_EQ(recorder.start(), 0);
    const orka_iencode_frame_t frame = recorder.get().frame;
    EXPECT_EQ(frame.number, 0U);
    EXPECT_EQ(frame.timestamp, 0U);
}

TEST_F(SoundFrames, OfTwoStreamsHaveALastEach)
{
    SoundRecorder recorder(desk);
    record(recorder);
    recorder.stop();
    recorder.start();
    recorder.stop();
    recorder.rest();
    recorder.rest();
    EXPECT_EQ(recorder.get(-1).status, wire::driver_failure);
}

TEST_F(SoundFrames, MakeTheFileReadable)
{
    SoundRecorder recorder(desk);
    SoundRecorder other(desk, 2);
    EXPECT_FALSE(recorder.file.readable());
    record(recorder);
    EXPECT_TRUE(eventually([&] { return recorder.file.readable(); }));
    EXPECT_FALSE(other.file.readable());
    recorder.stop();
    recorder.rest();
    EXPECT_TRUE(eventually([&] { return !recorder.file.readable(); }));
}

TEST_F(SoundFrames, TimeOutWhereNoneCome)
{
    SoundRecorder recorder(desk);
    set_up(recorder);
    EXPECT_EQ(recorder.get(0).status, wire::driver_timeout);
    EXPECT_EQ(recorder.get(1).status, wire::driver_timeout);
    EXPECT_EQ(Player::answer_of(*recorder.begin_get(-2)).error, EINVAL);
    EXPECT_EQ(Player::answer_of(*recorder.begin(wire::IENCODE_GET_FRAME, 5, true)).error, EAGAIN);
}

TEST_F(SoundFrames, ComeToWhoWaitedForTheStart)
{
    SoundRecorder recorder(desk);
    set_up(recorder);
    const auto call = recorder.begin_get(-1);
    ASSERT_EQ(recorder.start(), 0);
    EXPECT_EQ(SoundRecorder::frame_of(*call).status, wire::driver_done);
}

TEST_F(SoundFrames, FailForWhoWaitsWhenTheEncoderIsTornDown)
{
    SoundRecorder recorder(desk);
    set_up(recorder);
    const auto call = recorder.begin_get(-1);
    EXPECT_EQ(recorder.tear_down(), 0);
    EXPECT_EQ(SoundRecorder::frame_of(*call).status, wire::driver_failure);
}

TEST_F(SoundFrames, AreInterruptedBySignals)
{
    SoundRecorder recorder(desk);
    set_up(recorder);
    const auto call = recorder.begin_get(-1);
    desk.interrupt(*call);
    EXPECT_EQ(SoundRecorder::frame_of(*call).status, wire::driver_interrupted);
}

TEST_F(SoundFrames, AreReleasedOnce)
{
    SoundRecorder recorder(desk);
    record(recorder);
    const orka_iencode_frame_t frame = recorder.get().frame;
    EXPECT_EQ(recorder.release(frame), 0);
    EXPECT_EQ(recorder.release(frame), EINVAL);
}

TEST_F(SoundFrames, ThatFailAreCountedAndFollowedByADamagedOne)
{
    stage.fails = true;
    SoundRecorder recorder(desk);
    record(recorder);
    EXPECT_TRUE(eventually([this] { return told()["dropped"] > 3; }));
    stage.fails = false;
    EXPECT_EQ(recorder.get().frame.flags, uint32_t{frame_key | frame_damaged});
    EXPECT_TRUE(desk.log().starts_with("aencode 0: cannot encode: as scripted\n"));
}

/* The program's own sound. */

using ProgramsSound = SoundDesk;

TEST_F(ProgramsSound, IsEncodedInsteadOfTheMicrophones)
{
    SoundRecorder recorder(desk);
    set_up(recorder);
    EXPECT_EQ(recorder.feed(own_sound(1000)), 0);
    ASSERT_EQ(recorder.start(), 0);
    EXPECT_EQ(told()["source"], "program");
    EXPECT_EQ(recorder.feed(own_sound(2000)), 0);
    EXPECT_EQ(recorder.next(), own_sound(1000));
    EXPECT_EQ(recorder.next(), own_sound(2000));
    EXPECT_EQ(recorder.get(20).status, wire::driver_timeout);
}

TEST_F(ProgramsSound, ReplacesTheMicrophonesFromTheFirstNewFrameOn)
{
    SoundRecorder recorder(desk);
    record(recorder);
    EXPECT_EQ(recorder.next(), heard_from(0));
    EXPECT_EQ(recorder.feed(own_sound(20000)), 0);
    EXPECT_EQ(recorder.stop(), 0);
    const std::vector<int16_t> rest = recorder.rest();
    ASSERT_GE(rest.size(), size_t{unit});
    EXPECT_EQ(std::vector(rest.end() - unit, rest.end()), own_sound(20000));
    EXPECT_EQ(std::ranges::count(rest, 20000), 1);
}

TEST_F(ProgramsSound, GoesOnInTimeWhereTheMicrophoneWas)
{
    SoundRecorder recorder(desk);
    record(recorder);
    recorder.next();
    recorder.feed(own_sound(20000));
    recorder.stop();
    uint32_t expected = 10;
    for (auto frame = recorder.get().frame; frame.kind == ORKA_FRAME_TYPE_AUDIO;
         frame = recorder.get().frame) {
        EXPECT_EQ(frame.timestamp, expected);
        EXPECT_EQ(recorder.release(frame), 0);
        expected += 10;
    }
    EXPECT_GE(expected, 20U);
}

TEST_F(ProgramsSound, IsEncodedToItsEndAtStop)
{
    SoundRecorder recorder(desk);
    set_up(recorder);
    recorder.feed(own_sound(1000));
    recorder.feed(own_sound(2000, 7));
    ASSERT_EQ(recorder.start(), 0);
    ASSERT_EQ(recorder.stop(), 0);
    std::vector<int16_t> expected = own_sound(1000);
    const std::vector<int16_t> tail = own_sound(2000, 7);
    expected.insert(expected.end(), tail.begin(), tail.end());
    EXPECT_EQ(recorder.rest(), expected);
}

TEST_F(ProgramsSound, GivesWayToTheMicrophonesAfterStop)
{
    SoundRecorder recorder(desk);
    set_up(recorder);
    recorder.feed(own_sound(1000));
    recorder.start();
    recorder.stop();
    recorder.rest();
    EXPECT_EQ(told()["source"], "microphone");
    recorder.start();
    EXPECT_EQ(recorder.next(), heard_from(0));
}

TEST_F(ProgramsSound, ComesInPiecesOfAnySize)
{
    SoundRecorder recorder(desk);
    set_up(recorder);
    recorder.start();
    const std::vector<int16_t> sound = own_sound(1000, unit * 3);
    for (size_t at = 0; at < sound.size(); at += 30)
        ASSERT_EQ(recorder.feed(std::span(sound).subspan(at, 30)), 0);
    recorder.stop();
    EXPECT_EQ(recorder.rest().back(), sound.back());
}

TEST_F(ProgramsSound, HasFramesOfAPacketsWorth)
{
    SoundRecorder recorder(desk);
    set_up(recorder, sound_params(2));
    const wire::encode_frame_request_record answer = recorder.new_frame();
    EXPECT_EQ(answer.status, wire::driver_done);
    EXPECT_EQ(answer.frame.kind, uint32_t{ORKA_FRAME_TYPE_AUDIO});
    EXPECT_EQ(answer.frame.capacity, unit * 4);
    EXPECT_EQ(answer.frame.stride, 4U);
    EXPECT_EQ(answer.frame.width, 8000U);
    EXPECT_EQ(answer.frame.height, 2U);
}

TEST_F(ProgramsSound, WaitsForRoomUntilTheEncoderTookSome)
{
    SoundRecorder recorder(desk);
    set_up(recorder);
    for (int i = 0; i < 4; i++)
        EXPECT_EQ(recorder.feed(own_sound(1000)), 0);
    EXPECT_EQ(recorder.new_frame(0).status, wire::driver_timeout);
    const auto call = recorder.begin_new(-1);
    ASSERT_EQ(recorder.start(), 0);
    EXPECT_EQ(SoundRecorder::frame_of(*call).status, wire::driver_done);
}

TEST_F(ProgramsSound, WakesWhoWaitsForRoomAtStop)
{
    SoundRecorder recorder(desk);
    orka_iencode_audio_params_t params = sound_params();
    record(recorder, params);
    for (int i = 0; i < 4; i++)
        EXPECT_EQ(recorder.new_frame().status, wire::driver_done);
    const auto call = recorder.begin_new(-1);
    EXPECT_EQ(recorder.stop(), 0);
    EXPECT_EQ(SoundRecorder::frame_of(*call).status, wire::driver_failure);
}

TEST_F(ProgramsSound, IsNotTakenFromWhatWasNotHandedOut)
{
    SoundRecorder recorder(desk);
    set_up(recorder);
    orka_iencode_frame_t frame = recorder.new_frame().frame;
    const orka_iencode_frame_t good = frame;
    frame.addr += 64;
    EXPECT_EQ(recorder.commit(frame), EINVAL);
    frame = good;
    frame.size = frame.capacity + 2;
    EXPECT_EQ(recorder.commit(frame), EINVAL);
    frame.size = 3;
    EXPECT_EQ(recorder.commit(frame), EINVAL);
    frame = good;
    frame.kind = ORKA_FRAME_TYPE_LAST;
    EXPECT_EQ(recorder.commit(frame), EINVAL);
    EXPECT_EQ(recorder.commit(good), 0);
    EXPECT_EQ(recorder.commit(good), EINVAL);
}

/* What happens to the sound on its way. */

using SoundEffects = SoundDesk;

TEST_F(SoundEffects, HaveTheGainOfEachChannel)
{
    SoundRecorder recorder(desk);
    set_up(recorder, sound_params(2));
    EXPECT_EQ(recorder.set_gain(
                  {.first_mantissa = 16384, .second_mantissa = 16384, .first_shift = 2, .second_shift = 0}),
              0);
    ASSERT_EQ(recorder.start(), 0);
    const std::vector<int16_t> samples = recorder.next();
    EXPECT_EQ(samples[2 * 60], 120);
    EXPECT_EQ(samples[2 * 60 + 1], -30);
}

TEST_F(SoundEffects, LeaveTheProgramsOwnSoundAlone)
{
    SoundRecorder recorder(desk);
    set_up(recorder);
    recorder.set_gain({.first_mantissa = 1, .second_mantissa = 1});
    recorder.feed(own_sound(1000));
    recorder.start();
    EXPECT_EQ(recorder.next(), own_sound(1000));
}

TEST_F(SoundEffects, PassThroughWhatTheMicrophoneHears)
{
    SoundRecorder recorder(desk);
    record(recorder);
    recorder.next();
    EXPECT_EQ(status()["audio_output"]["passed_through"]["samples"], 0);
    EXPECT_EQ(recorder.order(wire::IENCODE_PASSTHRU_ENABLE), 0);
    while (status()["audio_output"]["passed_through"]["samples"] < 10 * unit)
        recorder.next();
    EXPECT_GT(status()["audio_output"]["passed_through"]["level"], 100);
}

/* A noise that is played, and heard in the room. */
std::vector<int16_t> noise(size_t count, uint32_t &seed)
{
    std::vector<int16_t> samples(count);
    for (int16_t &sample : samples)
        sample =
            static_cast<int16_t>(static_cast<int32_t>((seed = seed * 1664525 + 1013904223) >> 18) - 8192);
    return samples;
}

double power(std::span<const int16_t> samples)
{
    double sum = 0;
    for (const int16_t sample : samples)
        sum += static_cast<double>(sample) * sample;
    return sum / static_cast<double>(samples.size());
}

/* Of two seconds of noise, the second one's echo. */
double echo_power(SoundRecorder &recorder, Machine &machine)
{
    uint32_t seed = 1;
    std::vector<int16_t> heard;
    for (int i = 0; i < 200; i++) {
        /* What the full queue holds was captured before. */
        machine.loudspeaker.play(noise(unit, seed), 8000, 1);
        const std::vector<int16_t> samples = recorder.next();
        heard.insert(heard.end(), samples.begin(), samples.end());
    }
    return power(std::span(heard).last(8000));
}

TEST_F(SoundEffects, BringTheEchoOfWhatIsPlayed)
{
    microphone.silent = true;
    orka_iencode_audio_params_t params = sound_params();
    params.bufcount = 1;
    SoundRecorder recorder(desk);
    record(recorder, params);
    EXPECT_GT(echo_power(recorder, *machine), 500.0 * 500);
}

TEST_F(SoundEffects, TakeTheEchoOutAgainByTwelveDecibelsAtLeast)
{
    microphone.silent = true;
    orka_iencode_audio_params_t params = sound_params();
    params.bufcount = 1;
    SoundRecorder recorder(desk);
    record(recorder, params);
    const double without = echo_power(recorder, *machine);
    ASSERT_EQ(recorder.start_aec(), 0);
    const double with = echo_power(recorder, *machine);
    EXPECT_GT(10 * std::log10(without / with), 12);
}

/* The clock of the wall. */

class SoundInRealTime : public SoundDesk {
  protected:
    SoundInRealTime() : SoundDesk(true) { desk.set_real_time(); }
};

TEST_F(SoundInRealTime, IsDroppedAndCountedWhileTheQueueIsFull)
{
    SoundRecorder recorder(desk);
    orka_iencode_audio_params_t params = sound_params();
    params.bufcount = 2;
    record(recorder, params);
    EXPECT_TRUE(eventually([this] { return told()["dropped"] > 3; }));
    /* Two lie in the queue, and a third one waits for its place there. */
    for (int i = 0; i < 3; i++)
        EXPECT_EQ(recorder.next(), heard_from(static_cast<uint64_t>(i) * unit));
    const orka_iencode_frame_t frame = recorder.get().frame;
    EXPECT_GE(frame.timestamp, 60U);
    EXPECT_EQ(recorder.samples_of(frame), heard_from(frame.timestamp * 8));
}

TEST_F(SoundInRealTime, IsTheProgramsWithoutWaitingForTheClock)
{
    SoundRecorder recorder(desk);
    set_up(recorder);
    recorder.feed(own_sound(1000));
    recorder.start();
    for (int16_t i = 0; i < 100; i++) {
        ASSERT_EQ(recorder.feed(own_sound(i)), 0);
        recorder.next();
    }
    EXPECT_EQ(told()["dropped"], 0);
}

} // namespace

} // namespace orka::board::desk
