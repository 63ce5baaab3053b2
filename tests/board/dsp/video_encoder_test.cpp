#include "board/dsp/encode.h"

extern "C" {
#include <libavcodec/avcodec.h>
}

namespace orka::board::test {

namespace {

constexpr uint32_t width = 176;
constexpr uint32_t height = 144;
constexpr uint32_t start = 5000; /* ms */
constexpr int pictures = 40;

struct VideoCase {
    const char *name;
    uint32_t codec;
    uint16_t standard;
    AVCodecID id;
};

const VideoCase codecs[] = {
    {"Mpeg4", 1, 4, AV_CODEC_ID_MPEG4}, {"H263", 1, 6, AV_CODEC_ID_H263},
    {"H264", 6, 4, AV_CODEC_ID_H264},   {"Mpeg2", 8, 3, AV_CODEC_ID_MPEG2VIDEO},
    {"Jpeg", 10, 4, AV_CODEC_ID_MJPEG},
};

orka_iencode_video_params_t setup_of(const VideoCase &video)
{
    return encode_setup(video.codec, video.standard, width, height);
}

/* 30 pictures a second. */
uint32_t time_of(int number)
{
    return start + static_cast<uint32_t>(number * 1000 / 30);
}

std::vector<uint8_t> picture(int number)
{
    return view(width, height, number * 3, number);
}

SeenCoded encode(const orka_iencode_video_params_t &setup, int count = pictures)
{
    SeenCoded seen;
    const auto encoder = video_encoder(setup);
    for (int i = 0; i < count; i++)
        feed(*encoder, picture(i), width, height, time_of(i), seen);
    drain(*encoder, seen);
    return seen;
}

/* Of libavcodec alone; pictures are their luma. */
struct Reference {
    std::vector<std::vector<uint8_t>> luma;
    std::vector<std::string> complaints;
    AVPixelFormat format = AV_PIX_FMT_NONE;
    AVRational framerate{};
    int width = 0;
    int height = 0;
};

void take_picture(const AVFrame &frame, Reference &seen)
{
    std::vector<uint8_t> luma;
    for (int y = 0; y < frame.height; y++) {
        const uint8_t *line = frame.data[0] + static_cast<ptrdiff_t>(y) * frame.linesize[0];
        luma.insert(luma.end(), line, line + frame.width);
    }
    seen.luma.push_back(std::move(luma));
    seen.format = static_cast<AVPixelFormat>(frame.format);
    seen.width = frame.width;
    seen.height = frame.height;
}

void give(AVCodecContext *context, const AVPacket *packet, Reference &seen)
{
    AVFrame *frame = av_frame_alloc();
    if (avcodec_send_packet(context, packet) < 0)
        seen.complaints.emplace_back("refused a packet");
    while (avcodec_receive_frame(context, frame) >= 0)
        take_picture(*frame, seen);
    av_frame_free(&frame);
}

Reference decode(AVCodecID id, const SeenCoded &coded)
{
    static std::vector<std::string> said;
    said.clear();
    Reference seen;
    AVCodecContext *context = avcodec_alloc_context3(avcodec_find_decoder(id));
    context->thread_count = 1;
    context->err_recognition = AV_EF_CAREFUL;
    avcodec_open2(context, nullptr, nullptr);
    av_log_set_callback([](void *, int level, const char *text, va_list) {
        if (level <= AV_LOG_WARNING)
            said.emplace_back(text);
    });
    AVPacket *packet = av_packet_alloc();
    for (const StoredCoded &one : coded.packets) {
        av_new_packet(packet, static_cast<int>(one.data.size()));
        std::ranges::copy(one.data, packet->data);
        give(context, packet, seen);
        av_packet_unref(packet);
    }
    give(context, nullptr, seen);
    av_log_set_callback(av_log_default_callback);
    seen.framerate = context->framerate;
    seen.complaints.insert(seen.complaints.end(), said.begin(), said.end());
    av_packet_free(&packet);
    avcodec_free_context(&context);
    return seen;
}

/* In decibels; full_range: the coded luma goes from 0 to 255. */
double likeness(std::span<const uint8_t> luma, std::span<const uint8_t> uyvy, bool full_range)
{
    double sum = 0;
    for (size_t i = 0; i < luma.size(); i++) {
        const double coded = full_range ? 16 + luma[i] * 219 / 255.0 : luma[i];
        const double difference = coded - uyvy[i * 2 + 1];
        sum += difference * difference;
    }
    return 10 * std::log10(255 * 255 / (sum / static_cast<double>(luma.size())));
}

class EveryVideoCodec : public testing::TestWithParam<VideoCase> {};

INSTANTIATE_TEST_SUITE_P(Of, EveryVideoCodec, testing::ValuesIn(codecs),
                         [](const auto &info) { return info.param.name; });

TEST_P(EveryVideoCodec, GivesAPacketForEachPictureAtOnce)
{
    SeenCoded seen;
    const auto encoder = video_encoder(setup_of(GetParam()));
    for (int i = 0; i < 5; i++) {
        feed(*encoder, picture(i), width, height, time_of(i), seen);
        ASSERT_EQ(seen.packets.size(), static_cast<size_t>(i) + 1);
    }
    drain(*encoder, seen);
    EXPECT_EQ(seen.packets.size(), 5U);
    EXPECT_EQ(seen.errors, std::vector<std::string>{});
}

TEST_P(EveryVideoCodec, GivesItsPacketsTheTimesOfThePictures)
{
    const SeenCoded seen = encode(setup_of(GetParam()));
    ASSERT_EQ(seen.packets.size(), static_cast<size_t>(pictures));
    for (int i = 0; i < pictures; i++) {
        const StoredCoded &packet = seen.packets[static_cast<size_t>(i)];
        EXPECT_EQ(packet.tsms, time_of(i));
        EXPECT_EQ(packet.duration, 33U);
        EXPECT_FALSE(packet.header);
        EXPECT_TRUE(packet.vectors.empty());
    }
}

TEST_P(EveryVideoCodec, DecodesWithoutAWarning)
{
    const Reference seen = decode(GetParam().id, encode(setup_of(GetParam())));
    EXPECT_EQ(seen.complaints, std::vector<std::string>{});
    EXPECT_EQ(seen.luma.size(), static_cast<size_t>(pictures));
    EXPECT_EQ(seen.width, 176);
    EXPECT_EQ(seen.height, 144);
}

TEST_P(EveryVideoCodec, ShowsWhatWentIn)
{
    const Reference seen = decode(GetParam().id, encode(setup_of(GetParam())));
    ASSERT_EQ(seen.luma.size(), static_cast<size_t>(pictures));
    for (int i = 0; i < pictures; i++)
        EXPECT_GT(likeness(seen.luma[static_cast<size_t>(i)], picture(i), GetParam().codec == 10), 30) << i;
}

TEST_P(EveryVideoCodec, SaysTheSameEachTime)
{
    const SeenCoded one = encode(setup_of(GetParam()));
    const SeenCoded other = encode(setup_of(GetParam()));
    ASSERT_EQ(one.packets.size(), other.packets.size());
    for (size_t i = 0; i < one.packets.size(); i++)
        EXPECT_TRUE(one.packets[i].data == other.packets[i].data) << i;
}

TEST_P(EveryVideoCodec, ScalesPicturesOfAnotherSize)
{
    SeenCoded coded;
    const auto encoder = video_encoder(setup_of(GetParam()));
    feed(*encoder, view(720, 480, 0, 0), 720, 480, 0, coded);
    feed(*encoder, view(61, 33, 0, 0), 61, 33, 40, coded);
    drain(*encoder, coded);
    const Reference seen = decode(GetParam().id, coded);
    EXPECT_EQ(coded.errors, std::vector<std::string>{});
    EXPECT_EQ(seen.complaints, std::vector<std::string>{});
    EXPECT_EQ(seen.luma.size(), 2U);
    EXPECT_EQ(seen.width, 176);
}

TEST_P(EveryVideoCodec, BeginsAnewAfterItsEnd)
{
    SeenCoded seen;
    const auto encoder = video_encoder(setup_of(GetParam()));
    feed(*encoder, picture(0), width, height, 7000, seen);
    drain(*encoder, seen);
    feed(*encoder, picture(0), width, height, 100, seen);
    ASSERT_EQ(seen.packets.size(), 2U);
    EXPECT_TRUE(seen.packets[1].key);
    EXPECT_EQ(seen.packets[1].tsms, 100U);
    EXPECT_TRUE(seen.packets[0].data == seen.packets[1].data);
}

TEST_P(EveryVideoCodec, RefusesAPictureThatIsShorterThanItsSize)
{
    SeenCoded seen;
    const auto encoder = video_encoder(setup_of(GetParam()));
    feed(*encoder, std::vector<uint8_t>(99), 10, 5, 0, seen);
    EXPECT_EQ(seen.errors, std::vector<std::string>{"a picture of 10x5 in 99 bytes cannot be"});
    feed(*encoder, picture(0), width, height, 0, seen);
    EXPECT_EQ(seen.packets.size(), 1U);
}

/* JPEG has no rate and no distance: each picture is whole, and as good as the others. */
class EveryPredictingCodec : public testing::TestWithParam<VideoCase> {};

INSTANTIATE_TEST_SUITE_P(Of, EveryPredictingCodec,
                         testing::ValuesIn(std::begin(codecs), std::end(codecs) - 1),
                         [](const auto &info) { return info.param.name; });

TEST_P(EveryPredictingCodec, KeepsTheKeyDistance)
{
    orka_iencode_video_params_t setup = setup_of(GetParam());
    setup.key_distance = 7;
    const SeenCoded seen = encode(setup);
    for (size_t i = 0; i < seen.packets.size(); i++)
        EXPECT_EQ(seen.packets[i].key, i % 7 == 0) << i;
}

TEST_P(EveryPredictingCodec, KeepsTheKeyDistanceWhereTheSceneChanges)
{
    SeenCoded seen;
    const auto encoder = video_encoder(setup_of(GetParam()));
    for (int i = 0; i < 15; i++)
        feed(*encoder, view(width, height, i < 5 ? 0 : 3000, 0), width, height, time_of(i), seen);
    for (size_t i = 0; i < seen.packets.size(); i++)
        EXPECT_EQ(seen.packets[i].key, i == 0) << i;
}

/* Noise costs as many bits as there are. */
size_t noisy_bits(const orka_iencode_video_params_t &setup, int count, int period_ms)
{
    SeenCoded seen;
    const auto encoder = video_encoder(setup);
    uint32_t noise = 1;
    for (int i = 0; i < count; i++) {
        std::vector<uint8_t> uyvy = picture(i);
        for (uint8_t &byte : uyvy)
            byte = static_cast<uint8_t>(byte + ((noise = noise * 1664525 + 1013904223) >> 27));
        feed(*encoder, uyvy, width, height, static_cast<uint32_t>(i * period_ms), seen);
    }
    return seen.bytes() * 8;
}

TEST_P(EveryPredictingCodec, HasAboutTheBitRateThatWasAskedFor)
{
    for (const uint32_t rate : {300U, 900U}) {
        orka_iencode_video_params_t setup = setup_of(GetParam());
        setup.bitrate = rate;
        EXPECT_NEAR(static_cast<double>(noisy_bits(setup, 150, 33)) / 5, rate * 1000.0, rate * 200.0) << rate;
    }
}

TEST_P(EveryPredictingCodec, HasThatBitRateAtAnotherPaceToo)
{
    orka_iencode_video_params_t setup = setup_of(GetParam());
    setup.bitrate = 300;
    EXPECT_NEAR(static_cast<double>(noisy_bits(setup, 125, 40)) / 5, 300e3, 60e3);
}

bool holds(std::span<const uint8_t> data, std::initializer_list<uint8_t> code)
{
    return !std::ranges::search(data, code).empty();
}

TEST(Mpeg4Encoder, BringsItsHeaderWithEachKeyPicture)
{
    for (const StoredCoded &packet : encode(encode_setup(1)).packets)
        EXPECT_EQ(holds(packet.data, {0, 0, 1, 0x20}), packet.key);
}

/* The picture's time within its second: after its start code two bits of type, a 1 for each whole second
   and a 0, and between markers the increment. */
uint32_t vop_increment(std::span<const uint8_t> data)
{
    const auto code = std::ranges::search(data, std::initializer_list<uint8_t>{0, 0, 1, 0xB6});
    const auto bit = [&](size_t at) { return code.end()[at / 8] >> (7 - at % 8) & 1; };
    size_t at = 2;
    while (bit(at) == 1)
        at++;
    uint32_t value = 0;
    at += 2;
    for (int i = 0; i < 10; i++)
        value = value << 1 | static_cast<uint32_t>(bit(at++));
    return value;
}

TEST(Mpeg4Encoder, HasTheTrueTimeInItsStream)
{
    const SeenCoded seen = encode(encode_setup(1));
    EXPECT_EQ(decode(AV_CODEC_ID_MPEG4, seen).framerate.num, 1000);
    for (const StoredCoded &packet : seen.packets)
        EXPECT_EQ(vop_increment(packet.data), (packet.tsms - start) % 1000);
}

TEST(H264Encoder, BringsItsParameterSetsWithEachKeyPicture)
{
    for (const StoredCoded &packet : encode(encode_setup(6)).packets) {
        EXPECT_EQ(holds(packet.data, {0, 0, 1, 0x67}), packet.key);
        EXPECT_EQ(holds(packet.data, {0, 0, 1, 0x68}), packet.key);
        EXPECT_EQ(holds(packet.data, {0, 0, 1, 0x65}), packet.key);
    }
}

TEST(H264Encoder, IsOfTheBaselineProfile)
{
    const SeenCoded seen = encode(encode_setup(6), 1);
    const auto set = std::ranges::search(seen.packets[0].data, std::initializer_list<uint8_t>{0, 0, 1, 0x67});
    EXPECT_EQ(set.end()[0], 66);
}

TEST(Mpeg2Encoder, BringsItsSequenceHeaderWithEachKeyPicture)
{
    for (const StoredCoded &packet : encode(encode_setup(8, 3)).packets)
        EXPECT_EQ(holds(packet.data, {0, 0, 1, 0xB3}), packet.key);
}

TEST(JpegEncoder, MakesWholePicturesOfFullRange)
{
    const SeenCoded coded = encode(encode_setup(10), 3);
    for (const StoredCoded &packet : coded.packets) {
        EXPECT_TRUE(packet.key);
        EXPECT_EQ(packet.data[0], 0xFF);
        EXPECT_EQ(packet.data[1], 0xD8);
    }
    const Reference seen = decode(AV_CODEC_ID_MJPEG, coded);
    EXPECT_EQ(seen.format, AV_PIX_FMT_YUVJ422P);
}

TEST(JpegEncoder, TakesOddSizes)
{
    SeenCoded coded;
    feed(*video_encoder(encode_setup(10, 4, 97, 35)), picture(0), width, height, 0, coded);
    const Reference seen = decode(AV_CODEC_ID_MJPEG, coded);
    EXPECT_EQ(seen.width, 97);
    EXPECT_EQ(seen.height, 35);
}

/* The board's own decoders take what its encoders make. */

TEST(RoundTrip, GoesThroughTheBoardsVideoDecoders)
{
    for (const VideoCase &video : {codecs[0], codecs[1], codecs[2], codecs[3]}) {
        SeenVideo seen;
        const auto decoder = video_decoder(video_setup(video.codec));
        feed(*decoder, encode(setup_of(video)).stored(), seen);
        EXPECT_TRUE(decoder->drain(seen.sink()));
        EXPECT_EQ(seen.errors, std::vector<std::string>{}) << video.name;
        ASSERT_EQ(seen.pictures.size(), static_cast<size_t>(pictures)) << video.name;
        for (int i = 0; i < pictures; i++)
            EXPECT_EQ(seen.pictures[static_cast<size_t>(i)].tsms, time_of(i)) << video.name;
    }
}

} // namespace

} // namespace orka::board::test
