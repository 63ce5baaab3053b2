/* What the display shows while a program plays, seen from outside. */
#include <gtest/gtest.h>

#include <csignal>

#include "board/tools/served_board.h"

namespace orka_tools_test {
namespace {

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

    Board board{Words{"--clock", "real"}};
    const std::string file = scratch("shot.png");
};

std::string pixel(const std::string &rgb, unsigned x, unsigned y)
{
    return rgb.substr((y * screen_width + x) * 3, 3);
}

/* 352x288 is as high as the screen, and 586 wide. */
TEST_F(Screenshot, ShowsThePictureOfAPlayerThatKnowsNoDisplayUntilItDies)
{
    const std::string red = clip("red.avi", "-f lavfi -i color=c=red:size=352x288:rate=5:duration=120 "
                                            "-c:v mpeg4 -q:v 2");
    ASSERT_TRUE(is_black());
    Process player(board.running({ORKA_PLAY_PROGRAM, red}));
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

} // namespace
} // namespace orka_tools_test
