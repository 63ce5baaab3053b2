/*
 * Video capture: modes, the capture interface's controls, and captured frames.
 *
 * To capture: find a mode with orka_icapture_get_capture_params, set capture up with the parameters that come
 * out, enable it, and open a handle; then get frames and release them, and close the handle at the end.
 *
 * Unless a function says otherwise, it returns
 * - ORKA_STATUS_SUCCESS;
 * - ORKA_STATUS_IO when the capture node cannot be opened;
 * - ORKA_STATUS_ERROR when the driver refuses, which is to answer with a negative result;
 *
 * and reports every failure on standard error. What a search for a mode has to say goes to standard output.
 *
 * All functions may be called from any thread, but a handle is for one thread at a time.
 */
#ifndef ORKA_ICAPTURE_H
#define ORKA_ICAPTURE_H

#include <stdint.h>
#include <stdio.h>

#include "orka_idisplay.h"
#include "orka_status.h"

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

/* A capture mode, and what capture is set up with. Offsets in bytes; it travels to the driver as it is. */
typedef struct orka_capture_params {
    uint32_t words0[6];   /* 0: the driver's: 0, 0, 1, 1, 1, 10 */
    uint32_t out_width;   /* 24: pixels */
    uint32_t out_height;  /* 28: lines */
    uint32_t req_width;   /* 32: as requested */
    uint32_t req_height;  /* 36 */
    uint32_t words40[3];  /* 40: the driver's: 0, 6, 6 */
    uint32_t frame_rate;  /* 52: pictures a second */
    char device[33];      /* 56 */
    char mode[33];        /* 89 */
    uint16_t width;       /* 122: pixels */
    uint16_t height;      /* 124: lines */
    uint16_t reserved126; /* 126 */
    uint32_t interlaced;  /* 128: 1 both fields, anything else one field */
} orka_capture_params_t;

/* Open capture: where the captured frames lie. Made by orka_icapture_init, owned by the caller until close.
 */
typedef struct orka_capture_handle {
    char magic[4];        /* 0: "SIDS" */
    uint32_t initialized; /* 4: 1 */
    uint32_t pbase;       /* 8: physical base of the frame buffers */
    uint32_t vbase;       /* 12: their mapping */
    uint32_t width;       /* 16: pixels of a captured frame */
    uint32_t height;      /* 20 */
    uint32_t bufsize;     /* 24: bytes of all frame buffers */
    uint32_t framesize;   /* 28: bytes of one frame */
    uint32_t slots[16];   /* 32: physical address of each frame that was got */
} orka_capture_handle_t;

/*
 * Prints the modes that there are: prefix, then "device mode (widthxheight) Interlaced" or "... Progressive"
 * for each with separator between them, then suffix. Any of the three texts may be NULL for nothing.
 */
void orka_icapture_print_modes(FILE *stream, const char *prefix, const char *separator, const char *suffix);

/*
 * Fills out with the mode that serves a request best. A NULL request asks for nothing in particular.
 *
 * A device is named in full, a mode in full or up to a "_", in any case: "480i" is "480i_field" too, which
 * comes before "480i_frame". A mode of one digit numbers the rows from 0, those of the device where one is
 * named. A warning tells of each row whose mode is looked at. A device without the mode gives its first row;
 * where nothing was found, the first row of all is taken, with a warning, and without one where nothing was
 * asked for.
 *
 * req_width and req_height are those of the request, 0 too; without a request, those of the mode.
 * ORKA_STATUS_NULL_POINTER without out; the driver is not asked.
 */
orka_status_t orka_icapture_get_capture_params(orka_capture_params_t *out,
                                               const orka_display_request_t *request);

/* Setting capture up. params is handed to the driver as it is, which may write to it; it must not be NULL. */
orka_status_t orka_icapture_setup(orka_capture_params_t *params);

/* Sets or gets what the video decoder chip has, by a record of 8 bytes between the driver and the caller. */
orka_status_t orka_icapture_vdecoder_control(void *record);

/* Words for the driver to interpret. */
orka_status_t orka_icapture_set_vchannels(uint32_t channels);
orka_status_t orka_icapture_set_start_channel(uint32_t channel);
orka_status_t orka_icapture_set_enable(uint32_t enable);

/* Which picture is passed through to the display: 0 none, 1 the encoded one, 2 the captured one. */
orka_status_t orka_icapture_set_passthru(uint32_t mode);

/* "None", "Encoded", "Captured"; "Unknown" for any other number. The text belongs to the library. */
const char *orka_icapture_passthru_string(int mode);

/*
 * Opens a handle: asks where the frame buffers lie and how large a frame is, maps them, and tells of it on
 * standard output. NULL on failure; a mapping that the system refuses ends the process. The driver must give
 * an address: 0 aborts. The handle belongs to the caller until orka_icapture_close. A lack of memory for it
 * is the one failure that is not reported.
 */
orka_capture_handle_t *orka_icapture_init(void);

/*
 * Checks a handle, as every function that takes one does: ORKA_STATUS_NULL_POINTER for NULL,
 * ORKA_STATUS_INITIALIZATION for what is not an open handle.
 */
orka_status_t orka_icapture_check_handle(const orka_capture_handle_t *handle);

/* The size of a frame in pixels; both are written on success alone, and must not be NULL. */
orka_status_t orka_icapture_get_dim(const orka_capture_handle_t *handle, uint32_t *width, uint32_t *height);

/*
 * The virtual address of a captured frame: width * height pixels of 16 bits, the driver's until it is got and
 * from its release on. index is the caller's choice of a slot, 0 to 15, which is not checked. NULL on
 * failure, also where the driver names an address outside the frame buffers, whose end counts as inside. The
 * driver must give an address: 0 aborts.
 */
void *orka_icapture_get_frame(orka_capture_handle_t *handle, uint32_t index);

/* Gives the frame of a slot back. ORKA_STATUS_IO is not reported here. */
orka_status_t orka_icapture_release_frame(orka_capture_handle_t *handle, uint32_t index);

/*
 * Frees a handle and closes the capture node for the whole process; a failure of the latter is reported, and
 * still a success. The frames stay mapped.
 */
orka_status_t orka_icapture_close(orka_capture_handle_t *handle);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif
