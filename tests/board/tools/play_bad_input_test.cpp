/* Clips that cannot be played, or not whole. */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "board/tools/support.h"

namespace orka_tools_test {

using testing::ContainsRegex;
using testing::HasSubstr;

std::string damaged(std::string data, size_t from, size_t count)
{
    for (size_t i = from; i < from + count && i < data.size(); i++)
        data[i] = static_cast<char>(data[i] ^ (0x5a + i * 7));
    return data;
}

/* How many pictures of the one are those of the other, at the same place. */
size_t equal_pictures(const Words &left, const Words &right)
{
    size_t count = 0;
    for (size_t i = 0; i < left.size() && i < right.size(); i++)
        count += left[i] == right[i];
    return count;
}

TEST(BadInput, MissingFileIsNamed)
{
    const Ending ending = play({"/nonexistent/clip.avi"});
    EXPECT_EQ(ending.status, 1);
    EXPECT_THAT(ending.err, HasSubstr("orka-play: /nonexistent/clip.avi: No such file or directory\n"));
}

TEST(BadInput, TextFileIsNoMediaFile)
{
    const std::string file = scratch("notes.txt");
    write_file(file, "Buy milk.\n");
    const Ending ending = play({file});
    EXPECT_EQ(ending.status, 1);
    EXPECT_THAT(ending.err, HasSubstr("orka-play: " + file + ": not a media file"));
}

TEST(BadInput, EmptyFileIsNoMediaFile)
{
    const std::string file = scratch("empty.avi");
    write_file(file, "");
    const Ending ending = play({file});
    EXPECT_EQ(ending.status, 1);
    EXPECT_THAT(ending.err, HasSubstr("orka-play: " + file + ": "));
}

/* Frames of WMV 9 as the codec's conformance streams are kept; that format's reader fails at the file's end.
 */
TEST(BadInput, AConformanceStreamOfWmv9IsWhole)
{
    constexpr unsigned char head[] = {2,  0, 0, 0xC5, 4,  0, 0, 0, 0x06, 0xA1, 0x80, 0x01,
                                      16, 0, 0, 0,    16, 0, 0, 0, 12,   0,    0,    0,
                                      0,  0, 0, 0,    0,  0, 0, 0, 25,   0,    0,    0};
    constexpr unsigned char key[] = {6, 0, 0, 0x80, 0, 0, 0, 0, 0x18, 0x2A, 0xB4, 0x80, 0x03, 0};
    constexpr unsigned char repeat[] = {5, 0, 0, 0, 40, 0, 0, 0, 0x6C, 0x80, 0x08, 0x03, 0};
    std::string data(std::begin(head), std::end(head));
    data.append(std::begin(key), std::end(key)).append(std::begin(repeat), std::end(repeat));
    const std::string file = scratch("two.rcv");
    write_file(file, data);
    const Ending ending = play({file});
    EXPECT_EQ(ending.status, 0) << ending.err;
}

TEST(BadInput, AFilmOfJpegsIsNoStill)
{
    const std::string file = clip("film.mjpeg", picture_source() + "-c:v mjpeg -f mjpeg");
    const Ending ending = play({file});
    EXPECT_EQ(ending.status, 1);
    EXPECT_THAT(ending.err, HasSubstr("its pictures cannot be played: no codec image decodes mjpeg\n"));
}

TEST(BadInput, AClipThatBeginsLateIsWhole)
{
    const std::string arguments = picture_source() + "-vf setpts=PTS+10/TB -c:v mpeg4";
    EXPECT_EQ(play({clip("late.mkv", arguments)}).status, 0);
}

TEST(BadInput, ARecordingOfUnknownLengthIsWhole)
{
    const std::string file = clip("streamed.wav", sound_source(44100) + "-c:a pcm_s16le");
    std::string data = contents(file);
    const std::string unknown(4, '\xff');
    data.replace(4, 4, unknown).replace(data.find("data") + 4, 4, unknown);
    const std::string streamed = scratch("streamed.wav");
    write_file(streamed, data);
    EXPECT_EQ(play({streamed}).status, 0);
}

TEST(BadInput, DamageOfTheLastPacketIsToldToo)
{
    const std::string data = contents(clip("cut.aac", sound_source(44100) + "-c:a aac"));
    const std::string cut = scratch("cut.aac");
    write_file(cut, data.substr(0, data.size() - 20));
    const Ending ending = play({cut});
    EXPECT_EQ(ending.status, 1);
    EXPECT_THAT(ending.err, ContainsRegex("1 of [0-9]+ sound frames are damaged"));
}

TEST(BadInput, TruncatedClipPlaysToItsEndAndFails)
{
    const std::string whole = clip("truncate.avi", picture_source("352x288", 4) + "-c:v mpeg4");
    const std::string file = scratch("truncated.avi");
    const std::string framemd5 = scratch("framemd5");
    const std::string data = contents(whole);
    write_file(file, data.substr(0, data.size() / 2));
    const Ending ending = play({"--framemd5", framemd5, file});
    EXPECT_EQ(ending.status, 1);
    EXPECT_THAT(ending.err, ContainsRegex("truncated: it announces 4\\.0 s and ends after 1\\.[0-9] s"));
    const Words expected = sizes_and_hashes(ffmpeg_framemd5(file));
    ASSERT_GT(expected.size(), 20u);
    EXPECT_EQ(sizes_and_hashes(contents(framemd5)), expected);
}

TEST(BadInput, TruncatedMp4WithItsIndexInFrontPlaysToItsEndAndFails)
{
    const std::string whole =
        clip("truncate.mp4", picture_source("352x288", 4) + "-c:v libx264 -threads 1 -movflags +faststart");
    const std::string file = scratch("truncated.mp4");
    const std::string data = contents(whole);
    write_file(file, data.substr(0, data.size() / 2));
    const Ending ending = play({file});
    EXPECT_EQ(ending.status, 1);
    EXPECT_THAT(ending.err, HasSubstr("truncated: it announces 4.0 s"));
}

TEST(BadInput, CorruptMiddleIsReportedAndEveryGoodPictureDelivered)
{
    const std::string whole = plain_clip();
    const std::string file = scratch("corrupt.avi");
    const std::string framemd5 = scratch("framemd5");
    const std::string data = contents(whole);
    write_file(file, damaged(data, data.size() / 2, 3000));
    const Ending ending = play({"--no-audio", "--framemd5", framemd5, file});
    EXPECT_EQ(ending.status, 1);
    EXPECT_THAT(ending.err, ContainsRegex("damaged|corrupt"));

    const Words played = sizes_and_hashes(contents(framemd5));
    EXPECT_EQ(played, sizes_and_hashes(ffmpeg_framemd5(file)));
    const Words good = sizes_and_hashes(ffmpeg_framemd5(whole));
    EXPECT_EQ(played.front(), good.front());
    EXPECT_EQ(played.back(), good.back());
    EXPECT_GE(equal_pictures(played, good), good.size() / 2);
    EXPECT_LT(equal_pictures(played, good), good.size());
}

TEST(BadInput, CodecThatNoImageHasIsNamed)
{
    const std::string file = clip("vp8.webm", picture_source("64x48", 0.2) + "-c:v libvpx");
    const Ending ending = play({file});
    EXPECT_EQ(ending.status, 1);
    EXPECT_THAT(ending.err, HasSubstr(file + ": its picture cannot be played: no codec image decodes vp8\n"));
}

TEST(BadInput, SoundThatNoImageHasIsNamed)
{
    const std::string file = clip("a.flac", sound_source(44100, 0.2) + "-c:a flac");
    const Ending ending = play({file});
    EXPECT_EQ(ending.status, 1);
    EXPECT_THAT(ending.err, HasSubstr(file + ": its sound cannot be played: no codec image decodes flac\n"));
}

TEST(BadInput, G711AtAnotherRateIsRefusedWithTheRateThatPlays)
{
    const Ending ending = play({clip("mulaw44.wav", sound_source(44100, 0.2) + "-c:a pcm_mulaw")});
    EXPECT_EQ(ending.status, 1);
    EXPECT_THAT(ending.err, HasSubstr("no codec image decodes pcm_mulaw at 44100 Hz (only at 8000 Hz)\n"));
}

TEST(BadInput, RawPicturesOfAnotherFormatAreRefusedWithTheFormatsThatPlay)
{
    const Ending ending =
        play({clip("yuv420.nut", picture_source("64x48", 0.2) + "-c:v rawvideo -pix_fmt yuv420p")});
    EXPECT_EQ(ending.status, 1);
    EXPECT_THAT(ending.err, HasSubstr("decodes rawvideo in yuv420p (only in uyvy422 and rgb24)\n"));
}

TEST(BadInput, MotionJpegIsRefused)
{
    const Ending ending = play({clip("mjpeg.avi", picture_source("64x48", 0.2) + "-c:v mjpeg")});
    EXPECT_EQ(ending.status, 1);
    EXPECT_THAT(ending.err, HasSubstr("no codec image decodes mjpeg\n"));
}

TEST(BadInput, PacketsLargerThanADecodersFramesAreLeftOutAndTheRemedyIsNamed)
{
    const std::string noise =
        "-f lavfi -i "
        "nullsrc=size=1920x1080:rate=25:duration=0.2,geq=random(1)*255:random(2)*255:random(3)*255 ";
    const std::string large = clip("large.mp4", noise + "-c:v mpeg4 -q:v 1 -qmin 1");
    const Ending ending = play({large});
    EXPECT_EQ(ending.status, 1);
    EXPECT_EQ(ending.err, "orka-play: " + large +
                              ": no pictures could be decoded; 5 packets are larger than the video decoder's "
                              "frames of 1572864 bytes and left out: encode the clip at a lower bit rate\n");
}

/* Such as a damaged container gives: what follows is played. */
TEST(BadInput, APacketThatIsTooLargeCostsNoOther)
{
    const std::string file =
        clip("law.mkv", sound_source(8000, 5.5) + "-af asetnsamples=n=40000:p=0 -c:a pcm_mulaw");
    const std::string pcm = scratch("pcm");
    const Ending ending = play({"--pcm", pcm, file});
    EXPECT_EQ(ending.status, 1);
    EXPECT_EQ(ending.err, "orka-play: " + file +
                              ": 1 packet is larger than the audio decoder's frames of 32768 bytes and left "
                              "out: encode the clip at a lower bit rate\n");
    EXPECT_TRUE(contents(pcm) == ffmpeg_pcm(file).substr(size_t{40000} * 2)) << "the samples differ";
}

TEST(BadInput, OutputThatCannotBeWrittenIsNamed)
{
    const Ending ending = play({"--framemd5", "/nonexistent/file", plain_clip()});
    EXPECT_EQ(ending.status, 1);
    EXPECT_EQ(ending.err, "orka-play: /nonexistent/file: cannot be written: No such file or directory\n");
}

TEST(BadInput, FullOutputIsNamed)
{
    const Ending ending = play({"--pcm", "/dev/full", plain_clip()});
    EXPECT_EQ(ending.status, 1);
    EXPECT_EQ(ending.err, "orka-play: /dev/full: writing failed: No space left on device\n");
}

TEST(BadInput, SoundAskedForWhereNoneIsPlayedFails)
{
    const Ending ending = play({"--pcm", scratch("pcm"), "--no-audio", plain_clip()});
    EXPECT_EQ(ending.status, 1);
    EXPECT_EQ(ending.err, "orka-play: --pcm needs sound, and none is played\n");
}

} // namespace orka_tools_test
