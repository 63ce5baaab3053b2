/* The catalogue of media types, held against tables typed again from its description. */
#include "orka_media.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "support/child.h"
#include "support/harness.h"
#include "support/words.h"
#include "unit/media_names.h"

using namespace orka_test;

namespace {

const std::vector<Name> frames = {{-1, "ERROR"},   {0, "NONE"},          {1, "AUDIO"}, {2, "VIDEO"},
                                  {3, "SUBTITLE"}, {4, "MOTION VECTOR"}, {5, "LAST"}};

const std::vector<Name> audios = {{-1, "UNKNOWN"}, {-1, "DETECT"}, {0, "NONE"},  {1, "AAC"},     {2, "AC3"},
                                  {3, "BSAC"},     {4, "G711"},    {5, "G722"},  {6, "G7221"},   {7, "G723"},
                                  {8, "G726"},     {9, "G728"},    {10, "G729"}, {11, "GSMAMR"}, {12, "MP1"},
                                  {13, "MP2"},     {14, "MP3"},    {15, "OGG"},  {16, "PCM"},    {17, "WMA"}};

const std::vector<Name> videos = {{-1, "UNKNOWN"}, {-1, "DETECT"}, {0, "NONE"},  {1, "DIVX3"}, {2, "H263"},
                                  {3, "H264"},     {4, "MJPEG"},   {5, "MPEG1"}, {6, "MPEG2"}, {7, "MPEG4"},
                                  {8, "MSMPEG4"},  {9, "WMV7"},    {10, "WMV8"}, {11, "WMV9"}, {12, "YUV422"},
                                  {13, "RGB888"},  {14, "JPEG"}};

const std::vector<Name> images = {{-1, "UNKNOWN"}, {-1, "DETECT"}, {0, "NONE"}, {1, "BMP"},
                                  {2, "GIF"},      {3, "JPEG"},    {4, "PNG"},  {5, "TIFF"}};

class Media : public HarnessTest {};

TEST_F(Media, FrameKindsHaveNames)
{
    expect_names(orka_media_frame_string, frames);
}

TEST_F(Media, AudioTypesHaveNames)
{
    expect_names(orka_media_audio_string, audios);
}

TEST_F(Media, VideoTypesHaveNames)
{
    expect_names(orka_media_video_string, videos);
}

TEST_F(Media, ImageTypesHaveNames)
{
    expect_names(orka_media_image_string, images);
}

TEST_F(Media, AudioTypesAreFoundByNameInAnyCase)
{
    expect_values(orka_media_audio_type, audios, 0);
}

TEST_F(Media, VideoTypesAreFoundByNameInAnyCase)
{
    expect_values(orka_media_video_type, videos, 0);
}

TEST_F(Media, ImageTypesAreFoundByNameInAnyCase)
{
    expect_values(orka_media_image_type, images, 0);
}

struct NullCall {
    const char *function;
    const char *expression;
    void (*call)();

    friend void PrintTo(const NullCall &call, std::ostream *stream) { *stream << call.function; }
};

const NullCall null_calls[] = {
    {"orka_media_audio_type", "audio_string != ((void *)0)", [] { orka_media_audio_type(nullptr); }},
    {"orka_media_video_type", "video_string != ((void *)0)", [] { orka_media_video_type(nullptr); }},
    {"orka_media_image_type", "image_string != ((void *)0)", [] { orka_media_image_type(nullptr); }},
    {"orka_media_audio_desc", "adesc != ((void *)0)", [] { orka_media_audio_desc(nullptr, 1, 0, 0); }},
    {"orka_media_video_desc", "vdesc != ((void *)0)", [] { orka_media_video_desc(nullptr, 1, 0, 0); }},
    {"orka_media_get_audio_framework", "codec_name != ((void *)0)",
     [] { orka_media_get_audio_framework(nullptr, 1); }},
    {"orka_media_get_video_framework", "codec_name != ((void *)0)",
     [] { orka_media_get_video_framework(nullptr, 12); }},
};

class MediaNull : public testing::TestWithParam<NullCall> {};

TEST_P(MediaNull, Aborts)
{
    Ending ending = end_of([](Kernel &) { GetParam().call(); });
    EXPECT_EQ(
        assertion_complaint(ending, "src/common/orka_media.cpp", GetParam().function, GetParam().expression),
        "");
}

INSTANTIATE_TEST_SUITE_P(Arguments, MediaNull, testing::ValuesIn(null_calls),
                         [](const testing::TestParamInfo<NullCall> &info) {
                             return std::string(info.param.function);
                         });

std::string joined(const std::vector<std::string> &items, const std::string &separator)
{
    std::string text;
    for (size_t i = 0; i < items.size(); i++)
        text += (i ? separator : "") + items[i];
    return text;
}

struct List {
    const char *name;
    PrintList print;
    std::vector<std::string> items;

