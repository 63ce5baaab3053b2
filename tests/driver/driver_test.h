/* What the tests of the driver operations share: the drivers' nodes, and bytes as they go over the wire. */
#ifndef ORKA_TESTS_DRIVER_TEST_H
#define ORKA_TESTS_DRIVER_TEST_H

#include <cerrno>
#include <cstring>
#include <initializer_list>
#include <string>
#include <vector>

#include "orka_idevice.h"
#include "orka_status.h"
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

/* Any record as the bytes it is made of. */
template <typename Record>
Bytes bytes_of(const Record &record)
{
    const uint8_t *bytes = reinterpret_cast<const uint8_t *>(&record);
    return {bytes, bytes + sizeof record};
}

/* Thirteen words that tell where they are; the fourth is the buffer's address. */
template <typename Frame>
Frame frame_at(uint32_t address)
{
    Frame frame;
    for (uint32_t i = 0; i < 13; i++)
        set_word(&frame, 4 * i, 0xF0000000 + i);
    frame.addr = address;
    return frame;
}

/* A driver node: its names, and what the registry says when none of them opens. */
struct Device {
    const char *node;
    const char *fallback; /* may be null */
    const char *accessor;
    const char *failure;

    /* In the order in which they are tried. */
    std::vector<std::string> names() const
    {
        return fallback ? std::vector<std::string>{node, fallback} : std::vector<std::string>{node};
    }

    /* The registry's line; the errno is that of the name tried last. */
    std::string missing_line(int error) const { return error_line(accessor, failure, error); }
};

inline constexpr Device audio_encoder = {"/dev/aencode", "/dev/aencode0", "orka_idevice_iaencode_fd",
                                         "ORKA_IDEVICE: Opening IADECODE Device '/dev/idecode'."};
inline constexpr Device common_encoder = {"/dev/iencode", nullptr, "orka_idevice_iencode_fd",
                                          "ORKA_IDEVICE: Opening IENCODE Device '/dev/iencode'."};
inline constexpr Device video_encoder0 = {"/dev/vencode0", nullptr, "orka_idevice_ivencode_fd",
                                          "ORKA_IDEVICE: Opening IVENCODE Device '/dev/vencode0'."};
inline constexpr Device video_encoder3 = {"/dev/vencode3", nullptr, "orka_idevice_ivencode_fd",
                                          "ORKA_IDEVICE: Opening IVENCODE Device '/dev/vencode3'."};
inline constexpr Device mv_encoder0 = {"/dev/vmvencode0", nullptr, "orka_idevice_ivmvencode_fd",
                                       "ORKA_IDEVICE: Opening IVMVENCODE Device '/dev/vmvencode0'."};
inline constexpr Device mv_encoder3 = {"/dev/vmvencode3", nullptr, "orka_idevice_ivmvencode_fd",
                                       "ORKA_IDEVICE: Opening IVMVENCODE Device '/dev/vmvencode3'."};
inline constexpr Device image_encoder = {"/dev/imgencode", "/dev/imgenc", "orka_idevice_imgenc_fd",
                                         "ORKA_IDEVICE: Opening Image Encoding Device '/dev/imgencode'."};
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

/* A node was opened, and asked for the same twice. */
inline void expect_one_request_twice(const Kernel &kernel)
{
    const std::vector<Call> asked = kernel.calls(Fn::ioctl);
    ASSERT_EQ(asked.size(), 2u);
    EXPECT_EQ(asked[0].fd, asked[1].fd);
    EXPECT_EQ(asked[0].request, asked[1].request);
    EXPECT_EQ(asked[0].sent(), asked[1].sent());
    EXPECT_EQ(kernel.calls(Fn::open).size(), 1u);
}

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
