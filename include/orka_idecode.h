/*
 * Decoders of audio, video and subtitles: parameters and codec images, control, queues and frames, display
 * clocks.
 *
 * To decode: fill parameter records from the descriptors of orka_media.h; load the image that
 * orka_idecode_get_codec_name names; set the decoders up (video: and init them) and start them; open a queue
 * for each. Then ask for a new frame, write data to its buffer, commit it, and get and release what was
 * decoded. At the end commit a frame of kind LAST, wait for the decoder to finish, stop it, release the queue
 * and tear it down. The driver keeps this order; the library does not check it.
 *
 * Unless a function says otherwise, it returns
 * - ORKA_STATUS_SUCCESS;
 * - ORKA_STATUS_IO when the driver's node cannot be opened, and from frame calls when the driver refuses;
 * - ORKA_STATUS_ERROR when the driver refuses;
 * - ORKA_STATUS_NULL_POINTER, if it takes a queue, for a NULL argument;
 * - ORKA_STATUS_INITIALIZATION, if it takes a queue, for what is not an open queue; frame calls give
 *   ORKA_STATUS_IO for an open queue that is not a decoder's;
 *
 * and reports every failure on standard error. A NULL for an argument marked "asserted" aborts the process,
 * in every build. All functions may be called from any thread.
 */
#ifndef ORKA_IDECODE_H
#define ORKA_IDECODE_H

#include <stdint.h>

#include "orka_media.h"
#include "orka_status.h"

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

/* What the audio decoder is set up with. Offsets in bytes; it travels to the driver as it is. */
typedef struct orka_idecode_audio_params {
    uint32_t codec;       /* 0: codec number */
    uint8_t channels;     /* 4 */
    uint8_t reserved5[3]; /* 5 */
    uint32_t sample_rate; /* 8: Hz */
    uint32_t bitrate;     /* 12: kbit/s */
    uint32_t bitrate_bps; /* 16: bit/s */
    uint32_t extra1;      /* 20: words of the codec, from the descriptor */
    uint32_t extra2;      /* 24 */
    uint32_t reserved28;  /* 28 */
    uint32_t bufsize;     /* 32: bytes of queued input */
    uint32_t bufcount;    /* 36: frames of queued input */
    uint32_t maxframe;    /* 40: bytes of the largest frame */
    uint32_t reserved44;  /* 44 */
    uint32_t reserved48;  /* 48 */
} orka_idecode_audio_params_t;

/* What a video decoder is set up with. Offsets in bytes; it travels to the driver as it is. */
typedef struct orka_idecode_video_params {
    uint32_t reserved0[3];   /* 0 */
    uint32_t codec;          /* 12: codec number */
    uint32_t width;          /* 16: pixels */
    uint32_t height;         /* 20: pixels */
    uint8_t reserved24[2];   /* 24 */
    uint8_t flag;            /* 26: 1 */
    uint8_t reserved27[269]; /* 27 */
    uint32_t bufsize;        /* 296: bytes of queued input */
    uint32_t bufcount;       /* 300: frames of queued input */
    uint32_t maxframe;       /* 304: bytes of the largest frame */
    uint32_t reserved308[7]; /* 308 */
} orka_idecode_video_params_t;

/* What the subtitle decoder is set up with: words between application and driver. */
typedef struct orka_idecode_subtitle_params {
    uint32_t words[4]; /* the driver's */
} orka_idecode_subtitle_params_t;

/* Two gains, each mantissa / 32768 * 2^shift as a power ratio. */
typedef struct orka_idecode_gain {
    uint16_t first_mantissa;  /* 0 */
    uint16_t second_mantissa; /* 2 */
    uint16_t first_shift;     /* 4 */
    uint16_t second_shift;    /* 6 */
} orka_idecode_gain_t;

/*
 * An open queue, mapped into the process from the get-queue call to orka_idecode_release_queue. Made by the
 * library, owned by the caller, to be read only.
 *
 *               pbase            pbase + length
 *     driver:     |--- buffers ---|
 *               vbase            vbase + length
 *     program:    |--- buffers ---|
 */
typedef struct orka_idecode_queue {
    uint32_t magic;   /* 0: an ORKA_IDECODE_..._QUEUE */
    uint32_t version; /* 4: 1 while the queue is open */
    int32_t channel;  /* 8: the decoder's */
    int32_t stream;   /* 12: 0 for audio */
    uint32_t queueid; /* 16: as it was opened */
    uint32_t length;  /* 20: bytes */
    uint32_t pbase;   /* 24: physical */
    uint32_t vbase;   /* 28: virtual */
} orka_idecode_queue_t;

/* What a queue is of: its magic. */
enum {
    ORKA_IDECODE_AUDIO_QUEUE = 0x49445141,   /* "IDQA" */
    ORKA_IDECODE_VIDEO_QUEUE = 0x49445156,   /* "IDQV" */
    ORKA_IDECODE_SUBTITLE_QUEUE = 0x49445153 /* "IDQS" */
};

