/*
 * A fault that --fault asks for: which requests it strikes, which of those, and what it does.
 *
 *     NODE:REQUEST[:CONDITION...]:EFFECT[:EFFECT]
 */
#ifndef ORKA_BOARD_SERVER_FAULT_H
#define ORKA_BOARD_SERVER_FAULT_H

#include <bitset>
#include <chrono>
#include <string>
#include <vector>

#include "wire/orka_nodes.h"

namespace orka::board {

struct Fault {
    enum class When : uint8_t { always, nth, every, from, chance };
    enum class Effect : uint8_t { none, error, status, corrupt, hang, no_memory };

    std::string spec;    /* as it was given */
    std::string effects; /* its last words, for the trace */

    std::bitset<wire::node_count> nodes;
    bool opening = false;                            /* strikes opening them; else requests */
    std::vector<const wire::request_row *> requests; /* those that have what the effect changes */
    std::string program;                             /* a pattern; empty for any */

    When when = When::always;
    uint64_t count = 0; /* of nth, every and from */
    double chance = 0;  /* of each one */
    uint64_t seed = 1;  /* of the chance, and of the bits */

    Effect effect = Effect::none;
    int32_t value = 0; /* the error number, the status, or how many bits */
    std::chrono::microseconds delay{0};

    bool covers(wire::node node, const wire::request_row &row) const;
    bool covers_program(const std::string &name) const;
    /* Whether it strikes that one of the calls that it covers, counted from 1. */
    bool strikes(uint64_t call) const;
};

/* Throws std::invalid_argument, whose text names the part that is wrong and what can stand there. */
Fault parse_fault(const std::string &spec);

/* The number-th of a row of even numbers that the seed alone determines. */
uint64_t even_number(uint64_t seed, uint64_t number);

} // namespace orka::board

#endif
