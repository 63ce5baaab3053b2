#include "server/fault.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <optional>
#include <stdexcept>
#include <string_view>

#include <fnmatch.h>

#include "server/fault_target.h"

namespace orka::board {

namespace {

using Effect = Fault::Effect;
using When = Fault::When;

constexpr int32_t usual_bits = 16;
constexpr int32_t most_bits = 1'000'000;
constexpr std::chrono::hours longest_delay{1};

/* The kernel tells a program's name no further. */
constexpr size_t program_name_length = 15;

constexpr char conditions[] = "conditions are nth=N, every=N, from=N, chance=P, seed=N, program=NAME";
constexpr char effects[] =
    "effects are errno=NAME, status=STATUS, delay=TIME, corrupt[=BITS], hang, no-memory";

[[noreturn]] void refuse(const std::string &why)
{
    throw std::invalid_argument(why);
}

std::string quoted(std::string_view text)
{
    return "'" + std::string(text) + "'";
}

bool matches(const std::string &pattern, std::string_view name)
{
    return fnmatch(pattern.c_str(), std::string(name).c_str(), 0) == 0;
}

void append_name(std::string &list, std::string_view name)
{
    list += (list.empty() ? "" : ", ") + std::string(name);
}

/* Nodes and requests. */

std::string_view short_name(std::string_view path)
{
    return path.substr(std::string_view("/dev/").size());
}

void take_nodes(Fault &fault, const std::string &pattern)
{
    std::string names;
    for (const wire::node_path &known : wire::node_paths) {
        append_name(names, short_name(known.path));
        if (matches(pattern, known.path) || matches(pattern, short_name(known.path)))
            fault.nodes.set(static_cast<size_t>(known.node));
    }
    if (fault.nodes.none())
        refuse("no node " + quoted(pattern) + "; there are " + names +
               ", each also with /dev/ before it, and patterns of * and ?");
}

/* Nodes of one kind, a channel each, have one row. */
bool has_row(const Fault &fault, const wire::request_row &row)
{
    for (uint32_t node = 0; node < wire::node_count; node++) {
        if (fault.nodes[node] && wire::first_channel(static_cast<wire::node>(node)) == row.node)
            return true;
    }
    return false;
}

template <typename Condition>
std::string request_names(Condition condition)
{
    std::vector<std::string_view> names;
    for (const wire::request_row &row : wire::requests) {
        if (condition(row) && std::ranges::find(names, row.name) == names.end())
            names.push_back(row.name);
    }
    std::string list;
    for (const std::string_view name : names)
        append_name(list, name);
    return list;
}

void take_requests(Fault &fault, const std::string &pattern)
{
    fault.opening = pattern == "open";
    if (fault.opening)
        return;
    if (pattern == "mmap" || pattern == "poll")
        refuse(quoted(pattern) +
               " is no request: the kernel does it, and the board is not asked; make open of mem "
               "fail, or what a poll waits for");
    for (const wire::request_row &row : wire::requests) {
        if (has_row(fault, row) && matches(pattern, row.name))
            fault.requests.push_back(&row);
    }
    if (!fault.requests.empty())
        return;
    const std::string names =
        request_names([&](const wire::request_row &row) { return has_row(fault, row); });
    refuse("no request " + quoted(pattern) + " on that node; there are open" + (names.empty() ? "" : ", ") +
           names + (names.empty() ? "" : ", and patterns of * and ?"));
}

/* Values. */

template <typename Number>
std::optional<Number> number_of(std::string_view text)
{
    Number number{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (text.empty() || error != std::errc() || end != text.data() + text.size())
        return std::nullopt;
    return number;
}

uint64_t count_of(std::string_view name, std::string_view value)
{
    const std::optional<uint64_t> count = number_of<uint64_t>(value);
    if (!count || *count == 0)
        refuse(quoted(value) + " is no number for " + std::string(name) + ", which takes one from 1 on");
    return *count;
}

double chance_of(std::string_view value)
{
    const std::optional<double> chance = number_of<double>(value);
    if (!chance || !(*chance > 0 && *chance <= 1))
        refuse(quoted(value) + " is no chance, which is above 0 and at most 1, as in chance=0.25");
    return *chance;
}

uint64_t seed_of(std::string_view value)
{
    const std::optional<uint64_t> seed = number_of<uint64_t>(value);
    if (!seed)
        refuse(quoted(value) + " is no seed, which is a number from 0 on");
    return *seed;
}

int error_of(std::string_view value)
{
    constexpr int most_errors = 256;
    std::string names;
    for (int error = 1; error < most_errors; error++) {
        const char *const name = strerrorname_np(error);
        if (name && value == name)
            return error;
        if (name)
            append_name(names, name);
    }
    refuse("no error " + quoted(value) + "; there are " + names);
}

int32_t status_of(std::string_view value)
{
    if (value == "failure")
        return wire::driver_failure;
    if (value == "timeout")
        return wire::driver_timeout;
    if (value == "interrupted")
        return wire::driver_interrupted;
    const std::optional<int32_t> status = number_of<int32_t>(value);
    if (!status || *status == wire::driver_done)
        refuse(
            "no status " + quoted(value) +
            "; there are failure (-1), timeout (1), interrupted (2), and any number but 0, which is success");
    return *status;
}

std::chrono::microseconds delay_of(std::string_view value)
{
    constexpr std::pair<std::string_view, std::chrono::microseconds> units[] = {
        {"us", std::chrono::microseconds(1)},
        {"ms", std::chrono::milliseconds(1)},
        {"s", std::chrono::seconds(1)}};
    for (const auto &[unit, length] : units) {
        if (!value.ends_with(unit))
            continue;
        const auto number = number_of<uint32_t>(value.substr(0, value.size() - unit.size()));
        if (number && *number > 0 && *number <= longest_delay / length)
            return *number * length;
    }
    refuse(quoted(value) +
           " is no delay, which is a whole number with us, ms or s, at most an hour, as in delay=50ms");
}

int32_t bits_of(std::string_view value)
{
    const std::optional<int32_t> bits = number_of<int32_t>(value);
    if (!bits || *bits < 1 || *bits > most_bits)
        refuse(quoted(value) + " is no number of bits, which is from 1 to " + std::to_string(most_bits));
    return *bits;
}

/* Conditions and effects. */

struct Word {
    std::string_view name;
    std::string_view value;
};

void set_when(Fault &fault, When when)
{
    if (fault.when != When::always)
        refuse("nth, every, from and chance exclude each other: give one");
    fault.when = when;
}

void set_effect(Fault &fault, Effect effect, int32_t value = 0)
{
    if (fault.effect != Effect::none)
        refuse("errno, status, corrupt, hang and no-memory exclude each other: give one, or several faults");
    fault.effect = effect;
    fault.value = value;
}

bool take_condition(Fault &fault, const Word &word)
{
    constexpr std::pair<std::string_view, When> counts[] = {
        {"nth", When::nth}, {"every", When::every}, {"from", When::from}};
    for (const auto &[name, when] : counts) {
        if (word.name == name) {
            set_when(fault, when);
            fault.count = count_of(name, word.value);
            return true;
        }
    }
    if (word.name == "chance") {
        set_when(fault, When::chance);
        fault.chance = chance_of(word.value);
    } else if (word.name == "seed") {
        fault.seed = seed_of(word.value);
    } else if (word.name == "program" && !word.value.empty()) {
        fault.program = word.value.substr(0, program_name_length);
    } else {
        return false;
    }
    return true;
}

bool take_effect(Fault &fault, const Word &word, bool has_value)
{
    if (word.name == "errno" && has_value)
        set_effect(fault, Effect::error, error_of(word.value));
    else if (word.name == "status" && has_value)
        set_effect(fault, Effect::status, status_of(word.value));
    else if (word.name == "corrupt")
        set_effect(fault, Effect::corrupt, has_value ? bits_of(word.value) : usual_bits);
    else if (word.name == "hang" && !has_value)
        set_effect(fault, Effect::hang);
    else if (word.name == "no-memory" && !has_value)
        set_effect(fault, Effect::no_memory);
    else if (word.name == "delay" && has_value)
        fault.delay = delay_of(word.value);
    else
        return false;
    return true;
}

void take_word(Fault &fault, const std::string &text)
{
    const size_t sign = text.find('=');
    const bool has_value = sign != std::string::npos;
    const std::string_view whole = text;
    const Word word{.name = whole.substr(0, sign),
                    .value = has_value ? whole.substr(sign + 1) : std::string_view()};
    if (take_condition(fault, word))
        return;
    if (!take_effect(fault, word, has_value))
        refuse(quoted(text) + " is no condition and no effect; " + conditions + "; " + effects);
    fault.effects += (fault.effects.empty() ? "" : ":") + text;
}

/* What the effect needs. */

bool takes_effect(const wire::request_row &row, Effect effect)
{
    switch (effect) {
    case Effect::status:
        return status_offset(row).has_value();
    case Effect::corrupt:
        return committed_frame(row) || delivered_frame(row);
    case Effect::hang:
        return reaches_codec(row);
    default:
        return true;
    }
}

void keep_requests_with_effect(Fault &fault)
{
    const auto takes = [&](const wire::request_row &row) { return takes_effect(row, fault.effect); };
    std::erase_if(fault.requests, [&](const wire::request_row *row) { return !takes(*row); });
    if (!fault.opening && fault.requests.empty())
        refuse(quoted(fault.effects) + " means nothing for that request; it does for " +
               request_names(takes));
}

void check_effects(const Fault &fault)
{
    if (fault.effects.empty())
        refuse(std::string("what is to happen? ") + effects);
    if (fault.opening && (fault.effect != Effect::error || fault.delay.count() != 0))
        refuse("open takes errno=NAME alone, and no " + quoted(fault.effects));
    if (fault.effect == Effect::corrupt && fault.delay.count() != 0)
        refuse("delay and corrupt exclude each other: give each a fault of its own");
}

std::vector<std::string> parts_of(const std::string &spec)
{
    std::vector<std::string> parts;
    for (size_t from = 0, to = 0; to != std::string::npos; from = to + 1) {
        to = spec.find(':', from);
        parts.push_back(spec.substr(from, to - from));
    }
    return parts;
}

Fault parsed(const std::string &spec)
{
    const std::vector<std::string> parts = parts_of(spec);
    Fault fault;
    fault.spec = spec;
    if (parts.size() < 3)
        refuse(
            "a fault is NODE:REQUEST[:CONDITION...]:EFFECT, as in vdecode:IDECODE_NEW_FRAME:nth=3:errno=EIO");
    take_nodes(fault, parts[0]);
    take_requests(fault, parts[1]);
    for (size_t i = 2; i < parts.size(); i++)
        take_word(fault, parts[i]);
    check_effects(fault);
    keep_requests_with_effect(fault);
    return fault;
}

} // namespace

Fault parse_fault(const std::string &spec)
{
    try {
        return parsed(spec);
    } catch (const std::invalid_argument &why) {
        refuse(quoted(spec) + ": " + why.what());
    }
}

/* A counter that is stepped and well mixed: any place in the row can be had without those before it. */
uint64_t even_number(uint64_t seed, uint64_t number)
{
    uint64_t value = (seed + 1) * 0xd1342543de82ef95 + (number + 1) * 0x9e3779b97f4a7c15;
    value = (value ^ value >> 32) * 0xd6e8feb86659fd93;
    value = (value ^ value >> 32) * 0xd6e8feb86659fd93;
    return value ^ value >> 32;
}

bool Fault::covers(wire::node node, const wire::request_row &row) const
{
    return nodes[static_cast<size_t>(node)] && std::ranges::find(requests, &row) != requests.end();
}

bool Fault::covers_program(const std::string &name) const
{
    return program.empty() || matches(program, name);
}

bool Fault::strikes(uint64_t call) const
{
    switch (when) {
    case When::nth:
        return call == count;
    case When::every:
        return call % count == 0;
    case When::from:
        return call >= count;
    case When::chance:
        return static_cast<double>(even_number(seed, call) >> 11) * 0x1p-53 < chance;
    case When::always:
        break;
    }
    return true;
}

} // namespace orka::board
