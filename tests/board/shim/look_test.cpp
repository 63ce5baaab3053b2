/* How nodes look before they are opened, and what the descriptors say afterwards. */
#include "board/shim/shim_fixture.h"

#include <cerrno>

namespace orka::board::test {

class ShimShows : public Shim {};
INSTANTIATE_TEST_SUITE_P(Abis, ShimShows, testing::ValuesIn(abis()), name_of_abi);

TEST_P(ShimShows, EveryFormOfStatShowsACharacterDevice)
{
    for (const char *form : {"stat", "lstat", "fstatat", "stat64", "lstat64", "fstatat64", "__xstat",
                             "__lxstat", "__fxstatat", "__xstat64", "__lxstat64", "__fxstatat64", "statx"})
        EXPECT_EQ(probe({std::string("stat ") + form + " /dev/vdecode"}), "020666 240:4\n") << form;
}

TEST_P(ShimShows, PhysicalMemoryHasItsUsualNumber)
{
    EXPECT_EQ(probe({"stat stat /dev/mem"}), "020666 1:1\n");
}

TEST_P(ShimShows, EveryFormOfAccessAllowsReadingAndWriting)
{
    for (const char *form : {"access", "eaccess", "euidaccess", "faccessat"}) {
        const std::string access = std::string("access ") + form + " /dev/adecode ";
        EXPECT_EQ(probe({access + "0", access + "4", access + "6", access + "1"}), "ok\nok\nok\n-1 EACCES\n")
            << form;
    }
}

TEST_P(ShimShows, NodesHaveNoAccessControlList)
{
    EXPECT_EQ(probe({"attribute /dev/adecode system.posix_acl_access",
                     "attribute /dev/adecode1 system.posix_acl_access"}),
              probe({"attribute /dev/zero system.posix_acl_access"}) + "-1 ENOENT\n");
}

TEST_P(ShimShows, AnInvalidModeIsRefused)
{
    EXPECT_EQ(probe({"access access /dev/adecode 99", "access faccessat /dev/adecode 99"}),
              "-1 EINVAL\n-1 EINVAL\n");
}

TEST_P(ShimShows, BadPathsAreFaults)
{
    EXPECT_EQ(probe({"stat stat null", "stat stat bad", "access access bad 0"}),
              "-1 EFAULT\n-1 EFAULT\n-1 EFAULT\n");
}

/*
 * Where time has two sizes, libc writes the record itself and dies of such a pointer, with or without the
 * shim.
 */
class ShimFaults : public Shim {};
INSTANTIATE_TEST_SUITE_P(Abis, ShimFaults, testing::ValuesIn(abis_with_time64(false)), name_of_abi);

TEST_P(ShimFaults, ABadRecordOfStatIsAFault)
{
    EXPECT_EQ(probe({"stat stat /dev/adecode bad"}), "-1 EFAULT\n");
}

TEST_P(ShimShows, OtherPathsLookAsTheyAre)
{
    EXPECT_EQ(probe({"stat stat /dev/zero", "stat lstat /dev/adecode1", "access access /dev/adecode1 0"}),
              "020666 1:5\n-1 ENOENT\n-1 ENOENT\n");
}

TEST_P(ShimShows, NothingIsReadyUntilTheServerSaysSo)
{
    EXPECT_EQ(probe({"open a open /dev/adecode rw", "poll a", "select a", "epoll a"}),
              "ok\nnothing\nnothing\nnothing nothing nothing nothing \n");
}

TEST_P(ShimShows, ReadinessShowsOnCopiesAndInChildren)
{
    server.make_files_readable();

    EXPECT_EQ(probe({"open a open /dev/adecode rw", "dup a b", "poll a", "poll b", "select b", "epoll b",
                     "child poll a", "child select b", "child epoll a"}),
              "ok\nok\nin\nin\nin\nin in in nothing \nin\nin\nin in in nothing \n");
}

TEST_P(ShimShows, TheEndOfTheBoardShowsOnCopiesAndInChildren)
{
    server.on(operation::control, [](const Asked &) { return Answer{.deed = Deed::stop}; });

    EXPECT_EQ(probe({"open a open /dev/adecode rw", "dup a b", "control a 80046b01 null", "poll b",
                     "select b", "epoll b", "child poll a", "child select b", "child epoll a"}),
              "ok\nok\n-1 ENODEV\nhup\nin\nhup hup hup nothing \nhup\nin\nhup hup hup nothing \n");
}

class ShimMaps : public Shim {};
INSTANTIATE_TEST_SUITE_P(Abis, ShimMaps, testing::ValuesIn(abis()), name_of_abi);

TEST_P(ShimMaps, PhysicalMemoryIsOneForAllItsDescriptorsAndProcesses)
{
    EXPECT_EQ(probe({"open a open /dev/mem rw,sync", "poke a 0x80010 hello", "open b open /dev/mem rw",
                     "peek b 0x80010 5", "child peek a 0x80010 5"}),
              "ok\nok\nok\nhello\nhello\n");
}

TEST_P(ShimMaps, AMappingEndsWithPhysicalMemory)
{
    EXPECT_EQ(probe({"open a open /dev/mem rw", "map a 0 0x100000", "map a 0xff000 4096",
                     "map a 0xff000 4097", "map a 0x100000 1", "map a 0x80000000 4096",
                     "map64 a 0xff000 4096", "map64 a 0x100000 1", "map64 a 0x100000000 1"}),
              "ok\nok\nok\n-1 EINVAL\n-1 EINVAL\n-1 EINVAL\nok\n-1 EINVAL\n-1 EINVAL\n");
}

TEST_P(ShimMaps, TheServerHearsOfWhatWasRefused)
{
    probe({"open a open /dev/mem rw", "map a 0xff000 8192"});

    const std::vector<Asked> told = asked(operation::outside);
    ASSERT_EQ(told.size(), 1u);
    protocol::range range{};
    ASSERT_EQ(told[0].bytes.size(), sizeof range);
    memcpy(&range, told[0].bytes.data(), sizeof range);
    EXPECT_EQ(range.offset, 0xff000u);
    EXPECT_EQ(range.length, 8192u);
}

TEST_P(ShimMaps, MemoryThatWasInheritedEndsThereToo)
{
    EXPECT_EQ(probe({"open a open /dev/mem rw", "dup a b", exec(), "map b 0xff000 8192", "map b 0xff000 4096",
                     "pass b", "map b 0xff000 8192"}),
              "ok\nok\n-1 EINVAL\nok\n-1 EINVAL\n");
}

TEST_P(ShimMaps, TheAccessModeHolds)
{
    EXPECT_EQ(probe({"open a open /dev/mem ro", "map a 0 4096", "map a 0 4096 ro"}), "ok\n-1 EACCES\nok\n");
}

TEST_P(ShimMaps, OtherFilesMapAsTheKernelAllows)
{
    EXPECT_EQ(probe({"open a open /proc/self/exe ro", "map a 0x10000000 4096 ro", "map z 0 4096"}),
              "ok\nok\n-1 EBADF\n");
    EXPECT_TRUE(asked(operation::outside).empty());
}

/* An emulator may show a mapping twice: to sync once more changes nothing. */
TEST_P(ShimMaps, TheServerHearsOfWhatIsSyncedWhereThereIsACache)
{
    server.make_memory_cached();
    EXPECT_EQ(probe({"open a open /dev/mem rw", "sync a 0x20000 0x1001"}), "ok\nok\n");

    const std::vector<Asked> told = asked(operation::sync);
    EXPECT_FALSE(told.empty());
    for (const Asked &one : told) {
        protocol::range range{};
        ASSERT_EQ(one.bytes.size(), sizeof range);
        memcpy(&range, one.bytes.data(), sizeof range);
        EXPECT_EQ(range.offset, 0x20000u);
        EXPECT_EQ(range.length, 0x1001u);
    }
}

TEST_P(ShimMaps, ASyncIsTheKernelsAloneWhereThereIsNoCache)
{
    EXPECT_EQ(probe({"open a open /dev/mem rw", "sync a 0x20000 0x1001"}), "ok\nok\n");
    EXPECT_TRUE(asked(operation::sync).empty());
}

TEST_P(ShimMaps, OtherFilesAreSyncedByTheKernelAlone)
{
    server.make_memory_cached();
    EXPECT_EQ(probe({"open a open /proc/self/exe ro", "sync a 0x1000 0x1000"}), "ok\nok\n");
    EXPECT_TRUE(asked(operation::sync).empty());
}

} // namespace orka::board::test
