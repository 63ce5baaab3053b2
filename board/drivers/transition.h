/* Tables of which order leads from which states to which; what is not listed is refused. */
#ifndef ORKA_BOARD_DRIVERS_TRANSITION_H
#define ORKA_BOARD_DRIVERS_TRANSITION_H

#include <cstdint>
#include <initializer_list>
#include <span>

namespace orka::board {

template <typename State>
constexpr uint32_t any_of(std::initializer_list<State> states)
{
    uint32_t set = 0;
    for (const State state : states)
        set |= 1U << static_cast<unsigned>(state);
    return set;
}

template <typename Order, typename State>
struct Transition {
    Order order;
    uint32_t from; /* any of these states */
    State to;
};

/* Null where the order is not to be given in that state. */
template <typename Order, typename State>
const Transition<Order, State> *find_transition(std::span<const Transition<Order, State>> table, Order order,
                                                State from)
{
    for (const Transition<Order, State> &row : table) {
        if (row.order == order && (row.from & any_of({from})) != 0)
            return &row;
    }
    return nullptr;
}

} // namespace orka::board

#endif
