/* What an encoded frame holds: key frames, P-frames, recovery points; and the search and the bits behind it.
 */
#include "orka_media.h"

#include <gtest/gtest.h>
#include <random>
#include <string>
#include <vector>

#include "common/orka_media_internal.h"
#include "support/child.h"
#include "support/frame_models.h"
#include "support/guarded_pages.h"
#include "support/harness.h"

using namespace orka_test;

namespace {

using Bytes = std::vector<uint8_t>;

constexpr int32_t known_types[] = {ORKA_VIDEO_TYPE_H263, ORKA_VIDEO_TYPE_H264, ORKA_VIDEO_TYPE_MPEG2,
                                   ORKA_VIDEO_TYPE_MPEG4};

int32_t key_frame(const Bytes &bytes, int32_t type)
{
    return orka_media_check_video_keyframe(bytes.data(), static_cast<uint32_t>(bytes.size()), type);
}

int32_t p_frame(const Bytes &bytes, int32_t type)
{
    return orka_media_check_video_Pframe(bytes.data(), static_cast<uint32_t>(bytes.size()), type);
}

std::string repeated(const std::string &line, int times)
{
    std::string lines;
    for (int i = 0; i < times; i++)
        lines += line;
    return lines;
}

class MediaFrame : public HarnessTest {};

/* Frame checks */

TEST_F(MediaFrame, ChecksOfNothingEndTheProcess)
{
    const Ending key = end_of([](Kernel &) { orka_media_check_video_keyframe(nullptr, 0, -1); });
    EXPECT_EQ(assertion_complaint(key, "src/common/orka_media.cpp", "orka_media_check_video_keyframe",
                                  "framebuffer != ((void *)0)"),
              "");
    const Ending p = end_of([](Kernel &) { orka_media_check_video_Pframe(nullptr, 0, -1); });
    EXPECT_EQ(assertion_complaint(p, "src/common/orka_media.cpp", "orka_media_check_video_Pframe",
                                  "framebuffer != ((void *)0)"),
              "");
}

TEST_F(MediaFrame, NothingIsFoundInFewerThanSixBytes)
{
    const Bytes key = {0, 0, 1, 0x65, 0, 0};
    const Bytes p = {0, 0, 1, 0x07, 0, 0};

    EXPECT_EQ(orka_media_check_video_keyframe(key.data(), 6, ORKA_VIDEO_TYPE_H264), 0);
    EXPECT_EQ(orka_media_check_video_Pframe(p.data(), 6, ORKA_VIDEO_TYPE_H264), 0);
    for (uint32_t size = 0; size < 6; size++) {
        EXPECT_EQ(orka_media_check_video_keyframe(key.data(), size, ORKA_VIDEO_TYPE_H264), -1);
        EXPECT_EQ(orka_media_check_video_Pframe(p.data(), size, ORKA_VIDEO_TYPE_H264), -1);
    }
}

TEST_F(MediaFrame, TypesThatAreNotKnownAreNotReportedWhereThereIsNoPosition)
{
    const Bytes bytes(5);
    for (uint32_t size = 0; size < 6; size++) {
        EXPECT_EQ(orka_media_check_video_keyframe(bytes.data(), size, ORKA_VIDEO_TYPE_MJPEG), -1);
        EXPECT_EQ(orka_media_check_video_Pframe(bytes.data(), size, ORKA_VIDEO_TYPE_MJPEG), -1);
    }
}

TEST_F(MediaFrame, AnMpeg4PictureIsToldByTwoDifferentBytes)
{
    for (int32_t type : {ORKA_VIDEO_TYPE_MPEG4, ORKA_VIDEO_TYPE_H263}) {
        EXPECT_EQ(key_frame({0, 0, 1, 0xB6, 0, 0}, type), 0);
        EXPECT_EQ(p_frame({0, 0, 1, 0xB6, 0, 0}, type), -1);
        EXPECT_EQ(key_frame({0, 0, 1, 0xB6, 0x41, 0x01}, type), -1);
        EXPECT_EQ(p_frame({0, 0, 1, 0xB6, 0x41, 0x01}, type), 0);
        EXPECT_EQ(key_frame({0, 0, 1, 0xB0, 0x41, 0x01}, type), 0);
        EXPECT_EQ(p_frame({0, 0, 1, 0xB0, 0x41, 0x01}, type), -1);
    }
}

TEST_F(MediaFrame, AnH264FrameIsToldByItsUnitType)
{
    for (const uint8_t code : Bytes{0x67, 0x27, 0x65, 0x25})
        EXPECT_EQ(key_frame({0, 0, 1, code, 9, 9}, ORKA_VIDEO_TYPE_H264), 0);
    for (const uint8_t code : Bytes{0x57, 0x07})
        EXPECT_EQ(p_frame({0, 0, 1, code, 9, 9}, ORKA_VIDEO_TYPE_H264), 0);
    EXPECT_EQ(key_frame({0, 0, 1, 0x41, 9, 9}, ORKA_VIDEO_TYPE_H264), -1);
    EXPECT_EQ(p_frame({0, 0, 1, 0x41, 9, 9}, ORKA_VIDEO_TYPE_H264), -1);
}

TEST_F(MediaFrame, AnMpeg2SequenceAnswersBothQuestions)
{
    EXPECT_EQ(key_frame({0, 0, 1, 0xB3, 9, 9}, ORKA_VIDEO_TYPE_MPEG2), 0);
    EXPECT_EQ(p_frame({0, 0, 1, 0xB3, 9, 9}, ORKA_VIDEO_TYPE_MPEG2), 0);
    EXPECT_EQ(key_frame({0, 0, 1, 0x00, 9, 9}, ORKA_VIDEO_TYPE_MPEG2), -1);
}

TEST_F(MediaFrame, EveryCodeOfEveryTypeIsJudgedAsInTheTable)
{
    for (unsigned value = 0; value < 256 * 64; value++) {
        const uint8_t code = static_cast<uint8_t>(value >> 6);
        const uint8_t low = value & 7;
        const uint8_t high = value >> 3 & 7;
        const Bytes bytes = {
            0, 0, 1, code, static_cast<uint8_t>(low << 5 | low), static_cast<uint8_t>(high << 5 | high)};
        for (int32_t type : known_types) {
            ASSERT_EQ(key_frame(bytes, type), key_frame_answer(bytes, type)) << value << " type " << type;
            ASSERT_EQ(p_frame(bytes, type), p_frame_answer(bytes, type)) << value << " type " << type;
        }
    }
}

TEST_F(MediaFrame, APrefixIsAllOfThreeBytes)
{
    for (unsigned value = 0; value < 256; value++) {
        const uint8_t byte = static_cast<uint8_t>(value);
        EXPECT_EQ(key_frame({byte, 0, 1, 0x65, 9, 9}, ORKA_VIDEO_TYPE_H264), value == 0 ? 0 : -1);
        EXPECT_EQ(key_frame({0, byte, 1, 0x65, 9, 9}, ORKA_VIDEO_TYPE_H264), value == 0 ? 0 : -1);
        EXPECT_EQ(key_frame({0, 0, byte, 0x65, 9, 9}, ORKA_VIDEO_TYPE_H264), value == 1 ? 0 : -1);
    }
}

TEST_F(MediaFrame, ACodeThatDoesNotMatchDoesNotEndTheSearch)
{
    EXPECT_EQ(key_frame({0, 0, 1, 0x41, 0, 0, 1, 0x65, 0, 0}, ORKA_VIDEO_TYPE_H264), 0);
    EXPECT_EQ(key_frame({0, 0, 1, 0, 0, 1, 0x65, 0, 0}, ORKA_VIDEO_TYPE_H264), 0);
    EXPECT_EQ(key_frame({0, 0, 0, 0, 1, 0x65, 0, 0}, ORKA_VIDEO_TYPE_H264), 0);
}

/* Each size, each position, behind each of several fillings, at each end of the pages. */
TEST_F(MediaFrame, ACodeIsFoundWhereverThreeBytesFollowItAndNoByteBeyondIsRead)
{
    GuardedPages pages(4096);

    for (const uint8_t filling : Bytes{0x00, 0x01, 0x02, 0xFF}) {
        for (size_t size = 6; size <= 170; size++) {
            for (size_t at = 0; at + 4 <= size; at++) {
                Bytes bytes(size, filling);
                const Bytes code = {0, 0, 1, 0x57};
                std::copy(code.begin(), code.end(), bytes.begin() + static_cast<ptrdiff_t>(at));
                const uint8_t *frame = pages.copy_to_end(bytes);
                ASSERT_EQ(
                    orka_media_check_video_Pframe(frame, static_cast<uint32_t>(size), ORKA_VIDEO_TYPE_H264),
                    at + 5 < size ? 0 : -1)
                    << size << " bytes of " << int{filling} << ", code at " << at;
            }
        }
    }
}

/* The fillings keep the search from passing over the last bytes; more of them lie behind the frame. */
TEST_F(MediaFrame, ACodeWithFewerBytesBehindItIsNotFoundOnAnyAlignment)
{
    GuardedPages pages(4096);

    for (size_t behind = 0; behind < 16; behind++) {
        for (size_t size = 6; size <= 200; size++) {
            Bytes bytes(size + behind, 0);
            const Bytes code = {0, 0, 1, 0x57};
            std::copy(code.begin(), code.end(), bytes.begin() + static_cast<ptrdiff_t>(size - 5));
            ASSERT_EQ(orka_media_check_video_Pframe(pages.copy_to_end(bytes), static_cast<uint32_t>(size),
                                                    ORKA_VIDEO_TYPE_H264),
                      -1)
                << size << " bytes, " << behind << " behind";
        }
    }
}

TEST_F(MediaFrame, NothingIsFoundOnAnyAlignmentWhereNothingIs)
{
    GuardedPages pages(4096);

    for (const uint8_t filling : Bytes{0x00, 0x01, 0xFF}) {
        for (size_t size = 0; size <= 200; size++) {
            const Bytes bytes(size, filling);
            const uint32_t length = static_cast<uint32_t>(size);
            EXPECT_EQ(orka_media_check_video_Pframe(pages.copy_to_end(bytes), length, ORKA_VIDEO_TYPE_H264),
                      -1);
            EXPECT_EQ(orka_media_check_video_Pframe(pages.copy_to_begin(bytes), length, ORKA_VIDEO_TYPE_H264),
                      -1);
        }
    }
}

TEST_F(MediaFrame, TheSearchVisitsEveryPrefixInOrder)
{
    std::mt19937 random(33);

    for (int round = 0; round < 300; round++) {
        Bytes bytes(random() % 400 + 3);
        for (uint8_t &byte : bytes)
            byte = random() % 3 == 0;
        std::vector<ptrdiff_t> expected;
        for (size_t i = 0; i + 2 < bytes.size(); i++) {
            if (has_prefix(bytes, i))
                expected.push_back(static_cast<ptrdiff_t>(i));
        }
        std::vector<ptrdiff_t> visited;
        const uint8_t *found =
            find_start_code(bytes.data(), bytes.data() + bytes.size() - 2, [&](const uint8_t *code) {
                if (visited.empty() || code - bytes.data() > visited.back())
                    visited.push_back(code - bytes.data());
                return false;
            });
        EXPECT_EQ(found, nullptr);
        ASSERT_EQ(visited, expected);
    }
}

TEST_F(MediaFrame, AnotherTypeIsReportedOnceForEveryPosition)
{
    const Bytes bytes(100);

    EXPECT_EQ(key_frame(bytes, ORKA_VIDEO_TYPE_MJPEG), -1);
    EXPECT_EQ(log.take_error(),
              repeated(error_line("orka_media_check_video_keyframe",
                                  "ORKA_IMEDIA: FIXME: Need KeyFrame Determination for MJPEG."),
                       95));
    EXPECT_EQ(p_frame(bytes, ORKA_VIDEO_TYPE_MJPEG), -1);
    EXPECT_EQ(log.take_error(),
              repeated(error_line("orka_media_check_video_Pframe",
                                  "ORKA_IMEDIA: FIXME: Need P-Frame Determination for MJPEG."),
                       95));
}

TEST_F(MediaFrame, EveryTypeButFourIsReported)
{
    for (int32_t type = -2; type <= 15; type++) {
        if (std::find(std::begin(known_types), std::end(known_types), type) != std::end(known_types))
            continue;
        const std::string name = orka_media_video_string(type);
        EXPECT_EQ(key_frame({0, 0, 1, 0xB3, 0, 0}, type), -1);
        EXPECT_EQ(log.take_error(),
                  error_line("orka_media_check_video_keyframe",
                             "ORKA_IMEDIA: FIXME: Need KeyFrame Determination for " + name + "."));
        EXPECT_EQ(p_frame({0, 0, 1, 0xB3, 0, 0}, type), -1);
        EXPECT_EQ(log.take_error(),
                  error_line("orka_media_check_video_Pframe",
                             "ORKA_IMEDIA: FIXME: Need P-Frame Determination for " + name + "."));
    }
}

/* Bits */

/* The bytes that a text of 0 and 1 stands for; blanks are for the reader, and 0 fills the last byte. */
Bytes bytes_of(const std::string &bits)
{
    Bytes bytes;
    size_t count = 0;

    for (const char bit : bits) {
        if (bit == ' ')
            continue;
        if (count % 8 == 0)
            bytes.push_back(0);
        bytes.back() = static_cast<uint8_t>(bytes.back() | (bit - '0') << (7 - count % 8));
        count++;
    }
    return bytes;
}

std::string ones(int count)
{
    return std::string(static_cast<size_t>(count), '1');
}

std::string zeros(int count)
{
    return std::string(static_cast<size_t>(count), '0');
}

class Reader {
  public:
    explicit Reader(Bytes bytes)
        : bytes_(std::move(bytes)), cursor_{bytes_.data(), bytes_.data() + bytes_.size()}
    {
        resetBits();
    }

