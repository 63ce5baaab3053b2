/*
 * Encoders: parameters and codec images, control, queues and frames.
 *
 * To encode: fill parameter records from the descriptors of orka_media.h; load the image that
 * orka_iencode_get_codec_name names; set the encoders up and init each video channel; open a queue for each;
 * start. The audio encoder is fed: ask for a new frame, write sound to its buffer, commit it, and get and
 * release what was encoded. Video is fed by capture: get and release what a channel encoded, and its motion
 * vectors. At the end stop the encoders, release the queues and tear down. The driver keeps this order; the
 * library does not check it.
 *
 * There is one audio encoder, and a video encoder for each of the channels 0 to 3, with a node of its own.
 *
 * Unless a function says otherwise, it returns
 * - ORKA_STATUS_SUCCESS;
 * - ORKA_STATUS_IO when the driver's node cannot be opened or the channel has none, and from frame calls when
 *   the driver refuses;
 * - ORKA_STATUS_ERROR when the driver refuses;
 * - ORKA_STATUS_NULL_POINTER, if it takes a queue, for a NULL argument;
 * - ORKA_STATUS_INITIALIZATION, if it takes a queue, for what is not an open queue, or not of the kind in the
 *   function's name; the frame calls of audio give ORKA_STATUS_IO for an open queue of another kind;
 *
 * and reports every failure on standard error. A NULL for an argument marked "asserted" aborts the process,
 * in every build. All functions may be called from any thread; a queue of audio is for one thread at a time
 * to get and release frames.
 */
#ifndef ORKA_IENCODE_H
#define ORKA_IENCODE_H

#include <stdint.h>

#include "orka_media.h"
#include "orka_status.h"

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

/* What the audio encoder is set up with. Offsets in bytes; it travels to the driver as it is. */
typedef struct orka_iencode_audio_params {
    uint32_t codec;       /* 0: codec number */
    uint32_t channels;    /* 4 */
    uint32_t sample_rate; /* 8: Hz */
    uint32_t bitrate;     /* 12: kbit/s */
    uint32_t bitrate_bps; /* 16: bit/s */
    uint32_t mode;        /* 20: of the codec */
    uint32_t reserved24;  /* 24 */
    uint32_t bufsize;     /* 28: bytes of the queue */
    uint32_t bufcount;    /* 32: frames of the queue */
    uint32_t reserved36;  /* 36 */
    uint32_t reserved40;  /* 40 */
} orka_iencode_audio_params_t;

/*
 * What a video encoder is set up with. Offsets in bytes; it travels to the driver as it is. The library fills
 * width and height from the descriptor and everything else with the values of the codec, which an application
 * may change before it sets the encoder up; what the words without a name drive is the driver's.
 */
typedef struct orka_iencode_video_params {
    uint32_t codec;           /* 0: codec number */
    uint8_t frame_rate;       /* 4: pictures a second: 30 */
    uint8_t key_distance;     /* 5: pictures from one key picture to the next: 15 */
    uint8_t word6;            /* 6: 1 or 3 */
    uint8_t reserved7;        /* 7 */
    uint32_t width;           /* 8: pixels */
    uint32_t height;          /* 12: pixels */
    uint16_t word16;          /* 16: 3, 4 or 6 */
    uint16_t word18;          /* 18: 0 */
    uint32_t bitrate;         /* 20: kbit/s: 3000 or 5000 */
    uint32_t reserved24[2];   /* 24 */
    uint32_t word32;          /* 32: 0 */
    uint32_t word36;          /* 36: 31744 or 26112 */
    uint32_t word40;          /* 40: 0 */
    uint16_t word44;          /* 44: 1000 */
    uint8_t word46;           /* 46: 1 */
    uint8_t reserved47;       /* 47 */
    uint32_t reserved48[2];   /* 48 */
    uint32_t word56;          /* 56: 0 or 1 */
    uint32_t bufsize;         /* 60: bytes of the queue: 0x200000 or 0x400000 */
    uint32_t bufcount;        /* 64: frames of the queue: 120 or 240 */
    uint32_t reserved68[10];  /* 68 */
    uint32_t channel;         /* 108: the video channel that is set up: 0 */
    uint32_t word112;         /* 112: 0 */
    uint32_t reserved116[35]; /* 116 */
} orka_iencode_video_params_t;

/* Two gains, each mantissa / 32768 * 2^shift as a power ratio. */
typedef struct orka_iencode_gain {
    uint16_t first_mantissa;  /* 0 */
    uint16_t second_mantissa; /* 2 */
    uint16_t first_shift;     /* 4 */
    uint16_t second_shift;    /* 6 */
} orka_iencode_gain_t;

/*
 * A frame: thirteen words, of which the library reads addr and size alone; the rest is between driver and
 * application. Offsets in bytes.
 */
