/* A semaphore file of a test's own, and processes that fight over what it names. */
#ifndef ORKA_TESTS_SEMAPHORES_H
#define ORKA_TESTS_SEMAPHORES_H

#include <csignal>
#include <cstdlib>
#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <sys/ipc.h>
#include <sys/mman.h>
#include <sys/sem.h>
#include <sys/wait.h>
#include <unistd.h>

namespace orka_test {

/* The set of a file and a key, or -1 where there is none. */
inline int find_set(const std::string &path, int key)
{
    const key_t name = ftok(path.c_str(), key);

    return name == -1 ? -1 : semget(name, 0, 0);
}

inline void remove_set(const std::string &path, int key)
{
    if (const int id = find_set(path, key); id >= 0)
        semctl(id, 0, IPC_RMID);
}

inline int value_of(const std::string &path, int key)
{
    return semctl(find_set(path, key), 0, GETVAL);
}

/* A folder for one file that does not exist yet. All that the test makes goes with it. */
class SemaphoreFile {
  public:
    SemaphoreFile()
    {
        char name[] = "/tmp/orka-test-sem-XXXXXX";
        folder = mkdtemp(name);
        path = folder + "/file";
    }

    ~SemaphoreFile()
    {
        for (int key = 'a'; key <= 'z'; key++)
            remove_set(path, key);
        unlink(path.c_str());
        rmdir(folder.c_str());
    }

    SemaphoreFile(const SemaphoreFile &) = delete;
    SemaphoreFile &operator=(const SemaphoreFile &) = delete;

    std::string folder;
    std::string path;
};

/* Words that a process and its children see alike. */
struct Shared {
    int words[8];

    static Shared *make()
    {
        void *memory =
            mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
        return memory == MAP_FAILED ? nullptr : static_cast<Shared *>(memory);
    }

    static void drop(Shared *shared) { munmap(shared, sizeof *shared); }
};

/* Runs the body in a child that ends with its result as status. */
inline pid_t start_process(const std::function<int()> &body)
{
    const pid_t child = fork();

    if (child == 0) {
        alarm(60);
        _exit(body());
    }
    return child;
}

/* The status that the child ended with; -1 where a signal ended it. */
inline int end_of_process(pid_t child)
{
    int status = 0;

    EXPECT_EQ(waitpid(child, &status, 0), child);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

/* Starts a process that does its work, says so, and is killed where it stands. */
inline void kill_after(const std::function<void()> &work)
{
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    const pid_t child = start_process([&] {
        work();
        if (write(ends[1], "x", 1) != 1)
            return 1;
        for (;;)
            pause();
    });
    char byte = 0;
    EXPECT_EQ(read(ends[0], &byte, 1), 1);
    kill(child, SIGKILL);
    EXPECT_EQ(end_of_process(child), -1);
    close(ends[0]);
    close(ends[1]);
}

} // namespace orka_test

#endif
