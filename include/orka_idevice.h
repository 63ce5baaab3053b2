/*
 * Device nodes: one descriptor for each media driver, shared by the whole process.
 *
 * A node is opened by the first call that asks for it and stays open until the process exits; an exit
 * handler, registered with the first open of any node, closes it. A node that could not be opened is tried
 * again by the next call.
 *
 * Every accessor returns a descriptor above 0, or -1 after a report on standard error. The descriptor belongs
 * to this module: callers never close it. All functions may be called from any thread.
 */
#ifndef ORKA_IDEVICE_H
#define ORKA_IDEVICE_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

/*
 * Physical memory, /dev/mem, opened for read and write with O_SYNC.
 * Where the node is open already, this call still unlocks the device's mutex, which it then has not locked.
 */
int32_t orka_idevice_imem_fd(void);

/* The IMEM manager, /dev/imanage. */
int32_t orka_idevice_imanage_fd(void);

/* The encoders' common node, /dev/iencode. */
int32_t orka_idevice_iencode_fd(void);

/* The audio encoder, /dev/aencode or else /dev/aencode0. The report of a failure names /dev/idecode. */
int32_t orka_idevice_iaencode_fd(void);

/*
 * The video encoder of a channel, /dev/vencode0 to /dev/vencode3; -1 and no report for a channel outside 0
 * to 3.
 */
int32_t orka_idevice_ivencode_fd(int32_t channel);

/*
 * The motion-vector encoder of a channel, /dev/vmvencode0 to /dev/vmvencode3; -1 and no report for a channel
 * outside 0 to 3.
 */
int32_t orka_idevice_ivmvencode_fd(int32_t channel);

/* The decoders' common node, /dev/idecode. */
int32_t orka_idevice_idecode_fd(void);

/* The audio decoder, /dev/adecode or else /dev/adecode0. The report of a failure names /dev/idecode. */
int32_t orka_idevice_iadecode_fd(void);

/* The video decoder, /dev/vdecode or else /dev/vdecode0. The report of a failure names /dev/idecode. */
int32_t orka_idevice_ivdecode_fd(void);

/* The DTMF decoder, /dev/dtmfdecode. */
int32_t orka_idevice_dtmf_fd(void);

/* The subtitle decoder, /dev/subtldecode. */
int32_t orka_idevice_subtitle_fd(void);

/* The display windows, /dev/windisp. */
int32_t orka_idevice_windisp_fd(void);

/* The renderer, /dev/irender. */
int32_t orka_idevice_irender_fd(void);

/* Video capture, /dev/icapture or else /dev/icap. */
int32_t orka_idevice_icap_fd(void);

/* Image decoding and display, /dev/imgdecode or else /dev/imgd0. */
int32_t orka_idevice_imgdec_fd(void);

/* Image encoding, /dev/imgencode or else /dev/imgenc. */
int32_t orka_idevice_imgenc_fd(void);

/*
 * Closing a node before the process exits. The next call of its accessor opens it anew.
 *
 * Each returns 0 when nothing was open or the close succeeded, else what orka_file_close_fd returned, after a
 * report. The node counts as closed in either case.
 */
int32_t orka_idevice_windisp_fd_close(void);
int32_t orka_idevice_irender_fd_close(void);
int32_t orka_idevice_icap_fd_close(void);
int32_t orka_idevice_imgdec_fd_close(void);
int32_t orka_idevice_imgenc_fd_close(void);

/* Registers orka_idevice_close_atexit once per process. The accessors call it after every successful open. */
void orka_idevice_register_close_atexit(void);

/*
 * The exit handler: closes every node that is open. A program that calls it itself is to have capture closed:
 * its accessor would go on to return the closed descriptor.
 */
void orka_idevice_close_atexit(void);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif
