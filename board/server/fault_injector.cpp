#include "server/fault_injector.h"

#include <cstring>
#include <utility>

#include <nlohmann/json.hpp>

#include "server/fault_target.h"
#include "server/record_word.h"

namespace orka::board {

namespace {

using Effect = Fault::Effect;

} // namespace

FaultInjector::FaultInjector(Machine &machine, const std::vector<Fault> &faults) : machine_(machine)
{
    for (const Fault &fault : faults)
        entries_.push_back({.fault = fault, .number = entries_.size() + 1});
}

std::string FaultInjector::mark_of(const Entry &entry)
{
    return " [fault " + std::to_string(entry.number) + ": " + entry.fault.effects + "]";
}

void FaultInjector::fire(Entry &entry, PendingCall &call)
{
    entry.fired++;
    call.add_mark(mark_of(entry));
}

int FaultInjector::opening_error(const Client &client, wire::node node, std::string &mark)
{
    int error = 0;
    for (Entry &entry : entries_) {
        const Fault &fault = entry.fault;
        if (!fault.opening || !fault.nodes[static_cast<size_t>(node)] || !fault.covers_program(client.name))
            continue;
        if (!fault.strikes(++entry.calls) || error != 0)
            continue;
        entry.fired++;
        error = fault.value;
        mark = mark_of(entry);
    }
    return error;
}

/* Frames count where their data come along, and not where a request for one ends without. */
bool FaultInjector::watches_answers(const Entry &entry, const PendingCall &call)
{
    return entry.fault.effect == Effect::corrupt && delivered_frame(call.row());
}

bool FaultInjector::counts(const Entry &entry, const PendingCall &call)
{
    return entry.fault.covers(call.device_file()->node(), call.row()) &&
           entry.fault.covers_program(call.client().name);
}

FaultInjector::Entry *FaultInjector::next_for(const PendingCall &call)
{
    Entry *first = nullptr;
    for (Entry &entry : entries_) {
        if (!counts(entry, call) || watches_answers(entry, call))
            continue;
        const std::optional<size_t> frame = committed_frame(call.row());
        if (entry.fault.effect == Effect::corrupt && frame_data(call.in(), *frame).empty())
            continue;
        if (entry.fault.strikes(++entry.calls) && !first)
            first = &entry;
    }
    return first;
}

void FaultInjector::control(std::shared_ptr<PendingCall> call, Driver &driver)
{
    if (entries_.empty())
        return driver.control(std::move(call));
    watch_answer(*call);
    Entry *const entry = next_for(*call);
    if (!entry)
        return driver.control(std::move(call));
    if (entry->fault.delay.count() != 0)
        return delay(*entry, call, driver);
    apply(*entry, std::move(call), driver);
}

/* In real time, whatever the board's clock: drivers wait by that, too. A signal ends the delay. */
void FaultInjector::delay(Entry &entry, const std::shared_ptr<PendingCall> &call, Driver &driver)
{
    const auto go_on = [this, &entry, call, &driver] {
        call->on_interrupt({});
        call->on_abandon({});
        apply(entry, call, driver);
    };
    const Reactor::TimerId timer = machine_.reactor.at(Clock::now() + entry.fault.delay, go_on);
    call->on_abandon([this, timer] { machine_.reactor.cancel(timer); });
    call->on_interrupt([this, timer, call, go_on] {
        machine_.reactor.cancel(timer);
        go_on();
        call->interrupt();
    });
}

void FaultInjector::apply(Entry &entry, std::shared_ptr<PendingCall> call, Driver &driver)
{
    const Fault &fault = entry.fault;
    if (fault.effect == Effect::no_memory)
        return control_without_memory(entry, std::move(call), driver);
    if (fault.effect != Effect::hang || driver.hang(*call))
        fire(entry, *call);
    switch (fault.effect) {
    case Effect::error:
        return call->fail(fault.value);
    case Effect::status:
        return answer_with_status(fault, *call);
    case Effect::corrupt:
        flip_bits(entry, frame_data(call->in(), *committed_frame(call->row())));
        break;
    default:
        break;
    }
    driver.control(std::move(call));
}

/* Drivers allocate before they answer, so that it is for this request alone. */
void FaultInjector::control_without_memory(Entry &entry, std::shared_ptr<PendingCall> call, Driver &driver)
{
    const auto refused = [&entry, call, told = false]() mutable {
        if (!std::exchange(told, true))
            fire(entry, *call);
    };
    machine_.memory.exhaust(refused);
    driver.control(std::move(call));
    machine_.memory.exhaust({});
}

/* As a driver answers that has no frame: the request's own words, with the status. */
void FaultInjector::answer_with_status(const Fault &fault, PendingCall &call)
{
    std::vector<uint8_t> out(call.row().out);
    const std::span<const uint8_t> in = call.in();
    memcpy(out.data(), in.data(), std::min(in.size(), out.size()));
    memcpy(out.data() + *status_offset(call.row()), &fault.value, sizeof fault.value);
    call.reply(out);
}

void FaultInjector::watch_answer(PendingCall &call)
{
    for (Entry &entry : entries_) {
        if (counts(entry, call) && watches_answers(entry, call))
            call.on_answer([this, &entry](PendingCall &answered, std::span<const uint8_t> out) {
                corrupt_answer(entry, answered, out);
            });
    }
}

void FaultInjector::corrupt_answer(Entry &entry, PendingCall &call, std::span<const uint8_t> out)
{
    const std::optional<size_t> status = status_offset(call.row());
    if (status && static_cast<int32_t>(word_at(out, *status)) != wire::driver_done)
        return;
    const std::span<uint8_t> data = frame_data(out, *delivered_frame(call.row()));
    if (data.empty() || !entry.fault.strikes(++entry.calls))
        return;
    fire(entry, call);
    flip_bits(entry, data);
}

/* Nothing where there is no data, as with LAST, or none within memory. */
std::span<uint8_t> FaultInjector::frame_data(std::span<const uint8_t> record, size_t offset) const
{
    return machine_.memory.at(word_at(record, offset + offsetof(orka_idecode_frame_t, addr)),
                              word_at(record, offset + offsetof(orka_idecode_frame_t, size)));
}

void FaultInjector::flip_bits(const Entry &entry, std::span<uint8_t> data)
{
    constexpr uint64_t bits_in_byte = 8;
    for (int32_t i = 0; i < entry.fault.value; i++) {
        const uint64_t place =
            even_number(even_number(entry.fault.seed, entry.calls), static_cast<uint64_t>(i)) %
            (data.size() * bits_in_byte);
        data[place / bits_in_byte] ^= static_cast<uint8_t>(1U << place % bits_in_byte);
    }
}

nlohmann::json FaultInjector::report() const
{
    nlohmann::json all = nlohmann::json::array();
    for (const Entry &entry : entries_)
        all.push_back({{"fault", entry.fault.spec}, {"calls", entry.calls}, {"fired", entry.fired}});
    return all;
}

void FaultInjector::tell_idle() const
{
    for (const Entry &entry : entries_) {
        if (entry.fired == 0)
            machine_.log("the fault " + entry.fault.spec +
                         " never happened; calls that it could strike: " + std::to_string(entry.calls));
    }
}

} // namespace orka::board
