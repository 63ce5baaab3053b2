/* The inside of the encoders' queues. */
#ifndef ORKA_IENCODE_INTERNAL_H
#define ORKA_IENCODE_INTERNAL_H

#include <cstdint>

#include "orka_iencode.h"

/*
 * The descriptor of the driver that an audio or video queue's frames are exchanged with; negative on failure.
 * A queue of motion vectors has none here.
 */
int32_t orka_iencode_get_queue_fd(const orka_iencode_queue_t *queue);

#endif
