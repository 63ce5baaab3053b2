/* Subtitles on the screen while a clip plays, picture by picture, and what cannot be shown. */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <map>
#include <ostream>
#include <regex>
#include <thread>

#include <httplib.h>
#include <nlohmann/json.hpp>
#include <unistd.h>

#include "board/soon.h"
#include "board/tools/support.h"

namespace orka_tools_test {
namespace {

using nlohmann::json;
using orka_test::soon;
using testing::ContainsRegex;
using testing::HasSubstr;
using testing::Not;

constexpr size_t screen_width = 720;
constexpr size_t screen_height = 480;
constexpr uint32_t pictures = 8; /* of a clip */
constexpr uint32_t picture_ms = 200;

/* Between pictures, so that each of them lies clearly inside or outside. */
constexpr uint32_t begin_ms = 350;
constexpr uint32_t end_ms = 1050;

/* A socket's path is short. */
std::string own_socket()
{
    return "/tmp/orka-subtitles-" + std::to_string(getpid());
}

std::string srt()
{
    return "1\n00:00:00,350 --> 00:00:01,050\nGr\xC3\xBC\xC3\x9F <i>Gott</i>\nzweite Zeile\n\n";
}

std::string vtt()
{
    return "WEBVTT\n\n00:00.350 --> 00:01.050\nHello there\n\n";
}

std::string ass()
{
    return "[Script Info]\nScriptType: v4.00+\n\n[V4+ Styles]\n"
           "Format: Name, Fontname, Fontsize, PrimaryColour\nStyle: Default,Arial,20,&H00FFFFFF\n\n[Events]\n"
           "Format: Layer, Start, End, Style, Name, MarginL, MarginR, MarginV, Effect, Text\n"
           "Dialogue: 0,0:00:00.35,0:00:01.05,Default,,0,0,0,,{\\an8\\i1}Hello,\\Nthere\n";
}

std::string file_of(const std::string &name, const std::string &data)
{
    std::string path = scratch(name);
    write_file(path, data);
    return path;
}

const char moving[] = "-f lavfi -i testsrc2=size=352x288:rate=5:duration=1.6 ";

std::string silent_clip()
{
    return clip("moving.avi", std::string(moving) + "-c:v mpeg4 -q:v 3");
}

/* The same pictures, with a track. */
std::string clip_with(const std::string &name, const std::string &subtitles, const std::string &codec)
{
    return clip(name, std::string(moving) + "-i " + subtitles + " -c:v mpeg4 -q:v 3 -c:s " + codec);
}

/* A board whose pictures are shown one by one. */
class SteppedBoard {
  public:
    SteppedBoard()
        : socket_(own_socket()), process_({ORKA_BOARD_PROGRAM, "serve", "--view", "--socket", socket_})
    {
        EXPECT_TRUE(soon([this] { return process_.out().find("LD_PRELOAD") != std::string::npos; }));
        client_ = std::make_unique<httplib::Client>("127.0.0.1", port());
        post("/pause");
    }
    ~SteppedBoard()
    {
        process_.signal(SIGTERM);
        EXPECT_EQ(process_.wait(), 0);
    }

    /* The screen at each time stamp, as RGB. */
    std::map<uint32_t, std::string> screens(const Words &arguments)
    {
        Process player(Words{ORKA_BOARD_PROGRAM, "run", "--board", socket_, "--", ORKA_PLAY_PROGRAM} +
                       arguments);
        EXPECT_TRUE(soon([this] { return is_playing(); })) << player.err();
        std::map<uint32_t, std::string> all;
        for (uint32_t tsms = 0; tsms < pictures * picture_ms; tsms += picture_ms) {
            post("/step");
            EXPECT_TRUE(soon([&] { return shown() == tsms; })) << tsms;
            all[tsms] = screen();
        }
        player.signal(SIGKILL);
        player.wait();
        EXPECT_TRUE(soon([this] { return !is_playing(); })); /* the next step is the next player's */
        return all;
    }

