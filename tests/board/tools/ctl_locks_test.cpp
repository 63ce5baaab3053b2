/* orka-ctl locks, on semaphores of the test's own, with locks that other processes take. */
#include <ostream>

#include "board/tools/ctl.h"
#include "codecmap/lock_fight.h"

namespace orka_tools_test {
namespace {

using orka_test::kill_after;
using orka_test::value_of;

class OrkaCtlLocks : public testing::Test {
  protected:
    OrkaCtlLocks() { setenv("ORKA_TEST_SEMAPHORES", file.path.c_str(), 1); }

    static Ending locks(const Words &options = {})
    {
        return run(Words{"env", "LD_PRELOAD=" ORKA_OWN_SEMAPHORES, ORKA_CTL_PROGRAM, "locks"} + options);
    }
    std::string values() const
    {
        std::string text;
        for (const int key : {'a', 'v', 'i'})
            text += std::to_string(value_of(file.path, key));
        return text;
    }

    orka_test::SemaphoreFile file;
};

TEST_F(OrkaCtlLocks, AreFreeWhereNobodyHasTakenAny)
{
    const Ending ending = locks();
    EXPECT_EQ(ending.status, 0) << ending.err;
    EXPECT_EQ(ending.out, "audio    free\nvideo    free\nimaging  free\n");
    EXPECT_EQ(ending.err, "");
}

TEST_F(OrkaCtlLocks, OfAKilledHolderAreHeld)
{
    kill_after([] { dm320_v_lock(); });
    EXPECT_EQ(locks().out, "audio    free\nvideo    held\nimaging  free\n");
}

TEST_F(OrkaCtlLocks, AreLeftAsTheyAreByLooking)
{
    kill_after([] { dm320_av_lock(); });
    locks();
    EXPECT_EQ(values(), "001");
}

TEST_F(OrkaCtlLocks, ThatAreBrokenCanBeTakenAgainByOneProcess)
{
    kill_after([] {
        dm320_av_lock();
        dm320_i_lock();
    });
    const Ending ending = locks({"--break"});
    EXPECT_EQ(ending.status, 0) << ending.err;
    EXPECT_EQ(ending.out, "audio    was held, is free now\nvideo    was held, is free now\n"
                          "imaging  was held, is free now\n");
    EXPECT_EQ(values(), "111");
    for (const orka_test::MediaLocks &lock : orka_test::all_media_locks) {
        EXPECT_EQ(lock.lock(), 0) << lock.name;
        EXPECT_NE(lock.lock(), 0) << lock.name;
        EXPECT_EQ(lock.unlock(), 0) << lock.name;
    }
}

TEST_F(OrkaCtlLocks, ThatAreFreeAreNotBroken)
{
    kill_after([] { dm320_i_lock(); });
    EXPECT_EQ(locks({"--break"}).out, "audio    free\nvideo    free\nimaging  was held, is free now\n");
    EXPECT_EQ(values(), "111");
}

TEST_F(OrkaCtlLocks, ThatAreFreeAreTakenForAMomentAsTheHelpSays)
{
    EXPECT_NE(help_of({"locks"}).find("each one that is free is taken for a moment"), std::string::npos);
}

TEST_F(OrkaCtlLocks, ThatFindNoRoomToBeToldOfAreAFailure)
{
    const Ending ending =
        run(Words{"env", "LD_PRELOAD=" ORKA_OWN_SEMAPHORES} + on_full_disk({ORKA_CTL_PROGRAM, "locks"}));
    EXPECT_EQ(ending.status, 1);
    EXPECT_EQ(ending.err, no_room);
    EXPECT_EQ(values(), "111");
}

TEST_F(OrkaCtlLocks, WhoseFileCannotBeMadeSayWhy)
{
    setenv("ORKA_TEST_SEMAPHORES", "/nowhere/file", 1);
    const Ending ending = locks();
    EXPECT_EQ(ending.status, 1);
    EXPECT_EQ(ending.out, "");
    EXPECT_EQ(ending.err,
              "orka-ctl: the audio lock cannot be asked: No such file or directory (it is a "
              "semaphore of /var/tmp/sem-dm320-media, which all users have to be able to write)\n");
}

} // namespace
} // namespace orka_tools_test
