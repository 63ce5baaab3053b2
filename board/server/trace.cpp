#include "server/trace.h"

#include <cstdio>
#include <cstring>
#include <string_view>

#include <fcntl.h>

namespace orka::board {

namespace {

using wire::node;

enum class form : uint8_t { u8, u16, u32, i32, address, text };

struct field {
    std::string_view name;
    size_t offset;
    form as;
};

constexpr field image_name[] = {{"name", 0, form::text}};
constexpr field bytes[] = {{"bytes", 0, form::u32}};
constexpr field address[] = {{"address", 0, form::address}};

constexpr field video_framework[] = {
    {"channel", offsetof(wire::video_framework_record, channel), form::i32},
    {"stream", offsetof(wire::video_framework_record, stream), form::i32},
    {"name", offsetof(wire::video_framework_record, name), form::text},
};
constexpr field channel[] = {
    {"channel", offsetof(wire::channel_record, channel), form::i32},
    {"stream", offsetof(wire::channel_record, stream), form::i32},
};

constexpr size_t audio_params = offsetof(wire::audio_setup_record, params);
constexpr field audio_setup[] = {
    {"channel", offsetof(wire::audio_setup_record, channel), form::i32},
    {"stream", offsetof(wire::audio_setup_record, stream), form::i32},
    {"codec", audio_params + offsetof(orka_idecode_audio_params_t, codec), form::u32},
    {"channels", audio_params + offsetof(orka_idecode_audio_params_t, channels), form::u8},
    {"sample_rate", audio_params + offsetof(orka_idecode_audio_params_t, sample_rate), form::u32},
    {"bitrate", audio_params + offsetof(orka_idecode_audio_params_t, bitrate), form::u32},
    {"bitrate_bps", audio_params + offsetof(orka_idecode_audio_params_t, bitrate_bps), form::u32},
    {"extra1", audio_params + offsetof(orka_idecode_audio_params_t, extra1), form::u32},
    {"extra2", audio_params + offsetof(orka_idecode_audio_params_t, extra2), form::u32},
    {"bufsize", audio_params + offsetof(orka_idecode_audio_params_t, bufsize), form::u32},
    {"bufcount", audio_params + offsetof(orka_idecode_audio_params_t, bufcount), form::u32},
    {"maxframe", audio_params + offsetof(orka_idecode_audio_params_t, maxframe), form::u32},
};

constexpr size_t video_params = offsetof(wire::video_setup_record, params);
constexpr field video_setup[] = {
    {"channel", offsetof(wire::video_setup_record, channel), form::i32},
    {"stream", offsetof(wire::video_setup_record, stream), form::i32},
    {"codec", video_params + offsetof(orka_idecode_video_params_t, codec), form::u32},
    {"width", video_params + offsetof(orka_idecode_video_params_t, width), form::u32},
    {"height", video_params + offsetof(orka_idecode_video_params_t, height), form::u32},
    {"flag", video_params + offsetof(orka_idecode_video_params_t, flag), form::u8},
    {"bufsize", video_params + offsetof(orka_idecode_video_params_t, bufsize), form::u32},
    {"bufcount", video_params + offsetof(orka_idecode_video_params_t, bufcount), form::u32},
    {"maxframe", video_params + offsetof(orka_idecode_video_params_t, maxframe), form::u32},
};

constexpr field flush[] = {
    {"channel", offsetof(wire::flush_record, channel), form::i32},
    {"stream", offsetof(wire::flush_record, stream), form::i32},
    {"flush", offsetof(wire::flush_record, flush), form::u32},
};
constexpr field gain[] = {
    {"first_mantissa", offsetof(orka_idecode_gain_t, first_mantissa), form::u16},
    {"second_mantissa", offsetof(orka_idecode_gain_t, second_mantissa), form::u16},
    {"first_shift", offsetof(orka_idecode_gain_t, first_shift), form::u16},
    {"second_shift", offsetof(orka_idecode_gain_t, second_shift), form::u16},
};
constexpr field wait[] = {
    {"channel", offsetof(wire::wait_record, channel), form::i32},
    {"stream", offsetof(wire::wait_record, stream), form::i32},
    {"timeout", offsetof(wire::wait_record, timeout), form::i32},
};
constexpr field wait_status[] = {{"status", offsetof(wire::wait_record, status), form::i32}};
constexpr field queue[] = {
    {"channel", offsetof(wire::queue_record, channel), form::i32},
    {"stream", offsetof(wire::queue_record, stream), form::i32},
    {"queueid", offsetof(wire::queue_record, queueid), form::u32},
};
constexpr field queue_place[] = {
    {"length", offsetof(wire::queue_record, length), form::u32},
    {"pbase", offsetof(wire::queue_record, pbase), form::address},
};
constexpr field frame_request[] = {
    {"channel", offsetof(wire::frame_request_record, channel), form::i32},
    {"stream", offsetof(wire::frame_request_record, stream), form::i32},
    {"queueid", offsetof(wire::frame_request_record, queueid), form::u32},
    {"timeout", offsetof(wire::frame_request_record, timeout), form::i32},
};
constexpr field frame_status[] = {{"status", offsetof(wire::frame_request_record, status), form::i32}};
constexpr field frame_return[] = {
    {"channel", offsetof(wire::frame_return_record, channel), form::i32},
    {"stream", offsetof(wire::frame_return_record, stream), form::i32},
    {"queueid", offsetof(wire::frame_return_record, queueid), form::u32},
};
constexpr field audio_clock[] = {{"channel", offsetof(wire::audio_clock_record, channel), form::i32}};
constexpr field audio_time[] = {{"tsms", offsetof(wire::audio_clock_record, tsms), form::u32}};
constexpr field video_time[] = {{"tsms", offsetof(wire::video_clock_record, tsms), form::u32}};

/* Within a record that carries a frame. */
constexpr field frame[] = {
    {"kind", offsetof(orka_idecode_frame_t, kind), form::u32},
    {"flags", offsetof(orka_idecode_frame_t, flags), form::u32},
    {"number", offsetof(orka_idecode_frame_t, number), form::u32},
    {"addr", offsetof(orka_idecode_frame_t, addr), form::address},
    {"size", offsetof(orka_idecode_frame_t, size), form::u32},
    {"width", offsetof(orka_idecode_frame_t, width), form::u32},
    {"height", offsetof(orka_idecode_frame_t, height), form::u32},
    {"tsms", offsetof(orka_idecode_frame_t, tsms), form::u32},
    {"stride", offsetof(orka_idecode_frame_t, stride), form::u32},
    {"capacity", offsetof(orka_idecode_frame_t, capacity), form::u32},
    {"duration", offsetof(orka_idecode_frame_t, duration), form::u32},
};
constexpr size_t no_frame = 0;
constexpr size_t returned_frame = offsetof(wire::frame_return_record, frame);
constexpr size_t given_frame = offsetof(wire::frame_request_record, frame);

/* What the records of a request hold; on the video node LOAD has another. */
struct layout {
    uint32_t number;
    std::span<const field> in;
    size_t in_frame;
    std::span<const field> out = {};
    size_t out_frame = no_frame; /* there when the status before it is 0 */
    bool waits = false;
};

constexpr layout layouts[] = {
    {wire::IMANAGE_LOAD, image_name, no_frame},
    {wire::IMANAGE_RESET, {}, no_frame},
    {wire::IMANAGE_ALLOC, bytes, no_frame, address},
    {wire::IMANAGE_FREE, address, no_frame},
    {wire::IDECODE_LOAD, image_name, no_frame},
    {wire::IDECODE_SETUP_AUDIO, audio_setup, no_frame},
    {wire::IDECODE_SETUP_VIDEO, video_setup, no_frame},
    {wire::IDECODE_INIT, channel, no_frame},
    {wire::IDECODE_START, channel, no_frame},
    {wire::IDECODE_PAUSE, channel, no_frame},
    {wire::IDECODE_REWIND, channel, no_frame},
    {wire::IDECODE_FASTFORWARD, channel, no_frame},
    {wire::IDECODE_FLUSH, flush, no_frame},
    {wire::IDECODE_STOP, channel, no_frame},
    {wire::IDECODE_TEARDOWN, channel, no_frame},
    {wire::IDECODE_WAIT, wait, no_frame, wait_status, no_frame, true},
    {wire::IDECODE_SET_GAIN, gain, no_frame},
    {wire::IDECODE_QUEUE, queue, no_frame, queue_place},
    {wire::IDECODE_NEW_FRAME, frame_request, no_frame, frame_status, given_frame, true},
    {wire::IDECODE_COMMIT_FRAME, frame_return, returned_frame},
    {wire::IDECODE_GET_FRAME, frame_request, no_frame, frame_status, given_frame, true},
    {wire::IDECODE_RELEASE_FRAME, frame_return, returned_frame},
    {wire::IDECODE_RESET_AUDIO_CLOCK, audio_clock, no_frame},
    {wire::IDECODE_GET_AUDIO_CLOCK, audio_clock, no_frame, audio_time},
    {wire::IDECODE_GET_VIDEO_CLOCK, {}, no_frame, video_time},
};
constexpr layout video_load = {wire::IDECODE_LOAD, video_framework, no_frame};

constexpr const layout *find_layout(const wire::request_row &row)
{
    if (row.node == node::vdecode && row.number == wire::IDECODE_LOAD)
        return &video_load;
    for (const layout &candidate : layouts) {
        if (candidate.number == row.number)
            return &candidate;
    }
    return nullptr;
}

constexpr bool every_request_has_a_layout()
{
    for (const wire::request_row &row : wire::requests) {
        if (!find_layout(row))
            return false;
    }
    return true;
}
static_assert(every_request_has_a_layout());

template <typename Word>
Word word_at(std::span<const uint8_t> record, size_t offset)
{
    Word word = 0;
    if (offset + sizeof word <= record.size())
        memcpy(&word, record.data() + offset, sizeof word);
    return word;
}

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

std::string_view node_name(node number)
{
    for (const wire::node_path &path : wire::node_paths) {
        if (path.node == number)
            return path.path;
    }
    return "?";
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

Trace::Trace(const std::string &path) : file_(path) {}

void Trace::opened(const Client &client, node node, uint32_t flags, int error)
{
    const uint32_t mode = flags & O_ACCMODE;
    const char *const name = mode == O_RDONLY ? "O_RDONLY" : mode == O_WRONLY ? "O_WRONLY" : "O_RDWR";
    write(Clock::now(), client, node,
          std::string("open(") + name + (flags & O_NONBLOCK ? "|O_NONBLOCK" : "") +
              ") = " + result_text(error));
}

void Trace::closed(const DeviceFile &file)
{
    write(Clock::now(), file.opener(), file.node(), "close()");
}

void Trace::answered(const PendingCall &call, int error, std::span<const uint8_t> out)
{
    std::string text = call_text(call) + " = " + result_text(error);
    if (const std::string fields = error ? "" : describe_answer(call.row(), out); !fields.empty())
        text += " {" + fields + "}";
    if (find_layout(call.row())->waits)
        text += duration_text(call.started());
    write(call.started(), call.client(), call.device_file()->node(), text);
}

void Trace::abandoned(const PendingCall &call)
{
    write(call.started(), call.client(), call.device_file()->node(),
          call_text(call) + " = ? (the program is gone)" + duration_text(call.started()));
}

void Trace::refused(const Client &client, node node, uint32_t number, int error)
{
    const wire::request_row *const row = wire::find_request(node, number);
    write(Clock::now(), client, node,
          (row ? std::string(row->name) : address_text(number)) + "() = " + result_text(error));
}

void Trace::write(Clock::time_point when, const Client &client, node node, const std::string &text)
{
    char time[32];
    snprintf(time, sizeof time, "%.6f", std::chrono::duration<double>(when - start_).count());
    file_.write(std::string(time) + " " + std::to_string(client.process) + "/" + printable(client.name) +
                " " + std::string(node_name(node)) + " " + text);
}

} // namespace orka::board
