/* What a time map holds. */
#ifndef ORKA_BSTIME_INTERNAL_H
#define ORKA_BSTIME_INTERNAL_H

#include <cstddef>
#include <cstdint>

#include "orka_bstime.h"

static constexpr uint32_t orka_bstime_magic = 0x4253544D; /* "BSTM", read from its highest byte down */
static constexpr uint32_t orka_bstime_entries = 10;

struct orka_bstime_entry {
    uint32_t time;       /* of the first byte that the entry still stands for */
    uint32_t bytes;      /* that it still stands for */
    uint32_t used;       /* of these, drained since the time was last asked for */
    uint32_t prev_time;  /* of the frame before */
    uint32_t prev_bytes; /* of the frame before */
};
static_assert(sizeof(orka_bstime_entry) == 20);

/* A ring, empty where read is write: it has no count, and one entry is never of use. */
struct orka_bstime {
    uint32_t magic;
    uint32_t alive; /* 1 while valid */
    orka_bstime_entry entries[orka_bstime_entries];
    orka_bstime_entry *write; /* filled next */
    orka_bstime_entry *read;  /* being drained */
};
static_assert(offsetof(orka_bstime, entries) == 8);
static_assert(offsetof(orka_bstime, write) == 208);

#endif