    friend void PrintTo(const List &list, std::ostream *stream) { *stream << list.name; }
};

std::vector<std::string> names_of(const std::vector<Name> &rows)
{
    std::vector<std::string> names;
    for (const Name &row : rows)
        names.push_back(row.name);
    return names;
}

const List lists[] = {
    {"audio_types", orka_media_audio_type_print_list, names_of(audios)},
    {"video_types", orka_media_video_type_print_list, names_of(videos)},
    {"image_types", orka_media_image_type_print_list, names_of(images)},
    {"samplerates",
     orka_media_audio_print_valid_samplerates,
     {"8000", "11025", "12000", "16000", "22050", "24000", "32000", "44100", "48000", "64000", "88200",
      "96000"}},
    {"bitrates",
     orka_media_audio_print_valid_bitrates,
     {"8", "16", "24", "32", "40", "48", "56", "64", "80", "96", "112", "128", "144", "160", "192", "224",
      "256", "320", "384"}},
    {"bitrates_per_type",
     orka_media_audio_print_valid_bitrates_per_audio_type,
     {"AAC - ANY", "AC3 - ANY", "BSAC - 64 128", "G711 - 64", "G722 - 48 56 64", "G7221 - 24 32",
      "G723 - 5 6", "G726 - 16 24 32 40", "G728 - 8", "G729 - 8",
      "GSMAMR - (bits/s) 4750 5150 5900 6700 7400 7950 10200 12200", "MP1 - ANY", "MP2 - ANY", "MP3 - ANY",
      "OGG - ANY", "PCM - 1500", "WMA - ANY"}},
};

class MediaList : public testing::TestWithParam<List> {};

TEST_P(MediaList, HasTheSeparatorBetweenItsItems)
{
    EXPECT_EQ(printed(GetParam().print, "[", ", ", "]\n"), "[" + joined(GetParam().items, ", ") + "]\n");
}

TEST_P(MediaList, LeavesOutTheTextsThatAreNull)
{
    EXPECT_EQ(printed(GetParam().print, nullptr, nullptr, nullptr), joined(GetParam().items, ""));
}

TEST_P(MediaList, TakesItsTextsLiterally)
{
    EXPECT_EQ(printed(GetParam().print, "%s", "%d", "%n"), "%s" + joined(GetParam().items, "%d") + "%n");
}

INSTANTIATE_TEST_SUITE_P(Lists, MediaList, testing::ValuesIn(lists),
                         [](const testing::TestParamInfo<List> &info) {
                             return std::string(info.param.name);
                         });

struct Codec {
    uint32_t number;
    int32_t type;
    const char *name;
};

const std::vector<Codec> audio_codecs = {
    {0, 8, "G.726 (16kbps)"},
    {1, 8, "G.726 (24kbps)"},
    {2, 8, "G.726 (32kbps)"},
    {3, 8, "G.726 (40kbps)"},
    {4, 4, "G.711 (64kbps)"},
    {5, 0, "NO AUDIO"},
    {6, 16, "PCM"},
    {7, 14, "MP3"},
    {8, 17, "WMA V1"},
    {9, 17, "WMA V2"},
    {10, 1, "AAC"},
    {11, 11, "GSMAMR"},
    {12, 7, "G.723"},
    {13, 13, "MP2"},
    {14, 15, "OGG"},
    {19, 2, "AC3"},
    {20, 8, "G.726 (16kbps)"},
    {21, 8, "G.726 (24kbps)"},
    {22, 8, "G.726 (32kbps)"},
    {23, 8, "G.726 (40kbps)"},
    {24, 4, "G.711 (64kbps)"},
    {25, 10, "G.729"},
    {26, 7, "G.723"},
    {27, 5, "G.722 (48kbps)"},
    {28, 5, "G.722 (56kbps)"},
    {29, 5, "G.722 (64kbps)"},
    {30, 6, "G.722.1 (24kbps)"},
    {31, 6, "G.722.1 (32kbps)"},
};

const std::vector<Codec> video_codecs = {
    {1, 7, "MPEG4"}, {2, 7, "MPEG4"},     {4, 1, "DIVX3"},     {16, 9, "WMV7"},  {15, 10, "WMV8"},
    {5, 11, "WMV9"}, {6, 3, "H264"},      {7, 5, "MPEG1"},     {8, 6, "MPEG2"},  {0, 0, "NO VIDEO"},
    {9, 4, "MJPEG"}, {256, 12, "YUV422"}, {257, 13, "RGB888"}, {10, 14, "JPEG"},
};

/* Each number up to 300, and some beyond, against the rows. */
void expect_codecs(const std::vector<Codec> &rows, const char *(*name)(uint32_t), int32_t (*type)(uint32_t))
{
    std::vector<uint32_t> numbers = {0x7FFFFFFF, 0x80000000, 0xFFFFFFFF};
    for (uint32_t number = 0; number < 300; number++)
        numbers.push_back(number);
    for (uint32_t number : numbers) {
        Codec expected = {number, 0, "UNKNOWN"};
        for (const Codec &row : rows) {
            if (row.number == number)
                expected = row;
        }
        EXPECT_STREQ(name(number), expected.name) << number;
        EXPECT_EQ(type(number), expected.type) << number;
    }
}

TEST_F(Media, AudioCodecNumbersHaveNamesAndTypes)
{
    expect_codecs(audio_codecs, orka_media_audio_string_by_codec, orka_media_audio_type_by_codec);
}

TEST_F(Media, VideoCodecNumbersHaveNamesAndTypes)
{
    expect_codecs(video_codecs, orka_media_video_string_by_codec, orka_media_video_type_by_codec);
}

TEST_F(Media, CodingStandardsHaveNames)
{
    const char *names[] = {"DEFAULT",
                           "MPEG1",
                           "MPEG2 PROGRESSIVE",
                           "MPEG2 INTERLACED",
                           "MPEG4 SIMPLE PROFILE",
                           "MPEG4 ADVANCED SIMPLE PROFILE",
                           "MPEG4 H.263",
                           "MPEG4 H.263 (UNRESTRICTED MOTION VECTOR DISABLED)"};
    for (uint32_t standard = 0; standard < 8; standard++)
        EXPECT_STREQ(orka_media_video_coding_standard_string(standard), names[standard]);
}

TEST_F(Media, AnUnknownCodingStandardIsReported)
{
    EXPECT_STREQ(orka_media_video_coding_standard_string(8), "UNKNOWN");
    EXPECT_STREQ(orka_media_video_coding_standard_string(0xFFFFFFFF), "UNKNOWN");
    constexpr const char *function = "orka_media_video_coding_standard_string";
    EXPECT_EQ(log.take_error(),
              error_line(function, "ORKA_IMEDIA: Unrecognized Coding Standard '8'.") +
                  error_line(function, "ORKA_IMEDIA: Unrecognized Coding Standard '4294967295'."));
}

/* What an audio type takes. An empty list takes anything. */
struct AudioRow {
    int32_t type;
    const char *name;
    uint32_t rate;
    std::vector<uint32_t> rates;
    uint32_t bitrate;
    std::vector<uint32_t> bitrates;
    uint32_t channels;

