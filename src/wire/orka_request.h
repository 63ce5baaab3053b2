/*
 * How the drivers' request numbers are made, the Linux encoding of direction, size, type letter and number;
 * and how drivers answer in a record.
 */
#ifndef ORKA_WIRE_REQUEST_H
#define ORKA_WIRE_REQUEST_H

#include <cstdint>

namespace orka::wire {

enum : uint32_t { direction_write = 1, direction_read = 2, direction_both = 3 };

/* The numbers alone do not tell which way a record travels nor how long it is; the table of requests does. */
constexpr uint32_t request_number(uint32_t direction, char type, uint32_t number, uint32_t size)
{
    return direction << 30 | size << 16 | static_cast<uint32_t>(type) << 8 | number;
}

/* The size that a number tells. */
constexpr uint32_t record_size(uint32_t request)
{
    return request >> 16 & 0x3FFF;
}

constexpr uint32_t ior(char type, uint32_t number, uint32_t size)
{
    return request_number(direction_read, type, number, size);
}

constexpr uint32_t iow(char type, uint32_t number, uint32_t size)
{
    return request_number(direction_write, type, number, size);
}

constexpr uint32_t iowr(char type, uint32_t number, uint32_t size)
{
    return request_number(direction_both, type, number, size);
}

/* What a driver says of a wait or of a frame. */
enum driver_status : int32_t {
    driver_failure = -1,
    driver_done = 0,
    driver_timeout = 1,
    driver_interrupted = 2,
};

} // namespace orka::wire

#endif
