/* The encoder of stills: files that the ffmpeg tool reads, and the test picture's number in them. */
#include "dsp/image_encoder.h"

#include <cstdlib>
#include <ostream>

#include <gtest/gtest.h>

#include "board/dsp/clip.h"
#include "board/dsp/decode.h"
#include "board/dsp/pictures.h"
#include "dsp/image_decoder.h"

namespace orka::board::test {

namespace {

constexpr uint64_t number = 1234;

std::unique_ptr<ImageEncoder> encoder_for(const ImageCoding &coding)
{
    std::string why;
    auto encoder = ImageEncoder::create(coding, why);
    EXPECT_NE(encoder, nullptr) << why;
    return encoder;
}

std::string refusal(const ImageCoding &coding)
{
    std::string why;
    EXPECT_EQ(ImageEncoder::create(coding, why), nullptr);
    return why;
}

CapturedPicture captured(const std::vector<uint8_t> &uyvy)
{
    return {.uyvy = uyvy, .width = ntsc.width, .height = ntsc.height, .tsms = 41};
}

std::vector<uint8_t> coded(ImageEncoder &encoder, const std::vector<uint8_t> &uyvy)
{
    std::vector<uint8_t> file;
    EXPECT_TRUE(encoder.encode(captured(uyvy), [&](const CodedPacket &packet) {
        EXPECT_TRUE(file.empty()) << "more than one packet";
        EXPECT_TRUE(packet.key);
        EXPECT_EQ(packet.tsms, 41U);
        file.assign(packet.data.begin(), packet.data.end());
    })) << encoder.error();
    return file;
}

std::vector<uint8_t> test_picture(uint64_t of = number)
{
    return picture_of(*test_view(), ntsc, of);
}

struct Type {
    const char *name;
    uint32_t number;
    const char *suffix;
    const char *codec; /* as ffprobe tells */
};

void PrintTo(const Type &type, std::ostream *stream)
{
    *stream << type.name;
}

class ImageEncoderOf : public testing::TestWithParam<Type> {
  protected:
    std::vector<uint8_t> still(uint32_t width, uint32_t height)
    {
        return coded(*encoder_for({.type = GetParam().number, .width = width, .height = height}),
                     test_picture());
    }
    /* As ffmpeg's luma: what its decoder says of the file is its failure. */
    Picture8 read(const std::vector<uint8_t> &file, uint32_t width, uint32_t height)
    {
        const std::string base = std::string("coded-") + GetParam().name + std::to_string(width);
        const std::string path = write_file(base + GetParam().suffix, file);
        const std::string luma = path + ".luma";
        EXPECT_EQ(
            system(
                ("ffmpeg -v error -xerror -y -i " + path + " -vf format=gray -f rawvideo " + luma).c_str()),
            0);
        return {read_file(luma), width, height};
    }
};

TEST_P(ImageEncoderOf, MakesAFileOfTheSizeThatWasSetUpWithThePictureInIt)
{
    for (const auto &[width, height] : {std::pair(720U, 480U), {352U, 288U}, {97U, 81U}, {1280U, 720U}}) {
        const std::vector<uint8_t> file = still(width, height);
        const Clip clip = read_clip(write_file("sized" + std::string(GetParam().suffix), file));
        EXPECT_EQ(clip.width, width);
        EXPECT_EQ(clip.height, height);
        const Picture8 picture = read(file, width, height);
        ASSERT_EQ(picture.luma.size(), size_t{width} * height);
        EXPECT_EQ(picture.counter(), int64_t{number}) << width << "x" << height;
    }
}

TEST_P(ImageEncoderOf, MakesPicturesOfOnePixelToo)
{
    EXPECT_EQ(read(still(1, 1), 1, 1).luma.size(), 1U);
}

TEST_P(ImageEncoderOf, MakesFilesThatDependOnNothingBefore)
{
    const auto encoder = encoder_for({.type = GetParam().number, .width = 352, .height = 288});
    const std::vector<uint8_t> first = coded(*encoder, test_picture());
    const std::vector<uint8_t> other = coded(*encoder, test_picture(99));
    EXPECT_NE(first, other);
    EXPECT_EQ(coded(*encoder, test_picture()), first);
}

TEST_P(ImageEncoderOf, MakesWhatTheDecoderOfStillsReads)
{
    std::string why;
    const auto decoder = create_image_decoder({.type = GetParam().number, .width = 720, .height = 480}, why);
    SeenVideo seen;
    EXPECT_TRUE(decoder->decode({.data = still(720, 480)}, seen.sink())) << decoder->error();
    ASSERT_EQ(seen.pictures.size(), 1U);
    EXPECT_FALSE(seen.pictures[0].damaged);
}

TEST_P(ImageEncoderOf, RefusesAPictureThatCannotBe)
{
    const auto encoder = encoder_for({.type = GetParam().number, .width = 64, .height = 48});
    CapturedPicture picture = captured({});
    EXPECT_FALSE(encoder->encode(picture, [](const CodedPacket &) { FAIL(); }));
    EXPECT_EQ(encoder->error(), "a picture of 720x480 in 0 bytes cannot be");
}

INSTANTIATE_TEST_SUITE_P(Type, ImageEncoderOf,
                         testing::Values(Type{"Bmp", 1, ".bmp", "bmp"}, Type{"Gif", 2, ".gif", "gif"},
                                         Type{"Jpeg", 3, ".jpg", "mjpeg"}, Type{"Png", 4, ".png", "png"},
                                         Type{"Tiff", 5, ".tif", "tiff"}),
                         [](const testing::TestParamInfo<Type> &info) { return info.param.name; });

TEST(ImageEncoder, MakesJpegLargerTheBetterItIs)
{
    const std::vector<uint8_t> picture = test_picture();
    size_t before = 0;
    for (const uint32_t quality : {1U, 50U, 94U, 100U}) {
        const size_t size =
            coded(*encoder_for({.type = 3, .width = 720, .height = 480, .quality = quality}), picture).size();
        EXPECT_GT(size, before) << quality;
        before = size;
    }
}

TEST(ImageEncoder, RefusesWhatCannotBeEncoded)
{
    EXPECT_EQ(refusal({.type = 0, .width = 8, .height = 8}), "there is nothing that encodes it");
    EXPECT_EQ(refusal({.type = 6, .width = 8, .height = 8}), "there is nothing that encodes it");
    EXPECT_EQ(refusal({.type = 3, .width = 0, .height = 8}), "pictures of 0x8 are none");
    EXPECT_EQ(refusal({.type = 3, .width = 8, .height = 4097}), "pictures of 8x4097 are too large");
    EXPECT_EQ(refusal({.type = 3, .width = 8, .height = 8, .quality = 101}), "a quality of 101 is above 100");
}

} // namespace

} // namespace orka::board::test
