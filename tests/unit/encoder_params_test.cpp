/* The encoders' parameter records, byte for byte, the choice of codec images, and what is not exported. */
#include "orka_iencode.h"

#include <cstring>
#include <gtest/gtest.h>
#include <map>
#include <string>
#include <vector>

#include "common/orka_iencode_internal.h"
#include "orka_idevice.h"
#include "support/child.h"
#include "support/harness.h"
#include "support/words.h"
#include "unit/params.h"

using namespace orka_test;

namespace {

orka_video_desc_t video(int32_t type, uint32_t width, uint32_t height)
{
    return {.valid = 0, .type = type, .aux = 9, .width = width, .height = height};
}

/* The words of a record; where nothing else is said, with the usual buffers. */
Words audio_words(uint32_t codec, uint32_t rate, uint32_t bitrate, uint32_t bps, uint32_t mode = 0,
                  uint32_t bufsize = 0x80000, uint32_t bufcount = 120)
{
    return {codec, 0x102, rate, bitrate, bps, mode, 0, bufsize, bufcount, 0, 0};
}

/* What differs from codec to codec, by its offset in the record. */
struct VideoWords {
    uint32_t codec;
    uint32_t at6 = 1;
    uint32_t at16 = 4;
    uint32_t at20 = 3000;
    uint32_t at36 = 31744;
    uint32_t at56 = 0;
    uint32_t at60 = 0x200000;
    uint32_t at64 = 120;
};

Words video_words(const VideoWords &of, uint32_t width = 720, uint32_t height = 576)
{
    Words words(64);
    words[0] = of.codec;
    words[1] = of.at6 << 16 | 15 << 8 | 30;
    words[2] = width;
    words[3] = height;
    words[4] = of.at16;
    words[5] = of.at20;
    words[9] = of.at36;
    words[11] = 1 << 16 | 1000;
    words[14] = of.at56;
    words[15] = of.at60;
    words[16] = of.at64;
    return words;
}

class EncoderParams : public HarnessTest {
  protected:
    void expect_audio(int32_t type, uint32_t rate, uint32_t bitrate, const Words &expected)
    {
        orka_audio_desc_t adesc = audio(type, rate, bitrate);
        memset(&aparams, 0xAA, sizeof aparams);
        EXPECT_EQ(orka_iencode_get_audio_params(&aparams, &adesc), ORKA_STATUS_SUCCESS);
        EXPECT_EQ(words_of(aparams), expected) << type << " " << rate << " " << bitrate;
    }

    void expect_no_audio(int32_t type, uint32_t rate, uint32_t bitrate, const std::string &message)
    {
        orka_audio_desc_t adesc = audio(type, rate, bitrate);
        EXPECT_EQ(orka_iencode_get_audio_params(&aparams, &adesc), ORKA_STATUS_OUT_OF_RANGE);
        EXPECT_EQ(log.take_error(), error_line("orka_iencode_get_audio_params", "ORKA_IENCODE: " + message));
    }

    void expect_video(int32_t type, const VideoWords &expected)
    {
        orka_video_desc_t vdesc = video(type, 720, 576);
        memset(&vparams, 0xAA, sizeof vparams);
        EXPECT_EQ(orka_iencode_get_video_params(&vparams, &vdesc), ORKA_STATUS_SUCCESS);
        EXPECT_EQ(words_of(vparams), video_words(expected)) << type;
    }

    void expect_no_video(const orka_video_desc_t &vdesc, const std::string &message)
    {
        memset(&vparams, 0xAA, sizeof vparams);
        EXPECT_EQ(orka_iencode_get_video_params(&vparams, &vdesc), ORKA_STATUS_INVALID_PARAMETER);
        EXPECT_EQ(log.take_error(), error_line("orka_iencode_get_video_params", "ORKA_IENCODE: " + message));
    }

