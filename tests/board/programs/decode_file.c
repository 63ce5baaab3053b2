/*
 * decode_file FILE: decodes the packets of a file with the library alone, and prints one line a picture: its
 * number, time stamp, size and Adler-32 sum, "0 0 352x288 0x1234abcd" say.
 *
 * The file: a line "IMAGE TYPE WIDTH HEIGHT\n" with a codec image and the name of a video type, then packets:
 * three little-endian words, which are the frame's flags, its time stamp and its size, and the data.
 */
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "orka_idecode.h"
#include "orka_media.h"

enum { channel = 0, stream = 0, patience_ms = 50 };

static void check(orka_status_t status, const char *what)
{
    if (status == ORKA_STATUS_SUCCESS)
        return;
    fprintf(stderr, "decode_file: %s: %s\n", what, orka_status_string(status));
    exit(1);
}

static uint8_t *data_of(const orka_idecode_frame_t *frame)
{
    return (uint8_t *)(uintptr_t)frame->addr;
}

static uint32_t adler32(uint32_t sum, const uint8_t *data, size_t size)
{
    uint32_t low = sum & 0xffff;
    uint32_t high = sum >> 16;
    for (size_t i = 0; i < size; i++) {
        low = (low + data[i]) % 65521;
        high = (high + low) % 65521;
    }
    return high << 16 | low;
}

static orka_idecode_queue_t *set_up(FILE *file)
{
    char image[33], type[16];
    uint32_t width, height;
    orka_video_desc_t desc;
    orka_idecode_video_params_t params;

    if (fscanf(file, "%32s %15s %u %u", image, type, &width, &height) != 4 || getc(file) != '\n')
        check(ORKA_STATUS_FILE, "reading the file's first line");
    check(orka_media_video_desc(&desc, orka_media_video_type(type), width, height), "describing the video");
    check(orka_idecode_get_video_params(&params, &desc), "making parameters");
    check(orka_idecode_load_video_decoder_framework(channel, stream, image), "loading");
    check(orka_idecode_setup_video_decoder(channel, stream, &params), "setting up");
    check(orka_idecode_init_video_decoder(channel, stream), "initialising");
    orka_idecode_queue_t *queue = orka_idecode_get_video_queue(channel, stream);
    check(queue ? ORKA_STATUS_SUCCESS : ORKA_STATUS_IO, "opening the queue");
    check(orka_idecode_start_video_decoder(channel, stream), "starting");
    return queue;
}

/* Fills a frame with the file's next packet, or makes it the stream's last. */
static void fill(orka_idecode_frame_t *frame, FILE *file)
{
    uint32_t words[3];

    frame->kind = ORKA_FRAME_TYPE_LAST;
    frame->flags = frame->tsms = frame->size = 0;
    if (fread(words, sizeof words, 1, file) != 1)
        return;
    frame->kind = ORKA_FRAME_TYPE_VIDEO;
    frame->flags = words[0];
    frame->tsms = words[1];
    frame->size = words[2];
    if (frame->size > frame->capacity || fread(data_of(frame), 1, frame->size, file) != frame->size)
        check(ORKA_STATUS_FILE, "reading a packet");
}

/* Commits as many packets as there is room for. Returns whether there are more. */
static int feed(orka_idecode_queue_t *queue, FILE *file)
{
    orka_idecode_frame_t frame;
    orka_status_t status;

    while ((status = orka_idecode_new_frame(&frame, queue, 0)) == ORKA_STATUS_SUCCESS) {
        fill(&frame, file);
        check(orka_idecode_commit_frame(&frame, queue), "committing");
        if (frame.kind == ORKA_FRAME_TYPE_LAST)
            return 0;
    }
    if (status != ORKA_STATUS_TIMEOUT)
        check(status, "asking for a frame to fill");
    return 1;
}

static void print(const orka_idecode_frame_t *frame)
{
    uint32_t sum = 0;
    for (uint32_t row = 0; row < frame->height; row++)
        sum = adler32(sum, data_of(frame) + (size_t)row * frame->stride, (size_t)frame->width * 2);
    printf("%u %u %ux%u 0x%08x\n", frame->number, frame->tsms, frame->width, frame->height, sum);
}

/* Takes what is decoded. Returns whether there is more to come. */
static int take(orka_idecode_queue_t *queue)
{
    orka_idecode_frame_t frame;
    orka_status_t status;
    int more = 1;

    while (more && (status = orka_idecode_get_frame(&frame, queue, patience_ms)) != ORKA_STATUS_TIMEOUT) {
        check(status, "asking for a picture");
        more = frame.kind != ORKA_FRAME_TYPE_LAST;
        if (more)
            print(&frame);
        check(orka_idecode_release_frame(&frame, queue), "releasing");
    }
    return more;
}

int main(int argc, char **argv)
{
    FILE *file = argc == 2 ? fopen(argv[1], "rb") : NULL;
    int more = 1;

    if (!file)
        check(ORKA_STATUS_FILE, "opening the file");
    orka_idecode_queue_t *queue = set_up(file);
    do {
        if (more)
            more = feed(queue, file);
    } while (take(queue));
    check(orka_idecode_wait_finish_video_decoder(channel, stream), "finishing");
    check(orka_idecode_stop_video_decoder(channel, stream), "stopping");
    check(orka_idecode_release_queue(queue), "releasing the queue");
    check(orka_idecode_teardown_video_decoder(channel, stream), "tearing down");
    fclose(file);
    return 0;
}
