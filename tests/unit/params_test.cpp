/* The decoders' parameter records, byte for byte, and the choice of codec images. */
#include "orka_idecode.h"

#include <cstring>
#include <gtest/gtest.h>
#include <map>
#include <string>
#include <vector>

#include "support/child.h"
#include "support/harness.h"
#include "support/words.h"
#include "unit/params.h"

using namespace orka_test;

namespace {

/* The words of a record; where nothing else is said, with the usual buffers. */
Words audio_words(uint32_t codec, uint32_t rate, uint32_t bitrate, uint32_t bps, uint32_t bufsize = 0x80000,
                  uint32_t bufcount = 400, uint32_t maxframe = 32768)
{
    return {codec, 2, rate, bitrate, bps, 91, 92, 0, bufsize, bufcount, maxframe, 0, 0};
}

class Params : public HarnessTest {
  protected:
    void expect_audio(int32_t type, uint32_t rate, uint32_t bitrate, const Words &expected)
    {
        orka_audio_desc_t adesc = audio(type, rate, bitrate);
        memset(&aparams, 0xAA, sizeof aparams);
        EXPECT_EQ(orka_idecode_get_audio_params(&aparams, &adesc), ORKA_STATUS_SUCCESS);
        EXPECT_EQ(words_of(aparams), expected) << type << " " << rate << " " << bitrate;
    }

    void expect_no_audio(int32_t type, uint32_t rate, uint32_t bitrate, orka_status_t status,
                         const std::string &message)
    {
        orka_audio_desc_t adesc = audio(type, rate, bitrate);
        EXPECT_EQ(orka_idecode_get_audio_params(&aparams, &adesc), status);
        EXPECT_EQ(log.take_error(), error_line("orka_idecode_get_audio_params", "ORKA_IDECODE: " + message));
    }

    void expect_video(int32_t type, uint32_t codec, uint32_t bufsize, uint32_t maxframe)
    {
        orka_video_desc_t vdesc = {.valid = 0, .type = type, .aux = 9, .width = 720, .height = 576};
        Words expected(84);
        expected[3] = codec;
        expected[4] = 720;
        expected[5] = 576;
        expected[6] = 1 << 16;
        expected[74] = bufsize;
        expected[75] = 400;
        expected[76] = maxframe;
        memset(&vparams, 0xAA, sizeof vparams);
        EXPECT_EQ(orka_idecode_get_video_params(&vparams, &vdesc), ORKA_STATUS_SUCCESS);
        EXPECT_EQ(words_of(vparams), expected) << type;
    }

    orka_idecode_audio_params_t aparams;
    orka_idecode_video_params_t vparams;
};

TEST_F(Params, AreLaidOutAsTheDriversTakeThem)
{
    EXPECT_EQ(sizeof aparams, 52u);
    EXPECT_EQ(sizeof vparams, 336u);
}

TEST_F(Params, OfTypesWithoutRatesOfTheirOwn)
{
    const std::pair<int32_t, uint32_t> codecs[] = {{1, 10}, {12, 13}, {13, 13}, {14, 7}, {15, 14}, {17, 8}};
    for (auto [type, codec] : codecs) {
        expect_audio(type, 12345, 777, audio_words(codec, 12345, 777, 777000));
        expect_audio(type, 0, 0, audio_words(codec, 0, 0, 0));
    }
}

TEST_F(Params, OfPcmHaveLargeBuffers)
{
    expect_audio(16, 48000, 1536, audio_words(6, 48000, 1536, 1536000, 0x300000, 2400, 0x9A000));
}

TEST_F(Params, TakeABitrateAboveFourThousandForBitsPerSecond)
{
    expect_audio(1, 48000, 128000, audio_words(10, 48000, 128, 128000));
    expect_audio(1, 48000, 4000, audio_words(10, 48000, 4000, 4000000));
    expect_audio(1, 48000, 4001, audio_words(10, 48000, 4, 4001));
    expect_audio(1, 48000, 0xFFFFFFFF, audio_words(10, 48000, 4294967, 0xFFFFFFFF));
}

TEST_F(Params, KeepTheLowByteOfTheChannelsAlone)
{
    expect_audio(1, 8000, 8, audio_words(10, 8000, 8, 8000));
    EXPECT_EQ(aparams.channels, 2);
}

TEST_F(Params, OfNoAudioAreACodecAlone)
{
    Words expected(13);
    expected[0] = 5;
    expect_audio(0, 44100, 128, expected);
}

/* A type with a rate of its own; each bitrate has its codec. */
struct Narrow {
    int32_t type;
    const char *name;
    const char *bitrate_words; /* as the message words it */
    uint32_t rate;
    std::map<uint32_t, uint32_t> codecs;

