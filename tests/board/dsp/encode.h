/* Pictures and sound through the encoders, and what comes out of them. */
#ifndef ORKA_TESTS_BOARD_DSP_ENCODE_H
#define ORKA_TESTS_BOARD_DSP_ENCODE_H

#include <cmath>
#include <numbers>

#include "board/dsp/decode.h"
#include "dsp/encoder.h"

namespace orka::board::test {

/* ---- Pictures ---- */

/* A smooth pattern that lies at (x, y) of a plane; pictures are views of it. */
inline double pattern(double x, double y)
{
    return 128 + 40 * std::sin(x * 0.31) * std::cos(y * 0.23) + 30 * std::sin(x * 0.11 + y * 0.17) +
           20 * std::cos(x * 0.05 - y * 0.29);
}

/* What lies at (left, top) of the plane is the upper left corner. */
inline std::vector<uint8_t> view(uint32_t width, uint32_t height, int left, int top)
{
    std::vector<uint8_t> uyvy(size_t{width} * height * 2, 128);
    for (uint32_t y = 0; y < height; y++) {
        for (uint32_t x = 0; x < width; x++)
            uyvy[(size_t{y} * width + x) * 2 + 1] =
                static_cast<uint8_t>(pattern(static_cast<int>(x) + left, static_cast<int>(y) + top));
    }
    return uyvy;
}

struct StoredCoded {
    std::vector<uint8_t> data;
    uint32_t tsms;
    uint32_t duration;
    bool key;
    bool header;
    std::vector<MotionVector> vectors;
};

struct SeenCoded {
    std::vector<StoredCoded> packets;
    std::vector<std::string> errors;

    CodedSink sink()
    {
        return [this](const CodedPacket &packet) {
            packets.push_back({{packet.data.begin(), packet.data.end()},
                               packet.tsms,
                               packet.duration,
                               packet.key,
                               packet.header,
                               {packet.vectors.begin(), packet.vectors.end()}});
        };
    }
    size_t bytes() const
    {
        size_t sum = 0;
        for (const StoredCoded &packet : packets)
            sum += packet.data.size();
        return sum;
    }
    std::vector<StoredPacket> stored() const
    {
        std::vector<StoredPacket> list;
        for (const StoredCoded &packet : packets)
            if (!packet.header)
                list.push_back({packet.data, packet.tsms, packet.duration, packet.key});
        return list;
    }
};

/* As the library's parameters come, for a small picture. */
inline orka_iencode_video_params_t encode_setup(uint32_t codec, uint16_t standard = 4, uint32_t width = 176,
                                                uint32_t height = 144)
{
    return {.codec = codec,
            .frame_rate = 30,
            .key_distance = 15,
            .width = width,
            .height = height,
            .word16 = standard,
            .bitrate = 1000};
}

inline std::unique_ptr<VideoEncoder> video_encoder(const orka_iencode_video_params_t &setup)
{
    std::string why;
    auto encoder = VideoEncoder::create(setup, why);
    EXPECT_NE(encoder, nullptr) << why;
    return encoder;
}

inline void feed(VideoEncoder &encoder, std::span<const uint8_t> uyvy, uint32_t width, uint32_t height,
                 uint32_t tsms, SeenCoded &seen)
{
    if (!encoder.encode({uyvy, width, height, tsms}, seen.sink()))
        seen.errors.push_back(encoder.error());
}

inline void drain(VideoEncoder &encoder, SeenCoded &seen)
{
    if (!encoder.drain(seen.sink()))
        seen.errors.push_back(encoder.error());
}

/* ---- Sound ---- */

inline std::vector<int16_t> tone(uint32_t rate, uint32_t channels, size_t samples, double frequency = 440)
{
    std::vector<int16_t> values(samples * channels);
    for (size_t i = 0; i < values.size(); i++)
        values[i] = static_cast<int16_t>(
            8000 * std::sin(2 * std::numbers::pi * frequency * static_cast<double>(i / channels) / rate));
    return values;
}

/* Root of the mean square. */
inline double level(std::span<const int16_t> samples)
{
    double sum = 0;
    for (const int16_t sample : samples)
        sum += static_cast<double>(sample) * sample;
    return std::sqrt(sum / static_cast<double>(samples.size()));
}

inline std::unique_ptr<AudioEncoder> audio_encoder(const orka_iencode_audio_params_t &setup)
{
    std::string why;
    auto encoder = AudioEncoder::create(setup, why);
    EXPECT_NE(encoder, nullptr) << why;
    return encoder;
}

} // namespace orka::board::test

#endif
