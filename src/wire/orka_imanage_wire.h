/* The IMEM manager's requests, on /dev/imanage. */
#ifndef ORKA_WIRE_IMANAGE_H
#define ORKA_WIRE_IMANAGE_H

#include "wire/orka_request.h"

namespace orka::wire {

/* A codec image name travels in place: at most this many bytes, the terminating NUL included, often fewer. */
constexpr uint32_t image_name_size = 33;

constexpr uint32_t IMANAGE_LOAD = ior('k', 0, image_name_size);
static_assert(IMANAGE_LOAD == 0x80216B00);

/* Carries a null pointer, whatever its number says. */
constexpr uint32_t IMANAGE_RESET = ior('k', 1, 4);
static_assert(IMANAGE_RESET == 0x80046B01);

/* In: the byte count; out: the block's physical address. */
constexpr uint32_t IMANAGE_ALLOC = iowr('k', 2, sizeof(uint32_t));
static_assert(IMANAGE_ALLOC == 0xC0046B02);

/* The physical address that the allocation gave. */
constexpr uint32_t IMANAGE_FREE = ior('k', 3, sizeof(uint32_t));
static_assert(IMANAGE_FREE == 0x80046B03);

} // namespace orka::wire

#endif
