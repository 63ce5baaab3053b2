/*
 * Scans one buffer again and again, for a program that counts its instructions.
 *
 *     start_code_count SCAN INPUT SIZE ROUNDS
 *
 * SCAN is `library` or `byte_loop`, INPUT one of the names below. The start code that is looked for is not
 * there.
 */
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "orka_media.h"
#include "start_code_input.h"

using orka::bench::Bytes;

static Bytes make_input(const std::string &name, size_t size)
{
    if (name == "random")
        return orka::bench::random_bytes(size, 0);
    if (name == "quarter_of_00")
        return orka::bench::random_bytes(size, 1);
    if (name == "all_00")
        return Bytes(size, 0);
    if (name == "all_01")
        return Bytes(size, 1);
    fprintf(stderr, "start_code_count: no input '%s'\n", name.c_str());
    exit(2);
}

static bool library(const Bytes &bytes)
{
    return orka_media_check_video_Pframe(bytes.data(), static_cast<uint32_t>(bytes.size()),
                                         ORKA_VIDEO_TYPE_H264) == 0;
}

/* The volatile pointer keeps the compiler from making anything else of it. */
static bool byte_loop(const Bytes &bytes)
{
    const uint8_t *volatile start = bytes.data();
    const uint8_t *data = start;

    for (size_t i = 0; i + 5 < bytes.size(); i++) {
        if (data[i] == 0 && data[i + 1] == 0 && data[i + 2] == 1 &&
            (data[i + 3] == 0x57 || data[i + 3] == 0x07))
            return true;
    }
    return false;
}

int main(int argc, char **argv)
{
    if (argc != 5) {
        fprintf(stderr, "usage: start_code_count SCAN INPUT SIZE ROUNDS\n");
        return 2;
    }
    const auto scan = strcmp(argv[1], "library") == 0 ? library : byte_loop;
    const Bytes bytes = make_input(argv[2], strtoul(argv[3], nullptr, 10));
    const unsigned long rounds = strtoul(argv[4], nullptr, 10);

    for (unsigned long round = 0; round < rounds; round++) {
        if (scan(bytes))
            return 1;
    }
    return 0;
}
