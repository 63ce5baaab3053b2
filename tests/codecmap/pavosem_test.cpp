/* The stand-in for the platform's semaphores, on files of the tests' own. */
#include "pavosem.h"

#include <cerrno>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <vector>

#include "codecmap/semaphores.h"

using namespace orka_test;

namespace {

int fchmod_error = 0; /* what giving a file its rights fails with; 0 where it does not */

} // namespace

/* Comes before libc's for libpavosem.so. */
extern "C" int fchmod(int fd, mode_t mode) noexcept
{
    if (fchmod_error == 0)
        return static_cast<int>(syscall(SYS_fchmod, fd, mode));
    errno = fchmod_error;
    return -1;
}

namespace {

class Semaphore : public testing::Test {
  protected:
    int create(int key = 'a', int initial = 1) { return PavoSemCreate(file.path.c_str(), key, initial, &id); }

    mode_t mode_of_file() const
    {
        struct stat status = {};
        EXPECT_EQ(stat(file.path.c_str(), &status), 0);
        return status.st_mode & 07777;
    }

    SemaphoreFile file;
    int id = -99;
};

TEST_F(Semaphore, IsNewOnceAndThereAfterwards)
{
    EXPECT_EQ(create(), 0);
    const int first = id;
    EXPECT_GE(first, 0);
    id = -99;
    EXPECT_EQ(create(), 1);
    EXPECT_EQ(id, first);
}

TEST_F(Semaphore, HasItsInitialValueWhenItIsNew)
{
    for (int initial : {0, 1, 2, 32767}) {
        EXPECT_EQ(create(initial + 1 > 200 ? 'z' : 'a' + initial, initial), 0);
        EXPECT_EQ(semctl(id, 0, GETVAL), initial);
    }
}

TEST_F(Semaphore, KeepsItsValueWhenItIsThere)
{
    EXPECT_EQ(create('a', 1), 0);
    EXPECT_EQ(PavoSemDown(id, 0), 0);
    EXPECT_EQ(create('a', 1), 1);
    EXPECT_EQ(semctl(id, 0, GETVAL), 0);
}

TEST_F(Semaphore, IsOneForEachKey)
{
    EXPECT_EQ(create('a'), 0);
    const int audio = id;
    EXPECT_EQ(create('v'), 0);
    EXPECT_NE(id, audio);
    EXPECT_EQ(PavoSemDown(audio, 0), 0);
    EXPECT_EQ(semctl(id, 0, GETVAL), 1);
}

TEST_F(Semaphore, MakesItsFileForEverybodyWhateverIsMasked)
{
    const mode_t before = umask(0077);
    EXPECT_EQ(create(), 0);
    umask(before);
    EXPECT_EQ(mode_of_file(), 0666u);
    semid_ds state = {};
    ASSERT_EQ(semctl(id, 0, IPC_STAT, &state), 0);
    EXPECT_EQ(state.sem_perm.mode & 0777, 0666);
}

TEST_F(Semaphore, LeavesAFileThatIsThereAsItIs)
{
    EXPECT_EQ(create('a'), 0);
    ASSERT_EQ(chmod(file.path.c_str(), 0640), 0);
    EXPECT_EQ(create('b'), 0);
    EXPECT_EQ(mode_of_file(), 0640u);
}

TEST_F(Semaphore, WithoutAFolderForItsFileIsRefused)
{
    EXPECT_EQ(PavoSemCreate((file.folder + "/none/file").c_str(), 'a', 1, &id), -1);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(id, -99);
}

TEST_F(Semaphore, WithoutRightsForItsFileIsRefused)
{
    fchmod_error = EPERM;
    EXPECT_EQ(create(), -1);
    EXPECT_EQ(errno, EPERM);
    fchmod_error = 0;
    EXPECT_EQ(id, -99);
    EXPECT_EQ(find_set(file.path, 'a'), -1);
}

TEST_F(Semaphore, OfAFileThatLeadsNowhereIsRefused)
{
    ASSERT_EQ(symlink((file.folder + "/none").c_str(), file.path.c_str()), 0);
    EXPECT_EQ(create(), -1);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(id, -99);
}

TEST_F(Semaphore, WhoseSetIsSomebodyElsesIsRefused)
{
    EXPECT_EQ(create('x'), 0);
    ASSERT_GE(semget(ftok(file.path.c_str(), 'a'), 1, IPC_CREAT | 0666), 0);
    id = -99;
    EXPECT_EQ(create('a'), -1);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(id, -99);
}

TEST_F(Semaphore, ThatCannotHoldItsInitialValueIsRefused)
{
    EXPECT_EQ(create('x'), 0);
    const int full = semget(ftok(file.path.c_str(), 'a'), 2, IPC_CREAT | 0666);
    ASSERT_EQ(PavoSemSetValue(full, 32767), 0);
    id = -99;
    EXPECT_EQ(create('a'), -1);
    EXPECT_EQ(errno, ERANGE);
    EXPECT_EQ(id, -99);
}

TEST_F(Semaphore, OfArgumentsThatAreNoneIsRefused)
{
    EXPECT_EQ(PavoSemCreate(nullptr, 'a', 1, &id), -1);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(PavoSemCreate(file.path.c_str(), 'a', 1, nullptr), -1);
    EXPECT_EQ(create('a', -1), -1);
    EXPECT_EQ(create('a', 32768), -1);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(find_set(file.path, 'a'), -1);
}

TEST_F(Semaphore, IsTakenUntilItIsZeroAndThenFailsAtOnce)
{
    EXPECT_EQ(create('a', 2), 0);
    EXPECT_EQ(PavoSemDown(id, 0), 0);
    EXPECT_EQ(PavoSemDown(id, 0), 0);
    EXPECT_EQ(PavoSemDown(id, 0), -1);
    EXPECT_EQ(errno, EAGAIN);
}

TEST_F(Semaphore, IsNotWaitedFor)
{
    EXPECT_EQ(create(), 0);
    EXPECT_EQ(PavoSemDown(id, 1), -1);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(semctl(id, 0, GETVAL), 1);
}

TEST_F(Semaphore, IsSetToAValueRatherThanRaised)
{
    EXPECT_EQ(create(), 0);
    EXPECT_EQ(PavoSemSetValue(id, 1), 0);
    EXPECT_EQ(PavoSemSetValue(id, 1), 0);
    EXPECT_EQ(PavoSemDown(id, 0), 0);
    EXPECT_EQ(PavoSemDown(id, 0), -1);
    EXPECT_EQ(PavoSemSetValue(id, 1), 0);
    EXPECT_EQ(PavoSemDown(id, 0), 0);
}

TEST_F(Semaphore, ThatIsNoneIsNeitherTakenNorSet)
{
    EXPECT_EQ(PavoSemDown(-1, 0), -1);
    EXPECT_EQ(PavoSemSetValue(-1, 1), -1);
}

TEST_F(Semaphore, StaysTakenWhenItsHolderIsKilled)
{
    EXPECT_EQ(create(), 0);
    kill_after([this] { PavoSemDown(id, 0); });
    EXPECT_EQ(PavoSemDown(id, 0), -1);
    EXPECT_EQ(errno, EAGAIN);
    EXPECT_EQ(PavoSemSetValue(id, 1), 0);
    EXPECT_EQ(PavoSemDown(id, 0), 0);
}

/* A set that somebody made and had no time to fill before it was killed. */
TEST_F(Semaphore, ThatWasLeftUnfilledIsFilledByTheNext)
{
    EXPECT_EQ(create('x'), 0);
    const int unfilled = semget(ftok(file.path.c_str(), 'a'), 2, IPC_CREAT | 0666);
    ASSERT_GE(unfilled, 0);
    EXPECT_EQ(create('a'), 0);
    EXPECT_EQ(id, unfilled);
    EXPECT_EQ(PavoSemDown(id, 0), 0);
    EXPECT_EQ(create('a'), 1);
    EXPECT_EQ(PavoSemDown(id, 0), -1);
}

/* Each tells whether the semaphore was new to it, and whether it took it. */
int create_and_take(const std::string &path, Shared *shared)
{
    __atomic_sub_fetch(&shared->words[0], 1, __ATOMIC_SEQ_CST);
    while (__atomic_load_n(&shared->words[0], __ATOMIC_SEQ_CST) > 0)
        ;
    int id = -1;
    const int existed = PavoSemCreate(path.c_str(), 'a', 1, &id);
    if (existed < 0)
        return 8;
    return (existed == 0 ? 1 : 0) + (PavoSemDown(id, 0) == 0 ? 2 : 0);
}

TEST(SemaphoreRace, IsMadeByOneAndTakenByOneOfManyThatComeTogether)
{
    constexpr int many = 4;
    Shared *shared = Shared::make();
    ASSERT_NE(shared, nullptr);
    for (int round = 0; round < 20; round++) {
        SemaphoreFile file;
        shared->words[0] = many;
        std::vector<pid_t> children;
        for (int i = 0; i < many; i++)
            children.push_back(start_process([&] { return create_and_take(file.path, shared); }));
        int made = 0;
        int taken = 0;
        for (pid_t child : children) {
            const int told = end_of_process(child);
            ASSERT_TRUE(told >= 0 && told < 8);
            made += told & 1;
            taken += told >> 1;
        }
        EXPECT_EQ(made, 1);
        EXPECT_EQ(taken, 1);
        EXPECT_EQ(value_of(file.path, 'a'), 0);
    }
    Shared::drop(shared);
}

} // namespace
