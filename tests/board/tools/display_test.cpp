/* What stands on the screen while programs play, draw, capture and switch: its pixels, from outside. */
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <csignal>
#include <sstream>

#include "board/tools/served_board.h"

namespace orka_tools_test {
namespace {

struct Picture {
    unsigned width = 0;
    unsigned height = 0;
    std::string rgb;

    std::string pixel(unsigned x, unsigned y) const { return rgb.substr((size_t{y} * width + x) * 3, 3); }
    bool is_black() const { return rgb == std::string(rgb.size(), '\0'); }
};

struct Rectangle {
    unsigned x, y, width, height;
};

Picture picture_of(const std::string &png)
{
    std::istringstream size(probed(png, "stream=width,height"));
    Picture picture;
    size.ignore(sizeof "width=" - 1) >> picture.width;
    size.ignore(sizeof "\nheight=" - 1) >> picture.height;
    picture.rgb = run({"ffmpeg", "-v", "error", "-i", png, "-pix_fmt", "rgb24", "-f", "rawvideo", "-"}).out;
    return picture;
}

/* The clip's picture by FFmpeg: decoded, as UYVY, and then through that filter. */
std::string by_ffmpeg(const std::string &file, const std::string &filter)
{
    return run({"ffmpeg", "-v", "error", "-i", file, "-frames:v", "1", "-vf",
                "scale=flags=neighbor,format=uyvy422," + filter, "-f", "rawvideo", "-"})
        .out;
}

std::string scaled_to(unsigned width, unsigned height)
{
    return "scale=" + std::to_string(width) + ":" + std::to_string(height) +
           ":flags=bilinear+accurate_rnd+full_chroma_int,format=rgb24";
}

std::string padded_to_480i(unsigned x, unsigned y)
{
    return ",pad=720:480:" + std::to_string(x) + ":" + std::to_string(y) + ":black";
}

double psnr(const std::string &one, const std::string &other)
{
    double sum = 0;
    if (one.empty() || one.size() != other.size())
        return 0;
    for (size_t i = 0; i < one.size(); i++) {
        const int difference = static_cast<unsigned char>(one[i]) - static_cast<unsigned char>(other[i]);
        sum += difference * difference;
    }
    return sum == 0 ? 99 : 10 * std::log10(255.0 * 255.0 * static_cast<double>(one.size()) / sum);
}

/* One picture that stands for minutes, coded anew each second. */
std::string still_clip(const std::string &size)
{
    return clip("still-" + size + ".avi", "-f lavfi -i testsrc2=size=" + size +
                                              ":rate=1:duration=1 -vf loop=loop=200:size=1:start=0 "
                                              "-c:v mpeg4 -q:v 3 -g 1");
}

std::string red_clip()
{
    return clip("red-640x480.avi",
                "-f lavfi -i color=c=red:size=640x480:rate=1:duration=200 -c:v mpeg4 -q:v 2");
}

/* The rectangle is all of that colour, and what is around it black. */
::testing::AssertionResult is_framed(const Picture &picture, const Rectangle &inside,
                                     const std::string &colour)
{
    for (unsigned y = 0; y < picture.height; y++) {
        for (unsigned x = 0; x < picture.width; x++) {
            const bool within =
                x >= inside.x && x < inside.x + inside.width && y >= inside.y && y < inside.y + inside.height;
            if (picture.pixel(x, y) != (within ? colour : std::string(3, '\0')))
                return ::testing::AssertionFailure() << "at " << x << ", " << y;
        }
    }
    return ::testing::AssertionSuccess();
}

bool is_red(const std::string &pixel)
{
    const auto value = [&](size_t place) { return static_cast<unsigned char>(pixel[place]); };
    return value(0) >= 251 && value(1) <= 3 && value(2) <= 3;
}

void paint(Picture &picture, const Rectangle &rectangle, const std::string &colour)
{
    for (unsigned y = rectangle.y; y < rectangle.y + rectangle.height; y++) {
        for (unsigned x = rectangle.x; x < rectangle.x + rectangle.width; x++)
            picture.rgb.replace((size_t{y} * picture.width + x) * 3, 3, colour);
    }
}

class Screen : public ::testing::Test {
  protected:
    explicit Screen(const Words &options = {}) : board(Words{"--clock", "real"} + options) {}