    friend void PrintTo(const AudioRow &row, std::ostream *stream) { *stream << row.name; }
};

const std::vector<uint32_t> mpx_rates = {8000,  11025, 12000, 16000, 22050, 24000,
                                         32000, 44100, 48000, 64000, 88200, 96000};
const std::vector<uint32_t> mpx_bitrates = {8,   16,  24,  32,  40,  48,  56,  64,  80, 96,
                                            112, 128, 144, 160, 192, 224, 256, 320, 384};

const AudioRow audio_rows[] = {
    {1, "AAC", 24000, mpx_rates, 128, mpx_bitrates, 2},
    {2, "AC3", 48000, {}, 256, {}, 2},
    {3, "BSAC", 44100, mpx_rates, 64, {64, 128}, 2},
    {4, "G711", 8000, {8000}, 64, {64}, 1},
    {5, "G722", 16000, {16000}, 64, {48, 56, 64}, 1},
    {6, "G7221", 16000, {16000}, 32, {24, 32}, 1},
    {7, "G723", 8000, {8000}, 6, {5, 6}, 1},
    {8, "G726", 8000, {8000}, 32, {16, 24, 32, 40}, 1},
    {10, "G729", 8000, {8000}, 8, {8}, 2},
    {11, "GSMAMR", 8000, {8000}, 7400, {4750, 5150, 5900, 6700, 7400, 7950, 10200, 12200}, 1},
    {12, "MP1", 44100, mpx_rates, 128, mpx_bitrates, 2},
    {13, "MP2", 44100, mpx_rates, 128, mpx_bitrates, 2},
    {14, "MP3", 44100, mpx_rates, 128, mpx_bitrates, 2},
    {15, "OGG", 44100, mpx_rates, 128, mpx_bitrates, 2},
    {17, "WMA", 48000, {}, 128, {}, 2},
};

bool takes(const std::vector<uint32_t> &accepted, uint32_t value)
{
    for (uint32_t one : accepted) {
        if (one == value)
            return true;
    }
    return accepted.empty();
}

/* Rates and bitrates that one type or another takes, and neighbours of theirs that none does. */
const std::vector<uint32_t> tried_rates = {1,     7999,  8000,  8001,  11025, 12000,
                                           16000, 22050, 24000, 32000, 44000, 44100,
                                           48000, 64000, 88200, 96000, 96001, 4294967295u};
const std::vector<uint32_t> tried_bitrates = {1,    5,    6,    7,    8,    16,    24,    32,    40,
                                              48,   56,   64,   80,   96,   112,   128,   129,   144,
                                              160,  192,  224,  256,  320,  384,   385,   4750,  5150,
                                              5900, 6700, 7000, 7400, 7950, 10200, 12200, 64000, 4294967295u};

class MediaAudio : public HarnessTest, public testing::WithParamInterface<AudioRow> {
  protected:
    Words filled(uint32_t rate, uint32_t bitrate) const
    {
        uint32_t type = static_cast<uint32_t>(GetParam().type);
        bool wma = type == 17;
        return {1, type, 0, GetParam().channels, rate, bitrate, 0, wma ? 23u : 0u, wma ? 1280u : 0u, 0, 0};
    }

