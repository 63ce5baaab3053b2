/* What the shims ask of others, and what they stand in for. */
#include "board/shim/shim_fixture.h"

#include <cstdio>
#include <memory>
#include <set>
#include <sstream>

namespace orka::board::test {

namespace {

std::vector<std::string> lines_of(const std::string &command)
{
    const std::unique_ptr<FILE, int (*)(FILE *)> pipe(popen(command.c_str(), "r"), pclose);
    std::vector<std::string> lines;
    char line[1024];
    while (fgets(line, sizeof line, pipe.get()) != nullptr)
        lines.emplace_back(line);
    return lines;
}

struct Symbols {
    std::set<std::string> defined;
    std::set<std::string> undefined;
};

Symbols symbols_of(const std::string &library)
{
    Symbols symbols;
    for (const std::string &line : lines_of("readelf --dyn-syms -W " + library)) {
        std::istringstream words(line);
        std::string number, value, size, type, binding, visibility, section, name;
        if (words >> number >> value >> size >> type >> binding >> visibility >> section >> name &&
            binding == "GLOBAL")
            (section == "UND" ? symbols.undefined : symbols.defined).insert(name.substr(0, name.find('@')));
    }
    return symbols;
}

const std::set<std::string> replaced = {
    "open",         "open64",    "openat",    "openat64",  "__open_2",   "__open64_2", "__openat_2",
    "__openat64_2", "ioctl",     "mmap",      "mmap64",    "msync",      "access",     "eaccess",
    "euidaccess",   "faccessat", "stat",      "lstat",     "stat64",     "lstat64",    "fstatat",
    "fstatat64",    "__xstat",   "__lxstat",  "__xstat64", "__lxstat64", "__fxstatat", "__fxstatat64",
    "statx",        "getxattr",  "lgetxattr",
};

const std::set<std::string> replaced_with_time64 = {"__ioctl_time64", "__stat64_time64", "__lstat64_time64",
                                                    "__fstatat64_time64"};

} // namespace

class ShimFile : public Shim {};
INSTANTIATE_TEST_SUITE_P(Abis, ShimFile, testing::ValuesIn(abis()), name_of_abi);

TEST_P(ShimFile, ExportsWhatItReplacesAndNothingElse)
{
    std::set<std::string> expected = replaced;
    if (GetParam().time64)
        expected.insert(replaced_with_time64.begin(), replaced_with_time64.end());

    EXPECT_EQ(symbols_of(GetParam().shim()).defined, expected);
}

TEST_P(ShimFile, NeverCallsWhatItReplaces)
{
    const Symbols symbols = symbols_of(GetParam().shim());

    EXPECT_TRUE(symbols.undefined.contains("syscall"));
    for (const std::string &name : symbols.undefined)
        EXPECT_FALSE(symbols.defined.contains(name)) << name;
}

TEST_P(ShimFile, NeitherAllocatesNorLocksNorPrints)
{
    EXPECT_THAT(symbols_of(GetParam().shim()).undefined,
                testing::IsSubsetOf({"__environ", "environ", "__errno_location", "__register_atfork",
                                     "gnu_dev_makedev", "dlsym", "getenv", "memcmp", "memcpy", "memmove",
                                     "memset", "strlen", "syscall", "__stack_chk_fail"}));
}

TEST_P(ShimFile, NeedsLibcAlone)
{
    std::vector<std::string> needed;
    for (const std::string &line : lines_of("readelf -dW " + GetParam().shim())) {
        if (line.find("(NEEDED)") != std::string::npos)
            needed.push_back(line.substr(line.find('[')));
    }
    EXPECT_THAT(needed, testing::ElementsAre("[libc.so.6]\n"));
}

TEST_P(ShimFile, HasNoThreadLocalStorage)
{
    for (const std::string &line : lines_of("readelf -lW " + GetParam().shim()))
        EXPECT_EQ(line.find(" TLS "), std::string::npos);
}

} // namespace orka::board::test
