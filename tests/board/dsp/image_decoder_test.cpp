/* The decoder of stills against the ffmpeg tool, and against damage. */
#include "dsp/image_decoder.h"

#include <ostream>

#include <gtest/gtest.h>

#include "board/dsp/decode.h"
#include "dsp/av.h"
#include "orka_media.h"

namespace orka::board::test {

namespace {

std::unique_ptr<VideoDecoder> decoder_for(uint32_t type, uint32_t width = 4096, uint32_t height = 4096)
{
    std::string why;
    auto decoder = create_image_decoder({.type = type, .width = width, .height = height}, why);
    EXPECT_NE(decoder, nullptr) << why;
    return decoder;
}

std::string refusal(const ImageSetup &setup)
{
    std::string why;
    EXPECT_EQ(create_image_decoder(setup, why), nullptr);
    return why;
}

std::vector<uint8_t> file_of(const std::string &arguments, const std::string &suffix)
{
    return read_file(make_file(arguments + " -frames:v 1", suffix));
}

/* Stills of one decoder, one after the other. */
struct Stills {
    bool add(const std::vector<uint8_t> &data, uint32_t tsms = 0)
    {
        const bool good = decoder->decode({.data = data, .tsms = tsms}, seen.sink());
        if (!good)
            seen.errors.push_back(decoder->error());
        return good;
    }

