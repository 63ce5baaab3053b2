/* What orka-record writes and orka-play plays is what FFmpeg decodes of the same file, bit by bit. */
#include <gtest/gtest.h>
#include <string>

#include "board/tools/support.h"

namespace orka_tools_test {
namespace {

struct Pair {
    const char *video; /* as orka-record is told, or "" */
    const char *audio;
    const char *extension;
};

class Recording : public testing::TestWithParam<Pair> {
  protected:
    void SetUp() override
    {
        const Pair &pair = GetParam();
        file = scratch(std::string("clip") + pair.extension);
        Words words{file, "--seconds", "2"};
        words = words + (*pair.video ? Words{"--video", pair.video} : Words{"--no-video"});
        words = words + (*pair.audio ? Words{"--audio", pair.audio} : Words{"--no-audio"});
        const Ending ending = record(words);
        ASSERT_EQ(ending.status, 0) << ending.err;
    }

    std::string file;
};

TEST_P(Recording, PlaysAsFfmpegDecodesIt)
{
    if (*GetParam().video) {
        const Words pictures = sizes_and_hashes(ffmpeg_framemd5(file));
        EXPECT_EQ(pictures.size(), 60u);
        EXPECT_EQ(sizes_and_hashes(played_framemd5(file)), pictures);
    }
    if (*GetParam().audio) {
        const std::string sound = ffmpeg_pcm(file);
        EXPECT_GE(sound.size(), size_t{2 * 8000 * 2 * 9 / 10});
        EXPECT_TRUE(played_pcm(file) == sound) << "the samples differ";
    }
}

INSTANTIATE_TEST_SUITE_P(
    Of, Recording,
    testing::Values(Pair{"MPEG4", "MP3", ".avi"}, Pair{"MPEG4", "AAC", ".mp4"}, Pair{"MPEG4", "AAC", ".mkv"},
                    Pair{"MPEG4", "MP3", ".mkv"}, Pair{"MPEG4", "MP3", ".ts"}, Pair{"MPEG4", "G722", ".mkv"},
                    Pair{"MPEG4", "PCM", ".avi"}, Pair{"H263", "G711", ".avi"}, Pair{"H263", "G726", ".mkv"},
                    Pair{"H263", "G723", ".mkv"}, Pair{"H263", "", ".h263"}, Pair{"H264", "PCM", ".mkv"},
                    Pair{"H264", "", ".mp4"}, Pair{"H264", "", ".h264"}, Pair{"MPEG2", "PCM", ".mov"},
                    Pair{"MPEG2", "", ".ts"}, Pair{"", "MP3", ".mp3"}, Pair{"", "AAC", ".aac"},
                    Pair{"", "PCM", ".wav"}, Pair{"MPEG4", "WMA", ".avi"}),
    [](const auto &info) {
        const Pair &pair = info.param;
        return std::string(pair.video) + pair.audio + "In" + (pair.extension + 1);
    });

} // namespace
} // namespace orka_tools_test