    void expect_filled(uint32_t rate, uint32_t bitrate, const Words &expected)
    {
        memset(&adesc, 0xAA, sizeof adesc);
        EXPECT_EQ(orka_media_audio_desc(&adesc, GetParam().type, rate, bitrate), ORKA_STATUS_SUCCESS);
        EXPECT_EQ(words_of(adesc), expected) << rate << " " << bitrate;
    }

    void expect_refused(uint32_t rate, uint32_t bitrate, const Words &expected, const std::string &message)
    {
        memset(&adesc, 0xAA, sizeof adesc);
        EXPECT_EQ(orka_media_audio_desc(&adesc, GetParam().type, rate, bitrate), ORKA_STATUS_OUT_OF_RANGE);
        EXPECT_EQ(words_of(adesc), expected) << rate << " " << bitrate;
        EXPECT_EQ(log.take_error(), error_line("orka_media_audio_desc", "ORKA_IMEDIA: " + message));
    }

    Words refused() const
    {
        Words expected(11);
        expected[1] = static_cast<uint32_t>(GetParam().type);
        return expected;
    }

    /* Two types word their sample rate in another order. */
    std::string rate_message(uint32_t rate) const
    {
        bool odd = GetParam().type == 4 || GetParam().type == 11;
        std::string name = std::string(" for '") + GetParam().name + "'.";
        return odd ? "Invalid Sample " + std::to_string(rate) + " Rate" + name
                   : "Invalid Sample Rate " + std::to_string(rate) + name;
    }

