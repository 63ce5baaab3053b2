/*
 * Does to device nodes what its arguments say, by libc alone, and prints one line for each: a tool to try the
 * board with, and the program that the board's tests run on every ABI.
 *
 * Each argument is one command, its words separated by blanks. A register (a letter) holds a descriptor.
 *
 *   open R FORM PATH FLAGS     FORM: open open64 openat openat64 __open_2 ...; FLAGS:
 * ro,rw,wo,nonblock,cloexec,... openin R DIRECTORY PATH    relative to another register's descriptor control
 * R NUMBER ARGUMENT  ARGUMENT: bytes in hex, null, bad, readonly, unterminated, edge (bytes up to the end of
 *                              a page that nothing follows) or =NAME; prints result and record
 *   extended R NUMBER ARGUMENT the same with the number's highest bit extended
 *   sync R OFFSET LENGTH       maps a page before it, too, and syncs the rest
 *   map R OFFSET LENGTH [ro]   peek R OFFSET LENGTH    poke R OFFSET TEXT
 *   stat FORM PATH [bad]       access FORM PATH MODE    attribute PATH NAME
 *   poll|select|epoll R        what is ready just now
 *   count N                    descriptors that are open from number N up
 *   dup A B  close R  closefrom N  number R  flags R  nonblock R  pipe A B  chdir PATH  limit N
 *   alarm MILLISECONDS plain|restart|fork   sleep MILLISECONDS; the handler of the last forks, and parent and
 * child, which goes first, both do the remaining commands child|clone|vfork COMMAND  runs one command in a
 * child of fork(), a bare clone or vfork() exec [LAUNCHER ...]        the remaining commands in a new image
 * of this program, which the launcher runs pass R                     the remaining commands in a process
 * that got R through a socket, and nothing else threads N COUNT R NUMBER   N threads, each with COUNT
 * requests that must come back changed as expected cancel R NUMBER ARGUMENT   a thread that is cancelled in
 * the middle of its request end                        by SIGKILL
 *
 * A call that succeeds and changes errno prints "errno changed".
 */
#define _GNU_SOURCE
#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <sched.h>
#include <signal.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/epoll.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/sysmacros.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <sys/xattr.h>
#include <unistd.h>

enum { record_limit = 512, page = 4096, untouched = 4000, word_limit = 8 };

static int registers[26];
static char **remaining; /* the commands after the current one */
static char *program;

extern int __open_2(const char *path, int flags);
extern int __open64_2(const char *path, int flags);
extern int __openat_2(int directory, const char *path, int flags);
extern int __openat64_2(int directory, const char *path, int flags);

static void fail(const char *what)
{
    fprintf(stderr, "device_probe: %s\n", what);
    exit(2);
}

static int *descriptor(const char *name)
{
    if (name == NULL || name[0] < 'a' || name[0] > 'z' || name[1] != '\0')
        fail("a register is one letter");
    return &registers[name[0] - 'a'];
}

/* Ends the line that tells of a call which began with errno `untouched`. */
static void report(long result)
{
    if (result == -1)
        printf("-1 %s\n", strerrorname_np(errno));
    else
        printf("%s%s\n", result == 0 ? "ok" : "", errno == untouched ? "" : " errno changed");
}

struct flag {
    const char *name;
    int value;
};

static int parse_flags(const char *text)
{
    static const struct flag flags[] = {
        {"ro", O_RDONLY},       {"wo", O_WRONLY},           {"rw", O_RDWR},      {"nonblock", O_NONBLOCK},
        {"cloexec", O_CLOEXEC}, {"sync", O_SYNC},           {"create", O_CREAT}, {"exclusive", O_EXCL},
        {"truncate", O_TRUNC},  {"directory", O_DIRECTORY}, {"path", O_PATH},
    };
    char copy[128];
    int value = 0;

    snprintf(copy, sizeof copy, "%s", text);
    for (char *state, *word = strtok_r(copy, ",", &state); word != NULL; word = strtok_r(NULL, ",", &state)) {
        size_t i = 0;
        while (i < sizeof flags / sizeof flags[0] && strcmp(flags[i].name, word) != 0)
            i++;
        if (i == sizeof flags / sizeof flags[0])
            fail("an unknown flag");
        value |= flags[i].value;
    }
    return value;
}

