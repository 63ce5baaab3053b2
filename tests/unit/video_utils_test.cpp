#include "orka_video_utils.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include "common/orka_video_utils_internal.h"
#include "support/child.h"
#include "support/frame_models.h"
#include "support/guarded_pages.h"
#include "support/harness.h"

using namespace orka_test;

namespace {

using Bytes = std::vector<uint8_t>;

constexpr uint32_t header_bytes = 22;
constexpr uint8_t stain = 0xC3;

class VideoUtils : public HarnessTest {};

/* Writer */

struct Header {
    int32_t answer;
    uint32_t size;
    Bytes buffer = Bytes(64, stain);

    Bytes written() const { return Bytes(buffer.begin(), buffer.begin() + size); }
};

Header encode(uint32_t width, uint32_t height, uint32_t capacity = 64)
{
    Header header = {.answer = 0, .size = capacity};
    header.answer = orka_video_utils_encode_vol_header(width, height, header.buffer.data(), &header.size);
    return header;
}

Header encode_with(uint32_t mode, uint32_t width, uint32_t height, uint32_t resolution)
{
    Header header = {.answer = 0, .size = 0};
    header.answer = orka_video_utils_encode_vol_header_actual(mode, width, height, resolution,
                                                              header.buffer.data(), &header.size);
    return header;
}

std::string binary(uint32_t value, uint32_t count)
{
    std::string bits;
    for (uint32_t bit = count; bit-- > 0;)
        bits += value >> bit & 1 ? '1' : '0';
    return bits;
}

Bytes bytes_of(const std::string &bits)
{
    Bytes bytes(bits.size() / 8);
    for (size_t i = 0; i < bits.size(); i++)
        bytes[i / 8] = static_cast<uint8_t>(bytes[i / 8] << 1 | (bits[i] - '0'));
    return bytes;
}

/* The bits of a layer whose width and height fit, as they follow each other in the stream. */
std::string layer_bits(uint32_t width, uint32_t height, uint32_t resolution)
{
    std::string bits = binary(0x00000120, 32);
    bits += "0"
            "00000001"
            "0"
            "0001"
            "0"
            "00"
            "1"; /* to the shape and its marker */
    bits += binary(resolution, 16);
    bits += "1"
            "0"
            "1";
    bits += binary(width, 13) + "1" + binary(height, 13);
    bits += "1"
            "0"
            "1"
            "0"
            "0"
            "0"
            "1"
            "1"
            "0"
            "0";
    return bits;
}

const std::string user_data = binary(0x000001B2, 32) + binary(0x7A657068, 32); /* "zeph" */

TEST_F(VideoUtils, AHeaderOf640By480IsTwentyTwoBytes)
{
    const Header header = encode(640, 480);

    EXPECT_EQ(header.answer, 22);
    EXPECT_EQ(header.size, 22u);
    EXPECT_EQ(header.written(), (Bytes{0x00, 0x00, 0x01, 0x20, 0x00, 0x84, 0x40, 0xFA, 0x28, 0xA0, 0x21,
                                       0xE0, 0xA3, 0x1F, 0x00, 0x00, 0x01, 0xB2, 'z',  'e',  'p',  'h'}));
}

TEST_F(VideoUtils, AHeaderIsItsFieldsOneAfterTheOther)
{
    for (uint32_t width : {0u, 1u, 176u, 720u, 4095u, 4096u, 8191u}) {
        for (uint32_t height : {0u, 1u, 144u, 576u, 4095u, 4096u, 8191u}) {
            const std::string bits = layer_bits(width, height, 1000) + "011111" + user_data;
            ASSERT_EQ(encode(width, height).written(), bytes_of(bits)) << width << "x" << height;
        }
    }
}

TEST_F(VideoUtils, AWidthOf0LeavesTheMarker)
{
    const Header header = encode(0, 8191);
    const std::string bits = layer_bits(0, 8191, 1000);

    EXPECT_EQ(bits.substr(69, 14), "00000000000001");
    EXPECT_EQ(header.written(), bytes_of(bits + "011111" + user_data));
}

TEST_F(VideoUtils, WhatTheBufferHeldDoesNotMatter)
{
    const Bytes expected = encode(352, 288).written();

    for (const uint8_t held : Bytes{0x00, 0xFF, 0x55}) {
        Bytes buffer(64, held);
        uint32_t size = 64;
        EXPECT_EQ(orka_video_utils_encode_vol_header(352, 288, buffer.data(), &size), 22);
        EXPECT_EQ(Bytes(buffer.begin(), buffer.begin() + 22), expected);
        EXPECT_TRUE(
            std::all_of(buffer.begin() + 22, buffer.end(), [held](uint8_t byte) { return byte == held; }));
    }
}

TEST_F(VideoUtils, ABufferOfTheRightSizeIsEnough)
{
    const Header header = encode(640, 480, header_bytes);

    EXPECT_EQ(header.answer, 22);
    EXPECT_EQ(header.size, 22u);
}

TEST_F(VideoUtils, ABufferThatIsTooSmallIsReportedAndWrittenAllTheSame)
{
    for (uint32_t capacity : {0u, 1u, 21u}) {
        const Header header = encode(640, 480, capacity);
        EXPECT_EQ(header.answer, ORKA_STATUS_ERROR);
        EXPECT_EQ(header.size, 22u);
        EXPECT_EQ(header.written(), encode(640, 480).written());
        EXPECT_EQ(log.take_error(), error_line("orka_video_utils_encode_vol_header",
                                               "ORKA_VIDEO_UTILS: Buffer Overrun Detected."));
    }
}

TEST_F(VideoUtils, OnlySixteenBitsOfWidthAndHeightAreTaken)
{
    EXPECT_EQ(encode(0x10000 + 640, 0xABC00000u + 480).written(), encode(640, 480).written());
}

TEST_F(VideoUtils, WithoutABufferOrASizeTheProgramEnds)
{
    const Ending buffer = end_of([](Kernel &) {
        uint32_t size = 64;
        orka_video_utils_encode_vol_header(1, 1, nullptr, &size);
    });
    EXPECT_EQ(assertion_complaint(buffer, "src/common/orka_video_utils.cpp",
                                  "orka_video_utils_encode_vol_header", "buffer != ((void *)0)"),
              "");
    const Ending size = end_of([](Kernel &) {
        uint8_t bytes[64];
        orka_video_utils_encode_vol_header(1, 1, bytes, nullptr);
    });
    EXPECT_EQ(assertion_complaint(size, "src/common/orka_video_utils.cpp",
                                  "orka_video_utils_encode_vol_header", "size != ((void *)0)"),
              "");
}

TEST_F(VideoUtils, InOtherModesAVisualObjectComesFirst)
{
    const std::string bits = binary(0x00000100, 32) + layer_bits(640, 480, 25) + "011111" + user_data;

    for (uint32_t mode : {0u, 2u, UINT32_MAX}) {
        const Header header = encode_with(mode, 640, 480, 25);
        EXPECT_EQ(header.answer, 26);
        EXPECT_EQ(header.size, 26u);
        EXPECT_EQ(header.written(), bytes_of(bits));
    }
}

TEST_F(VideoUtils, InModeOneTheWorkerWritesWhatTheExportedWriterDoes)
{
    EXPECT_EQ(encode_with(1, 640, 480, 1000).written(), encode(640, 480).written());
    EXPECT_EQ(encode_with(1, 640, 480, 0x10000 + 30000).written(),
              bytes_of(layer_bits(640, 480, 30000) + "011111" + user_data));
}

/* Bits as the writer appends them: a field that is too narrow spoils what its byte already holds. */
class WriterModel {
  public:
    void put(uint32_t value, uint32_t count)
    {
        value &= 0xFFFF;
        while (count > 0) {
            const uint32_t room = 8 - filled_;
            const uint32_t taken = std::min(count, room);
            const uint32_t top = value >> (count - taken);
            current_ = (current_ << taken | top) & 0xFF;
            value &= (1u << (count - taken)) - 1;
            count -= taken;
            filled_ += taken;
            if (filled_ == 8) {
                bytes_.push_back(static_cast<uint8_t>(current_));
                filled_ = 0;
                current_ = 0;
            }
        }
    }

