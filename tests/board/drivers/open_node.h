/* A program with a node open, until it closes it or ends. */
#ifndef ORKA_TESTS_BOARD_OPEN_NODE_H
#define ORKA_TESTS_BOARD_OPEN_NODE_H

#include <string>
#include <utility>
#include <vector>

#include "desk.h"

namespace orka::board::desk {

class OpenNode {
  public:
    OpenNode(Desk &desk, wire::node node, int32_t process) : file(node, process), desk_(desk)
    {
        desk.open(file);
    }
    ~OpenNode() { close(); }
    OpenNode(const OpenNode &) = delete;
    OpenNode &operator=(const OpenNode &) = delete;

    void close()
    {
        if (!std::exchange(closed_, true))
            desk_.close(file);
    }
    template <typename Record>
    int error_of(uint32_t number, const Record &record)
    {
        return Player::answer_of(*desk_.begin(file, number, record)).error;
    }
    /* For nodes that take the image's name in place. */
    int load(uint32_t number, const std::string &name)
    {
        std::vector<uint8_t> bytes(name.begin(), name.end());
        bytes.push_back(0);
        return error_of(number, bytes);
    }

    TestFile file;

  protected:
    Desk &desk_;

  private:
    bool closed_ = false;
};

} // namespace orka::board::desk

#endif
