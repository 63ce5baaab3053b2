/* Every pair that the encoders offer, in a file that FFmpeg probes and decodes. */
#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "board/tools/support.h"
#include "dsp/camera.h"

using namespace orka_tools_test;

namespace {

constexpr double seconds = 2;
constexpr double picture = 1.0 / 30; /* seconds */

struct Pair {
    const char *video; /* as orka-record is told, or "" */
    const char *audio;
    const char *extension;
    const char *video_codec; /* as ffprobe tells */
    const char *audio_codec;
    int sample_rate;
};

std::string name_of(const testing::TestParamInfo<Pair> &info)
{
    const Pair &pair = info.param;
    return std::string(pair.video) + pair.audio + "In" + (pair.extension + 1);
}

class OrkaRecordPair : public testing::TestWithParam<Pair> {
  protected:
    /* Records the pair; gives the file. */
    std::string recorded()
    {
        const Pair &pair = GetParam();
        const std::string file = scratch(std::string("clip") + pair.extension);
        Words words{file, "--seconds", "2"};
        words = words + (*pair.video ? Words{"--video", pair.video} : Words{"--no-video"});
        words = words + (*pair.audio ? Words{"--audio", pair.audio} : Words{"--no-audio"});
        const Ending ending = record(words);
        EXPECT_EQ(ending.status, 0) << ending.err;
        return file;
    }

    /* Bare MPEG-4 tells none, and players take bare H.263 for NTSC's. */
    std::string frame_rate() const
    {
        const std::string extension = GetParam().extension;
        if (extension == ".m4v")
            return "0/0";
        return extension == ".h263" ? "30000/1001" : "30/1";
    }
    /* Nor does any bare picture tell how long it lasts; how many there are is another test's. */
    bool tells_duration() const
    {
        const std::string extension = GetParam().extension;
        return extension != ".m4v" && extension != ".h263" && extension != ".h264" && extension != ".m2v";
    }
    bool is_h263() const { return std::string(GetParam().video) == "H263"; }
    size_t width() const { return is_h263() ? 352 : 720; }
    size_t height() const { return is_h263() ? 288 : 480; }
};

void expect_line(const std::string &lines, const std::string &line)
{
    EXPECT_NE(("\n" + lines).find("\n" + line + "\n"), std::string::npos) << line << "\n" << lines;
}

double value_of(const std::string &lines, const std::string &name)
{
    const size_t at = ("\n" + lines).find("\n" + name + "=");
    return at == std::string::npos ? std::nan("") : std::stod(lines.substr(at + name.size() + 1));
}

/* What the test picture counts, picture by picture. */
std::vector<int64_t> counters(const std::string &luma, size_t width, size_t height)
{
    std::vector<int64_t> found;
    for (size_t at = 0; at + width * height <= luma.size(); at += width * height) {
        const auto *picture = reinterpret_cast<const uint8_t *>(luma.data()) + at;
        found.push_back(orka::board::read_counter({picture, width * height}, static_cast<uint32_t>(width),
                                                  static_cast<uint32_t>(height),
                                                  static_cast<uint32_t>(width)));
    }
    return found;
}

} // namespace

TEST_P(OrkaRecordPair, IsProbedAndDecodedWithoutAnError)
{
    const Pair &pair = GetParam();
    const std::string file = recorded();
    EXPECT_EQ(decoding_errors(file), "");
    if (*pair.video) {
        const std::string video = probed(file, "stream=codec_name,width,height,avg_frame_rate", "v:0");
        expect_line(video, std::string("codec_name=") + pair.video_codec);
        expect_line(video, "width=" + std::to_string(width()));
        expect_line(video, "height=" + std::to_string(height()));
        expect_line(video, "avg_frame_rate=" + frame_rate());
    }
    if (*pair.audio) {
        const std::string audio = probed(file, "stream=codec_name,sample_rate", "a:0");
        expect_line(audio, std::string("codec_name=") + pair.audio_codec);
        expect_line(audio, "sample_rate=" + std::to_string(pair.sample_rate));
    }
    const std::string duration = probed(file, "format=duration");
    if (tells_duration())
        EXPECT_NEAR(value_of(duration, "duration"), seconds, picture);
    else
        EXPECT_EQ(duration, "duration=N/A\n");
}

TEST_P(OrkaRecordPair, HasTheFramesThatWereAskedFor)
{
    const std::string file = recorded();
    if (*GetParam().video) {
        std::vector<int64_t> expected(60);
        const std::vector<int64_t> found = counters(decoded_luma(file), width(), height());
        ASSERT_FALSE(found.empty());
        for (size_t i = 0; i < expected.size(); i++)
            expected[i] = found.front() + static_cast<int64_t>(i);
        EXPECT_EQ(found, expected);
    }
    if (*GetParam().audio) {
        const double length = static_cast<double>(decoded_sound(file, 8000).size()) / 8000;
        EXPECT_NEAR(length, seconds, 0.1);
    }
}

