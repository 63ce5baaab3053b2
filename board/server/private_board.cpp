#include "server/private_board.h"

#include <cerrno>
#include <csignal>
#include <system_error>

#include <fcntl.h>
#include <poll.h>
#include <sys/epoll.h>
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

/* The directory goes first: nothing that ends badly while the board is taken apart leaves it behind. */
int serve_on_leash(const BoardOptions &options, const std::string &directory, int listener, int leash)
{
    Board board(options, listener);
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

} // namespace

PrivateBoard::PrivateBoard(const BoardOptions &options, const std::string &directory)
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
    char answer = 0;
    running_ = recv(leash_, &answer, 1, 0) == 1 && answer == ready;
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
