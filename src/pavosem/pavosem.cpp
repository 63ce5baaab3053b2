#include "pavosem.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <sys/stat.h>
#include <unistd.h>

/*
 * A set of two: the semaphore itself, and a mark that says that it has its initial value. A new set is all
 * zeroes. The first value and the mark are set in one operation, which succeeds once in the life of a set: no
 * process can see a set that another has made and not filled, nor fill it twice, wherever one is killed.
 */
enum member : unsigned short { the_semaphore = 0, the_mark = 1, member_count = 2 };

static constexpr mode_t everybody = 0666;

/* The kernel's argument of semctl, which no header defines. */
union semaphore_argument {
    int value;
    semid_ds *state;
};

/* Makes the file where there is none; the rights that the process masks for new files are given all the same.
 */
static int make_file(const char *path)
{
    const int fd = open(path, O_RDONLY | O_CREAT | O_EXCL | O_CLOEXEC, everybody);

    if (fd < 0)
        return errno == EEXIST ? 0 : -1;

    const int result = fchmod(fd, everybody);
    const int saved_errno = errno;
    close(fd);
    errno = saved_errno;
    return result;
}

/* 0 when this call set the first value, 1 when another did before, -1 on failure. */
static int fill_once(int id, short initial)
{
    sembuf steps[] = {
        {.sem_num = the_mark, .sem_op = 0, .sem_flg = IPC_NOWAIT}, /* only while unmarked */
        {.sem_num = the_mark, .sem_op = 1, .sem_flg = 0},
        {.sem_num = the_semaphore, .sem_op = initial, .sem_flg = IPC_NOWAIT},
    };
    /* Adding 0 would be waiting for 0. */
    const size_t count = initial > 0 ? 3 : 2;

    if (semop(id, steps, count) == 0)
        return 0;
    return errno == EAGAIN ? 1 : -1;
}

int PavoSemCreate(const char *path, int key, int initial, int *id_out)
{
    constexpr int most = 32767; /* the kernel's limit */

    if (path == nullptr || id_out == nullptr || initial < 0 || initial > most) {
        errno = EINVAL;
        return -1;
    }
    if (make_file(path) != 0)
        return -1;
    const key_t name = ftok(path, key);
    if (name == -1)
        return -1;
    const int id = semget(name, member_count, IPC_CREAT | static_cast<int>(everybody));
    if (id < 0)
        return -1;
    const int existed = fill_once(id, static_cast<short>(initial));
    if (existed >= 0)
        *id_out = id;
    return existed;
}

int PavoSemDown(int id, int wait)
{
    if (wait != 0) {
        errno = EINVAL;
        return -1;
    }
    sembuf take = {.sem_num = the_semaphore, .sem_op = -1, .sem_flg = IPC_NOWAIT};
    return semop(id, &take, 1);
}

int PavoSemSetValue(int id, int value)
{
    return semctl(id, the_semaphore, SETVAL, semaphore_argument{.value = value});
}
