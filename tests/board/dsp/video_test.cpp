#include "board/dsp/decode.h"

#include <algorithm>
#include <functional>
#include <iterator>
#include <stdexcept>

namespace orka::board::test {

namespace {

struct VideoClip {
    const char *name;
    uint32_t codec;
    const char *encoder;
    const char *suffix;
    int width = 176;
    int height = 144;
    const char *pixels = "yuv420p";
};

/* DivX 3, WMV 9 and VC-1 are missing: ffmpeg has no encoder for them. */
const VideoClip clips[] = {
    {"Mpeg4SimpleProfile", 1, "-c:v mpeg4 -g 12", ".avi"},
    {"Mpeg4WithBFrames", 1, "-c:v mpeg4 -bf 2 -g 12", ".mp4"},
    {"Mpeg4PackedBFrames", 1, "-c:v libxvid -bf 2 -g 12", ".avi"},
    {"Mpeg4Interlaced", 1, "-c:v mpeg4 -flags +ilme+ildct -bf 1", ".mp4"},
    {"Mpeg4OddSize", 1, "-c:v mpeg4", ".avi", 175, 143},
    {"H263", 1, "-c:v h263", ".3gp"},
    {"H264Baseline", 6, "-c:v libx264 -profile:v baseline", ".mp4"},
    {"H264HighWithBFrames", 6, "-c:v libx264 -profile:v high -bf 3 -g 12", ".mp4"},
    {"H264AnnexB", 6, "-c:v libx264 -profile:v high -bf 3 -g 12", ".ts"},
    {"H264Interlaced", 6, "-c:v libx264 -flags +ilme+ildct -bf 2", ".mp4"},
    {"H264FullRange", 6, "-c:v libx264", ".mp4", 176, 144, "yuvj420p"},
    {"H264Yuv422", 6, "-c:v libx264", ".mp4", 176, 144, "yuv422p"},
    {"H264Yuv444", 6, "-c:v libx264", ".mp4", 176, 144, "yuv444p"},
    {"H264Yuv444OddSize", 6, "-c:v libx264", ".mp4", 175, 143, "yuv444p"},
    {"H264Gray", 6, "-c:v libx264", ".mp4", 176, 144, "gray"},
    {"H264TenBits", 6, "-c:v libx264", ".mp4", 176, 144, "yuv420p10le"},
    {"H264TenBitsFullRange", 6, "-c:v libx264 -color_range pc", ".mp4", 176, 144, "yuv420p10le"},
    {"H264Bt709", 6, "-c:v libx264 -colorspace bt709 -color_range pc", ".mp4"},
    {"H264NarrowPicture", 6, "-c:v libx264", ".mp4", 50, 36},
    {"Mpeg1", 7, "-c:v mpeg1video -bf 2", ".mpg"},
    {"Mpeg2Interlaced", 8, "-c:v mpeg2video -flags +ilme+ildct -bf 2", ".mpg"},
    {"Mpeg2OddSize", 8, "-c:v mpeg2video", ".mpg", 50, 51},
    {"MsMpeg4", 4, "-c:v msmpeg4", ".avi"},
    {"MsMpeg4OddSize", 4, "-c:v msmpeg4", ".avi", 175, 143},
    {"Wmv7", 16, "-c:v wmv1", ".asf"},
    {"Wmv8", 15, "-c:v wmv2", ".asf"},
    {"RawUyvy", 256, "-c:v rawvideo", ".nut", 176, 144, "uyvy422"},
    {"RawRgb", 257, "-c:v rawvideo", ".nut", 176, 144, "rgb24"},
    {"RawRgbOddSize", 257, "-c:v rawvideo", ".nut", 175, 143, "rgb24"},
};

Clip make(const VideoClip &clip, double seconds = 1)
{
    return make_clip(moving_picture(clip.width, clip.height, seconds, clip.pixels) + " " + clip.encoder,
                     clip.suffix);
}

class EveryVideoClip : public testing::TestWithParam<VideoClip> {};

INSTANTIATE_TEST_SUITE_P(Of, EveryVideoClip, testing::ValuesIn(clips),
                         [](const auto &info) { return info.param.name; });

TEST_P(EveryVideoClip, HasThePicturesThatFfmpegGives)
{
    const Clip clip = make(GetParam());
    const SeenVideo seen = decode_video(GetParam().codec, clip);
    EXPECT_EQ(seen.hashes(), ffmpeg_hashes(clip.path));
    EXPECT_GE(seen.pictures.size(), 20U);
    EXPECT_EQ(seen.errors, std::vector<std::string>{});
}

TEST_P(EveryVideoClip, IsShownInOrderAtItsSize)
{
    const SeenVideo seen = decode_video(GetParam().codec, make(GetParam()));
    ASSERT_FALSE(seen.pictures.empty());
    int64_t before = -1;
    for (const SeenPicture &picture : seen.pictures) {
        EXPECT_EQ(picture.width, GetParam().width);
        EXPECT_EQ(picture.height, GetParam().height);
        EXPECT_GT(picture.tsms, before);
        EXPECT_FALSE(picture.damaged);
        before = picture.tsms;
    }
    EXPECT_TRUE(seen.pictures[0].key);
}

const VideoClip &mpeg4 = clips[0];
const VideoClip &h264_b = clips[7];

Hashes joined(Hashes first, const Hashes &second)
{
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

std::string joined_file(const char *name, const Clip &first, const Clip &second)
{
    std::vector<uint8_t> bytes = read_file(first.path);
    const std::vector<uint8_t> rest = read_file(second.path);
    bytes.insert(bytes.end(), rest.begin(), rest.end());
    return write_file(name, bytes);
}

/* ---- Sizes ---- */

TEST(VideoSize, OfThePictureIsShownAndNotTheCodedOne)
{
    for (const char *encoder : {"-c:v libx264 -preset ultrafast", "-c:v mpeg2video"}) {
        const Clip clip = make_clip(moving_picture(1920, 1080, 0.12) + " " + encoder, ".ts");
        const SeenVideo seen = decode_video(encoder[5] == 'l' ? 6 : 8, clip);
        ASSERT_EQ(seen.pictures.size(), 3U);
        EXPECT_EQ(seen.pictures[0].height, 1080);
        EXPECT_EQ(seen.hashes(), ffmpeg_hashes(clip.path));
    }
}

TEST(VideoSize, ChangesInMidStreamWithTheStreamsOwnHeaders)
{
    const Clip first = make({"", 1, "-c:v mpeg4 -f m4v", ".m4v"});
    const Clip second = make({"", 1, "-c:v mpeg4 -f m4v", ".m4v", 128, 96});
    SeenVideo seen;
    const auto decoder = video_decoder(video_setup(1));
    feed(*decoder, read_clip(joined_file("changing-size.m4v", first, second)), seen);
    decoder->drain(seen.sink());
    EXPECT_EQ(seen.hashes(), joined(ffmpeg_hashes(first.path), ffmpeg_hashes(second.path)));
    EXPECT_EQ(seen.pictures.back().width, 128);
}

TEST(VideoSize, ChangesInMidStreamWithANewHeader)
{
    const Clip first = make(h264_b);
    const Clip second = make({"", 6, "-c:v libx264 -bf 3", ".mp4", 128, 96});
    SeenVideo seen;
    const auto decoder = video_decoder(video_setup(6));
    feed(*decoder, first, seen);
    feed_to_end(*decoder, second, seen);
    EXPECT_EQ(seen.hashes(), joined(ffmpeg_hashes(first.path), ffmpeg_hashes(second.path)));
}

/* ---- Order and time ---- */

/* Skips over a sequence parameter set as libx264 writes it, bit by bit. */
class BitCursor {
  public:
    explicit BitCursor(std::vector<uint8_t> &bytes) : bytes_(bytes) {}
    bool bit()
    {
        if (at_ % 8 == 0 && at_ >= 16 && bytes_[at_ / 8 - 2] == 0 && bytes_[at_ / 8 - 1] == 0 &&
            bytes_[at_ / 8] == 3)
            at_ += 8; /* there only to keep start codes apart */
        const bool value = (bytes_.at(at_ / 8) >> (7 - at_ % 8) & 1) != 0;
        at_++;
        return value;
    }
    void skip(size_t bits)
    {
        while (bits-- > 0)
            bit();
    }
    void expect(bool value, const char *what)
    {
        if (bit() != value)
            throw std::runtime_error(std::string("libx264 writes otherwise: ") + what);
    }
    void skip_golomb(int count)
    {
        for (; count > 0; count--) {
            size_t zeros = 0;
            while (!bit())
                zeros++;
            skip(zeros);
        }
    }
    size_t at() const { return at_; }

  private:
    std::vector<uint8_t> &bytes_;
    size_t at_ = 0;
};

/* Cuts off what tells the order of pictures, the last thing in the set. */
void cut_restrictions(std::vector<uint8_t> &set)
{
    BitCursor cursor(set);
    cursor.skip(8 + 24);   /* kind, profile, constraints, level */
    cursor.skip_golomb(4); /* number, chroma, two depths */
    cursor.skip(2);        /* transform bypass, scaling matrix */
    cursor.skip_golomb(4); /* frame number, order type, order bits, references */
    cursor.skip(1);        /* gaps */
    cursor.skip_golomb(2); /* size */
    cursor.skip(2);        /* frames alone, direct inference */
    cursor.expect(false, "cropping");
    cursor.expect(true, "usability information");
    if (cursor.bit())
        cursor.skip(8); /* aspect ratio: 1:1 */
    cursor.expect(false, "overscan");
    cursor.expect(false, "video signal");
    cursor.expect(false, "chroma location");
    cursor.expect(true, "timing");
    cursor.skip(32 + 32 + 1);
    cursor.skip(3); /* two bit rates, picture structure */
    const size_t flag = cursor.at();
    cursor.expect(true, "restrictions");
    set.resize((flag + 2 + 7) / 8);
    const size_t last = set.size() * 8 - 1;
    for (size_t at = flag; at <= last; at++)
        set[at / 8] = static_cast<uint8_t>(set[at / 8] & ~(0x80 >> at % 8));
    set[(flag + 1) / 8] = static_cast<uint8_t>(set[(flag + 1) / 8] | 0x80 >> (flag + 1) % 8);
}

/* Byte stream to its units, without start codes and their stuffing. */
std::vector<std::vector<uint8_t>> units_of(const std::vector<uint8_t> &stream)
{
    constexpr uint8_t start[] = {0, 0, 1};
    std::vector<std::vector<uint8_t>> units;
    auto at = std::search(stream.begin(), stream.end(), std::begin(start), std::end(start));
    while (at != stream.end()) {
        const auto next = std::search(at + 3, stream.end(), std::begin(start), std::end(start));
        units.emplace_back(at + 3, next);
        at = next;
    }
    return units;
}

std::vector<uint8_t> with_order_untold(const std::vector<uint8_t> &stream)
{
    std::vector<uint8_t> untold;
    for (std::vector<uint8_t> unit : units_of(stream)) {
        if ((unit[0] & 0x1F) == 7)
            cut_restrictions(unit);
        untold.insert(untold.end(), {0, 0, 1});
        untold.insert(untold.end(), unit.begin(), unit.end());
    }
    return untold;
}

TEST(VideoOrder, OfAnH264StreamThatDoesNotTellItLosesNoPicture)
{
    const Clip whole = make({"", 6, "-c:v libx264 -bf 3 -b_strategy 0", ".h264"});
    const Clip clip = read_clip(write_file("untold-order.h264", with_order_untold(read_file(whole.path))));
    EXPECT_EQ(decode_video(6, clip).hashes(), ffmpeg_hashes(whole.path));
}

TEST(VideoTime, GoesWithItsPictureThroughReordering)
{
    for (const VideoClip &clip : {clips[1], h264_b}) {
        const SeenVideo seen = decode_video(clip.codec, make(clip));
        ASSERT_EQ(seen.pictures.size(), 25U);
        for (size_t at = 0; at < seen.pictures.size(); at++)
            EXPECT_EQ(seen.pictures[at].tsms - seen.pictures[0].tsms, 40 * at);
    }
}

TEST(VideoTime, ThatIsMissingFollowsFromTheDurations)
{
    Clip clip = make({"", 1, "-c:v mpeg4 -bf 2", ".avi"});
    for (StoredPacket &packet : clip.packets)
        packet.tsms = no_tsms;
    const SeenVideo seen = decode_video(1, clip);
    ASSERT_EQ(seen.pictures.size(), 25U);
    for (size_t at = 0; at < seen.pictures.size(); at++)
        EXPECT_EQ(seen.pictures[at].tsms, 40 * at);
}

TEST(VideoTime, ThatIsMissingInMidStreamGoesOnFromTheLast)
{
    Clip clip = make(mpeg4);
    for (size_t at = 0; at < clip.packets.size(); at++)
        clip.packets[at].tsms = at == 0 ? 5000 : no_tsms;
    const SeenVideo seen = decode_video(1, clip);
    EXPECT_EQ(seen.pictures.at(0).tsms, 5000U);
    EXPECT_EQ(seen.pictures.at(24).tsms, 5960U);
}

TEST(VideoTime, AndDurationAreTheOnesOfThePacket)
{
    Clip clip = make(mpeg4);
    clip.packets[3].tsms = 4000000000;
    clip.packets[3].duration = 77;
    const SeenVideo seen = decode_video(1, clip);
    EXPECT_EQ(seen.pictures.at(3).tsms, 4000000000U);
    EXPECT_EQ(seen.pictures.at(3).duration, 77U);
}

TEST(VideoTime, IsSaidToBeUnknownWhereADurationIs)
{
    Clip clip = make(mpeg4);
    clip.packets[0].duration = 0;
    EXPECT_EQ(decode_video(1, clip).pictures.at(0).duration, 0U);
}

/* ---- Beginning and end ---- */

TEST(VideoEnd, OfAnEmptyStreamGivesNothing)
{
    SeenVideo seen;
    EXPECT_TRUE(video_decoder(video_setup(6))->drain(seen.sink()));
    EXPECT_TRUE(seen.pictures.empty());
}

TEST(VideoEnd, OfAStreamOfOneFrameGivesIt)
{
    for (const VideoClip &clip : {mpeg4, h264_b, clips[21]})
        EXPECT_EQ(decode_video(clip.codec, make(clip, 0.04)).pictures.size(), 1U) << clip.encoder;
}

TEST(VideoEnd, IsNotSaidByAPacketWithoutBytes)
{
    Clip clip = make(h264_b);
    clip.packets.insert(clip.packets.begin() + 5, StoredPacket{});
    const SeenVideo seen = decode_video(6, clip);
    EXPECT_EQ(seen.pictures.size(), 25U);
    EXPECT_EQ(seen.errors, std::vector<std::string>{});
}

TEST(VideoEnd, IsFollowedByAnotherStream)
{
    const Clip clip = make(h264_b);
    SeenVideo seen;
    const auto decoder = video_decoder(video_setup(6));
    feed_to_end(*decoder, clip, seen);
    feed_to_end(*decoder, clip, seen);
    EXPECT_EQ(seen.hashes(), joined(ffmpeg_hashes(clip.path), ffmpeg_hashes(clip.path)));
}

TEST(VideoFlush, ForgetsWhatWasHeldBack)
{
    const Clip clip = make(h264_b);
    SeenVideo seen;
    const auto decoder = video_decoder(video_setup(6));
    feed(*decoder, clip, seen);
    const size_t before = seen.pictures.size();
    decoder->flush();
    decoder->drain(seen.sink());
    EXPECT_LT(before, 25U);
    EXPECT_EQ(seen.pictures.size(), before);
}

TEST(VideoFlush, IsFollowedByTheStreamFromAKeyFrame)
{
    const Clip clip = make(h264_b);
    SeenVideo first;
    SeenVideo again;
    const auto decoder = video_decoder(video_setup(6));
    feed(*decoder, clip, first);
    decoder->flush();
    feed_to_end(*decoder, clip, again);
    EXPECT_EQ(again.hashes(), ffmpeg_hashes(clip.path));
}

/* ---- Headers ---- */

TEST(VideoHeader, ThatComesTwiceChangesNothing)
{
    const Clip clip = make(h264_b);
    SeenVideo seen;
    const auto decoder = video_decoder(video_setup(6));
    EXPECT_TRUE(decoder->header(clip.header));
    feed(*decoder, clip, seen);
    EXPECT_TRUE(decoder->header(clip.header));
    decoder->drain(seen.sink());
    EXPECT_EQ(seen.pictures.size(), 25U);
}

TEST(VideoHeader, ThatIsGoodComesAfterABadOne)
{
    const Clip clip = make(clips[25]);
    const auto decoder = video_decoder(video_setup(15));
    SeenVideo seen;
    decoder->header(std::vector<uint8_t>{1});
    feed_to_end(*decoder, clip, seen);
    EXPECT_EQ(seen.hashes(), ffmpeg_hashes(clip.path));
}

TEST(VideoHeader, OfAMebibyteAndMoreIsRefused)
{
    const auto decoder = video_decoder(video_setup(6));
    EXPECT_FALSE(decoder->header(std::vector<uint8_t>((1 << 20) + 1)));
    EXPECT_EQ(decoder->error(), "a codec header of 1048577 bytes is too long");
}

TEST(VideoHeader, WithASequenceStartCodeMeansVc1AndAnotherWmv9)
{
    const std::vector<uint8_t> cut_sequence = {0, 0, 1, 0x0F, 0};
    const auto vc1 = video_decoder(video_setup(5));
    EXPECT_FALSE(vc1->header(cut_sequence));
    EXPECT_EQ(vc1->error().substr(0, 15), "cannot open vc1");
    const auto wmv3 = video_decoder(video_setup(5));
    EXPECT_TRUE(wmv3->header(std::vector<uint8_t>{0x4E, 0x79, 0x1A, 1})) << wmv3->error();
}

/* ---- Codec 1 ---- */

TEST(VideoCodec1, IsToldByTheBitstreamAfterGarbageThatLooksLikeTheOther)
{
    const Clip clip = make(mpeg4);
    const std::vector<StoredPacket> garbage = {{.data = {0, 0, 0x80, 2, 9, 9, 9, 9}}};
    SeenVideo seen;
    const auto decoder = video_decoder(video_setup(1));
    feed(*decoder, garbage, seen);
    std::erase_if(seen.pictures, [](const SeenPicture &picture) { return picture.damaged; });
    EXPECT_TRUE(seen.pictures.empty());
    feed(*decoder, clip.packets, seen);
    decoder->drain(seen.sink());
    EXPECT_EQ(seen.hashes(), ffmpeg_hashes(clip.path));
}

TEST(VideoCodec1, WithoutAPictureStartCodeIsReported)
{
    SeenVideo seen;
    const auto decoder = video_decoder(video_setup(1));
    feed(*decoder, std::vector<StoredPacket>{{.data = {1, 2, 3, 4}}}, seen);
    EXPECT_EQ(seen.errors, std::vector<std::string>{"neither header nor packet shows what codec this is"});
}

/* ---- Pictures ---- */

class KeptPictures {
  public:
    explicit KeptPictures(const VideoClip &clip) : clip_(make(clip))
    {
        const auto decoder = video_decoder(video_setup(clip.codec, clip_.width, clip_.height));
        const PictureSink keep = [this](auto picture) { pictures_.push_back(std::move(picture)); };
        decoder->header(clip_.header);
        for (const StoredPacket &packet : clip_.packets)
            decoder->decode(packet.packet(), keep);
        decoder->drain(keep);
    }
    const std::vector<std::unique_ptr<Picture>> &pictures() const { return pictures_; }
    Hashes expected() const { return ffmpeg_hashes(clip_.path); }

  private:
    Clip clip_;
    std::vector<std::unique_ptr<Picture>> pictures_;
};

TEST(VideoPicture, OutlivesItsDecoder)
{
    const KeptPictures kept(h264_b);
    Hashes hashes;
    for (const auto &picture : kept.pictures())
        hashes.push_back(hash_of(uyvy(*picture)));
    EXPECT_EQ(hashes, kept.expected());
}

TEST(VideoPicture, IsTheSameWhereverItIsWritten)
{
    for (const VideoClip &clip : {mpeg4, clips[4], clips[13], clips[26]}) {
        const KeptPictures kept(clip);
        const std::string expected = kept.expected().at(0);
        for (const size_t offset : {0, 1, 2, 4, 8, 16, 31, 32})
            EXPECT_EQ(hash_of(uyvy(*kept.pictures().at(0), offset)), expected)
                << clip.name << " at " << offset;
    }
}

TEST(VideoPicture, DoesNotGoIntoASpaceTooSmall)
{
    const KeptPictures kept(mpeg4);
    std::vector<uint8_t> space(176 * 144 * 2 - 1);
    EXPECT_THROW(kept.pictures().at(0)->write_uyvy(space), std::length_error);
}

} // namespace

} // namespace orka::board::test
