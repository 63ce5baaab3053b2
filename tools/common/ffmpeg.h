/*
 * libavformat, as C++ sees it. Containers and packets are read and written with it; nothing is encoded or
 * decoded by it, but for the text of subtitles.
 */
#ifndef ORKA_TOOLS_FFMPEG_H
#define ORKA_TOOLS_FFMPEG_H

#include <memory>
#include <string>

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wconversion"
extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/imgutils.h>
#include <libavutil/intreadwrite.h>
#include <libavutil/mathematics.h>
#include <libavutil/md5.h>
#include <libavutil/pixdesc.h>
#include <libswscale/swscale.h>
}
#pragma GCC diagnostic pop

namespace orka {

struct PacketDeleter {
    void operator()(AVPacket *packet) const { av_packet_free(&packet); }
};
using PacketPtr = std::unique_ptr<AVPacket, PacketDeleter>;

inline std::string av_error(int code)
{
    char text[AV_ERROR_MAX_STRING_SIZE] = "";
    av_strerror(code, text, sizeof text);
    return text;
}

} // namespace orka

#endif
