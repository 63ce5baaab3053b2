/* What belongs to the board: paths, and descriptors however they came here. */
#ifndef ORKA_BOARD_SHIM_NODES_H
#define ORKA_BOARD_SHIM_NODES_H

#include <optional>

#include "wire/orka_nodes.h"

namespace orka::board::shim {

/* The node that a path names, by any spelling of its directory; nothing where the program has no board. */
std::optional<wire::node> find_node(int directory, const char *path);

/* A board's file behind a descriptor: the number that the server knows it by, and its node. */
struct board_file {
    uint32_t number;
    wire::node node;
};

std::optional<board_file> find_file(int fd);

} // namespace orka::board::shim

#endif