    int bits(int count) { return getBits(&cursor_, count); }
    int code() { return getUSEntropyCodedGolomb(&cursor_); }
    ptrdiff_t consumed() const { return cursor_.next - bytes_.data(); }

  private:
    Bytes bytes_;
    bit_cursor cursor_;
};

TEST_F(MediaFrame, BitsComeHighestFirstAcrossBytes)
{
    Reader reader({0b10110011, 0b01011100, 0b11110000});

    EXPECT_EQ(reader.bits(1), 1);
    EXPECT_EQ(reader.bits(3), 0b011);
    EXPECT_EQ(reader.bits(8), 0b00110101);
    EXPECT_EQ(reader.bits(2), 0b11);
    EXPECT_EQ(reader.bits(0), 0);
    EXPECT_EQ(reader.bits(6), 0b001111);
}

TEST_F(MediaFrame, EightBitsAtOnceAreTheByte)
{
    Reader reader({0xA5, 0x3C, 0x96});

    EXPECT_EQ(reader.bits(8), 0xA5);
    EXPECT_EQ(reader.bits(8), 0x3C);
    EXPECT_EQ(reader.bits(8), 0x96);
    EXPECT_EQ(reader.bits(8), 0);
}

TEST_F(MediaFrame, TheNextByteIsTakenWithTheLastBitOfTheOneBefore)
{
    Reader reader({0xFF, 0xFF, 0xFF});

    reader.bits(1);
    EXPECT_EQ(reader.consumed(), 1);
    reader.bits(6);
    EXPECT_EQ(reader.consumed(), 1);
    reader.bits(1);
    EXPECT_EQ(reader.consumed(), 2);
}

TEST_F(MediaFrame, NoBitsOfAFreshReaderTakeTheFirstByteAndKeepIt)
{
    Reader reader({0x80, 0x01});

    EXPECT_EQ(reader.bits(0), 0);
    EXPECT_EQ(reader.consumed(), 1);
    EXPECT_EQ(reader.bits(8), 0x80);
    EXPECT_EQ(reader.bits(8), 0x01);
}

TEST_F(MediaFrame, OfMoreThanEightBitsAtOnceThoseInReachOfTheNextByteAreRead)
{
    Reader reader({0x00, 0xAB, 0xCD});

    EXPECT_EQ(reader.bits(1), 0);
    EXPECT_EQ(reader.bits(9), 0xAB >> 6);
    EXPECT_EQ(reader.bits(1), 1);
}

TEST_F(MediaFrame, BitsThatAreOwedMakeALaterAnswerWider)
{
    Reader reader({0x00, 0xAB, 0xCD, 0xEF});

    EXPECT_EQ(reader.bits(8), 0);
    EXPECT_EQ(reader.bits(16), 0) << "sixteen bits short: the new byte is out of reach";
    EXPECT_EQ(reader.bits(1), 0) << "eight were owed, and one more";
    EXPECT_EQ(reader.bits(1), 0xEF >> 6) << "one was owed";
}

TEST_F(MediaFrame, BitsBeyondTheBytesAreZero)
{
    Reader reader({0xFF});

    EXPECT_EQ(reader.bits(4), 0xF);
    EXPECT_EQ(reader.bits(8), 0xF0);
    EXPECT_EQ(reader.bits(8), 0);
    EXPECT_EQ(reader.consumed(), 1);
}

TEST_F(MediaFrame, CodesOfUpToEightSuffixBitsAreReadRight)
{
    for (int value = 0; value < 511; value++) {
        int suffix = 0;
        while ((value + 1) >> (suffix + 1) != 0)
            suffix++;
        std::string bits = zeros(suffix);
        for (int bit = suffix; bit >= 0; bit--)
            bits += (value + 1) >> bit & 1 ? '1' : '0';
        Reader reader(bytes_of(bits + "101"));
        ASSERT_EQ(reader.code(), value);
        ASSERT_EQ(reader.bits(3), 5) << "behind the code of " << value;
    }
}

TEST_F(MediaFrame, LongerCodesAreReadAsTheReaderCan)
{
    for (int suffix = 9; suffix <= 15; suffix++) {
        const Bytes bytes = bytes_of(zeros(suffix) + "1" + ones(suffix) + "0110 1001 0110 1001 0110 1001");
        Reader reader(bytes);
        BitModel model(bytes);
        EXPECT_EQ(reader.code(), model.read_code()) << suffix;
        for (int count : {1, 1, 2})
            EXPECT_EQ(reader.bits(count), model.read(count)) << suffix;
    }
}

TEST_F(MediaFrame, SixteenZerosEndACode)
{
    Reader reader({0, 0, 0xFF, 0x35});

    EXPECT_EQ(reader.code(), 0x35 - 1) << "of the sixteen bits behind them only the last eight";
    Reader nothing({0, 0, 0xFF, 0});
    EXPECT_EQ(nothing.code(), -1);
}

TEST_F(MediaFrame, ACodeIsASignedWordOf16Bits)
{
    Reader reader(bytes_of(zeros(15) + "1" + "1111 1111 0000 0010"));
    EXPECT_EQ(reader.code(), -32768) << "0x8001 less 1";
    Reader greatest(bytes_of(zeros(15) + "1" + "1111 1111 0000 0000"));
    EXPECT_EQ(greatest.code(), 32767);
}

/* Recovery points */

constexpr uint8_t stain = 0xAA;

struct Answer {
    int32_t status;
    orka_video_sei_t sei;
};

Answer read_sei(const Bytes &bytes, int32_t type = ORKA_VIDEO_TYPE_H264)
{
    Answer answer;
    memset(&answer.sei, stain, sizeof answer.sei);
    answer.status =
        orka_media_get_video_SEI(bytes.data(), static_cast<uint32_t>(bytes.size()), type, &answer.sei);
    return answer;
}

Bytes sei_bytes(const orka_video_sei_t &sei)
{
    const uint8_t *first = reinterpret_cast<const uint8_t *>(&sei);
    return Bytes(first, first + sizeof sei);
}

Bytes message(const Bytes &payload)
{
    Bytes bytes = {0, 0, 1, 6, 6};
    bytes.insert(bytes.end(), payload.begin(), payload.end());
    return bytes;
}

Bytes message(const std::string &bits)
{
    return message(bytes_of(bits));
}

void expect_fields(const Answer &answer, int32_t count, int exact, int broken, int slices)
{
    EXPECT_EQ(answer.status, 0);
    EXPECT_EQ(answer.sei.recovery_frame_cnt, count);
    EXPECT_EQ(answer.sei.exact_match_flag, exact);
    EXPECT_EQ(answer.sei.broken_link_flag, broken);
    EXPECT_EQ(answer.sei.changing_slice_group_idc, slices);
}

TEST_F(MediaFrame, RecoveryPointsOfNothingOrIntoNothingEndTheProcess)
{
    const Ending bytes = end_of([](Kernel &) {
        orka_video_sei_t sei;
        orka_media_get_video_SEI(nullptr, 0, -1, &sei);
    });
    const Ending sei = end_of([](Kernel &) { orka_media_get_video_SEI("", 0, -1, nullptr); });
    for (const Ending &ending : {bytes, sei}) {
        EXPECT_EQ(assertion_complaint(ending, "src/common/orka_media.cpp", "orka_media_get_video_SEI",
                                      "framebuffer != ((void *)0) && sei != ((void *)0)"),
                  "");
    }
}

TEST_F(MediaFrame, OtherTypesAndShorterFramesLeaveTheRecordAsItWas)
{
    const Bytes untouched(8, stain);

    for (int32_t type = -1; type <= 15; type++) {
        if (type == ORKA_VIDEO_TYPE_H264)
            continue;
        const Answer answer = read_sei(message(Bytes{0x80, 0x00}), type);
        EXPECT_EQ(answer.status, -1);
        EXPECT_EQ(sei_bytes(answer.sei), untouched);
    }
    const Answer shorter = read_sei({0, 0, 1, 6});
    EXPECT_EQ(shorter.status, -1);
    EXPECT_EQ(sei_bytes(shorter.sei), untouched);
}

TEST_F(MediaFrame, WithoutARecoveryPointTheRecordIsZeroed)
{
    for (const Bytes &bytes : {Bytes{0, 0, 1, 6, 6}, Bytes{0, 0, 1, 6, 5, 6, 6}, Bytes{0, 0, 1, 5, 6, 6, 6},
                               Bytes{1, 0, 1, 6, 6, 6, 6}}) {
        const Answer answer = read_sei(bytes);
        EXPECT_EQ(answer.status, -1);
        EXPECT_EQ(sei_bytes(answer.sei), Bytes(8));
    }
}

TEST_F(MediaFrame, TheRecordIsZeroedToItsLastByte)
{
    EXPECT_EQ(sizeof(orka_video_sei_t), 8u);
    EXPECT_EQ(sei_bytes(read_sei(message("1 1 1 11 000")).sei), (Bytes{0, 0, 0, 0, 1, 1, 3, 0}));
}

TEST_F(MediaFrame, FieldsAreReadFromBehindThePayloadsType)
{
    expect_fields(read_sei(message("1 0 1 10 000")), 0, 0, 1, 2);
    expect_fields(read_sei(message("010 1 0 01 0")), 1, 1, 0, 1);
    expect_fields(read_sei(message("00111 0 0 11")), 6, 0, 0, 3);
}

TEST_F(MediaFrame, APayloadSizeOf1BeginsTheCount)
{
    /* Seven zeros, the one, seven bits of suffix: 128 + 5 - 1. */
    expect_fields(read_sei(message("00000001 0000101 1 0 11")), 132 % 32, 1, 0, 3);
}

TEST_F(MediaFrame, TheCountIsTheRemainderOfADivisionBy32)
{
    expect_fields(read_sei(message("00000 100001 1 1 01")), 0, 1, 1, 1);
    expect_fields(read_sei(message("00000 100000 1 1 01")), 31, 1, 1, 1);
}

TEST_F(MediaFrame, TheRemainderKeepsItsSign)
{
    /* Sixteen zeros, a byte that is lost, and one without bits: -1. */
    expect_fields(read_sei(message(Bytes{0, 0, 0xFF, 0, 0xF0})), -1, 1, 1, 3);
}

TEST_F(MediaFrame, AFieldBehindALongCountCanBeWiderThanItsBits)
{
    /* Fourteen zeros: the suffix asks for more than there is, and the next bit comes as six. */
    const Bytes bytes = message("00000000 00000010 11111111 10110100 01101100");
    expect_fields(read_sei(bytes), ((1 << 14) - 1) % 32, 0xB4 >> 2, 0, 0);
    EXPECT_EQ(read_sei(bytes).sei.exact_match_flag, recovery_point(bytes)->exact_match_flag);
}

TEST_F(MediaFrame, EveryParseBeginsAfresh)
{
    read_sei(message("010 1 0 01 0"));
    read_sei(message("1 1"));
    expect_fields(read_sei(message("010 1 0 01 0")), 1, 1, 0, 1);
}

TEST_F(MediaFrame, TheFirstRecoveryPointIsTaken)
{
    Bytes bytes = {9, 0, 0, 1, 6, 7, 6, 6};
    for (const Bytes &more : {message("010 1 0 01 0"), message("1 1 1 11 000")})
        bytes.insert(bytes.end(), more.begin(), more.end());
    expect_fields(read_sei(bytes), 1, 1, 0, 1);
}

TEST_F(MediaFrame, ARecoveryPointEndsWithItsFrame)
{
    GuardedPages pages(4096);
    const Bytes bytes = message(Bytes{0x00});
    Answer answer;

    answer.status = orka_media_get_video_SEI(pages.copy_to_end(bytes), static_cast<uint32_t>(bytes.size()),
                                             ORKA_VIDEO_TYPE_H264, &answer.sei);
    expect_fields(answer, -1, 0, 0, 0);
}

} // namespace