    friend void PrintTo(const Narrow &narrow, std::ostream *stream) { *stream << narrow.name; }
};

const Narrow narrows[] = {
    {4, "G.711", "Bitrate", 8000, {{64, 4}}},
    {5, "G.722", "Audio Bitrate", 16000, {{48, 27}, {56, 28}, {64, 29}}},
    {6, "G.722.1", "Audio Bitrate", 16000, {{24, 30}, {32, 31}}},
    {7, "G.723", "Audio Bitrate", 8000, {{5, 26}, {6, 26}}},
    {8, "G.726", "Audio Bitrate", 8000, {{16, 0}, {24, 1}, {32, 2}, {40, 3}}},
    {10, "G.729", "Bitrate", 8000, {{8, 25}}},
};

class NarrowParams : public Params, public testing::WithParamInterface<Narrow> {};

TEST_P(NarrowParams, HaveACodecForEachBitrate)
{
    for (auto [bitrate, codec] : GetParam().codecs) {
        uint32_t bps = GetParam().type == 7 ? bitrate * 1000 + 300 : bitrate * 1000;
        expect_audio(GetParam().type, GetParam().rate, bitrate,
                     audio_words(codec, GetParam().rate, bitrate, bps));
    }
}

TEST_P(NarrowParams, RefuseAnyOtherBitrate)
{
    for (uint32_t bitrate : tried_bitrates) {
        if (GetParam().codecs.count(bitrate))
            continue;
        expect_no_audio(GetParam().type, GetParam().rate, bitrate, ORKA_STATUS_OUT_OF_RANGE,
                        std::string("Invalid ") + GetParam().name + " " + GetParam().bitrate_words + " " +
                            std::to_string(bitrate) + ".");
    }
}

TEST_P(NarrowParams, RefuseAnyOtherSampleRateFirst)
{
    for (uint32_t rate : tried_rates) {
        if (rate == GetParam().rate)
            continue;
        expect_no_audio(GetParam().type, rate, 1, ORKA_STATUS_OUT_OF_RANGE,
                        std::string("Invalid ") + GetParam().name + " Sample Rate " + std::to_string(rate) +
                            ".");
    }
}

INSTANTIATE_TEST_SUITE_P(Types, NarrowParams, testing::ValuesIn(narrows), name_without_dots<Narrow>);

TEST_F(Params, OfAudioThatNoDecoderTakesAreRefused)
{
    const std::pair<int32_t, const char *> types[] = {{-1, "UNKNOWN"}, {2, "AC3"},     {3, "BSAC"},
                                                      {9, "G728"},     {11, "GSMAMR"}, {18, "UNKNOWN"},
                                                      {-2, "UNKNOWN"}, {99, "UNKNOWN"}};
    for (auto [type, name] : types)
        expect_no_audio(type, 8000, 8, ORKA_STATUS_INVALID_PARAMETER,
                        std::string("Unsupported Audio Type (") + name + ").");
}

TEST_F(Params, OfVideoHaveACodecForEachType)
{
    const std::pair<int32_t, uint32_t> codecs[] = {{1, 4}, {2, 1},  {3, 6},   {4, 9},  {7, 1},
                                                   {8, 4}, {9, 16}, {10, 15}, {11, 5}, {14, 10}};
    for (auto [type, codec] : codecs)
        expect_video(type, codec, 0x300000, 307200);
}

TEST_F(Params, OfMpeg1AndMpeg2HaveLargerBuffers)
{
    expect_video(5, 7, 0x600000, 614400);
    expect_video(6, 8, 0x600000, 614400);
}

TEST_F(Params, OfRawVideoHaveFramesOfThePicturesSize)
{
    expect_video(12, 256, 0x900000, 720 * 576 * 2 + 32);
    expect_video(13, 257, 0x900000, 720 * 576 * 3 + 48);
    EXPECT_EQ(vparams.maxframe, 1244208u);
}

TEST_F(Params, OfVideoDoNotMindTheSize)
{
    orka_video_desc_t vdesc = {.valid = 1, .type = 12, .aux = 0, .width = 0, .height = 0};
    EXPECT_EQ(orka_idecode_get_video_params(&vparams, &vdesc), ORKA_STATUS_SUCCESS);
    EXPECT_EQ(vparams.maxframe, 32u);
}

TEST_F(Params, OfNoVideoAreAllZero)
{
    orka_video_desc_t vdesc = {.valid = 1, .type = 0, .aux = 1, .width = 720, .height = 576};
    memset(&vparams, 0xAA, sizeof vparams);
    EXPECT_EQ(orka_idecode_get_video_params(&vparams, &vdesc), ORKA_STATUS_SUCCESS);
    EXPECT_EQ(words_of(vparams), Words(84));
}

TEST_F(Params, OfVideoThatIsNoneAreRefused)
{
    for (int32_t type : {-1, -2, 15, 99}) {
        orka_video_desc_t vdesc = {.valid = 1, .type = type, .aux = 0, .width = 1, .height = 1};
        EXPECT_EQ(orka_idecode_get_video_params(&vparams, &vdesc), ORKA_STATUS_INVALID_PARAMETER);
        EXPECT_EQ(log.take_error(), error_line("orka_idecode_get_video_params",
                                               "ORKA_IDECODE: Unsupported Video Type (UNKNOWN)."));
    }
}

std::string audio_assertion(const char *expression, void (*call)())
{
    return assertion_complaint(end_of([=](Kernel &) { call(); }), "src/common/orka_idecode.cpp",
                               "orka_idecode_get_audio_params", expression);
}

std::string video_assertion(const char *expression, void (*call)())
{
    return assertion_complaint(end_of([=](Kernel &) { call(); }), "src/common/orka_idecode.cpp",
                               "orka_idecode_get_video_params", expression);
}

TEST(ParamsOfNull, Abort)
{
    EXPECT_EQ(
        audio_assertion("dparams != ((void *)0)", [] { orka_idecode_get_audio_params(nullptr, nullptr); }),
        "");
    EXPECT_EQ(
        video_assertion("dparams != ((void *)0)", [] { orka_idecode_get_video_params(nullptr, nullptr); }),
        "");
    EXPECT_EQ(audio_assertion("adesc != ((void *)0)",
                              [] {
                                  orka_idecode_audio_params_t params;
                                  orka_idecode_get_audio_params(&params, nullptr);
                              }),
              "");
    EXPECT_EQ(video_assertion("vdesc != ((void *)0)",
                              [] {
                                  orka_idecode_video_params_t params;
                                  orka_idecode_get_video_params(&params, nullptr);
                              }),
              "");
}

/* The images, a row for each video type. "-" is a combination that no image serves. */
constexpr const char *columns[] = {"NONE", "AAC",  "G711", "G722", "G7221", "G723",
                                   "G726", "G729", "MP3",  "OGG",  "PCM",   "WMA"};

const std::map<std::string, std::vector<const char *>> selection = {
    {"NONE",
     {"mpeg4_pcm_dec", "mpeg4_aac_dec", "mpeg4sp_g7xx_dec", "mpeg4_g722_aec_codec", "mpeg4_g7221_aec_codec",
      "mpeg4_g723_aec_codec", "mpeg4sp_g7xx_dec", "mpeg4_g729_aec_codec", "mpeg4sp_mp3_dec", "ogg_dec",
      "mpeg4_pcm_dec", "wmv9_wma_dec"}},
    {"MPEG4",
     {"mpeg4_pcm_dec", "mpeg4_aac_dec", "mpeg4sp_g7xx_dec", "mpeg4_g722_aec_codec", "mpeg4_g7221_aec_codec",
      "mpeg4_g723_aec_codec", "mpeg4sp_g7xx_dec", "mpeg4_g729_aec_codec", "mpeg4sp_mp3_dec", nullptr,
      "mpeg4_pcm_dec", "wmv9_wma_dec"}},
    {"H263",
     {"mpeg4_g726_aec_codec", "-", "mpeg4sp_g7xx_dec", "mpeg4_g722_aec_codec", "mpeg4_g7221_aec_codec",
      "mpeg4_g723_aec_codec", "mpeg4_g726_aec_codec", "mpeg4_g729_aec_codec", "-", "-", "-", "-"}},
    {"H264", {"h264_pcm_dec", "h264_aac_dec", "-", "-", "-", "-", "-", "-", "-", "-", "h264_pcm_dec", "-"}},
    {"DIVX3", {"divx311_pcm_dec", "-", "-", "-", "-", "-", "-", "-", "-", "-", "divx311_pcm_dec", "-"}},
    {"MSMPEG4", {"divx311_pcm_dec", "-", "-", "-", "-", "-", "-", "-", "-", "-", "divx311_pcm_dec", "-"}},
    {"MPEG1", {"mpeg2_pcm_dec", "-", "-", "-", "-", "-", "-", "-", "-", "-", "mpeg2_pcm_dec", "-"}},
    {"MPEG2", {"mpeg2_pcm_dec", "-", "-", "-", "-", "-", "-", "-", "-", "-", "mpeg2_pcm_dec", "-"}},
    {"WMV7", {"wmv7_pcm_dec", "-", "-", "-", "-", "-", "-", "-", "-", "-", "wmv7_pcm_dec", "wmv7_wma_dec"}},
    {"WMV8", {"wmv8_pcm_dec", "-", "-", "-", "-", "-", "-", "-", "-", "-", "wmv8_pcm_dec", "wmv8_wma_dec"}},
    {"WMV9", {"wmv9_pcm_dec", "-", "-", "-", "-", "-", "-", "-", "-", "-", "wmv9_pcm_dec", "wmv9_wma_dec"}},
    {"YUV422", {"yuv422_pcm_dec", "-", "-", "-", "-", "-", "-", "-", "-", "-", "yuv422_pcm_dec", "-"}},
    {"RGB888", {"rgb888_pcm_dec", "-", "-", "-", "-", "-", "-", "-", "-", "-", "rgb888_pcm_dec", "-"}},
};

class CodecName : public CodecNameTest {
  protected:
    CodecName() : CodecNameTest("orka_idecode_get_codec_name", "ORKA_IDECODE: ", orka_idecode_get_codec_name)
    {
    }
};

TEST_F(CodecName, IsTheOneOfTheTable)
{
    expect_table(columns, selection);
}

TEST_F(CodecName, IsNoneForAudioOutsideTheTable)
{
    constexpr int32_t types[] = {-1, 2, 3, 9, 11, 12, 13, 18, -2, 1000, INT32_MIN, INT32_MAX};
    expect_no_audio(selection, types);
}

TEST_F(CodecName, IsNoneForVideoOutsideTheTable)
{
    constexpr std::pair<int32_t, const char *> types[] = {
        {-1, "UNKNOWN"}, {4, "MJPEG"},      {14, "JPEG"},           {15, "UNKNOWN"},
        {-2, "UNKNOWN"}, {1000, "UNKNOWN"}, {INT32_MIN, "UNKNOWN"}, {INT32_MAX, "UNKNOWN"}};
    expect_no_video(types);
}

} // namespace
