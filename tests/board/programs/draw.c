/*
 * draw MODE [CHANNEL X Y WIDTH HEIGHT PIXEL]...: sets the display up in that mode, fills rectangles of the
 * OSD with a pixel each (16 bits, hexadecimal), says "drawn", and keeps the display until it is ended.
 */
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include "orka_idisplay.h"

enum { words_of_rectangle = 6 };

static void check(orka_status_t status, const char *what)
{
    if (status == ORKA_STATUS_SUCCESS)
        return;
    fprintf(stderr, "draw: %s: %s\n", what, orka_status_string(status));
    exit(1);
}

static void set_up(const char *mode)
{
    const orka_display_request_t request = {NULL, mode, 0, 0};
    orka_display_params_t params;

    check(orka_idisplay_get_display_params(&params, &request), "finding the mode");
    check(orka_idisplay_setup(&params), "setting up");
    check(orka_idisplay_imaging_setup(), "mapping the frame buffers");
}

static uint32_t number(const char *word, int base)
{
    return (uint32_t)strtoul(word, NULL, base);
}

static void fill(char **words)
{
    const uint32_t channel = number(words[0], 10);
    const uint32_t x = number(words[1], 10), y = number(words[2], 10);
    const uint32_t width = number(words[3], 10), height = number(words[4], 10);
    uint32_t columns, lines;

    check(orka_idisplay_get_frame_dimension(channel, &columns, &lines), "asking for the size");
    uint16_t *pixels = orka_idisplay_get_frame_buffer(channel);
    check(pixels ? ORKA_STATUS_SUCCESS : ORKA_STATUS_IO, "getting the frame buffer");
    for (uint32_t line = y; line < y + height && line < lines; line++) {
        for (uint32_t column = x; column < x + width && column < columns; column++)
            pixels[line * columns + column] = (uint16_t)number(words[5], 16);
    }
    check(orka_idisplay_release_frame_buffer(channel), "giving the frame buffer back");
}

int main(int argc, char **argv)
{
    if (argc < 2 || (argc - 2) % words_of_rectangle != 0)
        return 2;
    set_up(argv[1]);
    for (int word = 2; word < argc; word += words_of_rectangle)
        fill(argv + word);
    puts("drawn");
    fflush(stdout);
    pause();
    return 0;
}
