/*
 * What the functions that look into encoded video have to answer, worked out one position and one bit at a
 * time.
 */
#ifndef ORKA_TESTS_FRAME_MODELS_H
#define ORKA_TESTS_FRAME_MODELS_H

#include <algorithm>
#include <cstdint>
#include <optional>
#include <span>

#include "orka_media.h"

namespace orka_test {

using FrameBytes = std::span<const uint8_t>;

inline bool has_prefix(FrameBytes bytes, size_t i)
{
    return bytes[i] == 0 && bytes[i + 1] == 0 && bytes[i + 2] == 1;
}

/* Whether the six bytes from i on are a key frame, or a P-frame, of a type that is known. */
inline bool is_key_frame_at(FrameBytes bytes, size_t i, int32_t type)
{
    const uint8_t code = bytes[i + 3];

    if (!has_prefix(bytes, i))
        return false;
    if (type == ORKA_VIDEO_TYPE_H263 || type == ORKA_VIDEO_TYPE_MPEG4)
        return (code == 0xB6 && (bytes[i + 4] & 3) == 0) || code == 0xB0;
    if (type == ORKA_VIDEO_TYPE_H264)
        return code == 0x67 || code == 0x27 || code == 0x65 || code == 0x25;
    return type == ORKA_VIDEO_TYPE_MPEG2 && code == 0xB3;
}

inline bool is_p_frame_at(FrameBytes bytes, size_t i, int32_t type)
{
    const uint8_t code = bytes[i + 3];

    if (!has_prefix(bytes, i))
        return false;
    if (type == ORKA_VIDEO_TYPE_H263 || type == ORKA_VIDEO_TYPE_MPEG4)
        return code == 0xB6 && (bytes[i + 5] & 3) == 1;
    if (type == ORKA_VIDEO_TYPE_H264)
        return code == 0x57 || code == 0x07;
    return type == ORKA_VIDEO_TYPE_MPEG2 && code == 0xB3;
}

inline int32_t key_frame_answer(FrameBytes bytes, int32_t type)
{
    for (size_t i = 0; i + 5 < bytes.size(); i++) {
        if (is_key_frame_at(bytes, i, type))
            return 0;
    }
    return -1;
}

inline int32_t p_frame_answer(FrameBytes bytes, int32_t type)
{
    for (size_t i = 0; i + 5 < bytes.size(); i++) {
        if (is_p_frame_at(bytes, i, type))
            return 0;
    }
    return -1;
}

/* Reads bits through a window of one byte, as wide requests show; beyond the bytes are zeros. */
class BitModel {
  public:
    explicit BitModel(FrameBytes bytes) : bytes_(bytes) {}

    int read(int count)
    {
        int result = right(window_, 8 - count);

        valid_ -= count;
        if (valid_ < 1) {
            window_ = next_ < bytes_.size() ? bytes_[next_++] : 0;
            if (valid_ < 0)
                result |= right(window_, valid_ + 8);
            window_ = left(window_, -valid_);
            valid_ += 8;
        } else {
            window_ = left(window_, count);
        }
        return result & 0xFF;
    }

    int read_code()
    {
        int zeros = 0;
        int bit = 0;

        while (zeros < 16 && (bit = read(1)) == 0)
            zeros++;
        return static_cast<int16_t>(((bit << zeros) | read(zeros)) - 1);
    }

  private:
    /* Shifts by a count that is no shift of a byte leave nothing. */
    static int right(int byte, int count) { return count < 0 ? 0 : byte >> std::min(count, 8); }
    static int left(int byte, int count) { return (byte << std::min(count, 8)) & 0xFF; }

    FrameBytes bytes_;
    size_t next_ = 0;
    int window_ = 0;
    int valid_ = 0;
};

/* The fields of the first recovery point; nothing where there is none. */
inline std::optional<orka_video_sei_t> recovery_point(FrameBytes bytes)
{
    for (size_t i = 0; i + 5 < bytes.size(); i++) {
        if (!has_prefix(bytes, i) || bytes[i + 3] != 6 || bytes[i + 4] != 6)
            continue;
        BitModel bits(bytes.subspan(i + 5));
        orka_video_sei_t sei = {};
        sei.recovery_frame_cnt = bits.read_code() % 32;
        sei.exact_match_flag = static_cast<uint8_t>(bits.read(1));
        sei.broken_link_flag = static_cast<uint8_t>(bits.read(1));
        sei.changing_slice_group_idc = static_cast<uint8_t>(bits.read(2));
        return sei;
    }
    return std::nullopt;
}

/* Where a VOL header begins and how long it is; a length of 0: there is none. */
struct VolHeader {
    size_t position;
    uint32_t length;

    bool operator==(const VolHeader &) const = default;
};

/* For 12 bytes or more. */
inline VolHeader vol_header(FrameBytes bytes)
{
    size_t i = 0;
    size_t rest = bytes.size();

    while (rest > 9 && !(has_prefix(bytes, i) && bytes[i + 3] == 0x20)) {
        i++;
        rest--;
    }
    uint32_t length = 5;
    rest -= 5;
    while (rest > 4 && length <= 64 && !has_prefix(bytes, i + length)) {
        length++;
        rest--;
    }
    return rest <= 4 ? VolHeader{0, 0} : VolHeader{i, length};
}

} // namespace orka_test

#endif