static int call_open(const char *form, const char *path, int flags)
{
    if (strcmp(form, "open") == 0)
        return open(path, flags, 0600);
    if (strcmp(form, "open64") == 0)
        return open64(path, flags, 0600);
    if (strcmp(form, "openat") == 0)
        return openat(AT_FDCWD, path, flags, 0600);
    if (strcmp(form, "openat64") == 0)
        return openat64(AT_FDCWD, path, flags, 0600);
    if (strcmp(form, "__open_2") == 0)
        return __open_2(path, flags);
    if (strcmp(form, "__open64_2") == 0)
        return __open64_2(path, flags);
    if (strcmp(form, "__openat_2") == 0)
        return __openat_2(AT_FDCWD, path, flags);
    if (strcmp(form, "__openat64_2") == 0)
        return __openat64_2(AT_FDCWD, path, flags);
    fail("an unknown form of open");
    return -1;
}

static const char *path_of(const char *word)
{
    if (strcmp(word, "null") == 0)
        return NULL;
    return strcmp(word, "bad") == 0 ? (const char *)(uintptr_t)(3 * page) : word;
}

static void command_open(char **words)
{
    const char *path = path_of(words[3]);
    const int flags = parse_flags(words[4]);

    *descriptor(words[1]) = call_open(words[2], path, flags);
    report(*descriptor(words[1]) < 0 ? -1 : 0);
}

static void command_openin(char **words)
{
    const int directory = *descriptor(words[2]);

    *descriptor(words[1]) = openat(directory, words[3], O_RDWR);
    report(*descriptor(words[1]) < 0 ? -1 : 0);
}

/* A page and, right behind it, nothing. */
static char *lonely_page(int protection)
{
    char *base = mmap(NULL, 2 * page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);

    if (base == MAP_FAILED)
        fail("no memory");
    munmap(base + page, page);
    mprotect(base, page, protection);
    return base;
}

static size_t parse_hex(const char *text, unsigned char *bytes)
{
    size_t count = 0;

    for (unsigned value; count < record_limit && sscanf(text, "%2x", &value) == 1; text += 2)
        bytes[count++] = (unsigned char)value;
    return count;
}

struct argument {
    void *pointer;
    size_t length; /* to be printed afterwards */
};

static struct argument parse_argument(const char *text, unsigned char *bytes)
{
    if (strcmp(text, "null") == 0)
        return (struct argument){NULL, 0};
    if (strcmp(text, "bad") == 0)
        return (struct argument){(void *)(uintptr_t)(3 * page), 0};
    if (strcmp(text, "readonly") == 0)
        return (struct argument){lonely_page(PROT_READ), 0};
    if (strcmp(text, "unterminated") == 0)
        return (struct argument){memset(bytes, 'u', record_limit), 0};
    if (strncmp(text, "edge:", 5) == 0) {
        const size_t length = parse_hex(text + 5, bytes);
        char *base = lonely_page(PROT_READ | PROT_WRITE);
        return (struct argument){memcpy(base + page - length, bytes, length), length};
    }
    if (text[0] == '=')
        return (struct argument){strcpy((char *)bytes, text + 1), 0};
    return (struct argument){bytes, parse_hex(text, bytes)};
}

static void control(int fd, unsigned long number, const char *text)
{
    static unsigned char bytes[record_limit];
    const struct argument argument = parse_argument(text, bytes);

    errno = untouched;
    const int result = ioctl(fd, number, argument.pointer);
    const int error = errno;
    if (result == -1)
        printf("-1 %s", strerrorname_np(error));
    else
        printf("%d%s", result, error == untouched ? "" : " errno changed");
    for (size_t i = 0; i < argument.length; i++)
        printf("%s%02x", i == 0 ? " " : "", ((unsigned char *)argument.pointer)[i]);
    printf("\n");
}

static void command_control(char **words)
{
    control(*descriptor(words[1]), strtoul(words[2], NULL, 16), words[3]);
}

static void command_extended(char **words)
{
    control(*descriptor(words[1]), (unsigned long)(long)(int32_t)strtoul(words[2], NULL, 16), words[3]);
}

static void command_map(char **words)
{
    const off_t offset = (off_t)strtoull(words[2], NULL, 0);
    const size_t length = strtoul(words[3], NULL, 0);
    const int protection = words[4] != NULL ? PROT_READ : PROT_READ | PROT_WRITE;

    void *base = mmap(NULL, length, protection, MAP_SHARED, *descriptor(words[1]), offset);
    report(base == MAP_FAILED ? -1 : 0);
    if (base != MAP_FAILED)
        munmap(base, length);
}

