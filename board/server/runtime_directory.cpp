#include "server/runtime_directory.h"

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <system_error>

#include "server/directory_safety.h"

namespace orka::board {

namespace {

namespace fs = std::filesystem;

constexpr char shim_name[] = "liborka-board-shim.so";

/* The loader splits LD_PRELOAD at spaces and colons, and an emulator's option at commas. */
bool fit_for_preloading(const std::string &path)
{
    return path.starts_with('/') && path.find_first_of(" :,$\t\n") == std::string::npos;
}

/*
 * Where shims stand: beside the program as it was built or installed, and in the builds for other ABIs next
 * to it.
 */
std::vector<fs::path> shim_directories(const std::vector<std::string> &preferred)
{
    std::vector<fs::path> found(preferred.begin(), preferred.end());
    const fs::path here = fs::read_symlink("/proc/self/exe").parent_path();
    for (const char *const place : {"shims", "../lib/orka-board/shims", "../i686/shims", "../armel/shims"})
        found.push_back(here / place);
    return found;
}

} // namespace

std::string runtime_root()
{
    const char *const chosen = getenv("XDG_RUNTIME_DIR");
    if (chosen && fit_for_preloading(chosen) && is_safe_directory(chosen))
        return chosen;
    return "/tmp";
}

std::string make_runtime_directory()
{
    std::string name = runtime_root() + "/orka-board-XXXXXX";
    if (!mkdtemp(name.data()))
        throw std::system_error(errno, std::generic_category(), "making a directory " + name);
    return name;
}

ShimFiles shims_by_triple(const std::vector<std::string> &preferred)
{
    ShimFiles shims;
    for (const fs::path &place : shim_directories(preferred)) {
        std::error_code missing;
        for (const auto &entry : fs::directory_iterator(place / "lib", missing)) {
            if (fs::exists(entry.path() / shim_name))
                shims.emplace(entry.path().filename(), fs::canonical(entry.path() / shim_name));
        }
    }
    return shims;
}

std::vector<std::string> link_shims(const std::string &directory, const std::vector<std::string> &preferred)
{
    std::vector<std::string> triples;

    for (const auto &[triple, shim] : shims_by_triple(preferred)) {
        const fs::path link = fs::path(directory) / "shims/lib" / triple;
        fs::create_directories(link);
        fs::create_symlink(shim, link / shim_name);
        triples.push_back(triple);
    }
    return triples;
}

void remove_runtime_directory(const std::string &directory)
{
    std::error_code ignored;
    fs::remove_all(directory, ignored);
}

std::string socket_in(const std::string &directory)
{
    return directory + "/board";
}

std::string preload_in(const std::string &directory)
{
    return directory + "/shims/$LIB/" + shim_name;
}

} // namespace orka::board
