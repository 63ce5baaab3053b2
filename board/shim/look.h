/* How a node looks to a program that asks before it opens. */
#ifndef ORKA_BOARD_SHIM_LOOK_H
#define ORKA_BOARD_SHIM_LOOK_H

#include "wire/orka_nodes.h"

namespace orka::board::shim {

/*
 * A device that stands in for every node: the kernel judges flags, modes and pointers with its path, and
 * fills the record of a character device that everybody may read and write. What tells the nodes apart is
 * then put in.
 */
constexpr char look_alike[] = "/dev/null";

struct device_number {
    uint32_t major;
    uint32_t minor;
};

constexpr device_number device_of(wire::node node)
{
    constexpr uint32_t memory_devices = 1;
    constexpr uint32_t local_devices = 240;

    if (node == wire::node::mem)
        return {.major = memory_devices, .minor = 1};
    return {.major = local_devices, .minor = static_cast<uint32_t>(node)};
}

/* Any number that the devices of a real /dev hardly have. */
constexpr uint32_t inode_of(wire::node node)
{
    return 0x0DEC0000 + static_cast<uint32_t>(node);
}

/* The record of stat() in a program whose time has 64 bits; other programs have no such type. */
void mark_time64(void *record, wire::node node);

} // namespace orka::board::shim

#endif
