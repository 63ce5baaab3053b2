#include "types.h"

#include <cstdio>
#include <iostream>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "orka_media.h"

namespace orka::ctl {

namespace {

struct Types {
    std::string name; /* of the file */
    std::string file;
    std::string audio;
    std::string video;
    std::string image;
};

std::string extension_of(const std::string &name)
{
    const size_t dot = name.rfind('.');
    return dot == std::string::npos ? "" : name.substr(dot + 1);
}

/* The library tells that a file is an image, and knows images by their types' names, as most extensions are.
 */
const char *image_of(const std::string &name, orka_file_type_t file)
{
    constexpr std::pair<const char *, const char *> shortened[] = {{"jpg", "jpeg"}, {"tif", "tiff"}};
    std::string extension = file == ORKA_FILE_TYPE_IMAGE ? extension_of(name) : "";
    for (const auto &[brief, whole] : shortened) {
        if (CLI::detail::to_lower(extension) == brief)
            extension = whole;
    }
    return orka_media_image_string(orka_media_image_type(extension.c_str()));
}

Types types_of(const std::string &name)
{
    orka_audio_desc_t audio;
    orka_video_desc_t video;
    const orka_file_type_t file = orka_media_file_type2(name.c_str(), &audio, &video);
    return {.name = name,
            .file = orka_media_file_string(file),
            .audio = orka_media_audio_string(audio.type),
            .video = orka_media_video_string(video.type),
            .image = image_of(name, file)};
}

void print_json(const std::vector<std::string> &names)
{
    nlohmann::ordered_json all = nlohmann::ordered_json::array();
    for (const std::string &name : names) {
        const Types types = types_of(name);
        all.push_back({{"name", types.name},
                       {"file", types.file},
                       {"audio", types.audio},
                       {"video", types.video},
                       {"image", types.image}});
    }
    std::cout << all.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace) << "\n";
}

void print_text(const std::vector<std::string> &names)
{
    for (const std::string &name : names) {
        const Types types = types_of(name);
        printf("%s: file %s, audio %s, video %s, image %s\n", types.name.c_str(), types.file.c_str(),
               types.audio.c_str(), types.video.c_str(), types.image.c_str());
    }
}

} // namespace

void add_types(CLI::App &app)
{
    struct Choice {
        std::vector<std::string> names;
        bool json = false;
    };
    const auto choice = std::make_shared<Choice>();
    CLI::App &types =
        *app.add_subcommand("types", "What the library takes files for, by their extensions; needs no board");
    types.footer(
        "The files are not looked at, and need not be there. UNKNOWN is an extension that the library does "
        "not know.");
    types.add_option("FILE", choice->names, "Names of files")->required();
    types.add_flag("--json", choice->json, "As JSON");
    types.callback([choice] {
        if (choice->json)
            print_json(choice->names);
        else
            print_text(choice->names);
    });
}

} // namespace orka::ctl
