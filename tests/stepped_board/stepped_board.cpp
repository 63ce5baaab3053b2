#include "stepped_board/stepped_board.h"

#include <algorithm>
#include <csignal>
#include <cstring>
#include <thread>

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include "server/devices.h"
#include "support/require.h"

namespace orka_test {

using namespace orka::board;
using namespace std::chrono_literals;

namespace {

constexpr uint32_t memory_bytes = 32 << 20;
constexpr uint32_t mebibyte = 1 << 20;

/* Among those that clients can come to. */
int open_descriptors()
{
    constexpr int most = 128;
    int count = 0;
    for (int fd = 0; fd < most; fd++)
        count += fcntl(fd, F_GETFD) >= 0;
    return count;
}

uint64_t running_threads()
{
    struct stat status {};
    stat("/proc/self/task", &status);
    return status.st_nlink;
}

/* Under a name that the kernel chooses, in no directory. */
int listen_somewhere()
{
    const sockaddr_un address{.sun_family = AF_UNIX};
    const int fd = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    require(bind(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address.sun_family) == 0 &&
                listen(fd, 64) == 0,
            "no socket");
    return fd;
}

} // namespace

OwnedFd::~OwnedFd()
{
    if (fd_ >= 0)
        close(fd_);
}

/* Clients. */

SteppedClient::SteppedClient(const Server &, int listener)
    : fd_(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK | SOCK_CLOEXEC, 0))
{
    sockaddr_un address{};
    socklen_t length = sizeof address;
    require(getsockname(listener, reinterpret_cast<sockaddr *>(&address), &length) == 0 &&
                ::connect(fd_, reinterpret_cast<const sockaddr *>(&address), length) == 0,
            "the board does not listen");
}

void SteppedClient::send(std::span<const uint8_t> packet) const
{
    ::send(fd_, packet.data(), packet.size(), MSG_NOSIGNAL);
}

void SteppedClient::send(protocol::request request, std::span<const uint8_t> payload) const
{
    std::vector<uint8_t> packet(sizeof request + payload.size());
    memcpy(packet.data(), &request, sizeof request);
    std::ranges::copy(payload, packet.begin() + sizeof request);
    send(packet);
}

void SteppedClient::hello() const
{
    send({.operation = static_cast<uint32_t>(protocol::operation::hello), .version = protocol::version}, {});
}

void SteppedClient::cancel() const
{
    send({.operation = static_cast<uint32_t>(protocol::operation::cancel)}, {});
}

std::optional<SteppedAnswer> SteppedClient::receive()
{
    SteppedAnswer answer;
    uint8_t payload[protocol::payload_limit];
    iovec parts[] = {{&answer.reply, sizeof answer.reply}, {payload, sizeof payload}};
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int))];
    msghdr message{
        .msg_iov = parts, .msg_iovlen = 2, .msg_control = control, .msg_controllen = sizeof control};

    const ssize_t got = recvmsg(fd_, &message, MSG_CMSG_CLOEXEC | MSG_DONTWAIT);
    if (got <= 0)
        return std::nullopt;
    require(static_cast<size_t>(got) == sizeof answer.reply + answer.reply.length,
            "a reply of another length");
    require(answer.reply.error == 0 || got == sizeof answer.reply, "an error with a record");
    require(answer.reply.error < 134, "an error that there is not");
    answer.out.assign(payload, payload + answer.reply.length);
    if (const cmsghdr *const rights = CMSG_FIRSTHDR(&message)) {
        int passed = -1;
        memcpy(&passed, CMSG_DATA(rights), sizeof passed);
        answer.passed = OwnedFd(passed);
        require(answer.reply.error == 0, "an error with a descriptor");
    }
    return answer;
}

/* The board. */

SteppedBoard::Leftovers::Leftovers() : descriptors_(open_descriptors()), threads_(running_threads()) {}

/* A thread that was joined is gone a moment later. */
SteppedBoard::Leftovers::~Leftovers()
{
    constexpr int patience = 10000;
    for (int i = 0; i < patience && running_threads() > threads_; i++)
        std::this_thread::sleep_for(1ms);
    require(running_threads() <= threads_, "a thread is left");
    require(open_descriptors() <= descriptors_, "a descriptor is left");
}

SteppedBoard::SteppedBoard(const Options &options)
    : options_(options), memory_(memory_bytes), machine_{.reactor = reactor_,
                                                         .memory = memory_,
                                                         .options = options_,
                                                         .log = [](const std::string &) {},
                                                         .dsp_image = {},
                                                         .capture = CaptureClock(options.real_time)},
      listener_(listen_somewhere())
{
    std::string why;

    signal(SIGPIPE, SIG_IGN); /* as in the board's process: a file is closed at any moment */
    camera_ = Camera::create("", why);
    microphone_ = Microphone::create("", why);
    machine_.camera = camera_.get();
    machine_.microphone = microphone_.get();
    /* Lines are made only for those who listen. */
    trace_.listen([](const std::string &line) { require(!line.empty(), "an empty line of trace"); });
    server_.emplace(machine_, listener_, &trace_);
    attach_devices(*server_, machine_);
}

void SteppedBoard::work()
{
    reactor_.post([this] { reactor_.stop(); });
    reactor_.run();
}

void SteppedBoard::rest(std::chrono::milliseconds time)
{
    reactor_.at(Clock::now() + time, [this] { reactor_.stop(); });
    reactor_.run();
}

bool SteppedBoard::is_in_queues(uint32_t address, uint32_t length)
{
    const RangeAllocator &queues = memory_.queues();
    return address >= queues.base() &&
           uint64_t{address} + length <= uint64_t{queues.base()} + queues.length();
}

/* Whoever hangs up is noticed at once, but a file lives until its requests are answered. */
void SteppedBoard::require_all_free()
{
    constexpr int rounds = 4;
    for (int round = 0; round < rounds; round++)
        work();
    require(memory_.queues().blocks().empty(), "a queue is left");
    require(!options_.reclaim || memory_.imem().blocks().empty(), "a block of IMEM is left");
}

/* The IMEM pool is the programs', the last page nobody's; whoever holds the board writes to queues alone. */
void SteppedBoard::require_nobody_elses_memory_touched() const
{
    const off_t first = lseek(memory_.fd(), mebibyte, SEEK_DATA);
    require(first < 0 || first >= static_cast<off_t>(memory_bytes / 8 * 3), "the IMEM pool was written to");
    require(lseek(memory_.fd(), memory_bytes - page_size, SEEK_DATA) < 0, "the last page was written to");
}

SteppedBoard::~SteppedBoard()
{
    require_all_free();
    require_nobody_elses_memory_touched();
}

} // namespace orka_test
