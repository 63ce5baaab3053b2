/* Damaged, foreign and hostile bytes. */
#include <cstdlib>
#include <random>

#include "board/dsp/decode.h"

namespace orka::board::test {

namespace {

using Random = std::mt19937;

size_t below(Random &random, size_t limit)
{
    return random() % limit;
}

void flip_bits(std::vector<uint8_t> &data, Random &random, size_t from, size_t to, int count)
{
    for (; count > 0 && from < to; count--) {
        uint8_t &byte = data[from + below(random, to - from)];
        byte = static_cast<uint8_t>(byte ^ 1 << below(random, 8));
    }
}

std::vector<uint8_t> noise(Random &random, size_t length)
{
    std::vector<uint8_t> bytes(length);
    for (uint8_t &byte : bytes)
        byte = static_cast<uint8_t>(random());
    return bytes;
}

/* ---- A clip with a damaged middle ---- */

struct DamagedClip {
    const char *name;
    uint32_t codec;
    const char *encoder;
    const char *suffix;
    const char *pixels = "yuv420p";
};

const DamagedClip damaged_clips[] = {
    {"Mpeg4", 1, "-c:v mpeg4 -g 12", ".avi"},
    {"Mpeg4WithBFrames", 1, "-c:v mpeg4 -bf 2 -g 12 -f m4v", ".m4v"},
    {"H263", 1, "-c:v h263 -g 12 -f h263", ".h263"},
    {"H264Baseline", 6, "-c:v libx264 -profile:v baseline -g 12 -f h264", ".h264"},
    {"H264WithBFrames", 6, "-c:v libx264 -bf 3 -g 12", ".ts"},
    {"Mpeg1", 7, "-c:v mpeg1video -bf 2 -g 12 -f mpeg1video", ".m1v"},
    {"Mpeg2Interlaced", 8, "-c:v mpeg2video -flags +ilme+ildct -bf 2 -g 12 -f mpeg2video", ".m2v"},
    {"MsMpeg4", 4, "-c:v msmpeg4 -g 12", ".avi"},
    {"Wmv7", 16, "-c:v wmv1 -g 12", ".avi"},
    {"Wmv8", 15, "-c:v wmv2 -g 12", ".avi"},
};

std::string whole_file(const DamagedClip &clip)
{
    return make_file(moving_picture(176, 144, 2, clip.pixels) + " " + clip.encoder, clip.suffix);
}

Clip damaged(const DamagedClip &clip)
{
    Random random(1);
    std::vector<uint8_t> file = read_file(whole_file(clip));
    flip_bits(file, random, file.size() * 4 / 10, file.size() * 6 / 10, 30);
    return read_clip(write_file(std::string("damaged-") + clip.name + clip.suffix, file));
}

class EveryDamagedClip : public testing::TestWithParam<DamagedClip> {};

INSTANTIATE_TEST_SUITE_P(Of, EveryDamagedClip, testing::ValuesIn(damaged_clips),
                         [](const auto &info) { return info.param.name; });

TEST_P(EveryDamagedClip, HasThePicturesThatFfmpegGives)
{
    const Clip clip = damaged(GetParam());
    EXPECT_EQ(decode_video(GetParam().codec, clip).hashes(), ffmpeg_hashes(clip.path));
}

TEST_P(EveryDamagedClip, BeginsAndEndsWithTheWholeClipsPictures)
{
    const Hashes whole = ffmpeg_hashes(whole_file(GetParam()));
    const Hashes seen = decode_video(GetParam().codec, damaged(GetParam())).hashes();
    ASSERT_GT(seen.size(), 40U);
    EXPECT_TRUE(std::equal(seen.begin(), seen.begin() + 5, whole.begin()));
    EXPECT_TRUE(std::equal(seen.end() - 10, seen.end(), whole.end() - 10));
    EXPECT_NE(seen, whole);
}

TEST_P(EveryDamagedClip, ReportsItsDamage)
{
    const SeenVideo seen = decode_video(GetParam().codec, damaged(GetParam()));
    EXPECT_GT(std::ranges::count_if(seen.pictures, &SeenPicture::damaged), 0);
    EXPECT_GT(seen.errors.size(), 0U);
}

TEST(DamagedPacket, IsReportedWithTheCodecAndWhatWasWrong)
{
    const auto decoder = video_decoder(video_setup(256, 16, 16));
    SeenVideo seen;
    feed(*decoder, std::vector<StoredPacket>{{.data = {1, 2, 3}}}, seen);
    EXPECT_EQ(seen.errors, std::vector<std::string>{
                               "rawvideo: Invalid data found when processing input (Packet too small (3))"});
}

TEST(DamagedSound, GoesOnWithTheNextGoodPacket)
{
    Clip clip = make_clip("-f lavfi -i sine=duration=1 -ar 44100 -ac 2 -c:a libmp3lame", ".mp3");
    const SeenAudio whole = decode_audio(audio_setup(7, clip), clip);
    clip.packets[10].data.assign(100, 0);
    const SeenAudio seen = decode_audio(audio_setup(7, clip), clip);
    ASSERT_EQ(seen.errors.size(), 1U);
    EXPECT_EQ(seen.errors[0].substr(0, 11), "mp3float: I");
    EXPECT_TRUE(std::equal(seen.samples.end() - 20000, seen.samples.end(), whole.samples.end() - 20000));
}

/* ---- Hostile bytes ---- */

enum class Attack { flipped, cut, swapped, noise, doubled, count };

StoredPacket attacked(const StoredPacket &good, const std::vector<StoredPacket> &all, Random &random)
{
    StoredPacket packet = good;
    switch (static_cast<Attack>(below(random, static_cast<size_t>(Attack::count)))) {
    case Attack::flipped:
        flip_bits(packet.data, random, 0, packet.data.size(), 1 + static_cast<int>(below(random, 20)));
        break;
    case Attack::cut:
        packet.data.resize(below(random, packet.data.size() + 1));
        break;
    case Attack::swapped:
        packet.data = all[below(random, all.size())].data;
        break;
    case Attack::noise:
        packet.data = noise(random, below(random, 2000));
        break;
    default:
        packet.data.insert(packet.data.end(), good.data.begin(), good.data.end());
        break;
    }
    packet.tsms = static_cast<uint32_t>(random());
    packet.duration = static_cast<uint32_t>(random());
    return packet;
}

std::vector<uint8_t> attacked_header(std::vector<uint8_t> header, Random &random)
{
    flip_bits(header, random, 0, header.size(), static_cast<int>(below(random, 4)));
    return header;
}

/* ORKA_HOSTILE_ROUNDS=1000 looks harder. */
int rounds()
{
    const char *asked = std::getenv("ORKA_HOSTILE_ROUNDS");
    return asked != nullptr ? std::atoi(asked) : 12;
}

struct Target {
    uint32_t codec;
    const char *encoder;
    const char *suffix;
};

std::string target_name(const testing::TestParamInfo<Target> &info)
{
    return "Codec" + std::to_string(info.param.codec) + "_" + std::to_string(info.index);
}

class HostileVideo : public testing::TestWithParam<Target> {};

INSTANTIATE_TEST_SUITE_P(Of, HostileVideo,
                         testing::Values(Target{1, "-c:v mpeg4 -bf 2", ".mp4"},
                                         Target{1, "-c:v h263", ".3gp"}, Target{4, "-c:v msmpeg4", ".avi"},
                                         Target{5, "-c:v wmv2", ".avi"}, Target{6, "-c:v libx264", ".mp4"},
                                         Target{6, "-c:v libx264", ".ts"},
                                         Target{7, "-c:v mpeg1video", ".mpg"},
                                         Target{8, "-c:v mpeg2video", ".mpg"},
                                         Target{15, "-c:v wmv2", ".avi"}, Target{16, "-c:v wmv1", ".avi"},
                                         Target{256, "-c:v rawvideo -pix_fmt uyvy422", ".nut"},
                                         Target{257, "-c:v rawvideo -pix_fmt rgb24", ".nut"}),
                         target_name);

TEST_P(HostileVideo, IsSurvivedAndTheNextGoodStreamIsWhole)
{
    const Clip clip = make_clip(moving_picture(128, 96, 0.4) + " " + GetParam().encoder, GetParam().suffix);
    Random random(GetParam().codec);
    const auto decoder = video_decoder(video_setup(GetParam().codec, 128, 96));
    SeenVideo attack;
    for (int round = 0; round < rounds(); round++) {
        decoder->header(attacked_header(clip.header, random));
        for (const StoredPacket &packet : clip.packets)
            decoder->decode(attacked(packet, clip.packets, random).packet(), attack.sink());
        round % 2 == 0 ? decoder->flush() : static_cast<void>(decoder->drain(attack.sink()));
    }
    if (GetParam().codec == 5)
        return; /* nothing makes a good stream of it */
    SeenVideo seen;
    decoder->flush();
    feed_to_end(*decoder, clip, seen);
    EXPECT_EQ(seen.hashes(), ffmpeg_hashes(clip.path));
}

class HostileAudio : public testing::TestWithParam<Target> {};

INSTANTIATE_TEST_SUITE_P(Of, HostileAudio,
                         testing::Values(Target{7, "-c:a libmp3lame", ".mp3"}, Target{13, "-c:a mp2", ".mp2"},
                                         Target{10, "-c:a aac", ".m4a"}, Target{10, "-c:a aac", ".aac"},
                                         Target{14, "-c:a libvorbis", ".ogg"},
                                         Target{8, "-c:a wmav1", ".wma"}, Target{8, "-c:a wmav2", ".wma"},
                                         Target{4, "-c:a pcm_alaw", ".wav"},
                                         Target{6, "-c:a pcm_s16le", ".wav"},
                                         Target{29, "-ar 16000 -ac 1 -c:a g722", ".wav"},
                                         Target{26, "-ar 8000 -ac 1 -c:a g723_1", ".wav"},
                                         Target{25, "-ar 8000 -ac 1 -c:a g723_1", ".wav"},
                                         Target{0, "-ar 8000 -ac 1 -c:a g726 -b:a 16k", ".wav"},
                                         Target{3, "-ar 8000 -ac 1 -c:a g726 -b:a 40k", ".wav"}),
                         target_name);

TEST_P(HostileAudio, IsSurvived)
{
    const Clip clip =
        make_clip(std::string("-f lavfi -i sine=duration=0.4 ") + GetParam().encoder, GetParam().suffix);
    Random random(GetParam().codec);
    orka_idecode_audio_params_t setup = audio_setup(GetParam().codec, clip);
    setup.extra2 = GetParam().codec == 8 ? clip.block_align : 0;
    const auto decoder = audio_decoder(setup);
    SeenAudio seen;
    for (int round = 0; round < rounds(); round++) {
        decoder->header(attacked_header(clip.header, random));
        for (const StoredPacket &packet : clip.packets)
            decoder->decode(attacked(packet, clip.packets, random).packet(), seen.sink());
        round % 2 == 0 ? decoder->flush() : static_cast<void>(decoder->drain(seen.sink()));
    }
    EXPECT_LT(seen.samples.size(), 100U << 20);
}

TEST(HostileVideo, SizeIsRefusedBeforeItTakesMemory)
{
    /*
     * A sequence of MPEG-2 with its extension, for 8000 x 8000 pixels, and the beginning of its first
     * picture.
     */
    const std::vector<uint8_t> giant = {
        0,    0,    1,    0xB3, 0xF4, 0x0F, 0x40, 0x13, 0xFF, 0xFF, 0xE0, 0x18, /* sequence */
        0,    0,    1,    0xB5, 0x14, 0x8A, 0xA0, 0x01, 0,    0,                /* its extension */
        0,    0,    1,    0,    0,    0x0F, 0xFF, 0xF8, 0,    0,    1,    0xB5, /* picture */
        0x8F, 0xFF, 0xF3, 0x41, 0x80, 0,    0,    1,    1,    0x0B, 0xFC};      /* its extension, slice */
    const auto decoder = video_decoder(video_setup(8));
    SeenVideo seen;
    feed(*decoder, std::vector<StoredPacket>{{.data = giant}}, seen);
    decoder->drain(seen.sink());
    EXPECT_TRUE(seen.pictures.empty());
    ASSERT_EQ(seen.errors.size(), 1U);
    EXPECT_EQ(seen.errors[0].substr(0, 60), "mpeg2video: Invalid argument (Picture size 8000x8000 exceeds");
}

} // namespace

} // namespace orka::board::test