    orka_iencode_audio_params_t aparams;
    orka_iencode_video_params_t vparams;
};

TEST_F(EncoderParams, AreLaidOutAsTheDriversTakeThem)
{
    EXPECT_EQ(sizeof aparams, 44u);
    EXPECT_EQ(sizeof vparams, 256u);
}

TEST_F(EncoderParams, OfTypesWithoutRatesOfTheirOwn)
{
    const std::pair<int32_t, uint32_t> codecs[] = {{1, 10}, {14, 7}, {17, 8}};
    for (auto [type, codec] : codecs) {
        expect_audio(type, 12345, 777, audio_words(codec, 12345, 777, 777000));
        expect_audio(type, 0, 0, audio_words(codec, 0, 0, 0));
    }
}

TEST_F(EncoderParams, OfPcmHaveLargeBuffers)
{
    expect_audio(16, 48000, 1536, audio_words(6, 48000, 1536, 1536000, 0, 0x400000, 240));
}

TEST_F(EncoderParams, TakeABitrateAboveFourThousandForBitsPerSecond)
{
    expect_audio(1, 48000, 128000, audio_words(10, 48000, 128, 128000));
    expect_audio(1, 48000, 128, audio_words(10, 48000, 128, 128000));
    expect_audio(1, 48000, 4000, audio_words(10, 48000, 4000, 4000000));
    expect_audio(1, 48000, 4001, audio_words(10, 48000, 4, 4001));
    expect_audio(4, 8000, 64999, audio_words(4, 8000, 64, 64999));
}

TEST_F(EncoderParams, OfNoAudioAreACodecAlone)
{
    Words expected(11);
    expected[0] = 5;
    expect_audio(0, 44100, 128, expected);
}

struct Coding {
    uint32_t codec;
    uint32_t mode;
    uint32_t bps;
};

/* A type with a rate of its own; each bitrate has its codec. */
struct Narrow {
    int32_t type;
    const char *name;
    const char *bad_bitrate; /* the message ahead of the number ... */
    uint32_t shown;          /* ... which is always this one, or where 0 the bitrate */
    uint32_t rate;
    std::map<uint32_t, Coding> codings;