  private:
    int port() const
    {
        const std::string text = process_.err();
        std::smatch found;
        EXPECT_TRUE(std::regex_search(text, found, std::regex("http://127\\.0\\.0\\.1:([0-9]+)/")));
        return std::stoi(found[1]);
    }
    std::string get(const std::string &path)
    {
        const httplib::Result answer = client_->Get(path);
        EXPECT_TRUE(answer && answer->status == 200) << path;
        return answer ? answer->body : "{}";
    }
    void post(const std::string &path) { EXPECT_TRUE(client_->Post(path)) << path; }
    bool is_playing()
    {
        const json status = json::parse(get("/status"));
        return std::ranges::any_of(status["decoders"], [](const json &one) {
            return one["node"] == "vdecode" && one["state"] == "playing";
        });
    }
    std::optional<uint32_t> shown()
    {
        const json video = json::parse(get("/status"))["display"]["video"];
        return video.is_null() ? std::nullopt : std::optional<uint32_t>(video["tsms"]);
    }
    std::string screen()
    {
        const std::string file = scratch("screen.png");
        write_file(file, get("/picture.png?plane=composed"));
        return run({"ffmpeg", "-v", "error", "-i", file, "-pix_fmt", "rgb24", "-f", "rawvideo", "-"}).out;
    }

