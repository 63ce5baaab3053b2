#include "dsp/uyvy.h"

#include <random>

#include <gtest/gtest.h>

#include "board/dsp/clip.h"

namespace orka::board::test {

namespace {

constexpr int width = 64;
constexpr int height = 36;

std::vector<uint8_t> any_picture()
{
    std::mt19937 random(420);
    std::vector<uint8_t> planes(width * height * 3 / 2);
    for (uint8_t &byte : planes)
        byte = static_cast<uint8_t>(random());
    return planes;
}

std::string converted(std::vector<uint8_t> planes, AVColorRange range)
{
    const av::Frame frame(av_frame_alloc());
    frame->width = width;
    frame->height = height;
    frame->format = AV_PIX_FMT_YUV420P;
    frame->color_range = range;
    const int strides[] = {width, width / 2, width / 2};
    const int offsets[] = {0, width * height, width * height * 5 / 4};
    for (int plane = 0; plane < 3; plane++) {
        frame->data[plane] = planes.data() + offsets[plane];
        frame->linesize[plane] = strides[plane];
    }
    std::vector<uint8_t> out(width * height * 2);
    UyvyConverter().write(*frame, out);
    return hash_of(out);
}

std::string by_ffmpeg(const std::string &range)
{
    const std::string path = write_file("any-picture-" + range + ".yuv", any_picture());
    return ffmpeg_hashes(path, "-f rawvideo -pix_fmt yuv420p -s 64x36 -color_range " + range).at(0);
}

TEST(Uyvy, OfALimitedRangeIsWhatFfmpegMakesOfIt)
{
    EXPECT_EQ(converted(any_picture(), AVCOL_RANGE_MPEG), by_ffmpeg("tv"));
}

TEST(Uyvy, OfAFullRangeIsWhatFfmpegMakesOfIt)
{
    EXPECT_EQ(converted(any_picture(), AVCOL_RANGE_JPEG), by_ffmpeg("pc"));
    EXPECT_NE(by_ffmpeg("pc"), by_ffmpeg("tv"));
}

} // namespace

} // namespace orka::board::test