    std::unique_ptr<VideoDecoder> decoder = decoder_for(ORKA_IMAGE_TYPE_NONE);
    SeenVideo seen;
};

constexpr const char *type_names[] = {"NONE", "BMP", "GIF", "JPEG", "PNG", "TIFF"};

/* ---- Every type, and the forms that its pictures have ---- */

struct Form {
    const char *name;
    uint32_t type;
    const char *suffix;
    std::string arguments;
    int width = 64;
    int height = 48;
};

void PrintTo(const Form &form, std::ostream *stream)
{
    *stream << form.name;
}

const std::string drawn = moving_picture(64, 48, 0.2, "rgb24");
const std::string transparent =
    "-f lavfi -i testsrc2=size=66x50:rate=25:duration=0.2:alpha=90 -vf crop=64:48:1:1:exact=1,format=";

const Form forms[] = {
    {"Bmp", 1, ".bmp", drawn},
    {"BmpOf32Bits", 1, ".bmp", drawn + " -pix_fmt bgra"},
    {"BmpWithAPalette", 1, ".bmp", drawn + " -pix_fmt rgb8"},
    {"BmpInBlackAndWhite", 1, ".bmp", drawn + " -pix_fmt monob"},
    {"Gif", 2, ".gif", drawn},
    {"Jpeg", 3, ".jpg", drawn + " -pix_fmt yuvj420p"},
    {"Jpeg422", 3, ".jpg", drawn + " -pix_fmt yuvj422p"},
    {"Jpeg444", 3, ".jpg", drawn + " -pix_fmt yuvj444p"},
    {"JpegInGrey", 3, ".jpg", moving_picture(64, 48, 0.2, "gray") + " -pix_fmt gray"},
    {"JpegOfOddSize", 3, ".jpg", moving_picture(61, 47, 0.2, "rgb24") + " -pix_fmt yuvj420p", 61, 47},
    {"Png", 4, ".png", drawn},
    {"PngInGrey", 4, ".png", drawn + " -pix_fmt gray"},
    {"PngOf16Bits", 4, ".png", drawn + " -pix_fmt rgb48be"},
    {"PngInBlackAndWhite", 4, ".png", drawn + " -pix_fmt monob"},
    {"PngWithAPalette", 4, ".png", "-f lavfi -i color=c=orange:size=64x48,format=pal8 -pix_fmt pal8"},
    {"PngThatIsTransparent", 4, ".png", transparent + "rgba"},
    {"PngThatIsTransparentAndGrey", 4, ".png", transparent + "ya8"},
    {"PngThatIsTransparentIn16Bits", 4, ".png", transparent + "rgba64be"},
    {"PngOfOddSize", 4, ".png", moving_picture(61, 47, 0.2, "rgb24"), 61, 47},
    {"Tiff", 5, ".tif", drawn + " -pix_fmt rgb24"},
    {"TiffThatIsDeflated", 5, ".tif", drawn + " -pix_fmt rgb24 -compression_algo deflate"},
    {"TiffInYuv", 5, ".tif", drawn + " -pix_fmt yuv420p"},
    {"TiffThatIsTransparent", 5, ".tif", transparent + "rgba"},
};

class Still : public testing::TestWithParam<Form> {
  protected:
    std::vector<uint8_t> data = file_of(GetParam().arguments, GetParam().suffix);
};

/* On black, which for pictures without transparency is how they are. */
std::string by_ffmpeg(const std::vector<uint8_t> &data, const std::string &name)
{
    const std::string path = write_file("still-" + name, data);
    const Hashes hashes = ffmpeg_hashes(path, {}, ":alphablend=uniform_color");
    return hashes.empty() ? "nothing" : hashes.front();
}

TEST_P(Still, IsWhatFfmpegMakesOfIt)
{
    const auto decoder = decoder_for(GetParam().type);
    SeenVideo seen;
    EXPECT_TRUE(decoder->decode({.data = data, .tsms = 70, .duration = 9}, seen.sink())) << decoder->error();
    ASSERT_EQ(seen.pictures.size(), 1U);
    const SeenPicture &picture = seen.pictures[0];
    EXPECT_EQ(picture.hash, by_ffmpeg(data, std::string(GetParam().name) + GetParam().suffix));
    EXPECT_EQ(picture.width, GetParam().width);
    EXPECT_EQ(picture.height, GetParam().height);
    EXPECT_EQ(picture.tsms, 70U);
    EXPECT_EQ(picture.duration, 9U);
    EXPECT_TRUE(picture.key);
    EXPECT_FALSE(picture.damaged);
}

TEST_P(Still, IsToldByItsData)
{
    Stills stills;
    EXPECT_TRUE(stills.add(data));
    EXPECT_EQ(stills.seen.pictures.size(), 1U);
}

TEST_P(Still, OfAnotherTypeThanWasSetUpIsRefused)
{
    const uint32_t other = GetParam().type % 5 + 1;
    const auto decoder = decoder_for(other);
    SeenVideo seen;
    EXPECT_FALSE(decoder->decode({.data = data}, seen.sink()));
    EXPECT_EQ(decoder->error(), std::string("these data are ") + type_names[GetParam().type] +
                                    ", and the setup was for " + type_names[other]);
    EXPECT_TRUE(seen.pictures.empty());
}

TEST_P(Still, ThatIsCutShortIsDamagedOrNoneAndTheNextIsGood)
{
    Stills stills;
    for (const size_t kept : {data.size() / 8, data.size() / 3, data.size() / 2, data.size() * 7 / 8}) {
        stills.seen.pictures.clear();
        const std::vector<uint8_t> cut(data.begin(), data.begin() + static_cast<ptrdiff_t>(kept));
        EXPECT_FALSE(stills.add(cut)) << kept << " of " << data.size();
        for (const SeenPicture &picture : stills.seen.pictures)
            EXPECT_TRUE(picture.damaged) << kept << " of " << data.size();
        stills.seen.pictures.clear();
        EXPECT_TRUE(stills.add(data));
        ASSERT_EQ(stills.seen.pictures.size(), 1U);
        EXPECT_FALSE(stills.seen.pictures[0].damaged);
    }
}

TEST_P(Still, ThatIsLargerThanWasSetUpIsRefused)
{
    const Form &form = GetParam();
    const auto width = static_cast<uint32_t>(form.width);
    const auto height = static_cast<uint32_t>(form.height);
    for (const auto &[columns, lines] : {std::pair(width - 1, height), {width, height - 1}}) {
        const auto decoder = decoder_for(form.type, columns, lines);
        SeenVideo seen;
        EXPECT_FALSE(decoder->decode({.data = data}, seen.sink()));
        EXPECT_TRUE(seen.pictures.empty());
        EXPECT_EQ(decoder->error(), "a picture of " + std::to_string(width) + "x" + std::to_string(height) +
                                        " is larger than " + std::to_string(columns) + "x" +
                                        std::to_string(lines));
    }
    SeenVideo seen;
    EXPECT_TRUE(decoder_for(form.type, width, height)->decode({.data = data}, seen.sink()));
}

INSTANTIATE_TEST_SUITE_P(Of, Still, testing::ValuesIn(forms),
                         [](const testing::TestParamInfo<Form> &info) { return info.param.name; });

/* ---- What is not seen in one file ---- */

/* A PNG of two colours by turns, each as opacity, red, green, blue. */
std::vector<uint8_t> png_of(uint32_t one, uint32_t other)
{
    const av::Context context(avcodec_alloc_context3(avcodec_find_encoder(AV_CODEC_ID_PNG)));
    const av::Frame frame(av_frame_alloc());
    context->width = frame->width = 16;
    context->height = frame->height = 16;
    frame->format = context->pix_fmt = AV_PIX_FMT_PAL8;
    context->time_base = {1, 1};
    EXPECT_EQ(avcodec_open2(context.get(), nullptr, nullptr), 0);
    EXPECT_EQ(av_frame_get_buffer(frame.get(), 0), 0);
    for (int at = 0; at < 256; at++) {
        frame->data[0][at / 16 * frame->linesize[0] + at % 16] = static_cast<uint8_t>(at % 2);
        reinterpret_cast<uint32_t *>(frame->data[1])[at] = at % 2 ? other : one;
    }
    const av::Packet packet(av_packet_alloc());
    EXPECT_EQ(avcodec_send_frame(context.get(), frame.get()), 0);
    EXPECT_EQ(avcodec_receive_packet(context.get(), packet.get()), 0);
    return {packet->data, packet->data + packet->size};
}

TEST(Stills, ThatAreTransparentByTheirPaletteStandOnBlack)
{
    Stills stills;
    ASSERT_TRUE(stills.add(png_of(0x80FF4002, 0x00FFFFFF)));
    ASSERT_TRUE(stills.add(png_of(0xFF802001, 0xFF000000)));
    ASSERT_TRUE(stills.add(png_of(0xFFFF4002, 0xFFFFFFFF)));
    EXPECT_EQ(stills.seen.pictures[0].hash, stills.seen.pictures[1].hash);
    EXPECT_NE(stills.seen.pictures[0].hash, stills.seen.pictures[2].hash);
}

/* What lies beyond the last column is not the picture's, and whatever was there before. */
TEST(Stills, ThatAreTransparentAndOfOddWidthAreTheSameEachTime)
{
    const std::vector<uint8_t> gif = file_of(moving_picture(61, 47, 0.2, "rgb24"), ".gif");
    const std::vector<uint8_t> png = file_of(transparent + "rgba,crop=61:47:1:1", ".png");
    Stills stills;
    for (int round = 0; round < 20; round++) {
        ASSERT_TRUE(stills.add(gif));
        ASSERT_TRUE(stills.add(png));
        const std::vector<SeenPicture> &seen = stills.seen.pictures;
        EXPECT_EQ(seen[seen.size() - 2].hash, seen[0].hash);
        EXPECT_EQ(seen[seen.size() - 1].hash, seen[1].hash);
    }
}

TEST(Stills, OfAnAnimationGiveTheFirstPictureAlone)
{
    const std::vector<uint8_t> moving = read_file(make_file(moving_picture(64, 48, 0.4, "rgb24"), ".gif"));
    Stills stills;
    EXPECT_TRUE(stills.add(moving));
    ASSERT_EQ(stills.seen.pictures.size(), 1U);
    EXPECT_EQ(stills.seen.pictures[0].hash, by_ffmpeg(moving, "animation.gif"));
}

TEST(Stills, OfAllTypesAndSizesComeOneAfterTheOther)
{
    Stills stills;
    uint32_t tsms = 0;
    for (const Form &form : forms)
        EXPECT_TRUE(stills.add(file_of(form.arguments, form.suffix), tsms++)) << form.name;
    ASSERT_EQ(stills.seen.pictures.size(), std::size(forms));
    for (uint32_t i = 0; i < tsms; i++)
        EXPECT_EQ(stills.seen.pictures[i].tsms, i);
}

TEST(Stills, ThatAreNoneAreRefused)
{
    Stills stills;
    for (const std::vector<uint8_t> &data : {std::vector<uint8_t>{'B'},
                                             {0xFF, 0xD8},
                                             {'G', 'I', 'F', '8', '8', 'a'},
                                             std::vector<uint8_t>(4096)}) {
        EXPECT_FALSE(stills.add(data));
        EXPECT_EQ(stills.seen.errors.back(), "these data are no BMP, GIF, JPEG, PNG or TIFF");
    }
    EXPECT_TRUE(stills.seen.pictures.empty());
}

TEST(Stills, WhoseInnardsAreNoiseNeverCrashTheDecoder)
{
    Stills stills;
    uint32_t noise = 1;
    for (const Form &form : forms) {
        const std::vector<uint8_t> data = file_of(form.arguments, form.suffix);
        for (int round = 0; round < 20; round++) {
            std::vector<uint8_t> spoilt = data;
            for (size_t at = 16; at < spoilt.size(); at += 1 + noise % 97) {
                noise = noise * 1664525 + 1013904223;
                spoilt[at] = static_cast<uint8_t>(noise >> 24);
            }
            stills.add(spoilt);
        }
        stills.seen.pictures.clear();
        EXPECT_TRUE(stills.add(data)) << form.name;
    }
}

TEST(Stills, HaveNoHeaders)
{
    Stills stills;
    EXPECT_FALSE(stills.decoder->header(std::vector<uint8_t>{1, 2, 3}));
    EXPECT_EQ(stills.decoder->error(), "stills have no codec header");
}

TEST(Stills, ASetupForWhatCannotBeIsRefused)
{
    EXPECT_EQ(refusal({.type = 6, .width = 1, .height = 1}), "there is no image type 6");
    EXPECT_EQ(refusal({.type = UINT32_MAX, .width = 1, .height = 1}), "there is no image type 4294967295");
    EXPECT_EQ(refusal({.width = 4097, .height = 1}), "pictures of 4097x1 are too large");
    EXPECT_EQ(refusal({.width = 1, .height = 4097}), "pictures of 1x4097 are too large");
}

} // namespace

} // namespace orka::board::test
