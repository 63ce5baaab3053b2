/*
 * The media locks on real semaphores, which a file of the test's own names: the system's are left alone, so
 * these run beside anything.
 */
#include <ostream>

#include "codecmap/lock_fight.h"

using namespace orka_test;

namespace {

class RealMediaLock : public testing::Test {
  protected:
    RealMediaLock() { setenv("ORKA_TEST_SEMAPHORES", file.path.c_str(), 1); }

    SemaphoreFile file;
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
    EXPECT_EQ(value_of(file.path, 'a'), 1);
    EXPECT_EQ(value_of(file.path, 'v'), 0);
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
