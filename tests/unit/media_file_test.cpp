/* Container files, multiplex types, and what a file's name tells of its streams. */
#include "orka_media.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>
#include <ostream>
#include <string>
#include <vector>

#include "support/harness.h"
#include "support/words.h"
#include "unit/media_names.h"

using namespace orka_test;

namespace {

const std::vector<Name> files = {{-1, "UNKNOWN"}, {-1, "DETECT"}, {0, "NONE"},   {1, "ASF"},   {2, "AVI"},
                                 {3, "IRAW"},     {4, "MKV"},     {5, "MP4"},    {6, "MPG"},   {7, "OGM"},
                                 {8, "TS"},       {9, "VES"},     {10, "AUDIO"}, {11, "IMAGE"}};

const std::vector<Name> muxes = {{-1, "UNKNOWN"}, {0, "DEFAULT"}, {1, "2TO1"}, {2, "1TO2"},
                                 {3, "LEFT"},     {4, "RIGHT"},   {5, "AGC"}};

class MediaFile : public HarnessTest {
  protected:
    void expect_null_reported(const char *function)
    {
        EXPECT_EQ(log.take_error(), error_line(function, "ORKA_IMEDIA: NULL Pointer Deref."));
    }

    orka_file_type_t type_of(const char *name) { return orka_media_file_type2(name, &adesc, &vdesc); }

    void expect_no_type(const char *name)
    {
        memset(&adesc, 0xFF, sizeof adesc);
        memset(&vdesc, 0xFF, sizeof vdesc);
        EXPECT_EQ(type_of(name), -1) << name;
        EXPECT_EQ(words_of(adesc), Words(11)) << name;
        EXPECT_EQ(words_of(vdesc), Words(5)) << name;
    }

    orka_audio_desc_t adesc = {};
    orka_video_desc_t vdesc = {};
};

TEST_F(MediaFile, TypesHaveNames)
{
    expect_names(orka_media_file_string, files);
}

TEST_F(MediaFile, MuxTypesHaveNames)
{
    expect_names(orka_media_mux_string, muxes);
}

TEST_F(MediaFile, TypesAreFoundByNameInAnyCaseAndAreMinusOneOtherwise)
{
    expect_values(orka_media_file_type_by_name, files, -1);
}

TEST_F(MediaFile, MuxTypesAreFoundByNameInAnyCaseAndAreMinusOneOtherwise)
{
    expect_values(orka_media_mux_type_by_name, muxes, -1);
}

TEST_F(MediaFile, TypesOfNoNameAreReported)
{
    EXPECT_EQ(orka_media_file_type_by_name(nullptr), -1);
    expect_null_reported("orka_media_file_type_by_name");
    EXPECT_EQ(orka_media_mux_type_by_name(nullptr), -1);
    expect_null_reported("orka_media_mux_type_by_name");
}

TEST_F(MediaFile, TypesAreListed)
{
    EXPECT_EQ(
        printed(orka_media_file_type_print_list, "<", "%s ", ">"),
        "<UNKNOWN%s DETECT%s NONE%s ASF%s AVI%s IRAW%s MKV%s MP4%s MPG%s OGM%s TS%s VES%s AUDIO%s IMAGE>");
    EXPECT_EQ(printed(orka_media_mux_type_print_list, "<", ", ", ">"),
              "<UNKNOWN, DEFAULT, 2TO1, 1TO2, LEFT, RIGHT, AGC>");
}

TEST_F(MediaFile, ListsLeaveOutTheTextsThatAreNull)
{
    EXPECT_EQ(printed(orka_media_mux_type_print_list, nullptr, nullptr, nullptr),
              "UNKNOWNDEFAULT2TO11TO2LEFTRIGHTAGC");
}

struct Extension {
    const char *text;
    int32_t file;
    int32_t audio;
    int32_t video;

    friend void PrintTo(const Extension &extension, std::ostream *stream) { *stream << extension.text; }
};

const Extension extensions[] = {
    {".3gp", 5, 1, 7},   {".3gpp", 5, 1, 7},  {".aac", 10, 1, 0},   {".ac3", 10, 2, 0},   {".amr", 10, 11, 0},
    {".asf", 1, 14, 7},  {".avi", 2, 14, 7},  {".bes", 10, 3, 0},   {".bsac", 10, 3, 0},  {".divx", 2, 14, 7},
    {".bmp", 11, 0, 0},  {".g711", 10, 4, 0}, {".g722", 10, 5, 0},  {".g7221", 10, 6, 0}, {".g723", 10, 7, 0},
    {".g726", 10, 8, 0}, {".g728", 10, 9, 0}, {".g729", 10, 10, 0}, {".gif", 11, 0, 0},   {".gvi", 2, 14, 7},
    {".h263", 9, 0, 2},  {".h264", 9, 0, 3},  {".jpeg", 11, 0, 0},  {".jpg", 11, 0, 0},   {".m1v", 9, 0, 5},
    {".m2v", 9, 0, 6},   {".m4v", 9, 0, 7},   {".mkv", 4, 14, 7},   {".mp1", 10, 12, 0},  {".mp2", 10, 13, 0},
    {".mp3", 10, 14, 0}, {".mp4", 5, 1, 7},   {".mpa", 6, 12, 0},   {".mov", 5, 13, 6},   {".mpg", 6, 13, 6},
    {".mpeg", 6, 13, 5}, {".ndx", 3, 14, 7},  {".ogg", 10, 15, 0},  {".ogm", 7, 15, 7},   {".pcm", 10, 16, 0},
    {".png", 11, 0, 0},  {".skm", 5, 1, 7},   {".tif", 11, 0, 0},   {".tiff", 11, 0, 0},  {".trp", 8, 13, 6},
    {".ts", 8, 13, 6},   {".wav", 10, 16, 0}, {".wma", 1, 17, 0},   {".wmv", 1, 17, 7},   {".vob", 6, 13, 6},
};

class MediaExtension : public MediaFile, public testing::WithParamInterface<Extension> {
  protected:
    static bool is_refused_by_the_catalogue() { return GetParam().audio == ORKA_AUDIO_TYPE_G728; }

