/* Stills on the display: what orka-play shows, how long, and what it says of files that are not what they
 * seem. */
#include <cmath>
#include <csignal>
#include <cstring>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <ostream>
#include <thread>

#include <unistd.h>

#include "board/soon.h"
#include "board/tools/support.h"

namespace orka_tools_test {

using orka_test::soon;
using testing::ContainsRegex;
using testing::HasSubstr;

struct StillForm {
    const char *extension;
    const char *type; /* the library's name */
    const char *arguments;
};

void PrintTo(const StillForm &form, std::ostream *stream)
{
    *stream << form.extension;
}

const StillForm forms[] = {
    {".jpg", "JPEG", "-pix_fmt yuvj444p -q:v 1 -qmin 1 "},
    {".png", "PNG", "-pix_fmt rgb24 "},
    {".bmp", "BMP", "-pix_fmt bgr24 "},
    {".gif", "GIF", "-vf format=rgb24,split[a][b];[a]palettegen[p];[b][p]paletteuse=dither=none "},
    {".tiff", "TIFF", "-pix_fmt rgb24 "},
};

constexpr unsigned screen_width = 720;
constexpr unsigned screen_height = 480;

std::string drawn(const StillForm &form, const std::string &size)
{
    return clip("drawn-" + size + form.extension, "-f lavfi -i testsrc=size=" + size +
                                                      ":rate=25:duration=0.04 " + form.arguments +
                                                      "-frames:v 1 -update 1");
}

std::string one_colour(const StillForm &form, const std::string &size)
{
    return clip("blue-" + size + form.extension, "-f lavfi -i color=c=blue:size=" + size +
                                                     ":rate=25:duration=0.04 " + form.arguments +
                                                     "-frames:v 1 -update 1");
}

std::string rgb_of(const std::string &file, const std::string &filter)
{
    return run({"ffmpeg", "-v", "error", "-i", file, "-frames:v", "1", "-vf", filter + ",format=rgb24", "-f",
                "rawvideo", "-"})
        .out;
}

/* By the way that the board's pictures go: UYVY, then RGB. */
std::string reference(const std::string &file, const std::string &size = "iw:ih")
{
    return rgb_of(file, "scale=flags=neighbor,format=uyvy422,scale=" + size +
                            ":flags=bilinear+accurate_rnd+full_chroma_int");
}

double psnr(const std::string &one, const std::string &other)
{
    if (one.size() != other.size() || one.empty())
        return 0;
    double sum = 0;
    for (size_t i = 0; i < one.size(); i++) {
        const double difference = static_cast<uint8_t>(one[i]) - static_cast<uint8_t>(other[i]);
        sum += difference * difference;
    }
    return sum == 0 ? 100 : 10 * std::log10(255.0 * 255.0 * static_cast<double>(one.size()) / sum);
}

/* A board that stays, and a player on it that shows its still until it is stopped. */
class Shown {
  public:
    explicit Shown(const std::string &file)
        : socket_("/tmp/orka-still-" + std::to_string(getpid())), picture_(scratch("shot.png")),
          board_({ORKA_BOARD_PROGRAM, "serve", "--socket", socket_})
    {
        EXPECT_TRUE(soon([this] { return board_.out().find("LD_PRELOAD") != std::string::npos; }));
        player_ = std::make_unique<Process>(Words{ORKA_BOARD_PROGRAM, "run", "--board", socket_, "--",
                                                  ORKA_PLAY_PROGRAM, "--seconds", "3600", file});
        EXPECT_TRUE(soon([this] {
            return status().find("\"source\":\"imgdecode 0/0\"") != std::string::npos;
        })) << player_->err();
    }
    ~Shown()
    {
        if (player_)
            stop();
        board_.signal(SIGTERM);
        EXPECT_EQ(board_.wait(), 0);
    }

    std::string status() const
    {
        std::string text = run({ORKA_BOARD_PROGRAM, "status", "--board", socket_, "--json"}).out;
        std::erase_if(text, [](char letter) { return letter == '\n'; });
        for (size_t at; (at = text.find("\": ")) != std::string::npos;)
            text.erase(at + 2, 1);
        return text;
    }
    /* What a filter of ffmpeg leaves of it. */
    std::string screen(const std::string &filter = "null") const
    {
        EXPECT_EQ(run({ORKA_BOARD_PROGRAM, "screenshot", "--board", socket_, picture_}).status, 0);
        return rgb_of(picture_, filter);
    }
    int stop()
    {
        player_->signal(SIGINT);
        const int status = player_->wait();
        player_.reset();
        return status;
    }
    void kill()
    {
        player_->signal(SIGKILL);
        player_->wait();
        player_.reset();
    }

