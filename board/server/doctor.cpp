#include "server/doctor.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <system_error>

#include <nlohmann/json.hpp>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include "dsp/installation.h"
#include "dsp/text_painter.h"
#include "server/directory_safety.h"
#include "server/log.h"
#include "server/memory.h"
#include "server/program.h"
#include "server/runtime_directory.h"
#include "server/server.h"

namespace orka::board {

namespace {

namespace fs = std::filesystem;

constexpr uint32_t mebibyte = 1024 * 1024;
/* Each program, and each node that it opens, is one of the board's. */
constexpr rlim_t enough_descriptors = 256;

Finding good(const std::string &check, const std::string &found)
{
    return {.check = check, .found = found};
}

std::string joined(const std::vector<std::string> &words)
{
    std::string text;
    for (const std::string &word : words)
        text += (text.empty() ? "" : ", ") + word;
    return text;
}

/* ---- What goes into programs ---- */

/* Programs of the board's own ABI are what a board is for; not everybody has others. */
Health health_without_shim(const std::string &triple)
{
    return look_at("/proc/self/exe").triple == triple ? Health::missing : Health::warning;
}

Finding examine_shim(const Architecture &abi, const ShimFiles &shims)
{
    const std::string check = std::string("shim-") + abi.preset;
    const std::string remedy = "install the package orka-board again, or " + how_to_build_shim(abi.triple);
    const auto found = shims.find(abi.triple);
    if (found == shims.end())
        return {check, health_without_shim(abi.triple),
                std::string("there is none: programs for ") + abi.name + " do not reach the board", remedy};
    if (look_at(found->second).triple == abi.triple)
        return good(check, found->second);
    return {check, health_without_shim(abi.triple),
            found->second.string() + " cannot be read, or is none for " + abi.name, remedy};
}

std::vector<Finding> examine_shims(const Surroundings &where)
{
    const ShimFiles shims = shims_by_triple(where.shims);
    std::vector<Finding> findings;
    for (const Architecture &abi : architectures_with_shims())
        findings.push_back(examine_shim(abi, shims));
    return findings;
}

/* ---- What runs programs of other ABIs ---- */

std::string first_there(const std::vector<std::string> &files)
{
    const auto found = std::ranges::find_if(files, [](const std::string &file) { return fs::exists(file); });
    return found == files.end() ? "" : *found;
}

Finding examine_i686_runtime(const Surroundings &where)
{
    const std::string loader = first_there(where.i686_loaders);
    if (!loader.empty())
        return good("runtime-i686", loader);
    return {"runtime-i686", Health::warning, "programs for i686 have neither loader nor libc",
            "install the Debian package libc6-i386"};
}

Finding examine_arm_emulator(const Surroundings & /*where*/)
{
    int error = 0;
    if (kernel_runs_arm())
        return good("qemu-arm", "the kernel runs ARM programs by itself");
    const Program emulator = find_program("qemu-arm", error);
    if (error == 0)
        return good("qemu-arm", emulator.path);
    return {"qemu-arm", Health::warning, "it is not there: ARM programs cannot be run",
            "install the Debian package qemu-user"};
}

Finding examine_arm_runtime(const Surroundings &where)
{
    const std::string loader = first_there(where.arm_loaders);
    if (!loader.empty())
        return good("runtime-armel", loader);
    return {"runtime-armel", Health::warning, "ARM programs have neither loader nor libc",
            "install the Debian package libc6-armel-cross"};
}

/* ---- What the DSP uses ---- */

Finding examine_codecs(const Surroundings & /*where*/)
{
    const std::vector<std::string> lacking = lacking_codecs();
    if (lacking.empty())
        return good("codecs", "libavcodec has all that the board offers");
    return {"codecs", Health::missing, "libavcodec does not have: " + joined(lacking),
            "install Debian's own package of libavcodec"};
}

Finding examine_font(const Surroundings &where)
{
    const std::string why = why_no_subtitles(where.font);
    if (why.empty())
        return good("font", where.font);
    return {"font", Health::warning, why + ": there are no subtitles",
            "install the Debian package fonts-dejavu-core"};
}

Finding examine_capture_sources(const Surroundings & /*where*/)
{
    const std::string why = why_no_capture_sources();
    if (why.empty())
        return good("capture", "libavformat and libavdevice are there");
    return {"capture", Health::warning, why + ": --camera and --microphone take nothing",
            "install Debian's packages of libavformat and libavdevice"};
}

/* ---- What the kernel gives ---- */

/* Kibibytes, or none where the kernel does not tell. */
std::optional<uint64_t> available_memory(const std::string &information)
{
    std::ifstream file(information);
    std::string name;
    for (uint64_t amount = 0; file >> name >> amount; file.ignore(64, '\n')) {
        if (name == "MemAvailable:")
            return amount;
    }
    return std::nullopt;
}

/* Where an address word of a record can tell it. */
bool maps_low(const Memory &memory)
{
#ifdef MAP_32BIT
    constexpr int low = MAP_SHARED | MAP_32BIT;
#else
    constexpr int low = MAP_SHARED;
#endif
    const size_t bytes = size_t{usual_memory_mib} * mebibyte;
    void *const mapped = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, low, memory.fd(), 0);
    if (mapped == MAP_FAILED)
        return false;
    munmap(mapped, bytes);
    return true;
}

Finding examine_memory_of(const Memory &memory, const Surroundings &where)
{
    const std::string size = std::to_string(usual_memory_mib) + " MiB";
    if (!maps_low(memory))
        return {"memory", Health::missing, size + " cannot be mapped below 4 GiB, where programs need them",
                "raise `ulimit -v`, or take a smaller board: --memory"};
    const std::optional<uint64_t> available = available_memory(where.memory_information);
    if (available && *available < uint64_t{usual_memory_mib} * 1024)
        return {"memory", Health::warning,
                "only " + std::to_string(*available / 1024) + " of " + size + " are available",
                "end other programs, or take a smaller board: --memory"};
    return good("memory", size + " can be had, and mapped below 4 GiB");
}

Finding examine_memory(const Surroundings &where)
{
    try {
        return examine_memory_of(Memory(usual_memory_mib * mebibyte), where);
    } catch (const std::system_error &error) {
        return {"memory", Health::missing, error.what(),
                "raise `ulimit -v` and `ulimit -f`, or take a smaller board: --memory"};
    }
}

Finding examine_descriptors(const Surroundings & /*where*/)
{
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    if (limit.rlim_max == RLIM_INFINITY || limit.rlim_max >= enough_descriptors)
        return good("descriptors", "at least " + std::to_string(enough_descriptors));
    return {"descriptors", Health::warning,
            std::to_string(limit.rlim_max) + " are few: a board takes one for each program and open node",
            "raise `ulimit -Hn`"};
}

/* ---- Where a board's socket lies ---- */

/* Why a directory that somebody chose is passed over. */
std::string why_not(const std::string &directory)
{
    const std::string danger = danger_in_directory(directory);
    return danger.empty() ? directory + " has a name that programs cannot be told" : danger;
}

/* Throws what keeps a board from listening there. */
void listen_once()
{
    const std::string directory = make_runtime_directory();
    std::exception_ptr trouble;
    try {
        close(listen_at(socket_in(directory)));
    } catch (const std::exception &) {
        trouble = std::current_exception();
    }
    remove_runtime_directory(directory);
    if (trouble)
        std::rethrow_exception(trouble);
}

Finding examine_runtime_directory(const Surroundings & /*where*/)
{
    constexpr char check[] = "runtime-directory";
    constexpr char choose[] =
        "set XDG_RUNTIME_DIR to a directory of yours, of mode 0700 and with a short name "
        "without spaces, colons, commas and $";
    const char *const chosen = getenv("XDG_RUNTIME_DIR");
    const std::string root = runtime_root();
    try {
        listen_once();
    } catch (const std::exception &error) {
        return {check, Health::missing, error.what(), choose};
    }
    if (const std::string danger = danger_in_directory(root); !danger.empty())
        return {check, Health::warning, danger, choose};
    if (chosen && *chosen && chosen != root)
        return {check, Health::warning, why_not(chosen) + ": " + root + " is used instead", choose};
    return good(check, root);
}

/* ---- What was found ---- */

const char *word_of(Health health)
{
    constexpr const char *words[] = {"ok", "warning", "missing"};
    return words[static_cast<size_t>(health)];
}

bool all_needed_is_there(const std::vector<Finding> &findings)
{
    return std::ranges::find(findings, Health::missing, &Finding::health) == findings.end();
}

std::string text_of(const std::vector<Finding> &findings)
{
    std::string text;
    for (const Finding &finding : findings) {
        std::string word = word_of(finding.health);
        word.resize(sizeof "missing", ' ');
        text += word + finding.check + ": " + finding.found +
                (finding.remedy.empty() ? "" : "; to do: " + finding.remedy) + "\n";
    }
    return text;
}

std::string json_of(const std::vector<Finding> &findings)
{
    nlohmann::json all{{"ready", all_needed_is_there(findings)}, {"checks", nlohmann::json::array()}};
    for (const Finding &finding : findings) {
        const nlohmann::json remedy =
            finding.remedy.empty() ? nlohmann::json() : nlohmann::json(finding.remedy);
        all["checks"].push_back({{"check", finding.check},
                                 {"state", word_of(finding.health)},
                                 {"found", finding.found},
                                 {"remedy", remedy}});
    }
    return all.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) + "\n";
}

} // namespace

