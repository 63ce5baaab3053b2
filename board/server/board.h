/* A whole board: its memory, its drivers, its server. */
#ifndef ORKA_BOARD_SERVER_BOARD_H
#define ORKA_BOARD_SERVER_BOARD_H

#include <memory>
#include <string>

#include "server/log.h"
#include "server/options.h"
#include "server/server.h"
#include "server/trace.h"

namespace orka::board {

class Board {
  public:
    /* listener: from listen_at(), the board's own from now on. Throws std::system_error. */
    Board(const BoardOptions &options, int listener);
    Board(const Board &) = delete;
    Board &operator=(const Board &) = delete;

    Reactor &reactor() { return reactor_; }
    uint32_t greeted_clients() const { return server_.greeted_clients(); }

  private:
    void log(const std::string &line);

    Options options_;
    std::unique_ptr<LineFile> log_file_;
    std::unique_ptr<Trace> trace_;
    Reactor reactor_;
    Memory memory_;
    Machine machine_;
    Server server_;
};

} // namespace orka::board

#endif
