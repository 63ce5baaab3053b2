/*
 * The encoders' requests, on the common encode node, the audio encoder's, the video channels' two and the
 * image encoder's.
 *
 * Records are little-endian, packed and zeroed before use. "Read" in a request's number marks records that go
 * to the driver, "write" mostly records that come back.
 */
#ifndef ORKA_WIRE_IENCODE_H
#define ORKA_WIRE_IENCODE_H

#include <cstddef>

#include "orka_iencode.h"
#include "wire/orka_imanage_wire.h"
#include "wire/orka_request.h"

namespace orka::wire {

/* The caller's name string in place. */
constexpr uint32_t IENCODE_LOAD_AUDIO = ior('e', 0, image_name_size);
constexpr uint32_t IENCODE_LOAD_IMAGE = ior('j', 100, image_name_size);
static_assert(IENCODE_LOAD_AUDIO == 0x80216500);
static_assert(IENCODE_LOAD_IMAGE == 0x80216A64);

struct encode_framework_record {
    int32_t channel;
    int32_t stream;
    char name[36];
};
static_assert(sizeof(encode_framework_record) == 44 && offsetof(encode_framework_record, name) == 8);

constexpr uint32_t IENCODE_LOAD_VIDEO = ior('j', 5, sizeof(encode_framework_record));
static_assert(IENCODE_LOAD_VIDEO == 0x802C6A05);

static_assert(sizeof(orka_iencode_audio_params_t) == 44);
static_assert(offsetof(orka_iencode_audio_params_t, sample_rate) == 8);
static_assert(offsetof(orka_iencode_audio_params_t, bitrate_bps) == 16);
static_assert(offsetof(orka_iencode_audio_params_t, mode) == 20);
static_assert(offsetof(orka_iencode_audio_params_t, bufsize) == 28);
static_assert(offsetof(orka_iencode_audio_params_t, bufcount) == 32);

struct audio_encode_setup_record {
    uint32_t channel; /* 0 */
    uint32_t reserved;
    orka_iencode_audio_params_t params;
};
static_assert(sizeof(audio_encode_setup_record) == 52 && offsetof(audio_encode_setup_record, params) == 8);

constexpr uint32_t IENCODE_SETUP_AUDIO = ior('e', 2, sizeof(audio_encode_setup_record));
static_assert(IENCODE_SETUP_AUDIO == 0x80346502);

static_assert(sizeof(orka_iencode_video_params_t) == 256);
static_assert(offsetof(orka_iencode_video_params_t, width) == 8);
static_assert(offsetof(orka_iencode_video_params_t, height) == 12);
static_assert(offsetof(orka_iencode_video_params_t, word16) == 16);
static_assert(offsetof(orka_iencode_video_params_t, bitrate) == 20);
static_assert(offsetof(orka_iencode_video_params_t, word32) == 32);
static_assert(offsetof(orka_iencode_video_params_t, word36) == 36);
static_assert(offsetof(orka_iencode_video_params_t, word44) == 44);
static_assert(offsetof(orka_iencode_video_params_t, word46) == 46);
static_assert(offsetof(orka_iencode_video_params_t, word56) == 56);
static_assert(offsetof(orka_iencode_video_params_t, bufsize) == 60);
static_assert(offsetof(orka_iencode_video_params_t, bufcount) == 64);
static_assert(offsetof(orka_iencode_video_params_t, channel) == 108);
static_assert(offsetof(orka_iencode_video_params_t, word112) == 112);

/* The parameters in place. */
constexpr uint32_t IENCODE_SETUP_VIDEO = ior('j', 0, sizeof(orka_iencode_video_params_t));
static_assert(IENCODE_SETUP_VIDEO == 0x81006A00);

/* On a channel's node; no record. */
constexpr uint32_t IENCODE_INIT_VIDEO = request_number(0, 'j', 1, 0);
constexpr uint32_t IENCODE_START_VIDEO = request_number(0, 'j', 2, 0);
constexpr uint32_t IENCODE_STOP_VIDEO = request_number(0, 'j', 3, 0);
constexpr uint32_t IENCODE_TEARDOWN_VIDEO = request_number(0, 'j', 4, 0);
static_assert(IENCODE_INIT_VIDEO == 0x6A01);
static_assert(IENCODE_START_VIDEO == 0x6A02);
static_assert(IENCODE_STOP_VIDEO == 0x6A03);
static_assert(IENCODE_TEARDOWN_VIDEO == 0x6A04);

struct audio_encoder_record {
    uint32_t channel; /* 0 */
    uint32_t reserved;
};
static_assert(sizeof(audio_encoder_record) == 8);

constexpr uint32_t IENCODE_TEARDOWN_AUDIO = ior('e', 4, sizeof(audio_encoder_record));
constexpr uint32_t IENCODE_START_AUDIO = ior('e', 5, sizeof(audio_encoder_record));
constexpr uint32_t IENCODE_STOP_AUDIO = ior('e', 6, sizeof(audio_encoder_record));
constexpr uint32_t IENCODE_PASSTHRU_ENABLE = ior('e', 50, sizeof(audio_encoder_record));
constexpr uint32_t IENCODE_PASSTHRU_DISABLE = ior('e', 51, sizeof(audio_encoder_record));
static_assert(IENCODE_TEARDOWN_AUDIO == 0x80086504);
static_assert(IENCODE_START_AUDIO == 0x80086505);
static_assert(IENCODE_STOP_AUDIO == 0x80086506);
static_assert(IENCODE_PASSTHRU_ENABLE == 0x80086532);
static_assert(IENCODE_PASSTHRU_DISABLE == 0x80086533);

/* The caller's, passed through. */
struct aec_record {
    uint32_t words[12];
};
static_assert(sizeof(aec_record) == 48);

constexpr uint32_t IENCODE_START_AEC = ior('e', 53, sizeof(aec_record));
constexpr uint32_t IENCODE_STOP_AEC = request_number(0, 'e', 54, 0);
static_assert(IENCODE_START_AEC == 0x80306535);
static_assert(IENCODE_STOP_AEC == 0x6536);

static_assert(sizeof(orka_iencode_gain_t) == 8);
static_assert(offsetof(orka_iencode_gain_t, second_mantissa) == 2);
static_assert(offsetof(orka_iencode_gain_t, first_shift) == 4);
static_assert(offsetof(orka_iencode_gain_t, second_shift) == 6);

constexpr uint32_t IENCODE_SET_GAIN = ior('e', 52, sizeof(orka_iencode_gain_t));
static_assert(IENCODE_SET_GAIN == 0x80086534);

static_assert(sizeof(orka_iencode_frame_t) == 52 && offsetof(orka_iencode_frame_t, addr) == 12);
static_assert(offsetof(orka_iencode_frame_t, size) == 16 && offsetof(orka_iencode_frame_t, timestamp) == 28);
static_assert(sizeof(orka_iencode_queue_t) == 84 && offsetof(orka_iencode_queue_t, lastframe) == 32);

/* length and pbase are the driver's answer; the record travels both ways, whatever the number says. */
struct audio_encode_queue_record {
    uint32_t channel;
    uint32_t reserved0;
    uint32_t queueid;
    uint32_t reserved[12];
    uint32_t length;
    uint32_t pbase;
    uint32_t reserved2;
};
static_assert(sizeof(audio_encode_queue_record) == 72);
static_assert(offsetof(audio_encode_queue_record, queueid) == 8);
static_assert(offsetof(audio_encode_queue_record, length) == 60);
static_assert(offsetof(audio_encode_queue_record, pbase) == 64);

constexpr uint32_t IENCODE_AUDIO_QUEUE = iow('e', 20, sizeof(audio_encode_queue_record));
static_assert(IENCODE_AUDIO_QUEUE == 0x40486514);

/* A frame comes from the driver: status and frame are its answer. */
struct encode_frame_request_record {
    uint32_t channel;
    uint32_t reserved;
    uint32_t queueid;
    uint32_t timeout;
    int32_t status;
    orka_iencode_frame_t frame;
};
static_assert(sizeof(encode_frame_request_record) == 72);
static_assert(offsetof(encode_frame_request_record, timeout) == 12);
static_assert(offsetof(encode_frame_request_record, status) == 16);
static_assert(offsetof(encode_frame_request_record, frame) == 20);

constexpr uint32_t IENCODE_NEW_FRAME = iowr('e', 21, sizeof(encode_frame_request_record));
constexpr uint32_t IENCODE_GET_FRAME = iowr('e', 23, sizeof(encode_frame_request_record));
static_assert(IENCODE_NEW_FRAME == 0xC0486515);
static_assert(IENCODE_GET_FRAME == 0xC0486517);

/* A frame goes back to the driver. */
struct encode_frame_return_record {
    uint32_t channel;
    uint32_t reserved;
    uint32_t queueid;
    orka_iencode_frame_t frame;
};
static_assert(sizeof(encode_frame_return_record) == 64);
static_assert(offsetof(encode_frame_return_record, frame) == 12);

constexpr uint32_t IENCODE_COMMIT_FRAME = iowr('e', 22, sizeof(encode_frame_return_record));
constexpr uint32_t IENCODE_RELEASE_FRAME = iowr('e', 24, sizeof(encode_frame_return_record));
static_assert(IENCODE_COMMIT_FRAME == 0xC0406516);
static_assert(IENCODE_RELEASE_FRAME == 0xC0406518);

/* Comes back from the driver; nothing goes to it. */
struct video_encode_queue_record {
    uint32_t reserved[12];
    uint32_t length;
    uint32_t pbase;
    uint32_t reserved2;
};
static_assert(sizeof(video_encode_queue_record) == 60);
static_assert(offsetof(video_encode_queue_record, length) == 48);
static_assert(offsetof(video_encode_queue_record, pbase) == 52);

/* On a channel's video node. */
constexpr uint32_t IENCODE_VIDEO_QUEUE = iow('j', 7, sizeof(video_encode_queue_record));
constexpr uint32_t IENCODE_GET_VIDEO_FRAME = iow('j', 8, sizeof(orka_iencode_frame_t));
constexpr uint32_t IENCODE_RELEASE_VIDEO_FRAME = request_number(0, 'j', 9, 0);
static_assert(IENCODE_VIDEO_QUEUE == 0x403C6A07);
static_assert(IENCODE_GET_VIDEO_FRAME == 0x40346A08);
static_assert(IENCODE_RELEASE_VIDEO_FRAME == 0x6A09);

/* On a channel's motion-vector node. */
constexpr uint32_t IENCODE_MV_QUEUE = iow('j', 10, sizeof(video_encode_queue_record));
constexpr uint32_t IENCODE_GET_MV_FRAME = iow('j', 11, sizeof(orka_iencode_frame_t));
constexpr uint32_t IENCODE_RELEASE_MV_FRAME = request_number(0, 'j', 12, 0);
static_assert(IENCODE_MV_QUEUE == 0x403C6A0A);
static_assert(IENCODE_GET_MV_FRAME == 0x40346A0B);
static_assert(IENCODE_RELEASE_MV_FRAME == 0x6A0C);

/*
 * Stills from the camera. The library has calls for the load alone: an application asks over
 * orka_idevice_imgenc_fd. Queues and frames have the audio encoder's records.
 */
struct image_encode_setup_record {
    int32_t channel;
    int32_t stream;
    uint32_t type;  /* orka_image_type_t */
    uint32_t width; /* pixels; 0 x 0 for the size of capture */
    uint32_t height;
    uint32_t quality; /* 1 to 100, 0 for the driver's choice; for JPEG */
};
static_assert(sizeof(image_encode_setup_record) == 24 && offsetof(image_encode_setup_record, type) == 8);
static_assert(offsetof(image_encode_setup_record, quality) == 20);

constexpr uint32_t IENCODE_SETUP_IMAGE = ior('j', 101, sizeof(image_encode_setup_record));
constexpr uint32_t IENCODE_TEARDOWN_IMAGE = ior('j', 102, sizeof(audio_encoder_record));
constexpr uint32_t IENCODE_IMAGE_QUEUE = iowr('j', 103, sizeof(audio_encode_queue_record));
constexpr uint32_t IENCODE_GET_IMAGE = iowr('j', 104, sizeof(encode_frame_request_record));
constexpr uint32_t IENCODE_RELEASE_IMAGE = iowr('j', 105, sizeof(encode_frame_return_record));
static_assert(IENCODE_SETUP_IMAGE == 0x80186A65);
static_assert(IENCODE_TEARDOWN_IMAGE == 0x80086A66);
static_assert(IENCODE_IMAGE_QUEUE == 0xC0486A67);
static_assert(IENCODE_GET_IMAGE == 0xC0486A68);
static_assert(IENCODE_RELEASE_IMAGE == 0xC0406A69);

} // namespace orka::wire

#endif
