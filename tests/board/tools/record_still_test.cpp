/* Stills of the camera, of every type, as FFmpeg reads them. */
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <ostream>
#include <string>

#include <sys/stat.h>

#include "board/tools/support.h"
#include "dsp/camera.h"

namespace orka_tools_test {

using testing::HasSubstr;

struct StillType {
    const char *extension;
    const char *name;  /* the library's */
    const char *codec; /* as ffprobe tells */
};

void PrintTo(const StillType &type, std::ostream *stream)
{
    *stream << type.extension;
}

/* The test picture's number, -1 where it cannot be read. */
int64_t counter_of(const std::string &file, uint32_t width, uint32_t height)
{
    const std::string luma =
        run({"ffmpeg", "-v", "error", "-i", file, "-vf", "format=gray", "-f", "rawvideo", "-"}).out;
    if (luma.size() != size_t{width} * height)
        return -1;
    return orka::board::read_counter({reinterpret_cast<const uint8_t *>(luma.data()), luma.size()}, width,
                                     height, width);
}

std::string sizes_of(const std::string &file)
{
    return probed(file, "stream=codec_name,width,height");
}

class RecordStill : public testing::TestWithParam<StillType> {
  protected:
    std::string file = scratch("still" + std::string(GetParam().extension));
    std::string codec = GetParam().codec;
};

TEST_P(RecordStill, IsTheCamerasPictureInTheSizeOfCapture)
{
    const Ending ending = record({file});
    EXPECT_EQ(ending.status, 0) << ending.err;
    EXPECT_EQ(ending.err, "");
    EXPECT_THAT(ending.out, HasSubstr("picture: " + std::string(GetParam().name) + " 720x480\n"));
    EXPECT_EQ(decoding_errors(file), "");
    EXPECT_EQ(sizes_of(file), "codec_name=" + codec + "\nwidth=720\nheight=480\n");
    EXPECT_EQ(counter_of(file, 720, 480), 0);
}

TEST_P(RecordStill, HasTheSizeThatIsAskedFor)
{
    EXPECT_EQ(record({file, "--size", "320x240"}).status, 0);
    EXPECT_EQ(decoding_errors(file), "");
    EXPECT_EQ(sizes_of(file), "codec_name=" + codec + "\nwidth=320\nheight=240\n");
    EXPECT_EQ(counter_of(file, 320, 240), 0);
}

INSTANTIATE_TEST_SUITE_P(Of, RecordStill,
                         testing::Values(StillType{".jpg", "JPEG", "mjpeg"},
                                         StillType{".jpeg", "JPEG", "mjpeg"}, StillType{".png", "PNG", "png"},
                                         StillType{".bmp", "BMP", "bmp"}, StillType{".gif", "GIF", "gif"},
                                         StillType{".tif", "TIFF", "tiff"},
                                         StillType{".tiff", "TIFF", "tiff"}),
                         [](const testing::TestParamInfo<StillType> &info) {
                             return std::string(info.param.extension + 1);
                         });

TEST(RecordAStill, OfTheOtherStandardHasItsSize)
{
    const std::string file = scratch("still.png");
    EXPECT_EQ(record({file, "--standard", "pal"}).status, 0);
    EXPECT_EQ(sizes_of(file), "codec_name=png\nwidth=720\nheight=576\n");
}

TEST(RecordAStill, IsTheBetterTheLarger)
{
    const std::string worst = scratch("worst.jpg");
    const std::string best = scratch("best.jpg");
    EXPECT_EQ(record({worst, "--quality", "1"}).status, 0);
    EXPECT_EQ(record({best, "--quality", "100"}).status, 0);
    EXPECT_LT(contents(worst).size() * 2, contents(best).size());
}

TEST(RecordAStill, OfRealTimeIsTaken)
{
    const std::string file = scratch("still.jpg");
    EXPECT_EQ(record({file}, {"--clock", "real"}).status, 0);
    EXPECT_GE(counter_of(file, 720, 480), 0);
}

TEST(RecordAStill, ThatCannotBeWrittenIsSaid)
{
    const Ending ending = record({"/nowhere/still.png"});
    EXPECT_EQ(ending.status, 1);
    EXPECT_EQ(ending.err, "orka-record: /nowhere/still.png: No such file or directory\n");
}

TEST(RecordAStill, OnAFullDiskIsSaid)
{
    const std::string file = scratch("still.bmp");
    /* In blocks of 512 bytes. */
    const Ending ending = run({ORKA_BOARD_PROGRAM, "run", "--", "sh", "-c",
                               "trap '' XFSZ; ulimit -f 1200; exec \"$@\"", "sh", ORKA_RECORD_PROGRAM, file});
    EXPECT_EQ(ending.status, 1);
    EXPECT_EQ(ending.err, "orka-record: " + file + ": File too large\n");
}

TEST(RecordAStill, ThatTheBoardHasNoMemoryForIsSaid)
{
    const Ending ending = record({scratch("still.png"), "--size", "4096x4096"}, {"--memory", "16"});
    EXPECT_EQ(ending.status, 1);
    EXPECT_THAT(ending.err,
                HasSubstr("orka-record: the image encoder refused its setup: Cannot allocate memory\n"));
}

TEST(RecordAStill, WithoutABoardSaysWhereThereIsOne)
{
    const Ending ending = run({ORKA_RECORD_PROGRAM, scratch("still.png")});
    EXPECT_EQ(ending.status, 3);
    EXPECT_EQ(ending.err, "orka-record: no /dev/iencode: run it under `orka-board run -- …`\n");
}

} // namespace orka_tools_test