static void command_map64(char **words)
{
    const size_t length = strtoul(words[3], NULL, 0);

    void *base = mmap64(NULL, length, PROT_READ, MAP_SHARED, *descriptor(words[1]),
                        (off64_t)strtoull(words[2], NULL, 0));
    report(base == MAP_FAILED ? -1 : 0);
    if (base != MAP_FAILED)
        munmap(base, length);
}

static void command_sync(char **words)
{
    const off_t offset = (off_t)strtoull(words[2], NULL, 0) - page;
    const size_t length = strtoul(words[3], NULL, 0);
    char *base = mmap(NULL, length + page, PROT_READ, MAP_SHARED, *descriptor(words[1]), offset);

    if (base == MAP_FAILED)
        fail("cannot map");
    report(msync(base + page, length, MS_SYNC));
    munmap(base, length + page);
}

/* An address inside a mapping of one page of physical memory, which stays. */
static char *physical(const char *name, const char *text)
{
    const unsigned long address = strtoul(text, NULL, 0);
    char *base =
        mmap(NULL, page, PROT_READ | PROT_WRITE, MAP_SHARED, *descriptor(name), (off_t)(address & ~0xffful));

    if (base == MAP_FAILED)
        fail("cannot map");
    return base + (address & 0xfff);
}

static void command_poke(char **words)
{
    strcpy(physical(words[1], words[2]), words[3]);
    printf("ok\n");
}

static void command_peek(char **words)
{
    printf("%.*s\n", atoi(words[3]), physical(words[1], words[2]));
}

#ifndef __USE_TIME_BITS64
extern int __xstat(int version, const char *path, struct stat *record);
extern int __lxstat(int version, const char *path, struct stat *record);
extern int __fxstatat(int version, int directory, const char *path, struct stat *record, int flags);
#endif
extern int __xstat64(int version, const char *path, struct stat64 *record);
extern int __lxstat64(int version, const char *path, struct stat64 *record);
extern int __fxstatat64(int version, int directory, const char *path, struct stat64 *record, int flags);

struct look {
    unsigned mode;
    unsigned major;
    unsigned minor;
};

#define LOOK(record) ((struct look){(record)->st_mode, major((record)->st_rdev), minor((record)->st_rdev)})

enum { record_version = sizeof(long) == 8 ? 1 : 3 };

static int call_stat(const char *form, const char *path, struct stat *record)
{
    if (strcmp(form, "stat") == 0)
        return stat(path, record);
    if (strcmp(form, "lstat") == 0)
        return lstat(path, record);
    if (strcmp(form, "fstatat") == 0)
        return fstatat(AT_FDCWD, path, record, 0);
#ifndef __USE_TIME_BITS64
    if (strcmp(form, "__xstat") == 0)
        return __xstat(record_version, path, record);
    if (strcmp(form, "__lxstat") == 0)
        return __lxstat(record_version, path, record);
    if (strcmp(form, "__fxstatat") == 0)
        return __fxstatat(record_version, AT_FDCWD, path, record, 0);
#endif
    return -2;
}

static int call_stat64(const char *form, const char *path, struct stat64 *record)
{
    if (strcmp(form, "stat64") == 0)
        return stat64(path, record);
    if (strcmp(form, "lstat64") == 0)
        return lstat64(path, record);
    if (strcmp(form, "fstatat64") == 0)
        return fstatat64(AT_FDCWD, path, record, 0);
    if (strcmp(form, "__xstat64") == 0)
        return __xstat64(record_version, path, record);
    if (strcmp(form, "__lxstat64") == 0)
        return __lxstat64(record_version, path, record);
    if (strcmp(form, "__fxstatat64") == 0)
        return __fxstatat64(record_version, AT_FDCWD, path, record, 0);
    fail("an unknown form of stat");
    return -1;
}

static int take_look(const char *form, const char *path, struct look *look)
{
    struct stat status;
    struct stat64 status64;
    struct statx extended;
    int result = 0;

    if (strcmp(form, "statx") == 0) {
        result = statx(AT_FDCWD, path, 0, STATX_BASIC_STATS, &extended);
        *look = (struct look){extended.stx_mode, extended.stx_rdev_major, extended.stx_rdev_minor};
        return result;
    }
    result = call_stat(form, path, &status);
    *look = LOOK(&status);
    if (result != -2)
        return result;
    result = call_stat64(form, path, &status64);
    *look = LOOK(&status64);
    return result;
}

