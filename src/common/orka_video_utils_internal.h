/* The bit writer behind the headers. Its state is the module's: one header at a time. */
#ifndef ORKA_VIDEO_UTILS_INTERNAL_H
#define ORKA_VIDEO_UTILS_INTERNAL_H

#include <cstdint>

/* Begins at the start of a buffer. */
void puFirsttBits();

/*
 * Appends the low `count` bits of a value, at most 16, the first one highest, and returns count. Once 64
 * bytes are full it writes nothing and returns 0. A value that is wider than its field spoils the bits before
 * it in the same byte.
 */
uint32_t putBits(uint16_t value, uint32_t count, uint8_t *buffer);

#endif
