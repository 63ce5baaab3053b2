#include "server/launcher.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <iostream>
#include <optional>
#include <stdexcept>
#include <system_error>

#include <fcntl.h>
#include <sys/epoll.h>
#include <sys/prctl.h>
#include <sys/signalfd.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include "protocol/protocol.h"
#include "server/board.h"
#include "server/board_client.h"
#include "server/private_board.h"
#include "server/program.h"
#include "server/runtime_directory.h"
#include "view/view.h"

namespace orka::board {

namespace {

constexpr int not_found = 127;
constexpr int not_executable = 126;
constexpr int killed = 128;

constexpr int forwarded_signals[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGUSR1, SIGUSR2};
constexpr int ending_signals[] = {SIGINT, SIGTERM, SIGHUP};

class RuntimeDirectory {
  public:
    RuntimeDirectory() : path_(make_runtime_directory()) {}
    ~RuntimeDirectory() { remove_runtime_directory(path_); }
    RuntimeDirectory(const RuntimeDirectory &) = delete;
    RuntimeDirectory &operator=(const RuntimeDirectory &) = delete;
    const std::string &path() const { return path_; }

  private:
    std::string path_;
};

sigset_t set_of(std::span<const int> signals)
{
    sigset_t set;
    sigemptyset(&set);
    for (const int one : signals)
        sigaddset(&set, one);
    return set;
}

/* The ending signals that whoever started this does not have ignored. */
sigset_t heeded_signals()
{
    sigset_t set;
    sigemptyset(&set);
    for (const int one : ending_signals) {
        struct sigaction now {};
        sigaction(one, nullptr, &now);
        if (now.sa_handler != SIG_IGN)
            sigaddset(&set, one);
    }
    return set;
}

/* An ending signal among these that has come and is blocked; 0 where none has. */
int pending_of(const sigset_t &signals)
{
    sigset_t pending;
    sigpending(&pending);
    for (const int one : ending_signals) {
        if (sigismember(&signals, one) == 1 && sigismember(&pending, one) == 1)
            return one;
    }
    return 0;
}

std::string with_those_preloaded(const std::string &preload)
{
    const char *const others = getenv("LD_PRELOAD");
    return others && *others ? preload + ":" + others : preload;
}

std::vector<std::string> find_shims(const std::string &directory, const Command &command)
{
    std::vector<std::string> triples = link_shims(directory, command.shims);
    if (triples.empty())
        say("no shim found: programs will not see the board; --shims DIR names the place of "
            "lib/<triple>/liborka-board-shim.so");
    return triples;
}

/* Between fork and exec. */
[[noreturn]] void become(const Invocation &invocation, const std::string &path, const sigset_t &mask,
                         pid_t launcher, int report)
{
    std::vector<char *> words;
    for (const std::string &word : invocation.words)
        words.push_back(const_cast<char *>(word.c_str()));
    words.push_back(nullptr);
    /* A launcher that is killed takes its program with it: the board is gone for both. */
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != launcher)
        _exit(board_failure);
    sigprocmask(SIG_SETMASK, &mask, nullptr);
    execv(path.c_str(), words.data());
    const int error = errno;
    [[maybe_unused]] const ssize_t put = write(report, &error, sizeof error);
    _exit(not_executable);
}

/* The program's process, or the error number of what kept it from starting. */
pid_t start_program(const Invocation &invocation, const std::string &path, const sigset_t &mask, int &error)
{
    int report[2];
    const pid_t launcher = getpid();

    if (pipe2(report, O_CLOEXEC) != 0)
        throw std::system_error(errno, std::generic_category(), "pipe2");
    const pid_t process = fork();
    if (process == 0)
        become(invocation, path, mask, launcher, report[1]);
    close(report[1]);
    error = process < 0 ? errno : 0;
    if (process > 0 && read(report[0], &error, sizeof error) == sizeof error)
        waitpid(process, nullptr, 0);
    close(report[0]);
    return process;
}

int status_of(int wait_status)
{
    return WIFSIGNALED(wait_status) ? killed + WTERMSIG(wait_status) : WEXITSTATUS(wait_status);
}

/* The exit status once the program has ended. */
std::optional<int> reap(pid_t program, PrivateBoard *board)
{
    int status = 0;
    if (board && board->reap_dead())
        say("the board's server has died; its devices are gone");
    if (waitpid(program, &status, WNOHANG) != program)
        return std::nullopt;
    return status_of(status);
}

/* A key of the terminal reaches the program by itself; what was sent to the launcher alone is handed on. */
int wait_for_program(pid_t program, PrivateBoard *board, const sigset_t &signals)
{
    for (;;) {
        siginfo_t info{};
        const int number = sigwaitinfo(&signals, &info);
        if (number == SIGCHLD) {
            if (const std::optional<int> status = reap(program, board))
                return *status;
        } else if (number > 0 && info.si_code != SI_KERNEL) {
            kill(program, number);
        }
    }
}

struct Preparation {
    Program program;
    Invocation invocation;
    std::vector<std::string> shim_triples;
};

/* The exit status where the program cannot be run, else nothing. */
std::optional<int> prepare(const Command &command, const std::string &directory, const std::string &socket,
                           Preparation &prepared)
{
    std::string why;
    const std::string preload = with_those_preloaded(preload_in(directory));

    prepared.shim_triples = find_shims(directory, command);
    prepared.invocation = invocation_of(prepared.program, command.program, preload, why);
    if (prepared.invocation.words.empty()) {
        say(why);
        return not_executable;
    }
    setenv(protocol::socket_variable, socket.c_str(), 1);
    if (prepared.invocation.emulated)
        say(prepared.program.path + " is an ARM program: running it with " +
            prepared.invocation.words.front());
    else
        setenv("LD_PRELOAD", preload.c_str(), 1);
    return std::nullopt;
}

int run_prepared(const Preparation &prepared, PrivateBoard *board, const sigset_t &mask,
                 const sigset_t &signals)
{
    int error = 0;
    const Invocation &invocation = prepared.invocation;
    const std::string &path = invocation.emulated ? invocation.words.front() : prepared.program.path;
    const pid_t process = start_program(invocation, path, mask, error);
    if (error == 0)
        return wait_for_program(process, board, signals);
    say(prepared.program.path + ": " + strerror(error) +
        (error == ENOENT ? " (its loader or interpreter is not installed)" : ""));
    return error == ENOENT ? not_found : not_executable;
}

sigset_t awaited_signals()
{
    sigset_t set = set_of(forwarded_signals);
    sigaddset(&set, SIGCHLD);
    return set;
}

/* Programs may go to other folders; but not every path from the root on fits a socket's address. */
std::string absolute_path(const std::string &path)
{
    const std::string whole = std::filesystem::absolute(path).string();
    return whole.size() < sizeof sockaddr_un::sun_path ? whole : path;
}

int run_on_board(const Command &command, const Program &program)
{
    const bool joins = !command.socket.empty();
    const sigset_t signals = awaited_signals();
    Preparation prepared{.program = program};
    sigset_t mask;

    if (joins)
        const BoardClient answering(command.socket);
    sigprocmask(SIG_BLOCK, &signals, &mask);
    const RuntimeDirectory directory;
    const std::string socket = joins ? absolute_path(command.socket) : socket_in(directory.path());
    std::optional<PrivateBoard> board;
    if (const auto status = prepare(command, directory.path(), socket, prepared))
        return *status;
    signal(SIGCHLD, SIG_DFL); /* an inherited SIG_IGN would reap the program unseen */
    if (!joins) {
        const sigset_t ending = heeded_signals();
        const bool running = board.emplace(command.board, directory.path(), ending).running();
        if (const int number = pending_of(ending); number != 0)
            return killed + number;
        if (!running)
            return board_failure;
    }
    const int status = run_prepared(prepared, board ? &*board : nullptr, mask, signals);
    if (board && board->stop() == 0u)
        say(why_not_connected(program, prepared.shim_triples));
    return status;
}

int with_errors_said(const std::function<int()> &action)
{
    try {
        return action();
    } catch (const std::exception &error) {
        say(error.what());
        return board_failure;
    }
}

std::string quoted_for_a_shell(const std::string &text)
{
    std::string quoted = "'";
    for (const char c : text)
        quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return quoted + "'";
}

void print_environment(const std::string &socket, const std::string &directory)
{
    std::cout << "export " << protocol::socket_variable << "=" << quoted_for_a_shell(socket) << "\n"
              << "export LD_PRELOAD=" << quoted_for_a_shell(preload_in(directory))
              << "${LD_PRELOAD:+:$LD_PRELOAD}\n"
              << std::flush;
}

/* Until one of the ending signals, which are blocked, has come. */
void serve_at(int listener, const std::string &socket, const std::string &directory,
              const BoardOptions &options)
{
    const sigset_t signals = set_of(ending_signals);
    Board board(options, listener, [&signals] { return pending_of(signals) != 0; });
    const std::unique_ptr<View> view = view_of(board, options.view);
    const int told = signalfd(-1, &signals, SFD_CLOEXEC);
    board.reactor().watch(told, EPOLLIN, [&](uint32_t) { board.reactor().stop(); });
    print_environment(socket, directory);
    board.reactor().run();
    close(told);
}

int serve_until_told(const Command &command)
{
    const sigset_t signals = set_of(ending_signals);
    sigprocmask(SIG_BLOCK, &signals, nullptr);
    signal(SIGPIPE, SIG_IGN);
    const RuntimeDirectory directory;
    const std::string socket =
        command.socket.empty() ? socket_in(directory.path()) : absolute_path(command.socket);

    find_shims(directory.path(), command);
    const int listener = listen_at(socket);
    try {
        serve_at(listener, socket, directory.path(), command.board);
    } catch (const StoppedAtStart &) {
        /* As at any other time. */
    } catch (...) {
        unlink(socket.c_str());
        throw;
    }
    unlink(socket.c_str());
    return 0;
}

} // namespace

int run_program(const Command &command)
{
    int error = 0;
    const Program program = find_program(command.program.front(), error);

    if (error != 0) {
        say(command.program.front() + ": " + (error == ENOENT ? "not found" : strerror(error)));
        return error == ENOENT ? not_found : not_executable;
    }
    return with_errors_said([&] { return run_on_board(command, program); });
}

int serve_board(const Command &command)
{
    return with_errors_said([&] { return serve_until_told(command); });
}

} // namespace orka::board