typedef struct orka_iencode_frame {
    uint32_t kind;        /* 0: an orka_frame_type_t */
    uint32_t flags;       /* 4: bit 0 key frame, bit 1 codec header, bit 2 damaged */
    uint32_t number;      /* 8: running, from 0 */
    uint32_t addr;        /* 12: the buffer; physical towards the driver, virtual in the application's copy */
    uint32_t size;        /* 16: bytes of data */
    uint32_t width;       /* 20: pixels; audio: sample rate in Hz */
    uint32_t height;      /* 24: pixels; audio: channels */
    uint32_t timestamp;   /* 28: ms */
    uint32_t stride;      /* 32: bytes */
    uint32_t capacity;    /* 36: bytes */
    uint32_t duration;    /* 40: ms */
    uint32_t reserved[2]; /* 44: 0 */
} orka_iencode_frame_t;

/*
 * An open queue, mapped into the process from the get-queue call to orka_iencode_release_queue. Made by the
 * library, owned by the caller, to be read only.
 *
 *               pbase            pbase + length
 *     driver:     |--- buffers ---|
 *               vbase            vbase + length
 *     program:    |--- buffers ---|
 */
typedef struct orka_iencode_queue {
    uint32_t magic;                 /* 0: an ORKA_IENCODE_..._QUEUE */
    uint32_t version;               /* 4: 1 while the queue is open */
    int32_t channel;                /* 8: the encoder's */
    uint32_t reserved;              /* 12: not used */
    uint32_t queueid;               /* 16: 0 for video and motion vectors */
    uint32_t length;                /* 20: bytes */
    uint32_t pbase;                 /* 24: physical */
    uint32_t vbase;                 /* 28: virtual */
    orka_iencode_frame_t lastframe; /* 32: last obtained with orka_iencode_get_frame */
} orka_iencode_queue_t;

/* What a queue is of: its magic. */
enum {
    ORKA_IENCODE_AUDIO_QUEUE = 0x49514541,        /* "AEQI" in memory */
    ORKA_IENCODE_VIDEO_QUEUE = 0x49515556,        /* "VUQI" */
    ORKA_IENCODE_MOTION_VECTOR_QUEUE = 0x4951554D /* "MUQI" */
};

/*
 * Both fill eparams (asserted) from a descriptor (asserted) and send nothing. The descriptor's word valid is
 * not looked at. NONE is no failure, and has nothing but its codec number.
 *
 * Audio: a bitrate above 4000 in the descriptor is taken as bit/s, otherwise as kbit/s.
 * ORKA_STATUS_OUT_OF_RANGE for a rate that the codec does not have, and for a type that the encoder does not
 * have: AC3, BSAC, G728, GSMAMR, MP1, MP2, OGG. For a wrong bitrate of G.711 the report names the sample
 * rate.
 *
 * Video: ORKA_STATUS_INVALID_PARAMETER for a type other than NONE, H263, H264, MPEG2, MPEG4 and JPEG, and,
 * but for NONE and JPEG, for a width or height of 0.
 */
orka_status_t orka_iencode_get_audio_params(orka_iencode_audio_params_t *eparams,
                                            const orka_audio_desc_t *adesc);
orka_status_t orka_iencode_get_video_params(orka_iencode_video_params_t *eparams,
                                            const orka_video_desc_t *vdesc);

/*
 * The codec image that encodes both types at once, or NULL, which is reported, where there is none. The text
 * belongs to the library.
 */
const char *orka_iencode_get_codec_name(orka_video_type_t vtype, orka_audio_type_t atype);

/*
 * Loading a codec image by name (asserted), as orka_iencode_get_codec_name gives it: at most 35 characters
 * for the video encoder, whose copy of the name a longer one overruns, and 32 for the others.
 */
orka_status_t orka_iencode_load_audio_encoder_framework(const char *fwname);
orka_status_t orka_iencode_load_video_encoder_framework(int32_t channel, int32_t stream, const char *fwname);
orka_status_t orka_iencode_load_image_encoder_framework(const char *fwname);

/*
 * Setting up; params is asserted. Which video channel is set up stands in the parameters, where
 * orka_iencode_get_video_params leaves 0.
 */
orka_status_t orka_iencode_setup_audio_encoder(const orka_iencode_audio_params_t *params);
orka_status_t orka_iencode_setup_video_encoder(const orka_iencode_video_params_t *params);
orka_status_t orka_iencode_init_video_encoder(int32_t channel);

/* Starting and stopping. */
orka_status_t orka_iencode_start_audio_encoder(void);
orka_status_t orka_iencode_start_video_encoder(int32_t channel);
orka_status_t orka_iencode_stop_audio_encoder(void);
orka_status_t orka_iencode_stop_video_encoder(int32_t channel);

/*
 * Acoustic echo cancellation. The record is 48 bytes, an agreement between application and driver; the
 * library hands the pointer on as it is. A stop that fails is reported as a start.
 */
orka_status_t orka_iencode_start_audio_aec(const void *record);
orka_status_t orka_iencode_stop_audio_aec(void);

/*
 * The two capture gains of the audio encoder, as they are; the pointer is handed to the driver, which refuses
 * NULL.
 */