    friend void PrintTo(const Narrow &narrow, std::ostream *stream) { *stream << narrow.name; }
};

const Narrow narrows[] = {
    {4, "G.711", "Invalid G.711 Sample Rate ", 8000, 8000, {{64, {4, 0, 64000}}}},
    {5,
     "G.722",
     "Invalid G.722 Audio Bitrate ",
     0,
     16000,
     {{48, {27, 3, 48000}}, {56, {28, 2, 56000}}, {64, {29, 1, 64000}}}},
    {6, "G.722.1", "Invalid G.722.1 Audio Bitrate ", 0, 16000, {{24, {30, 2, 24000}}, {32, {31, 1, 32000}}}},
    {7, "G.723", "Invalid G.723 Audio Bitrate ", 0, 8000, {{5, {26, 1, 5300}}, {6, {26, 0, 6300}}}},
    {8,
     "G.726",
     "Invalid G.726 Audio Bitrate ",
     0,
     8000,
     {{16, {0, 0, 16000}}, {24, {1, 0, 24000}}, {32, {2, 0, 32000}}, {40, {3, 0, 40000}}}},
    {10, "G.729", "Invalid G.729 Bitrate ", 0, 8000, {{8, {25, 0, 8000}}}},
};

class NarrowEncoderParams : public EncoderParams, public testing::WithParamInterface<Narrow> {};

TEST_P(NarrowEncoderParams, HaveACodecForEachBitrate)
{
    for (auto [bitrate, coding] : GetParam().codings)
        expect_audio(GetParam().type, GetParam().rate, bitrate,
                     audio_words(coding.codec, GetParam().rate, bitrate, coding.bps, coding.mode));
}

TEST_P(NarrowEncoderParams, RefuseAnyOtherBitrate)
{
    for (uint32_t bitrate : tried_bitrates) {
        if (GetParam().codings.count(bitrate))
            continue;
        const uint32_t shown = GetParam().shown ? GetParam().shown : bitrate;
        expect_no_audio(GetParam().type, GetParam().rate, bitrate,
                        GetParam().bad_bitrate + std::to_string(shown) + ".");
    }
}

TEST_P(NarrowEncoderParams, RefuseAnyOtherSampleRateFirst)
{
    for (uint32_t rate : tried_rates) {
        if (rate == GetParam().rate)
            continue;
        expect_no_audio(GetParam().type, rate, 1,
                        std::string("Invalid ") + GetParam().name + " Sample Rate " + std::to_string(rate) +
                            ".");
    }
}

INSTANTIATE_TEST_SUITE_P(Types, NarrowEncoderParams, testing::ValuesIn(narrows), name_without_dots<Narrow>);

TEST_F(EncoderParams, OfAudioThatTheEncoderDoesNotHaveAreRefused)
{
    const std::pair<int32_t, const char *> types[] = {
        {-1, "UNKNOWN"}, {2, "AC3"},  {3, "BSAC"}, {9, "G728"},     {11, "GSMAMR"},
        {12, "MP1"},     {13, "MP2"}, {15, "OGG"}, {18, "UNKNOWN"}, {-2, "UNKNOWN"}};
    for (auto [type, name] : types)
        expect_no_audio(type, 8000, 8, std::string("Unsupported Audio Type (") + name + ").");
}

TEST_F(EncoderParams, OfVideoHaveTheValuesOfTheirCodec)
{
    expect_video(2, {.codec = 1, .at16 = 6});
    expect_video(3, {.codec = 6, .at36 = 26112});
    expect_video(6,
                 {.codec = 8, .at6 = 3, .at16 = 3, .at20 = 5000, .at56 = 1, .at60 = 0x400000, .at64 = 240});
    expect_video(7, {.codec = 1, .at60 = 0x400000, .at64 = 240});
    expect_video(14, {.codec = 10});
}

TEST_F(EncoderParams, OfNoVideoAreAllZero)
{
    orka_video_desc_t vdesc = video(0, 720, 576);
    memset(&vparams, 0xAA, sizeof vparams);
    EXPECT_EQ(orka_iencode_get_video_params(&vparams, &vdesc), ORKA_STATUS_SUCCESS);
    EXPECT_EQ(words_of(vparams), Words(64));
}

TEST_F(EncoderParams, OfVideoWithoutSizeAreRefusedWithTheCodecSet)
{
    const std::pair<int32_t, uint32_t> codecs[] = {{2, 1}, {3, 6}, {6, 8}, {7, 1}};
    for (auto [type, codec] : codecs) {
        expect_no_video(video(type, 0, 480), "Width/Height Cannot be 0.");
        EXPECT_EQ(words_of(vparams), video_words({.codec = codec}, 0, 480));
        expect_no_video(video(type, 640, 0), "Width/Height Cannot be 0.");
        EXPECT_EQ(words_of(vparams), video_words({.codec = codec}, 640, 0));
    }
}

TEST_F(EncoderParams, OfJpegDoNotMindTheSize)
{
    orka_video_desc_t vdesc = video(14, 0, 0);
    EXPECT_EQ(orka_iencode_get_video_params(&vparams, &vdesc), ORKA_STATUS_SUCCESS);
    EXPECT_EQ(words_of(vparams), video_words({.codec = 10}, 0, 0));
}

TEST_F(EncoderParams, OfVideoThatNoEncoderHasAreRefused)
{
    const std::pair<int32_t, const char *> types[] = {
        {-1, "UNKNOWN"}, {1, "DIVX3"}, {4, "MJPEG"},   {5, "MPEG1"},   {8, "MSMPEG4"}, {9, "WMV7"},
        {10, "WMV8"},    {11, "WMV9"}, {12, "YUV422"}, {13, "RGB888"}, {15, "UNKNOWN"}};
    for (auto [type, name] : types) {
        expect_no_video(video(type, 8, 8), std::string("Unsupported Video Type (") + name + ").");
        EXPECT_EQ(words_of(vparams), video_words({.codec = 0}, 8, 8));
    }
}

std::string assertion(const char *function, const char *expression, void (*call)())
{
    return assertion_complaint(end_of([=](Kernel &) { call(); }), "src/common/orka_iencode.cpp", function,
                               expression);
}

TEST(EncoderParamsOfNull, Abort)
{
    constexpr const char *of_audio = "orka_iencode_get_audio_params";
    constexpr const char *of_video = "orka_iencode_get_video_params";
    EXPECT_EQ(assertion(of_audio, "eparams != ((void *)0)",
                        [] { orka_iencode_get_audio_params(nullptr, nullptr); }),
              "");
    EXPECT_EQ(assertion(of_video, "eparams != ((void *)0)",
                        [] { orka_iencode_get_video_params(nullptr, nullptr); }),
              "");
    EXPECT_EQ(assertion(of_audio, "adesc != ((void *)0)",
                        [] {
                            orka_iencode_audio_params_t params;
                            orka_iencode_get_audio_params(&params, nullptr);
                        }),
              "");
    EXPECT_EQ(assertion(of_video, "vdesc != ((void *)0)",
                        [] {
                            orka_iencode_video_params_t params;
                            orka_iencode_get_video_params(&params, nullptr);
                        }),
              "");
}

/* The images, a row for each video type. "-" is a combination that no image serves. */
constexpr const char *columns[] = {"NONE", "AAC",  "G711", "G722", "G7221", "G723",
                                   "G726", "G729", "MP3",  "PCM",  "WMA"};

const std::vector<const char *> mpeg4_row = {
    "mpeg4_pcm_enc",         "mpeg4_aac_enc",        "mpeg4_g711_aec_codec", "mpeg4_g722_aec_codec",
    "mpeg4_g7221_aec_codec", "mpeg4_g723_aec_codec", "mpeg4sp_g7xx_enc",     "mpeg4_g729_aec_codec",
    "mpeg4sp_mp3_enc",       "mpeg4_pcm_enc",        "mpeg4_pcm_enc"};

const std::map<std::string, std::vector<const char *>> selection = {
    {"NONE", mpeg4_row},
    {"MPEG4", mpeg4_row},
    {"H263",
     {"mpeg4_g726_aec_codec", "-", "mpeg4_g711_aec_codec", "mpeg4_g722_aec_codec", "mpeg4_g7221_aec_codec",
      "mpeg4_g723_aec_codec", "mpeg4_g726_aec_codec", "mpeg4_g729_aec_codec", "-", "-", "-"}},
    {"H264", {"h264_pcm_enc", "-", "-", "-", "-", "-", "-", "-", "-", "h264_pcm_enc", "-"}},
    {"MPEG2", {"mpeg2_pcm_enc", "-", "-", "-", "-", "-", "-", "-", "-", "mpeg2_pcm_enc", "-"}},
};

class EncoderCodecName : public CodecNameTest {
  protected:
    EncoderCodecName()
        : CodecNameTest("orka_iencode_get_codec_name", "ORKA_IENCODE: ", orka_iencode_get_codec_name)
    {
    }
};

TEST_F(EncoderCodecName, IsTheOneOfTheTable)
{
    expect_table(columns, selection);
}

TEST_F(EncoderCodecName, IsNoneForAudioOutsideTheTable)
{
    constexpr int32_t types[] = {-1, 2, 3, 9, 11, 12, 13, 15, 18, -2, 1000, INT32_MIN, INT32_MAX};
    expect_no_audio(selection, types);
}

TEST_F(EncoderCodecName, IsNoneForVideoOutsideTheTable)
{
    constexpr std::pair<int32_t, const char *> types[] = {
        {-1, "UNKNOWN"}, {1, "DIVX3"},           {4, "MJPEG"},          {5, "MPEG1"},   {8, "MSMPEG4"},
        {9, "WMV7"},     {11, "WMV9"},           {12, "YUV422"},        {13, "RGB888"}, {14, "JPEG"},
        {15, "UNKNOWN"}, {INT32_MIN, "UNKNOWN"}, {INT32_MAX, "UNKNOWN"}};
    expect_no_video(types);
}

/* The way from a queue to its driver. */
class EncoderQueueDescriptor : public HarnessTest {
  protected:
    void TearDown() override
    {
        orka_idevice_close_atexit();
        HarnessTest::TearDown();
    }

