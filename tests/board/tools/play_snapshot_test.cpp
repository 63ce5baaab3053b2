/* Screenshots. */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "board/tools/support.h"

namespace orka_tools_test {

/* The picture of that number, by FFmpeg's way from the decoder through UYVY to RGB. */
std::string ffmpeg_rgb(const std::string &file, int number)
{
    const std::string filter = "select=eq(n\\," + std::to_string(number) +
                               "),scale=flags=neighbor,format=uyvy422,"
                               "scale=flags=bilinear+accurate_rnd+full_chroma_int,format=rgb24";
    return run({"ffmpeg", "-v", "error", "-i", file, "-fps_mode", "passthrough", "-vf", filter, "-f",
                "rawvideo", "-"})
        .out;
}

std::string png_rgb(const std::string &png)
{
    return run({"ffmpeg", "-v", "error", "-i", png, "-pix_fmt", "rgb24", "-f", "rawvideo", "-"}).out;
}

const std::string ten_a_second =
    "-f lavfi -i testsrc2=size=176x144:rate=10:duration=2 -c:v libx264 -threads 1";

std::string snapshot(const std::string &file, const Words &options)
{
    const std::string png = scratch("shot.png");
    const Ending ending = play(options + Words{"--snapshot", png, file});
    EXPECT_EQ(ending.status, 0) << ending.err;
    return png;
}

TEST(Snapshot, IsThePngOfTheLastPicture)
{
    const std::string file = clip("shots.mp4", ten_a_second);
    const std::string rgb = png_rgb(snapshot(file, {}));
    EXPECT_EQ(rgb.size(), 176u * 144 * 3);
    EXPECT_TRUE(rgb == ffmpeg_rgb(file, 19)) << "the pixels differ";
}

TEST(Snapshot, IsAPngFile)
{
    EXPECT_EQ(contents(snapshot(plain_clip(), {})).substr(0, 8), "\x89PNG\r\n\x1a\n");
}

TEST(SnapshotAt, IsThePictureThatBeginsThen)
{
    const std::string file = clip("shots.mp4", ten_a_second);
    EXPECT_TRUE(png_rgb(snapshot(file, {"--snapshot-at", "0.5"})) == ffmpeg_rgb(file, 5))
        << "the pixels differ";
}

TEST(SnapshotAt, IsThePictureStillShownThen)
{
    const std::string file = clip("shots.mp4", ten_a_second);
    EXPECT_TRUE(png_rgb(snapshot(file, {"--snapshot-at", "0.59"})) == ffmpeg_rgb(file, 5))
        << "the pixels differ";
}

TEST(SnapshotAt, IsTheFirstPictureAtZero)
{
    const std::string file = clip("shots.mp4", ten_a_second);
    EXPECT_TRUE(png_rgb(snapshot(file, {"--snapshot-at", "0"})) == ffmpeg_rgb(file, 0))
        << "the pixels differ";
}

TEST(SnapshotAt, IsTheLastPictureAfterTheEnd)
{
    const std::string file = clip("shots.mp4", ten_a_second);
    EXPECT_TRUE(png_rgb(snapshot(file, {"--snapshot-at", "99"})) == ffmpeg_rgb(file, 19))
        << "the pixels differ";
}

TEST(Snapshot, OfSoundAloneFails)
{
    const Ending ending = play({"--snapshot", scratch("shot.png"), "--no-video", plain_clip()});
    EXPECT_EQ(ending.status, 1);
    EXPECT_EQ(ending.err, "orka-play: --framemd5 and --snapshot need a picture, and none is played\n");
}

} // namespace orka_tools_test
