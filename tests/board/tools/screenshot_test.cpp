/* What the display shows while a program plays, seen from outside. */
#include <gtest/gtest.h>

#include <csignal>

#include "board/tools/served_board.h"

namespace orka_tools_test {
namespace {

/* The display at power-on. */
constexpr unsigned screen_width = 720;
constexpr unsigned screen_height = 480;

class Screenshot : public ::testing::Test {
  protected:
    /* As RGB. */
    std::string screen() const
    {
        EXPECT_EQ(run(board.looking("screenshot") + Words{file}).status, 0);
        return run({"ffmpeg", "-v", "error", "-i", file, "-pix_fmt", "rgb24", "-f", "rawvideo", "-"}).out;
    }
    bool is_black() const { return screen() == std::string(screen_width * screen_height * 3, '\0'); }
    /* "WxH" of the screenshot that was taken last. */
    std::string size() const
    {
        return run({"ffprobe", "-v", "error", "-show_entries", "stream=width,height", "-of", "csv=p=0:s=x",
                    file})
            .out;
    }
    bool status_tells(const std::string &text) const
    {
        return run(board.looking("status")).out.find(text) != std::string::npos;
    }

    Board board{Words{"--clock", "real"}};
    const std::string file = scratch("shot.png");
};

std::string pixel(const std::string &rgb, unsigned x, unsigned y, unsigned width = screen_width)
{
    return rgb.substr((y * width + x) * 3, 3);
}

std::string red_clip()
{
    return clip("red.avi", "-f lavfi -i color=c=red:size=352x288:rate=5:duration=120 -c:v mpeg4 -q:v 2");
}

/* Where a picture of one colour begins and ends in the middle line, as "first-last". */
std::string columns_of_picture(const std::string &rgb, unsigned width)
{
    const std::string black(3, '\0');
    const unsigned middle = static_cast<unsigned>(rgb.size()) / 3 / width / 2;
    unsigned first = 0;
    unsigned last = width - 1;
    while (first < last && pixel(rgb, first, middle, width) == black)
        first++;
    while (first < last && pixel(rgb, last, middle, width) == black)
        last--;
    return std::to_string(first) + "-" + std::to_string(last);
}

/* 352x288 is as high as the screen, and 586 wide. */
TEST_F(Screenshot, ShowsThePictureOfAPlayerThatKnowsNoDisplayUntilItDies)
{
    ASSERT_TRUE(is_black());
    Process player(board.running({ORKA_PLAY_PROGRAM, red_clip()}));
    ASSERT_TRUE(soon([this] { return !is_black(); }));
    const std::string shown = screen();
    const std::string colour = pixel(shown, 360, 240);
    EXPECT_NEAR(static_cast<unsigned char>(colour[0]), 254, 3);
    EXPECT_NEAR(static_cast<unsigned char>(colour[1]), 0, 3);
    EXPECT_EQ(pixel(shown, 67, 0), colour);
    EXPECT_EQ(pixel(shown, 652, 479), colour);
    EXPECT_EQ(pixel(shown, 66, 240), std::string(3, '\0'));
    EXPECT_EQ(pixel(shown, 653, 240), std::string(3, '\0'));
    player.signal(SIGKILL);
    player.wait();
    EXPECT_TRUE(soon([this] { return is_black(); }));
}

/* The library fits 352x288 into the mode, in steps of 32 columns and 16 lines. */
TEST_F(Screenshot, OfAPlayerWithAnOutputHasItsSizeAndPlacesThePicture)
{
    Process player(board.running({ORKA_PLAY_PROGRAM, "--output", "lcd/vga", red_clip()}));
    ASSERT_TRUE(soon([this] { return pixel(screen(), 320, 240, 640)[0] != '\0'; }));
    const std::string shown = screen();
    EXPECT_EQ(size(), "640x480\n");
    EXPECT_EQ(columns_of_picture(shown, 640), "32-607");
    EXPECT_EQ(pixel(shown, 320, 0, 640), pixel(shown, 320, 240, 640));
    EXPECT_EQ(pixel(shown, 320, 479, 640), pixel(shown, 320, 240, 640));
    player.signal(SIGINT);
    EXPECT_EQ(player.wait(), 130);
    EXPECT_TRUE(soon([this] { return is_black(); }));
}

TEST_F(Screenshot, OfAPlayerOnAnInterlacedOutputHasAllItsLines)
{
    Process player(board.running({ORKA_PLAY_PROGRAM, "--output", "INTERNAL/576i", red_clip()}));
    ASSERT_TRUE(soon([this] { return pixel(screen(), 360, 288)[0] != '\0'; }));
    const std::string shown = screen();
    EXPECT_EQ(size(), "720x576\n");
    EXPECT_EQ(columns_of_picture(shown, 720), "72-647");
}

TEST_F(Screenshot, OfAStillOnAnOutputHasItsSizeAndPlacesThePicture)
{
    const std::string still = clip("red.png", "-f lavfi -i color=c=red:size=352x288 -frames:v 1");
    Process player(board.running({ORKA_PLAY_PROGRAM, "--output", "LCD/VGA", "--seconds", "3600", still}));
    ASSERT_TRUE(soon([this] { return pixel(screen(), 320, 240, 640)[0] != '\0'; }));
    const std::string shown = screen();
    EXPECT_EQ(size(), "640x480\n");
    EXPECT_EQ(columns_of_picture(shown, 640), "32-607");
    player.signal(SIGINT);
    EXPECT_EQ(player.wait(), 130);
    EXPECT_TRUE(soon([this] { return is_black(); }));
}

TEST_F(Screenshot, OfADisplayThatAnotherHasSetUpIsItsAlone)
{
    Process player(board.running({ORKA_PLAY_PROGRAM, "--output", "LCD/QVGA", red_clip()}));
    ASSERT_TRUE(soon([this] { return screen().size() == 320 * 240 * 3; }));
    const Ending second = run(board.running({ORKA_PLAY_PROGRAM, "--output", "LCD/VGA", red_clip()}));
    EXPECT_EQ(second.status, 1);
    EXPECT_NE(
        second.err.find("orka-play: the display refused its setup for LCD/VGA: only one program at a time "
                        "can set it up (`orka-board status` tells who has)\n"),
        std::string::npos)
        << second.err;
    EXPECT_EQ(screen().size(), 320U * 240 * 3);
}

TEST_F(Screenshot, OfARecorderWithAViewIsTheCamerasPictureAndMoves)
{
    Process recorder(board.running(
        {ORKA_RECORD_PROGRAM, "--view", "--no-audio", "--size", "176x144", scratch("view.avi")}));
    ASSERT_TRUE(soon([this] { return !is_black(); }));
    EXPECT_TRUE(status_tells("source capture"));
    const std::string first = screen();
    EXPECT_TRUE(soon([&] { return screen() != first; }));
    recorder.signal(SIGINT);
    EXPECT_EQ(recorder.wait(), 0) << recorder.err();
    EXPECT_TRUE(soon([this] { return is_black(); }));
}

TEST_F(Screenshot, OfARecorderWithoutAViewIsBlack)
{
    Process recorder(board.running({ORKA_RECORD_PROGRAM, "--no-audio", scratch("unseen.avi")}));
    ASSERT_TRUE(soon([this] { return status_tells("state encoding"); }));
    EXPECT_TRUE(is_black());
    recorder.signal(SIGINT);
    EXPECT_EQ(recorder.wait(), 0) << recorder.err();
}

} // namespace
} // namespace orka_tools_test
