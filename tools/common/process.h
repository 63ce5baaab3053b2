/* How a tool is asked to stop, and what its threads leave to the thread that listens. */
#ifndef ORKA_TOOLS_PROCESS_H
#define ORKA_TOOLS_PROCESS_H

#include <atomic>

#include <csignal>

namespace orka {

/* Set by the first INT, TERM or HUP; a second one ends the process at once. */
const std::atomic<bool> &listen_to_signals();

/* Threads that are made while this lives leave signals to the thread that made it. */
class SignalsHeld {
  public:
    SignalsHeld();
    ~SignalsHeld();
    SignalsHeld(const SignalsHeld &) = delete;
    SignalsHeld &operator=(const SignalsHeld &) = delete;

  private:
    sigset_t before_;
};

/* Throws Failure where there is no such node: nothing stands behind it. */
void check_board(const char *node);

} // namespace orka

#endif
