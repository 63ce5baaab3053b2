/*
 * The display's requests, on the common decode node.
 *
 * "Read" in a request's number marks records that go to the driver, "write" records that come back.
 */
#ifndef ORKA_WIRE_IDISPLAY_H
#define ORKA_WIRE_IDISPLAY_H

#include <cstddef>

#include "orka_idisplay.h"
#include "wire/orka_request.h"

namespace orka::wire {

static_assert(sizeof(orka_display_params_t) == 124);
static_assert(offsetof(orka_display_params_t, device) == 4 && offsetof(orka_display_params_t, mode) == 37);
static_assert(offsetof(orka_display_params_t, width) == 70 && offsetof(orka_display_params_t, height) == 72);
static_assert(offsetof(orka_display_params_t, interlaced) == 76);
static_assert(offsetof(orka_display_params_t, words) == 80);
static_assert(offsetof(orka_display_params_t, resize) == 100);
static_assert(offsetof(orka_display_params_t, pe_width) == 104);
static_assert(offsetof(orka_display_params_t, pe_height) == 108);
static_assert(offsetof(orka_display_params_t, src_width) == 116);
static_assert(offsetof(orka_display_params_t, src_height) == 120);

constexpr uint32_t IDISPLAY_SETUP = ior('h', 50, sizeof(orka_display_params_t));
constexpr uint32_t IDISPLAY_SET_OUTPUT = ior('h', 51, sizeof(orka_display_params_t));
constexpr uint32_t IDISPLAY_GET_OUTPUT = iow('h', 59, sizeof(orka_display_params_t));
static_assert(IDISPLAY_SETUP == 0x807C6832);
static_assert(IDISPLAY_SET_OUTPUT == 0x807C6833);
static_assert(IDISPLAY_GET_OUTPUT == 0x407C683B);

/* The argument is the flag itself, not a pointer. */
constexpr uint32_t IDISPLAY_ENABLE = request_number(0, 'h', 52, 0);
static_assert(IDISPLAY_ENABLE == 0x6834);

/* No record. */
constexpr uint32_t IDISPLAY_TEARDOWN = request_number(0, 'h', 53, 0);
constexpr uint32_t IDISPLAY_RESYNC = request_number(0, 'h', 56, 0);
constexpr uint32_t IDISPLAY_MASK = request_number(0, 'h', 57, 0);
constexpr uint32_t IDISPLAY_UNMASK = request_number(0, 'h', 58, 0);
static_assert(IDISPLAY_TEARDOWN == 0x6835);
static_assert(IDISPLAY_RESYNC == 0x6838);
static_assert(IDISPLAY_MASK == 0x6839);
static_assert(IDISPLAY_UNMASK == 0x683A);

struct osd_zoom_record {
    uint32_t zoom_a;
    uint32_t zoom_b;
};
static_assert(sizeof(osd_zoom_record) == 8 && offsetof(osd_zoom_record, zoom_b) == 4);

constexpr uint32_t IDISPLAY_OSD_ZOOM = ior('h', 55, sizeof(osd_zoom_record));
static_assert(IDISPLAY_OSD_ZOOM == 0x80086837);

/* One word, the driver's answer. */
constexpr uint32_t IDISPLAY_BUFFER_BASE = iow('h', 60, sizeof(uint32_t));
constexpr uint32_t IDISPLAY_BUFFER_SIZE = iow('h', 61, sizeof(uint32_t));
static_assert(IDISPLAY_BUFFER_BASE == 0x4004683C);
static_assert(IDISPLAY_BUFFER_SIZE == 0x4004683D);

/* paddr is the driver's answer. */
struct frame_buffer_record {
    uint32_t channel;
    uint32_t paddr;
};
static_assert(sizeof(frame_buffer_record) == 8 && offsetof(frame_buffer_record, paddr) == 4);

constexpr uint32_t IDISPLAY_GET_FRAME_BUFFER = iowr('h', 62, sizeof(frame_buffer_record));
static_assert(IDISPLAY_GET_FRAME_BUFFER == 0xC008683E);

/* width and height are the driver's answer. */
struct frame_dimension_record {
    uint32_t channel;
    uint32_t width;
    uint32_t height;
};
static_assert(sizeof(frame_dimension_record) == 12 && offsetof(frame_dimension_record, height) == 8);

constexpr uint32_t IDISPLAY_GET_FRAME_DIMENSION = iowr('h', 63, sizeof(frame_dimension_record));
static_assert(IDISPLAY_GET_FRAME_DIMENSION == 0xC00C683F);

/* The caller's value. */
constexpr uint32_t IDISPLAY_RELEASE_FRAME_BUFFER = ior('h', 64, sizeof(uint32_t));
static_assert(IDISPLAY_RELEASE_FRAME_BUFFER == 0x80046840);

struct resize_record {
    uint8_t first[8];
    uint8_t second[8];
    uint8_t reserved[8];
};
static_assert(sizeof(resize_record) == 24 && offsetof(resize_record, second) == 8);

constexpr uint32_t IDECODE_SET_RESIZE = ior('d', 36, sizeof(resize_record));
static_assert(IDECODE_SET_RESIZE == 0x80186424);

} // namespace orka::wire

#endif