static void command_stat(char **words)
{
    struct look look = {0, 0, 0};

    if (words[3] != NULL) {
        report(call_stat(words[1], path_of(words[2]), (struct stat *)(uintptr_t)(3 * page)));
        return;
    }
    const int result = take_look(words[1], path_of(words[2]), &look);
    if (result == 0 && errno == untouched)
        printf("%06o %u:%u\n", look.mode, look.major, look.minor);
    else
        report(result);
}

static void command_access(char **words)
{
    const char *form = words[1];
    const char *path = path_of(words[2]);
    const int mode = atoi(words[3]);

    if (strcmp(form, "access") == 0)
        report(access(path, mode));
    else if (strcmp(form, "eaccess") == 0)
        report(eaccess(path, mode));
    else if (strcmp(form, "euidaccess") == 0)
        report(euidaccess(path, mode));
    else
        report(faccessat(AT_FDCWD, path, mode, 0));
}

static void command_attribute(char **words)
{
    char value[16];

    report(getxattr(words[1], words[2], value, sizeof value));
}

static void command_poll(char **words)
{
    struct pollfd entry = {*descriptor(words[1]), POLLIN | POLLPRI | POLLRDHUP, 0};

    if (poll(&entry, 1, 0) == 0)
        printf("nothing\n");
    else
        printf("%s%s%s\n", entry.revents & POLLIN ? "in" : "", entry.revents & POLLHUP ? "hup" : "",
               entry.revents & (POLLERR | POLLNVAL) ? "error" : "");
}

static void command_select(char **words)
{
    struct timeval none = {0, 0};
    fd_set set;

    FD_ZERO(&set);
    FD_SET(*descriptor(words[1]), &set);
    printf("%s\n", select(*descriptor(words[1]) + 1, &set, NULL, NULL, &none) > 0 ? "in" : "nothing");
}

/* Level-triggered, then twice edge-triggered: the second of these has no edge to tell of. */
static void command_epoll(char **words)
{
    static const uint32_t modes[] = {EPOLLIN, EPOLLIN | EPOLLET};

    for (size_t i = 0; i < 2; i++) {
        struct epoll_event event = {.events = modes[i]};
        const int set = epoll_create1(EPOLL_CLOEXEC);
        epoll_ctl(set, EPOLL_CTL_ADD, *descriptor(words[1]), &event);
        for (size_t turn = 0; turn < 2; turn++) {
            const int count = epoll_wait(set, &event, 1, 0);
            printf("%s%s%s ", count == 0 ? "nothing" : "", count > 0 && event.events & EPOLLIN ? "in" : "",
                   count > 0 && event.events & EPOLLHUP ? "hup" : "");
        }
        close(set);
    }
    printf("\n");
}

static void command_dup(char **words)
{
    *descriptor(words[2]) = dup(*descriptor(words[1]));
    report(*descriptor(words[2]) < 0 ? -1 : 0);
}

static void command_close(char **words)
{
    report(close(*descriptor(words[1])));
}

static void command_closefrom(char **words)
{
    closefrom(atoi(words[1]));
    printf("ok\n");
}

static void command_count(char **words)
{
    enum { highest = 8192 };
    int count = 0;

    for (int fd = atoi(words[1]); fd < highest; fd++)
        count += fcntl(fd, F_GETFD) >= 0;
    printf("%d\n", count);
}

static void command_number(char **words)
{
    printf("%d\n", *descriptor(words[1]));
}

static void command_flags(char **words)
{
    const int fd = *descriptor(words[1]);
    const int status = fcntl(fd, F_GETFL);

    printf("%s%s\n", status & O_NONBLOCK ? "nonblock" : "block",
           fcntl(fd, F_GETFD) & FD_CLOEXEC ? " cloexec" : "");
}

static void command_nonblock(char **words)
{
    report(fcntl(*descriptor(words[1]), F_SETFL, O_NONBLOCK));
}

static void command_pipe(char **words)
{
    int ends[2];

    if (pipe(ends) != 0 || fcntl(ends[0], F_SETPIPE_SZ, page) < 0)
        fail("no pipe");
    *descriptor(words[1]) = ends[0];
    *descriptor(words[2]) = ends[1];
    printf("ok\n");
}

static void command_chdir(char **words)
{
    report(chdir(words[1]));
}

static void command_limit(char **words)
{
    const struct rlimit limit = {strtoul(words[1], NULL, 0), strtoul(words[1], NULL, 0)};

    report(setrlimit(RLIMIT_NOFILE, &limit));
}

static void ignore_alarm(int number)
{
    (void)number;
}

static void fork_in_handler(int number)
{
    const pid_t child = fork();

    (void)number;
    if (child > 0)
        waitpid(child, NULL, 0);
}

