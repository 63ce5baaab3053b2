/* Markup and bad bytes of subtitles, and letters on a screen. */
#include "dsp/subtitle_text.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <ostream>
#include <random>

#include "dsp/text_painter.h"

namespace orka::board::test {
namespace {

std::string text_of(const std::string &bytes)
{
    return subtitle_text({reinterpret_cast<const uint8_t *>(bytes.data()), bytes.size()});
}

struct Said {
    const char *name;
    std::string bytes;
    std::string text;
};

void PrintTo(const Said &said, std::ostream *stream)
{
    *stream << said.bytes;
}

class SubtitleText : public ::testing::TestWithParam<Said> {};

TEST_P(SubtitleText, IsWhatTheBytesSay)
{
    EXPECT_EQ(text_of(GetParam().bytes), GetParam().text);
}

const std::string replaced = "\xEF\xBF\xBD";

INSTANTIATE_TEST_SUITE_P(
    Of, SubtitleText,
    ::testing::Values(
        Said{"Nothing", "", ""}, Said{"Blanks", " \n\t\\h\\N<i> </i>", ""}, Said{"Letters", "Hello", "Hello"},
        Said{"Accents", "\xC5\x82\xC3\xB3\x64\xC5\xBA \xF0\x9F\x8E\xB5",
             "\xC5\x82\xC3\xB3\x64\xC5\xBA \xF0\x9F\x8E\xB5"},
        Said{"Lines", "one\ntwo\r\nthree\\Nfour\\nfive", "one\\Ntwo\\Nthree\\Nfour\\Nfive"},
        Said{"Styles", "<i>a</i><B>b</B><u>c</u><s>d</s>",
             "{\\i1}a{\\i0}{\\b1}b{\\b0}{\\u1}c{\\u0}{\\s1}d{\\s0}"},
        Said{"OtherTags", "<font color=\"#ff0000\">red</font> <c.yellow>y</c> <v Bob>v</v>", "red y v"},
        Said{"NoTags", "1 < 2 > 1 <3 <>", "1 < 2 > 1 <3 <>"}, Said{"AnOpenTag", "a <i", "a <i"},
        Said{"Overrides", "{\\an8\\i1\\c&HFF00&}a{\\i0}{\\b700}b{\\pos(1,2)}c", "{\\i1}a{\\i0}bc"},
        Said{"AnOpenOverride", "{\\i1 a", "\\{\\\xE2\x81\xA0i1 a"},
        Said{"Drawings", "{\\p1}m 0 0 l 9 9{\\p0}a", "a"}, Said{"Braces", "{a}", "\\{a\\}"},
        Said{"Backslashes", "C:\\dir", "C:\\\xE2\x81\xA0\x64ir"},
        Said{"TextAfterANul", std::string("a\0b", 3), "a"}, Said{"Controls", "a\x01\x7F\tb", "a   b"},
        Said{"ALoneContinuation",
             "a\x80"
             "b",
             "a" + replaced + "b"},
        Said{"ACutCharacter", "a\xE2\x81", "a" + replaced + replaced},
        Said{"LongForms", "\xC0\x80\xE0\x80\x80", replaced + replaced + replaced + replaced + replaced},
        Said{"HalfAPair", "\xED\xA0\x80", replaced + replaced + replaced},
        Said{"BeyondUnicode", "\xF4\x90\x80\x80\xFF", replaced + replaced + replaced + replaced + replaced}),
    [](const auto &test) { return test.param.name; });

TEST(SubtitleTexts, OfTheSameTimeBeginPlain)
{
    EXPECT_EQ(stacked("{\\i1}a", "b"), "{\\i1}a{\\r}\\Nb");
    EXPECT_EQ(stacked("", "b"), "b");
    EXPECT_EQ(stacked("a", ""), "a");
}

/* Painting. */

class Painter : public ::testing::Test {
  protected:
    Painter() : painter(TextPainter::create(TextPainter::default_font(), why))
    {
        EXPECT_TRUE(painter) << why;
    }

    RgbPicture painted(const std::string &bytes, uint32_t width = 720, uint32_t height = 480) const
    {
        RgbPicture picture(width, height);
        painter->draw(text_of(bytes), picture, {0, 0, width, height});
        return picture;
    }
    /* Grey values, all in all: how much ink there is. */
    static uint64_t ink(const RgbPicture &picture)
    {
        uint64_t sum = 0;
        for (const uint8_t value : picture.pixels)
            sum += value;
        return sum;
    }

    std::string why;
    std::shared_ptr<TextPainter> painter;
};

TEST_F(Painter, DrawsAccents)
{
    EXPECT_GT(ink(painted("\xC3\xA9")), ink(painted("e")));
    EXPECT_GT(ink(painted("e\xCC\x81")), ink(painted("e")));
    EXPECT_NE(painted("\xC3\xA9").pixels, painted("\xC3\xA8").pixels);
}

TEST_F(Painter, DrawsSlantedLetters)
{
    EXPECT_NE(painted("<i>H</i>").pixels, painted("H").pixels);
    EXPECT_EQ(painted("<font>H</font>").pixels, painted("H").pixels);
}

TEST_F(Painter, DrawsLinesOneBelowTheOther)
{
    const auto first_row = [](const RgbPicture &picture) {
        const auto found = std::ranges::find_if(picture.pixels, [](uint8_t value) { return value != 0; });
        return (found - picture.pixels.begin()) / (3 * static_cast<ptrdiff_t>(picture.width));
    };
    EXPECT_NEAR(static_cast<double>(first_row(painted("H")) - first_row(painted("H\nH"))), 480.0 / 16, 1);
}

TEST_F(Painter, DrawsNothingAboveTheMarginHoweverMuchThereIs)
{
    std::string text;
    for (int i = 0; i < 100; i++)
        text += "line\n";
    const RgbPicture picture = painted(text);
    const auto margin = picture.pixels.begin() + ptrdiff_t{48} * 720 * 3;
    EXPECT_TRUE(std::all_of(picture.pixels.begin(), margin, [](uint8_t value) { return value == 0; }));
    EXPECT_GT(ink(picture), ink(painted("line\nline\nline")));
}

TEST_F(Painter, SurvivesWhateverItIsGiven)
{
    std::mt19937 random(1);
    for (int i = 0; i < 200; i++) {
        std::string bytes(random() % 400, '\0');
        for (char &byte : bytes)
            byte = static_cast<char>("<>{}\\ibup0N \n\xC3\xE2\x81\xFF\x80z"[random() % 19]);
        painted(bytes, 1 + random() % 64, 1 + random() % 64);
    }
}

TEST_F(Painter, AWordThatIsLongerThanALineStaysInThePicture)
{
    EXPECT_GT(ink(painted(std::string(2000, 'W'), 320, 240)), 0U);
}

TEST(PainterFont, ThatIsNotThereIsNamed)
{
    std::string why;
    EXPECT_FALSE(TextPainter::create("/nonexistent/font.ttf", why));
    EXPECT_EQ(why, "/nonexistent/font.ttf: No such file or directory");
}

TEST(PainterFont, ThatIsNoFontIsNamed)
{
    std::string why;
    EXPECT_FALSE(TextPainter::create("/etc/passwd", why));
    EXPECT_EQ(why, "/etc/passwd: no font");
}

} // namespace
} // namespace orka::board::test
