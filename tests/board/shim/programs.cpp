#include "board/shim/programs.h"

#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <ostream>
#include <spawn.h>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>

namespace orka::board::test {

std::string Abi::shim() const
{
    return build + "/shims/lib/" + triple + "/liborka-board-shim.so";
}

bool Abi::is_built() const
{
    return access(shim().c_str(), R_OK) == 0 && access(program("device_probe").c_str(), X_OK) == 0;
}

void PrintTo(const Abi &abi, std::ostream *out)
{
    *out << abi.name;
}

const std::vector<Abi> &abis()
{
    static const std::string beside = std::string(ORKA_BUILD) + "/../";
    static const std::vector<Abi> all = {
        {.name = "Host", .build = ORKA_BUILD, .triple = ORKA_MULTIARCH, .launcher = {}, .time64 = false},
        {.name = "I686",
         .build = beside + "i686",
         .triple = "i386-linux-gnu",
         .launcher = {},
         .time64 = true},
        {.name = "Armel",
         .build = beside + "armel",
         .triple = "arm-linux-gnueabi",
         .launcher = {"qemu-arm", "-cpu", "arm926", "-L", "/usr/arm-linux-gnueabi"},
         .time64 = true},
    };
    return all;
}

std::vector<Abi> abis_with_time64(bool time64)
{
    std::vector<Abi> chosen = abis();
    std::erase_if(chosen, [&](const Abi &abi) { return abi.time64 != time64; });
    return chosen;
}

namespace {

/* One folder from which every loader finds its shim behind $LIB. */
class ShimFolder {
  public:
    ShimFolder()
    {
        char name[] = "/tmp/orka-shims-XXXXXX";
        path_ = mkdtemp(name);
        std::filesystem::create_directory(path_ / "lib");
        for (const Abi &abi : abis()) {
            if (abi.is_built())
                std::filesystem::create_directory_symlink(std::filesystem::path(abi.shim()).parent_path(),
                                                          path_ / "lib" / abi.triple);
        }
    }
    ~ShimFolder() { std::filesystem::remove_all(path_); }
    ShimFolder(const ShimFolder &) = delete;
    ShimFolder &operator=(const ShimFolder &) = delete;

    const std::filesystem::path &path() const { return path_; }

  private:
    std::filesystem::path path_;
};

std::vector<std::string> environment_of(const Setting &setting)
{
    std::vector<std::string> all;
    for (char **entry = environ; *entry != nullptr; entry++) {
        if (strncmp(*entry, "LD_PRELOAD=", 11) != 0 && strncmp(*entry, "ORKA_BOARD=", 11) != 0)
            all.emplace_back(*entry);
    }
    if (setting.preload)
        all.push_back("LD_PRELOAD=" + preload_path());
    if (!setting.board.empty())
        all.push_back("ORKA_BOARD=" + setting.board);
    return all;
}

std::vector<char *> pointers(std::vector<std::string> &texts)
{
    std::vector<char *> all;
    for (std::string &text : texts)
        all.push_back(text.data());
    all.push_back(nullptr);
    return all;
}

std::string read_all(int fd)
{
    std::string text;
    char part[4096];
    for (ssize_t count = 0; (count = read(fd, part, sizeof part)) > 0;)
        text.append(part, static_cast<size_t>(count));
    close(fd);
    return text;
}

} // namespace

std::string preload_path()
{
    static const ShimFolder folder;
    return (folder.path() / "$LIB" / "liborka-board-shim.so").string();
}

Outcome run_program(const Abi &abi, const std::string &file, const std::vector<std::string> &arguments,
                    const Setting &setting)
{
    std::vector<std::string> command = abi.launcher;
    command.push_back(abi.program(file));
    command.insert(command.end(), arguments.begin(), arguments.end());
    std::vector<std::string> environment = environment_of(setting);

    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0)
        throw std::runtime_error("no pipe");
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, ends[1], STDERR_FILENO);
    pid_t process = 0;
    const int error = posix_spawnp(&process, command[0].c_str(), &actions, nullptr, pointers(command).data(),
                                   pointers(environment).data());
    posix_spawn_file_actions_destroy(&actions);
    close(ends[1]);
    Outcome outcome{.output = read_all(ends[0]), .status = -1};
    if (error == 0)
        waitpid(process, &outcome.status, 0);
    return outcome;
}

} // namespace orka::board::test