    orka_audio_desc_t adesc;
};

TEST_P(MediaAudio, HasDefaults)
{
    expect_filled(0, 0, filled(GetParam().rate, GetParam().bitrate));
}

TEST_P(MediaAudio, TakesItsSampleRatesAndNoOther)
{
    for (uint32_t rate : tried_rates) {
        if (takes(GetParam().rates, rate))
            expect_filled(rate, 0, filled(rate, GetParam().bitrate));
        else
            expect_refused(rate, 0, refused(), rate_message(rate));
    }
}

TEST_P(MediaAudio, TakesItsBitratesAndNoOther)
{
    for (uint32_t bitrate : tried_bitrates) {
        if (takes(GetParam().bitrates, bitrate)) {
            expect_filled(0, bitrate, filled(GetParam().rate, bitrate));
            continue;
        }
        Words expected = refused();
        if (GetParam().type == 11) {
            expected = filled(8000, 0);
        }
        expect_refused(0, bitrate, expected,
                       "Invalid Bitrate " + std::to_string(bitrate) + " for '" + GetParam().name + "'.");
    }
}

TEST_P(MediaAudio, MindsTheSampleRateFirst)
{
    if (!GetParam().rates.empty())
        expect_refused(1, 1, refused(), rate_message(1));
}

INSTANTIATE_TEST_SUITE_P(Types, MediaAudio, testing::ValuesIn(audio_rows),
                         [](const testing::TestParamInfo<AudioRow> &info) {
                             return std::string(info.param.name);
                         });

TEST_F(Media, NoAudioIsDescribedAsValidAndNothingElse)
{
    orka_audio_desc_t adesc;
    memset(&adesc, 0xAA, sizeof adesc);
    EXPECT_EQ(orka_media_audio_desc(&adesc, 0, 44100, 128), ORKA_STATUS_SUCCESS);
    EXPECT_EQ(words_of(adesc), (Words{1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
}

TEST_F(Media, PcmComputesItsBitrate)
{
    const uint32_t rates[][3] = {{0, 48000, 1536},     {48000, 48000, 1536}, {8000, 8000, 256},
                                 {44100, 44100, 1411}, {31, 31, 0},          {11025, 11025, 352}};
    for (auto [asked, rate, bitrate] : rates) {
        orka_audio_desc_t adesc;
        EXPECT_EQ(orka_media_audio_desc(&adesc, 16, asked, 999), ORKA_STATUS_SUCCESS);
        EXPECT_EQ(words_of(adesc), (Words{1, 16, 0, 2, rate, bitrate, 0, 0, 0, 0, 0}));
    }
}

TEST_F(Media, AudioTypesThatAreNoneAreRefused)
{
    const Name types[] = {
        {-1, "UNKNOWN"}, {-2, "UNKNOWN"}, {18, "UNKNOWN"}, {9, "G728"}, {INT32_MAX, "UNKNOWN"}};
    for (auto [type, name] : types) {
        orka_audio_desc_t adesc;
        memset(&adesc, 0xAA, sizeof adesc);
        EXPECT_EQ(orka_media_audio_desc(&adesc, type, 8000, 8), ORKA_STATUS_INVALID_PARAMETER);
        EXPECT_EQ(words_of(adesc), (Words{0, static_cast<uint32_t>(type), 0, 0, 0, 0, 0, 0, 0, 0, 0}));
        EXPECT_EQ(log.take_error(), error_line("orka_media_audio_desc", "ORKA_IMEDIA: Invalid Audio Type '" +
                                                                            std::string(name) + "'."));
    }
}

TEST_F(Media, VideoIsDescribedWithItsSize)
{
    for (int32_t type = 1; type <= 14; type++) {
        orka_video_desc_t vdesc;
        memset(&vdesc, 0xAA, sizeof vdesc);
        EXPECT_EQ(orka_media_video_desc(&vdesc, type, 1, 5000), ORKA_STATUS_SUCCESS);
        EXPECT_EQ(words_of(vdesc), (Words{1, static_cast<uint32_t>(type), 0, 1, 5000}));
    }
}

TEST_F(Media, VideoHasADefaultForEachSide)
{
    orka_video_desc_t vdesc;
    EXPECT_EQ(orka_media_video_desc(&vdesc, 3, 0, 0), ORKA_STATUS_SUCCESS);
    EXPECT_EQ(words_of(vdesc), (Words{1, 3, 0, 640, 480}));
    EXPECT_EQ(orka_media_video_desc(&vdesc, 14, 320, 0), ORKA_STATUS_SUCCESS);
    EXPECT_EQ(words_of(vdesc), (Words{1, 14, 0, 320, 480}));
    EXPECT_EQ(orka_media_video_desc(&vdesc, 1, 0, 240), ORKA_STATUS_SUCCESS);
    EXPECT_EQ(words_of(vdesc), (Words{1, 1, 0, 640, 240}));
}

TEST_F(Media, NoVideoHasNoSize)
{
    orka_video_desc_t vdesc;
    memset(&vdesc, 0xAA, sizeof vdesc);
    EXPECT_EQ(orka_media_video_desc(&vdesc, 0, 320, 240), ORKA_STATUS_SUCCESS);
    EXPECT_EQ(words_of(vdesc), (Words{1, 0, 0, 0, 0}));
}

TEST_F(Media, VideoTypesThatAreNoneAreRefused)
{
    for (int32_t type : {-1, -2, 15, INT32_MIN, INT32_MAX}) {
        orka_video_desc_t vdesc;
        EXPECT_EQ(orka_media_video_desc(&vdesc, type, 320, 240), ORKA_STATUS_INVALID_PARAMETER);
        EXPECT_EQ(words_of(vdesc), (Words{0, static_cast<uint32_t>(type), 0, 320, 240}));
        EXPECT_EQ(log.take_error(),
                  error_line("orka_media_video_desc", "ORKA_IMEDIA: Invalid Video Type 'UNKNOWN'."));
    }
}

struct Framework {
    const char *codec;
    int32_t type;
    const char *framework;
};

TEST_F(Media, AudioFrameworkIsFoundInTheCodecsName)
{
    const Framework rows[] = {
        {nullptr, 16, "pcm"},
        {"mpeg4_aac_dec", 16, "pcm"},
        {"h264_aac_dec", 1, "aac48"},
        {"aac_h264", 0, "aac48"},
        {"mpeg4_aac_dec", 14, "aac"},
        {"aac_aec", 1, "aac"},
        {"mpeg4_g726_aec_codec", 8, "g7xx_aec"},
        {"aec", 1, "g7xx_aec"},
        {"mpeg4sp_g7xx_dec", 4, "g7xx"},
        {"g711", 4, "g7xx"},
        {"x_g722_y", 5, "g7xx"},
        {"g72_mp3", 5, "g7xx"},
        {"g73", 5, "pcm"},
        {"mpeg4sp_mp3_dec", 14, "mp3"},
        {"mp3_ogg", 15, "mp3"},
        {"ogg_dec", 15, "ogg"},
        {"wmv9_wma_dec", 17, "pcm"},
        {"AAC", 1, "pcm"},
        {"", -1, "pcm"},
    };
    for (auto [codec, type, framework] : rows)
        EXPECT_STREQ(orka_media_get_audio_framework(codec, type), framework) << (codec ? codec : "null");
}

TEST_F(Media, VideoFrameworkIsFoundInTheCodecsName)
{
    const Framework rows[] = {
        {"mpeg4_pcm_dec", 12, "raw"},
        {"h264_pcm_dec", 13, "raw"},
        {"divx311_h264", 1, "divx311"},
        {"h264_mc_enc", 3, "h264mc"},
        {"h264mc", 3, "h264mc"},
        {"h264_pcm_dec", 3, "h264"},
        {"mpeg2_h264", 6, "h264"},
        {"mpeg2_pcm_dec", 6, "mpeg2"},
        {"mpeg4_mc_mpeg2", 7, "mpeg2"},
        {"mpeg4_mc", 7, "mpeg4mc"},
        {"mpeg4mc_x", 7, "mpeg4mc"},
        {"my_mpeg4_4chan", 7, "mpeg4mc"},
        {"mpeg4_wmv", 7, "mpeg4"},
        {"wmv9_wma_dec", 11, "wmv"},
        {"wmv", 3, "wmv"},
        {"yuv422_pcm_dec", 3, "mpeg4"},
        {"", -1, "mpeg4"},
        {"WMV", 11, "mpeg4"},
        {"divx", 1, "mpeg4"},
    };
    for (auto [codec, type, framework] : rows)
        EXPECT_STREQ(orka_media_get_video_framework(codec, type), framework) << codec;
}

} // namespace
