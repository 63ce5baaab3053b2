/*
 * The media locks as every program has them, on the file that the whole system shares. What was not there
 * before is removed afterwards; locks that somebody else holds are left to him.
 */
#include <ostream>

#include "codecmap/lock_fight.h"

using namespace orka_test;

namespace {

const std::string path = "/var/tmp/sem-dm320-media";

class SystemMediaLock : public testing::Test {
  protected:
    void SetUp() override
    {
        existed_ = access(path.c_str(), F_OK) == 0;
        for (const MediaLocks &locks : all_media_locks) {
            if (locks.lock() != 0)
                GTEST_SKIP() << "somebody on this machine holds the " << locks.name << " lock";
            EXPECT_EQ(locks.unlock(), 0);
        }
    }

    void TearDown() override
    {
        if (existed_)
            return;
        for (int key : {'a', 'v', 'i'})
            remove_set(path, key);
        unlink(path.c_str());
    }

  private:
    bool existed_ = false;
};

TEST_F(SystemMediaLock, KeepsTwoProcessesApartAndIsKeptByTheDead)
{
    for (const MediaLocks &locks : all_media_locks) {
        expect_fair_fight(locks);
        expect_kept_by_the_dead(locks);
    }
    for (int key : {'a', 'v', 'i'})
        EXPECT_EQ(value_of(path, key), 1);
}

} // namespace
