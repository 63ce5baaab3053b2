/*
 * The decoders' requests, on the audio, video, image and subtitle decoder nodes.
 *
 * Records are little-endian, packed and zeroed before use. "Read" in a request's number marks records that go
 * to the driver.
 */
#ifndef ORKA_WIRE_IDECODE_H
#define ORKA_WIRE_IDECODE_H

#include <cstddef>

#include "orka_idecode.h"
#include "wire/orka_imanage_wire.h"
#include "wire/orka_request.h"

namespace orka::wire {

/*
 * The caller's name string in place on the audio and image nodes, a video_framework_record on the video
 * node.
 */
constexpr uint32_t IDECODE_LOAD = ior('d', 0, image_name_size);
static_assert(IDECODE_LOAD == 0x80216400);

struct video_framework_record {
    int32_t channel;
    int32_t stream;
    char name[36];
};
static_assert(sizeof(video_framework_record) == 44);
static_assert(offsetof(video_framework_record, name) == 8);

struct channel_record {
    int32_t channel;
    int32_t stream;
};
static_assert(sizeof(channel_record) == 8 && offsetof(channel_record, stream) == 4);

constexpr uint32_t IDECODE_INIT = ior('d', 30, sizeof(channel_record));
constexpr uint32_t IDECODE_START = ior('d', 6, sizeof(channel_record));
constexpr uint32_t IDECODE_PAUSE = ior('d', 9, sizeof(channel_record));
constexpr uint32_t IDECODE_REWIND = ior('d', 10, sizeof(channel_record));
constexpr uint32_t IDECODE_FASTFORWARD = ior('d', 11, sizeof(channel_record));
constexpr uint32_t IDECODE_STOP = ior('d', 7, sizeof(channel_record));
constexpr uint32_t IDECODE_TEARDOWN = ior('d', 5, sizeof(channel_record));
static_assert(IDECODE_INIT == 0x8008641E);
static_assert(IDECODE_START == 0x80086406);
static_assert(IDECODE_PAUSE == 0x80086409);
static_assert(IDECODE_REWIND == 0x8008640A);
static_assert(IDECODE_FASTFORWARD == 0x8008640B);
static_assert(IDECODE_STOP == 0x80086407);
static_assert(IDECODE_TEARDOWN == 0x80086405);

static_assert(sizeof(orka_idecode_audio_params_t) == 52);
static_assert(offsetof(orka_idecode_audio_params_t, channels) == 4);
static_assert(offsetof(orka_idecode_audio_params_t, sample_rate) == 8);
static_assert(offsetof(orka_idecode_audio_params_t, bitrate) == 12);
static_assert(offsetof(orka_idecode_audio_params_t, bitrate_bps) == 16);
static_assert(offsetof(orka_idecode_audio_params_t, extra1) == 20);
static_assert(offsetof(orka_idecode_audio_params_t, extra2) == 24);
static_assert(offsetof(orka_idecode_audio_params_t, bufsize) == 32);
static_assert(offsetof(orka_idecode_audio_params_t, bufcount) == 36);
static_assert(offsetof(orka_idecode_audio_params_t, maxframe) == 40);

struct audio_setup_record {
    int32_t channel;
    int32_t stream;
    orka_idecode_audio_params_t params;
};
static_assert(sizeof(audio_setup_record) == 60 && offsetof(audio_setup_record, params) == 8);

constexpr uint32_t IDECODE_SETUP_AUDIO = ior('d', 3, sizeof(audio_setup_record));
static_assert(IDECODE_SETUP_AUDIO == 0x803C6403);

static_assert(sizeof(orka_idecode_video_params_t) == 336);
static_assert(offsetof(orka_idecode_video_params_t, codec) == 12);
static_assert(offsetof(orka_idecode_video_params_t, width) == 16);
static_assert(offsetof(orka_idecode_video_params_t, height) == 20);
static_assert(offsetof(orka_idecode_video_params_t, flag) == 26);
static_assert(offsetof(orka_idecode_video_params_t, bufsize) == 296);
static_assert(offsetof(orka_idecode_video_params_t, bufcount) == 300);
static_assert(offsetof(orka_idecode_video_params_t, maxframe) == 304);

struct video_setup_record {
    int32_t channel;
    int32_t stream;
    orka_idecode_video_params_t params;
};
static_assert(sizeof(video_setup_record) == 344 && offsetof(video_setup_record, params) == 8);

constexpr uint32_t IDECODE_SETUP_VIDEO = ior('d', 1, sizeof(video_setup_record));
static_assert(IDECODE_SETUP_VIDEO == 0x81586401);

/* The application's own words for the driver, which the library does not look into. */
static_assert(sizeof(orka_idecode_subtitle_params_t) == 16);

struct subtitle_setup_record {
    int32_t channel;
    int32_t stream;
    orka_idecode_subtitle_params_t params;
};
static_assert(sizeof(subtitle_setup_record) == 24 && offsetof(subtitle_setup_record, params) == 8);

constexpr uint32_t IDECODE_SETUP_SUBTITLE = ior('d', 4, sizeof(subtitle_setup_record));
static_assert(IDECODE_SETUP_SUBTITLE == 0x80186404);

/* Stills. The library has no call for it: an application asks over orka_idevice_imgdec_fd. */
struct image_setup_record {
    int32_t channel;
    int32_t stream;
    uint32_t type;  /* orka_image_type_t, 0 for what the data are */
    uint32_t width; /* of the largest picture, pixels; 0 for as large as the driver takes */
    uint32_t height;
    uint32_t input_bytes; /* of the largest coded picture; 0 for the driver's choice */
};
static_assert(sizeof(image_setup_record) == 24 && offsetof(image_setup_record, type) == 8);
static_assert(offsetof(image_setup_record, input_bytes) == 20);

constexpr uint32_t IDECODE_SETUP_IMAGE = ior('d', 4, sizeof(image_setup_record));
static_assert(IDECODE_SETUP_IMAGE == IDECODE_SETUP_SUBTITLE);

struct flush_record {
    int32_t channel;
    int32_t stream;
    uint32_t flush;
};
static_assert(sizeof(flush_record) == 12 && offsetof(flush_record, flush) == 8);

constexpr uint32_t IDECODE_FLUSH = ior('d', 34, sizeof(flush_record));
static_assert(IDECODE_FLUSH == 0x800C6422);

struct wait_record {
    int32_t channel;
    int32_t stream;
    int32_t timeout;
    int32_t status;
};
static_assert(sizeof(wait_record) == 16);
static_assert(offsetof(wait_record, timeout) == 8 && offsetof(wait_record, status) == 12);

constexpr uint32_t IDECODE_WAIT = iowr('d', 8, sizeof(wait_record));
static_assert(IDECODE_WAIT == 0xC0106408);

static_assert(sizeof(orka_idecode_gain_t) == 8);
static_assert(offsetof(orka_idecode_gain_t, second_mantissa) == 2);
static_assert(offsetof(orka_idecode_gain_t, first_shift) == 4);
static_assert(offsetof(orka_idecode_gain_t, second_shift) == 6);

constexpr uint32_t IDECODE_SET_GAIN = ior('d', 40, sizeof(orka_idecode_gain_t));
static_assert(IDECODE_SET_GAIN == 0x80086428);

/* length and pbase are the driver's answer. */
struct queue_record {
    int32_t channel;
    int32_t stream;
    uint32_t queueid;
    uint32_t reserved[12];
    uint32_t length;
    uint32_t pbase;
    uint32_t reserved2;
};
static_assert(sizeof(queue_record) == 72 && offsetof(queue_record, queueid) == 8);
static_assert(offsetof(queue_record, length) == 60 && offsetof(queue_record, pbase) == 64);

constexpr uint32_t IDECODE_QUEUE = iowr('d', 20, sizeof(queue_record));
static_assert(IDECODE_QUEUE == 0xC0486414);

/* The head of an open queue goes into the records of its frames. */
static_assert(sizeof(orka_idecode_queue_t) == 32 && offsetof(orka_idecode_queue_t, vbase) == 28);

/* Only the address means something to the library; the other words travel from driver to application. */
static_assert(sizeof(orka_idecode_frame_t) == 52 && offsetof(orka_idecode_frame_t, addr) == 12);

/* A frame comes from the driver: status and frame are its answer. */
struct frame_request_record {
    int32_t channel;
    int32_t stream;
    uint32_t queueid;
    int32_t timeout;
    int32_t status;
    orka_idecode_frame_t frame;
};
static_assert(sizeof(frame_request_record) == 72 && offsetof(frame_request_record, queueid) == 8);
static_assert(offsetof(frame_request_record, timeout) == 12);
static_assert(offsetof(frame_request_record, status) == 16 && offsetof(frame_request_record, frame) == 20);

constexpr uint32_t IDECODE_NEW_FRAME = iowr('d', 21, sizeof(frame_request_record));
constexpr uint32_t IDECODE_GET_FRAME = iowr('d', 23, sizeof(frame_request_record));
static_assert(IDECODE_NEW_FRAME == 0xC0486415);
static_assert(IDECODE_GET_FRAME == 0xC0486417);

/* A frame goes back to the driver. */
struct frame_return_record {
    int32_t channel;
    int32_t stream;
    uint32_t queueid;
    orka_idecode_frame_t frame;
};
static_assert(sizeof(frame_return_record) == 64 && offsetof(frame_return_record, queueid) == 8);
static_assert(offsetof(frame_return_record, frame) == 12);
static_assert(offsetof(frame_return_record, frame) + offsetof(orka_idecode_frame_t, addr) == 24);

constexpr uint32_t IDECODE_COMMIT_FRAME = iowr('d', 22, sizeof(frame_return_record));
constexpr uint32_t IDECODE_RELEASE_FRAME = iowr('d', 24, sizeof(frame_return_record));
static_assert(IDECODE_COMMIT_FRAME == 0xC0406416);
static_assert(IDECODE_RELEASE_FRAME == 0xC0406418);

/* tsms is the driver's answer when the clock is read. */
struct audio_clock_record {
    int32_t channel;
    uint32_t tsms;
};
static_assert(sizeof(audio_clock_record) == 8 && offsetof(audio_clock_record, tsms) == 4);

constexpr uint32_t IDECODE_RESET_AUDIO_CLOCK = iowr('d', 44, sizeof(audio_clock_record));
constexpr uint32_t IDECODE_GET_AUDIO_CLOCK = iowr('d', 45, sizeof(audio_clock_record));
static_assert(IDECODE_RESET_AUDIO_CLOCK == 0xC008642C);
static_assert(IDECODE_GET_AUDIO_CLOCK == 0xC008642D);

struct video_clock_record {
    uint32_t reserved[2];
    uint32_t tsms;
};
static_assert(sizeof(video_clock_record) == 12 && offsetof(video_clock_record, tsms) == 8);

constexpr uint32_t IDECODE_GET_VIDEO_CLOCK = iow('d', 35, sizeof(video_clock_record));
static_assert(IDECODE_GET_VIDEO_CLOCK == 0x400C6423);

} // namespace orka::wire

#endif
