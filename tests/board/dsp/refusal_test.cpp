#include <gtest/gtest.h>

#include "dsp/codec.h"

namespace orka::board::test {

namespace {

std::string refusal(const orka_idecode_video_params_t &setup)
{
    std::string why;
    EXPECT_EQ(VideoDecoder::create(setup, why), nullptr);
    return why;
}

std::string refusal(const orka_idecode_audio_params_t &setup)
{
    std::string why;
    EXPECT_EQ(AudioDecoder::create(setup, why), nullptr);
    return why;
}

orka_idecode_video_params_t video(uint32_t codec, uint32_t width = 176, uint32_t height = 144)
{
    return {.codec = codec, .width = width, .height = height};
}

orka_idecode_audio_params_t audio(uint32_t codec, uint8_t channels = 2, uint32_t sample_rate = 44100)
{
    return {.codec = codec, .channels = channels, .sample_rate = sample_rate};
}

TEST(VideoRefusal, SaysThatNoVideoIsNothingToDecode)
{
    EXPECT_EQ(refusal(video(0)), "video codec 0 is no video: there is nothing to decode");
}

TEST(VideoRefusal, NamesTheStillPictureCodecs)
{
    EXPECT_EQ(refusal(video(9)), "video codec 9 (MJPEG): no image decodes it");
    EXPECT_EQ(refusal(video(10)), "video codec 10 (JPEG): no image decodes it");
}

TEST(VideoRefusal, CallsAnyOtherNumberUnknown)
{
    for (const uint32_t codec : {2U, 3U, 11U, 14U, 17U, 255U, 258U, 0xFFFFFFFFU})
        EXPECT_EQ(refusal(video(codec)), "video codec " + std::to_string(codec) + " is unknown");
}

TEST(VideoRefusal, MeetsASetupWithoutTheSizeThatTheBitstreamDoesNotTell)
{
    for (const uint32_t codec : {4U, 5U, 15U, 16U, 256U, 257U})
        EXPECT_EQ(refusal(video(codec, 0, 144)),
                  "video codec " + std::to_string(codec) +
                      ": the size of its pictures must be set up, and 0x144 is none");
}

TEST(VideoRefusal, DoesNotMeetASetupWithoutASizeThatTheBitstreamTells)
{
    std::string why;
    for (const uint32_t codec : {1U, 6U, 7U, 8U})
        EXPECT_NE(VideoDecoder::create(video(codec, 0, 0), why), nullptr) << why;
}

TEST(VideoRefusal, MeetsASizeBeyondTheBoards)
{
    EXPECT_EQ(refusal(video(6, 4097, 16)), "video codec 6: pictures of 4097x16 are too large");
    EXPECT_EQ(refusal(video(257, 16, 0xFFFFFFFF)),
              "video codec 257: pictures of 16x4294967295 are too large");
}

TEST(AudioRefusal, SaysThatNoSoundIsNothingToDecode)
{
    EXPECT_EQ(refusal(audio(5)), "audio codec 5 is no sound: there is nothing to decode");
}

TEST(AudioRefusal, NamesTheCodecThatLibavcodecLacks)
{
    EXPECT_EQ(refusal(audio(30)), "audio codec 30 (G.722.1): libavcodec has no decoder for it");
    EXPECT_EQ(refusal(audio(31)), "audio codec 31 (G.722.1): libavcodec has no decoder for it");
}

TEST(AudioRefusal, CallsAnyOtherNumberUnknown)
{
    for (const uint32_t codec : {9U, 11U, 15U, 24U, 32U, 0xFFFFFFFFU})
        EXPECT_EQ(refusal(audio(codec)), "audio codec " + std::to_string(codec) + " is unknown");
}

TEST(AudioRefusal, MeetsARateThatTheCodecCannotHave)
{
    EXPECT_EQ(refusal(audio(4, 1, 0)), "audio codec 4 (G.711): 0 Hz is no sample rate that it can have");
    EXPECT_EQ(refusal(audio(7, 2, 192001)),
              "audio codec 7 (MP3): 192001 Hz is no sample rate that it can have");
}

TEST(AudioRefusal, MeetsChannelsThatTheCodecCannotHave)
{
    EXPECT_EQ(refusal(audio(6, 0)), "audio codec 6 (PCM): 0 channels are none that it can have");
    EXPECT_EQ(refusal(audio(10, 9)), "audio codec 10 (AAC): 9 channels are none that it can have");
}

TEST(AudioRefusal, MeetsAVariantThatTheCodecDoesNotHave)
{
    orka_idecode_audio_params_t setup = audio(4, 1, 8000);
    setup.extra1 = 2;
    EXPECT_EQ(refusal(setup), "audio codec 4 (G.711): it has no variant 2, only 0 and 1");
}

TEST(AudioRefusal, MeetsWmaWithoutItsBlockSize)
{
    orka_idecode_audio_params_t setup = audio(8);
    EXPECT_EQ(refusal(setup), "audio codec 8 (WMA): blocks of 0 bytes cannot be");
    setup.extra2 = 65536;
    EXPECT_EQ(refusal(setup), "audio codec 8 (WMA): blocks of 65536 bytes cannot be");
}

} // namespace

} // namespace orka::board::test
