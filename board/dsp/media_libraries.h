/*
 * libavformat and libavdevice, which cameras and microphones alone need. With all that they bring they take
 * as long to load as a board takes to start, so they are loaded when the first of them is opened.
 */
#ifndef ORKA_BOARD_DSP_MEDIA_LIBRARIES_H
#define ORKA_BOARD_DSP_MEDIA_LIBRARIES_H

#include <string>

extern "C" {
#include <libavdevice/avdevice.h>
#include <libavformat/avformat.h>
}

namespace orka::board {

/* The libraries' functions, under their names without the prefix. */
struct MediaLibraries {
    decltype(&::av_find_input_format) find_input_format;
    decltype(&::avformat_alloc_context) alloc_context;
    decltype(&::avformat_open_input) open_input;
    decltype(&::avformat_find_stream_info) find_stream_info;
    decltype(&::av_find_best_stream) find_best_stream;
    decltype(&::av_read_frame) read_frame;
    decltype(&::avformat_seek_file) seek_file;
    decltype(&::avformat_close_input) close_input;

    /* Loaded once in the life of the process. Null, and a text in why, where one cannot be. From any thread.
     */
    static const MediaLibraries *get(std::string &why);
};

} // namespace orka::board

#endif
