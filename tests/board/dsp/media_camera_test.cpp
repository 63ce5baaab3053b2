/* Files and filter sources as camera and microphone. */
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <thread>

#include "board/dsp/clip.h"
#include "board/dsp/pictures.h"
#include "dsp/media_camera.h"

namespace orka::board::test {
namespace {

constexpr uint64_t pictures = 20; /* of the clip, 25 a second: 0.8 s */
constexpr uint64_t clip_us = 800'000;
constexpr uint32_t clip_samples = 6400; /* at 8 kHz; each is its number times 5 */

/* Pictures that tell their number, and sound whose samples do. */
std::string raw_pictures()
{
    std::vector<uint8_t> all;
    const auto view = test_view();
    for (uint64_t number = 0; number < pictures; number++) {
        const auto picture = scaled(picture_of(*view, pal, number), pal, 320, 240);
        all.insert(all.end(), picture.begin(), picture.end());
    }
    return "-f rawvideo -pix_fmt uyvy422 -s 320x240 -r 25 -i " + write_file("counted.uyvy", all);
}

std::string raw_sound(uint32_t count = clip_samples)
{
    std::vector<uint8_t> all;
    for (uint32_t number = 0; number < count; number++) {
        all.push_back(static_cast<uint8_t>(number * 5));
        all.push_back(static_cast<uint8_t>(number * 5 >> 8));
    }
    return "-f s16le -ar 8000 -ac 1 -i " + write_file("counted" + std::to_string(count) + ".s16", all);
}

std::string clip()
{
    return make_file(raw_pictures() + " " + raw_sound() + " -c:v mpeg4 -q:v 3 -c:a pcm_s16le", ".avi");
}

std::unique_ptr<Camera> camera_of(const std::string &source)
{
    std::string why;
    auto camera = Camera::create(source, why);
    EXPECT_NE(camera, nullptr) << why;
    EXPECT_EQ(why, "");
    return camera;
}

std::unique_ptr<MicrophoneView> sound_of(const std::string &source)
{
    std::string why;
    const auto microphone = Microphone::create(source, why);
    EXPECT_NE(microphone, nullptr) << why;
    return microphone->open();
}

std::string why_no_camera(const std::string &source)
{
    std::string why;
    EXPECT_EQ(Camera::create(source, why), nullptr);
    return why;
}

std::string why_no_microphone(const std::string &source)
{
    std::string why;
    EXPECT_EQ(Microphone::create(source, why), nullptr);
    return why;
}

TEST(FileCamera, ShowsThePictureOfEachTimeAndBeginsAnewAtTheEnd)
{
    const auto view = camera_of(clip())->open();
    for (uint64_t number = 0; number < 3 * pictures; number++)
        EXPECT_EQ(counter_at(*view, pal, picture_time_us(pal, number)),
                  static_cast<int64_t>(number % pictures));
}

TEST(FileCamera, RepeatsAndSkipsPicturesByTheirTime)
{
    const auto view = camera_of(clip())->open();
    for (uint64_t number = 0; number < 48; number++)
        EXPECT_EQ(counter_at(*view, ntsc, picture_time_us(ntsc, number)),
                  static_cast<int64_t>(number * 25 / 30 % pictures));
    EXPECT_EQ(counter_at(*view, ntsc, 2 * clip_us + 200'000), 5);
    EXPECT_EQ(counter_at(*view, ntsc, 3 * clip_us + 760'000), 19);
}

TEST(FileCamera, IsAtTheSamePlaceForAViewThatComesLate)
{
    const auto view = camera_of(clip())->open();
    EXPECT_EQ(counter_at(*view, pal, 100'000 * clip_us + 400'000), 10);
    EXPECT_EQ(counter_at(*view, pal, 100'000 * clip_us + 440'000), 11);
}

TEST(FileCamera, SeeksInALongFile)
{
    const std::string file =
        make_file("-stream_loop 30 " + raw_pictures() + " -c:v mpeg4 -q:v 3 -g 12", ".avi"); /* 24.8 s */
    const auto view = camera_of(file)->open();
    EXPECT_EQ(counter_at(*view, pal, 0), 0);
    EXPECT_EQ(counter_at(*view, pal, 20 * clip_us + 120'000), 3);
    EXPECT_EQ(counter_at(*view, pal, 20 * clip_us + 160'000), 4);
}

TEST(FileCamera, GivesEachViewItsOwnPlace)
{
    const auto camera = camera_of(clip());
    const auto one = camera->open();
    const auto other = camera->open();
    EXPECT_EQ(counter_at(*one, pal, 720'000), 18);
    EXPECT_EQ(counter_at(*other, pal, 40'000), 1);
    EXPECT_EQ(counter_at(*one, pal, 760'000), 19);
    EXPECT_EQ(counter_at(*other, pal, 80'000), 2);
}

TEST(FileCamera, BeginsARawStreamWithTheViewAndAnewAtItsEnd)
{
    const std::string file = make_file(raw_pictures() + " -c:v mpeg4 -q:v 3 -f m4v", ".m4v");
    const auto view = camera_of(file)->open();
    for (uint64_t number = 0; number < 2 * pictures + 5; number++)
        EXPECT_EQ(counter_at(*view, pal, 7'000'000 + picture_time_us(pal, number)),
                  static_cast<int64_t>(number % pictures));
}

TEST(FileCamera, HoldsAStill)
{
    const std::string still = make_file(raw_pictures() + " -frames:v 1", ".png");
    const auto view = camera_of(still)->open();
    const auto first = picture_at(*view, pal, 0);
    EXPECT_EQ(luma_of(first, 720, 576).counter(), 0);
    EXPECT_TRUE(picture_at(*view, pal, 3'600'000'000) == first);
}

TEST(FileCamera, StretchesEveryPictureToTheStandardsSize)
{
    const auto view = camera_of("lavfi:color=white:size=64x200:rate=25")->open();
    for (const Standard &standard : {ntsc, pal}) {
        const Picture8 picture = luma_of(picture_at(*view, standard, 0), standard.width, standard.height);
        EXPECT_TRUE(std::ranges::all_of(picture.luma, [](uint8_t y) { return y >= 233; }));
    }
}

TEST(FileCamera, KeepsTheColoursOfPicturesThatSayHowTheyAreMade)
{
    const std::string file = make_file("-f lavfi -i color=red:size=1280x720:rate=25 -frames:v 2 "
                                       "-vf scale=out_color_matrix=bt709:out_range=pc,format=yuv420p "
                                       "-color_range pc -colorspace bt709 -c:v libx264 -qp 0",
                                       ".mp4");
    const auto picture = picture_at(*camera_of(file)->open(), ntsc, 0);
    EXPECT_NEAR(picture[0], 90, 3); /* red as BT.601 has it */
    EXPECT_NEAR(picture[1], 81, 3);
    EXPECT_NEAR(picture[2], 240, 3);
}

TEST(FileCamera, TakesAFilterSource)
{
    const auto view = camera_of("lavfi:testsrc2=size=320x240:rate=25")->open();
    const auto first = picture_at(*view, pal, 0);
    EXPECT_TRUE(picture_at(*view, pal, 20'000) == first);
    EXPECT_FALSE(picture_at(*view, pal, 40'000) == first);
}

TEST(FileCamera, TakesAFileWithAColonInItsName)
{
    const std::string odd = std::filesystem::path(clip()).parent_path() / "lavfi:odd.avi";
    std::filesystem::copy_file(clip(), odd, std::filesystem::copy_options::overwrite_existing);
    EXPECT_EQ(counter_at(*camera_of(odd)->open(), pal, 0), 0);
    EXPECT_EQ(counter_at(*camera_of("avi:" + odd)->open(), pal, 0), 0);
}

TEST(FileCamera, SaysWhyASourceDoesNotOpen)
{
    EXPECT_EQ(why_no_camera("/no/such.avi"), "camera /no/such.avi: No such file or directory");
    const std::string noise = write_file("noise.avi", std::vector<uint8_t>(4000, 'x'));
    EXPECT_EQ(why_no_camera(noise), "camera " + noise + ": Invalid data found when processing input");
    EXPECT_NE(why_no_camera("lavfi:nosuchfilter").find("camera lavfi:nosuchfilter: "), std::string::npos);
}

TEST(FileCamera, NeedsAPicture)
{
    const std::string sound = make_file(raw_sound(), ".wav");
    EXPECT_EQ(why_no_camera(sound), "camera " + sound + ": holds no picture");
}

TEST(DeviceCamera, ShowsAllViewsWhatWasDeliveredLast)
{
    std::string why;
    const auto camera = make_device_camera(MediaStream::open(clip(), AVMEDIA_TYPE_VIDEO, why));
    const auto one = camera->open();
    const auto other = camera->open();
    while (counter_at(*one, pal, 0) != 19)
        std::this_thread::yield();
    EXPECT_EQ(counter_at(*other, pal, 0), 19);
    EXPECT_EQ(counter_at(*one, pal, 0), 19);
}

/* Sound. */

std::vector<int16_t> take(MicrophoneView &view, uint64_t first, size_t count)
{
    std::vector<int16_t> samples(count);
    view.sound(8000, 1, first, samples);
    return samples;
}

void expect_counted(std::span<const int16_t> samples, uint64_t first, uint32_t length = clip_samples)
{
    for (size_t at = 0; at < samples.size(); at++)
        ASSERT_EQ(samples[at], static_cast<int16_t>((first + at) % length * 5)) << first + at;
}

TEST(FileMicrophone, GivesEverySampleOnceAndBeginsAnewAtTheEnd)
{
    const auto view = sound_of(clip());
    for (uint64_t first = 0, size = 1; first < 3 * clip_samples; first += size, size = size * 7 % 1013 + 1)
        expect_counted(take(*view, first, size), first);
}

TEST(FileMicrophone, BeginsAnewSeveralTimesInOneCall)
{
    const auto view = sound_of(make_file(raw_sound(100), ".wav"));
    expect_counted(take(*view, 0, 1050), 0, 100);
}

TEST(FileMicrophone, IsAtTheSamePlaceForAViewThatComesLate)
{
    const auto view = sound_of(clip());
    expect_counted(take(*view, 100'000ULL * clip_samples + 1234, 800), 1234);
    expect_counted(take(*view, 100'000ULL * clip_samples + 4000, 800), 4000);
}

TEST(FileMicrophone, StaysWithThePicturesOfItsFile)
{
    const std::string file = clip();
    const auto view = camera_of(file)->open();
    const auto sound = sound_of(file);
    for (const uint64_t loop : {0U, 3U, 9'999U}) {
        const uint64_t time_us = loop * clip_us + 360'000;
        EXPECT_EQ(counter_at(*view, pal, time_us), 9);
        EXPECT_EQ(take(*sound, time_us * 8 / 1000, 1)[0], 360 * 8 * 5);
    }
}

TEST(FileMicrophone, IsSilentWhereThePicturesGoOnLonger)
{
    const auto view = sound_of(
        make_file(raw_pictures() + " " + raw_sound(1000) + " -c:v mpeg4 -q:v 3 -c:a pcm_s16le", ".avi"));
    expect_counted(take(*view, 0, 1000), 0);
    EXPECT_EQ(take(*view, 1000, clip_samples - 1000), std::vector<int16_t>(clip_samples - 1000));
    expect_counted(take(*view, clip_samples, 1000), 0);
}

TEST(FileMicrophone, BeginsARawStreamWithTheViewAndAnewAtItsEnd)
{
    const std::string file = make_file(raw_sound(), ".ac3");
    const auto view = sound_of(file);
    const auto first = take(*view, 123'456, 4000);
    EXPECT_FALSE(std::ranges::all_of(first, [](int16_t sample) { return sample == 0; }));
    take(*view, 127'456, 100'000);
}

TEST(FileMicrophone, ResamplesAndSpreadsOverTheChannels)
{
    const auto view = sound_of("lavfi:aevalsrc=0.25:s=8000");
    std::vector<int16_t> samples(2 * 48'000);
    view->sound(48'000, 2, 0, samples);
    for (size_t at = 2000; at < samples.size(); at++)
        ASSERT_NEAR(samples[at], 8192, 2500) << at;
}

TEST(FileMicrophone, ChangesItsFormWhenItIsAskedToAnother)
{
    const auto view = sound_of(clip());
    expect_counted(take(*view, 0, 100), 0);
    std::vector<int16_t> stereo(200);
    view->sound(16'000, 2, 400, stereo);
    expect_counted(take(*view, 400, 100), 400);
}

TEST(FileMicrophone, NeedsSound)
{
    const std::string silent = make_file(raw_pictures() + " -c:v mpeg4 -q:v 3", ".avi");
    EXPECT_EQ(why_no_microphone(silent), "microphone " + silent + ": holds no sound");
    EXPECT_EQ(why_no_microphone("/no/such.wav"), "microphone /no/such.wav: No such file or directory");
}

TEST(DeviceMicrophone, GivesWhatIsDeliveredAndSilenceAfterTheEnd)
{
    std::string why;
    const auto microphone =
        make_device_microphone(MediaStream::open("lavfi:aevalsrc=0.25:s=8000:d=1", AVMEDIA_TYPE_AUDIO, why));
    const auto view = microphone->open();
    std::vector<int16_t> samples;
    while (samples.empty() || samples.back() != 0) {
        const auto piece = take(*view, 0, 500);
        samples.insert(samples.end(), piece.begin(), piece.end());
        ASSERT_LT(samples.size(), 20'000U);
    }
    EXPECT_LE(std::ranges::count_if(samples, [](int16_t sample) { return sample != 0; }), 8000);
}

} // namespace
} // namespace orka::board::test