INSTANTIATE_TEST_SUITE_P(Pairs, OrkaRecordPair,
                         testing::Values(Pair{"MPEG4", "", ".avi", "mpeg4", "", 0},
                                         Pair{"MPEG4", "MP3", ".avi", "mpeg4", "mp3", 44100},
                                         Pair{"MPEG4", "AAC", ".mp4", "mpeg4", "aac", 24000},
                                         Pair{"MPEG4", "PCM", ".mkv", "mpeg4", "pcm_s16le", 48000},
                                         Pair{"MPEG4", "G711", ".avi", "mpeg4", "pcm_mulaw", 8000},
                                         Pair{"MPEG4", "G722", ".mkv", "mpeg4", "adpcm_g722", 16000},
                                         Pair{"MPEG4", "G723", ".avi", "mpeg4", "g723_1", 8000},
                                         Pair{"MPEG4", "G726", ".avi", "mpeg4", "adpcm_g726", 8000},
                                         Pair{"MPEG4", "WMA", ".avi", "mpeg4", "wmav2", 48000},
                                         Pair{"H263", "", ".mov", "h263", "", 0},
                                         Pair{"H263", "G711", ".avi", "h263", "pcm_mulaw", 8000},
                                         Pair{"H263", "G722", ".avi", "h263", "adpcm_g722", 16000},
                                         Pair{"H263", "G723", ".mkv", "h263", "g723_1", 8000},
                                         Pair{"H263", "G726", ".mkv", "h263", "adpcm_g726", 8000},
                                         Pair{"H264", "", ".mp4", "h264", "", 0},
                                         Pair{"H264", "PCM", ".mkv", "h264", "pcm_s16le", 48000},
                                         Pair{"MPEG2", "", ".ts", "mpeg2video", "", 0},
                                         Pair{"MPEG2", "PCM", ".mov", "mpeg2video", "pcm_s16le", 48000}),
                         name_of);
INSTANTIATE_TEST_SUITE_P(
    Containers, OrkaRecordPair,
    testing::Values(
        Pair{"MPEG4", "AAC", ".mkv", "mpeg4", "aac", 24000},
        Pair{"MPEG4", "AAC", ".mov", "mpeg4", "aac", 24000},
        Pair{"MPEG4", "AAC", ".avi", "mpeg4", "aac", 24000},
        Pair{"MPEG4", "MP3", ".ts", "mpeg4", "mp3", 44100},
        Pair{"MPEG4", "AAC", ".ts", "mpeg4", "aac", 24000},
        Pair{"MPEG4", "MP3", ".mp4", "mpeg4", "mp3", 44100}, Pair{"H264", "", ".ts", "h264", "", 0},
        Pair{"H264", "PCM", ".avi", "h264", "pcm_s16le", 48000},
        Pair{"H264", "PCM", ".mov", "h264", "pcm_s16le", 48000},
        Pair{"MPEG2", "PCM", ".mkv", "mpeg2video", "pcm_s16le", 48000},
        Pair{"MPEG4", "", ".m4v", "mpeg4", "", 0}, Pair{"H263", "", ".h263", "h263", "", 0},
        Pair{"H264", "", ".h264", "h264", "", 0}, Pair{"MPEG2", "", ".m2v", "mpeg2video", "", 0},
        Pair{"", "MP3", ".mp3", "", "mp3", 44100}, Pair{"", "AAC", ".aac", "", "aac", 24000},
        Pair{"", "PCM", ".wav", "", "pcm_s16le", 48000}, Pair{"", "G711", ".wav", "", "pcm_mulaw", 8000},
        Pair{"", "G722", ".wav", "", "adpcm_g722", 16000}, Pair{"", "G726", ".wav", "", "adpcm_g726", 8000},
        Pair{"", "G723", ".wav", "", "g723_1", 8000}),
    name_of);

struct Length {
    const char *extension;
    const char *asked;
    const char *standard;
    Words more;
};

class OrkaRecordLength : public testing::TestWithParam<Length> {};

/* Sound comes in whole packets: longer ones than two pictures, AAC's at 8000 Hz say, cannot hold this. */
TEST_P(OrkaRecordLength, IsTheOneThatWasAskedForToWithinOnePicture)
{
    const Length &length = GetParam();
    const std::string file = scratch(std::string("clip") + length.extension);
    const Ending ending =
        record(Words{file, "--seconds", length.asked, "--size", "352x288", "--standard", length.standard} +
               length.more);
    EXPECT_EQ(ending.status, 0) << ending.err;
    const bool pal = std::string(length.standard) == "pal";
    EXPECT_NEAR(value_of(probed(file, "format=duration"), "duration"), std::stod(length.asked),
                pal ? 1.0 / 25 : picture);
    expect_line(probed(file, "stream=avg_frame_rate", "v:0"),
                pal ? "avg_frame_rate=25/1" : "avg_frame_rate=30/1");
}

std::vector<Length> lengths()
{
    std::vector<Length> all;
    for (const char *extension : {".avi", ".mp4", ".mkv", ".mov", ".ts"}) {
        all.push_back({extension, "1", "ntsc", {}});
        all.push_back({extension, "1.5", "pal", {}});
        all.push_back({extension, "2", "ntsc", {"--no-audio"}});
    }
    return all;
}

INSTANTIATE_TEST_SUITE_P(Of, OrkaRecordLength, testing::ValuesIn(lengths()), [](const auto &info) {
    const Length &length = info.param;
    return std::string(length.extension + 1) + length.standard + (length.more.empty() ? "" : "WithoutSound");
});