/*
 * A frame: thirteen words, of which the library touches addr alone; the rest is between driver and
 * application. Offsets in bytes.
 */
typedef struct orka_idecode_frame {
    uint32_t kind;        /* 0: an orka_frame_type_t */
    uint32_t flags;       /* 4: bit 0 key frame, bit 1 codec header, bit 2 damaged */
    uint32_t number;      /* 8: running, from 0 */
    uint32_t addr;        /* 12: the buffer; physical towards the driver, virtual in the application's copy */
    uint32_t size;        /* 16: bytes of data */
    uint32_t width;       /* 20: pixels; audio: sample rate in Hz */
    uint32_t height;      /* 24: pixels; audio: channels */
    uint32_t tsms;        /* 28: time stamp in ms */
    uint32_t stride;      /* 32: bytes */
    uint32_t capacity;    /* 36: bytes */
    uint32_t duration;    /* 40: ms */
    uint32_t reserved[2]; /* 44: 0 */
} orka_idecode_frame_t;

/*
 * Both fill dparams (asserted) from a descriptor (asserted), send nothing, and return
 * - ORKA_STATUS_OUT_OF_RANGE for a rate that the codec does not have;
 * - ORKA_STATUS_INVALID_PARAMETER for a type that no decoder takes.
 *
 * A bitrate above 4000 in the descriptor is taken as bit/s, otherwise as kbit/s. The descriptor's word valid
 * is not looked at. NONE is no failure, and has nothing but its codec number.
 */
orka_status_t orka_idecode_get_audio_params(orka_idecode_audio_params_t *dparams,
                                            const orka_audio_desc_t *adesc);
orka_status_t orka_idecode_get_video_params(orka_idecode_video_params_t *dparams,
                                            const orka_video_desc_t *vdesc);

/*
 * The codec image that decodes both types at once, or NULL where there is none, which is reported but for
 * MPEG4 with OGG. The text belongs to the library.
 */
const char *orka_idecode_get_codec_name(orka_video_type_t vtype, orka_audio_type_t atype);

/*
 * Loading a codec image by name (asserted), as orka_idecode_get_codec_name gives it: at most 35 characters
 * for the video decoder, whose copy of the name a longer one overruns, and 32 for the others.
 */
orka_status_t orka_idecode_load_audio_decoder_framework(const char *fwname);
orka_status_t orka_idecode_load_video_decoder_framework(int32_t channel, int32_t stream, const char *fwname);
orka_status_t orka_idecode_load_image_decoder_framework(const char *fwname);
orka_status_t orka_idecode_load_subtitle_decoder_framework(const char *fwname);

/* Setting up; params is asserted. The audio and subtitle decoders set up are always those of channel 0. */
orka_status_t orka_idecode_setup_audio_decoder(const orka_idecode_audio_params_t *params);
orka_status_t orka_idecode_setup_video_decoder(int32_t channel, int32_t stream,
                                               const orka_idecode_video_params_t *params);
orka_status_t orka_idecode_setup_subtitle_decoder(const orka_idecode_subtitle_params_t *params);
orka_status_t orka_idecode_init_video_decoder(int32_t channel, int32_t stream);

/* Starting, pausing, searching, flushing and stopping. What flush drops is the driver's to interpret. */
orka_status_t orka_idecode_start_audio_decoder(int32_t channel);
orka_status_t orka_idecode_start_video_decoder(int32_t channel, int32_t stream);
orka_status_t orka_idecode_start_subtitle_decoder(int32_t channel);
orka_status_t orka_idecode_pause_audio_decoder(int32_t channel);
orka_status_t orka_idecode_pause_video_decoder(int32_t channel, int32_t stream);
orka_status_t orka_idecode_pause_subtitle_decoder(int32_t channel);
orka_status_t orka_idecode_rewind_video_decoder(int32_t channel, int32_t stream);
orka_status_t orka_idecode_fastforward_video_decoder(int32_t channel, int32_t stream);
orka_status_t orka_idecode_flush_video_decoder(int32_t channel, int32_t stream, uint32_t flush);
orka_status_t orka_idecode_stop_audio_decoder(int32_t channel);
orka_status_t orka_idecode_stop_video_decoder(int32_t channel, int32_t stream);
orka_status_t orka_idecode_stop_subtitle_decoder(int32_t channel);

/*
 * Waiting, blocked in the driver, until a decoder has finished; timeout in the driver's unit, -1 without
 * limit, as the forms without a time-out have it. ORKA_STATUS_TIMEOUT, which is not reported, when time ran
 * out; ORKA_STATUS_INTR when the driver was interrupted; ORKA_STATUS_ERROR when the driver refuses or fails.
 */
orka_status_t orka_idecode_wait_finish_audio_decoder(int32_t channel);
orka_status_t orka_idecode_wait_finish_audio_decoder_timeout(int32_t channel, int32_t timeout);
orka_status_t orka_idecode_wait_finish_video_decoder(int32_t channel, int32_t stream);
orka_status_t orka_idecode_wait_finish_video_decoder_timeout(int32_t channel, int32_t stream,
                                                             int32_t timeout);

