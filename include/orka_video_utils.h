/*
 * MPEG-4 Part 2 streams (ISO/IEC 14496-2): writing a video object layer (VOL) header, and finding one in an
 * encoded frame.
 *
 * The writers share state that is not locked: one thread at a time writes headers. The finder may run in any
 * thread. A NULL for an argument marked "asserted" aborts the process, in every build.
 */
#ifndef ORKA_VIDEO_UTILS_H
#define ORKA_VIDEO_UTILS_H

#include <stdint.h>

#include "orka_iencode.h"

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

/*
 * Writes the header of a simple, rectangular layer with 1000 ticks a second, and user data behind it, into
 * buffer (asserted): 22 bytes. width and height are in pixels and below 8192; of larger values the low 16
 * bits are taken, and what a field cannot hold falsifies the bits before it. size (asserted) says how many
 * bytes the buffer has, and gets the header's length. Returns that length.
 *
 * When the buffer is too small the answer is -1, after a report, but the header has been written all the
 * same: never give less than 22 bytes. 64 are enough for any header.
 */
int32_t orka_video_utils_encode_vol_header(uint32_t width, uint32_t height, uint8_t *buffer, uint32_t *size);

/*
 * That header with two choices more, and without looking at the buffer's size: stores the length in size
 * and returns it. With a mode other than 1 a visual object start code comes first, which makes 26 bytes.
 * time_resolution, of which the low 16 bits are taken, is in ticks a second. No pointer is asserted.
 */
int32_t orka_video_utils_encode_vol_header_actual(uint32_t mode, uint32_t width, uint32_t height,
                                                  uint32_t time_resolution, uint8_t *buffer, uint32_t *size);

/*
 * The VOL header in an encoder's frame (asserted; its addr and size are read): a pointer into the frame's
 * data, and in length its bytes up to the next start code, at most 65. A header that begins in the last nine
 * bytes of a frame is not found.
 *
 * NULL when there is none or no start code behind it, with length 0; a frame of fewer than 12 bytes leaves
 * length as it was. No byte outside the frame is read.
 */
uint8_t *orka_video_utils_find_vol_header(const orka_iencode_frame_t *frame, uint32_t *length);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif
