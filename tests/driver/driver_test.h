/* What the tests of the driver operations share: the decoder's nodes, and bytes as they go over the wire. */
#ifndef ORKA_TESTS_DRIVER_TEST_H
#define ORKA_TESTS_DRIVER_TEST_H

#include <cerrno>
#include <cstring>
#include <initializer_list>
#include <string>
#include <vector>

#include "orka_idecode.h"
#include "orka_idevice.h"
#include "support/child.h"
#include "support/harness.h"

namespace orka_test {

using Bytes = std::vector<uint8_t>;

/* 32-bit words in the order of the wire, least significant byte first. */
inline Bytes words(std::initializer_list<int64_t> values)
{
    Bytes bytes;
    for (int64_t value : values) {
        for (int shift = 0; shift < 32; shift += 8)
            bytes.push_back(static_cast<uint8_t>(value >> shift));
    }
    return bytes;
}

inline Bytes operator+(Bytes first, const Bytes &second)
{
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

inline Bytes zeros(size_t count)
{
    return Bytes(count);
}

inline Bytes text(const std::string &string, size_t width)
{
    Bytes bytes(string.begin(), string.end());
    bytes.resize(width);
    return bytes;
}

inline void set_word(void *record, size_t offset, uint32_t value)
{
    memcpy(static_cast<char *>(record) + offset, &value, sizeof value);
}

/* A driver node: its names, and what the registry says when none of them opens. */
struct Device {
    const char *node;
    const char *fallback;
    const char *accessor;
    const char *failure;

    /* The registry's line; the errno is that of the name tried last. */
    std::string missing_line(int error) const { return error_line(accessor, failure, error); }
};

inline constexpr Device audio_decoder = {"/dev/adecode", "/dev/adecode0", "orka_idevice_iadecode_fd",
                                         "ORKA_IDEVICE: Opening IADECODE Device '/dev/idecode'."};
inline constexpr Device video_decoder = {"/dev/vdecode", "/dev/vdecode0", "orka_idevice_ivdecode_fd",
                                         "ORKA_IDEVICE: Opening IVDECODE Device '/dev/idecode'."};
inline constexpr Device image_decoder = {
    "/dev/imgdecode", "/dev/imgd0", "orka_idevice_imgdec_fd",
    "ORKA_IDEVICE: Opening Image Decoding and Display Device '/dev/imgdecode'."};
inline constexpr Device subtitle_decoder = {
    "/dev/subtldecode", nullptr, "orka_idevice_subtitle_fd",
    "ORKA_IDEVICE: Opening Subtitle Decode Device '/dev/subtldecode'."};
inline constexpr Device memory = {"/dev/mem", nullptr, "orka_idevice_imem_fd",
                                  "ORKA_IDEVICE: Opening IMEM Device '/dev/mem'."};

/* The library keeps its descriptors to the end of the process; here, to the end of the test. */
class DriverTest : public HarnessTest {
  protected:
    void TearDown() override
    {
        orka_idevice_close_atexit();
        HarnessTest::TearDown();
    }

    /* The one request that the test made. */
    Call only_request()
    {
        std::vector<Call> calls = kernel.calls(Fn::ioctl);
        EXPECT_EQ(calls.size(), 1u);
        return calls.empty() ? Call{} : calls[0];
    }
};

} // namespace orka_test

#endif
