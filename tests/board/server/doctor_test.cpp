/* orka-board doctor, on machines that lack something: each complaint is brought about. */
#include "server/doctor.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>

#include <dlfcn.h>
#include <nlohmann/json.hpp>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "board/server/command.h"
#include "server/program.h"

namespace {

/* What this machine does not have, while a test says so. */
std::vector<std::string> lacking_encoders;
std::vector<int> lacking_decoders;
bool no_low_addresses = false;

template <typename Function>
Function *real(const char *name)
{
    return reinterpret_cast<Function *>(dlsym(RTLD_NEXT, name));
}

} // namespace

extern "C" {

struct AVCodec;

const AVCodec *avcodec_find_encoder_by_name(const char *name)
{
    if (std::ranges::count(lacking_encoders, name) != 0)
        return nullptr;
    return real<const AVCodec *(const char *)>("avcodec_find_encoder_by_name")(name);
}

const AVCodec *avcodec_find_decoder(int codec)
{
    if (std::ranges::count(lacking_decoders, codec) != 0)
        return nullptr;
    return real<const AVCodec *(int)>("avcodec_find_decoder")(codec);
}

void *mmap(void *address, size_t length, int protection, int flags, int fd, off_t offset) noexcept
{
    if (no_low_addresses && (flags & MAP_32BIT) != 0) {
        errno = ENOMEM;
        return MAP_FAILED;
    }
    const long mapped = syscall(SYS_mmap, address, length, protection, flags, fd, offset);
    return reinterpret_cast<void *>(mapped);
}

} // extern "C"

namespace orka::board {
namespace {

namespace fs = std::filesystem;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

constexpr char board[] = ORKA_BOARD_PROGRAM;

/* A directory to write into, which is also where boards have theirs; it must be left as it was. */
class Doctor : public testing::Test {
  protected:
    Doctor()
    {
        char name[] = "doctor-test-XXXXXX";
        directory = fs::absolute(mkdtemp(name));
        runtime = fs::temp_directory_path() / directory.filename();
        fs::create_directory(runtime);
        fs::permissions(runtime, fs::perms::owner_all);
        setenv("XDG_RUNTIME_DIR", runtime.c_str(), 1);
    }
    ~Doctor() override
    {
        lacking_encoders.clear();
        lacking_decoders.clear();
        no_low_addresses = false;
        setenv("PATH", path.c_str(), 1);
        EXPECT_TRUE(fs::is_empty(runtime)) << "left behind";
        fs::remove_all(runtime);
        fs::remove_all(directory);
    }

    std::string file(const std::string &name, const std::string &text = "") const
    {
        std::ofstream(directory / name) << text;
        return directory / name;
    }
    Finding finding(const std::string &check) const
    {
        const std::vector<Finding> all = examine(where);
        const auto found = std::ranges::find(all, check, &Finding::check);
        if (found == all.end())
            throw std::out_of_range(check);
        return *found;
    }
    /* What it prints for a check. */
    static std::string line(const Outcome &outcome, const std::string &check)
    {
        const size_t name = outcome.out.find(" " + check + ": ");
        if (name == std::string::npos)
            return "";
        const size_t begin = outcome.out.rfind('\n', name) + 1;
        return outcome.out.substr(begin, outcome.out.find('\n', name) - begin);
    }
    static Outcome with_limit(const std::string &limit)
    {
        return run({"sh", "-c", "ulimit " + limit + " && exec " + board + " doctor"});
    }