    const Bytes &bytes() const { return bytes_; }

  private:
    Bytes bytes_;
    uint32_t current_ = 0;
    uint32_t filled_ = 0;
};

Bytes header_of(uint32_t width, uint32_t height, uint32_t resolution)
{
    WriterModel model;

    for (auto [count, value] : std::initializer_list<std::pair<uint32_t, uint32_t>>{{16, 0},
                                                                                    {16, 0x0120},
                                                                                    {14, 33},
                                                                                    {4, 1},
                                                                                    {16, resolution},
                                                                                    {3, 5},
                                                                                    {14, width * 2 + 1},
                                                                                    {13, height},
                                                                                    {10, 652},
                                                                                    {6, 0x1F},
                                                                                    {16, 0},
                                                                                    {16, 0x01B2},
                                                                                    {8, 'z'},
                                                                                    {8, 'e'},
                                                                                    {8, 'p'},
                                                                                    {8, 'h'}})
        model.put(value, count);
    return model.bytes();
}

TEST_F(VideoUtils, LargerSizesSpillIntoTheBitsBefore)
{
    std::mt19937 random(72);

    EXPECT_EQ(encode(8191, 8191).written(), header_of(8191, 8191, 1000));
    EXPECT_NE(encode(0xFFFF, 0).written()[8], encode(8191, 0).written()[8]);
    for (int i = 0; i < 20000; i++) {
        const uint32_t width = static_cast<uint32_t>(random());
        const uint32_t height = static_cast<uint32_t>(random());
        const uint32_t resolution = static_cast<uint32_t>(random());
        ASSERT_EQ(encode_with(1, width, height, resolution).written(), header_of(width, height, resolution))
            << width << "x" << height << " at " << resolution;
    }
}

/* Bits */

TEST_F(VideoUtils, BitsAreAppendedHighestFirst)
{
    uint8_t buffer[3] = {0xFF, 0xFF, 0xFF};

    puFirsttBits();
    EXPECT_EQ(putBits(0b101, 3, buffer), 3u);
    EXPECT_EQ(buffer[0], 0b11111101) << "what stood there is shifted on";
    EXPECT_EQ(putBits(0b00110, 5, buffer), 5u);
    EXPECT_EQ(buffer[0], 0b10100110);
    EXPECT_EQ(putBits(0xABCD, 16, buffer), 16u);
    EXPECT_EQ(buffer[1], 0xAB);
    EXPECT_EQ(buffer[2], 0xCD);
}

TEST_F(VideoUtils, OfAFieldThatEndsWithinAByteNothingIsLeftAboveIt)
{
    uint8_t buffer[2] = {};

    puFirsttBits();
    EXPECT_EQ(putBits(0xFFFF, 12, buffer), 12u);
    EXPECT_EQ(buffer[0], 0xFF);
    EXPECT_EQ(buffer[1], 0x0F);
}

TEST_F(VideoUtils, AResetBeginsAtTheStartOfTheBuffer)
{
    uint8_t buffer[2] = {};

    puFirsttBits();
    putBits(1, 3, buffer);
    puFirsttBits();
    putBits(0xFF, 8, buffer);
    EXPECT_EQ(buffer[0], 0xFF);
    EXPECT_EQ(buffer[1], 0);
}

TEST_F(VideoUtils, AFieldOfNoBitsWritesNone)
{
    uint8_t buffer[1] = {0x5A};

    puFirsttBits();
    EXPECT_EQ(putBits(0, 0, buffer), 0u);
    EXPECT_EQ(buffer[0], 0x5A);
}

TEST_F(VideoUtils, NothingIsWrittenBehindSixtyFourBytes)
{
    uint8_t buffer[66] = {};

    puFirsttBits();
    for (int i = 0; i < 64; i++)
        EXPECT_EQ(putBits(0xEE, 8, buffer), 8u);
    EXPECT_EQ(putBits(0xFF, 8, buffer), 0u);
    EXPECT_EQ(putBits(0xFFFF, 16, buffer), 0u);
    EXPECT_EQ(buffer[63], 0xEE);
    EXPECT_EQ(buffer[64], 0);
}

/* Finder */

constexpr uint32_t untouched = 4711;

struct Found {
    ptrdiff_t position; /* -1 for null */
    uint32_t length;

