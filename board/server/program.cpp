#include "server/program.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>

#include <elf.h>
#include <sys/stat.h>
#include <unistd.h>

namespace orka::board {

namespace {

constexpr char default_path[] = "/usr/local/bin:/usr/bin:/bin";

/* Those with shims first. */
constexpr Architecture architectures[] = {
    {EM_X86_64, "x86-64", "x86_64-linux-gnu", "host"},
    {EM_386, "i686", "i386-linux-gnu", "i686"},
    {EM_ARM, "ARM", "arm-linux-gnueabi", "armel"},
    {EM_AARCH64, "AArch64", "", nullptr},
    {EM_MIPS, "MIPS", "", nullptr},
    {EM_PPC64, "PowerPC64", "", nullptr},
    {EM_RISCV, "RISC-V", "", nullptr},
};

int executability(const std::string &path)
{
    struct stat status {};
    if (stat(path.c_str(), &status) != 0)
        return errno == ENOTDIR ? ENOENT : errno;
    if (S_ISDIR(status.st_mode))
        return EISDIR;
    return access(path.c_str(), X_OK) == 0 ? 0 : EACCES;
}

std::string search(const std::string &name, int &error)
{
    if (name.find('/') != std::string::npos) {
        error = executability(name);
        return name;
    }
    const char *const path = getenv("PATH");
    std::istringstream directories(path ? path : default_path);
    error = ENOENT;
    for (std::string directory; std::getline(directories, directory, ':');) {
        std::string candidate = (directory.empty() ? "." : directory) + "/" + name;
        const int found = executability(candidate);
        if (found == 0) {
            error = 0;
            return candidate;
        }
        error = found == EACCES ? EACCES : error;
    }
    return name;
}

template <typename Record>
bool read_at(std::ifstream &file, uint64_t offset, Record &record)
{
    file.seekg(static_cast<std::streamoff>(offset));
    return static_cast<bool>(file.read(reinterpret_cast<char *>(&record), sizeof record));
}

template <typename Header, typename Segment>
void inspect(std::ifstream &file, Program &program)
{
    Header header{};
    if (!read_at(file, 0, header))
        return;
    program.elf = true;
    program.arm = header.e_machine == EM_ARM;
    program.architecture = "machine " + std::to_string(header.e_machine);
    for (const Architecture &known : architectures) {
        if (known.machine == header.e_machine) {
            program.architecture = known.name;
            program.triple = known.triple;
        }
    }
    if (program.arm && (header.e_flags & EF_ARM_ABI_FLOAT_HARD) != 0)
        program.triple = "arm-linux-gnueabihf";
    for (unsigned i = 0; i < header.e_phnum; i++) {
        Segment segment{};
        if (read_at(file, header.e_phoff + uint64_t{i} * sizeof segment, segment) &&
            segment.p_type == PT_INTERP)
            program.interpreted = true;
    }
}

} // namespace

std::span<const Architecture> architectures_with_shims()
{
    const auto end = std::ranges::find(architectures, nullptr, &Architecture::preset);
    return {std::begin(architectures), end};
}

std::string how_to_build_shim(const std::string &triple)
{
    for (const Architecture &known : architectures_with_shims()) {
        if (triple == known.triple)
            return std::string("`cmake --preset ") + known.preset + " && cmake --build --preset " +
                   known.preset + "` builds it, --shims DIR names its place";
    }
    return "";
}

bool kernel_runs_arm()
{
    std::ifstream entry("/proc/sys/fs/binfmt_misc/qemu-arm");
    std::string state;
    return std::getline(entry, state) && state == "enabled";
}

Program look_at(const std::string &path)
{
    Program program{.path = path};
    struct stat status {};
    unsigned char identity[EI_NIDENT] = {};
    std::ifstream file(path, std::ios::binary);

    if (stat(path.c_str(), &status) != 0)
        return program;
    program.privileged = (status.st_mode & (S_ISUID | S_ISGID)) != 0;
    if (!read_at(file, 0, identity) || memcmp(identity, ELFMAG, SELFMAG) != 0)
        return program;
    if (identity[EI_CLASS] == ELFCLASS64)
        inspect<Elf64_Ehdr, Elf64_Phdr>(file, program);
    else
        inspect<Elf32_Ehdr, Elf32_Phdr>(file, program);
    return program;
}

Program find_program(const std::string &name, int &error)
{
    const std::string path = search(name, error);
    return error == 0 ? look_at(path) : Program{.path = path};
}

Invocation invocation_of(const Program &program, const std::vector<std::string> &arguments,
                         const std::string &preload, std::string &why)
{
    Invocation invocation;

    if (program.arm && !kernel_runs_arm()) {
        int missing = 0;
        const Program emulator = find_program("qemu-arm", missing);
        if (missing != 0) {
            why = program.path + " is an ARM program and there is no qemu-arm (Debian: qemu-user) to run it";
            return {};
        }
        invocation.emulated = true;
        invocation.words = {emulator.path, "-cpu", "arm926", "-E", "LD_PRELOAD=" + preload};
        if (access(arm_system, F_OK) == 0)
            invocation.words.insert(invocation.words.end(), {"-L", arm_system});
        invocation.words.push_back(program.path);
    } else {
        invocation.words.push_back(arguments.front());
    }
    invocation.words.insert(invocation.words.end(), arguments.begin() + 1, arguments.end());
    return invocation;
}

std::string why_not_connected(const Program &program, const std::vector<std::string> &shim_triples)
{
    const std::string what = "nothing came to the board: " + program.path;
    if (program.privileged)
        return what + " is set-user-ID or set-group-ID, and nothing can be preloaded into such a program";
    if (program.elf && !program.interpreted)
        return what + " is statically linked, and nothing can be preloaded into such a program";
    if (program.elf && std::ranges::count(shim_triples, program.triple) == 0) {
        const std::string remedy = how_to_build_shim(program.triple);
        return what + " is a program for " + program.architecture + ", whose shim is missing" +
               (remedy.empty() ? "" : "; " + remedy);
    }
    return what +
           " did not load the board's shim (an emptied environment, or a loader that preloads nothing)";
}

} // namespace orka::board
