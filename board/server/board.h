/* A whole board: its memory, its drivers, its server. */
#ifndef ORKA_BOARD_SERVER_BOARD_H
#define ORKA_BOARD_SERVER_BOARD_H

#include <exception>
#include <memory>
#include <string>

#include "server/log.h"
#include "server/options.h"
#include "server/server.h"
#include "server/trace.h"

namespace orka::board {

/* A board was to end before it had begun. */
class StoppedAtStart : public std::exception {};

class Board {
  public:
    /* listener: from listen_at(), the board's own from now on. stop: while the camera and the microphone
       open, and a device as long as it is read. Throws std::system_error; std::runtime_error where the camera
       or the microphone does not open, and StoppedAtStart where that was to stop. */
    Board(const BoardOptions &options, int listener, const Stop &stop);
    ~Board();
    Board(const Board &) = delete;
    Board &operator=(const Board &) = delete;

    Reactor &reactor() { return reactor_; }
    uint32_t greeted_clients() const { return server_.greeted_clients(); }

    /* For whoever watches: all of these on the reactor's thread. */
    Screen &screen() { return *machine_.screen; }
    std::string status() const { return server_.status(); } /* as JSON */
    Trace &trace() { return trace_; }
    PresentationClock &presentation() { return machine_.presentation; }

  private:
    void log(const std::string &line);

    Options options_;
    std::unique_ptr<LineFile> log_file_;
    Trace trace_;
    Reactor reactor_;
    Memory memory_;
    Machine machine_;
    const std::unique_ptr<Camera> camera_;
    const std::unique_ptr<Microphone> microphone_;
    Server server_;
};

} // namespace orka::board

#endif