    bool operator==(const Found &) const = default;
};

std::ostream &operator<<(std::ostream &stream, const Found &found)
{
    return stream << found.length << " bytes at " << found.position;
}

constexpr Found nothing = {-1, 0};

Found find(const Bytes &bytes)
{
    static GuardedPages pages(4096);
    const uint8_t *data = pages.copy_to_end(bytes);
    const orka_iencode_frame_t frame = {.addr = static_cast<uint32_t>(reinterpret_cast<uintptr_t>(data)),
                                        .size = static_cast<uint32_t>(bytes.size())};
    uint32_t length = untouched;
    const uint8_t *header = orka_video_utils_find_vol_header(&frame, &length);

    return {header != nullptr ? header - data : -1, length};
}

/* A frame of so many bytes 55, with a header at one place and another start code at the other. */
Bytes frame_with(size_t size, size_t header, size_t next)
{
    Bytes bytes(size, 0x55);
    const Bytes vol = {0, 0, 1, 0x20};
    const Bytes prefix = {0, 0, 1};

    std::copy_n(vol.begin(), std::min(vol.size(), size - header),
                bytes.begin() + static_cast<ptrdiff_t>(header));
    std::copy_n(prefix.begin(), std::min(prefix.size(), size - next),
                bytes.begin() + static_cast<ptrdiff_t>(next));
    return bytes;
}

TEST_F(VideoUtils, WithoutAFrameTheProgramEnds)
{
    const Ending ending = end_of([](Kernel &) {
        uint32_t length = 0;
        orka_video_utils_find_vol_header(nullptr, &length);
    });
    EXPECT_EQ(assertion_complaint(ending, "src/common/orka_video_utils.cpp",
                                  "orka_video_utils_find_vol_header", "frame != ((void *)0)"),
              "");
}

TEST_F(VideoUtils, AFrameOfFewerThanTwelveBytesLeavesTheLength)
{
    for (size_t size = 0; size < 12; size++)
        EXPECT_EQ(find(Bytes(size)), (Found{-1, untouched}));
    EXPECT_EQ(find({0, 0, 1, 0x20, 9, 0, 0, 1, 9, 9, 9}), (Found{-1, untouched}));
    EXPECT_EQ(find({0, 0, 1, 0x20, 9, 0, 0, 1, 9, 9, 9, 9}), (Found{0, 5}));
}

TEST_F(VideoUtils, AHeaderWithNothingBehindItIsNone)
{
    EXPECT_EQ(find({0, 0, 1, 0x20, 9, 9, 9, 9, 9, 9, 9, 9}), nothing);
    EXPECT_EQ(find(frame_with(69, 0, 68)), nothing) << "four bytes short of 65 and what follows";
}

TEST_F(VideoUtils, AFrameWithoutAHeaderHasNone)
{
    for (size_t size = 12; size < 200; size++)
        EXPECT_EQ(find(Bytes(size, 0x55)), nothing) << size;
}

TEST_F(VideoUtils, AHeaderReachesToTheNextStartCode)
{
    for (size_t next = 5; next <= 64; next++)
        EXPECT_EQ(find(frame_with(100, 7, 7 + next)), (Found{7, static_cast<uint32_t>(next)}));
}

TEST_F(VideoUtils, AStartCodeRightBehindTheHeadersOwnIsNotSeen)
{
    EXPECT_EQ(find(frame_with(100, 0, 4)), (Found{0, 65}));
}

TEST_F(VideoUtils, AHeaderIsNoLongerThanSixtyFiveBytes)
{
    EXPECT_EQ(find(frame_with(100, 0, 65)), (Found{0, 65}));
    EXPECT_EQ(find(frame_with(100, 0, 80)), (Found{0, 65}));
    EXPECT_EQ(find(frame_with(70, 0, 69)), (Found{0, 65}));
}

TEST_F(VideoUtils, AStartCodeInTheLastFourBytesIsNotSeen)
{
    EXPECT_EQ(find(frame_with(30, 0, 25)), (Found{0, 25}));
    EXPECT_EQ(find(frame_with(30, 0, 26)), nothing);
}

TEST_F(VideoUtils, AHeaderInTheLastTenBytesHasNothingBehindIt)
{
    EXPECT_EQ(find(frame_with(40, 30, 35)), (Found{30, 5}));
    EXPECT_EQ(find(frame_with(40, 31, 36)), nothing);
}

TEST_F(VideoUtils, TheFirstHeaderIsTaken)
{
    Bytes bytes = frame_with(100, 10, 40);
    bytes[43] = 0x20;
    EXPECT_EQ(find(bytes), (Found{10, 30}));
    bytes[13] = 0x21;
    EXPECT_EQ(find(bytes), nothing) << "the second one has no start code behind it";
}

TEST_F(VideoUtils, AWrittenHeaderIsFoundToItsUserData)
{
    Bytes stream = encode(640, 480).written();
    const Bytes picture = {0, 0, 1, 0xB6, 0x10, 0x20, 0x30, 0x40};

    stream.insert(stream.begin(), {0, 0, 1, 0xB0, 1});
    stream.insert(stream.end(), picture.begin(), picture.end());
    EXPECT_EQ(find(stream), (Found{5, 14}));
}

} // namespace
