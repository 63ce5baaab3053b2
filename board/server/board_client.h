/* A board as seen from outside: for the launcher and for people's tools. */
#ifndef ORKA_BOARD_SERVER_BOARD_CLIENT_H
#define ORKA_BOARD_SERVER_BOARD_CLIENT_H

#include <cstdint>
#include <string>
#include <vector>

#include "protocol/protocol.h"

namespace orka::board {

/* A greeted connection to the board that serves at path. */
class BoardClient {
  public:
    /* Throws std::runtime_error, with a text for people, where no board answers in some seconds. */
    explicit BoardClient(const std::string &path);
    ~BoardClient();
    BoardClient(const BoardClient &) = delete;
    BoardClient &operator=(const BoardClient &) = delete;

    /* RGB, three bytes a pixel. These two throw as the constructor does, also for a board that refuses. */
    std::vector<uint8_t> screenshot(protocol::plane plane, protocol::picture &size) const;
    std::string status() const;

  private:
    template <typename Bytes>
    Bytes fetch(protocol::operation operation, uint32_t flags, protocol::picture &size) const;

    std::string path_;
    int fd_;
};

} // namespace orka::board

#endif
