/* For what must hold at any time, where no test is to be told of it. */
#ifndef ORKA_TESTS_REQUIRE_H
#define ORKA_TESTS_REQUIRE_H

#include <cstdio>
#include <cstdlib>

namespace orka_test {

/* Ends the program where it does not hold. */
inline void require(bool holds, const char *what)
{
    if (holds)
        return;
    fprintf(stderr, "it does not hold: %s\n", what);
    abort();
}

} // namespace orka_test

#endif
