/*
 * A program for a board, told by its arguments what to do, one word after another. It uses system calls alone
 * and prints what came of each.
 */
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <unistd.h>

#include "wire/orka_nodes.h"

namespace {

using namespace orka;

int imanage = -1;
int memory = -1;

void say(const char *what, long result)
{
    printf("%s %s\n", what, result < 0 ? strerrorname_np(errno) : "ok");
    fflush(stdout);
}

long number_after(const char *word)
{
    const char *const colon = strchr(word, ':');
    return colon ? strtol(colon + 1, nullptr, 0) : 0;
}

bool is(const char *word, const char *name)
{
    const size_t length = strlen(name);
    return strncmp(word, name, length) == 0 && (word[length] == '\0' || word[length] == ':');
}

void allocate(long bytes)
{
    auto word = static_cast<uint32_t>(bytes);
    if (ioctl(imanage, wire::IMANAGE_ALLOC, &word) != 0)
        say("alloc", -1);
    else
        printf("alloc 0x%08x\n", word);
    fflush(stdout);
}

void release(long address)
{
    auto word = static_cast<uint32_t>(address);
    say("free", ioctl(imanage, wire::IMANAGE_FREE, &word));
}

void map(long address)
{
    void *const mapped = mmap(nullptr, 4096, PROT_READ | PROT_WRITE, MAP_SHARED, memory, address);
    say("map", mapped == MAP_FAILED ? -1 : 0);
    if (mapped != MAP_FAILED)
        *static_cast<volatile uint8_t *>(mapped) = 1;
}

void load(const char *word)
{
    say("load", ioctl(imanage, wire::IMANAGE_LOAD, strchr(word, ':') + 1));
}

void on_signal(int number)
{
    dprintf(STDOUT_FILENO, "signal %d\n", number);
    _exit(10 + number % 10);
}

/* Does nothing until a signal comes. */
void linger(long)
{
    for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGUSR1, SIGUSR2})
        signal(number, on_signal);
    dprintf(STDOUT_FILENO, "lingering\n");
    for (;;)
        pause();
}

/* Opens, allocates, starts a wait and closes, over and over until it is killed. */
void churn(long)
{
    for (;;) {
        const int node = open("/dev/vdecode", O_RDWR);
        wire::wait_record wait{.timeout = 1};
        uint32_t bytes = 4096;
        ioctl(imanage, wire::IMANAGE_ALLOC, &bytes);
        ioctl(node, wire::IDECODE_WAIT, &wait);
        ioctl(imanage, wire::IMANAGE_FREE, &bytes);
        close(node);
    }
}

void act(const char *word)
{
    if (is(word, "open"))
        say("open", imanage = open("/dev/imanage", O_RDWR));
    else if (is(word, "read-only"))
        say("read-only", imanage = open("/dev/imanage", O_RDONLY));
    else if (is(word, "mem"))
        say("mem", memory = open("/dev/mem", O_RDWR | O_SYNC));
    else if (is(word, "alloc"))
        allocate(number_after(word));
    else if (is(word, "free"))
        release(number_after(word));
    else if (is(word, "reset"))
        say("reset", ioctl(imanage, wire::IMANAGE_RESET, nullptr));
    else if (is(word, "load"))
        load(word);
    else if (is(word, "map"))
        map(number_after(word));
    else if (is(word, "odd"))
        say("odd", ioctl(imanage, 0x6B63, nullptr));
    else if (is(word, "linger"))
        linger(0);
    else if (is(word, "churn"))
        churn(0);
    else if (is(word, "die"))
        raise(static_cast<int>(number_after(word)));
    else if (is(word, "exit"))
        exit(static_cast<int>(number_after(word)));
    else
        exit(99);
}

} // namespace

int main(int argc, char **argv)
{
    for (int i = 1; i < argc; i++)
        act(argv[i]);
    return 0;
}