static void command_alarm(char **words)
{
    const long milliseconds = atol(words[1]);
    const struct sigaction action = {.sa_handler =
                                         strcmp(words[2], "fork") == 0 ? fork_in_handler : ignore_alarm,
                                     .sa_flags = strcmp(words[2], "restart") == 0 ? SA_RESTART : 0};
    const struct itimerval timer = {.it_value = {milliseconds / 1000, milliseconds % 1000 * 1000}};

    sigaction(SIGALRM, &action, NULL);
    report(setitimer(ITIMER_REAL, &timer, NULL));
}

static void command_sleep(char **words)
{
    usleep((useconds_t)atol(words[1]) * 1000);
    printf("ok\n");
}

static void run(const char *text);

static void await(pid_t child)
{
    int status = 0;

    waitpid(child, &status, 0);
    if (status != 0)
        printf("child ended with %#x\n", (unsigned)status);
}

/* The words after the first one, as the command that they were. */
static void run_words(char **words)
{
    char text[2 * record_limit] = "";

    for (size_t i = 1; words[i] != NULL; i++) {
        strcat(text, words[i]);
        strcat(text, " ");
    }
    run(text);
    fflush(stdout);
}

static void command_child(char **words)
{
    const pid_t child = fork();

    if (child == 0) {
        run_words(words);
        _exit(0);
    }
    await(child);
}

/* A child that libc knows nothing of. */
static void command_clone(char **words)
{
    const pid_t child = (pid_t)syscall(SYS_clone, (long)SIGCHLD, 0L, 0L, 0L, 0L);

    if (child == 0) {
        run_words(words);
        _exit(0);
    }
    await(child);
}

static void command_vfork(char **words)
{
    char *const *const kept = words;
    const pid_t child = vfork();

    if (child == 0) {
        run_words((char **)kept);
        _exit(0);
    }
    await(child);
}

static void command_exec(char **words)
{
    char settings[26][16];
    char *arguments[128];
    size_t count = 0;

    for (size_t i = 1; words[i] != NULL; i++)
        arguments[count++] = words[i];
    arguments[count++] = program;
    for (size_t i = 0; i < 26; i++) {
        snprintf(settings[i], sizeof settings[i], "set %c %d", (char)('a' + i), registers[i]);
        arguments[count++] = settings[i];
    }
    for (size_t i = 0; remaining[i] != NULL && count < 127; i++)
        arguments[count++] = remaining[i];
    arguments[count] = NULL;
    execvp(arguments[0], arguments);
    fail("cannot execute");
}

static void command_set(char **words)
{
    *descriptor(words[1]) = atoi(words[2]);
}

static void send_descriptor(int through, int fd)
{
    char byte = 0;
    struct iovec part = {&byte, 1};
    union {
        struct cmsghdr header;
        char bytes[CMSG_SPACE(sizeof(int))];
    } control;
    struct msghdr message = {
        .msg_iov = &part, .msg_iovlen = 1, .msg_control = &control, .msg_controllen = sizeof control};

    memset(&control, 0, sizeof control);
    control.header.cmsg_level = SOL_SOCKET;
    control.header.cmsg_type = SCM_RIGHTS;
    control.header.cmsg_len = CMSG_LEN(sizeof(int));
    memcpy(CMSG_DATA(&control.header), &fd, sizeof fd);
    if (sendmsg(through, &message, 0) != 1)
        fail("cannot send a descriptor");
}

static int receive_descriptor(int through)
{
    char byte;
    struct iovec part = {&byte, 1};
    union {
        struct cmsghdr header;
        char bytes[CMSG_SPACE(sizeof(int))];
    } control;
    struct msghdr message = {
        .msg_iov = &part, .msg_iovlen = 1, .msg_control = &control, .msg_controllen = sizeof control};
    int fd = -1;

    if (recvmsg(through, &message, 0) != 1 || message.msg_controllen == 0)
        fail("cannot receive a descriptor");
    memcpy(&fd, CMSG_DATA(&control.header), sizeof fd);
    return fd;
}

static void command_pass(char **words)
{
    int ends[2];

    if (socketpair(AF_UNIX, SOCK_STREAM, 0, ends) != 0)
        fail("no socket pair");
    const pid_t child = fork();
    if (child == 0) {
        close(*descriptor(words[1]));
        *descriptor(words[1]) = receive_descriptor(ends[1]);
        return;
    }
    send_descriptor(ends[0], *descriptor(words[1]));
    close(*descriptor(words[1]));
    await(child);
    exit(0);
}

