/* Whether a build pays for speed with size. */
#ifndef ORKA_INLINE_INTERNAL_H
#define ORKA_INLINE_INTERNAL_H

/* Before a function that is inlined wherever it is called, but in a build for size, which shares one copy. */
#ifdef __OPTIMIZE_SIZE__
#define ORKA_INLINE inline
#else
#define ORKA_INLINE __attribute__((always_inline)) inline
#endif

#endif
