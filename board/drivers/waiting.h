/* Calls that wait for the same thing: in the order in which they came, each with its time-out. */
#ifndef ORKA_BOARD_WAITING_H
#define ORKA_BOARD_WAITING_H

#include <list>

#include "drivers/driver.h"

namespace orka::board {

class Waiting {
  public:
    /* How such a call is answered that does not get what it waits for. */
    using Answer = void (*)(Call &call, int32_t status);

    Waiting(Reactor &reactor, Answer answer) : reactor_(reactor), answer_(answer) {}
    ~Waiting() { answer_all(wire::driver_failure); }
    Waiting(const Waiting &) = delete;
    Waiting &operator=(const Waiting &) = delete;

    /* timeout in ms, -1 without limit; a call that may not wait is answered at once. */
    void add(std::shared_ptr<Call> call, int32_t timeout);
    bool empty() const { return calls_.empty(); }
    std::shared_ptr<Call> take(); /* the first */
    void answer_all(int32_t status);

  private:
    struct Entry {
        std::shared_ptr<Call> call;
        Reactor::TimerId timer = 0;
        bool timed = false;
    };
    using Place = std::list<Entry>::iterator;

    std::shared_ptr<Call> remove(Place place);
    void end(Place place, int32_t status);

    Reactor &reactor_;
    Answer answer_;
    std::list<Entry> calls_;
};

} // namespace orka::board

#endif
