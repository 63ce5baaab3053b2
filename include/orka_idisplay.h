/*
 * Display: modes, outputs, and the frame buffers of the display.
 *
 * To show: resolve a request with orka_idisplay_get_display_params, set the display up with the parameters
 * that come out, and enable it. To reach the frame buffers, call orka_idisplay_imaging_setup once.
 *
 * Unless a function says otherwise, it returns
 * - ORKA_STATUS_SUCCESS;
 * - ORKA_STATUS_IO when the display's node, which is that of the decoders' interface, cannot be opened;
 * - ORKA_STATUS_ERROR when the driver refuses, which is to answer with a negative result;
 *
 * and reports every failure on standard error. What a search for a mode has to say goes to standard output.
 *
 * The ring of outputs and the mapping of the frame buffers belong to the process and have no lock: set them
 * up, and step through the ring, from one thread. All other functions may be called from any thread.
 */
#ifndef ORKA_IDISPLAY_H
#define ORKA_IDISPLAY_H

#include <stdint.h>
#include <stdio.h>

#include "orka_status.h"

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

/* A display mode, and what an output is set up with. Offsets in bytes; it travels to the driver as it is. */
typedef struct orka_display_params {
    uint32_t output;      /* 0: 0 */
    char device[33];      /* 4 */
    char mode[33];        /* 37 */
    uint16_t width;       /* 70: active pixels */
    uint16_t height;      /* 72: active lines */
    uint16_t reserved74;  /* 74 */
    uint32_t interlaced;  /* 76: 1 interlaced, anything else progressive */
    uint32_t words[5];    /* 80: the driver's: 0, 1, 1, 8, 8 */
    int32_t resize;       /* 100: -1 not resolved yet, 0 picture unscaled, 1 picture scaled */
    uint32_t pe_width;    /* 104: of the picture area; once resolved, of the scaled picture */
    uint32_t pe_height;   /* 108 */
    uint32_t reserved112; /* 112 */
    uint32_t src_width;   /* 116: of the source picture */
    uint32_t src_height;  /* 120 */
} orka_display_params_t;

/* Which mode is wanted, for a source picture of which size. The texts are the caller's. */
typedef struct orka_display_request {
    const char *device; /* NULL or "" for any */
    const char *mode;   /* likewise */
    uint32_t width;     /* pixels, 0 for none */
    uint32_t height;    /* likewise */
} orka_display_request_t;

/*
 * Prints the modes that there are: prefix, then "device mode (widthxheight) Interlaced" or "... Progressive"
 * for each with separator between them, then suffix. Any of the three texts may be NULL for nothing.
 */
void orka_idisplay_print_modes(FILE *stream, const char *prefix, const char *separator, const char *suffix);

/*
 * Fills out with the mode that serves a request best, and with the size at which a picture of the requested
 * width and height, if both are given, fits its picture area. A NULL request asks for nothing in particular.
 *
 * Names are compared without regard to case. By device and mode: a row of that device and mode which comes
 * after the device's first row, or else that first row, whose own mode is not looked at; a warning tells of
 * each row that is. By device alone or mode alone: the first such row. By nothing: the first row of all,
 * which is also taken, with a warning, where nothing was found.
 *
 * A picture that has the area's width or height, and is nowhere larger, is shown as it is. Any other is
 * scaled to the area's width or height, whichever it meets first, and keeps its shape; then the width is
 * rounded down to a multiple of 32 and the height to one of 16. Where the picture is higher than the area but
 * not wider, what the scaled width has above a multiple of 16 is added to it once more before that. With the
 * mode name "576i", in these letters, the lines are first taken times 6/5, with a warning, and the picture
 * always counts as scaled. All this is arithmetic of 32 bits without sign, which wraps for pictures that no
 * driver has.
 *
 * out->resize tells whether the picture is scaled, src_width and src_height are what was requested, or the
 * mode's where 0 was. ORKA_STATUS_NULL_POINTER without out; the driver is not asked.
 */
orka_status_t orka_idisplay_get_display_params(orka_display_params_t *out,
                                               const orka_display_request_t *request);

/* Selects an output, and tells which one is. The driver gets params as it is; it must not be NULL. */
orka_status_t orka_idisplay_set_output(const orka_display_params_t *params);
orka_status_t orka_idisplay_get_output(orka_display_params_t *params);

/*
 * Fills the ring of outputs anew with the modes that count requests name; their sizes are not looked at, and
 * the requests are not needed afterwards. Always ORKA_STATUS_SUCCESS: the ring holds 8, more are dropped with
 * a report.
 */
orka_status_t orka_idisplay_toggle_init(const orka_display_request_t *requests, int count);

/*
 * Selects the output after the one whose mode is selected now, or, where the ring has no such mode, after the
 * one that this function selected last. ORKA_STATUS_ERROR also while the ring is empty.
 */
orka_status_t orka_idisplay_toggle_output(void);

/* Setting the display up; ORKA_STATUS_NULL_POINTER without params. */
orka_status_t orka_idisplay_setup(const orka_display_params_t *params);
orka_status_t orka_idisplay_teardown(void);

/* Switching the display on (not 0) and off. */
orka_status_t orka_idisplay_set_enable(int on);
orka_status_t orka_idisplay_enable(void);
orka_status_t orka_idisplay_disable(void);

/* Selecting the first mode of the LCD (not 0), or the default mode, as the output. */
orka_status_t orka_idisplay_lcd_set_enable(int on);
orka_status_t orka_idisplay_lcd_enable(void);
orka_status_t orka_idisplay_lcd_disable(void);

/* Synchronising anew, hiding the picture and showing it again. */
orka_status_t orka_idisplay_resync(void);
orka_status_t orka_idisplay_mask(void);
orka_status_t orka_idisplay_unmask(void);

/* What the two factors mean is the driver's to say. */
orka_status_t orka_idisplay_set_osd_zoom(uint32_t zoom_a, uint32_t zoom_b);

/*
 * Two blocks of 8 bytes, which are the driver's to interpret. ORKA_STATUS_NULL_POINTER where either is
 * missing.
 */
orka_status_t orka_idisplay_set_resize(const void *first, const void *second);

/*
 * Asks where the frame buffers lie and maps them, for the rest of the process. ORKA_STATUS_IO when the driver
 * does not tell where, or without the node of physical memory; a mapping that the system refuses ends the
 * process. When the driver does not tell how large they are, that is reported, nothing is mapped, and the
 * result is ORKA_STATUS_SUCCESS. Each call maps anew.
 */
orka_status_t orka_idisplay_imaging_setup(void);

/*
 * The size of a channel's frames in pixels; both are written on success alone, and must not be NULL.
 * ORKA_STATUS_IO when the driver refuses.
 */
orka_status_t orka_idisplay_get_frame_dimension(uint32_t channel, uint32_t *width, uint32_t *height);

/*
 * The virtual address of a channel's frame buffer, within the mapping of orka_idisplay_imaging_setup, its end
 * included; it belongs to the driver. NULL on failure. The driver must give an address: 0 aborts.
 */
void *orka_idisplay_get_frame_buffer(uint32_t channel);

/* Gives a frame buffer back; what names it is the driver's to say. ORKA_STATUS_IO when the driver refuses. */
orka_status_t orka_idisplay_release_frame_buffer(uint32_t value);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif
