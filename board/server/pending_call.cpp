#include "server/pending_call.h"

#include <cassert>
#include <cerrno>
#include <utility>

namespace orka::board {

PendingCall::PendingCall(const Origin &origin, std::span<const uint8_t> in)
    : owner_(&origin.owner), file_(origin.file), row_(origin.row), client_(origin.client),
      nonblocking_(origin.nonblocking), in_(in.begin(), in.end())
{
    file_->call_begins();
}

PendingCall::~PendingCall()
{
    answer(EIO, {});
}

void PendingCall::reply(std::span<const uint8_t> out)
{
    assert(out.size() == row_.out);
    answer(0, out);
}

void PendingCall::fail(int error)
{
    assert(error > 0);
    answer(error, {});
}

void PendingCall::on_interrupt(std::function<void()> handler)
{
    if (owner_)
        on_interrupt_ = std::move(handler);
}

void PendingCall::on_abandon(std::function<void()> handler)
{
    if (owner_)
        on_abandon_ = std::move(handler);
}

void PendingCall::interrupt()
{
    if (const std::function<void()> handler = on_interrupt_)
        handler();
}

void PendingCall::abandon()
{
    const std::function<void()> handler = std::move(on_abandon_);
    owner_ = nullptr;
    file_->call_ends();
    forget_handlers();
    if (handler)
        handler();
}

void PendingCall::answer(int error, std::span<const uint8_t> out)
{
    CallOwner *const owner = std::exchange(owner_, nullptr);
    if (!owner)
        return;
    for (const AnswerHandler &handler : on_answer_) {
        if (error == 0)
            handler(*this, out);
    }
    file_->call_ends();
    owner->answered(*this, error, out);
    forget_handlers();
}

/* The handlers may hold the last references to this very call: they go when nothing more is done here. */
void PendingCall::forget_handlers()
{
    const std::function<void()> interrupt = std::move(on_interrupt_);
    const std::function<void()> abandon = std::move(on_abandon_);
    on_interrupt_ = nullptr;
    on_abandon_ = nullptr;
}

} // namespace orka::board
