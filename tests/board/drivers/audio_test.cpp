/* What is the audio node's own: one channel, no init, gain and a clock that can be reset. */
#include "desk.h"
#include "fake_codecs.h"

namespace orka::board::desk {
namespace {

constexpr orka_idecode_audio_params_t pcm{
    .codec = 6, .channels = 2, .sample_rate = 8000, .bufsize = 0x80000, .bufcount = 400, .maxframe = 32768};

class Audio : public ::testing::Test {
  protected:
    Audio()
    {
        desk.attach([](Machine &machine) {
            return make_audio_decode_driver(
                machine, [](const auto &, std::string &) { return std::make_unique<FakeAudio>(); });
        });
    }
    void play(Player &player)
    {
        ASSERT_EQ(player.load("mpeg4_pcm_dec"), 0);
        ASSERT_EQ(player.set_up(pcm), 0);
        ASSERT_EQ(player.start(), 0);
    }
    bool feed(const std::vector<int16_t> &samples, uint32_t tsms = 0)
    {
        return audio.feed({reinterpret_cast<const uint8_t *>(samples.data()), samples.size() * 2}, tsms);
    }
    std::vector<int16_t> samples_of(const orka_idecode_frame_t &frame)
    {
        std::vector<int16_t> samples(frame.size / 2);
        std::memcpy(samples.data(), desk.bytes(frame.addr, frame.size).data(), frame.size);
        return samples;
    }
    wire::audio_clock_record clock()
    {
        return Player::answer_of(
                   *desk.begin(audio.file, wire::IDECODE_GET_AUDIO_CLOCK, wire::audio_clock_record{}))
            .as<wire::audio_clock_record>();
    }

    Desk desk;
    Player audio{desk, wire::node::adecode};
};

TEST_F(Audio, StartsWithoutAnInit)
{
    play(audio);
    EXPECT_EQ(audio.queue().queueid, 3U);
    EXPECT_EQ(audio.queue().length, 0x80000U + (1U << 20));
}

TEST_F(Audio, HasOneChannel)
{
    Player other(desk, wire::node::adecode, 1, 0);
    EXPECT_EQ(other.set_up(pcm), EINVAL);
    EXPECT_EQ(other.start(), EINVAL);
    EXPECT_EQ(other.error_of(wire::IDECODE_GET_AUDIO_CLOCK, wire::audio_clock_record{1, 0}), EINVAL);
    EXPECT_EQ(other.error_of(wire::IDECODE_RESET_AUDIO_CLOCK, wire::audio_clock_record{-1, 0}), EINVAL);
}

TEST_F(Audio, ACodecThatTheImageDoesNotDecodeIsRefused)
{
    ASSERT_EQ(audio.load("mpeg4_pcm_dec"), 0);
    orka_idecode_audio_params_t params = pcm;
    params.codec = 7;
    EXPECT_EQ(audio.set_up(params), EINVAL);
    EXPECT_EQ(desk.log(), "adecode 0/0: image mpeg4_pcm_dec does not decode codec 7; load the image that the "
                          "selection table names for it\n");
}

TEST_F(Audio, ANameWithoutAnEndIsRefused)
{
    EXPECT_EQ(
        Player::answer_of(*desk.begin(audio.file, wire::IDECODE_LOAD, std::vector<uint8_t>(33, 'x'))).error,
        EINVAL);
}

TEST_F(Audio, AFrameSaysWhatItHolds)
{
    play(audio);
    ASSERT_TRUE(feed({1, -2, 3, -4}, 80));
    const auto answer = audio.get();
    const orka_idecode_frame_t expected{.kind = ORKA_FRAME_TYPE_AUDIO,
                                        .addr = audio.queue().pbase + 0x80000,
                                        .size = 8,
                                        .width = 8000,
                                        .height = 2,
                                        .tsms = 80,
                                        .stride = 4,
                                        .capacity = 8,
                                        .duration = 20};
    EXPECT_EQ(std::memcmp(&answer.frame, &expected, sizeof expected), 0);
    EXPECT_EQ(samples_of(answer.frame), (std::vector<int16_t>{1, -2, 3, -4}));
}

TEST_F(Audio, GainChangesTheSamplesThatAreDecodedNextAndStays)
{
    EXPECT_EQ(audio.error_of(wire::IDECODE_SET_GAIN, orka_idecode_gain_t{16384, 16384, 0, 2}), 0);
    play(audio);
    ASSERT_TRUE(feed({1000, 1000}));
    EXPECT_EQ(samples_of(audio.get().frame), (std::vector<int16_t>{500, 2000}));
    EXPECT_EQ(audio.error_of(wire::IDECODE_SET_GAIN, orka_idecode_gain_t{32767, 32767, 0, 0}), 0);
    ASSERT_TRUE(feed({1000, 1000}));
    EXPECT_EQ(samples_of(audio.get().frame), (std::vector<int16_t>{1000, 1000}));
}

TEST_F(Audio, TheClockTellsTheSoundThatWasHeardLastAndCanBeReset)
{
    EXPECT_EQ(clock().tsms, 0U);
    play(audio);
    ASSERT_TRUE(feed({0, 0}, 160));
    EXPECT_TRUE(eventually([&] { return clock().tsms == 160; }));
    EXPECT_EQ(audio.error_of(wire::IDECODE_RESET_AUDIO_CLOCK, wire::audio_clock_record{}), 0);
    EXPECT_EQ(clock().tsms, 0U);
    ASSERT_TRUE(feed({0, 0}, 180));
    EXPECT_TRUE(eventually([&] { return clock().tsms == 180; }));
}

TEST_F(Audio, PacketsOfFullLengthKeepComingThrough)
{
    play(audio);
    std::thread feeder([&] {
        for (int16_t i = 0; i < 200; i++)
            EXPECT_TRUE(feed(std::vector<int16_t>(16384, i)));
        EXPECT_TRUE(audio.feed_last());
    });
    for (int16_t i = 0; i < 200; i++) {
        const auto answer = audio.get();
        ASSERT_EQ(answer.frame.size, 32768U);
        EXPECT_EQ(samples_of(answer.frame)[i], i);
        ASSERT_EQ(audio.release(answer.frame), 0);
    }
    EXPECT_EQ(audio.get().frame.kind, static_cast<uint32_t>(ORKA_FRAME_TYPE_LAST));
    feeder.join();
}

TEST_F(Audio, EmptySoundIsNoFrame)
{
    play(audio);
    ASSERT_TRUE(audio.feed(std::vector<uint8_t>{7}));
    ASSERT_TRUE(audio.feed_last());
    EXPECT_EQ(audio.get().frame.kind, static_cast<uint32_t>(ORKA_FRAME_TYPE_LAST));
}

} // namespace
} // namespace orka::board::desk
