/* Every codec, in a container that people keep it in: what comes out is what FFmpeg decodes, bit by bit. */
#include <bitset>
#include <gtest/gtest.h>
#include <ostream>

#include "board/tools/support.h"

namespace orka_tools_test {

struct Case {
    const char *name; /* of the test */
    const char *file;
    std::string arguments;
};

void PrintTo(const Case &one, std::ostream *stream)
{
    *stream << one.file;
}

std::string case_name(const testing::TestParamInfo<Case> &info)
{
    return info.param.name;
}

/* Picture. */

class Pictures : public testing::TestWithParam<Case> {};

TEST_P(Pictures, AreThoseThatFfmpegDecodes)
{
    const std::string file = clip(GetParam().file, GetParam().arguments);
    const Words expected = sizes_and_hashes(ffmpeg_framemd5(file));
    ASSERT_GE(expected.size(), 10u);
    EXPECT_EQ(sizes_and_hashes(played_framemd5(file)), expected);
}

const std::string picture = picture_source();
const std::string sound = sound_source(44100);
const std::string noise =
    "-f lavfi -i nullsrc=size=1280x720:rate=25:duration=0.4,geq=random(1)*255:random(2)*255:random(3)*255 ";

const Case pictures[] = {
    {"Mpeg4SimpleProfile", "mpeg4.avi", picture + sound + "-c:v mpeg4 -bf 0 -c:a libmp3lame"},
    {"Mpeg4WithBFrames", "mpeg4_b.mp4", picture + sound + "-c:v mpeg4 -bf 2 -c:a aac"},
    {"Mpeg4WithBFramesInAvi", "mpeg4_b.avi", picture + "-c:v mpeg4 -bf 2"},
    {"Mpeg4InMatroskaWithMp2", "mpeg4.mkv", picture + sound + "-c:v mpeg4 -c:a mp2"},
    {"Mpeg4Interlaced", "mpeg4_i.avi", picture_source("720x576") + "-c:v mpeg4 -flags +ilme+ildct"},
    {"Mpeg4WithAnOddSize", "mpeg4_odd.avi", picture + "-vf scale=99:75 -c:v mpeg4"},
    {"H263", "h263.3gp", picture + "-c:v h263"},
    {"H263WithG711", "h263.avi", picture + sound_source(8000) + "-c:v h263 -c:a pcm_mulaw"},
    {"H263Plus", "h263p.avi", picture_source("320x240") + "-c:v h263p"},
    {"H264Baseline", "h264_base.mp4",
     picture + sound + "-c:v libx264 -profile:v baseline -threads 1 -c:a aac"},
    {"H264HighWithBFrames", "h264_high.mkv",
     picture + sound + "-c:v libx264 -profile:v high -bf 3 -threads 1 -c:a aac"},
    {"H264InTransportStream", "h264.ts", picture + sound + "-c:v libx264 -bf 2 -threads 1 -c:a aac"},
    {"H264Of1080Lines", "h264_1080.mp4",
     picture_source("1920x1080", 0.4) + "-c:v libx264 -preset ultrafast -threads 1"},
    {"H264WithLargeKeyFrames", "h264_large.mp4", noise + "-c:v libx264 -preset ultrafast -qp 26 -threads 1"},
    {"Mpeg4NamedByItsContainerAlone", "mpeg4_named.avi", picture + "-c:v mpeg4 -q:v 2 -vtag XVID"},
    {"Mpeg1", "mpeg1.mpg", picture + "-c:v mpeg1video"},
    {"Mpeg2Interlaced", "mpeg2.ts", picture_source("720x576") + "-c:v mpeg2video -flags +ilme+ildct -b:v 4M"},
    {"Mpeg2WithBFrames", "mpeg2_b.mpg", picture + "-c:v mpeg2video -bf 2 -f vob"},
    {"MsMpeg4V3", "msmpeg4v3.avi", picture + "-c:v msmpeg4v3"},
    {"Wmv1", "wmv1.asf", picture + sound + "-c:v wmv1 -c:a wmav1"},
    {"Wmv2", "wmv2.wmv", picture + sound + "-c:v wmv2 -c:a wmav2"},
    {"RawYuv422", "yuv422.nut", picture + "-c:v rawvideo -pix_fmt uyvy422 -frames:v 10"},
    {"RawRgb888", "rgb888.nut", picture + "-c:v rawvideo -pix_fmt rgb24 -frames:v 10"},
};

INSTANTIATE_TEST_SUITE_P(Of, Pictures, testing::ValuesIn(pictures), case_name);

/* Sound. */

class Sound : public testing::TestWithParam<Case> {};

TEST_P(Sound, IsThatWhichFfmpegDecodes)
{
    const std::string file = clip(GetParam().file, GetParam().arguments);
    const std::string expected = ffmpeg_pcm(file);
    ASSERT_GE(expected.size(), 8000u);
    EXPECT_TRUE(played_pcm(file, {"--no-video"}) == expected) << "the samples differ";
}

const std::string low = sound_source(8000);

const Case sounds[] = {
    {"Mp3", "a.mp3", sound + "-c:a libmp3lame"},
    {"Mp3StereoInAvi", "mpeg4.avi", picture + sound + "-c:v mpeg4 -bf 0 -c:a libmp3lame"},
    {"Mp2", "a.mp2", sound + "-c:a mp2"},
    {"Mp2BesideMpeg2", "mpeg2_mp2.ts", picture + sound + "-c:v mpeg2video -c:a mp2"},
    {"Aac", "a.m4a", sound + "-c:a aac"},
    {"AacStereoBesideMpeg4", "mpeg4_b.mp4", picture + sound + "-c:v mpeg4 -bf 2 -c:a aac"},
    {"AacInAdts", "a.aac", sound + "-c:a aac"},
    {"AacBesideH264InMatroska", "h264_high.mkv",
     picture + sound + "-c:v libx264 -profile:v high -bf 3 -threads 1 -c:a aac"},
    {"VorbisInOgg", "a.ogg", sound + "-c:a libvorbis -ac 2"},
    {"VorbisInMp4", "vorbis.mp4", sound + "-c:a libvorbis"},
    {"WmaV1", "v1.wma", sound + "-c:a wmav1 -ac 2"},
    {"WmaV2", "v2.wma", sound + "-c:a wmav2"},
    {"WmaBesideWmv8", "wmv2.wmv", picture + sound + "-c:v wmv2 -c:a wmav2"},
    {"G711MuLaw", "mulaw.wav", low + "-c:a pcm_mulaw"},
    {"G711ALaw", "alaw.wav", low + "-c:a pcm_alaw"},
    {"G722", "g722.wav", sound_source(16000) + "-c:a g722"},
    {"G723", "g723.wav", low + "-c:a g723_1 -b:a 6300"},
    {"G726At32", "g726.wav", low + "-c:a g726 -b:a 32k"},
    {"G726At16", "g726_16.wav", low + "-c:a g726 -b:a 16k"},
    {"G726At24", "g726_24.wav", low + "-c:a g726 -b:a 24k"},
    {"G726At40", "g726_40.wav", low + "-c:a g726 -b:a 40k"},
    {"G726LittleEndian", "g726le.au", low + "-c:a g726le -b:a 32k"},
    {"Pcm", "pcm.wav", sound + "-c:a pcm_s16le -ac 2"},
    {"PcmAt44000Hz", "pcm_44000.wav", sound_source(44000) + "-c:a pcm_s16le"},
};

INSTANTIATE_TEST_SUITE_P(Of, Sound, testing::ValuesIn(sounds), case_name);

/* Cut and joined. */

std::string copied(const std::string &name, const std::string &before, const std::string &file)
{
    return clip(name, before + "-i " + file + " -c copy");
}

/* From a picture between two key frames: those before it are decoded, and not shown. */
TEST(Cut, Mp4BeginsWithThePictureOfItsEditList)
{
    const std::string whole = clip("b_frames.mp4", picture_source("352x288", 3) + "-c:v mpeg4 -bf 2 -g 25");
    for (const std::string start : {"0.37", "0.6", "1.14", "1.93"}) {
        const std::string file = copied("cut.mp4", "-ss " + start + " ", whole);
        const Words expected = sizes_and_hashes(ffmpeg_framemd5(file));
        ASSERT_GE(expected.size(), 25u);
        EXPECT_EQ(sizes_and_hashes(played_framemd5(file)), expected) << start;
    }
}

/* As a broadcast is recorded: the first pictures refer to some that are not there. */
TEST(Cut, ATransportStreamFromItsMidstOnIsPlayed)
{
    constexpr size_t ts_packet = 188;
    const std::string whole =
        contents(clip("open.ts", picture_source("352x288", 3) +
                                     "-c:v libx264 -threads 1 -x264-params keyint=24:open-gop=1:bframes=3"));
    const std::string file = scratch("midst.ts");
    write_file(file, whole.substr(whole.size() / 3 / ts_packet * ts_packet));
    const std::string framemd5 = scratch("framemd5");
    const Ending ending = play({"--framemd5", framemd5, file});
    EXPECT_EQ(ending.status, 0);
    EXPECT_NE(ending.err.find("orka-play: " + file +
                              ": of its first pictures 1 needs what lies before the clip's beginning\n"),
              std::string::npos)
        << ending.err;
    const Words expected = sizes_and_hashes(ffmpeg_framemd5(file));
    ASSERT_GE(expected.size(), 25u);
    EXPECT_EQ(sizes_and_hashes(contents(framemd5)), expected);
}

/* What is damaged in the clip itself lies nowhere before its beginning. */
TEST(Cut, ADamagedFirstPictureIsAFault)
{
    std::string data = contents(clip("damaged_key.avi", picture_source("352x288") + "-c:v mpeg4"));
    const size_t chunk = data.find("00dc", data.find("movi"));
    ASSERT_NE(chunk, std::string::npos);
    constexpr size_t first_slice = 200;
    std::fill_n(data.begin() + static_cast<ptrdiff_t>(chunk + first_slice), 2000, '\x55');
    const std::string file = scratch("damaged_key_told.avi");
    write_file(file, data);
    const Ending ending = play({file});
    EXPECT_EQ(ending.status, 1);
    EXPECT_NE(ending.err.find("damaged"), std::string::npos) << ending.err;
    EXPECT_EQ(ending.err.find("before the clip's beginning"), std::string::npos) << ending.err;
}

/* How many there are, all of them as FFmpeg decodes them. */
size_t pictures_like_ffmpeg(const std::string &file)
{
    const Words expected = sizes_and_hashes(ffmpeg_framemd5(file));
    EXPECT_EQ(sizes_and_hashes(played_framemd5(file)), expected);
    return expected.size();
}

/* A stream that holds back fewer pictures than it needs: libavformat finds out how many FFmpeg's decoder
 * needs. */
TEST(Order, OfH264ThatTellsTooLittleIsFoundOut)
{
    std::string data = contents(clip("order.h264", picture_source("176x144", 2) +
                                                       "-c:v libx264 -threads 1 -x264-params "
                                                       "bframes=2:b-pyramid=0:b-adapt=0:keyint=24"));
    const size_t begin = data.find(std::string("\0\0\0\1\x67", 5));
    const size_t end = data.find(std::string("\0\0\0\1", 4), begin + 4);
    std::string bits;
    for (size_t at = begin; at < end; at++)
        bits += std::bitset<8>(static_cast<unsigned char>(data[at])).to_string();
    /* 1 held back of 3 kept, before the closing bit, becomes 0 of 7. */
    const size_t last = bits.rfind('1') - 8;
    ASSERT_EQ(bits.substr(last, 8), "01000100");
    bits.replace(last, 8, "10001000");
    for (size_t at = begin; at < end; at++)
        data[at] = static_cast<char>(std::bitset<8>(bits.substr((at - begin) * 8, 8)).to_ulong());
    const std::string file = scratch("order_told.h264");
    write_file(file, data);
    EXPECT_GE(pictures_like_ffmpeg(file), 40u);
}

/* The second part's header comes in mid-stream, beside its first packet. */
TEST(Joined, FlvWithTwoHeadersIsDecodedByBoth)
{
    constexpr size_t file_header = 13;
    const std::string first =
        contents(clip("first.flv", picture_source("176x144") + "-c:v libx264 -threads 1"));
    const std::string second =
        contents(clip("second.flv", picture_source("176x144") + "-c:v libx264 -threads 1 -coder vlc"));
    const std::string file = scratch("joined.flv");
    write_file(file, first + second.substr(file_header));
    EXPECT_EQ(pictures_like_ffmpeg(file), 50u);
}

TEST(Joined, Mpeg1AndMpeg2InOneStreamAreBothDecoded)
{
    const std::string first = contents(clip("first.m1v", picture + "-c:v mpeg1video"));
    const std::string second = contents(clip("second.m2v", picture + "-c:v mpeg2video"));
    for (const std::string &data : {first + second, second + first}) {
        const std::string file = scratch("joined.m2v");
        write_file(file, data);
        EXPECT_GE(pictures_like_ffmpeg(file), 49u);
    }
}

/* A stream of no rate ticks in an AVI at twice its pictures'. */
TEST(Joined, AnAviWithATickForEachFieldIsWhole)
{
    const std::string stream = clip("stream.h264", picture + "-c:v libx264 -threads 1");
    const std::string file = copied("ticks.avi", "", stream);
    const Ending ending = play({file});
    EXPECT_EQ(ending.status, 0);
    EXPECT_EQ(ending.err, "");
}

/* Lines. */

TEST(Framemd5, HasFfmpegsTimesWhereTheContainerHasPresentationTimes)
{
    const std::string file = clip("h264_base.mp4", pictures[9].arguments);
    const std::string expected = ffmpeg_framemd5(file);
    const std::string played = played_framemd5(file);
    EXPECT_EQ(played.substr(played.find("#stream#")), expected.substr(expected.find("#stream#")));
}

TEST(Framemd5, CountsPicturesOfAnAviWithBFramesFromItsFirst)
{
    const std::string played = played_framemd5(clip("mpeg4_b.avi", pictures[2].arguments));
    EXPECT_NE(played.find("#tb 0: 1/25\n"), std::string::npos);
    EXPECT_NE(played.find("\n0,          1,          1,        1,   202752, "), std::string::npos) << played;
    EXPECT_NE(played.find("\n0,         25,         25,        1,   202752, "), std::string::npos) << played;
}

TEST(Framemd5, CountsPicturesOfH264InAnAviInTheirOrder)
{
    const std::string played = played_framemd5(clip("h264_b.avi", picture + "-c:v libx264 -bf 2 -threads 1"));
    for (int i = 0; i < 25; i++)
        EXPECT_NE(played.find("\n0, " + std::string(i < 10 ? 9 : 8, ' ') + std::to_string(i) + ","),
                  std::string::npos)
            << i;
}

TEST(PictureAndSound, OfOneClipComeOutInOneRun)
{
    const std::string file = plain_clip();
    const std::string pcm = scratch("pcm");
    EXPECT_EQ(sizes_and_hashes(played_framemd5(file, {"--pcm", pcm})),
              sizes_and_hashes(ffmpeg_framemd5(file)));
    EXPECT_TRUE(contents(pcm) == ffmpeg_pcm(file)) << "the samples differ";
}

} // namespace orka_tools_test