struct worker {
    pthread_t thread;
    int fd;
    unsigned long number;
    int count;
    int index;
    int wrong;
};

/* The other side answers each byte of the record with its successor. */
static void *work(void *argument)
{
    struct worker *worker = argument;

    for (int turn = 0; turn < worker->count; turn++) {
        unsigned char record[16];
        memset(record, worker->index * 7 + turn, sizeof record);
        const unsigned char expected = (unsigned char)(record[0] + 1);
        const int result = ioctl(worker->fd, worker->number, record);
        for (size_t i = 0; i < sizeof record; i++)
            worker->wrong += result != 0 || record[i] != expected;
    }
    return NULL;
}

static void command_threads(char **words)
{
    static struct worker workers[64];
    const int count = atoi(words[1]);
    int wrong = 0;

    for (int i = 0; i < count; i++) {
        workers[i] = (struct worker){.fd = *descriptor(words[3]),
                                     .number = strtoul(words[4], NULL, 16),
                                     .count = atoi(words[2]),
                                     .index = i};
        pthread_create(&workers[i].thread, NULL, work, &workers[i]);
    }
    for (int i = 0; i < count; i++) {
        pthread_join(workers[i].thread, NULL);
        wrong += workers[i].wrong;
    }
    printf("%d wrong\n", wrong);
}

static char **doomed_words;

static void *be_cancelled(void *argument)
{
    pthread_setcanceltype(PTHREAD_CANCEL_ASYNCHRONOUS, NULL);
    command_control(doomed_words);
    return argument;
}

static void command_cancel(char **words)
{
    pthread_t thread;
    void *result = NULL;

    doomed_words = words;
    pthread_create(&thread, NULL, be_cancelled, NULL);
    usleep(100 * 1000);
    pthread_cancel(thread);
    pthread_join(thread, &result);
    printf("%s\n", result == PTHREAD_CANCELED ? "cancelled" : "ended");
}

static void command_end(char **words)
{
    (void)words;
    fflush(stdout);
    kill(getpid(), SIGKILL);
}

struct command {
    const char *name;
    size_t arguments; /* at least */
    void (*run)(char **words);
};

static const struct command commands[] = {
    {"open", 4, command_open},         {"openin", 3, command_openin}, {"control", 3, command_control},
    {"extended", 3, command_extended}, {"map", 3, command_map},       {"map64", 3, command_map64},
    {"sync", 3, command_sync},         {"poke", 3, command_poke},     {"peek", 3, command_peek},
    {"stat", 2, command_stat},         {"access", 3, command_access}, {"attribute", 2, command_attribute},
    {"poll", 1, command_poll},         {"select", 1, command_select}, {"epoll", 1, command_epoll},
    {"dup", 2, command_dup},           {"close", 1, command_close},   {"closefrom", 1, command_closefrom},
    {"count", 1, command_count},       {"number", 1, command_number}, {"flags", 1, command_flags},
    {"nonblock", 1, command_nonblock}, {"pipe", 2, command_pipe},     {"chdir", 1, command_chdir},
    {"limit", 1, command_limit},       {"alarm", 2, command_alarm},   {"sleep", 1, command_sleep},
    {"child", 1, command_child},       {"clone", 1, command_clone},   {"vfork", 1, command_vfork},
    {"exec", 0, command_exec},         {"set", 2, command_set},       {"pass", 1, command_pass},
    {"threads", 4, command_threads},   {"cancel", 3, command_cancel}, {"end", 0, command_end},
};

static void run(const char *text)
{
    char copy[2 * record_limit];
    char *words[word_limit + 1] = {NULL};
    size_t count = 0;

    snprintf(copy, sizeof copy, "%s", text);
    for (char *state, *word = strtok_r(copy, " ", &state); word != NULL && count < word_limit;
         word = strtok_r(NULL, " ", &state))
        words[count++] = word;
    for (size_t i = 0; i < sizeof commands / sizeof commands[0]; i++) {
        if (count > commands[i].arguments && strcmp(commands[i].name, words[0]) == 0) {
            errno = untouched;
            commands[i].run(words);
            fflush(stdout);
            return;
        }
    }
    fail(text);
}

int main(int count, char **arguments)
{
    (void)count;
    program = arguments[0];
    for (size_t i = 0; i < 26; i++)
        registers[i] = -1;
    for (remaining = arguments + 1; *remaining != NULL;) {
        const char *text = *remaining++;
        run(text);
    }
    return 0;
}