    Picture screen(const std::string &plane = "composed")
    {
        const Words words =
            board.looking("screenshot") + (plane == "composed" ? Words{shot} : Words{"--plane", plane, shot});
        EXPECT_EQ(run(words).status, 0);
        return picture_of(shot);
    }
    Process play(const std::string &file) { return Process(board.running({ORKA_PLAY_PROGRAM, file})); }
    bool shows_something()
    {
        return soon([this] { return !screen().is_black(); });
    }
    Words drawing(const Words &words) const
    {
        return board.running(Words{ORKA_BUILD_TREE "/programs/draw"} + words);
    }
    static bool has_drawn(const Process &drawer)
    {
        return soon([&] { return drawer.out() == "drawn\n"; });
    }
    Ending display(const Words &words) const
    {
        return run(board.running(Words{ORKA_CTL_PROGRAM, "display"} + words));
    }

    Board board;
    const std::string shot = scratch("shot.png");
};

/* Clips. */

TEST_F(Screen, ShowsAPictureOfItsOwnSizeToThePixel)
{
    const std::string file = still_clip("640x480");
    const Process player = play(file);
    ASSERT_TRUE(shows_something());
    EXPECT_TRUE(screen().rgb == by_ffmpeg(file, scaled_to(640, 480) + padded_to_480i(40, 0)));
}

TEST_F(Screen, ScalesAPictureAsFfmpegDoes)
{
    const std::string file = still_clip("352x288");
    const Process player = play(file);
    ASSERT_TRUE(shows_something());
    EXPECT_GT(psnr(screen().rgb, by_ffmpeg(file, scaled_to(586, 480) + padded_to_480i(67, 0))), 40);
}

TEST_F(Screen, ScalesAPictureOverTheAreaThatItsSizeWasFittedTo)
{
    const std::string file = still_clip("352x288");
    const Process holder(drawing({"480i"}));
    ASSERT_TRUE(has_drawn(holder)) << holder.err();
    ASSERT_EQ(display({"set", "480i", "--source", "352x288"}).status, 0);
    const Process player = play(file);
    ASSERT_TRUE(shows_something());
    EXPECT_GT(psnr(screen().rgb, by_ffmpeg(file, scaled_to(576, 480) + padded_to_480i(72, 0))), 40);
}

/* What programs draw. */

const std::string red{"\xFF\0\0", 3};
const std::string green{"\0\xFF\0", 3};
const std::string grey{"\x84\x84\x84", 3};

TEST_F(Screen, HasWhatAProgramDrawsOverTheVideo)
{
    const Rectangle one{10, 20, 300, 100}, two{200, 60, 400, 300};
    const Process player = play(still_clip("640x480"));
    ASSERT_TRUE(shows_something());
    const Process drawer(drawing({"480i", "0", "10", "20", "300", "100", "fc00", //
                                  "1", "200", "60", "400", "300", "83e0"}));
    ASSERT_TRUE(has_drawn(drawer)) << drawer.err();
    Picture expected = screen("video");
    EXPECT_FALSE(expected.is_black());
    paint(expected, one, red);
    paint(expected, two, green);
    EXPECT_TRUE(screen().rgb == expected.rgb);
}

TEST_F(Screen, OfTheOsdAloneIsWhatWasDrawn)
{
    const Process drawer(
        drawing({"QVGA", "0", "8", "16", "100", "200", "c210", "0", "50", "50", "10", "10", "7fff"}));
    ASSERT_TRUE(has_drawn(drawer)) << drawer.err();
    Picture expected{320, 240, std::string(320 * 240 * 3, '\0')};
    paint(expected, {8, 16, 100, 200}, grey);
    paint(expected, {50, 50, 10, 10}, std::string(3, '\0')); /* white, but not opaque */
    EXPECT_TRUE(screen("osd").rgb == expected.rgb);
    EXPECT_TRUE(screen().rgb == expected.rgb);
    EXPECT_TRUE(screen("video").is_black());
}

TEST_F(Screen, LosesWhatAProgramDrewWithTheProgram)
{
    Process drawer(drawing({"480i", "0", "0", "0", "720", "480", "ffff"}));
    ASSERT_TRUE(has_drawn(drawer)) << drawer.err();
    EXPECT_EQ(screen().rgb, std::string(720 * 480 * 3, '\xFF'));
    drawer.signal(SIGTERM);
    drawer.wait();
    EXPECT_TRUE(soon([this] { return screen().is_black(); }));
}

/* Outputs and switches. */

struct Output {
    unsigned width, height;
    Rectangle picture;
};

TEST_F(Screen, HasTheSizeOfTheOutputThatIsStepped)
{
    const std::array<Output, 3> outputs{
        {{640, 480, {0, 0, 640, 480}}, {320, 240, {0, 0, 320, 240}}, {720, 480, {40, 0, 640, 480}}}};
    const Process player = play(red_clip());
    const Process holder(drawing({"480i"}));
    ASSERT_TRUE(has_drawn(holder)) << holder.err();
    ASSERT_TRUE(shows_something());
    for (const Output &output : outputs) {
        ASSERT_EQ(display({"toggle", "480i", "VGA", "QVGA"}).status, 0);
        const Picture shown = screen();
        EXPECT_EQ(shown.width, output.width);
        EXPECT_EQ(shown.height, output.height);
        const std::string colour = shown.pixel(shown.width / 2, shown.height / 2);
        EXPECT_TRUE(is_red(colour));
        EXPECT_TRUE(is_framed(shown, output.picture, colour)) << output.width;
    }
}

TEST_F(Screen, IsBlackWhileItIsMaskedAndThePlanesAreNot)
{
    const Process player = play(red_clip());
    const Process holder(drawing({"480i"}));
    ASSERT_TRUE(has_drawn(holder)) << holder.err();
    ASSERT_TRUE(shows_something());
    const Picture before = screen();
    ASSERT_EQ(display({"mask"}).status, 0);
    EXPECT_TRUE(screen().is_black());
    EXPECT_TRUE(screen("video").rgb == before.rgb);
    ASSERT_EQ(display({"unmask"}).status, 0);
    EXPECT_TRUE(screen().rgb == before.rgb);
}

/* The camera. */

unsigned first_line_of(const Picture &picture, const std::string &colour)
{
    unsigned line = 0;
    while (line < picture.height && picture.pixel(picture.width / 2, line) != colour)
        line++;
    return line;
}

class ScreenOfARedCamera : public Screen {
  protected:
    ScreenOfARedCamera() : Screen({"--camera", "lavfi:color=c=red:size=320x240:rate=30"}) {}
};

TEST_F(ScreenOfARedCamera, HasWhatItSeesWhileItIsPassedThrough)
{
    const Process recorder(board.running(
        {ORKA_RECORD_PROGRAM, "--view", "--no-audio", "--size", "320x240", scratch("seen.avi")}));
    ASSERT_TRUE(shows_something()) << recorder.err();
    const Picture shown = screen();
    const std::string colour = shown.pixel(360, 240);
    EXPECT_TRUE(is_red(colour));
    /* As high as a frame or a field is. */
    const unsigned top = first_line_of(shown, colour);
    const unsigned bottom = shown.height - top;
    EXPECT_TRUE(is_framed(shown, {40, top, 640, bottom - top}, colour) ||
                is_framed(shown, {40, top, 640, bottom - top - 1}, colour));
}

TEST_F(ScreenOfARedCamera, IsWhatOneCapturedFrameIs)
{
    const std::string file = scratch("frame.png");
    const Ending ending =
        run(board.running({ORKA_CTL_PROGRAM, "capture", "snap", file, "--mode", "480i_frame"}));
    ASSERT_EQ(ending.status, 0) << ending.err;
    const Picture frame = picture_of(file);
    EXPECT_TRUE(is_red(frame.pixel(0, 0)));
    EXPECT_TRUE(is_framed(frame, {0, 0, 720, 480}, frame.pixel(0, 0)));
}

TEST(CapturedFrame, IsTheCamerasPictureScaledAsFfmpegDoes)
{
    const std::string seen =
        clip("seen.png", "-f lavfi -i testsrc2=size=352x288:rate=1:duration=1 -frames:v 1");
    const std::string file = scratch("frame.png");
    const Ending ending = control({"capture", "snap", file, "--mode", "480i_frame"}, {"--camera", seen});
    ASSERT_EQ(ending.status, 0) << ending.err;
    const std::string expected =
        run({"ffmpeg", "-v", "error", "-i", seen, "-vf",
             "scale=720:480:flags=bilinear+accurate_rnd+full_chroma_int,format=uyvy422," +
                 scaled_to(720, 480),
             "-f", "rawvideo", "-"})
            .out;
    EXPECT_GT(psnr(picture_of(file).rgb, expected), 40);
}

} // namespace
} // namespace orka_tools_test