    void expect_type(const std::string &name)
    {
        EXPECT_EQ(type_of(name.c_str()), GetParam().file) << name;
        if (is_refused_by_the_catalogue()) {
            EXPECT_EQ(log.take_error(),
                      error_line("orka_media_audio_desc", "ORKA_IMEDIA: Invalid Audio Type 'G728'."));
        }
    }

    /* What the catalogue gives for the types alone. */
    void expect_default_descriptors()
    {
        orka_audio_desc_t audio;
        orka_video_desc_t video;
        orka_media_audio_desc(&audio, GetParam().audio, 0, 0);
        orka_media_video_desc(&video, GetParam().video, 0, 0);
        EXPECT_EQ(words_of(adesc), words_of(audio));
        EXPECT_EQ(words_of(vdesc), words_of(video));
        log.take_error();
    }
};

TEST_P(MediaExtension, TellsTheTypeAndTheDescriptors)
{
    expect_type(std::string("clip") + GetParam().text);
    expect_default_descriptors();
}

TEST_P(MediaExtension, IsTakenInAnyCaseAndAlone)
{
    expect_type(changed(GetParam().text, toupper));
    expect_default_descriptors();
}

TEST_P(MediaExtension, WithoutItsDotIsNone)
{
    expect_no_type(GetParam().text + 1);
}

TEST_P(MediaExtension, InTheMiddleOfANameIsNone)
{
    expect_no_type((std::string("clip") + GetParam().text + "_").c_str());
}

bool is_known(const std::string &text)
{
    return std::any_of(std::begin(extensions), std::end(extensions),
                       [&](const Extension &extension) { return text == extension.text; });
}

TEST_P(MediaExtension, IsKnownByEachOfItsLetters)
{
    const std::string text = GetParam().text;
    for (size_t i = 1; i < text.size(); i++) {
        std::string other = text;
        other[i]++;
        if (!is_known(other))
            expect_no_type(("clip" + other).c_str());
    }
}

INSTANTIATE_TEST_SUITE_P(Extensions, MediaExtension, testing::ValuesIn(extensions),
                         [](const testing::TestParamInfo<Extension> &info) {
                             return std::string(info.param.text + 1);
                         });

TEST_F(MediaFile, OfAnMp4ClipHasTheDefaultsOfAacAndMpeg4)
{
    EXPECT_EQ(type_of("clip.MP4"), ORKA_FILE_TYPE_MP4);
    EXPECT_EQ(words_of(adesc), (Words{1, 1, 0, 2, 24000, 128, 0, 0, 0, 0, 0}));
    EXPECT_EQ(words_of(vdesc), (Words{1, 7, 0, 640, 480}));
}

TEST_F(MediaFile, OfASoundHasAValidVideoDescriptorOfNone)
{
    EXPECT_EQ(type_of("song.wav"), ORKA_FILE_TYPE_AUDIO);
    EXPECT_EQ(words_of(adesc), (Words{1, 16, 0, 2, 48000, 1536, 0, 0, 0, 0, 0}));
    EXPECT_EQ(words_of(vdesc), (Words{1, 0, 0, 0, 0}));
}

TEST_F(MediaFile, OfAnImageHasTwoValidDescriptorsOfNone)
{
    EXPECT_EQ(type_of("photo.jpeg"), ORKA_FILE_TYPE_IMAGE);
    EXPECT_EQ(words_of(adesc), (Words{1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(words_of(vdesc), (Words{1, 0, 0, 0, 0}));
}

TEST_F(MediaFile, HasTheTypeOfItsLastExtension)
{
    EXPECT_EQ(type_of("a.avi.b/clip.mkv"), ORKA_FILE_TYPE_MKV);
}

TEST_F(MediaFile, WithoutAKnownExtensionHasNoType)
{
    for (const char *name : {"", ".", "avi", "xavi", "clip.txt", "clip.", "clip.av", "clip.avi.part"})
        expect_no_type(name);
}

TEST_F(MediaFile, OfNoNameOrWithoutDescriptorsIsReportedAndWritesNothing)
{
    adesc.valid = 5;
    vdesc.valid = 6;
    EXPECT_EQ(orka_media_file_type2(nullptr, &adesc, &vdesc), -1);
    expect_null_reported("orka_media_file_type2");
    EXPECT_EQ(orka_media_file_type2("clip.avi", nullptr, &vdesc), -1);
    expect_null_reported("orka_media_file_type2");
    EXPECT_EQ(orka_media_file_type2("clip.avi", &adesc, nullptr), -1);
    expect_null_reported("orka_media_file_type2");
    EXPECT_EQ(adesc.valid, 5u);
    EXPECT_EQ(vdesc.valid, 6u);
}

TEST_F(MediaFile, TellsItsTypeWithoutDescriptors)
{
    EXPECT_EQ(orka_media_file_type("movie.vob"), ORKA_FILE_TYPE_MPG);
    EXPECT_EQ(orka_media_file_type("movie"), -1);
    EXPECT_EQ(orka_media_file_type(nullptr), -1);
    expect_null_reported("orka_media_file_type2");
}

} // namespace
