/* UYVY scaled to RGB, beside what the ffmpeg tool makes of the same picture. */
#include "dsp/screen_picture.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>

#include "clip.h"

namespace orka::board::test {
namespace {

constexpr uint32_t width = 352;
constexpr uint32_t height = 288;

/* A picture with gradients, edges and text, as UYVY. */
std::vector<uint8_t> uyvy()
{
    return read_file(make_file("-f lavfi -i testsrc2=size=352x288:duration=0.04 -frames:v 1 -pix_fmt uyvy422 "
                               "-f rawvideo",
                               ".uyvy"));
}

UyvyPicture picture_of(const std::vector<uint8_t> &pixels)
{
    return {.pixels = pixels, .width = width, .height = height, .stride = width * 2};
}

/* The picture, put through these filters. */
std::vector<uint8_t> by_ffmpeg(const std::string &filters)
{
    const std::string path = write_file("screen.uyvy", uyvy());
    return read_file(make_file("-f rawvideo -pixel_format uyvy422 -video_size 352x288 -i " + path + " -vf " +
                                   filters + ",format=rgb24 -f rawvideo",
                               ".rgb"));
}

std::string scaled_to(uint32_t columns, uint32_t lines)
{
    return "scale=" + std::to_string(columns) + ":" + std::to_string(lines) +
           ":flags=bilinear+accurate_rnd+full_chroma_int";
}

double psnr(const std::vector<uint8_t> &one, const std::vector<uint8_t> &other)
{
    double sum = 0;
    if (one.empty() || one.size() != other.size())
        return 0;
    for (size_t i = 0; i < one.size(); i++)
        sum += (one[i] - other[i]) * (one[i] - other[i]);
    return sum == 0 ? 99 : 10 * std::log10(255.0 * 255.0 * static_cast<double>(one.size()) / sum);
}

struct Size {
    uint32_t width;
    uint32_t height;
};

class ScreenPicture : public ::testing::TestWithParam<Size> {};

TEST_P(ScreenPicture, IsFfmpegsScaledPicture)
{
    const auto [columns, lines] = GetParam();
    const std::vector<uint8_t> pixels = uyvy();
    RgbPicture screen(columns, lines);
    draw_scaled(picture_of(pixels), {0, 0, width, height}, screen, {0, 0, columns, lines});
    EXPECT_GT(psnr(screen.pixels, by_ffmpeg(scaled_to(columns, lines))), 40);
}

INSTANTIATE_TEST_SUITE_P(OfSize, ScreenPicture,
                         ::testing::Values(Size{352, 288}, Size{640, 480}, Size{720, 576}, Size{320, 240},
                                           Size{333, 77}, Size{17, 300}),
                         [](const auto &test) {
                             return std::to_string(test.param.width) + "x" +
                                    std::to_string(test.param.height);
                         });

TEST(ScreenPicturePart, IsFfmpegsCroppedPictureInItsPlaceAlone)
{
    const std::vector<uint8_t> pixels = uyvy();
    RgbPicture screen(400, 300);
    draw_scaled(picture_of(pixels), {100, 50, 120, 60}, screen, {30, 20, 240, 120});
    const std::vector<uint8_t> expected =
        by_ffmpeg("crop=120:60:100:50," + scaled_to(240, 120) + ",format=rgb24,pad=400:300:30:20:black");
    EXPECT_GT(psnr(screen.pixels, expected), 40);
    EXPECT_EQ(screen.at(29, 20)[0] + screen.at(29, 20)[1] + screen.at(29, 20)[2], 0);
    EXPECT_EQ(screen.at(270, 139)[0] + screen.at(270, 139)[1] + screen.at(270, 139)[2], 0);
}

TEST(ScreenPicturePart, BeginsAtTheFirstOfTwoPixelsThatShareTheirColour)
{
    const std::vector<uint8_t> pixels = uyvy();
    RgbPicture even(64, 64);
    RgbPicture odd(64, 64);
    draw_scaled(picture_of(pixels), {100, 50, 64, 64}, even, {0, 0, 64, 64});
    draw_scaled(picture_of(pixels), {101, 50, 64, 64}, odd, {0, 0, 64, 64});
    EXPECT_TRUE(even.pixels == odd.pixels);
}

} // namespace
} // namespace orka::board::test
