/*
 * show_subtitles: gives the subtitle decoder two texts, which fill its queue, with the library alone, and
 * prints what its calls return.
 */
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "orka_idecode.h"
#include "orka_media.h"

enum { channel = 0, patience_ms = 50 };

static void check(orka_status_t status, const char *what)
{
    if (status == ORKA_STATUS_SUCCESS)
        return;
    fprintf(stderr, "show_subtitles: %s: %s\n", what, orka_status_string(status));
    exit(1);
}

static orka_idecode_queue_t *set_up(void)
{
    const orka_idecode_subtitle_params_t params = {{4096, 2, 0, 0}};

    check(orka_idecode_load_subtitle_decoder_framework("subtitle_dec"), "loading");
    check(orka_idecode_setup_subtitle_decoder(&params), "setting up");
    orka_idecode_queue_t *queue = orka_idecode_get_subtitle_queue(channel);
    check(queue ? ORKA_STATUS_SUCCESS : ORKA_STATUS_IO, "opening the queue");
    check(orka_idecode_start_subtitle_decoder(channel), "starting");
    return queue;
}

static orka_status_t show(orka_idecode_queue_t *queue, const char *text, uint32_t tsms)
{
    orka_idecode_frame_t frame;
    const orka_status_t status = orka_idecode_get_subtitle_frame(&frame, queue, patience_ms);

    if (status != ORKA_STATUS_SUCCESS)
        return status;
    if (tsms == 0)
        printf("queue of %u bytes, frames of %u\n", queue->length, frame.capacity);
    frame.kind = ORKA_FRAME_TYPE_SUBTITLE;
    frame.size = (uint32_t)strlen(text);
    frame.tsms = tsms;
    frame.duration = 1000;
    memcpy((void *)(uintptr_t)frame.addr, text, frame.size);
    return orka_idecode_commit_subtitle_frame(&frame, queue);
}

static void tell(const char *what, orka_status_t status)
{
    printf("%s: %s\n", what, orka_status_string(status));
}

int main(void)
{
    orka_idecode_queue_t *const queue = set_up();
    orka_idecode_frame_t frame;

    tell("first frame", show(queue, "one", 0));
    tell("second frame", show(queue, "two", 1000));
    tell("third frame", show(queue, "three", 2000));
    tell("a frame to take", orka_idecode_get_frame(&frame, queue, 0));
    check(orka_idecode_pause_subtitle_decoder(channel), "pausing");
    check(orka_idecode_stop_subtitle_decoder(channel), "stopping");
    tell("a frame after stop", orka_idecode_new_frame(&frame, queue, 0));
    check(orka_idecode_release_queue(queue), "releasing the queue");
    check(orka_idecode_teardown_subtitle_decoder(channel), "tearing down");
    return 0;
}
