#include "name_hint.h"

#include <algorithm>
#include <string_view>

#include <strings.h>

#include "still.h"

namespace orka::play {

namespace {

struct format_row {
    std::string_view format; /* libavformat's name */
    orka_file_type_t type;
};

constexpr format_row format_rows[] = {
    {"asf", ORKA_FILE_TYPE_ASF},           {"avi", ORKA_FILE_TYPE_AVI},
    {"matroska,webm", ORKA_FILE_TYPE_MKV}, {"mov,mp4,m4a,3gp,3g2,mj2", ORKA_FILE_TYPE_MP4},
    {"mpeg", ORKA_FILE_TYPE_MPG},          {"mpegts", ORKA_FILE_TYPE_TS},
    {"m4v", ORKA_FILE_TYPE_VES},           {"h263", ORKA_FILE_TYPE_VES},
    {"h264", ORKA_FILE_TYPE_VES},          {"mpegvideo", ORKA_FILE_TYPE_VES},
    {"aac", ORKA_FILE_TYPE_AUDIO},         {"ac3", ORKA_FILE_TYPE_AUDIO},
    {"amr", ORKA_FILE_TYPE_AUDIO},         {"flac", ORKA_FILE_TYPE_AUDIO},
    {"g722", ORKA_FILE_TYPE_AUDIO},        {"g723_1", ORKA_FILE_TYPE_AUDIO},
    {"g729", ORKA_FILE_TYPE_AUDIO},        {"mp3", ORKA_FILE_TYPE_AUDIO},
    {"wav", ORKA_FILE_TYPE_AUDIO},
};

/* Extensions that are not the type's own name. */
struct short_name {
    const char *extension;
    orka_image_type_t type;
};
constexpr short_name short_names[] = {{"jpg", ORKA_IMAGE_TYPE_JPEG}, {"tif", ORKA_IMAGE_TYPE_TIFF}};

/* An Ogg file with pictures is what its old name stands for. */
orka_file_type_t file_type_of(const Clip &clip)
{
    if (clip.format() == "ogg")
        return clip.video() ? ORKA_FILE_TYPE_OGM : ORKA_FILE_TYPE_AUDIO;
    const auto *const found = std::ranges::find(format_rows, clip.format(), &format_row::format);
    return found == std::end(format_rows) ? ORKA_FILE_TYPE_UNKNOWN : found->type;
}

} // namespace

NameHint::NameHint(const std::string &path)
{
    orka_audio_desc_t audio;
    orka_video_desc_t video;
    said_.file = orka_media_file_type2(path.c_str(), &audio, &video);
    if (said_.file == ORKA_FILE_TYPE_IMAGE)
        said_.image = image_type_of(path);
}

/* The library tells that it is an image, but not which. */
orka_image_type_t NameHint::image_type_of(const std::string &path)
{
    const std::string extension = path.substr(path.rfind('.') + 1);
    for (const short_name &row : short_names) {
        if (strcasecmp(extension.c_str(), row.extension) == 0)
            return row.type;
    }
    return orka_media_image_type(extension.c_str());
}

NameHint::Type NameHint::type_of(const Clip &clip)
{
    const orka_image_type_t image = still_type(clip);
    if (image != ORKA_IMAGE_TYPE_NONE)
        return {ORKA_FILE_TYPE_IMAGE, image};
    return {file_type_of(clip), ORKA_IMAGE_TYPE_NONE};
}

bool NameHint::Type::contradicts(const Type &other) const
{
    return is_known() && other.is_known() && (file != other.file || image != other.image);
}

std::string NameHint::Type::text() const
{
    const std::string name = orka_media_file_string(file);
    return image == ORKA_IMAGE_TYPE_NONE ? name : name + " (" + orka_media_image_string(image) + ")";
}

std::string NameHint::objection(const Clip &clip) const
{
    const Type is = type_of(clip);
    return is.contradicts(said_) ? "its name says " + said_.text() + ", but it is " + is.text() : "";
}

} // namespace orka::play
