#include "board/dsp/decode.h"

#include <random>

namespace orka::board::test {

namespace {

constexpr const char *stereo = "-ar 44100 -ac 2 ";
constexpr const char *telephone = "-ar 8000 -ac 1 ";

struct AudioClip {
    const char *name;
    uint32_t codec;
    const char *encoder;
    const char *suffix;
    const char *rate = stereo;
    uint32_t extra1 = 0;
    const char *input = ""; /* for ffmpeg, what the setup tells the board */
};

/* The delay of WMA is known to the codec, which trims it by itself. */
constexpr const char *trimmed = "-flags2 0";

const AudioClip clips[] = {
    {"Mp3", 7, "-c:a libmp3lame", ".mp3"},
    {"Mp3LowRateMono", 7, "-c:a libmp3lame", ".mp3", "-ar 22050 -ac 1 "},
    {"Mp2", 13, "-c:a mp2", ".mp2"},
    {"AacWithHeader", 10, "-c:a aac", ".m4a"},
    {"AacAdts", 10, "-c:a aac", ".aac"},
    {"AacFiveChannels", 10, "-c:a aac", ".m4a", "-ar 48000 -ac 6 "},
    {"Vorbis", 14, "-c:a libvorbis", ".ogg"},
    {"WmaVersion1", 8, "-c:a wmav1 -b:a 128k", ".wma", stereo, 0, trimmed},
    {"WmaVersion2", 8, "-c:a wmav2 -b:a 128k", ".wma", stereo, 0, trimmed},
    {"MuLaw", 4, "-c:a pcm_mulaw", ".wav", telephone},
    {"ALaw", 4, "-c:a pcm_alaw", ".wav", telephone, 1},
    {"G722At64", 29, "-c:a g722", ".wav", "-ar 16000 -ac 1 "},
    {"G722At56", 28, "-c:a g722", ".wav", "-ar 16000 -ac 1 ", 0, "-bits_per_codeword 7"},
    {"G722At48", 27, "-c:a g722", ".wav", "-ar 16000 -ac 1 ", 0, "-bits_per_codeword 6"},
    {"G7231", 26, "-c:a g723_1 -b:a 6300", ".wav", telephone},
    {"G726At16", 0, "-c:a g726 -b:a 16k", ".wav", telephone},
    {"G726At24", 1, "-c:a g726 -b:a 24k", ".wav", telephone},
    {"G726At32", 2, "-c:a g726 -b:a 32k", ".wav", telephone},
    {"G726At40", 3, "-c:a g726 -b:a 40k", ".wav", telephone},
    {"G726LittleEndianAt16", 0, "-c:a g726le -b:a 16k -f g726le", ".bin", telephone, 1,
     "-f g726le -code_size 2"},
    {"G726LittleEndianAt40", 3, "-c:a g726le -b:a 40k -f g726le", ".bin", telephone, 1,
     "-f g726le -code_size 5"},
    {"Pcm", 6, "-c:a pcm_s16le", ".wav"},
};

const AudioClip &mp3 = clips[0];
const AudioClip &wma2 = clips[8];

std::string file_of(const AudioClip &clip, const char *seconds = "1")
{
    return make_file(std::string("-f lavfi -i 'aevalsrc=0.5*sin(2*PI*440*t)+0.1*random(0):duration=") +
                         seconds + "' " + clip.rate + clip.encoder,
                     clip.suffix);
}

/* Options that belong to the demuxer, of those for ffmpeg. */
std::string demuxer_options(const AudioClip &clip)
{
    return std::string(clip.input).starts_with("-f ") ? clip.input : "";
}

Clip make(const AudioClip &clip, const char *seconds = "1")
{
    return read_clip(file_of(clip, seconds), demuxer_options(clip));
}

orka_idecode_audio_params_t setup_of(const AudioClip &clip, const Clip &made)
{
    orka_idecode_audio_params_t setup = audio_setup(clip.codec, made);
    setup.extra1 = clip.extra1;
    setup.extra2 = clip.codec == 8 ? made.block_align : 0;
    return setup;
}

class EveryAudioClip : public testing::TestWithParam<AudioClip> {};

INSTANTIATE_TEST_SUITE_P(Of, EveryAudioClip, testing::ValuesIn(clips),
                         [](const auto &info) { return info.param.name; });

TEST_P(EveryAudioClip, HasTheSamplesThatFfmpegGives)
{
    const Clip clip = make(GetParam());
    const SeenAudio seen = decode_audio(setup_of(GetParam(), clip), clip);
    EXPECT_GT(seen.samples.size(), clip.sample_rate * clip.channels / 2);
    EXPECT_TRUE(seen.samples == ffmpeg_samples(clip.path, GetParam().input));
    EXPECT_EQ(seen.errors, std::vector<std::string>{});
}

TEST_P(EveryAudioClip, SaysItsRateAndChannels)
{
    const Clip clip = make(GetParam());
    const SeenAudio seen = decode_audio(setup_of(GetParam(), clip), clip);
    ASSERT_FALSE(seen.sounds.empty());
    for (const Sound &sound : seen.sounds) {
        EXPECT_EQ(sound.sample_rate, clip.sample_rate);
        EXPECT_EQ(sound.channels, clip.channels);
        EXPECT_FALSE(sound.damaged);
    }
}

TEST_P(EveryAudioClip, GoesOnInTimeWithoutGaps)
{
    const Clip clip = make(GetParam());
    const SeenAudio seen = decode_audio(setup_of(GetParam(), clip), clip);
    /* Ogg tells the time of a page's end, and what was cut off there shows in the packets before it. */
    constexpr int slack = 12;
    for (size_t at = 1; at < seen.sounds.size(); at++) {
        const Sound &before = seen.sounds[at - 1];
        EXPECT_NEAR(before.tsms + before.duration, seen.sounds[at].tsms, slack) << at;
    }
}

/* ---- Codecs without an encoder in ffmpeg ---- */

TEST(AudioG729, HasTheSamplesThatFfmpegGivesOfAnyBits)
{
    std::mt19937 random(729);
    std::vector<uint8_t> bits(10 * 100);
    for (uint8_t &byte : bits)
        byte = static_cast<uint8_t>(random());
    const Clip clip = read_clip(write_file("any-bits.g729", bits), "-f g729");
    orka_idecode_audio_params_t setup = audio_setup(25, clip);
    setup.channels = 2; /* as the catalogue describes a codec of one voice */
    const SeenAudio seen = decode_audio(setup, clip);
    EXPECT_EQ(seen.samples.size(), 8000U);
    EXPECT_TRUE(seen.samples == ffmpeg_samples(clip.path, "-f g729"));
}

/* ---- Headers ---- */

TEST(AudioWma, WithoutAHeaderTakesTheEncodersFlagsOfTheSetup)
{
    Clip clip = make(wma2);
    orka_idecode_audio_params_t setup = setup_of(wma2, clip);
    setup.extra1 = clip.header.at(4) | static_cast<uint32_t>(clip.header.at(5)) << 8;
    clip.header.clear();
    EXPECT_TRUE(decode_audio(setup, clip).samples == ffmpeg_samples(clip.path, trimmed));
}

TEST(AudioWma, HeaderComesBeforeTheFlagsOfTheSetup)
{
    const Clip clip = make(wma2);
    orka_idecode_audio_params_t setup = setup_of(wma2, clip);
    setup.extra1 = 0xFFFF;
    EXPECT_TRUE(decode_audio(setup, clip).samples == ffmpeg_samples(clip.path, trimmed));
}

TEST(AudioVorbis, WithoutItsHeaderIsReported)
{
    Clip clip = make(clips[6]);
    clip.header.clear();
    const SeenAudio seen = decode_audio(setup_of(clips[6], clip), clip);
    EXPECT_TRUE(seen.samples.empty());
    EXPECT_EQ(seen.errors.size(), clip.packets.size());
    EXPECT_EQ(seen.errors.at(0).substr(0, 18), "cannot open vorbis");
}

TEST(AudioVorbis, HeaderThatIsDamagedIsReported)
{
    const auto decoder = audio_decoder({.codec = 14});
    EXPECT_FALSE(decoder->header(std::vector<uint8_t>{2, 1, 2, 3}));
    EXPECT_EQ(decoder->error().substr(0, 18), "cannot open vorbis");
}

TEST(AudioVorbis, HeaderThatIsGoodComesAfterABadOne)
{
    const Clip clip = make(clips[6]);
    const auto decoder = audio_decoder({.codec = 14});
    SeenAudio seen;
    decoder->header(std::vector<uint8_t>{2, 1, 2, 3});
    feed_to_end(*decoder, clip, seen);
    EXPECT_TRUE(seen.samples == ffmpeg_samples(clip.path));
}

TEST(AudioLayers, OneAndTwoAreToldByTheBitstream)
{
    const Clip clip = make(mp3);
    orka_idecode_audio_params_t setup = setup_of(mp3, clip);
    setup.codec = 13;
    EXPECT_TRUE(decode_audio(setup, clip).samples == ffmpeg_samples(clip.path));
}

TEST(AudioLayers, ThatNoFrameHeaderTellsAreReported)
{
    const auto decoder = audio_decoder({.codec = 13});
    SeenAudio seen;
    EXPECT_FALSE(decoder->decode(StoredPacket{.data = {1, 2, 3, 4}}.packet(), seen.sink()));
    EXPECT_EQ(decoder->error(), "neither header nor packet shows what codec this is");
}

/* ---- Changes in mid-stream ---- */

TEST(AudioChange, OfRateAndChannelsIsSaidWithTheSound)
{
    const Clip first = make(mp3);
    const Clip second = make(clips[1]);
    const auto decoder = audio_decoder(setup_of(mp3, first));
    SeenAudio seen;
    feed_to_end(*decoder, first, seen);
    const size_t sounds = seen.sounds.size();
    feed_to_end(*decoder, second, seen);
    EXPECT_EQ(seen.sounds.at(sounds - 1).sample_rate, 44100U);
    EXPECT_EQ(seen.sounds.at(sounds - 1).channels, 2U);
    EXPECT_EQ(seen.sounds.at(sounds).sample_rate, 22050U);
    EXPECT_EQ(seen.sounds.at(sounds).channels, 1U);
}

TEST(AudioChange, OfTheHeaderBeginsANewStream)
{
    const Clip first = make(clips[3]);
    const Clip second = make(clips[5]);
    const auto decoder = audio_decoder(setup_of(clips[3], first));
    SeenAudio seen;
    feed_to_end(*decoder, first, seen);
    feed_to_end(*decoder, second, seen);
    std::vector<int16_t> expected = ffmpeg_samples(first.path);
    const std::vector<int16_t> rest = ffmpeg_samples(second.path);
    expected.insert(expected.end(), rest.begin(), rest.end());
    EXPECT_TRUE(seen.samples == expected);
}

/* ---- Time ---- */

std::vector<uint8_t> silence(size_t samples)
{
    return std::vector<uint8_t>(samples * 2);
}

const orka_idecode_audio_params_t pcm_at_8000 = {.codec = 6, .channels = 1, .sample_rate = 8000};

std::vector<uint32_t> times_of(const std::vector<StoredPacket> &packets)
{
    SeenAudio seen;
    feed_to_end(*audio_decoder(pcm_at_8000), Clip{.packets = packets}, seen);
    std::vector<uint32_t> times;
    for (const Sound &sound : seen.sounds)
        times.push_back(sound.tsms);
    return times;
}

TEST(AudioTime, ThatIsMissingIsCountedInSamples)
{
    const std::vector<uint8_t> third = silence(107); /* 13.375 ms */
    EXPECT_EQ(times_of({{third, 1000}, {third, no_tsms}, {third, no_tsms}, {third, no_tsms}, {third, 2000}}),
              (std::vector<uint32_t>{1000, 1013, 1027, 1040, 2000}));
}

TEST(AudioTime, BeginsAtNoughtWhereNothingTellsIt)
{
    EXPECT_EQ(times_of({{silence(80), no_tsms}, {silence(80), no_tsms}}), (std::vector<uint32_t>{0, 10}));
}

TEST(AudioTime, OfASoundLastsAsLongAsItsSamples)
{
    SeenAudio seen;
    feed_to_end(*audio_decoder(pcm_at_8000), Clip{.packets = {{silence(160), 500}}}, seen);
    EXPECT_EQ(seen.sounds.at(0).duration, 20U);
}

TEST(AudioTime, OfTheFramesOfOnePacketAdvances)
{
    Clip clip = make(mp3);
    Clip pairs = clip;
    pairs.packets.clear();
    for (size_t at = 0; at + 1 < clip.packets.size(); at += 2) {
        StoredPacket pair = clip.packets[at];
        pair.tsms = static_cast<uint32_t>(10000 * at);
        pair.data.insert(pair.data.end(), clip.packets[at + 1].data.begin(), clip.packets[at + 1].data.end());
        pairs.packets.push_back(pair);
    }
    const SeenAudio seen = decode_audio(setup_of(mp3, clip), pairs);
    ASSERT_EQ(seen.sounds.size(), 2 * pairs.packets.size());
    EXPECT_EQ(seen.sounds[2].tsms, 20000U);
    EXPECT_EQ(seen.sounds[3].tsms, 20026U); /* 1152 samples at 44.1 kHz on */
}

/* ---- Beginning and end ---- */

TEST(AudioEnd, OfAnEmptyStreamGivesNothing)
{
    SeenAudio seen;
    EXPECT_TRUE(audio_decoder({.codec = 7})->drain(seen.sink()));
    EXPECT_TRUE(seen.sounds.empty());
}

TEST(AudioEnd, IsFollowedByAnotherStream)
{
    const Clip clip = make(clips[2]);
    const auto decoder = audio_decoder(setup_of(clips[2], clip));
    SeenAudio seen;
    feed_to_end(*decoder, clip, seen);
    const std::vector<int16_t> once = seen.samples;
    feed_to_end(*decoder, clip, seen);
    EXPECT_EQ(seen.samples.size(), 2 * once.size());
}

TEST(AudioFlush, BeginsTimeAnew)
{
    SeenAudio seen;
    const auto decoder = audio_decoder(pcm_at_8000);
    decoder->decode(StoredPacket{silence(80), 1000}.packet(), seen.sink());
    decoder->flush();
    decoder->decode(StoredPacket{silence(80), no_tsms}.packet(), seen.sink());
    EXPECT_EQ(seen.sounds.at(1).tsms, 0U);
}

} // namespace

} // namespace orka::board::test
