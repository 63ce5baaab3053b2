#include <gtest/gtest.h>

#include "dsp/encoder.h"

namespace orka::board::test {

namespace {

std::string refusal(const orka_iencode_video_params_t &setup)
{
    std::string why;
    EXPECT_EQ(VideoEncoder::create(setup, why), nullptr);
    return why;
}

std::string refusal(const orka_iencode_audio_params_t &setup)
{
    std::string why;
    EXPECT_EQ(AudioEncoder::create(setup, why), nullptr);
    return why;
}

orka_iencode_video_params_t video(uint32_t codec, uint32_t width = 176, uint32_t height = 144)
{
    return {.codec = codec,
            .frame_rate = 30,
            .key_distance = 15,
            .width = width,
            .height = height,
            .bitrate = 1000};
}

orka_iencode_audio_params_t audio(uint32_t codec, uint32_t channels, uint32_t sample_rate,
                                  uint32_t bitrate_bps = 64000)
{
    return {.codec = codec, .channels = channels, .sample_rate = sample_rate, .bitrate_bps = bitrate_bps};
}

TEST(VideoEncoderRefusal, SaysThatNoVideoIsNothingToEncode)
{
    EXPECT_EQ(refusal(video(0)), "video codec 0 is no video: there is nothing to encode");
}

TEST(VideoEncoderRefusal, MeetsEveryOtherCodec)
{
    for (const uint32_t codec : {2U, 4U, 5U, 7U, 9U, 11U, 15U, 256U, 0xFFFFFFFFU})
        EXPECT_EQ(refusal(video(codec)), "video codec " + std::to_string(codec) + " has no encoder");
}

TEST(VideoEncoderRefusal, MeetsSizesThatCannotBe)
{
    EXPECT_EQ(refusal(video(10, 0, 0)), "video codec 10 (JPEG): pictures of 0x0 are none");
    EXPECT_EQ(refusal(video(1, 176, 0)), "video codec 1 (MPEG-4): pictures of 176x0 are none");
    EXPECT_EQ(refusal(video(6, 4098, 16)), "video codec 6 (H.264): pictures of 4098x16 are too large");
    EXPECT_EQ(refusal(video(8, 16, 0xFFFFFFFF)),
              "video codec 8 (MPEG-2): pictures of 16x4294967295 are too large");
    EXPECT_EQ(refusal(video(6, 175, 144)), "video codec 6 (H.264): pictures of 175x144 have an odd side");
}

TEST(VideoEncoderRefusal, MeetsSizesThatH263DoesNotHave)
{
    orka_iencode_video_params_t setup = video(1, 720, 480);
    setup.word16 = 6;
    EXPECT_EQ(refusal(setup), "video codec 1 (H.263): pictures of 720x480 are none of 128x96, 176x144, "
                              "352x288, 704x576, 1408x1152");
}

TEST(VideoEncoderRefusal, MeetsRatesThatCannotBe)
{
    orka_iencode_video_params_t setup = video(1);
    setup.frame_rate = 0;
    EXPECT_EQ(refusal(setup), "video codec 1 (MPEG-4): 0 pictures a second are none");
    setup = video(8);
    setup.frame_rate = 31;
    EXPECT_EQ(refusal(setup), "video codec 8 (MPEG-2): 31 pictures a second are none of 24, 25, 30, 50, 60");
}

TEST(VideoEncoderRefusal, MeetsBitRatesThatCannotBe)
{
    for (const uint32_t rate : {0U, 100'001U}) {
        orka_iencode_video_params_t setup = video(6);
        setup.bitrate = rate;
        EXPECT_EQ(refusal(setup), "video codec 6 (H.264): " + std::to_string(rate) +
                                      " kbit/s is no bit rate that it can have");
    }
}

TEST(AudioEncoderRefusal, SaysThatNoSoundIsNothingToEncode)
{
    EXPECT_EQ(refusal(audio(5, 0, 0)), "audio codec 5 is no sound: there is nothing to encode");
}

TEST(AudioEncoderRefusal, NamesTheCodecsThatLibavcodecLacks)
{
    EXPECT_EQ(refusal(audio(25, 1, 8000)), "audio codec 25 (G.729): libavcodec has no encoder for it");
    EXPECT_EQ(refusal(audio(30, 1, 16000)), "audio codec 30 (G.722.1): libavcodec has no encoder for it");
    EXPECT_EQ(refusal(audio(31, 1, 16000)), "audio codec 31 (G.722.1): libavcodec has no encoder for it");
}

TEST(AudioEncoderRefusal, MeetsEveryOtherCodec)
{
    for (const uint32_t codec : {9U, 11U, 13U, 14U, 24U, 32U, 0xFFFFFFFFU})
        EXPECT_EQ(refusal(audio(codec, 1, 8000)), "audio codec " + std::to_string(codec) + " has no encoder");
}

TEST(AudioEncoderRefusal, MeetsTheLowerRateOfG7231)
{
    EXPECT_EQ(refusal(audio(26, 1, 8000, 5300)),
              "audio codec 26 (G.723.1): 5300 bit/s: libavcodec encodes 6300 alone");
}

TEST(AudioEncoderRefusal, MeetsRatesThatTheCodecCannotHave)
{
    EXPECT_EQ(refusal(audio(2, 1, 16000)),
              "audio codec 2 (G.726): 16000 Hz is no sample rate that it can have");
    EXPECT_EQ(refusal(audio(29, 1, 8000)),
              "audio codec 29 (G.722): 8000 Hz is no sample rate that it can have");
    EXPECT_EQ(refusal(audio(10, 2, 44000)),
              "audio codec 10 (AAC): 44000 Hz is no sample rate that it can have");
    EXPECT_EQ(refusal(audio(7, 2, 96000)),
              "audio codec 7 (MP3): 96000 Hz is no sample rate that it can have");
    EXPECT_EQ(refusal(audio(6, 2, 0)), "audio codec 6 (PCM): 0 Hz is no sample rate that it can have");
    EXPECT_EQ(refusal(audio(6, 2, 192'001)),
              "audio codec 6 (PCM): 192001 Hz is no sample rate that it can have");
}

TEST(AudioEncoderRefusal, MeetsChannelsThatTheCodecCannotHave)
{
    EXPECT_EQ(refusal(audio(4, 0, 8000)), "audio codec 4 (G.711): 0 channels are none that it can have");
    EXPECT_EQ(refusal(audio(2, 2, 8000)), "audio codec 2 (G.726): 2 channels are none that it can have");
    EXPECT_EQ(refusal(audio(10, 3, 48000)), "audio codec 10 (AAC): 3 channels are none that it can have");
}

TEST(AudioEncoderRefusal, MeetsBitRatesThatTheCodecCannotHave)
{
    EXPECT_EQ(refusal(audio(10, 2, 48000, 0)),
              "audio codec 10 (AAC): 0 bit/s is no bit rate that it can have");
    EXPECT_EQ(refusal(audio(7, 2, 48000, 1'000'001)),
              "audio codec 7 (MP3): 1000001 bit/s is no bit rate that it can have");
}

TEST(AudioEncoderRefusal, TellsWhyLibavcodecDoesNotOpen)
{
    EXPECT_EQ(refusal(audio(8, 2, 48000, 1000)),
              "audio codec 8 (WMA): cannot open wmav2: Invalid argument (bitrate too low: got 1000, need "
              "24000 or higher)");
}

} // namespace

} // namespace orka::board::test
