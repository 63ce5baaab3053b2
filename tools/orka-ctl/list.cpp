#include "list.h"

#include <cstdio>
#include <functional>
#include <iostream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include <fcntl.h>
#include <nlohmann/json.hpp>
#include <unistd.h>

#include "orka_icapture.h"
#include "orka_idecode.h"
#include "orka_idisplay.h"
#include "orka_iencode.h"
#include "orka_media.h"

namespace orka::ctl {

namespace {

using Lines = std::vector<std::string>;
using PrintList = void (*)(FILE *stream, const char *prefix, const char *separator, const char *suffix);

/* The items that a listing function of the library prints. */
Lines items_of(PrintList print)
{
    char *text = nullptr;
    size_t size = 0;
    FILE *stream = open_memstream(&text, &size);
    if (!stream)
        throw std::bad_alloc();
    print(stream, nullptr, "\n", nullptr);
    fclose(stream);
    std::istringstream all(text);
    free(text);
    Lines items;
    for (std::string item; std::getline(all, item);)
        items.push_back(item);
    return items;
}

/* The library has names of frames, and no list of them. */
Lines frame_types()
{
    Lines items;
    for (orka_frame_type_t type = ORKA_FRAME_TYPE_NONE; type <= ORKA_FRAME_TYPE_LAST; type++)
        items.emplace_back(orka_media_frame_string(type));
    return items;
}

/* The selection reports every pair that no image serves; here that is no news. */
class QuietErrors {
  public:
    QuietErrors() : kept_(fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0))
    {
        const int nothing = kept_ < 0 ? -1 : open("/dev/null", O_WRONLY | O_CLOEXEC);
        if (nothing < 0)
            return;
        dup2(nothing, STDERR_FILENO);
        close(nothing);
    }
    ~QuietErrors()
    {
        if (kept_ < 0)
            return;
        dup2(kept_, STDERR_FILENO);
        close(kept_);
    }
    QuietErrors(const QuietErrors &) = delete;
    QuietErrors &operator=(const QuietErrors &) = delete;

  private:
    int kept_;
};

using Select = const char *(*)(orka_video_type_t video, orka_audio_type_t audio);

/* Each image with the pairs that the selection chooses it for. */
Lines images(const char *what, Select select)
{
    const QuietErrors quiet;
    std::map<std::string, std::string> pairs;
    for (orka_video_type_t video = ORKA_VIDEO_TYPE_NONE; video <= ORKA_VIDEO_TYPE_JPEG; video++) {
        for (orka_audio_type_t audio = ORKA_AUDIO_TYPE_NONE; audio <= ORKA_AUDIO_TYPE_WMA; audio++) {
            if (const char *const image = select(video, audio))
                pairs[image] +=
                    std::string(" ") + orka_media_video_string(video) + "+" + orka_media_audio_string(audio);
        }
    }
    Lines items;
    for (const auto &[image, list] : pairs)
        items.push_back(std::string(image).append(" ").append(what).append(list));
    return items;
}

Lines all_images()
{
    Lines items = images("decodes", orka_idecode_get_codec_name);
    const Lines encoders = images("encodes", orka_iencode_get_codec_name);
    items.insert(items.end(), encoders.begin(), encoders.end());
    return items;
}

struct Topic {
    const char *name;
    const char *about;
    std::function<Lines()> items;
};

Topic listed(const char *name, const char *about, PrintList print)
{
    return {name, about, [print] { return items_of(print); }};
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
        listed("capture", "Capture modes", orka_icapture_print_modes),
        listed("display", "Display modes", orka_idisplay_print_modes),
        {"images", "Codec images and the pairs of video and audio types they serve", all_images},
    };
    return all;
}

void print_json(const Lines &names)
{
    nlohmann::ordered_json all;
    for (const Topic &topic : topics()) {
        if (names.empty() || std::ranges::find(names, topic.name) != names.end())
            all[topic.name] = topic.items();
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
    list.add_flag("--json", choice->json, "As JSON");
    list.callback([choice] {
        if (choice->json)
            print_json(choice->names);
        else
            print_text(choice->names);
    });
}

} // namespace orka::ctl
