/* The IMEM manager's requests, on /dev/imanage. */
#ifndef ORKA_WIRE_IMANAGE_H
#define ORKA_WIRE_IMANAGE_H

#include <cstddef>

#include "orka_imem.h"
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

/* The registers of one serial port: the port goes in, the rows come out. */
static_assert(sizeof(orka_imem_mcbsp_registers_t) == 64);
static_assert(offsetof(orka_imem_mcbsp_registers_t, port) == 0);
static_assert(offsetof(orka_imem_mcbsp_registers_t, rows) == 4);
static_assert(sizeof(orka_imem_mcbsp_register_t) == 4 && offsetof(orka_imem_mcbsp_register_t, value) == 2);

constexpr uint32_t IMANAGE_READ_MCBSP = iowr('k', 5, sizeof(orka_imem_mcbsp_registers_t));
static_assert(IMANAGE_READ_MCBSP == 0xC0406B05);

/* One register of a serial port, to be set. */
struct mcbsp_write_record {
    uint16_t port;
    uint16_t reserved;
    uint16_t address;
    uint16_t value;
};
static_assert(sizeof(mcbsp_write_record) == 8 && offsetof(mcbsp_write_record, address) == 4);
static_assert(offsetof(mcbsp_write_record, value) == 6);

constexpr uint32_t IMANAGE_WRITE_MCBSP = ior('k', 4, sizeof(mcbsp_write_record));
static_assert(IMANAGE_WRITE_MCBSP == 0x80086B04);

} // namespace orka::wire

#endif