/* Tearing down: the driver takes the decoder's memory back, and its queue. */
orka_status_t orka_idecode_teardown_audio_decoder(int32_t channel);
orka_status_t orka_idecode_teardown_video_decoder(int32_t channel, int32_t stream);
orka_status_t orka_idecode_teardown_subtitle_decoder(int32_t channel);

/* The two gains of the audio decoder, as they are; the pointer is handed to the driver, which refuses NULL.
 */
orka_status_t orka_idecode_audio_set_gain(const orka_idecode_gain_t *gain);

/*
 * The two gains in dB, -12 to 12, power ratios. 13 dB is taken too and mutes: mantissa 0.
 * ORKA_STATUS_OUT_OF_RANGE otherwise, and nothing is sent; the report then says -13 to 13.
 */
orka_status_t orka_idecode_audio_set_gaindb(int32_t first_db, int32_t second_db);

/*
 * Opening a queue, which maps it. NULL on failure; a mapping that the system refuses ends the process.
 * The forms without a queue id open the decoder's usual queue, 3 for audio and subtitles and 8 for video.
 * Audio and subtitles have channel 0 only.
 */
orka_idecode_queue_t *orka_idecode_get_audio_queueid(int32_t channel, uint32_t queueid);
orka_idecode_queue_t *orka_idecode_get_audio_queue(int32_t channel);
orka_idecode_queue_t *orka_idecode_get_video_queueid(int32_t channel, int32_t stream, uint32_t queueid);
orka_idecode_queue_t *orka_idecode_get_video_queue(int32_t channel, int32_t stream);
orka_idecode_queue_t *orka_idecode_get_subtitle_queueid(int32_t channel, uint32_t queueid);
orka_idecode_queue_t *orka_idecode_get_subtitle_queue(int32_t channel);

/*
 * Unmaps and frees a queue. Where unmapping fails its status is returned, and the queue is freed all the
 * same.
 */
orka_status_t orka_idecode_release_queue(orka_idecode_queue_t *queue);

/*
 * The descriptor of a queue's driver, to poll; it stays the library's, and is not to be closed. Negative on
 * failure. The queue must not be NULL here.
 */
int32_t orka_idecode_get_queue_fd(const orka_idecode_queue_t *queue);

/*
 * Taking a frame from the driver: new gives an empty one to fill, get a decoded one to read. Blocks up to
 * timeout in the driver's unit. frame is written on success alone. The driver must give every frame an
 * address: 0 aborts. ORKA_STATUS_TIMEOUT, which is not reported, when there was none in time;
 * ORKA_STATUS_INTR when the driver was interrupted; ORKA_STATUS_ERROR when it failed; ORKA_STATUS_IO when it
 * refused.
 */
orka_status_t orka_idecode_new_frame(orka_idecode_frame_t *frame, const orka_idecode_queue_t *queue,
                                     int32_t timeout);
orka_status_t orka_idecode_get_frame(orka_idecode_frame_t *frame, const orka_idecode_queue_t *queue,
                                     int32_t timeout);

/*
 * Handing a frame back: commit a filled one, release a read one. The caller's copy is left as it is. Its
 * address must not be 0, which aborts. ORKA_STATUS_IO when the driver refuses.
 */
orka_status_t orka_idecode_commit_frame(const orka_idecode_frame_t *frame, const orka_idecode_queue_t *queue);
orka_status_t orka_idecode_release_frame(const orka_idecode_frame_t *frame,
                                         const orka_idecode_queue_t *queue);

/*
 * Taking a frame to fill and committing it, for queues of one kind only. Mind the names: these get calls are
 * orka_idecode_new_frame, for a frame to fill; a decoded frame is had with orka_idecode_get_frame alone.
 */
orka_status_t orka_idecode_get_audio_frame(orka_idecode_frame_t *frame, const orka_idecode_queue_t *queue,
                                           int32_t timeout);
orka_status_t orka_idecode_get_video_frame(orka_idecode_frame_t *frame, const orka_idecode_queue_t *queue,
                                           int32_t timeout);
orka_status_t orka_idecode_get_subtitle_frame(orka_idecode_frame_t *frame, const orka_idecode_queue_t *queue,
                                              int32_t timeout);
orka_status_t orka_idecode_commit_audio_frame(const orka_idecode_frame_t *frame,
                                              const orka_idecode_queue_t *queue);
orka_status_t orka_idecode_commit_video_frame(const orka_idecode_frame_t *frame,
                                              const orka_idecode_queue_t *queue);
orka_status_t orka_idecode_commit_subtitle_frame(const orka_idecode_frame_t *frame,
                                                 const orka_idecode_queue_t *queue);

/* Display clocks, in the driver's unit. tsms is written on success, and must not be NULL. */
orka_status_t orka_idecode_reset_audio_display_tsms(int32_t channel);
orka_status_t orka_idecode_get_audio_display_tsms(int32_t channel, uint32_t *tsms);
orka_status_t orka_idecode_get_video_display_tsms(uint32_t *tsms);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif
