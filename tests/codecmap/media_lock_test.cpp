/*
 * The media locks on real semaphores, which a file of the test's own names: the system's are left alone, so
 * these run beside anything.
 */
#include <dlfcn.h>
#include <memory>
#include <ostream>

#include "codecmap/lock_fight.h"
#include "pavosem.h"

using namespace orka_test;

namespace {

constexpr const char *system_path = "/var/tmp/sem-dm320-media";
std::unique_ptr<SemaphoreFile> file;

} // namespace

/* Comes before the library's for libcodecmap.so, and hands on to it with the other file. */
extern "C" int PavoSemCreate(const char *path, int key, int initial, int *id_out)
{
    using Create = int(const char *, int, int, int *);
    static auto *const create = reinterpret_cast<Create *>(dlsym(RTLD_NEXT, "PavoSemCreate"));

    if (std::string(path) != system_path)
        return -1;
    return create(file->path.c_str(), key, initial, id_out);
}

namespace {

class RealMediaLock : public testing::Test {
  protected:
    void SetUp() override { file = std::make_unique<SemaphoreFile>(); }
    void TearDown() override { file.reset(); }
};

class EachRealMediaLock : public RealMediaLock, public testing::WithParamInterface<MediaLocks> {};

TEST_P(EachRealMediaLock, IsHeldByOneAtATime)
{
    EXPECT_EQ(GetParam().lock(), 0);
    EXPECT_NE(GetParam().lock(), 0);
    EXPECT_EQ(GetParam().unlock(), 0);
    EXPECT_EQ(GetParam().lock(), 0);
}

TEST_P(EachRealMediaLock, CountsTwoUnlocksAsOne)
{
    EXPECT_EQ(GetParam().lock(), 0);
    EXPECT_EQ(GetParam().unlock(), 0);
    EXPECT_EQ(GetParam().unlock(), 0);
    EXPECT_EQ(GetParam().lock(), 0);
    EXPECT_NE(GetParam().lock(), 0);
}

TEST_P(EachRealMediaLock, IsFreeAfterAnUnlockThatCameFirst)
{
    EXPECT_EQ(GetParam().unlock(), 0);
    EXPECT_EQ(GetParam().lock(), 0);
    EXPECT_NE(GetParam().lock(), 0);
}

TEST_P(EachRealMediaLock, KeepsTwoProcessesApart)
{
    expect_fair_fight(GetParam());
}

TEST_P(EachRealMediaLock, IsKeptByAKilledHolderUntilSomebodyUnlocks)
{
    expect_kept_by_the_dead(GetParam());
}

INSTANTIATE_TEST_SUITE_P(Locks, EachRealMediaLock, testing::ValuesIn(all_media_locks),
                         [](const testing::TestParamInfo<MediaLocks> &info) {
                             return std::string(info.param.name);
                         });

TEST_F(RealMediaLock, OfOneSideLeavesTheOthersFree)
{
    EXPECT_EQ(dm320_a_lock(), 0);
    EXPECT_EQ(dm320_v_lock(), 0);
    EXPECT_EQ(dm320_i_lock(), 0);
}

TEST_F(RealMediaLock, OfThePairGivesAudioBackWhenAnotherProcessHasVideo)
{
    kill_after([] { dm320_v_lock(); });
    EXPECT_EQ(dm320_av_lock(), -1);
    EXPECT_EQ(value_of(file->path, 'a'), 1);
    EXPECT_EQ(value_of(file->path, 'v'), 0);
}

TEST_F(RealMediaLock, OfThePairIsSeenLockedOnlyWhileItIs)
{
    EXPECT_EQ(dm320_is_av_locked(), 0);
    EXPECT_EQ(dm320_is_av_locked(), 0);
    EXPECT_EQ(dm320_a_lock(), 0);
    EXPECT_EQ(dm320_is_av_locked(), -1);
    EXPECT_EQ(dm320_a_unlock(), 0);
    EXPECT_EQ(dm320_is_av_locked(), 0);
}

} // namespace
