#include "board/dsp/encode.h"

namespace orka::board::test {

namespace {

constexpr uint32_t start = 3000; /* ms */

struct AudioCase {
    const char *name;
    uint32_t codec;
    uint32_t sample_rate;
    uint32_t channels;
    uint32_t bitrate_bps;
    uint32_t frame;   /* samples */
    uint32_t on_wire; /* bit/s */
    bool header = false;
};

const AudioCase codecs[] = {
    {"G726At16", 0, 8000, 1, 16000, 160, 16000},
    {"G726At24", 1, 8000, 1, 24000, 160, 24000},
    {"G726At32", 2, 8000, 1, 32000, 160, 32000},
    {"G726At40", 3, 8000, 1, 40000, 160, 40000},
    {"G711", 4, 8000, 1, 64000, 160, 64000},
    {"Pcm", 6, 48000, 2, 1536000, 960, 1536000},
    {"PcmOfOneChannel", 6, 11025, 1, 176400, 220, 176400},
    {"Mp3", 7, 44100, 2, 128000, 1152, 128000},
    {"Mp3OfLowRate", 7, 16000, 1, 32000, 576, 32000},
    {"Wma", 8, 48000, 2, 128000, 2048, 128000, true},
    {"Aac", 10, 24000, 2, 64000, 1024, 64000, true},
    {"AacOfOneChannel", 10, 44100, 1, 96000, 1024, 96000, true},
    {"G7231", 26, 8000, 1, 6300, 240, 6400},
    {"G722At48", 27, 16000, 1, 48000, 320, 64000},
    {"G722At56", 28, 16000, 1, 56000, 320, 64000},
    {"G722At64", 29, 16000, 1, 64000, 320, 64000},
};

orka_iencode_audio_params_t setup_of(const AudioCase &audio)
{
    return {.codec = audio.codec,
            .channels = audio.channels,
            .sample_rate = audio.sample_rate,
            .bitrate = audio.bitrate_bps / 1000,
            .bitrate_bps = audio.bitrate_bps};
}

void feed(AudioEncoder &encoder, std::span<const int16_t> samples, uint32_t tsms, SeenCoded &seen)
{
    if (!encoder.encode(samples, tsms, seen.sink()))
        seen.errors.push_back(encoder.error());
}

void drain(AudioEncoder &encoder, SeenCoded &seen)
{
    if (!encoder.drain(seen.sink()))
        seen.errors.push_back(encoder.error());
}

/* In pieces that are no codec's frame, each with its time rounded down. */
void feed_in_pieces(AudioEncoder &encoder, const AudioCase &audio, std::span<const int16_t> samples,
                    SeenCoded &seen)
{
    constexpr size_t piece = 333;
    for (size_t at = 0; at < samples.size() / audio.channels; at += piece) {
        const size_t count = std::min(piece, samples.size() / audio.channels - at);
        feed(encoder, samples.subspan(at * audio.channels, count * audio.channels),
             start + static_cast<uint32_t>(at * 1000 / audio.sample_rate), seen);
    }
}

SeenCoded encode(const AudioCase &audio, uint32_t seconds = 2)
{
    SeenCoded seen;
    const auto encoder = audio_encoder(setup_of(audio));
    const auto samples = tone(audio.sample_rate, audio.channels, size_t{audio.sample_rate} * seconds);
    feed_in_pieces(*encoder, audio, samples, seen);
    drain(*encoder, seen);
    return seen;
}

SeenAudio decode(const AudioCase &audio, const SeenCoded &coded)
{
    const std::vector<StoredPacket> packets = coded.stored();
    orka_idecode_audio_params_t setup = {.codec = audio.codec,
                                         .channels = static_cast<uint8_t>(audio.channels),
                                         .sample_rate = audio.sample_rate,
                                         .bitrate_bps = audio.bitrate_bps};
    setup.extra2 = audio.codec == 8 ? static_cast<uint32_t>(packets[0].data.size()) : 0;
    SeenAudio seen;
    const auto decoder = audio_decoder(setup);
    EXPECT_TRUE(!audio.header || decoder->header(coded.packets[0].data));
    for (const StoredPacket &packet : packets)
        if (!decoder->decode(packet.packet(), seen.sink()))
            seen.errors.push_back(decoder->error());
    EXPECT_TRUE(decoder->drain(seen.sink()));
    return seen;
}

class EveryAudioEncoder : public testing::TestWithParam<AudioCase> {};

INSTANTIATE_TEST_SUITE_P(Of, EveryAudioEncoder, testing::ValuesIn(codecs),
                         [](const auto &info) { return info.param.name; });

TEST_P(EveryAudioEncoder, SaysHowManySamplesMakeAPacket)
{
    EXPECT_EQ(audio_encoder(setup_of(GetParam()))->frame_samples(), GetParam().frame);
}

TEST_P(EveryAudioEncoder, BeginsWithItsHeaderWhereItHasOne)
{
    const SeenCoded seen = encode(GetParam());
    for (size_t i = 0; i < seen.packets.size(); i++)
        EXPECT_EQ(seen.packets[i].header, GetParam().header && i == 0) << i;
    EXPECT_EQ(seen.packets[0].tsms, start);
}

TEST_P(EveryAudioEncoder, CountsItsTimeStampsInSamples)
{
    const SeenCoded seen = encode(GetParam());
    const uint32_t rate = GetParam().sample_rate;
    EXPECT_EQ(seen.errors, std::vector<std::string>{});
    const std::vector<StoredPacket> packets = seen.stored();
    ASSERT_GE(packets.size(), 2 * rate / GetParam().frame);
    for (uint32_t i = 0; i < packets.size(); i++) {
        EXPECT_EQ(packets[i].tsms, start + uint64_t{i} * GetParam().frame * 1000 / rate) << i;
        EXPECT_TRUE(packets[i].key);
    }
    EXPECT_EQ(packets[0].duration, (GetParam().frame * 1000 + rate / 2) / rate);
}

TEST_P(EveryAudioEncoder, HasTheBitRateThatWasAskedFor)
{
    const SeenCoded seen = encode(GetParam(), 5);
    EXPECT_NEAR(static_cast<double>(seen.bytes()) * 8 / 5, GetParam().on_wire, GetParam().on_wire * 0.1);
}

TEST_P(EveryAudioEncoder, IsHeardThroughTheBoardsDecoder)
{
    const AudioCase &audio = GetParam();
    const SeenAudio seen = decode(audio, encode(audio));
    EXPECT_EQ(seen.errors, std::vector<std::string>{});
    const size_t second = size_t{audio.sample_rate} * audio.channels;
    ASSERT_GE(seen.samples.size(), 2 * second);
    EXPECT_LE(seen.samples.size(), 2 * second + size_t{3} * audio.frame * audio.channels);
    const double heard = level(std::span(seen.samples).subspan(second / 2, second));
    EXPECT_NEAR(heard, 8000 / std::numbers::sqrt2, 800);
    EXPECT_EQ(seen.sounds[0].sample_rate, audio.sample_rate);
    EXPECT_EQ(seen.sounds[0].channels, audio.channels);
}

TEST_P(EveryAudioEncoder, SaysTheSameEachTime)
{
    const SeenCoded one = encode(GetParam());
    const SeenCoded other = encode(GetParam());
    ASSERT_EQ(one.packets.size(), other.packets.size());
    for (size_t i = 0; i < one.packets.size(); i++)
        EXPECT_TRUE(one.packets[i].data == other.packets[i].data) << i;
}

TEST_P(EveryAudioEncoder, BeginsAnewAfterItsEnd)
{
    const AudioCase &audio = GetParam();
    const auto samples = tone(audio.sample_rate, audio.channels, audio.frame);
    SeenCoded first;
    SeenCoded second;
    const auto encoder = audio_encoder(setup_of(audio));
    feed(*encoder, samples, 500, first);
    drain(*encoder, first);
    feed(*encoder, samples, 100, second);
    drain(*encoder, second);
    ASSERT_EQ(first.packets.size(), second.packets.size());
    EXPECT_EQ(second.packets[0].tsms, 100U);
    EXPECT_TRUE(first.packets.back().data == second.packets.back().data);
}

TEST_P(EveryAudioEncoder, EndsWithoutAPacketWhereNothingWentIn)
{
    SeenCoded seen;
    const auto encoder = audio_encoder(setup_of(GetParam()));
    drain(*encoder, seen);
    drain(*encoder, seen);
    EXPECT_EQ(seen.packets.size(), 0U);
    EXPECT_EQ(seen.errors, std::vector<std::string>{});
}

TEST_P(EveryAudioEncoder, TakesTheTimeOfWhatComesAfterAGap)
{
    const AudioCase &audio = GetParam();
    SeenCoded seen;
    const auto encoder = audio_encoder(setup_of(audio));
    const auto samples = tone(audio.sample_rate, audio.channels, size_t{audio.frame} * 2);
    feed(*encoder, samples, 0, seen);
    feed(*encoder, samples, 9000, seen);
    drain(*encoder, seen);
    const std::vector<StoredPacket> packets = seen.stored();
    ASSERT_GE(packets.size(), 4U);
    EXPECT_EQ(packets[1].tsms, audio.frame * 1000 / audio.sample_rate);
    EXPECT_EQ(packets[2].tsms, 9000U);
    EXPECT_EQ(packets[3].tsms, 9000U + audio.frame * 1000 / audio.sample_rate);
}

TEST(AudioEncoder, EndsPcmWithWhatIsThere)
{
    SeenCoded seen;
    const auto encoder = audio_encoder(setup_of(codecs[5]));
    const auto samples = tone(48000, 2, 1000);
    feed(*encoder, samples, 0, seen);
    drain(*encoder, seen);
    ASSERT_EQ(seen.packets.size(), 2U);
    EXPECT_EQ(seen.packets[1].data.size(), 40U * 4);
    EXPECT_EQ(seen.packets[1].duration, 1U);
    EXPECT_EQ(std::memcmp(seen.packets[1].data.data(), samples.data() + 1920, 160), 0);
}

TEST(AudioEncoder, FillsTheLastFrameOfTelephonyWithSilence)
{
    SeenCoded seen;
    const auto encoder = audio_encoder(setup_of(codecs[2]));
    feed(*encoder, tone(8000, 1, 161), 0, seen);
    drain(*encoder, seen);
    ASSERT_EQ(seen.packets.size(), 2U);
    EXPECT_EQ(seen.packets[1].data.size(), 80U);
}

TEST(AudioEncoder, LeavesTheLowestBitsOfG722ToTheApplication)
{
    const std::pair<size_t, uint8_t> cases[] = {{13, 3}, {14, 1}};
    for (const auto &[which, free_bits] : cases) {
        for (const StoredCoded &packet : encode(codecs[which], 1).packets)
            for (const uint8_t byte : packet.data)
                ASSERT_EQ(byte & free_bits, 0);
    }
}

TEST(AudioEncoder, RefusesHalfAPairOfSamples)
{
    SeenCoded seen;
    const auto encoder = audio_encoder(setup_of(codecs[5]));
    feed(*encoder, tone(48000, 1, 3), 0, seen);
    EXPECT_EQ(seen.errors,
              std::vector<std::string>{"3 values are not the same number of each of 2 channels"});
}

} // namespace

} // namespace orka::board::test
