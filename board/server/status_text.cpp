#include "server/status_text.h"

#include <algorithm>
#include <cstdio>
#include <span>
#include <string_view>
#include <vector>

#include <nlohmann/json.hpp>

namespace orka::board {

namespace {

using nlohmann::json;

/* What a reader looks for first; all else follows by name. */
constexpr std::string_view leading_parts[] = {"board", "nodes", "decoders", "encoders", "capture", "display"};
constexpr std::string_view leading_names[] = {"node",       "channel", "stream", "device", "mode",
                                              "source",     "state",   "codec",  "image",  "frames_in",
                                              "frames_out", "dropped", "tsms"};

constexpr int indent = 2;

std::vector<std::string> ordered_names(const json &record, std::span<const std::string_view> leading)
{
    std::vector<std::string> names;
    for (const auto &member : record.items())
        names.push_back(member.key());
    const auto place = [&](const std::string &name) { return std::ranges::find(leading, name); };
    std::ranges::stable_sort(names, {}, place);
    return names;
}

std::string spaced(std::string name)
{
    std::ranges::replace(name, '_', ' ');
    return name;
}

std::string value_text(const std::string &name, const json &value)
{
    if (value.is_null())
        return "none";
    if (value.is_boolean())
        return value ? "yes" : "no";
    if (value.is_string())
        return value.get<std::string>().empty() ? "none" : value.get<std::string>();
    if (name == "address" || name == "base") {
        char text[sizeof "0x00000000"];
        snprintf(text, sizeof text, "0x%08x", value.get<uint32_t>());
        return text;
    }
    return value.dump();
}

void append(std::string &text, int depth, const json &value);

void append_line(std::string &text, int depth, const std::string &line)
{
    text.append(static_cast<size_t>(depth), ' ').append(line).append("\n");
}

void append_record(std::string &text, int depth, const json &record)
{
    std::string line;
    const std::vector<std::string> names = ordered_names(record, leading_names);
    for (const std::string &name : names) {
        if (!record[name].is_structured())
            line += (line.empty() ? "" : ", ") + spaced(name) + " " + value_text(name, record[name]);
    }
    if (!line.empty())
        append_line(text, depth, line);
    for (const std::string &name : names) {
        if (!record[name].is_structured())
            continue;
        append_line(text, depth + indent, spaced(name));
        append(text, depth + 2 * indent, record[name]);
    }
}

void append(std::string &text, int depth, const json &value)
{
    if (value.is_object())
        return append_record(text, depth, value);
    if (!value.is_array() || value.empty())
        return append_line(text, depth, value.is_array() ? "none" : value_text("", value));
    for (const json &one : value)
        append(text, depth, one);
}

} // namespace

std::string status_text(const nlohmann::json &status)
{
    std::string text;
    for (const std::string &name : ordered_names(status, leading_parts)) {
        append_line(text, 0, spaced(name));
        append(text, indent, status[name]);
    }
    return text;
}

} // namespace orka::board
