#include "container.h"

#include <algorithm>

#include <strings.h>

namespace orka::record {

namespace {

constexpr orka_video_type_t common_videos[] = {ORKA_VIDEO_TYPE_MPEG4, ORKA_VIDEO_TYPE_H264,
                                               ORKA_VIDEO_TYPE_MPEG2};
constexpr orka_video_type_t all_videos[] = {ORKA_VIDEO_TYPE_MPEG4, ORKA_VIDEO_TYPE_H263, ORKA_VIDEO_TYPE_H264,
                                            ORKA_VIDEO_TYPE_MPEG2};
constexpr orka_video_type_t mpeg4_video[] = {ORKA_VIDEO_TYPE_MPEG4};
constexpr orka_video_type_t h263_video[] = {ORKA_VIDEO_TYPE_H263};
constexpr orka_video_type_t h264_video[] = {ORKA_VIDEO_TYPE_H264};
constexpr orka_video_type_t mpeg2_video[] = {ORKA_VIDEO_TYPE_MPEG2};

constexpr orka_audio_type_t all_audios[] = {ORKA_AUDIO_TYPE_AAC,  ORKA_AUDIO_TYPE_MP3,  ORKA_AUDIO_TYPE_PCM,
                                            ORKA_AUDIO_TYPE_G711, ORKA_AUDIO_TYPE_G722, ORKA_AUDIO_TYPE_G723,
                                            ORKA_AUDIO_TYPE_G726, ORKA_AUDIO_TYPE_WMA};
constexpr orka_audio_type_t wave_audios[] = {ORKA_AUDIO_TYPE_PCM, ORKA_AUDIO_TYPE_G711, ORKA_AUDIO_TYPE_G722,
                                             ORKA_AUDIO_TYPE_G723, ORKA_AUDIO_TYPE_G726};
constexpr orka_audio_type_t mov_audios[] = {ORKA_AUDIO_TYPE_AAC, ORKA_AUDIO_TYPE_MP3, ORKA_AUDIO_TYPE_PCM,
                                            ORKA_AUDIO_TYPE_G711};
constexpr orka_audio_type_t mpeg_audios[] = {ORKA_AUDIO_TYPE_AAC, ORKA_AUDIO_TYPE_MP3};
constexpr orka_audio_type_t aac_audio[] = {ORKA_AUDIO_TYPE_AAC};
constexpr orka_audio_type_t mp3_audio[] = {ORKA_AUDIO_TYPE_MP3};

constexpr orka_video_type_t no_video = ORKA_VIDEO_TYPE_NONE;
constexpr orka_audio_type_t no_audio = ORKA_AUDIO_TYPE_NONE;

constexpr Container containers[] = {
    {".avi", "avi", ORKA_VIDEO_TYPE_MPEG4, ORKA_AUDIO_TYPE_MP3, all_videos, all_audios, ORKA_IMAGE_TYPE_NONE,
     true},
    {".mp4", "mp4", ORKA_VIDEO_TYPE_MPEG4, ORKA_AUDIO_TYPE_AAC, common_videos, mpeg_audios},
    {".mkv", "matroska", ORKA_VIDEO_TYPE_MPEG4, ORKA_AUDIO_TYPE_AAC, all_videos, all_audios},
    {".mov", "mov", ORKA_VIDEO_TYPE_MPEG4, ORKA_AUDIO_TYPE_AAC, all_videos, mov_audios},
    {".ts", "mpegts", ORKA_VIDEO_TYPE_MPEG4, ORKA_AUDIO_TYPE_MP3, common_videos, mpeg_audios},
    {".m4v", "m4v", ORKA_VIDEO_TYPE_MPEG4, no_audio, mpeg4_video, {}},
    {".h263", "h263", ORKA_VIDEO_TYPE_H263, no_audio, h263_video, {}},
    {".h264", "h264", ORKA_VIDEO_TYPE_H264, no_audio, h264_video, {}},
    {".m2v", "mpeg2video", ORKA_VIDEO_TYPE_MPEG2, no_audio, mpeg2_video, {}},
    {".mp3", "mp3", no_video, ORKA_AUDIO_TYPE_MP3, {}, mp3_audio},
    {".aac", "adts", no_video, ORKA_AUDIO_TYPE_AAC, {}, aac_audio},
    {".wav", "wav", no_video, ORKA_AUDIO_TYPE_PCM, {}, wave_audios},
    {".jpg", nullptr, no_video, no_audio, {}, {}, ORKA_IMAGE_TYPE_JPEG},
    {".jpeg", nullptr, no_video, no_audio, {}, {}, ORKA_IMAGE_TYPE_JPEG},
    {".png", nullptr, no_video, no_audio, {}, {}, ORKA_IMAGE_TYPE_PNG},
    {".bmp", nullptr, no_video, no_audio, {}, {}, ORKA_IMAGE_TYPE_BMP},
    {".gif", nullptr, no_video, no_audio, {}, {}, ORKA_IMAGE_TYPE_GIF},
    {".tif", nullptr, no_video, no_audio, {}, {}, ORKA_IMAGE_TYPE_TIFF},
    {".tiff", nullptr, no_video, no_audio, {}, {}, ORKA_IMAGE_TYPE_TIFF},
};

template <typename Wanted>
std::string extensions_where(const Wanted &wanted)
{
    std::string text;
    for (const Container &container : containers) {
        if (wanted(container))
            text.append(text.empty() ? "" : " ").append(container.extension);
    }
    return text;
}

} // namespace

bool Container::carries_video(orka_video_type_t type) const
{
    return type == ORKA_VIDEO_TYPE_NONE || std::ranges::find(videos, type) != videos.end();
}

bool Container::carries_audio(orka_audio_type_t type) const
{
    return type == ORKA_AUDIO_TYPE_NONE || std::ranges::find(audios, type) != audios.end();
}

const Container *find_container(const std::string &file)
{
    for (const Container &container : containers) {
        const size_t length = container.extension.size();
        if (file.size() > length &&
            strcasecmp(file.c_str() + file.size() - length, container.extension.data()) == 0)
            return &container;
    }
    return nullptr;
}

std::string all_extensions()
{
    return extensions_where([](const Container &) { return true; });
}

std::string extensions_for(orka_video_type_t video, orka_audio_type_t audio)
{
    return extensions_where([=](const Container &container) { return container.carries(video, audio); });
}

} // namespace orka::record
