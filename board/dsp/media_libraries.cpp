#include "dsp/media_libraries.h"

#include <dlfcn.h>

namespace orka::board {

namespace {

constexpr int format_version = LIBAVFORMAT_VERSION_MAJOR;
constexpr int device_version = LIBAVDEVICE_VERSION_MAJOR;

/* What was loaded, or why it could not be. */
struct Loading {
    Loading();
    void *open(const char *name, int version);
    template <typename Function>
    void find(void *library, const char *name, Function &function);

    MediaLibraries functions{};
    std::string why;
};

Loading::Loading()
{
    void *const format = open("libavformat", format_version);
    void *const device = open("libavdevice", device_version);
    void (*register_devices)() = nullptr;
    find(format, "av_find_input_format", functions.find_input_format);
    find(format, "avformat_alloc_context", functions.alloc_context);
    find(format, "avformat_open_input", functions.open_input);
    find(format, "avformat_find_stream_info", functions.find_stream_info);
    find(format, "av_find_best_stream", functions.find_best_stream);
    find(format, "av_read_frame", functions.read_frame);
    find(format, "avformat_seek_file", functions.seek_file);
    find(format, "avformat_close_input", functions.close_input);
    find(device, "avdevice_register_all", register_devices);
    if (why.empty())
        register_devices();
}

/* Of the version whose headers this was built with: records are laid out by it. */
void *Loading::open(const char *name, int version)
{
    const std::string file = std::string(name) + ".so." + std::to_string(version);
    void *const library = why.empty() ? dlopen(file.c_str(), RTLD_NOW) : nullptr;
    if (!library && why.empty())
        why = dlerror();
    return library;
}

template <typename Function>
void Loading::find(void *library, const char *name, Function &function)
{
    if (!why.empty())
        return;
    function = reinterpret_cast<Function>(dlsym(library, name));
    if (!function)
        why = dlerror();
}

} // namespace

const MediaLibraries *MediaLibraries::get(std::string &why)
{
    static const Loading loading;
    why = loading.why;
    return why.empty() ? &loading.functions : nullptr;
}

} // namespace orka::board
