/*
 * IMEM: physical memory that the application, the drivers and the DSP share.
 *
 * Virtual addresses are pointers, physical ones are 32-bit words. Every mapping made here lies below 4 GiB,
 * so that a virtual address fits into the 32-bit address words of queues and frames, whatever the width of a
 * pointer.
 *
 * Failures are reported on standard error. Three faults end the process with exit status 1: a page size that
 * cannot be obtained or exceeds 4096 bytes, an address within page 0, and with the latter every mapping that
 * fails, for it counts as one at address 0. A NULL for an argument marked "asserted" aborts the process, in
 * every build.
 *
 * All functions may be called from any thread.
 */
#ifndef ORKA_IMEM_H
#define ORKA_IMEM_H

#include <stdint.h>

#include "orka_status.h"

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

/* A register of a McBSP serial port. */
typedef struct orka_imem_mcbsp_register {
    uint16_t address; /* 0: within the port */
    uint16_t value;   /* 2: what it holds */
} orka_imem_mcbsp_register_t;

/* How many registers a port has. */
enum { ORKA_IMEM_MCBSP_REGISTERS = 15 };

/* The registers of one port: 64 bytes that travel to the driver and back as they are. */
typedef struct orka_imem_mcbsp_registers {
    uint16_t port;                                              /* 0: 0 or 1 */
    uint16_t reserved;                                          /* 2: 0 */
    orka_imem_mcbsp_register_t rows[ORKA_IMEM_MCBSP_REGISTERS]; /* 4: one each, 4 bytes apart */
} orka_imem_mcbsp_registers_t;

/* Where a block of memory comes from. */
typedef int32_t orka_imem_method_t;
enum { ORKA_IMEM_METHOD_DEFAULT = 0, ORKA_IMEM_METHOD_MALLOC = 1, ORKA_IMEM_METHOD_IMEM = 2 };

/* "DEFAULT", "MALLOC" or "IMEM"; "UNKOWN", so spelt, for any other value. The text belongs to the library. */
const char *orka_imem_method_string(orka_imem_method_t method);

/*
 * Translation between the two views of one mapped range, given where the range begins in each. Pure
 * arithmetic: nothing is looked up and nothing checked but the first argument, which is asserted not to be 0.
 */
uint32_t orka_imem_v2p(void *vaddr, void *vbase, uint32_t pbase);
void *orka_imem_p2v(uint32_t paddr, uint32_t pbase, void *vbase);

/*
 * Takes all blocks back that the manager has given out, to whomever. Mappings are left alone.
 * ORKA_STATUS_IO without the manager's node, ORKA_STATUS_ERROR when the manager refuses.
 */
orka_status_t orka_imem_reset(void);

/*
 * Loads a codec image onto the DSP by its name (asserted; at most 32 characters), such as
 * orka_idecode_get_codec_name returns.
 * ORKA_STATUS_IO without the manager's node, ORKA_STATUS_ERROR when the manager refuses.
 */
orka_status_t orka_imem_load_dsp_codec(const char *codec_name);

/*
 * Maps length bytes of physical memory for read and write and returns the virtual address of paddr (asserted
 * not to be 0), which need not begin a page. The caller unmaps it with the same length. NULL without the node
 * of physical memory.
 */
void *orka_imem_mmap(uint32_t paddr, uint32_t length);

/*
 * Undoes orka_imem_mmap; vaddr is asserted, length is in bytes.
 * ORKA_STATUS_IO without the node of physical memory, ORKA_STATUS_ERROR when the system refuses.
 */
orka_status_t orka_imem_munmap(void *vaddr, uint32_t length);

/*
 * Allocates a block of physically contiguous memory and maps it. The block belongs to the caller, until
 * orka_imem_free or orka_imem_reset; it outlives the process. size is in bytes, from 1 to 4294963199: beyond
 * that the sum that rounds it up wraps, unchecked, and what is returned has no memory behind it.
 * NULL on any failure. A block that was allocated but could not be mapped or listed is not given back.
 */
void *orka_imem_alloc(uint32_t size);

/*
 * Writes a mapped range of length bytes back to memory and waits until that is done; address must begin a
 * page.
 * ORKA_STATUS_CRUNTIME when the system refuses.
 */
orka_status_t orka_imem_msync(void *address, uint32_t length);

/*
 * Unmaps and frees a block; vaddr (asserted) is what orka_imem_alloc returned. Once found, the block is
 * forgotten, whatever fails then. ORKA_STATUS_INVALID_PARAMETER for any other address or a block freed
 * before, ORKA_STATUS_IO without the manager's node or when the manager refuses, ORKA_STATUS_CRUNTIME when
 * unmapping alone failed, ORKA_STATUS_INITIALIZATION when the record of the block was damaged. A block that
 * orka_imem_reset took back is still mapped: freeing it unmaps it, and the manager then refuses.
 */
orka_status_t orka_imem_free(void *vaddr);

/*
 * The size, in words, of the DSP's memory window: 64 Ki words of 16 bits, at a fixed physical address. Word
 * indices are not checked against that size.
 */
uint32_t orka_imem_get_dsp_memory_size(void);

/*
 * The window, mapped once in the life of the process and read-only; every call returns the same pointer. NULL
 * without the node of physical memory.
 */
void *orka_imem_get_dsp_memory_ptr(void);

/* A new mapping of the window, for read and write; the caller frees it. NULL without the node of physical
 * memory. */
void *orka_imem_get_dsp_memory_write_ptr(void);

/*
 * Unmaps a pointer that orka_imem_get_dsp_memory_write_ptr returned. The read-only pointer stays valid, and
 * freeing it is a success. NULL is one as long as the read-only window is not mapped, and aborts from then
 * on. Otherwise the result of orka_imem_munmap, after a report where it failed.
 */
orka_status_t orka_imem_free_dsp_memory_ptr(void *pointer);

/* Reads one word. value must not be NULL. ORKA_STATUS_ERROR when the window cannot be mapped. */
orka_status_t orka_imem_read_dsp_memory(uint16_t *value, uint32_t index);

/*
 * Writes one word and waits until it has reached the memory; each call maps the window and unmaps it again.
 * ORKA_STATUS_ERROR when one of these steps fails: the word was written unless mapping failed.
 */
orka_status_t orka_imem_write_dsp_memory(uint16_t value, uint32_t index);

/*
 * The registers of a serial port, through the DSP image, which may not have that service: ORKA_STATUS_IO
 * then, and without the manager's node. Reading zeroes the record first; ORKA_STATUS_NULL_POINTER without
 * one.
 */
orka_status_t orka_imem_read_mcbsp_register(orka_imem_mcbsp_registers_t *registers, uint16_t port);
orka_status_t orka_imem_write_mcbsp_register(uint16_t port, uint16_t address, uint16_t value);

/* Prints the registers of a port on standard output; fails as reading does, and then prints nothing there. */
orka_status_t orka_imem_print_mcbsp_register(uint16_t port);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif
