/*
 * Runs code in a forked child, for what ends the process and for what needs a process that never did it
 * before.
 */
#ifndef ORKA_TESTS_CHILD_H
#define ORKA_TESTS_CHILD_H

#include <functional>
#include <string>

#include "support/harness.h"

namespace orka_test {

struct Ending {
    int status = -1; /* exit status, or -1 when a signal ended it */
    int signal = 0;
    std::string output; /* normalised as a Capture does */
    std::string error;
};

/* What a quiet `_or_die` call on a mutex writes to standard output before it ends the process, as a pattern.
 */
inline constexpr const char *quiet_lock_death = R"(\(\):\[-1\] Fatal Mutex Lock Error \[0x[0-9A-F]{8}\]\.
)";
inline constexpr const char *quiet_unlock_death = R"(\(\):\[-1\] Fatal Mutex UnLock Error \[0x[0-9A-F]{8}\]\.
)";

/* Runs the body in a child; a body that returns ends the child with status 0, without exit handlers. */
Ending end_of(const std::function<void(Kernel &kernel)> &body);

/*
 * "file.cpp:123: ... function(...): Assertion `expression' failed." as it stands on standard error, or, when
 * it is something else, what is wrong with it.
 */
std::string assertion_complaint(const Ending &ending, const std::string &file, const std::string &function,
                                const std::string &expression);

/* Runs the body of a test in a child, under a harness of its own. Failures there fail the test here. */
void in_fresh_process(const std::function<void(Harness &harness)> &body);

} // namespace orka_test

#endif
