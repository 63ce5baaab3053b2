#include "server/trace.h"

#include <cstdio>
#include <cstring>
#include <string_view>

#include <fcntl.h>

#include "server/layouts.h"
#include "server/record_word.h"

namespace orka::board {

namespace {

using wire::node;
using namespace layouts;

std::string text_at(std::span<const uint8_t> record, size_t offset)
{
    if (offset >= record.size())
        return "\"\"";
    const auto *const text = reinterpret_cast<const char *>(record.data()) + offset;
    return "\"" + printable({text, strnlen(text, record.size() - offset)}) + "\"";
}

std::string address_text(uint32_t value)
{
    char text[sizeof "0x00000000"];
    snprintf(text, sizeof text, "0x%08x", value);
    return text;
}

std::string value_text(std::span<const uint8_t> record, size_t offset, form as)
{
    switch (as) {
    case form::u8:
        return std::to_string(word_at<uint8_t>(record, offset));
    case form::u16:
        return std::to_string(word_at<uint16_t>(record, offset));
    case form::u32:
        return std::to_string(word_at<uint32_t>(record, offset));
    case form::i32:
        return std::to_string(word_at<int32_t>(record, offset));
    case form::address:
        return address_text(word_at<uint32_t>(record, offset));
    case form::text:
        break;
    }
    return text_at(record, offset);
}

void describe(std::string &text, std::span<const uint8_t> record, size_t base, std::span<const field> fields)
{
    for (const field &one : fields) {
        text += text.empty() ? "" : ", ";
        text.append(one.name).append("=").append(value_text(record, base + one.offset, one.as));
    }
}

std::string result_text(int error)
{
    const char *const name = strerrorname_np(error);
    return error == 0 ? "0" : name ? std::string("-1 ") + name : "-1 errno " + std::to_string(error);
}

std::string duration_text(Clock::time_point since)
{
    char text[64];
    snprintf(text, sizeof text, " <%.3f ms>",
             std::chrono::duration<double, std::milli>(Clock::now() - since).count());
    return text;
}

std::string call_text(const PendingCall &call)
{
    return std::string(call.row().name) + "(" + describe_request(call.row(), call.in()) + ")";
}

} // namespace

std::string_view node_name(node number)
{
    for (const wire::node_path &path : wire::node_paths) {
        if (path.node == number)
            return path.path;
    }
    return "?";
}

std::string describe_request(const wire::request_row &row, std::span<const uint8_t> in)
{
    const layout &known = *find_layout(row);
    std::string text;
    describe(text, in, 0, known.in);
    if (known.in_frame != no_frame)
        describe(text, in, known.in_frame, frame);
    return text;
}

std::string describe_answer(const wire::request_row &row, std::span<const uint8_t> out)
{
    const layout &known = *find_layout(row);
    std::string text;
    describe(text, out, 0, known.out);
    if (known.out_frame != no_frame && word_at<int32_t>(out, known.out[0].offset) == wire::driver_done)
        describe(text, out, known.out_frame, frame);
    return text;
}

Trace::Trace(const std::string &path) : file_(std::in_place, path) {}

uint32_t Trace::listen(Listener listener)
{
    listeners_[next_listener_] = std::move(listener);
    return next_listener_++;
}

void Trace::opened(const Client &client, node node, uint32_t flags, int error, const std::string &mark)
{
    if (!is_wanted())
        return;
    const uint32_t mode = flags & O_ACCMODE;
    const char *const name = mode == O_RDONLY ? "O_RDONLY" : mode == O_WRONLY ? "O_WRONLY" : "O_RDWR";
    write(Clock::now(), client, node,
          std::string("open(") + name + (flags & O_NONBLOCK ? "|O_NONBLOCK" : "") +
              ") = " + result_text(error) + mark);
}

void Trace::closed(const DeviceFile &file)
{
    if (is_wanted())
        write(Clock::now(), file.opener(), file.node(), "close()");
}

void Trace::answered(const PendingCall &call, int error, std::span<const uint8_t> out)
{
    if (!is_wanted())
        return;
    std::string text = call_text(call) + " = " + result_text(error);
    if (const std::string fields = error ? "" : describe_answer(call.row(), out); !fields.empty())
        text += " {" + fields + "}";
    if (find_layout(call.row())->waits)
        text += duration_text(call.started());
    write(call.started(), call.client(), call.device_file()->node(), text + call.marks());
}

void Trace::abandoned(const PendingCall &call)
{
    if (is_wanted())
        write(call.started(), call.client(), call.device_file()->node(),
              call_text(call) + " = ? (the program is gone)" + duration_text(call.started()) + call.marks());
}

void Trace::refused(const Client &client, node node, uint32_t number, int error)
{
    if (!is_wanted())
        return;
    const wire::request_row *const row = wire::find_request(node, number);
    write(Clock::now(), client, node,
          (row ? std::string(row->name) : address_text(number)) + "() = " + result_text(error));
}

void Trace::write(Clock::time_point when, const Client &client, node node, const std::string &text)
{
    char time[32];
    snprintf(time, sizeof time, "%.6f", std::chrono::duration<double>(when - start_).count());
    const std::string line = std::string(time) + " " + std::to_string(client.process) + "/" +
                             printable(client.name) + " " + std::string(node_name(node)) + " " + text;
    if (file_)
        file_->write(line);
    for (const auto &[number, listener] : listeners_)
        listener(line);
}

} // namespace orka::board