    std::string socket_;
    Process process_;
    std::unique_ptr<httplib::Client> client_;
};

/* Of the first pixel that differs, and how many do. */
struct Difference {
    size_t first_row = screen_height;
    size_t pixels = 0;
};

Difference difference(const std::string &one, const std::string &other)
{
    Difference found;
    EXPECT_EQ(one.size(), screen_width * screen_height * 3);
    EXPECT_EQ(other.size(), one.size());
    for (size_t i = 0; i < one.size() && i < other.size(); i += 3) {
        if (one.compare(i, 3, other, i, 3) == 0)
            continue;
        found.first_row = std::min(found.first_row, i / 3 / screen_width);
        found.pixels++;
    }
    return found;
}

void expect_shown_in_time(const std::map<uint32_t, std::string> &with,
                          const std::map<uint32_t, std::string> &without)
{
    for (const auto &[tsms, screen] : with) {
        const Difference found = difference(screen, without.at(tsms));
        if (tsms < begin_ms || tsms >= end_ms)
            EXPECT_EQ(found.pixels, 0U) << "at " << tsms;
        else
            EXPECT_GT(found.pixels, 200U) << "at " << tsms;
        EXPECT_TRUE(found.pixels == 0 || found.first_row > screen_height * 2 / 3) << "at " << tsms;
    }
}

struct Track {
    const char *name;
    std::string (*text)();
    const char *extension;
    const char *container; /* null: a file of its own */
    const char *codec;
};

void PrintTo(const Track &track, std::ostream *stream)
{
    *stream << track.name;
}

class Subtitles : public testing::TestWithParam<Track> {
  protected:
    Words arguments() const
    {
        const Track &track = GetParam();
        const std::string text = file_of(std::string("text.") + track.extension, track.text());
        if (!track.container)
            return {"--subtitles", text, silent_clip()};
        return {clip_with(std::string("subtitled.") + track.container, text, track.codec)};
    }
};

TEST_P(Subtitles, AreAtTheFootOfThePicturesOfTheirTimeAlone)
{
    SteppedBoard board;
    const Words words = arguments();
    const auto without = board.screens(Words{"--no-subtitles", words.back()});
    expect_shown_in_time(board.screens(words), without);
}

INSTANTIATE_TEST_SUITE_P(Of, Subtitles,
                         testing::Values(Track{"ASubRipFile", srt, "srt", nullptr, nullptr},
                                         Track{"AWebVttFile", vtt, "vtt", nullptr, nullptr},
                                         Track{"AnAssFile", ass, "ass", nullptr, nullptr},
                                         Track{"SubRipInMatroska", srt, "srt", "mkv", "subrip"},
                                         Track{"AssInMatroska", ass, "ass", "mkv", "ass"},
                                         Track{"WebVttInMatroska", vtt, "vtt", "mkv", "webvtt"},
                                         Track{"TimedTextInMp4", srt, "srt", "mp4", "mov_text"}),
                         [](const auto &test) { return test.param.name; });

/* What is told. */

std::string subtitled()
{
    return clip_with("told.mkv", file_of("told.srt", srt()), "subrip");
}

TEST(PlaySubtitles, AreCountedInTheSummary)
{
    const Ending ending = play({subtitled()});
    EXPECT_EQ(ending.status, 0);
    EXPECT_EQ(ending.err, "");
    EXPECT_THAT(ending.out, HasSubstr("\nsubtitles: 1 frames in\n"));
}

TEST(PlaySubtitles, AreShownWithSoundAlone)
{
    const std::string file = file_of("sound.srt", srt());
    const Ending ending = play({"--no-video", "--subtitles", file, plain_clip()});
    EXPECT_EQ(ending.status, 0) << ending.err;
    EXPECT_THAT(ending.out, HasSubstr("subtitles: 1 frames in\n"));
}

TEST(PlaySubtitles, AreLeftOutWhenAskedSo)
{
    const std::string trace = scratch("trace");
    const Ending ending = run({ORKA_BOARD_PROGRAM, "run", "--trace", trace, "--", ORKA_PLAY_PROGRAM,
                               "--no-subtitles", subtitled()});
    EXPECT_EQ(ending.status, 0);
    EXPECT_THAT(ending.out, Not(HasSubstr("subtitles")));
    EXPECT_THAT(contents(trace), Not(HasSubstr("/dev/subtldecode")));
}

/* More than the decoder's queue holds, all of them at once, and long before their time. */
TEST(PlaySubtitles, OfAnyNumberHoldNothingUp)
{
    std::string text;
    for (int i = 0; i < 500; i++)
        text += std::to_string(i + 1) + "\n01:00:00,000 --> 01:00:01,000\nline " + std::to_string(i) + "\n\n";
    const Ending ending = play({"--subtitles", file_of("many.srt", text), silent_clip()});
    EXPECT_EQ(ending.status, 0) << ending.err;
    EXPECT_THAT(ending.out, HasSubstr("picture: 8 frames in, 8 frames out"));
    EXPECT_THAT(ending.out, HasSubstr("subtitles: 32 frames in\n"));
}

/* A presentation graphics stream: segments with a time stamp each, of which these end a picture. */
TEST(PlaySubtitles, ThatArePicturesAreNamedAndLeftOut)
{
    std::string segments;
    for (int i = 0; i < 4; i++)
        segments += std::string("PG\0\0\x40", 5) + static_cast<char>(i) + std::string("\0\0\0\0\x80\0\0", 7);
    const std::string sup = file_of("pictures.sup", segments);
    const std::string file = clip("pictures.mkv", std::string(moving) + "-f sup -i " + sup +
                                                      " -map 0 -map 1 -c:v mpeg4 -c:s copy");
    const Ending ending = play({file});
    EXPECT_EQ(ending.status, 0);
    EXPECT_EQ(ending.err, "orka-play: playing without subtitles: the subtitles are pictures "
                          "(hdmv_pgs_subtitle), and the board shows text\n");
    const Ending asked = play({"--subtitles", file, silent_clip()});
    EXPECT_EQ(asked.status, 1);
    EXPECT_EQ(asked.err, "orka-play: " + file +
                             ": the subtitles are pictures (hdmv_pgs_subtitle), and the board shows text\n");
}

TEST(PlaySubtitles, ThatAreNoUtf8AreLeftOutAndSaidSo)
{
    const std::string text = srt() + "2\n00:00:02,100 --> 00:00:02,200\nGr\xFC\xDF\n\n";
    const Ending ending = play({"--subtitles", file_of("latin.srt", text), silent_clip()});
    EXPECT_EQ(ending.status, 0);
    EXPECT_EQ(ending.err, "orka-play: 1 subtitles were left out: damaged, too long, or no UTF-8\n");
    EXPECT_THAT(ending.out, HasSubstr("subtitles: 1 frames in\n"));
}

TEST(PlaySubtitles, ThatAreLongerThanAFrameAreLeftOutAndSaidSo)
{
    const std::string text = srt() + "2\n00:00:02,100 --> 00:00:02,200\n" + std::string(3000, 'x') + "\n\n";
    const Ending ending = play({"--subtitles", file_of("long.srt", text), silent_clip()});
    EXPECT_EQ(ending.status, 0);
    EXPECT_EQ(ending.err, "orka-play: 1 subtitles were left out: damaged, too long, or no UTF-8\n");
}

struct BadFile {
    const char *name;
    const char *file;
    std::string data;
    const char *complaint;
};

void PrintTo(const BadFile &bad, std::ostream *stream)
{
    *stream << bad.name;
}

class BadSubtitles : public testing::TestWithParam<BadFile> {};

TEST_P(BadSubtitles, EndWithOneAndAreNamed)
{
    const std::string file = file_of(GetParam().file, GetParam().data);
    const Ending ending = play({"--subtitles", file, silent_clip()});
    EXPECT_EQ(ending.status, 1);
    EXPECT_EQ(ending.err, "orka-play: " + file + ": " + GetParam().complaint + "\n");
}

INSTANTIATE_TEST_SUITE_P(
    Of, BadSubtitles,
    testing::Values(
        BadFile{"NoSubtitlesInText", "notes.txt", "Buy milk.\n", "no subtitles that libavformat knows"},
        BadFile{"AnEmptyFile", "empty.srt", "", "no subtitles that libavformat knows"},
        BadFile{"NoSubtitlesAtAll", "none.vtt", "WEBVTT\n\n", "there are no subtitles in it"},
        BadFile{"OtherBytesThanUtf8", "latin.srt", "1\n00:00:01,000 --> 00:00:02,000\nGr\xFC\xDF\n\n",
                "its subtitles are no text in UTF-8"}),
    [](const auto &test) { return test.param.name; });

TEST(BadSubtitleFile, ThatIsMissingIsNamed)
{
    const Ending ending = play({"--subtitles", "/nonexistent/a.srt", silent_clip()});
    EXPECT_EQ(ending.status, 1);
    EXPECT_EQ(ending.err, "orka-play: /nonexistent/a.srt: No such file or directory\n");
}

TEST(BadSubtitleFile, ThatIsAClipWithoutSubtitlesIsNamed)
{
    const Ending ending = play({"--subtitles", plain_clip(), silent_clip()});
    EXPECT_EQ(ending.status, 1);
    EXPECT_EQ(ending.err, "orka-play: " + plain_clip() + ": there are no subtitles in it\n");
}

/* Somebody else has the decoder. */
class BusySubtitles : public testing::Test {
  protected:
    BusySubtitles()
        : socket(own_socket()), board({ORKA_BOARD_PROGRAM, "serve", "--clock", "real", "--socket", socket})
    {
        EXPECT_TRUE(soon([this] { return board.out().find("LD_PRELOAD") != std::string::npos; }));
        other = std::make_unique<Process>(
            on_board({"--subtitles", file_of("other.srt", srt()),
                      clip("minute.avi", picture_source("176x144", 60) + "-c:v mpeg4")}));
        EXPECT_TRUE(soon([this] { return status().find("subtldecode") != std::string::npos; }))
            << other->err();
    }
    ~BusySubtitles() override
    {
        other.reset();
        board.signal(SIGTERM);
        EXPECT_EQ(board.wait(), 0);
    }
    Words on_board(const Words &arguments) const
    {
        return Words{ORKA_BOARD_PROGRAM, "run", "--board", socket, "--", ORKA_PLAY_PROGRAM} + arguments;
    }
    std::string status() const
    {
        return run({ORKA_BOARD_PROGRAM, "status", "--json", "--board", socket}).out;
    }

