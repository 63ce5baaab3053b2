#include "board/dsp/encode.h"

namespace orka::board::test {

namespace {

constexpr uint32_t width = 176;
constexpr uint32_t height = 144;

struct VectorCase {
    const char *name;
    uint32_t codec;
    uint16_t standard;
};

const VectorCase codecs[] = {{"Mpeg4", 1, 4}, {"H263", 1, 6}, {"H264", 6, 4}, {"Mpeg2", 8, 3}};

/* A scene that moves right by 4 pixels a picture, and down by 2. */
std::vector<uint8_t> moved(int number)
{
    return view(width, height, -4 * number, -2 * number);
}

orka_iencode_video_params_t setup_of(const VectorCase &video)
{
    orka_iencode_video_params_t setup = encode_setup(video.codec, video.standard, width, height);
    setup.bitrate = 4000;
    return setup;
}

SeenCoded encode(const VectorCase &video, int count, int wanted_from = 0)
{
    SeenCoded seen;
    const auto encoder = video_encoder(setup_of(video));
    for (int i = 0; i < count; i++) {
        if (i == wanted_from)
            encoder->want_vectors(true);
        feed(*encoder, moved(i), width, height, static_cast<uint32_t>(i * 33), seen);
    }
    return seen;
}

/* At the border something comes in that was not there before. */
bool is_inside(const MotionVector &vector)
{
    return vector.x >= 16 && vector.y >= 16 && vector.x + 32U <= width && vector.y + 32U <= height;
}

class EveryVectorCodec : public testing::TestWithParam<VectorCase> {};

INSTANTIATE_TEST_SUITE_P(Of, EveryVectorCodec, testing::ValuesIn(codecs),
                         [](const auto &info) { return info.param.name; });

TEST_P(EveryVectorCodec, GivesEveryMacroblockOnceRowByRow)
{
    for (const StoredCoded &packet : encode(GetParam(), 3).packets) {
        ASSERT_EQ(packet.vectors.size(), 11U * 9);
        for (size_t i = 0; i < packet.vectors.size(); i++) {
            EXPECT_EQ(packet.vectors[i].x, i % 11 * 16);
            EXPECT_EQ(packet.vectors[i].y, i / 11 * 16);
        }
    }
}

TEST_P(EveryVectorCodec, GivesNoMotionForAKeyPicture)
{
    const SeenCoded seen = encode(GetParam(), 16);
    for (const size_t key : {0U, 15U}) {
        EXPECT_TRUE(seen.packets[key].key);
        for (const MotionVector &vector : seen.packets[key].vectors)
            EXPECT_EQ(std::pair(vector.dx, vector.dy), (std::pair<int16_t, int16_t>(0, 0)));
    }
}

TEST_P(EveryVectorCodec, GivesTheMotionThatThereWas)
{
    const SeenCoded seen = encode(GetParam(), 8);
    int inside = 0;
    int right = 0;
    for (size_t i = 1; i < seen.packets.size(); i++) {
        for (const MotionVector &vector : seen.packets[i].vectors) {
            inside += is_inside(vector);
            right += is_inside(vector) && vector.dx == 16 && vector.dy == 8;
        }
    }
    EXPECT_EQ(inside, 7 * 9 * 7);
    EXPECT_GT(right, inside * 9 / 10);
}

TEST_P(EveryVectorCodec, GivesVectorsFromTheMiddleOnWithAKeyPicture)
{
    const SeenCoded seen = encode(GetParam(), 6, 3);
    for (size_t i = 0; i < seen.packets.size(); i++) {
        EXPECT_EQ(seen.packets[i].key, i == 0 || i == 3) << i;
        EXPECT_EQ(seen.packets[i].vectors.empty(), i < 3) << i;
    }
    EXPECT_EQ(seen.packets[5].vectors[11 * 4 + 5].dx, 16);
    EXPECT_EQ(seen.errors, std::vector<std::string>{});
}

TEST_P(EveryVectorCodec, GivesNoVectorsAnyMoreWhenNobodyWantsThem)
{
    SeenCoded seen;
    const auto encoder = video_encoder(setup_of(GetParam()));
    encoder->want_vectors(true);
    feed(*encoder, moved(0), width, height, 0, seen);
    encoder->want_vectors(true);
    feed(*encoder, moved(1), width, height, 33, seen);
    encoder->want_vectors(false);
    feed(*encoder, moved(2), width, height, 67, seen);
    EXPECT_FALSE(seen.packets[1].key);
    EXPECT_EQ(seen.packets[1].vectors.size(), 11U * 9);
    EXPECT_EQ(seen.packets[2].vectors.size(), 0U);
}

TEST(MotionVectors, AreOfMacroblocksThatReachBeyondThePicture)
{
    SeenCoded seen;
    const auto encoder = video_encoder(encode_setup(6, 4, 100, 50));
    encoder->want_vectors(true);
    feed(*encoder, moved(0), width, height, 0, seen);
    ASSERT_EQ(seen.packets[0].vectors.size(), 7U * 4);
    EXPECT_EQ(seen.packets[0].vectors[27].x, 96);
    EXPECT_EQ(seen.packets[0].vectors[27].y, 48);
}

} // namespace

} // namespace orka::board::test
