#include "orka_video_utils.h"

#include "common/orka_media_internal.h"
#include "common/orka_status_internal.h"
#include "common/orka_video_utils_internal.h"

static constexpr char pname[] = "ORKA_VIDEO_UTILS:";

/* Bit writer. Kept on purpose: its state is the module's, and not locked. */

static constexpr uint32_t most_bytes = 64;

static uint8_t bitsAvaiable; /* free bits of the current byte */
static uint32_t offset;      /* of the current byte */

void puFirsttBits()
{
    bitsAvaiable = 8;
    offset = 0;
}

/* A byte is built by shifting: what stood in it before is gone once it has got eight bits. */
static void shift_in(uint8_t *byte, uint32_t bits, uint32_t count)
{
    *byte = static_cast<uint8_t>(uint32_t{*byte} << count | bits);
}

uint32_t putBits(uint16_t value, uint32_t count, uint8_t *buffer)
{
    uint32_t rest = value;
    uint32_t left = count;

    if (offset == most_bytes)
        return 0;
    while (left > bitsAvaiable) {
        left -= bitsAvaiable;
        shift_in(&buffer[offset], rest >> left, bitsAvaiable);
        offset++;
        rest &= (1U << left) - 1;
        bitsAvaiable = 8;
    }
    shift_in(&buffer[offset], rest, left);
    bitsAvaiable = static_cast<uint8_t>(bitsAvaiable - left);
    if (bitsAvaiable == 0) {
        offset++;
        bitsAvaiable = 8;
    }
    return count;
}

/* Headers */

static constexpr uint32_t vol_without_object = 1; /* the mode that leaves out the visual object */
static constexpr uint32_t ticks_a_second = 1000;
static constexpr char UserString[] = "zeph";

/* A 0 bit and then 1 bits: entry k ends in k of them. */
static constexpr uint16_t stuffingBits[] = {
    0x0000, 0x0001, 0x0003, 0x0007, 0x000F, 0x001F, 0x003F, 0x007F,
    0x00FF, 0x01FF, 0x03FF, 0x07FF, 0x0FFF, 0x1FFF, 0x3FFF, 0x7FFF,
};
static_assert(sizeof stuffingBits == 16 * sizeof(uint16_t));

struct header_field {
    uint32_t count; /* bits */
    uint32_t value; /* of which the low 16 bits are taken */
};

template <size_t size>
static uint16_t put_fields(const header_field (&fields)[size], uint8_t *buffer)
{
    uint32_t total = 0;

    for (const header_field &field : fields)
        total += putBits(static_cast<uint16_t>(field.value), field.count, buffer);
    return static_cast<uint16_t>(total);
}

static uint16_t put_visual_object(uint8_t *buffer)
{
    const header_field fields[] = {{16, 0x0000}, {16, 0x0100}};

    return put_fields(fields, buffer);
}

static uint16_t put_layer(uint32_t width, uint32_t height, uint32_t time_resolution, uint8_t *buffer)
{
    const header_field fields[] = {
        {16, 0x0000},          /* start code */
        {16, 0x0120},          /* its second half */
        {14, 33},              /* not for random access; simple object; no identifier; square pixels */
        {4, 1},                /* no control parameters; rectangular; marker */
        {16, time_resolution}, /* ticks a second */
        {3, 5},                /* marker; no fixed rate; marker */
        {14, width * 2 + 1},   /* 13 bits, marker */
        {13, height},
        {10,
         652}, /* marker; not interlaced; no overlapped motion, sprite, other depth, quantiser tables ... */
    };

    return put_fields(fields, buffer);
}

/* Up to the next 16-bit boundary, which is never the one already reached. */
static uint16_t put_stuffing(uint16_t total, uint8_t *buffer)
{
    const uint32_t over = total % 16U;
    const header_field fields[] = {{16 - over, stuffingBits[15 - over]}};

    return put_fields(fields, buffer);
}

static uint16_t put_user_data(uint8_t *buffer)
{
    const header_field start_code[] = {{16, 0x0000}, {16, 0x01B2}};
    uint32_t total = put_fields(start_code, buffer);

    for (const char *letter = UserString; *letter != '\0'; letter++)
        total += putBits(static_cast<uint8_t>(*letter), 8, buffer);
    return static_cast<uint16_t>(total);
}

int32_t orka_video_utils_encode_vol_header_actual(uint32_t mode, uint32_t width, uint32_t height,
                                                  uint32_t time_resolution, uint8_t *buffer, uint32_t *size)
{
    uint16_t total = 0;

    puFirsttBits();
    if (mode != vol_without_object)
        total = put_visual_object(buffer);
    total = static_cast<uint16_t>(total + put_layer(width, height, time_resolution, buffer));
    total = static_cast<uint16_t>(total + put_stuffing(total, buffer));
    total = static_cast<uint16_t>(total + put_user_data(buffer));

    *size = (total + 7U) / 8;
    return static_cast<int32_t>(*size);
}

int32_t orka_video_utils_encode_vol_header(uint32_t width, uint32_t height, uint8_t *buffer, uint32_t *size)
{
    ORKA_ASSERT_NOT_NULL(buffer);
    ORKA_ASSERT_NOT_NULL(size);
    const uint32_t capacity = *size;
    const int32_t length = orka_video_utils_encode_vol_header_actual(vol_without_object, width, height,
                                                                     ticks_a_second, buffer, size);

    /* Kept on purpose: the header has been written by now, whether there was room or not. */
    if (*size > capacity) {
        report_error(HERE, "Buffer Overrun Detected.");
        return ORKA_STATUS_ERROR;
    }
    return length;
}

/* Finder */

static constexpr uint32_t least_frame = 12;     /* bytes; a shorter one is not searched */
static constexpr uint32_t search_stops = 9;     /* bytes that are left where the search for the header ends */
static constexpr uint32_t start_code_bytes = 5; /* the header's own, and one behind: no prefix before */
static constexpr uint32_t least_behind = 4;     /* bytes that a following start code has behind its place */
static constexpr uint32_t longest_header = 65;

/* The header's place; kept on purpose: where the search stops counts as found. */
static uint8_t *find_header(uint8_t *data, uint32_t size)
{
    uint8_t *last = data + (size - search_stops);
    const uint8_t *found = find_start_code(data, last, [](const uint8_t *code) { return code[3] == 0x20; });

    return found != nullptr ? data + (found - data) : last;
}

/* Bytes of the header to the next start code, of so many bytes in all; 0 when they end before there is one.
 */
static uint32_t header_length(const uint8_t *header, uint32_t bytes)
{
    const uint32_t end = bytes - least_behind;
    const uint32_t stop = end < longest_header ? end : longest_header;
    const uint8_t *found =
        find_start_code(header + start_code_bytes, header + stop, [](const uint8_t *) { return true; });

    if (found != nullptr)
        return static_cast<uint32_t>(found - header);
    return end > longest_header ? longest_header : 0;
}

uint8_t *orka_video_utils_find_vol_header(const orka_iencode_frame_t *frame, uint32_t *length)
{
    ORKA_ASSERT_NOT_NULL(frame);
    if (frame->size < least_frame)
        return nullptr;

    uint8_t *data = reinterpret_cast<uint8_t *>(static_cast<uintptr_t>(frame->addr));
    uint8_t *header = find_header(data, frame->size);
    *length = header_length(header, static_cast<uint32_t>(data + frame->size - header));
    return *length != 0 ? header : nullptr;
}
