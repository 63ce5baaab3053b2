/* What several drivers do together: the same picture and the same sound, from one end to the other. */
#include "whole_desk.h"

#include <cmath>
#include <numbers>

#include "capturer.h"
#include "encode_desk.h"
#include "sound_desk.h"

namespace orka::board::desk {
namespace {

/* ---- Pass-through of the encoder's picture ---- */

class PassedThrough : public WholeDesk {
  protected:
    PassedThrough()
    {
        EXPECT_EQ(capturer.set_up(capture_mode(480)), 0);
        EXPECT_EQ(capturer.start_channel(2), 0);
        EXPECT_EQ(capturer.pass_through(1), 0);
        EXPECT_EQ(capturer.enable(1), 0);
    }
    void set_up_encoder(uint32_t width = 360)
    {
        orka_iencode_video_params_t params = encode_params(1, 2);
        params.width = width;
        params.height = 240;
        ASSERT_EQ(recorder.load("mpeg4_pcm_enc"), 0);
        ASSERT_EQ(recorder.set_up(params), 0);
    }
    /* What is shown moves with the frames that are got. */
    template <typename Condition>
    bool comes(Condition condition)
    {
        return eventually([&] { return capturer.next_number() < 0 || condition(); });
    }
    bool shows_encoder()
    {
        return comes([this] { return size_on_screen().width == 360 && size_on_screen().height == 240; });
    }
    bool shows_nothing()
    {
        return comes([this] { return size_on_screen().width == 0; });
    }

    Recorder recorder{desk, 2};
    Capturer capturer{desk};
};

TEST_F(PassedThrough, TheEncodersPictureIsShownInItsSizeFromItsSetupToItsTearDown)
{
    capturer.next_number();
    EXPECT_EQ(size_on_screen().width, 0U);
    set_up_encoder();
    EXPECT_TRUE(shows_encoder());
    EXPECT_GT(counter_on_screen(), 0);
    EXPECT_EQ(recorder.tear_down(), 0);
    EXPECT_TRUE(shows_nothing());
}

TEST_F(PassedThrough, AnOddWidthIsShownWithoutItsLastPixel)
{
    set_up_encoder(321);
    EXPECT_TRUE(comes([this] { return size_on_screen().width == 320; }));
    EXPECT_GT(counter_on_screen(), 0);
}

TEST_F(PassedThrough, TheEncodersPictureGoesWithTheFileThatSetItUp)
{
    set_up_encoder();
    EXPECT_TRUE(shows_encoder());
    recorder.close();
    EXPECT_TRUE(shows_nothing());
}

TEST_F(PassedThrough, TheEncodersPictureIsThatOfTheStartChannel)
{
    set_up_encoder();
    EXPECT_TRUE(shows_encoder());
    EXPECT_EQ(capturer.start_channel(1), 0);
    EXPECT_TRUE(shows_nothing());
    EXPECT_EQ(capturer.start_channel(2), 0);
    EXPECT_TRUE(shows_encoder());
}

TEST_F(PassedThrough, ASetupThatFailsShowsNothing)
{
    EXPECT_NE(recorder.set_up(encode_params(1, 2)), 0) << "no image was loaded";
    capturer.next_number();
    EXPECT_EQ(size_on_screen().width, 0U);
}

/* ---- A picture's way from the camera to the screen ---- */

struct Way {
    const char *name;
    const char *encoder; /* images */
    const char *decoder;
    uint32_t codec;
    PictureSize size;
    uint16_t variant = 0; /* of the codec */
};

class PictureFromCameraToScreen : public WholeDesk, public ::testing::WithParamInterface<Way> {
  protected:
    static constexpr uint32_t count = 20;

    void record()
    {
        orka_iencode_video_params_t params = encode_params(GetParam().codec);
        params.width = GetParam().size.width;
        params.height = GetParam().size.height;
        params.bufsize = 0x100000;
        params.bufcount = count;
        params.word16 = GetParam().variant;
        ASSERT_EQ(recorder.load(GetParam().encoder), 0);
        ASSERT_EQ(recorder.set_up(params), 0);
        ASSERT_EQ(recorder.init(), 0);
        ASSERT_EQ(recorder.start(), 0);
    }
    /* Nothing is shown yet but what is asked for. */
    void play()
    {
        ASSERT_EQ(player.load(GetParam().decoder), 0);
        ASSERT_EQ(player.set_up(orka_idecode_video_params_t{.codec = GetParam().codec,
                                                            .width = GetParam().size.width,
                                                            .height = GetParam().size.height,
                                                            .bufsize = 0x300000,
                                                            .bufcount = 400,
                                                            .maxframe = 307200}),
                  0);
        ASSERT_EQ(player.order(wire::IDECODE_INIT), 0);
        desk.on_clock([](PresentationClock &clock) { clock.hold(Clock::now()); });
        ASSERT_EQ(player.start(), 0);
    }
    void pass_on()
    {
        const orka_iencode_frame_t frame = recorder.wait_frame();
        EXPECT_TRUE(player.feed(desk.bytes(frame.addr, frame.size), frame.timestamp, frame.flags));
        EXPECT_EQ(recorder.release(), 0);
    }
    /* Shows the next one; its number. */
    int64_t step()
    {
        desk.on_clock([](PresentationClock &clock) { clock.ask_picture(); });
        const auto answer = player.get();
        EXPECT_EQ(answer.status, wire::driver_done);
        const int64_t number = counter_on_screen();
        EXPECT_EQ(answer.frame.tsms, static_cast<uint32_t>(number * 1000 / 30));
        EXPECT_EQ(player.release(answer.frame), 0);
        return number;
    }