    std::string socket;
    Process board;
    std::unique_ptr<Process> other;
};

TEST_F(BusySubtitles, AClipPlaysWithoutItsOwn)
{
    const std::string file = clip("sound.mkv", sound_source(44100) + "-i " + file_of("own.srt", srt()) +
                                                   " -c:a libmp3lame -c:s subrip");
    const Ending ending = run(on_board({file}));
    EXPECT_EQ(ending.status, 0);
    EXPECT_THAT(ending.err, HasSubstr("orka-play: playing without subtitles: the subtitle decoder refused"));
    EXPECT_THAT(ending.out, ContainsRegex("^sound: [^\n]*\n$"));
}

TEST_F(BusySubtitles, ThoseThatWereAskedForEndThePlayer)
{
    const Ending ending =
        run(on_board({"--no-video", "--subtitles", file_of("own.srt", srt()), plain_clip()}));
    EXPECT_EQ(ending.status, 1);
    EXPECT_THAT(ending.err, HasSubstr("orka-play: the subtitle decoder refused"));
}

TEST_F(BusySubtitles, AreFreeAgainWhenThePlayerIsKilled)
{
    other->signal(SIGKILL);
    EXPECT_TRUE(soon([this] { return status().find("subtldecode") == std::string::npos; }));
    const Ending ending =
        run(on_board({"--no-video", "--subtitles", file_of("own.srt", srt()), plain_clip()}));
    EXPECT_EQ(ending.status, 0) << ending.err;
}

} // namespace
} // namespace orka_tools_test
