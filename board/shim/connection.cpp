#include "shim/connection.h"

#include <atomic>
#include <fcntl.h>
#include <pthread.h>
#include <sys/resource.h>
#include <sys/socket.h>

#include "shim/start.h"

namespace orka::board::shim {

namespace {

enum lane_state : int { empty, idle, busy };

/*
 * One connection that waits for its next call. Who turns the state to busy owns the rest. A thread that ends
 * in the middle of its call leaves the lane busy for good, so nobody reads the reply that was meant for it.
 */
struct lane {
    std::atomic<int> state{empty};
    int fd = -1;
    identity socket{};
};

constexpr int lane_count = 64;
constinit lane lanes[lane_count];

/*
 * The lanes are this process's. Another one sees its own number differ: a child of vfork() or of a bare
 * clone().
 */
constinit std::atomic<int> owner{0};

/* A lane and what is in it, or a connection for one call alone. */
struct loan {
    lane *from;
    long process;
    int fd;
    identity socket;
};

lane *claim(int state)
{
    for (lane &candidate : lanes) {
        int expected = state;
        if (candidate.state.load(std::memory_order_relaxed) == state &&
            candidate.state.compare_exchange_strong(expected, busy, std::memory_order_acquire))
            return &candidate;
    }
    return nullptr;
}

/* Programs close numbers that they never opened, and open others there. */
bool still_open(int fd, const identity &socket)
{
    identity now;

    return fd >= 0 && identify(fd, "", now) == 0 && now == socket;
}

/* Far above the numbers that the program's own descriptors get. */
int move_high(int fd)
{
    constexpr uint64_t highest = 4096;
    constexpr uint64_t reserve = uint64_t{2} * lane_count;
    rlimit64 limit{};

    kernel(SYS_prlimit64, 0, RLIMIT_NOFILE, 0, &limit);
    const uint64_t end = limit.rlim_cur < highest ? limit.rlim_cur : highest;
    const long high = control_descriptor(fd, F_DUPFD_CLOEXEC,
                                         static_cast<int>(end > 2 * reserve ? end - reserve : end / 2));
    if (high < 0)
        return fd;
    kernel(SYS_close, fd);
    return static_cast<int>(high);
}

/* Makes the loan's socket, known to its lane at once so that a child closes it. */
long make_socket(loan &loan)
{
    const long low = kernel(SYS_socket, AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
    if (low < 0)
        return low;

    loan.fd = move_high(static_cast<int>(low));
    identify(loan.fd, "", loan.socket);
    if (loan.from != nullptr) {
        loan.from->socket = loan.socket;
        loan.from->fd = loan.fd;
    }
    return 0;
}

/* See receive_reply(): the limit's length does not matter. */
void limit_waiting(int fd)
{
    const long a_day[2] = {86400, 0};

    kernel(SYS_setsockopt, fd, SOL_SOCKET, SO_RCVTIMEO, &a_day[0], sizeof a_day);
}

long connect_server(int fd)
{
    long result = 0;
    do {
        result = server.length == 0 ? -ENODEV : kernel(SYS_connect, fd, &server.name, server.length);
    } while (result == -EINTR);
    return result < 0 ? -ENODEV : 0;
}

/* The board of this process, known from the first hello on. */
enum knowledge : int { unknown, learning, known };

constinit std::atomic<int> machine_state{unknown};
constinit protocol::machine machine{};
constinit uint32_t memory_size = 0;
constinit bool memory_is_cached = false;

bool same_machine(const protocol::machine &other)
{
    return other.memory_inode == machine.memory_inode && other.memory_major == machine.memory_major &&
           other.memory_minor == machine.memory_minor;
}

/* False for another board than before, which may have taken the path of one that is gone. */
bool recognise(const protocol::machine &told, const protocol::reply &reply)
{
    int expected = unknown;
    if (machine_state.compare_exchange_strong(expected, learning, std::memory_order_acquire)) {
        machine = told;
        memory_size = reply.memory;
        memory_is_cached = reply.result != 0;
        machine_state.store(known, std::memory_order_release);
        return true;
    }
    /* Learning: another thread's hello to the same board is just being noted. */
    return expected == learning || same_machine(told);
}

long say_hello(int fd)
{
    protocol::machine told{};
    exchange hello{.answer = &told, .room = sizeof told};
    hello.request.operation = static_cast<uint32_t>(protocol::operation::hello);
    hello.request.version = protocol::version;

    if (talk(fd, hello) < 0 || hello.reply.error != 0 || hello.reply.length != sizeof told)
        return -ENODEV;
    return recognise(told, hello.reply) ? 0 : -ENODEV;
}

/* The lane, if there is one, is empty afterwards. */
void hang_up(const loan &loan)
{
    if (still_open(loan.fd, loan.socket))
        kernel(SYS_close, loan.fd);
    if (loan.from != nullptr)
        loan.from->state.store(empty, std::memory_order_release);
}

void give_back(const loan &loan, bool usable)
{
    /* A child that a signal handler forked: the fork emptied its lanes. */
    if (kernel(SYS_getpid) != loan.process)
        return;
    if (usable && loan.from != nullptr)
        loan.from->state.store(idle, std::memory_order_release);
    else
        hang_up(loan);
}

long dial(loan &loan)
{
    long result = make_socket(loan);
    if (result == 0) {
        limit_waiting(loan.fd);
        result = connect_server(loan.fd);
    }
    if (result == 0)
        result = say_hello(loan.fd);
    if (result < 0)
        give_back(loan, false);
    return result;
}

long borrow(loan &loan)
{
    loan = {.from = nullptr, .process = kernel(SYS_getpid), .fd = -1, .socket = {}};
    if (loan.process == owner.load(std::memory_order_relaxed)) {
        loan.from = claim(idle);
        if (loan.from != nullptr && still_open(loan.from->fd, loan.from->socket)) {
            loan.fd = loan.from->fd;
            loan.socket = loan.from->socket;
            return 0;
        }
        if (loan.from == nullptr)
            loan.from = claim(empty);
    }
    return dial(loan);
}

/* In a forked child, before it runs: the parent's connections stay the parent's. */
void drop_lanes()
{
    for (lane &left : lanes) {
        if (left.state.load(std::memory_order_relaxed) != empty && still_open(left.fd, left.socket))
            kernel(SYS_close, left.fd);
        left.fd = -1;
        left.state.store(empty, std::memory_order_relaxed);
    }
    owner.store(static_cast<int>(kernel(SYS_getpid)), std::memory_order_relaxed);
}

} // namespace

void prepare_connections()
{
    owner.store(static_cast<int>(kernel(SYS_getpid)), std::memory_order_relaxed);
    pthread_atfork(nullptr, nullptr, drop_lanes);
}

void greet()
{
    loan loan;

    if (borrow(loan) == 0)
        give_back(loan, true);
}

long transact(exchange &what)
{
    loan loan;

    long result = borrow(loan);
    if (result == 0) {
        result = talk(loan.fd, what);
        give_back(loan, result != -ENODEV);
    }
    return result;
}

bool is_memory(const identity &file, uint64_t &size)
{
    if (machine_state.load(std::memory_order_acquire) != known)
        return false;
    size = memory_size;
    return file.inode == machine.memory_inode && file.major == machine.memory_major &&
           file.minor == machine.memory_minor;
}

bool has_cache()
{
    return machine_state.load(std::memory_order_acquire) == known && memory_is_cached;
}

} // namespace orka::board::shim
