#include "server/private_board.h"

#include <cerrno>
#include <csignal>
#include <system_error>

#include <fcntl.h>
#include <poll.h>
#include <sys/epoll.h>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include "server/board.h"
#include "server/runtime_directory.h"
#include "view/view.h"

namespace orka::board {

namespace {

constexpr char ready = 'R';
constexpr int stop_patience_ms = 5000;

/* The terminal's signals, the program's pipes: none of them is the server's. */
void leave_the_launcher(int &listener, int &leash)
{
    setsid();
    signal(SIGPIPE, SIG_IGN);
    constexpr int first_own = STDERR_FILENO + 1;
    const int high_listener = fcntl(listener, F_DUPFD_CLOEXEC, first_own + 2);
    const int high_leash = fcntl(leash, F_DUPFD_CLOEXEC, first_own + 2);
    listener = dup3(high_listener, first_own, O_CLOEXEC);
    leash = dup3(high_leash, first_own + 1, O_CLOEXEC);
    close_range(first_own + 2, ~0u, 0);
    const int null = open("/dev/null", O_RDWR | O_CLOEXEC);
    dup2(null, STDIN_FILENO);
    dup2(null, STDOUT_FILENO);
    close(null);
}

/* The launcher says stop, or is gone. */
bool is_pulled(int leash)
{
    pollfd pulled{.fd = leash, .events = POLLIN | POLLRDHUP};
    return poll(&pulled, 1, 0) > 0;
}

/* The directory goes first: nothing that ends badly while the board is taken apart leaves it behind. */
int serve_on_leash(const BoardOptions &options, const std::string &directory, int listener, int leash)
{
    Board board(options, listener, [leash] { return is_pulled(leash); });
    const std::unique_ptr<View> view = view_of(board, options.view);
    board.reactor().watch(leash, EPOLLIN | EPOLLRDHUP, [&](uint32_t) { board.reactor().stop(); });
    if (send(leash, &ready, 1, MSG_NOSIGNAL) == 1)
        board.reactor().run();
    remove_runtime_directory(directory);
    const uint32_t clients = board.greeted_clients();
    send(leash, &clients, sizeof clients, MSG_NOSIGNAL);
    return 0;
}

[[noreturn]] void server_process(const BoardOptions &options, const std::string &directory, int listener,
                                 int leash)
{
    int status = 1;
    leave_the_launcher(listener, leash);
    try {
        status = serve_on_leash(options, directory, listener, leash);
    } catch (const StoppedAtStart &) {
        remove_runtime_directory(directory);
    } catch (const std::exception &error) {
        remove_runtime_directory(directory);
        say(error.what());
    }
    _exit(status);
}

bool receive_in_time(int fd, void *data, size_t length)
{
    pollfd waiting{.fd = fd, .events = POLLIN};
    int count = 0;
    do
        count = poll(&waiting, 1, stop_patience_ms);
    while (count < 0 && errno == EINTR);
    return count == 1 && recv(fd, data, length, 0) == static_cast<ssize_t>(length);
}

/* What the server says, unless a signal comes before. */
bool hears_ready(int leash, const sigset_t &ending)
{
    const int told = signalfd(-1, &ending, SFD_CLOEXEC);
    pollfd waiting[] = {{.fd = leash, .events = POLLIN}, {.fd = told, .events = POLLIN}};
    while (poll(waiting, 2, -1) < 0 && errno == EINTR)
        ;
    close(told);
    char answer = 0;
    return waiting[0].revents != 0 && recv(leash, &answer, 1, 0) == 1 && answer == ready;
}

} // namespace

PrivateBoard::PrivateBoard(const BoardOptions &options, const std::string &directory, const sigset_t &ending)
{
    int leash[2];
    const int listener = listen_at(socket_in(directory));

    if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, leash) != 0)
        throw std::system_error(errno, std::generic_category(), "socketpair");
    process_ = fork();
    if (process_ == 0) {
        close(leash[0]);
        server_process(options, directory, listener, leash[1]);
    }
    close(listener);
    close(leash[1]);
    leash_ = leash[0];
    if (process_ < 0)
        throw std::system_error(errno, std::generic_category(), "fork");
    running_ = hears_ready(leash_, ending);
}

PrivateBoard::~PrivateBoard()
{
    stop();
}

bool PrivateBoard::reap_dead()
{
    if (process_ <= 0 || waitpid(process_, nullptr, WNOHANG) != process_)
        return false;
    process_ = -1;
    close(leash_);
    return true;
}

std::optional<uint32_t> PrivateBoard::stop()
{
    uint32_t clients = 0;

    if (process_ <= 0)
        return std::nullopt;
    shutdown(leash_, SHUT_WR);
    const bool told = receive_in_time(leash_, &clients, sizeof clients);
    if (!told)
        kill(process_, SIGKILL);
    waitpid(process_, nullptr, 0);
    close(leash_);
    process_ = -1;
    return told ? std::optional(clients) : std::nullopt;
}

} // namespace orka::board
