/* Waits for what another process or thread does. */
#ifndef ORKA_TESTS_BOARD_SOON_H
#define ORKA_TESTS_BOARD_SOON_H

#include <chrono>
#include <thread>

namespace orka_test {

/* Looks again and again, for a minute, and no more once it was so: it may be otherwise again. */
template <typename Condition>
bool soon(Condition condition)
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::minutes(1);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return true;
}

} // namespace orka_test

#endif