    Recorder recorder{desk};
    Player player{desk, wire::node::vdecode};
};

TEST_P(PictureFromCameraToScreen, KeepsItsNumberAndNoneIsLeftOut)
{
    ASSERT_NO_FATAL_FAILURE(record());
    ASSERT_NO_FATAL_FAILURE(play());
    for (uint32_t i = 0; i < count; i++)
        pass_on();
    ASSERT_TRUE(player.feed_last());
    for (int64_t i = 0; i < count; i++)
        EXPECT_EQ(step(), i);
}

INSTANTIATE_TEST_SUITE_P(Of, PictureFromCameraToScreen,
                         ::testing::Values(Way{"Mpeg4", "mpeg4_pcm_enc", "mpeg4_pcm_dec", 1, {720, 480}},
                                           Way{"H263", "mpeg4_pcm_enc", "mpeg4_pcm_dec", 1, {352, 288}, 6},
                                           Way{"H264", "h264_pcm_enc", "h264_pcm_dec", 6, {360, 240}},
                                           Way{"Mpeg2", "mpeg2_pcm_enc", "mpeg2_pcm_dec", 8, {720, 480}}),
                         [](const auto &info) { return info.param.name; });

/* ---- The loudspeaker, the room and the microphone ---- */

constexpr uint32_t rate = 8000;
constexpr uint32_t packet = rate / 50;
constexpr uint32_t second = 50; /* packets */

double level_of(std::span<const int16_t> samples)
{
    double sum = 0;
    for (const int16_t sample : samples)
        sum += static_cast<double>(sample) * sample;
    return std::sqrt(sum / static_cast<double>(samples.size()));
}

class SoundInTheRoom : public WholeDesk {
  protected:
    SoundInTheRoom()
    {
        microphone.silent = true;
        desk.on_reactor([this] { board->microphone = &microphone; });
    }
    void record()
    {
        orka_iencode_audio_params_t params = sound_params();
        params.bufcount = 2; /* the encoder is not far ahead of what is played */
        ASSERT_EQ(recorder.load("mpeg4_pcm_enc"), 0);
        ASSERT_EQ(recorder.set_up(params), 0);
        ASSERT_EQ(recorder.start(), 0);
    }
    void play()
    {
        ASSERT_EQ(player.load("mpeg4_pcm_dec"), 0);
        ASSERT_EQ(player.set_up(orka_idecode_audio_params_t{.codec = 6,
                                                            .channels = 1,
                                                            .sample_rate = rate,
                                                            .bitrate = 128,
                                                            .bitrate_bps = 128000,
                                                            .bufsize = 0x80000,
                                                            .bufcount = 400,
                                                            .maxframe = 32768}),
                  0);
        ASSERT_EQ(player.start(), 0);
    }
    /* Twenty milliseconds of a tone, heard to their end. */
    void play_packet()
    {
        std::vector<int16_t> samples(packet);
        for (int16_t &sample : samples) {
            const double angle = 2 * std::numbers::pi * 1000 * static_cast<double>(played++) / rate;
            sample = static_cast<int16_t>(8000 * std::sin(angle));
        }
        const auto *const bytes = reinterpret_cast<const uint8_t *>(samples.data());
        EXPECT_TRUE(player.feed({bytes, samples.size() * sizeof(int16_t)}, played * 1000 / rate));
        const auto answer = player.get();
        EXPECT_EQ(answer.status, wire::driver_done);
        EXPECT_EQ(player.release(answer.frame), 0);
    }
    /* The level of what is recorded in the second of two seconds. */
    double recorded_level()
    {
        std::vector<int16_t> heard;
        for (uint32_t i = 0; i < 2 * second; i++) {
            play_packet();
            const std::vector<int16_t> samples = recorder.next();
            if (i >= second)
                heard.insert(heard.end(), samples.begin(), samples.end());
        }
        return level_of(heard);
    }

    FakeMicrophone microphone;
    uint32_t played = 0;
    SoundRecorder recorder{desk};
    Player player{desk, wire::node::adecode};
};

TEST_F(SoundInTheRoom, ComesBackAndIsTakenOutWhereEchoIsCancelled)
{
    ASSERT_NO_FATAL_FAILURE(record());
    ASSERT_NO_FATAL_FAILURE(play());
    const double echo = recorded_level();
    EXPECT_GT(echo, 500);
    ASSERT_EQ(recorder.start_aec(), 0);
    EXPECT_LT(recorded_level(), echo / 4);
    ASSERT_EQ(recorder.stop_aec(), 0);
    EXPECT_GT(recorded_level(), echo / 2);
}

} // namespace
} // namespace orka::board::desk
