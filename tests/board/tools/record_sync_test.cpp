/* Sound and picture of a recording belong together: the click is heard when the lamp lights up. */
#include <gtest/gtest.h>
#include <string>

#include "board/tools/recorded.h"
#include "board/tools/support.h"

namespace orka_tools_test {
namespace {

struct Pair {
    const char *video;
    const char *audio;
    const char *extension;
    const char *standard = "ntsc";
    double exactness = 0.002; /* seconds */
    int sample_rate = 0;      /* Hz; 0: the type's */
};

class SoundAndPicture : public testing::TestWithParam<Pair> {
  protected:
    Marks recorded()
    {
        const Pair &pair = GetParam();
        const std::string file = scratch(std::string("clip") + pair.extension);
        Words words{file,       "--seconds",  "6",           "--video", pair.video, "--audio",
                    pair.audio, "--standard", pair.standard, "--size",  "352x288"};
        if (pair.sample_rate != 0)
            words = words + Words{"--sample-rate", std::to_string(pair.sample_rate)};
        const Ending ending = record(words);
        EXPECT_EQ(ending.status, 0) << ending.err;
        return marks_of(file);
    }
};

TEST_P(SoundAndPicture, LieTogetherInEverySecond)
{
    const std::vector<double> late = lateness(recorded());
    ASSERT_EQ(late.size(), 5u);
    for (const double seconds : late)
        EXPECT_NEAR(seconds, 0, GetParam().exactness);
}

/* An AVI cannot say by how much MP3 is late. */
constexpr double mp3_in_avi = 0.026;
/* It looks ahead, and its clicks are blurred. */
constexpr double g723 = 0.03;

const Pair pairs[] = {
    {"MPEG4", "MP3", ".avi", "ntsc", mp3_in_avi},
    {"MPEG4", "AAC", ".avi"},
    {"MPEG4", "PCM", ".avi"},
    {"MPEG4", "WMA", ".avi"},
    {"MPEG4", "G726", ".avi"},
    {"MPEG4", "G711", ".avi"},
    {"H263", "G711", ".avi"},
    {"H263", "G722", ".avi"},
    {"H263", "G723", ".mkv", "ntsc", g723},
    {"H263", "G726", ".mkv"},
    {"MPEG4", "AAC", ".mp4"},
    {"MPEG4", "MP3", ".mp4"},
    {"MPEG4", "AAC", ".mov"},
    {"H264", "PCM", ".mov"},
    {"MPEG4", "AAC", ".mkv"},
    {"MPEG4", "MP3", ".mkv"},
    {"MPEG4", "WMA", ".mkv"},
    {"MPEG4", "G722", ".mkv"},
    {"MPEG4", "G723", ".mkv", "ntsc", g723},
    {"H264", "PCM", ".mkv"},
    {"MPEG2", "PCM", ".mkv"},
    {"MPEG4", "AAC", ".ts"},
    {"MPEG4", "MP3", ".ts"},
    {"MPEG4", "MP3", ".avi", "pal", mp3_in_avi},
    {"MPEG4", "AAC", ".mp4", "pal"},
    {"MPEG4", "MP3", ".mkv", "ntsc", 0.002, 22050},
    {"MPEG4", "WMA", ".mkv", "ntsc", 0.002, 22050},
    {"MPEG4", "WMA", ".mkv", "ntsc", 0.002, 16000},
};

INSTANTIATE_TEST_SUITE_P(Of, SoundAndPicture, testing::ValuesIn(pairs), [](const auto &info) {
    const Pair &pair = info.param;
    return std::string(pair.video) + pair.audio + "In" + (pair.extension + 1) + pair.standard +
           (pair.sample_rate != 0 ? std::to_string(pair.sample_rate) : "");
});

} // namespace
} // namespace orka_tools_test
