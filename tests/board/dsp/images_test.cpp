#include "dsp/images.h"

#include <algorithm>
#include <map>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

using orka::board::CodecImage;
using orka::board::find_image;
using Numbers = std::set<uint32_t>;

/*
 * Which image serves which types, typed a second time and by type, as one reads it in the decoders'
 * selection.
 */
const std::vector<std::pair<std::string, Numbers>> audio_columns = {
    {"NONE", {}},        {"AAC", {10}},  {"G711", {4}},          {"G722", {27, 28, 29}},
    {"G7221", {30, 31}}, {"G723", {26}}, {"G726", {0, 1, 2, 3}}, {"G729", {25}},
    {"MP3", {7, 13}},    {"OGG", {14}},  {"PCM", {6}},           {"WMA", {8}},
};

struct Row {
    Numbers video;
    std::vector<std::string> images; /* one for each column */
};

const std::vector<Row> rows = {
    /* NONE */
    {{},
     {"mpeg4_pcm_dec", "mpeg4_aac_dec", "mpeg4sp_g7xx_dec", "mpeg4_g722_aec_codec", "mpeg4_g7221_aec_codec",
      "mpeg4_g723_aec_codec", "mpeg4sp_g7xx_dec", "mpeg4_g729_aec_codec", "mpeg4sp_mp3_dec", "ogg_dec",
      "mpeg4_pcm_dec", "wmv9_wma_dec"}},
    /* MPEG4 */
    {{1},
     {"mpeg4_pcm_dec", "mpeg4_aac_dec", "mpeg4sp_g7xx_dec", "mpeg4_g722_aec_codec", "mpeg4_g7221_aec_codec",
      "mpeg4_g723_aec_codec", "mpeg4sp_g7xx_dec", "mpeg4_g729_aec_codec", "mpeg4sp_mp3_dec", "",
      "mpeg4_pcm_dec", "wmv9_wma_dec"}},
    /* H263 */
    {{1},
     {"mpeg4_g726_aec_codec", "", "mpeg4sp_g7xx_dec", "mpeg4_g722_aec_codec", "mpeg4_g7221_aec_codec",
      "mpeg4_g723_aec_codec", "mpeg4_g726_aec_codec", "mpeg4_g729_aec_codec", "", "", "", ""}},
    /* H264 */
    {{6}, {"h264_pcm_dec", "h264_aac_dec", "", "", "", "", "", "", "", "", "h264_pcm_dec", ""}},
    /* DIVX3, MSMPEG4 */
    {{4}, {"divx311_pcm_dec", "", "", "", "", "", "", "", "", "", "divx311_pcm_dec", ""}},
    /* MPEG1, MPEG2 */
    {{7, 8}, {"mpeg2_pcm_dec", "", "", "", "", "", "", "", "", "", "mpeg2_pcm_dec", ""}},
    /* WMV7 */
    {{16}, {"wmv7_pcm_dec", "", "", "", "", "", "", "", "", "", "wmv7_pcm_dec", "wmv7_wma_dec"}},
    /* WMV8 */
    {{15}, {"wmv8_pcm_dec", "", "", "", "", "", "", "", "", "", "wmv8_pcm_dec", "wmv8_wma_dec"}},
    /* WMV9 */
    {{5}, {"wmv9_pcm_dec", "", "", "", "", "", "", "", "", "", "wmv9_pcm_dec", "wmv9_wma_dec"}},
    /* YUV422 */
    {{256}, {"yuv422_pcm_dec", "", "", "", "", "", "", "", "", "", "yuv422_pcm_dec", ""}},
    /* RGB888 */
    {{257}, {"rgb888_pcm_dec", "", "", "", "", "", "", "", "", "", "rgb888_pcm_dec", ""}},
};

struct Expected {
    Numbers video;
    Numbers audio;
};

using Columns = std::vector<std::pair<std::string, Numbers>>;

std::map<std::string, Expected> expected_images(const std::vector<Row> &table = rows,
                                                const Columns &columns = audio_columns)
{
    std::map<std::string, Expected> images;
    for (const Row &row : table)
        for (size_t column = 0; column < row.images.size(); column++)
            if (const std::string &name = row.images[column]; !name.empty()) {
                images[name].video.insert(row.video.begin(), row.video.end());
                images[name].audio.insert(columns[column].second.begin(), columns[column].second.end());
            }
    return images;
}

/* Of the numbers that a setup can carry, and their neighbours, those that the image takes. */
Numbers taken(bool (CodecImage::*decodes)(uint32_t) const, const CodecImage &image)
{
    Numbers numbers;
    for (uint32_t number = 0; number < 300; number++)
        if ((image.*decodes)(number))
            numbers.insert(number);
    return numbers;
}

TEST(Images, TheSelectionHasTwentyTwoDecoderImages)
{
    EXPECT_EQ(expected_images().size(), 22U);
}

TEST(Images, AnImageDecodesTheVideoOfItsRowsAndNothingElse)
{
    for (const auto &[name, expected] : expected_images()) {
        const CodecImage *image = find_image(name);
        ASSERT_NE(image, nullptr) << name;
        EXPECT_EQ(taken(&CodecImage::decodes_video, *image), expected.video) << name;
    }
}

TEST(Images, AnImageDecodesTheSoundOfItsColumnsAndNothingElse)
{
    for (const auto &[name, expected] : expected_images()) {
        const CodecImage *image = find_image(name);
        ASSERT_NE(image, nullptr) << name;
        EXPECT_EQ(taken(&CodecImage::decodes_audio, *image), expected.audio) << name;
    }
}

