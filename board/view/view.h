/* The live view: one page for browsers, served while the board runs. */
#ifndef ORKA_BOARD_VIEW_VIEW_H
#define ORKA_BOARD_VIEW_VIEW_H

#include <atomic>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <thread>

#include "server/board.h"
#include "view/reactor_calls.h"

namespace httplib {
class Server;
struct Request;
struct Response;
} // namespace httplib

namespace orka::board {

/*
 *     GET  /                       the page
 *     GET  /status                 Board::status()
 *     GET  /picture.png?plane=P    what the display shows; P: composed (as without it), video, osd
 *     GET  /changes?since=N        a number, once it is another one than N, or after some seconds
 *     GET  /trace?since=N          {"next": N', "lines": [...]}: the lines from N up to N', as far as they
 * are kept POST /pause /step /resume    of all that is decoded
 *
 * Requests are answered on threads of their own; what they need of the board is asked of the reactor.
 */
class View {
  public:
    /* Made and ended while the reactor does not run. Throws std::runtime_error where it cannot listen. */
    View(Board &board, const ViewAddress &address);
    ~View();
    View(const View &) = delete;
    View &operator=(const View &) = delete;

    const std::string &place() const { return place_; } /* http://127.0.0.1:49152/ */

  private:
    void listen_at(const ViewAddress &address);
    void guard(const std::string &host);
    void route();
    void serve();

    std::string changes_since(const std::string &number);
    std::string status();
    std::string picture(Plane plane);
    std::string trace_since(uint64_t number);
    void keep(const std::string &line);
    void pause();
    void step();
    void resume();

    Board &board_;
    ReactorCalls calls_;
    const std::unique_ptr<httplib::Server> http_;
    std::string place_;
    std::atomic<bool> ended_ = false;
    std::thread thread_;

    /* The reactor's thread alone. */
    std::deque<std::string> lines_;
    uint64_t next_line_ = 0; /* how many there were */
    uint32_t listener_ = 0;
};

/* Null where no view is asked for; else the view, whose place is said. */
std::unique_ptr<View> view_of(Board &board, const std::optional<ViewAddress> &address);

} // namespace orka::board

#endif
