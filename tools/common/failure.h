/* Why a tool gave up, and the exit status that says so. */
#ifndef ORKA_TOOLS_FAILURE_H
#define ORKA_TOOLS_FAILURE_H

#include <stdexcept>
#include <string>

namespace orka {

enum exit_status {
    status_done = 0,
    status_failed = 1, /* a file, a codec or a driver */
    status_usage = 2,
    status_no_board = 3,
    status_interrupted = 130,
};

class Failure : public std::runtime_error {
  public:
    explicit Failure(const std::string &text, exit_status status = status_failed)
        : std::runtime_error(text), status_(status)
    {
    }
    exit_status status() const { return status_; }

  private:
    exit_status status_;
};

/* Says on standard error why a program fails, and gives the status that it is to end with. */
exit_status say(const char *program, const std::exception &failure);

} // namespace orka

#endif