    static orka_iencode_queue_t queue(uint32_t magic, uint32_t version = 1)
    {
        orka_iencode_queue_t made = {};
        made.magic = magic;
        made.version = version;
        made.channel = 2;
        return made;
    }

    void expect_none(const orka_iencode_queue_t &of, const char *message)
    {
        EXPECT_EQ(orka_iencode_get_queue_fd(&of), ORKA_STATUS_INITIALIZATION);
        EXPECT_EQ(log.take_error(), error_line("orka_iencode_get_queue_fd", message));
        EXPECT_TRUE(kernel.calls(Fn::open).empty());
    }
};

TEST_F(EncoderQueueDescriptor, OfNullIsNone)
{
    EXPECT_EQ(orka_iencode_get_queue_fd(nullptr), ORKA_STATUS_NULL_POINTER);
    EXPECT_EQ(log.take_error(), error_line("orka_iencode_get_queue_fd", "ORKA_IENCODE: NULL Pointer Deref."));
}

TEST_F(EncoderQueueDescriptor, IsThatOfTheAudioEncoderOrOfTheChannel)
{
    kernel.node("/dev/aencode");
    kernel.node("/dev/vencode2");
    const orka_iencode_queue_t audio_queue = queue(ORKA_IENCODE_AUDIO_QUEUE);
    const orka_iencode_queue_t video_queue = queue(ORKA_IENCODE_VIDEO_QUEUE);
    EXPECT_GT(orka_iencode_get_queue_fd(&audio_queue), 0);
    EXPECT_EQ(orka_iencode_get_queue_fd(&audio_queue), orka_idevice_iaencode_fd());
    EXPECT_GT(orka_iencode_get_queue_fd(&video_queue), 0);
    EXPECT_EQ(orka_iencode_get_queue_fd(&video_queue), orka_idevice_ivencode_fd(2));
    EXPECT_EQ(kernel.paths(Fn::open), (std::vector<std::string>{"/dev/aencode", "/dev/vencode2"}));
}

TEST_F(EncoderQueueDescriptor, IsNoneForAQueueThatIsNotOpen)
{
    expect_none(queue(ORKA_IENCODE_AUDIO_QUEUE, 0), "ORKA_IENCODE: Invalid Queue Handle.");
    expect_none(queue(ORKA_IENCODE_VIDEO_QUEUE, 2), "ORKA_IENCODE: Invalid Queue Handle.");
}

TEST_F(EncoderQueueDescriptor, IsNoneForAnyOtherKind)
{
    expect_none(queue(ORKA_IENCODE_MOTION_VECTOR_QUEUE), "ORKA_IENCODE: Invalid Queue Type.");
    expect_none(queue(0), "ORKA_IENCODE: Invalid Queue Type.");
}

TEST(Resolutions, AreNamed)
{
    const std::pair<orka_resolution_t, Words> resolutions[] = {
        {d1_resolution, {720, 480}},          {hd1_resolution, {720, 240}},
        {vga_resolution, {640, 480}},         {hvga_resolution, {640, 240}},
        {qvga_resolution, {320, 240}},        {hdtv_720p_resolution, {1280, 720}},
        {hdtv_1080i_resolution, {1920, 1080}}};
    for (const auto &[resolution, expected] : resolutions)
        EXPECT_EQ(words_of(resolution), expected);
}

} // namespace