  private:
    std::string socket_;
    std::string picture_;
    Process board_;
    std::unique_ptr<Process> player_;
};

class PlayStill : public testing::TestWithParam<StillForm> {};

/* The picture area at power-on lies in the middle of 720x480. */
constexpr char picture_area[] = "crop=640:480:40:0";

TEST_P(PlayStill, IsOnTheScreenAsItIs)
{
    const std::string file = drawn(GetParam(), "640x480");
    const Shown shown(file);
    const std::string seen = shown.screen(picture_area);
    EXPECT_TRUE(seen == reference(file)) << psnr(seen, reference(file)) << " dB";
}

TEST_P(PlayStill, IsOnTheScreenScaled)
{
    const std::string file = drawn(GetParam(), "320x240");
    const Shown shown(file);
    EXPECT_GT(psnr(shown.screen(picture_area), reference(file, "640:480")), 40);
}

TEST_P(PlayStill, OfOneColourHasThatColourWhereverItIsScaledTo)
{
    const std::string file = one_colour(GetParam(), "100x100");
    const std::string colour = reference(file).substr(0, 3);
    const Shown shown(file);
    const std::string screen = shown.screen();
    for (unsigned y = 0; y < screen_height; y++) {
        for (unsigned x = 0; x < screen_width; x++) {
            const bool inside = x >= 120 && x < 600;
            const std::string expected = inside ? colour : std::string(3, '\0');
            ASSERT_EQ(screen.substr((size_t{y} * screen_width + x) * 3, 3), expected) << x << ", " << y;
        }
    }
}

TEST_P(PlayStill, IsGivenAsFfmpegConvertsIt)
{
    const std::string file = drawn(GetParam(), "160x120");
    EXPECT_EQ(sizes_and_hashes(played_framemd5(file)), sizes_and_hashes(ffmpeg_framemd5(file)));
}

TEST_P(PlayStill, IsSaved)
{
    const std::string file = drawn(GetParam(), "160x120");
    const std::string png = scratch("shot.png");
    const Ending ending = play({"--snapshot", png, file});
    EXPECT_EQ(ending.status, 0);
    EXPECT_EQ(ending.err, "");
    EXPECT_EQ(ending.out, "picture: " + std::string(GetParam().type) + " 160x120, shown for 0.0 seconds\n");
    EXPECT_TRUE(rgb_of(png, "null") == reference(file));
}

TEST_P(PlayStill, ThatIsCutShortFails)
{
    const std::string data = contents(drawn(GetParam(), "160x120"));
    const std::string cut = scratch("cut" + std::string(GetParam().extension));
    write_file(cut, data.substr(0, data.size() / 2));
    const Ending ending = play({cut});
    EXPECT_EQ(ending.status, 1);
    EXPECT_THAT(ending.err, ContainsRegex("orka-board: imgdecode 0/0: damaged or refused: "));
    EXPECT_THAT(ending.err,
                ContainsRegex("orka-play: .*: (the picture is damaged: the file's data is corrupt|no "
                              "picture could be decoded|no streams can be read)"));
}

INSTANTIATE_TEST_SUITE_P(Of, PlayStill, testing::ValuesIn(forms),
                         [](const testing::TestParamInfo<StillForm> &info) {
                             return std::string(info.param.type);
                         });

/* ---- How long ---- */

TEST(PlayAStill, StaysUntilItsPlayerIsStopped)
{
    Shown shown(one_colour(forms[1], "720x480"));
    EXPECT_NE(shown.screen(), std::string(size_t{screen_width} * screen_height * 3, '\0'));
    EXPECT_EQ(shown.stop(), 130);
    EXPECT_EQ(shown.screen(), std::string(size_t{screen_width} * screen_height * 3, '\0'));
}

TEST(PlayAStill, LeavesTheScreenWhenItsPlayerIsKilled)
{
    Shown shown(one_colour(forms[1], "720x480"));
    shown.kill();
    EXPECT_TRUE(soon([&] { return shown.status().find("\"decoders\":[]") != std::string::npos; }));
    EXPECT_EQ(shown.screen(), std::string(size_t{screen_width} * screen_height * 3, '\0'));
}

TEST(PlayAStill, IsShownForTheSecondsThatAreAskedFor)
{
    const Ending ending = play({"--seconds", "0.3", drawn(forms[1], "160x120")});
    EXPECT_EQ(ending.status, 0);
    EXPECT_THAT(ending.out, ContainsRegex("shown for (0\\.[3-9]|[1-9][0-9]*\\.[0-9]) seconds"));
}

TEST(PlayAStill, IsShownForFiveSecondsOnTheRealClock)
{
    const Ending ending = play({"--clock", "real", drawn(forms[1], "160x120")});
    EXPECT_EQ(ending.status, 0);
    EXPECT_THAT(ending.out, ContainsRegex("shown for ([5-9]|[1-9][0-9]+)\\.[0-9] seconds"));
}

/* ---- Files that are not what they seem ---- */

std::string renamed(const std::string &file, const std::string &name)
{
    const std::string path = scratch(name);
    write_file(path, contents(file));
    return path;
}

TEST(PlayAStill, OfAnotherTypeThanItsNameSaysIsPlayedWithAWarning)
{
    const std::string file = renamed(drawn(forms[1], "160x120"), "holiday.jpg");
    const Ending ending = play({file});
    EXPECT_EQ(ending.status, 0);
    EXPECT_EQ(ending.err,
              "orka-play: warning: " + file + ": its name says IMAGE (JPEG), but it is IMAGE (PNG)\n");
}

TEST(PlayAStill, ThatIsNamedAsAFilmIsPlayedWithAWarning)
{
    const std::string file = renamed(drawn(forms[4], "160x120"), "film.AVI");
    const Ending ending = play({file});
    EXPECT_EQ(ending.status, 0);
    EXPECT_EQ(ending.err, "orka-play: warning: " + file + ": its name says AVI, but it is IMAGE (TIFF)\n");
}

TEST(PlayAFilm, ThatIsNamedAsAStillIsPlayedWithAWarning)
{
    const std::string file = renamed(plain_clip(), "film.png");
    const Ending ending = play({"--no-audio", file});
    EXPECT_EQ(ending.status, 0);
    EXPECT_EQ(ending.err, "orka-play: warning: " + file + ": its name says IMAGE (PNG), but it is AVI\n");
}

TEST(PlayAFilm, InAnotherContainerThanItsNameSaysIsPlayedWithAWarning)
{
    const std::string file = renamed(plain_clip(), "film.mp4");
    const Ending ending = play({"--no-audio", file});
    EXPECT_EQ(ending.status, 0);
    EXPECT_EQ(ending.err, "orka-play: warning: " + file + ": its name says MP4, but it is AVI\n");
}

TEST(PlayAStill, WhoseNameSaysNothingIsPlayedWithoutAWarning)
{
    for (const StillForm &form : forms) {
        const Ending ending = play({renamed(drawn(form, "160x120"), "picture")});
        EXPECT_EQ(ending.status, 0) << form.type;
        EXPECT_EQ(ending.err, "") << form.type;
    }
}

/* ---- Options and refusals ---- */

TEST(PlayAStill, OfAnAnimationIsItsFirstPicture)
{
    const std::string file =
        clip("moves.gif", "-f lavfi -i testsrc=size=160x120:rate=5:duration=1 -vf format=rgb8");
    const std::string png = scratch("shot.png");
    EXPECT_EQ(play({"--snapshot", png, file}).status, 0);
    EXPECT_TRUE(rgb_of(png, "null") == reference(file));
}

TEST(PlayAStill, HasNoSound)
{
    const std::string file = drawn(forms[1], "160x120");
    const Ending pcm = play({"--pcm", scratch("pcm"), file});
    EXPECT_EQ(pcm.status, 1);
    EXPECT_EQ(pcm.err, "orka-play: --pcm needs sound, and none is played\n");
    const Ending sound = play({"--no-video", file});
    EXPECT_EQ(sound.status, 1);
    EXPECT_EQ(sound.err, "orka-play: " + file + ": there is nothing to play in it but picture\n");
}

TEST(PlayAStill, HasNoSubtitles)
{
    const std::string file = drawn(forms[1], "160x120");
    const Ending ending = play({"--subtitles", "a.srt", file});
    EXPECT_EQ(ending.status, 1);
    EXPECT_EQ(ending.err, "orka-play: --subtitles needs a film, and " + file + " is a still\n");
}

TEST(PlayAStill, OnAnImageThatDoesNotDecodeItFails)
{
    const Ending ending = play({"--image", "ogg_dec", drawn(forms[1], "160x120")});
    EXPECT_EQ(ending.status, 1);
    EXPECT_THAT(ending.err, HasSubstr("orka-play: the image decoder refused its setup: Invalid argument\n"));
}

TEST(PlayAStill, LargerThanTheDecoderTakesFails)
{
    const std::string file =
        clip("wide.png", "-f lavfi -i color=c=red:size=4098x16:duration=0.04 -frames:v 1");
    const Ending ending = play({file});
    EXPECT_EQ(ending.status, 1);
    EXPECT_THAT(ending.err, HasSubstr("pictures of 4098x16 are too large\n"));
    EXPECT_THAT(ending.err, HasSubstr("orka-play: the image decoder refused its setup: Invalid argument\n"));
}

TEST(PlayAStill, WithoutABoardSaysWhereThereIsOne)
{
    const Ending ending = run({ORKA_PLAY_PROGRAM, drawn(forms[1], "160x120")});
    EXPECT_EQ(ending.status, 3);
    EXPECT_EQ(ending.err, "orka-play: no /dev/idecode: run it under `orka-board run -- …`\n");
}

TEST(PlayAStill, IsNotShownForLessThanNoTime)
{
    EXPECT_EQ(run({ORKA_PLAY_PROGRAM, "--seconds", "-1", "a.png"}).status, 2);
}

} // namespace orka_tools_test
