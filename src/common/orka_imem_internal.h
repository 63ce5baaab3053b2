/* The inside of the IMEM allocator: its record of a block, pages, and mapping with a choice of protection. */
#ifndef ORKA_IMEM_INTERNAL_H
#define ORKA_IMEM_INTERNAL_H

#include <cstddef>
#include <cstdint>

#include "orka_imem.h"

/* Every block is this much longer than asked for, and the caller's memory begins this far into it. */
constexpr uint32_t ORKA_IMEM_PADDING = 4096;

/*
 * One live block. It is in the list from its allocation to its release, and valid, magic and version set,
 * only once it is there.
 *
 *   paddr                  what the driver gave
 *   ppage     vmap         the same, from the beginning of its page; mapped there for maplen bytes
 *             vaddr        the caller's memory: vmap + ORKA_IMEM_PADDING
 */
typedef struct orka_imem_handle {
    uint32_t magic;
    uint32_t version;
    uint32_t paddr;
    uint32_t ppage;
    uint32_t vaddr;
    uint32_t vmap;
    uint32_t maplen;
} orka_imem_handle_t;
static_assert(sizeof(orka_imem_handle_t) == 28 && offsetof(orka_imem_handle_t, maplen) == 24);

constexpr uint32_t ORKA_IMEM_MAGIC = 0x4D454D48; /* "HMEM" in memory */
constexpr uint32_t ORKA_IMEM_VERSION = 1;

/* A virtual address as a word of 32 bits tells it, and the way back. */
inline uint32_t word_of(const void *address)
{
    return static_cast<uint32_t>(reinterpret_cast<uintptr_t>(address));
}

inline void *pointer_of(uint32_t word)
{
    return reinterpret_cast<void *>(uintptr_t{word});
}

/* Bytes; asked of the system once. */
int32_t orka_imem_get_pagesize();

/*
 * The address, physical or virtual, of the page that an address lies in. An address in page 0 ends the
 * process.
 */
uintptr_t orka_imem_get_pageaddr(uintptr_t address);

void *orka_imem_mmap_actual(uint32_t paddr, uint32_t length, int protection);
orka_status_t orka_imem_munmap_actual(void *vaddr, uint32_t length);

/* For the list of blocks: an orka_imem_handle_t against a virtual address. */
int32_t orka_imem_memhandle_cmp(uintptr_t handle, uintptr_t vaddr);

#endif
