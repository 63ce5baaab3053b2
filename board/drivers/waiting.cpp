#include "drivers/waiting.h"

#include <cerrno>

namespace orka::board {

void Waiting::add(std::shared_ptr<Call> call, int32_t timeout)
{
    if (timeout < -1)
        return call->fail(EINVAL);
    if (timeout == 0)
        return answer_(*call, wire::driver_timeout);
    if (call->nonblocking())
        return call->fail(EAGAIN);

    const Place place = calls_.insert(calls_.end(), Entry{.call = std::move(call)});
    place->call->on_interrupt([this, place] { end(place, wire::driver_interrupted); });
    place->call->on_abandon([this, place] { remove(place); });
    if (timeout > 0) {
        place->timed = true;
        place->timer = reactor_.at(Clock::now() + std::chrono::milliseconds(timeout),
                                   [this, place] { end(place, wire::driver_timeout); });
    }
}

std::shared_ptr<Call> Waiting::remove(Place place)
{
    if (place->timed)
        reactor_.cancel(place->timer);
    std::shared_ptr<Call> call = std::move(place->call);
    calls_.erase(place);
    return call;
}

void Waiting::end(Place place, int32_t status)
{
    const std::shared_ptr<Call> call = remove(place);
    answer_(*call, status);
}

std::shared_ptr<Call> Waiting::take()
{
    return remove(calls_.begin());
}

void Waiting::answer_all(int32_t status)
{
    while (!calls_.empty())
        end(calls_.begin(), status);
}

} // namespace orka::board
