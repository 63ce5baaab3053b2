/* Clips that the ffmpeg tool makes, what they hold, and what the tool decodes them to. */
#ifndef ORKA_TESTS_BOARD_DSP_CLIP_H
#define ORKA_TESTS_BOARD_DSP_CLIP_H

#include <cstdint>
#include <string>
#include <vector>

#include "dsp/codec.h"

namespace orka::board::test {

struct StoredPacket {
    std::vector<uint8_t> data;
    uint32_t tsms = 0;
    uint32_t duration = 0;
    bool key = false;

    Packet packet() const { return {data, tsms, duration, key}; }
};

/* The only stream of a clip. */
struct Clip {
    std::string path;
    std::vector<uint8_t> header;
    std::vector<StoredPacket> packets;
    uint32_t width = 0;
    uint32_t height = 0;
    uint32_t sample_rate = 0;
    uint32_t channels = 0;
    uint32_t bit_rate = 0;
    uint32_t block_align = 0;
};

/*
 * The file that ffmpeg makes with these arguments; made at the first call, kept for later runs. Empty on
 * failure.
 */
std::string make_file(const std::string &arguments, const std::string &suffix);
/* input: options for reading it. */
Clip read_clip(const std::string &path, const std::string &input = {});
Clip make_clip(const std::string &arguments, const std::string &suffix);

/* What a picture is told by: bytes and MD5 of its UYVY form, as "49416 23d1...". */
using Hashes = std::vector<std::string>;
std::string hash_of(std::span<const uint8_t> picture);
/* scaling: more options of the conversion. */
Hashes ffmpeg_hashes(const std::string &path, const std::string &input = {}, const std::string &scaling = {});
std::vector<int16_t> ffmpeg_samples(const std::string &path, const std::string &input = {});

/* A moving picture of that size. */
std::string moving_picture(int width, int height, double seconds, const std::string &pixels = "yuv420p");

std::vector<uint8_t> read_file(const std::string &path);
/* Beside the clips; the name is the test's own. */
std::string write_file(const std::string &name, std::span<const uint8_t> data);

} // namespace orka::board::test

#endif
