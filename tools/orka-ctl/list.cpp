#include "list.h"

#include <cstdio>
#include <functional>
#include <iostream>
#include <map>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "common/failure.h"
#include "common/listing.h"
#include "common/quiet.h"
#include "orka_icapture.h"
#include "orka_idecode.h"
#include "orka_idisplay.h"
#include "orka_iencode.h"
#include "orka_media.h"

namespace orka::ctl {

namespace {

using Lines = std::vector<std::string>;
using Json = nlohmann::ordered_json;

/* The library has names of frames, and no list of them. */
Lines frame_types()
{
    Lines items;
    for (orka_frame_type_t type = ORKA_FRAME_TYPE_NONE; type <= ORKA_FRAME_TYPE_LAST; type++)
        items.emplace_back(orka_media_frame_string(type));
    return items;
}

using Select = const char *(*)(orka_video_type_t video, orka_audio_type_t audio);

struct Pair {
    std::string video;
    std::string audio;
};

/* What an image does, and with which pairs the selection chooses it for that. */
struct Image {
    std::string name;
    const char *does;
    std::vector<Pair> pairs;
};

/* Every pair that no image serves is reported; here that is no news. */
void add_images(std::vector<Image> &all, const char *does, Select select)
{
    const Quiet quiet(stderr);
    std::map<std::string, std::vector<Pair>> pairs;
    for (orka_video_type_t video = ORKA_VIDEO_TYPE_NONE; video <= ORKA_VIDEO_TYPE_JPEG; video++) {
        for (orka_audio_type_t audio = ORKA_AUDIO_TYPE_NONE; audio <= ORKA_AUDIO_TYPE_WMA; audio++) {
            if (const char *const image = select(video, audio))
                pairs[image].push_back({orka_media_video_string(video), orka_media_audio_string(audio)});
        }
    }
    for (const auto &[name, served] : pairs)
        all.push_back({name, does, served});
}

std::vector<Image> all_images()
{
    std::vector<Image> all;
    add_images(all, "decodes", orka_idecode_get_codec_name);
    add_images(all, "encodes", orka_iencode_get_codec_name);
    return all;
}

Lines images_as_lines()
{
    Lines items;
    for (const Image &image : all_images()) {
        std::string item = image.name + " " + image.does;
        for (const Pair &pair : image.pairs)
            item.append(" ").append(pair.video).append("+").append(pair.audio);
        items.push_back(item);
    }
    return items;
}

Json images_as_json()
{
    Json all = Json::array();
    for (const Image &image : all_images()) {
        Json pairs = Json::array();
        for (const Pair &pair : image.pairs)
            pairs.push_back({{"video", pair.video}, {"audio", pair.audio}});
        all.push_back({{"image", image.name}, {image.does, pairs}});
    }
    return all;
}

Json as_json(const Mode &mode)
{
    return {{"device", mode.device},
            {"mode", mode.mode},
            {"width", mode.width},
            {"height", mode.height},
            {"interlaced", mode.interlaced}};
}

Json display_modes()
{
    Json all = Json::array();
    for (const Mode &mode : modes_of(orka_idisplay_print_modes))
        all.push_back(as_json(mode));
    return all;
}

/* Pictures a second; the search tells of each mode that it looks at. */
uint32_t rate_of(const Mode &mode)
{
    const Quiet quiet(stdout);
    const orka_display_request_t request = {
        .device = mode.device.c_str(), .mode = mode.mode.c_str(), .width = 0, .height = 0};
    orka_capture_params_t params;
    if (orka_icapture_get_capture_params(&params, &request) != ORKA_STATUS_SUCCESS)
        throw Failure("the capture mode '" + mode.mode + "' cannot be resolved");
    return params.frame_rate;
}

Json capture_modes()
{
    Json all = Json::array();
    for (const Mode &mode : modes_of(orka_icapture_print_modes)) {
        Json fields = as_json(mode);
        fields["rate"] = rate_of(mode);
        all.push_back(fields);
    }
    return all;
}

struct Topic {
    const char *name;
    const char *about;
    std::function<Lines()> items;
    Json (*fields)() = nullptr; /* for JSON, where there are any: else the items are its strings */
};

Topic listed(const char *name, const char *about, PrintList print, Json (*fields)() = nullptr)
{
    return {name, about, [print] { return items_of(print); }, fields};
}

const std::vector<Topic> &topics()
{
    static const std::vector<Topic> all = {
        listed("audio", "Audio types", orka_media_audio_type_print_list),
        listed("video", "Video types", orka_media_video_type_print_list),
        listed("image", "Image types", orka_media_image_type_print_list),
        {"frame", "Frame types", frame_types},
        listed("file", "Container types", orka_media_file_type_print_list),
        listed("mux", "Audio channel routings", orka_media_mux_type_print_list),
        listed("samplerates", "Audio sample rates, Hz", orka_media_audio_print_valid_samplerates),
        listed("bitrates", "Audio bit rates, kbit/s", orka_media_audio_print_valid_bitrates),
        listed("bitrates-by-type", "Audio bit rates of each type",
               orka_media_audio_print_valid_bitrates_per_audio_type),
        listed("capture", "Capture modes", orka_icapture_print_modes, capture_modes),
        listed("display", "Display modes", orka_idisplay_print_modes, display_modes),
        {"images", "Codec images and the pairs of video and audio types they serve", images_as_lines,
         images_as_json},
    };
    return all;
}

void print_json(const Lines &names)
{
    Json all;
    for (const Topic &topic : topics()) {
        if (names.empty() || std::ranges::find(names, topic.name) != names.end())
            all[topic.name] = topic.fields ? topic.fields() : Json(topic.items());
    }
    std::cout << all.dump(2) << "\n";
}

void print_text(const Lines &names)
{
    for (const Topic &topic : topics()) {
        if (!names.empty() && std::ranges::find(names, topic.name) == names.end())
            continue;
        if (names.size() != 1)
            std::cout << topic.about << ":\n";
        for (const std::string &item : topic.items())
            std::cout << (names.size() != 1 ? "  " : "") << item << "\n";
    }
}

} // namespace

void add_list(CLI::App &app)
{
    struct Choice {
        Lines names;
        bool json = false;
    };
    const auto choice = std::make_shared<Choice>();
    CLI::App &list = *app.add_subcommand("list", "List types, rates, modes and codec images; needs no board");
    Lines names;
    std::string about;
    for (const Topic &topic : topics()) {
        names.emplace_back(topic.name);
        about += std::string(about.empty() ? "" : ", ") + topic.name;
    }
    list.add_option("WHAT", choice->names, "Any of: " + about + "; all by default")
        ->check(CLI::IsMember(names).description(""));
    list.add_flag("--json", choice->json,
                  "As JSON: modes have device, mode, width, height and interlaced, those of capture also "
                  "their rate in pictures a second; images have what they decode or encode, in pairs of "
                  "video and audio; all else are strings");
    list.callback([choice] {
        if (choice->json)
            print_json(choice->names);
        else
            print_text(choice->names);
    });
}

} // namespace orka::ctl
