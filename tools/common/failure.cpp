#include "common/failure.h"

#include <cstdio>

namespace orka {

exit_status say(const char *program, const std::exception &failure)
{
    fprintf(stderr, "%s: %s\n", program, failure.what());
    const auto *const known = dynamic_cast<const Failure *>(&failure);
    return known != nullptr ? known->status() : status_failed;
}

} // namespace orka