    const std::string path = getenv("PATH");
    fs::path directory;
    fs::path runtime;
    Surroundings where = usual_surroundings({});
};

#define EXPECT_COMPLAINT(finding, expected_health, expected_found, expected_remedy)                          \
    do {                                                                                                     \
        const Finding complaint = (finding);                                                                 \
        EXPECT_EQ(complaint.health, Health::expected_health);                                                \
        EXPECT_THAT(complaint.found, expected_found);                                                        \
        EXPECT_THAT(complaint.remedy, expected_remedy);                                                      \
    } while (false)

/* The whole of it. */

TEST_F(Doctor, FindsAllThatIsNeededWhereTheBoardWasBuilt)
{
    const Outcome outcome = run({board, "doctor"});
    EXPECT_EQ(outcome.status, 0) << outcome.out;
    EXPECT_EQ(outcome.err, "");
    EXPECT_THAT(outcome.out, StartsWith("ok      shim-host: "));
    EXPECT_EQ(line(outcome, "runtime-directory"), "ok      runtime-directory: " + runtime.string());
    EXPECT_EQ(line(outcome, "codecs"), "ok      codecs: libavcodec has all that the board offers");
}

TEST_F(Doctor, TellsProgramsAsJson)
{
    const Outcome outcome = run({board, "doctor", "--json"});
    const auto all = nlohmann::json::parse(outcome.out);
    EXPECT_EQ(all["ready"], true);
    EXPECT_EQ(all["checks"].back(), nlohmann::json({{"check", "runtime-directory"},
                                                    {"state", "ok"},
                                                    {"found", runtime.string()},
                                                    {"remedy", nullptr}}));
}

TEST_F(Doctor, AStandardOutputThatIsFullIsSaid)
{
    const Outcome outcome = run({"sh", "-c", std::string(board) + " doctor > /dev/full"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.err, "orka-board: standard output: cannot be written\n");
}

/* Shims. */

class DoctorInAnotherPlace : public Doctor {
  protected:
    DoctorInAnotherPlace()
    {
        fs::create_directories(directory / "bin");
        program = directory / "bin/orka-board";
        fs::create_hard_link(board, program);
    }
    std::string shim_for(const std::string &triple) const
    {
        const fs::path place = directory / "elsewhere/lib" / triple;
        fs::create_directories(place);
        return place / host_shim.filename();
    }
    const fs::path host_shim =
        fs::path(board).parent_path() / "shims/lib/x86_64-linux-gnu/liborka-board-shim.so";
    std::string program;
};

TEST_F(DoctorInAnotherPlace, MissesTheShimOfItsOwnAbi)
{
    const Outcome outcome = run({program, "doctor"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(
        line(outcome, "shim-host"),
        "missing shim-host: there is none: programs for x86-64 do not reach the board; to do: install the "
        "package orka-board again, or `cmake --preset host && cmake --build --preset host` builds it, "
        "--shims DIR names its place");
    EXPECT_THAT(line(outcome, "shim-i686"), StartsWith("warning shim-i686: there is none: "));
    EXPECT_THAT(line(outcome, "shim-armel"), StartsWith("warning shim-armel: there is none: "));
}

TEST_F(DoctorInAnotherPlace, SaysAsJsonThatSomethingIsMissing)
{
    const Outcome outcome = run({program, "doctor", "--json"});
    EXPECT_EQ(outcome.status, 1);
    const auto all = nlohmann::json::parse(outcome.out);
    EXPECT_EQ(all["ready"], false);
    EXPECT_EQ(all["checks"][0]["state"], "missing");
    EXPECT_EQ(all["checks"][1]["state"], "warning");
    EXPECT_THAT(std::string(all["checks"][0]["remedy"]), StartsWith("install the package orka-board again"));
}

TEST_F(DoctorInAnotherPlace, FindsTheShimsThatTheOptionNames)
{
    fs::create_hard_link(host_shim, shim_for("x86_64-linux-gnu"));
    const Outcome outcome = run({program, "doctor", "--shims", directory / "elsewhere"});
    EXPECT_EQ(outcome.status, 0) << outcome.out;
    EXPECT_EQ(line(outcome, "shim-host"), "ok      shim-host: " + shim_for("x86_64-linux-gnu"));
    EXPECT_THAT(line(outcome, "shim-i686"), StartsWith("warning"));
}

TEST_F(DoctorInAnotherPlace, TellsWhatStandsInAShimsPlaceAndIsNone)
{
    std::ofstream(shim_for("x86_64-linux-gnu")) << "no shim";
    fs::create_hard_link(host_shim, shim_for("i386-linux-gnu"));
    const Outcome outcome = run({program, "doctor", "--shims", directory / "elsewhere"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(line(outcome, "shim-host"),
                StartsWith("missing shim-host: " + shim_for("x86_64-linux-gnu") +
                           " cannot be read, or is none for x86-64; to do: install "));
    EXPECT_THAT(line(outcome, "shim-i686"), StartsWith("warning shim-i686: " + shim_for("i386-linux-gnu") +
                                                       " cannot be read, or is none for i686;"));
}

/* What runs programs of other ABIs. */

TEST_F(Doctor, SaysWhatI686ProgramsNeed)
{
    where.i686_loaders = {directory / "none", file("ld-linux.so.2")};
    EXPECT_EQ(finding("runtime-i686").found, (directory / "ld-linux.so.2").string());
    where.i686_loaders = {directory / "none"};
    EXPECT_COMPLAINT(finding("runtime-i686"), warning, "programs for i686 have neither loader nor libc",
                     HasSubstr("libc6-i386"));
}

TEST_F(Doctor, SaysWhatArmProgramsNeed)
{
    where.arm_loaders = {directory / "none", file("ld-linux.so.3")};
    EXPECT_EQ(finding("runtime-armel").found, (directory / "ld-linux.so.3").string());
    where.arm_loaders = {directory / "none"};
    EXPECT_COMPLAINT(finding("runtime-armel"), warning, "ARM programs have neither loader nor libc",
                     HasSubstr("libc6-armel-cross"));
}

TEST_F(Doctor, LooksForTheEmulatorOnThePath)
{
    if (kernel_runs_arm())
        GTEST_SKIP() << "the kernel runs ARM programs by itself";
    setenv("PATH", directory.c_str(), 1);
    EXPECT_COMPLAINT(finding("qemu-arm"), warning, "it is not there: ARM programs cannot be run",
                     HasSubstr("qemu-user"));
    fs::permissions(file("qemu-arm", "#!/bin/sh\n"), fs::perms::owner_all);
    EXPECT_EQ(finding("qemu-arm").found, (directory / "qemu-arm").string());
}

/* What the DSP uses. */

TEST_F(Doctor, NamesEveryCodecThatIsNotThere)
{
    constexpr int h264 = 27;
    constexpr int vorbis = 86021;
    EXPECT_EQ(finding("codecs").health, Health::ok);
    lacking_encoders = {"libx264", "libmp3lame", "gif", "h263"};
    lacking_decoders = {h264, vorbis};
    EXPECT_COMPLAINT(finding("codecs"), missing,
                     "libavcodec does not have: decoder h264, decoder vorbis, encoder gif, encoder h263, "
                     "encoder libmp3lame, encoder libx264",
                     HasSubstr("libavcodec"));
}

TEST_F(Doctor, SaysThatThereAreNoSubtitlesWithoutAFont)
{
    where.font = directory / "none.ttf";
    EXPECT_COMPLAINT(finding("font"), warning,
                     where.font + ": No such file or directory: there are no subtitles",
                     HasSubstr("fonts-dejavu-core"));
    where.font = file("none.ttf", "no font at all");
    EXPECT_COMPLAINT(finding("font"), warning, where.font + ": no font: there are no subtitles",
                     HasSubstr("fonts-dejavu-core"));
}

/* The real loader, in a process of its own: it keeps what it has loaded. */
TEST_F(Doctor, SaysThatNoFileCanBeTheCameraWithoutLibavdevice)
{
    for (const int version : {58, 59, 60, 61, 62})
        file("libavdevice.so." + std::to_string(version), "no library at all");
    const Outcome outcome = run({"env", "LD_LIBRARY_PATH=" + directory.string(), board, "doctor"});
    EXPECT_EQ(outcome.status, 0) << outcome.out;
    EXPECT_THAT(line(outcome, "capture"), StartsWith("warning capture: " + directory.string()));
    EXPECT_THAT(line(outcome, "capture"), HasSubstr(": --camera and --microphone take nothing; to do: "));
}

/* What the kernel gives. */

TEST_F(Doctor, MissesMemoryThatCannotBeMapped)
{
    const Outcome outcome = with_limit("-f 1024");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(line(outcome, "memory"),
                StartsWith("missing memory: making the board's memory: File too large; to do: raise "));
}

TEST_F(Doctor, MissesAddressesThatAWordCanTell)
{
    no_low_addresses = true;
    EXPECT_COMPLAINT(finding("memory"), missing,
                     "128 MiB cannot be mapped below 4 GiB, where programs need them", HasSubstr("--memory"));
}

TEST_F(Doctor, WarnsOfMemoryThatSwapsAtOnce)
{
    where.memory_information = file("meminfo", "MemTotal:       9999999 kB\nMemAvailable:     102400 kB\n");
    EXPECT_COMPLAINT(finding("memory"), warning, "only 100 of 128 MiB are available", HasSubstr("--memory"));
    where.memory_information = file("meminfo", "MemAvailable:     131072 kB\n");
    EXPECT_EQ(finding("memory").health, Health::ok);
    where.memory_information = directory / "none";
    EXPECT_EQ(finding("memory").health, Health::ok);
}

TEST_F(Doctor, WarnsOfFewDescriptors)
{
    const Outcome outcome = with_limit("-n 64");
    EXPECT_EQ(outcome.status, 0) << outcome.out;
    EXPECT_EQ(
        line(outcome, "descriptors"),
        "warning descriptors: 64 are few: a board takes one for each program and open node; to do: raise "
        "`ulimit -Hn`");
}

/* The runtime directory. */

TEST_F(Doctor, MissesARuntimeDirectoryThatABoardCannotUse)
{
    const fs::path deep = runtime / std::string(100, 'x');
    fs::create_directory(deep);
    setenv("XDG_RUNTIME_DIR", deep.c_str(), 1);
    EXPECT_COMPLAINT(finding("runtime-directory"), missing, EndsWith(": File name too long"),
                     HasSubstr("a short name"));
    EXPECT_TRUE(fs::is_empty(deep));
    fs::remove(deep);
    setenv("XDG_RUNTIME_DIR", "/proc/self/fdinfo", 1); /* a directory in which nobody makes another */
    EXPECT_COMPLAINT(finding("runtime-directory"), missing,
                     StartsWith("making a directory /proc/self/fdinfo/orka-board-"),
                     HasSubstr("XDG_RUNTIME_DIR"));
}

TEST_F(Doctor, WarnsOfARuntimeDirectoryThatOthersCanChange)
{
    fs::permissions(runtime, fs::perms::all);
    EXPECT_COMPLAINT(finding("runtime-directory"), warning,
                     runtime.string() +
                         " can be written by others, and has no sticky bit: /tmp is used instead",
                     HasSubstr("0700"));
    fs::permissions(runtime, fs::perms::all | fs::perms::sticky_bit);
    EXPECT_EQ(finding("runtime-directory").health, Health::ok);
}

TEST_F(Doctor, WarnsOfARuntimeDirectoryOfAnotherUser)
{
    constexpr uid_t nobody = 65534;
    if (chown(runtime.c_str(), nobody, nobody) != 0)
        GTEST_SKIP() << "only root gives a directory away";
    EXPECT_COMPLAINT(finding("runtime-directory"), warning,
                     runtime.string() + " belongs to another user: /tmp is used instead",
                     HasSubstr("a directory of yours"));
}

TEST_F(Doctor, WarnsOfARuntimeDirectoryThatIsPassedOver)
{
    const fs::path with_space = runtime / "with space";
    fs::create_directory(with_space);
    fs::permissions(with_space, fs::perms::owner_all);
    const std::pair<fs::path, std::string> reasons[] = {
        {runtime / "none", " cannot be looked at"}, {with_space, " has a name that programs cannot be told"}};
    for (const auto &[name, reason] : reasons) {
        setenv("XDG_RUNTIME_DIR", name.c_str(), 1);
        EXPECT_COMPLAINT(finding("runtime-directory"), warning,
                         name.string() + reason + ": /tmp is used instead", HasSubstr("without spaces"));
    }
    fs::remove(with_space);
}

} // namespace
} // namespace orka::board
