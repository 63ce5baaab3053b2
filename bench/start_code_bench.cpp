/*
 * Scanning encoded frames for start codes, beside what else a program would take for it. What is looked for
 * is in none of the inputs, so that everybody reads all of them; that everybody would find it wherever a
 * start code stands is checked before anything is measured.
 */
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "orka_media.h"
#include "ratio_table.h"
#include "start_code_input.h"

using orka::bench::Bytes;

/* libavcodec's own scan; no header declares it. state holds the last four bytes across calls. */
extern "C" const uint8_t *avpriv_find_start_code(const uint8_t *p, const uint8_t *end, uint32_t *state);

static constexpr size_t frame_bytes = 128 * 1024;
static constexpr size_t short_frame_bytes = 40;

/* Behind 00 00 01; two bytes more have to follow. */
static bool is_wanted(uint32_t code)
{
    return code == 0x57 || code == 0x07;
}

/* The scans. Each tells whether a wanted start code is there. */

static bool library(const uint8_t *data, size_t size)
{
    return orka_media_check_video_Pframe(data, static_cast<uint32_t>(size), ORKA_VIDEO_TYPE_H264) == 0;
}

static bool libavcodec(const uint8_t *data, size_t size)
{
    const uint8_t *at = data;
    const uint8_t *end = data + size - 2;
    uint32_t state = UINT32_MAX;

    while (at < end) {
        at = avpriv_find_start_code(at, end, &state);
        if ((state & 0xFFFFFF00) == 0x00000100 && is_wanted(state & 0xFF))
            return true;
    }
    return false;
}

static bool libc_memmem(const uint8_t *data, size_t size)
{
    static const uint8_t prefix[] = {0, 0, 1};
    const uint8_t *end = data + size - 3; /* of the prefixes that have three bytes behind them */

    for (const uint8_t *at = data;; at++) {
        at = static_cast<const uint8_t *>(memmem(at, static_cast<size_t>(end - at), prefix, sizeof prefix));
        if (at == nullptr)
            return false;
        if (is_wanted(at[3]))
            return true;
    }
}

static bool byte_loop(const uint8_t *data, size_t size)
{
    for (size_t i = 0; i + 5 < size; i++) {
        if (data[i] == 0 && data[i + 1] == 0 && data[i + 2] == 1 && is_wanted(data[i + 3]))
            return true;
    }
    return false;
}

struct Scan {
    const char *name;
    bool (*run)(const uint8_t *data, size_t size);
};

static constexpr Scan scans[] = {
    {"library", library}, {"libavcodec", libavcodec}, {"memmem", libc_memmem}, {"byte_loop", byte_loop}};

/* The inputs */

struct Input {
    std::string name;
    Bytes bytes;
};

[[noreturn]] static void give_up(const std::string &why)
{
    fprintf(stderr, "orka_bench_start_code: %s\n", why.c_str());
    exit(1);
}

/* A quarter of a megabyte of coded pictures is more than a frame; what is too much is left in the pipe. */
static Bytes encoded(const std::string &codec)
{
    const std::string command = "ffmpeg -v error -f lavfi -i testsrc2=size=720x480:rate=30:duration=4 " +
                                codec + " pipe:1 2>/dev/null";
    FILE *pipe = popen(command.c_str(), "r");
    Bytes bytes(frame_bytes);

    if (pipe == nullptr || fread(bytes.data(), 1, bytes.size(), pipe) != bytes.size())
        give_up("no stream from: " + command);
    pclose(pipe);
    return bytes;
}

static Bytes repeated(const Bytes &pattern)
{
    Bytes bytes(frame_bytes);

    for (size_t i = 0; i < bytes.size(); i++)
        bytes[i] = pattern[i % pattern.size()];
    return bytes;
}

static const std::vector<Input> &inputs()
{
    using orka::bench::random_bytes;
    static const std::vector<Input> all = {
        {"random", random_bytes(frame_bytes, 0)},
        {"mpeg4", encoded("-c:v mpeg4 -q:v 3 -f m4v")},
        {"h264", encoded("-c:v libx264 -preset fast -pix_fmt yuv420p -f h264")},
        {"quarter_of_00", random_bytes(frame_bytes, 1)},
        {"all_00", repeated({0x00})},
        {"all_01", repeated({0x01})},
        {"codes_alone", repeated({0x00, 0x00, 0x01, 0xB6})},
        {"short", random_bytes(short_frame_bytes, 0)},
    };
    return all;
}

/* The same positions for everybody */

static std::vector<size_t> prefixes_of(const Bytes &bytes)
{
    std::vector<size_t> positions;

    for (size_t i = 0; i + 5 < bytes.size(); i++) {
        if (bytes[i] == 0 && bytes[i + 1] == 0 && bytes[i + 2] == 1)
            positions.push_back(i);
    }
    return positions;
}

static void expect(const Scan &scan, const Input &input, const Bytes &bytes, bool found)
{
    if (scan.run(bytes.data(), bytes.size()) != found)
        give_up(std::string(scan.name) + (found ? " misses a start code in " : " sees too much in ") +
                input.name);
}

/* Everywhere, or, where there are many, at fifty of them. */
static void check_positions(const Scan &scan, const Input &input)
{
    const std::vector<size_t> positions = prefixes_of(input.bytes);
    const size_t step = positions.size() / 50 + 1;
    Bytes bytes = input.bytes;

    expect(scan, input, bytes, false);
    for (size_t i = 0; i < positions.size(); i += step) {
        uint8_t &code = bytes[positions[i] + 3];
        const uint8_t saved = code;

        code = 0x57;
        expect(scan, input, bytes, true);
        code = saved;
    }
}

static void measure(benchmark::State &state, const Scan &scan, const Input &input)
{
    const uint8_t *data = input.bytes.data();

    for (auto _ : state) {
        benchmark::DoNotOptimize(data);
        benchmark::DoNotOptimize(scan.run(data, input.bytes.size()));
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * input.bytes.size()));
}

int main(int argc, char **argv)
{
    static constexpr orka::bench::ratio_row rows[] = {
        {"library_random", "libavcodec_random", 0.125},
        {"library_mpeg4", "libavcodec_mpeg4", 0.125},
        {"library_h264", "libavcodec_h264", 0.125},
        {"library_quarter_of_00", "libavcodec_quarter_of_00", 1.0},
        {"library_all_00", "libavcodec_all_00", 1.0},
        {"library_all_01", "libavcodec_all_01", 1.0},
        {"library_codes_alone", "libavcodec_codes_alone", 1.0},
        {"library_short", "libavcodec_short", 1.0},
        {"library_random", "memmem_random", 0},
        {"library_quarter_of_00", "memmem_quarter_of_00", 0},
        {"library_all_00", "memmem_all_00", 0},
        {"library_random", "byte_loop_random", 0},
        {"library_quarter_of_00", "byte_loop_quarter_of_00", 0},
        {"library_all_00", "byte_loop_all_00", 0},
    };

    for (const Input &input : inputs()) {
        for (const Scan &scan : scans) {
            check_positions(scan, input);
            benchmark::RegisterBenchmark((scan.name + ("_" + input.name)).c_str(),
                                         [&](benchmark::State &state) { measure(state, scan, input); });
        }
    }
    return orka::bench::run_and_compare(argc, argv, rows);
}
