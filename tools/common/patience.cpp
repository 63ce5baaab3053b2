#include "common/patience.h"

#include "common/failure.h"
#include "common/text.h"

namespace orka {

void Patience::check(std::chrono::milliseconds more) const
{
    const std::chrono::duration<double> silence = std::chrono::steady_clock::now() - since_ - more;
    if (seconds_ > 0 && silence.count() > seconds_)
        throw Failure(who_ + format(" says nothing for %g s: it hangs, or the board is held", seconds_));
}

} // namespace orka
