/*
 * strict_cache: looks at a buffer of decoded sound whose next contents the DSP has written, before anything
 * was synced, after it was synced, and after it was taken. Prints what it sees there each time: "old" or
 * "new".
 */
#include <poll.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "orka_idecode.h"
#include "orka_idevice.h"
#include "orka_imem.h"
#include "orka_media.h"

enum { channel = 0, bytes = 1024, old_byte = 0x11, new_byte = 0x22 };

static void check(int good, const char *what)
{
    if (good)
        return;
    fprintf(stderr, "strict_cache: %s\n", what);
    exit(1);
}

static uint8_t *data_of(const orka_idecode_frame_t *frame)
{
    return (uint8_t *)(uintptr_t)frame->addr;
}

static orka_idecode_queue_t *set_up(void)
{
    orka_audio_desc_t desc;
    orka_idecode_audio_params_t params;

    check(orka_media_audio_desc(&desc, ORKA_AUDIO_TYPE_PCM, 0, 0) == ORKA_STATUS_SUCCESS, "describing");
    check(orka_idecode_get_audio_params(&params, &desc) == ORKA_STATUS_SUCCESS, "parameters");
    const char *image = orka_idecode_get_codec_name(ORKA_VIDEO_TYPE_NONE, ORKA_AUDIO_TYPE_PCM);
    check(image && orka_idecode_load_audio_decoder_framework(image) == ORKA_STATUS_SUCCESS, "loading");
    check(orka_idecode_setup_audio_decoder(&params) == ORKA_STATUS_SUCCESS, "setting up");
    orka_idecode_queue_t *queue = orka_idecode_get_audio_queue(channel);
    check(queue != NULL, "opening the queue");
    check(orka_idecode_start_audio_decoder(channel) == ORKA_STATUS_SUCCESS, "starting");
    return queue;
}

static void put(orka_idecode_queue_t *queue, uint8_t byte)
{
    orka_idecode_frame_t frame;
    check(orka_idecode_new_frame(&frame, queue, -1) == ORKA_STATUS_SUCCESS, "a frame to fill");
    memset(data_of(&frame), byte, bytes);
    frame.kind = ORKA_FRAME_TYPE_AUDIO;
    frame.size = bytes;
    check(orka_idecode_commit_frame(&frame, queue) == ORKA_STATUS_SUCCESS, "committing");
    struct pollfd node = {.fd = orka_idevice_iadecode_fd(), .events = POLLIN};
    check(poll(&node, 1, -1) == 1, "waiting");
}

static orka_idecode_frame_t get(orka_idecode_queue_t *queue)
{
    orka_idecode_frame_t frame;
    check(orka_idecode_get_frame(&frame, queue, -1) == ORKA_STATUS_SUCCESS, "a decoded frame");
    check(frame.size == bytes, "all of the sound");
    return frame;
}

static void sync_whole_pages(uint8_t *data)
{
    const uint32_t before = (uintptr_t)data % 4096;
    check(orka_imem_msync(data - before, before + bytes) == ORKA_STATUS_SUCCESS, "syncing");
}

static void look(const volatile uint8_t *data)
{
    puts(data[0] == old_byte ? "old" : data[0] == new_byte ? "new" : "neither");
}

int main(int argc, char **argv)
{
    (void)argv;
    orka_idecode_queue_t *queue = set_up();
    put(queue, old_byte);
    orka_idecode_frame_t frame = get(queue);
    uint8_t *data = data_of(&frame);
    look(data);
    check(orka_idecode_release_frame(&frame, queue) == ORKA_STATUS_SUCCESS, "releasing");
    put(queue, new_byte);
    look(data);
    if (argc > 1)
        sync_whole_pages(data);
    look(data);
    frame = get(queue);
    check(data_of(&frame) == data, "another buffer");
    look(data);
    return 0;
}
