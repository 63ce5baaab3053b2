/* The test picture: what can be read back from it, and after what. */
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <thread>

#include "board/dsp/pictures.h"
#include "dsp/av.h"

namespace orka::board::test {
namespace {

struct Size {
    uint32_t width;
    uint32_t height;
};
constexpr Size sizes[] = {{96, 80},   {100, 90},  {128, 96},  {160, 120}, {176, 144},  {320, 240},
                          {352, 288}, {640, 480}, {720, 480}, {720, 240}, {1280, 720}, {1920, 1080}};
constexpr uint64_t numbers[] = {0, 1, 2, 255, 256, 65'535, 65'536, 0x555555, 0xAAAAAA, 0xFFFFFE, 0xFFFFFF};

Picture8 read_at(CameraView &view, const Standard &standard, uint64_t number, const Size &size)
{
    const auto picture = picture_of(view, standard, number);
    return luma_of(scaled(picture, standard, size.width, size.height), size.width, size.height);
}

TEST(TestPicture, HoldsItsNumberInEverySize)
{
    const auto view = test_view();
    for (const Size &size : sizes)
        for (const uint64_t number : numbers)
            EXPECT_EQ(read_at(*view, ntsc, number, size).counter(), static_cast<int64_t>(number))
                << size.width << "x" << size.height;
}

TEST(TestPicture, HoldsItsNumberInPalToo)
{
    const auto view = test_view();
    for (const uint64_t number : numbers)
        EXPECT_EQ(read_at(*view, pal, number, {96, 80}).counter(), static_cast<int64_t>(number));
}

TEST(TestPicture, CountsModulo24Bits)
{
    const auto view = test_view();
    EXPECT_EQ(counter_at(*view, ntsc, picture_time_us(ntsc, 0x1000005)), 5);
}

TEST(TestPicture, IsShownFromItsTimeOnHoweverThatIsRounded)
{
    const auto view = test_view();
    EXPECT_EQ(counter_at(*view, ntsc, 33'332), 0);
    EXPECT_EQ(counter_at(*view, ntsc, 33'333), 1);
    EXPECT_EQ(counter_at(*view, ntsc, 33'334), 1);
    EXPECT_EQ(counter_at(*view, ntsc, 66'665), 1);
    EXPECT_EQ(counter_at(*view, pal, 79'998), 1);
    EXPECT_EQ(counter_at(*view, pal, 80'000), 2);
}

TEST(TestPicture, LightsItsSecondMarkFor50MsOfEachSecond)
{
    const auto view = test_view();
    for (const Standard &standard : {ntsc, pal}) {
        for (uint64_t number = 0; number < 2 * standard.rate; number++) {
            const bool lit = number % standard.rate * 1000 / standard.rate < 50;
            EXPECT_EQ(read_at(*view, standard, number, {96, 80}).second(), lit) << number;
        }
    }
}

TEST(TestPicture, MovesBetweenAnyTwoPictures)
{
    const auto view = test_view();
    const auto before = picture_of(*view, ntsc, 40);
    const auto after = picture_of(*view, ntsc, 41);
    const auto strip = [](const std::vector<uint8_t> &picture) {
        return std::vector<uint8_t>(picture.begin() + 1440 * 270, picture.begin() + 1440 * 271);
    };
    EXPECT_NE(strip(before), strip(after));
}

TEST(TestPicture, IsTheSameInViewsThatDrawAtOnce)
{
    std::string why;
    const auto camera = Camera::create("", why);
    const auto expected = picture_of(*camera->open(), ntsc, 77);
    std::vector<std::vector<uint8_t>> drawn(4);
    std::vector<std::thread> threads;
    for (auto &picture : drawn)
        threads.emplace_back([&] { picture = picture_of(*camera->open(), ntsc, 77); });
    for (std::thread &thread : threads)
        thread.join();
    for (const auto &picture : drawn)
        EXPECT_TRUE(picture == expected);
}

/* What holds no number. */

Picture8 filled(uint8_t value)
{
    return {std::vector<uint8_t>(720 * 480, value), 720, 480};
}

TEST(ReadCounter, FindsNothingInAPictureOfOneColour)
{
    for (const uint8_t value : std::initializer_list<uint8_t>{0, 16, 128, 235, 255})
        EXPECT_EQ(filled(value).counter(), -1);
    EXPECT_FALSE(filled(235).second());
}

TEST(ReadCounter, FindsNothingInNoise)
{
    std::mt19937 random(7);
    for (int i = 0; i < 50; i++) {
        Picture8 noise = filled(0);
        std::ranges::generate(noise.luma, [&] { return static_cast<uint8_t>(random()); });
        EXPECT_EQ(noise.counter(), -1);
    }
}

TEST(ReadCounter, FindsNothingInAPictureWithoutPixelsOrTooFewOfThem)
{
    EXPECT_EQ(read_counter({}, 0, 0, 0), -1);
    const auto view = test_view();
    const Picture8 whole = luma_of(picture_of(*view, ntsc, 9), 720, 480);
    EXPECT_EQ(read_counter(std::span(whole.luma).first(720 * 479), 720, 480, 720), -1);
    EXPECT_EQ(read_counter(whole.luma, 720, 480, 719), -1);
}

/* The upper row of the counter is one picture's, the lower one the next one's. */
TEST(ReadCounter, NoticesAPictureThatIsTornBetweenItsRows)
{
    const auto view = test_view();
    Picture8 torn = luma_of(picture_of(*view, ntsc, 255), 720, 480);
    const Picture8 next = luma_of(picture_of(*view, ntsc, 256), 720, 480);
    std::copy(next.luma.begin() + 720 * 432, next.luma.end(), torn.luma.begin() + 720 * 432);
    EXPECT_EQ(torn.counter(), -1);
}

TEST(ReadCounter, NoticesASingleWrongCell)
{
    const auto view = test_view();
    const Picture8 right = luma_of(picture_of(*view, ntsc, 1000), 720, 480);
    for (uint32_t cell = 0; cell < 36; cell++) {
        Picture8 wrong = right;
        for (uint32_t y = 0; y < 48; y++)
            for (uint32_t x = 0; x < 40; x++) {
                uint8_t &pixel = wrong.luma[size_t{384 + cell / 18 * 48 + y} * 720 + cell % 18 * 40 + x];
                pixel = static_cast<uint8_t>(251 - pixel);
            }
        EXPECT_EQ(wrong.counter(), -1) << cell;
    }
}

/* After coding. */

av::Frame planar(std::span<const uint8_t> uyvy, const Size &size, AVPixelFormat format)
{
    av::Frame frame(av_frame_alloc());
    frame->width = static_cast<int>(size.width);
    frame->height = static_cast<int>(size.height);
    frame->format = format;
    av_frame_get_buffer(frame.get(), 0);
    for (uint32_t y = 0; y < size.height; y++) {
        const uint8_t *const line = &uyvy[size_t{y} * size.width * 2];
        for (uint32_t x = 0; x < size.width; x++)
            frame->data[0][y * static_cast<uint32_t>(frame->linesize[0]) + x] = line[2 * x + 1];
        for (uint32_t x = 0; y % 2 == 0 && x < size.width / 2; x++)
            for (uint32_t plane = 1; plane < 3; plane++)
                frame->data[plane][y / 2 * static_cast<uint32_t>(frame->linesize[plane]) + x] =
                    line[4 * x + 2 * (plane - 1)];
    }
    return frame;
}

/* One stream, encoded and decoded, as badly as the codec can where the bit rate is 0. */
class Coder {
  public:
    Coder(AVCodecID codec, const Size &size, AVPixelFormat format, int64_t bit_rate)
        : size_(size), format_(format), encoder_(avcodec_alloc_context3(avcodec_find_encoder(codec))),
          decoder_(avcodec_alloc_context3(avcodec_find_decoder(codec))), packet_(av_packet_alloc())
    {
        encoder_->width = static_cast<int>(size.width);
        encoder_->height = static_cast<int>(size.height);
        encoder_->pix_fmt = format;
        encoder_->time_base = {1, 30};
        encoder_->gop_size = 15;
        encoder_->bit_rate = bit_rate;
        if (bit_rate == 0) {
            encoder_->flags |= AV_CODEC_FLAG_QSCALE;
            encoder_->global_quality = 31 * FF_QP2LAMBDA;
        }
        EXPECT_EQ(avcodec_open2(encoder_.get(), nullptr, nullptr), 0);
        EXPECT_EQ(avcodec_open2(decoder_.get(), nullptr, nullptr), 0);
        decoder_->flags |= AV_CODEC_FLAG_LOW_DELAY;
    }

    Picture8 code(std::span<const uint8_t> uyvy)
    {
        const av::Frame frame = planar(uyvy, size_, format_);
        frame->pts = number_++;
        frame->quality = encoder_->global_quality;
        EXPECT_EQ(avcodec_send_frame(encoder_.get(), frame.get()), 0);
        EXPECT_EQ(avcodec_receive_packet(encoder_.get(), packet_.get()), 0);
        EXPECT_EQ(avcodec_send_packet(decoder_.get(), packet_.get()), 0);
        av_packet_unref(packet_.get());
        const av::Frame out(av_frame_alloc());
        EXPECT_EQ(avcodec_receive_frame(decoder_.get(), out.get()), 0);
        Picture8 picture{{}, size_.width, size_.height};
        for (int y = 0; y < out->height; y++)
            picture.luma.insert(picture.luma.end(), out->data[0] + y * out->linesize[0],
                                out->data[0] + y * out->linesize[0] + out->width);
        return picture;
    }

  private:
    Size size_;
    AVPixelFormat format_;
    av::Context encoder_;
    av::Context decoder_;
    av::Packet packet_;
    int64_t number_ = 0;
};

void expect_numbers_through(Coder coder, const Size &size)
{
    const auto view = test_view();
    for (uint64_t number = 1'234'555; number < 1'234'600; number++) {
        const auto picture = scaled(picture_of(*view, ntsc, number), ntsc, size.width, size.height);
        const Picture8 coded = coder.code(picture);
        EXPECT_EQ(coded.counter(), static_cast<int64_t>(number));
        EXPECT_EQ(coded.second(), number % 30 < 2);
    }
}

TEST(TestPicture, OutlastsMpeg4AtItsWorst)
{
    for (const Size &size : {Size{96, 80}, {176, 144}, {320, 240}, {720, 480}})
        expect_numbers_through({AV_CODEC_ID_MPEG4, size, AV_PIX_FMT_YUV420P, 0}, size);
}

TEST(TestPicture, OutlastsMpeg4AtALowBitRate)
{
    expect_numbers_through({AV_CODEC_ID_MPEG4, {96, 80}, AV_PIX_FMT_YUV420P, 40'000}, {96, 80});
    expect_numbers_through({AV_CODEC_ID_MPEG4, {320, 240}, AV_PIX_FMT_YUV420P, 100'000}, {320, 240});
}

TEST(TestPicture, OutlastsJpegAtItsWorst)
{
    for (const Size &size : {Size{96, 80}, {320, 240}, {720, 480}})
        expect_numbers_through({AV_CODEC_ID_MJPEG, size, AV_PIX_FMT_YUVJ420P, 0}, size);
}

} // namespace
} // namespace orka::board::test