Surroundings usual_surroundings(const std::vector<std::string> &shims)
{
    return {.shims = shims,
            .font = TextPainter::default_font(),
            .i686_loaders = {"/lib/ld-linux.so.2", "/usr/i686-linux-gnu/lib/ld-linux.so.2"},
            .arm_loaders = {std::string(arm_system) + "/lib/ld-linux.so.3", "/lib/ld-linux.so.3"},
            .memory_information = "/proc/meminfo"};
}

std::vector<Finding> examine(const Surroundings &where)
{
    std::vector<Finding> findings = examine_shims(where);
    for (const auto check :
         {examine_i686_runtime, examine_arm_emulator, examine_arm_runtime, examine_codecs, examine_font,
          examine_capture_sources, examine_memory, examine_descriptors, examine_runtime_directory})
        findings.push_back(check(where));
    return findings;
}

int print_examination(const Command &command)
{
    constexpr int failure = 1;
    /* A limit on the size of files is an error to tell of, not a signal to die of. */
    signal(SIGXFSZ, SIG_IGN);
    const std::vector<Finding> findings = examine(usual_surroundings(command.shims));
    const std::string text = command.json ? json_of(findings) : text_of(findings);
    if (fputs(text.c_str(), stdout) < 0 || fflush(stdout) != 0) {
        say("standard output: cannot be written");
        return failure;
    }
    return all_needed_is_there(findings) ? 0 : failure;
}

} // namespace orka::board
