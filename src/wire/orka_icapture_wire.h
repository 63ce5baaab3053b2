/* The capture interface's requests, on the capture node. */
#ifndef ORKA_WIRE_ICAPTURE_H
#define ORKA_WIRE_ICAPTURE_H

#include <cstddef>

#include "orka_icapture.h"
#include "wire/orka_request.h"

namespace orka::wire {

static_assert(sizeof(orka_capture_params_t) == 132);
static_assert(offsetof(orka_capture_params_t, out_width) == 24);
static_assert(offsetof(orka_capture_params_t, req_width) == 32);
static_assert(offsetof(orka_capture_params_t, words40) == 40);
static_assert(offsetof(orka_capture_params_t, frame_rate) == 52);
static_assert(offsetof(orka_capture_params_t, device) == 56 && offsetof(orka_capture_params_t, mode) == 89);
static_assert(offsetof(orka_capture_params_t, width) == 122);
static_assert(offsetof(orka_capture_params_t, height) == 124);
static_assert(offsetof(orka_capture_params_t, interlaced) == 128);
static_assert(sizeof(orka_capture_handle_t) == 96 && offsetof(orka_capture_handle_t, slots) == 32);

constexpr uint32_t ICAPTURE_SETUP = iowr('c', 0, sizeof(orka_capture_params_t));
static_assert(ICAPTURE_SETUP == 0xC0846300);

/* One word that goes to the driver. */
constexpr uint32_t ICAPTURE_ENABLE = ior('c', 1, sizeof(uint32_t));
constexpr uint32_t ICAPTURE_SET_CHANNELS = ior('c', 4, sizeof(uint32_t));
constexpr uint32_t ICAPTURE_SET_START_CHANNEL = ior('c', 5, sizeof(uint32_t));
constexpr uint32_t ICAPTURE_SET_PASSTHRU = ior('c', 6, sizeof(uint32_t));
static_assert(ICAPTURE_ENABLE == 0x80046301);
static_assert(ICAPTURE_SET_CHANNELS == 0x80046304);
static_assert(ICAPTURE_SET_START_CHANNEL == 0x80046305);
static_assert(ICAPTURE_SET_PASSTHRU == 0x80046306);

/* One word, the driver's answer. */
constexpr uint32_t ICAPTURE_BUFFER_BASE = iowr('c', 7, sizeof(uint32_t));
constexpr uint32_t ICAPTURE_BUFFER_SIZE = iowr('c', 8, sizeof(uint32_t));
static_assert(ICAPTURE_BUFFER_BASE == 0xC0046307);
static_assert(ICAPTURE_BUFFER_SIZE == 0xC0046308);

/* The driver's answer. */
struct capture_dimension_record {
    uint32_t width;
    uint32_t height;
};
static_assert(sizeof(capture_dimension_record) == 8 && offsetof(capture_dimension_record, height) == 4);

constexpr uint32_t ICAPTURE_DIMENSION = iowr('c', 9, sizeof(capture_dimension_record));
static_assert(ICAPTURE_DIMENSION == 0xC0086309);

/* A handle's slot: get fills it with the frame's physical address, release names it by that address. */
constexpr uint32_t ICAPTURE_GET_FRAME = iowr('c', 10, sizeof(uint32_t));
constexpr uint32_t ICAPTURE_RELEASE_FRAME = iowr('c', 11, sizeof(uint32_t));
static_assert(ICAPTURE_GET_FRAME == 0xC004630A);
static_assert(ICAPTURE_RELEASE_FRAME == 0xC004630B);

/* The caller's, passed through. */
struct vdecoder_record {
    uint32_t words[2];
};
static_assert(sizeof(vdecoder_record) == 8);

constexpr uint32_t ICAPTURE_VDECODER_CONTROL = iowr('c', 12, sizeof(vdecoder_record));
static_assert(ICAPTURE_VDECODER_CONTROL == 0xC008630C);

} // namespace orka::wire

#endif