/* The encoders' selection, typed a second time likewise. */
const Columns coded_columns = {
    {"NONE", {}},        {"AAC", {10}},  {"G711", {4}},          {"G722", {27, 28, 29}},
    {"G7221", {30, 31}}, {"G723", {26}}, {"G726", {0, 1, 2, 3}}, {"G729", {25}},
    {"MP3", {7}},        {"PCM", {6}},   {"WMA", {8}},
};

const std::vector<Row> coded_rows = {
    /* NONE and MPEG4 */
    {{1},
     {"mpeg4_pcm_enc", "mpeg4_aac_enc", "mpeg4_g711_aec_codec", "mpeg4_g722_aec_codec",
      "mpeg4_g7221_aec_codec", "mpeg4_g723_aec_codec", "mpeg4sp_g7xx_enc", "mpeg4_g729_aec_codec",
      "mpeg4sp_mp3_enc", "mpeg4_pcm_enc", "mpeg4_pcm_enc"}},
    /* H263 */
    {{1},
     {"mpeg4_g726_aec_codec", "", "mpeg4_g711_aec_codec", "mpeg4_g722_aec_codec", "mpeg4_g7221_aec_codec",
      "mpeg4_g723_aec_codec", "mpeg4_g726_aec_codec", "mpeg4_g729_aec_codec", "", "", ""}},
    /* H264 */
    {{6}, {"h264_pcm_enc", "", "", "", "", "", "", "", "", "h264_pcm_enc", ""}},
    /* MPEG2 */
    {{8}, {"mpeg2_pcm_enc", "", "", "", "", "", "", "", "", "mpeg2_pcm_enc", ""}},
};

TEST(Images, AnImageEncodesThePairsOfItsPlacesAndNothingElse)
{
    const auto expected = expected_images(coded_rows, coded_columns);
    EXPECT_EQ(expected.size(), 12U);
    for (const auto &[name, codecs] : expected) {
        const CodecImage *image = find_image(name);
        ASSERT_NE(image, nullptr) << name;
        EXPECT_EQ(taken(&CodecImage::encodes_video, *image), codecs.video) << name;
        EXPECT_EQ(taken(&CodecImage::encodes_audio, *image), codecs.audio) << name;
    }
}

TEST(Images, TheImageForStillsEncodesJpegAlone)
{
    const CodecImage *image = find_image("jpeg_enc");
    ASSERT_NE(image, nullptr);
    EXPECT_EQ(taken(&CodecImage::encodes_video, *image), Numbers{10});
    EXPECT_EQ(taken(&CodecImage::encodes_audio, *image), Numbers{});
    EXPECT_EQ(taken(&CodecImage::decodes_video, *image), Numbers{});
}

TEST(Images, TheImagesForStillsDecodeAndEncodeAllTypesAndNothingElse)
{
    const CodecImage *const decoder = find_image("image_dec");
    const CodecImage *const encoder = find_image("image_enc");
    ASSERT_NE(decoder, nullptr);
    ASSERT_NE(encoder, nullptr);
    EXPECT_EQ(taken(&CodecImage::decodes_still, *decoder), (Numbers{0, 1, 2, 3, 4, 5}));
    EXPECT_EQ(taken(&CodecImage::encodes_still, *encoder), (Numbers{1, 2, 3, 4, 5}));
    EXPECT_EQ(taken(&CodecImage::encodes_still, *find_image("jpeg_enc")), Numbers{3});
    for (const CodecImage *image : {decoder, encoder}) {
        EXPECT_EQ(taken(&CodecImage::decodes_video, *image), Numbers{});
        EXPECT_EQ(taken(&CodecImage::decodes_audio, *image), Numbers{});
        EXPECT_EQ(taken(&CodecImage::encodes_video, *image), Numbers{});
        EXPECT_EQ(taken(&CodecImage::encodes_audio, *image), Numbers{});
    }
    EXPECT_EQ(taken(&CodecImage::encodes_still, *decoder), Numbers{});
    EXPECT_EQ(taken(&CodecImage::decodes_still, *encoder), Numbers{});
}

TEST(Images, ADecodersImageEncodesNothing)
{
    for (const char *name : {"mpeg4_pcm_dec", "mpeg4sp_g7xx_dec", "h264_aac_dec", "ogg_dec"}) {
        EXPECT_EQ(taken(&CodecImage::encodes_video, *find_image(name)), Numbers{}) << name;
        EXPECT_EQ(taken(&CodecImage::encodes_audio, *find_image(name)), Numbers{}) << name;
    }
}

TEST(Images, AnEncodersImageLoadsAndDecodesNothing)
{
    for (const char *name : {"mpeg4_pcm_enc", "mpeg4_aac_enc", "mpeg4_g711_aec_codec", "mpeg4sp_g7xx_enc",
                             "mpeg4sp_mp3_enc", "h264_pcm_enc", "mpeg2_pcm_enc"}) {
        const CodecImage *image = find_image(name);
        ASSERT_NE(image, nullptr) << name;
        EXPECT_EQ(taken(&CodecImage::decodes_video, *image), Numbers{}) << name;
        EXPECT_EQ(taken(&CodecImage::decodes_audio, *image), Numbers{}) << name;
    }
}

TEST(Images, TheMp3ImageDecodesLayersOneAndTwoAsWell)
{
    EXPECT_TRUE(find_image("mpeg4sp_mp3_dec")->decodes_audio(13));
}

TEST(Images, AnImageIsFoundByItsWholeNameAlone)
{
    for (const char *name :
         {"", "mpeg4", "mpeg4_pcm_de", "mpeg4_pcm_decx", "MPEG4_PCM_DEC", " ogg_dec", "zzz"})
        EXPECT_EQ(find_image(name), nullptr) << name;
}

} // namespace
