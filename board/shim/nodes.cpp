#include "shim/nodes.h"

#include <atomic>
#include <fcntl.h>
#include <sys/stat.h>

#include "shim/connection.h"
#include "shim/kernel.h"
#include "shim/start.h"

namespace orka::board::shim {

namespace {

constexpr std::string_view device_directory = "/dev/";

consteval bool all_in_device_directory()
{
    for (const wire::node_path &row : wire::node_paths) {
        if (!row.path.starts_with(device_directory))
            return false;
    }
    return true;
}
static_assert(all_in_device_directory());

/* A longer spelling of a node's path is not looked through. */
constexpr size_t longest_path = 256;

std::optional<wire::node> find_path(std::string_view path)
{
    for (const wire::node_path &row : wire::node_paths) {
        if (row.path == path)
            return row.node;
    }
    return {};
}

std::optional<wire::node> find_name(std::string_view name)
{
    for (wire::node_path row : wire::node_paths) {
        row.path.remove_prefix(device_directory.size());
        if (row.path == name)
            return row.node;
    }
    return {};
}

/*
 * Whether the directory part of a path, which ends with its slash or is empty, leads to the device
 * directory.
 */
bool is_device_directory(int directory, const char *part)
{
    identity there;
    identity devices;

    return identify(directory, part, there) == 0 &&
           identify(AT_FDCWD, device_directory.data(), devices) == 0 && there == devices;
}

/* What the server told of a file's number. Numbers are inode numbers, so what was told stays true. */
struct told_entry {
    std::atomic<uint32_t> version{0}; /* odd while it is written */
    std::atomic<uint32_t> number{0};
    std::atomic<uint32_t> node{0};
};

constexpr uint32_t told_count = 64;
constinit told_entry told[told_count];

std::optional<wire::node> recall(uint32_t number)
{
    const told_entry &entry = told[number % told_count];

    const uint32_t before = entry.version.load(std::memory_order_acquire);
    const uint32_t noted = entry.number.load(std::memory_order_relaxed);
    const uint32_t node = entry.node.load(std::memory_order_relaxed);
    std::atomic_thread_fence(std::memory_order_acquire);
    const uint32_t after = entry.version.load(std::memory_order_relaxed);
    if (before == 0 || before % 2 != 0 || before != after || noted != number)
        return {};
    return static_cast<wire::node>(node);
}

/* Gives up where another thread is writing: the next call asks the server again. */
void note(uint32_t number, wire::node node)
{
    told_entry &entry = told[number % told_count];

    uint32_t version = entry.version.load(std::memory_order_relaxed);
    if (version % 2 != 0 ||
        !entry.version.compare_exchange_strong(version, version + 1, std::memory_order_acquire))
        return;
    std::atomic_thread_fence(std::memory_order_release);
    entry.number.store(number, std::memory_order_relaxed);
    entry.node.store(static_cast<uint32_t>(node), std::memory_order_relaxed);
    entry.version.store(version + 2, std::memory_order_release);
}

std::optional<wire::node> ask_server(uint32_t number)
{
    exchange question;
    question.request.operation = static_cast<uint32_t>(protocol::operation::identify);
    question.request.file = number;

    if (transact(question) < 0 || question.reply.error != 0)
        return {};
    const wire::node node = static_cast<wire::node>(question.reply.result);
    note(number, node);
    return node;
}

} // namespace

std::optional<wire::node> find_node(int directory, const char *path)
{
    char copy[longest_path];
    if (!has_board())
        return {};
    const long length = copy_text(path, copy, sizeof copy);
    if (length < 0)
        return {};

    const std::string_view text(copy, static_cast<size_t>(length));
    if (const std::optional<wire::node> found = find_path(text))
        return found;
    /* rfind() of nothing is -1: the name then begins at 0. */
    const size_t name = text.rfind('/') + 1;
    const std::optional<wire::node> found = find_name(&copy[name]);
    copy[name] = '\0';
    return found && is_device_directory(directory, copy) ? found : std::nullopt;
}

std::optional<board_file> find_file(int fd)
{
    identity file;
    if (!has_board() || identify(fd, "", file) < 0 || file.type != S_IFIFO)
        return {};

    const uint32_t number = static_cast<uint32_t>(file.inode);
    std::optional<wire::node> node = recall(number);
    if (!node && control_descriptor(fd, F_GETPIPE_SZ) == protocol::file_pipe_size)
        node = ask_server(number);
    if (!node)
        return {};
    return board_file{.number = number, .node = *node};
}

} // namespace orka::board::shim
