/* Clips through the decoders. */
#ifndef ORKA_TESTS_BOARD_DSP_DECODE_H
#define ORKA_TESTS_BOARD_DSP_DECODE_H

#include <algorithm>
#include <cstring>

#include <gtest/gtest.h>

#include "board/dsp/clip.h"

namespace orka::board::test {

constexpr uint8_t guard_byte = 0xA5;
constexpr size_t guard_length = 64;

struct SeenPicture {
    std::string hash;
    int width;
    int height;
    uint32_t tsms;
    uint32_t duration;
    bool key;
    bool damaged;
};

/* A picture's bytes; a byte written beyond them fails the test. offset: from a multiple of 64. */
inline std::vector<uint8_t> uyvy(const Picture &picture, size_t offset = 0)
{
    struct alignas(64) Line {
        uint8_t bytes[64];
    };
    std::vector<Line> room((picture.size() + offset + guard_length) / 64 + 1);
    uint8_t *out = room[0].bytes + offset;
    std::memset(room[0].bytes, guard_byte, room.size() * 64);
    picture.write_uyvy({out, picture.size()});
    EXPECT_TRUE(std::all_of(out + picture.size(), out + picture.size() + guard_length,
                            [](uint8_t byte) { return byte == guard_byte; }))
        << "wrote beyond its " << picture.size() << " bytes";
    return {out, out + picture.size()};
}

struct SeenVideo {
    std::vector<SeenPicture> pictures;
    std::vector<std::string> errors;

    PictureSink sink()
    {
        return [this](std::unique_ptr<Picture> picture) {
            pictures.push_back({hash_of(uyvy(*picture)), picture->width(), picture->height(), picture->tsms(),
                                picture->duration(), picture->key(), picture->damaged()});
        };
    }
    Hashes hashes() const
    {
        Hashes list;
        for (const SeenPicture &picture : pictures)
            list.push_back(picture.hash);
        return list;
    }
};

inline orka_idecode_video_params_t video_setup(uint32_t codec, uint32_t width = 176, uint32_t height = 144)
{
    return {.codec = codec, .width = width, .height = height};
}

inline std::unique_ptr<VideoDecoder> video_decoder(const orka_idecode_video_params_t &setup)
{
    std::string why;
    auto decoder = VideoDecoder::create(setup, why);
    EXPECT_NE(decoder, nullptr) << why;
    return decoder;
}

inline void feed(VideoDecoder &decoder, const std::vector<StoredPacket> &packets, SeenVideo &seen)
{
    for (const StoredPacket &packet : packets)
        if (!decoder.decode(packet.packet(), seen.sink()))
            seen.errors.push_back(decoder.error());
}

inline void feed(VideoDecoder &decoder, const Clip &clip, SeenVideo &seen)
{
    if (!decoder.header(clip.header))
        seen.errors.push_back(decoder.error());
    feed(decoder, clip.packets, seen);
}

inline void feed_to_end(VideoDecoder &decoder, const Clip &clip, SeenVideo &seen)
{
    feed(decoder, clip, seen);
    if (!decoder.drain(seen.sink()))
        seen.errors.push_back(decoder.error());
}

inline SeenVideo decode_video(uint32_t codec, const Clip &clip)
{
    SeenVideo seen;
    feed_to_end(*video_decoder(video_setup(codec, clip.width, clip.height)), clip, seen);
    return seen;
}

struct SeenAudio {
    std::vector<int16_t> samples;
    std::vector<Sound> sounds; /* their samples are in samples */
    std::vector<std::string> errors;

    SoundSink sink()
    {
        return [this](const Sound &sound) {
            samples.insert(samples.end(), sound.samples.begin(), sound.samples.end());
            sounds.push_back(sound);
            sounds.back().samples = {};
        };
    }
};

inline std::unique_ptr<AudioDecoder> audio_decoder(const orka_idecode_audio_params_t &setup)
{
    std::string why;
    auto decoder = AudioDecoder::create(setup, why);
    EXPECT_NE(decoder, nullptr) << why;
    return decoder;
}

/* The setup that a player would make from the clip. */
inline orka_idecode_audio_params_t audio_setup(uint32_t codec, const Clip &clip)
{
    return {.codec = codec,
            .channels = static_cast<uint8_t>(clip.channels),
            .sample_rate = clip.sample_rate,
            .bitrate = clip.bit_rate / 1000,
            .bitrate_bps = clip.bit_rate};
}

inline void feed_to_end(AudioDecoder &decoder, const Clip &clip, SeenAudio &seen)
{
    if (!decoder.header(clip.header))
        seen.errors.push_back(decoder.error());
    for (const StoredPacket &packet : clip.packets)
        if (!decoder.decode(packet.packet(), seen.sink()))
            seen.errors.push_back(decoder.error());
    if (!decoder.drain(seen.sink()))
        seen.errors.push_back(decoder.error());
}

inline SeenAudio decode_audio(const orka_idecode_audio_params_t &setup, const Clip &clip)
{
    SeenAudio seen;
    feed_to_end(*audio_decoder(setup), clip, seen);
    return seen;
}

} // namespace orka::board::test

#endif