orka_status_t orka_iencode_audio_set_gain(const orka_iencode_gain_t *gain);

/*
 * The two gains in dB, -12 to 12, power ratios. 13 dB is taken too and mutes: mantissa 0.
 * ORKA_STATUS_OUT_OF_RANGE otherwise, and nothing is sent; the report then says -13 to 13.
 */
orka_status_t orka_iencode_audio_set_gaindb(int32_t first_db, int32_t second_db);

/* Audio from input to output without encoding, on and off. A failure of either is reported as a teardown. */
orka_status_t orka_iencode_audio_passthru_enable(void);
orka_status_t orka_iencode_audio_passthru_disable(void);

/* Tearing down: the driver takes the encoder's memory back, and its queue. */
orka_status_t orka_iencode_teardown_audio_encoder(void);
orka_status_t orka_iencode_teardown_video_encoder(int32_t channel);

/*
 * Opening a queue, which maps it. NULL on failure; a mapping that the system refuses ends the process.
 * The form without a queue id opens the audio encoder's usual queue, 3. Audio has channel 0 only.
 */
orka_iencode_queue_t *orka_iencode_get_audio_queueid(int32_t channel, uint32_t queueid);
orka_iencode_queue_t *orka_iencode_get_audio_queue(int32_t channel);
orka_iencode_queue_t *orka_iencode_get_video_queue(int32_t channel);
orka_iencode_queue_t *orka_iencode_get_video_mv_queue(int32_t channel);

/*
 * Unmaps and frees a queue. Where unmapping fails its status is returned, and the queue is freed all the
 * same.
 */
orka_status_t orka_iencode_release_queue(orka_iencode_queue_t *queue);

/*
 * Taking a frame from the audio encoder: new gives an empty one to fill, get an encoded one to read, which
 * the queue keeps a copy of in lastframe. Blocks up to timeout in the driver's unit. frame is written on
 * success alone. The driver must give every frame an address: 0 aborts. ORKA_STATUS_TIMEOUT, which is not
 * reported, when there was none in time; ORKA_STATUS_INTR when the driver was interrupted; ORKA_STATUS_ERROR
 * when it failed; ORKA_STATUS_IO when it refused, and for a queue of motion vectors.
 */
orka_status_t orka_iencode_new_frame(orka_iencode_frame_t *frame, const orka_iencode_queue_t *queue,
                                     int32_t timeout);
orka_status_t orka_iencode_get_frame(orka_iencode_frame_t *frame, orka_iencode_queue_t *queue,
                                     int32_t timeout);

/*
 * Handing a frame back to the audio encoder: commit a filled one, release a read one. The caller's copy is
 * left as it is. Its address must not be 0, which aborts. ORKA_STATUS_IO when the driver refuses, and for a
 * queue of motion vectors.
 */
orka_status_t orka_iencode_commit_frame(const orka_iencode_frame_t *frame, const orka_iencode_queue_t *queue);
orka_status_t orka_iencode_release_frame(const orka_iencode_frame_t *frame,
                                         const orka_iencode_queue_t *queue);

/*
 * orka_iencode_get_frame for audio queues only; and the release of the frame that was got last, so that the
 * application need not keep it. Before any was got, that release aborts.
 */
orka_status_t orka_iencode_get_audio_frame(orka_iencode_frame_t *frame, orka_iencode_queue_t *queue,
                                           int32_t timeout);
orka_status_t orka_iencode_release_audio_frame(const orka_iencode_queue_t *queue);

/*
 * Taking an encoded frame of a video channel, or its motion vectors, after waiting for at most timeout
 * milliseconds: negative waits without limit, 0 only looks. frame is written once there is one to take.
 * ORKA_STATUS_TIMEOUT, which is not reported, when there was none in time; ORKA_STATUS_INTR when a signal
 * came first; ORKA_STATUS_ERROR when waiting failed; ORKA_STATUS_IO when the driver refuses. Data that does
 * not lie within the queue is a warning on standard output, and a success all the same. The driver must give
 * every frame an address: 0 aborts.
 */
orka_status_t orka_iencode_get_video_frame(orka_iencode_frame_t *frame, const orka_iencode_queue_t *queue,
                                           int32_t timeout);
orka_status_t orka_iencode_get_video_mv_frame(orka_iencode_frame_t *frame, const orka_iencode_queue_t *queue,
                                              int32_t timeout);

/*
 * Handing that frame back; the driver knows which. ORKA_STATUS_IO when it refuses; a NULL queue is
 * ORKA_STATUS_INITIALIZATION here.
 */
orka_status_t orka_iencode_release_video_frame(const orka_iencode_queue_t *queue);
orka_status_t orka_iencode_release_video_mv_frame(const orka_iencode_queue_t *queue);

/*
 * The name of how a picture is scanned: 0 "PROGRESSIVE", 1 "PROGRESSIVE LINE DOUBLE", 2 "INTERLACED";
 * "UNKNOWN" for any other number. The text belongs to the library.
 */
const char *orka_iencode_frame_type_string(int32_t scan);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif
