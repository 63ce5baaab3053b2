/* A board in a process of its own, for one program and what that starts. */
#ifndef ORKA_BOARD_SERVER_PRIVATE_BOARD_H
#define ORKA_BOARD_SERVER_PRIVATE_BOARD_H

#include <csignal>
#include <optional>
#include <string>

#include <sys/types.h>

#include "server/options.h"

namespace orka::board {

/*
 * The server's process ends when stop() says so or when this process is gone, however it went: it holds one
 * end of a socket pair whose other end nobody else has. It removes the directory.
 */
class PrivateBoard {
  public:
    /* Listens in directory and returns when programs can connect, or when one of the ending signals, which
       are blocked, is pending before. Throws std::system_error; false from running() after such a signal, or
       where the server has said itself why there is none. The caller must be single-threaded. */
    PrivateBoard(const BoardOptions &options, const std::string &directory, const sigset_t &ending);
    ~PrivateBoard();
    PrivateBoard(const PrivateBoard &) = delete;
    PrivateBoard &operator=(const PrivateBoard &) = delete;

    bool running() const { return running_; }
    bool reap_dead(); /* true, once, when the server's process has ended by itself */
    /* How many connections there were; nothing where the server did not end as it should. */
    std::optional<uint32_t> stop();

  private:
    pid_t process_ = -1;
    int leash_ = -1;
    bool running_ = false;
};

} // namespace orka::board

#endif
