#include "server/program.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>

#include <elf.h>

namespace orka::board {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;

/* A directory that is the whole PATH. */
class ProgramTest : public testing::Test {
  protected:
    ProgramTest()
    {
        char name[] = "/tmp/orka-program-test-XXXXXX";
        directory = mkdtemp(name);
        setenv("PATH", directory.c_str(), 1);
    }
    ~ProgramTest() override
    {
        setenv("PATH", old_path.c_str(), 1);
        fs::remove_all(directory);
    }
    std::string file(const std::string &name, const std::string &bytes, fs::perms mode = fs::perms::owner_all)
    {
        std::ofstream(directory / name, std::ios::binary) << bytes;
        fs::permissions(directory / name, mode);
        return directory / name;
    }
    static Program found(const std::string &name)
    {
        int error = -1;
        Program program = find_program(name, error);
        EXPECT_EQ(error, 0);
        return program;
    }
    static int error_of(const std::string &name)
    {
        int error = -1;
        find_program(name, error);
        return error;
    }

    const std::string old_path = getenv("PATH");
    fs::path directory;
};

template <typename Header, typename Segment>
std::string elf(unsigned char bits, uint16_t machine, bool interpreted, uint32_t flags = 0)
{
    Header header{};
    Segment segment{};
    memcpy(header.e_ident, ELFMAG, SELFMAG);
    header.e_ident[EI_CLASS] = bits;
    header.e_machine = machine;
    header.e_flags = flags;
    header.e_phoff = sizeof header;
    header.e_phnum = 1;
    segment.p_type = interpreted ? PT_INTERP : PT_LOAD;
    std::string bytes(reinterpret_cast<const char *>(&header), sizeof header);
    return bytes.append(reinterpret_cast<const char *>(&segment), sizeof segment);
}

std::string elf32(uint16_t machine, bool interpreted, uint32_t flags = 0)
{
    return elf<Elf32_Ehdr, Elf32_Phdr>(ELFCLASS32, machine, interpreted, flags);
}

std::string elf64(uint16_t machine, bool interpreted)
{
    return elf<Elf64_Ehdr, Elf64_Phdr>(ELFCLASS64, machine, interpreted);
}

TEST_F(ProgramTest, IsFoundOnThePath)
{
    const std::string path = file("tool", "#!/bin/sh\n");
    EXPECT_EQ(found("tool").path, path);
}

TEST_F(ProgramTest, IsTakenAsItStandsWhenItIsAPath)
{
    const std::string path = file("tool", "#!/bin/sh\n");
    EXPECT_EQ(found(path).path, path);
    EXPECT_EQ(error_of("./tool"), ENOENT);
}

TEST_F(ProgramTest, ThatMayNotBeExecutedIsDenied)
{
    file("tool", "#!/bin/sh\n", fs::perms::owner_read);
    EXPECT_EQ(error_of("tool"), EACCES);
}

TEST_F(ProgramTest, IsLookedForFurtherOnBehindOneThatMayNotBeExecuted)
{
    const std::string path = file("tool", "#!/bin/sh\n");
    fs::create_directory(directory / "before");
    std::ofstream(directory / "before/tool") << "no program";
    setenv("PATH", (directory.string() + "/before:" + directory.string()).c_str(), 1);
    EXPECT_EQ(found("tool").path, path);
}

TEST_F(ProgramTest, ThatIsNowhereIsNotFound)
{
    EXPECT_EQ(error_of("tool"), ENOENT);
    EXPECT_EQ(error_of("/dev/null/tool"), ENOENT);
}

TEST_F(ProgramTest, OfEachKnownArchitectureNeedsItsShim)
{
    EXPECT_EQ(found(file("a", elf64(EM_X86_64, true))).triple, "x86_64-linux-gnu");
    EXPECT_EQ(found(file("b", elf32(EM_386, true))).triple, "i386-linux-gnu");
    EXPECT_EQ(found(file("c", elf32(EM_ARM, true))).triple, "arm-linux-gnueabi");
    EXPECT_EQ(found(file("d", elf32(EM_ARM, true, EF_ARM_ABI_FLOAT_HARD))).triple, "arm-linux-gnueabihf");
    EXPECT_EQ(found(file("e", elf64(EM_AARCH64, true))).triple, "");
}

TEST_F(ProgramTest, WithoutALoaderIsStatic)
{
    EXPECT_TRUE(found(file("dynamic", elf64(EM_X86_64, true))).interpreted);
    EXPECT_FALSE(found(file("static", elf64(EM_X86_64, false))).interpreted);
}

TEST_F(ProgramTest, ThatIsCutShortIsNoElf)
{
    EXPECT_FALSE(found(file("short", elf64(EM_X86_64, true).substr(0, 40))).elf);
    EXPECT_FALSE(found(file("script", "#!/bin/sh\n")).elf);
    EXPECT_FALSE(found(file("empty", "")).elf);
}

TEST_F(ProgramTest, WithSpecialRightsIsPrivileged)
{
    EXPECT_TRUE(found(file("user", "", fs::perms::owner_all | fs::perms::set_uid)).privileged);
    EXPECT_TRUE(found(file("group", "", fs::perms::owner_all | fs::perms::set_gid)).privileged);
    EXPECT_FALSE(found(file("plain", "")).privileged);
}

TEST_F(ProgramTest, OfThisMachineIsInvokedByTheWordsGiven)
{
    std::string why;
    const Program program = found(file("tool", elf64(EM_X86_64, true)));
    const Invocation invocation = invocation_of(program, {"tool", "a", "b"}, "shim", why);
    EXPECT_FALSE(invocation.emulated);
    EXPECT_THAT(invocation.words, ElementsAre("tool", "a", "b"));
}

class ArmProgramTest : public ProgramTest {
  protected:
    void SetUp() override
    {
        if (fs::exists("/proc/sys/fs/binfmt_misc/qemu-arm"))
            GTEST_SKIP() << "the kernel here runs ARM programs by itself";
    }
    const Program program = found(file("tool", elf32(EM_ARM, true)));
    std::string why;
};

TEST_F(ArmProgramTest, GoesThroughTheEmulator)
{
    const std::string emulator = file("qemu-arm", "#!/bin/sh\n");
    const Invocation invocation = invocation_of(program, {"tool", "a"}, "shim", why);
    const std::vector<std::string> &words = invocation.words;
    ASSERT_GE(words.size(), 7u);
    EXPECT_TRUE(invocation.emulated);
    EXPECT_THAT((std::vector(words.begin(), words.begin() + 5)),
                ElementsAre(emulator, "-cpu", "arm926", "-E", "LD_PRELOAD=shim"));
    EXPECT_THAT((std::vector(words.end() - 2, words.end())), ElementsAre(program.path, "a"));
}

TEST_F(ArmProgramTest, WithoutAnEmulatorIsRefusedWithTheRemedy)
{
    EXPECT_TRUE(invocation_of(program, {"tool"}, "shim", why).words.empty());
    EXPECT_EQ(why,
              program.path + " is an ARM program and there is no qemu-arm (Debian: qemu-user) to run it");
}

TEST_F(ArmProgramTest, WithoutItsShimIsToldHowToBuildIt)
{
    EXPECT_EQ(
        why_not_connected(program, {"x86_64-linux-gnu"}),
        "nothing came to the board: " + program.path +
            " is a program for ARM, whose shim is missing; `cmake --preset armel && cmake --build --preset "
            "armel` builds it, --shims DIR names its place");
}

TEST_F(ProgramTest, OfAnArchitectureWithoutShimsIsNamed)
{
    const Program program = found(file("tool", elf64(EM_AARCH64, true)));
    EXPECT_EQ(why_not_connected(program, {"x86_64-linux-gnu"}),
              "nothing came to the board: " + program.path +
                  " is a program for AArch64, whose shim is missing");
}

} // namespace
} // namespace orka::board
