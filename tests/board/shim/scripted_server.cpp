#include "board/shim/scripted_server.h"

#include <cerrno>
#include <chrono>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <stdexcept>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/un.h>
#include <unistd.h>

namespace orka::board::test {

namespace {

int must(int result, const char *what)
{
    if (result < 0)
        throw std::runtime_error(std::string(what) + ": " + strerror(errno));
    return result;
}

int make_memory()
{
    const int memory = must(memfd_create("scripted", MFD_CLOEXEC | MFD_ALLOW_SEALING), "memfd_create");

    must(ftruncate(memory, memory_size), "ftruncate");
    must(fcntl(memory, F_ADD_SEALS, F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_SEAL), "F_ADD_SEALS");
    return memory;
}

pid_t peer_of(int socket)
{
    ucred peer{};
    socklen_t length = sizeof peer;

    must(getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &peer, &length), "SO_PEERCRED");
    return peer.pid;
}

void send_reply(int socket, const Answer &answer, uint32_t memory, int descriptor)
{
    protocol::reply reply{.error = answer.error,
                          .result = answer.result,
                          .memory = memory,
                          .length = static_cast<uint32_t>(answer.bytes.size())};
    iovec parts[2] = {{&reply, sizeof reply},
                      {const_cast<uint8_t *>(answer.bytes.data()), answer.bytes.size()}};
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int))] = {};
    msghdr message{};
    message.msg_iov = parts;
    message.msg_iovlen = 2;
    if (descriptor >= 0) {
        message.msg_control = control;
        message.msg_controllen = sizeof control;
        cmsghdr *header = CMSG_FIRSTHDR(&message);
        *header = {.cmsg_len = CMSG_LEN(sizeof(int)), .cmsg_level = SOL_SOCKET, .cmsg_type = SCM_RIGHTS};
        memcpy(CMSG_DATA(header), &descriptor, sizeof descriptor);
    }
    sendmsg(socket, &message, MSG_NOSIGNAL);
}

std::vector<uint8_t> machine_bytes(int memory)
{
    struct stat status {};
    must(fstat(memory, &status), "fstat");
    const protocol::machine machine{.memory_inode = status.st_ino,
                                    .memory_major = major(status.st_dev),
                                    .memory_minor = minor(status.st_dev)};
    std::vector<uint8_t> bytes(sizeof machine);
    memcpy(bytes.data(), &machine, sizeof machine);
    return bytes;
}

} // namespace

struct ScriptedServer::Connection {
    int fd;
    int number;
    pid_t process;
    bool holding = false;
    Answer held{};
};

ScriptedServer::ScriptedServer() : memory_(make_memory())
{
    char name[] = "/tmp/orka-shim-XXXXXX";
    directory_ = mkdtemp(name);
    path_ = directory_ + "/socket";
    listener_ = must(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0), "socket");
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path_.copy(address.sun_path, sizeof address.sun_path - 1);
    must(bind(listener_, reinterpret_cast<sockaddr *>(&address), sizeof address), "bind");
    must(listen(listener_, 64), "listen");
    must(pipe2(wake_, O_CLOEXEC), "pipe");
    thread_ = std::thread([this] { run(); });
}

ScriptedServer::~ScriptedServer()
{
    close(wake_[1]);
    thread_.join();
    close_all();
    close(wake_[0]);
    close(memory_);
    unlink(path_.c_str());
    rmdir(directory_.c_str());
}

void ScriptedServer::on(protocol::operation operation, Script script)
{
    const std::lock_guard lock(mutex_);
    scripts_[operation] = std::move(script);
}

void ScriptedServer::make_files_readable()
{
    const std::lock_guard lock(mutex_);
    readable_ = true;
}

void ScriptedServer::make_memory_cached()
{
    const std::lock_guard lock(mutex_);
    cached_ = true;
}

/* It stays where it is, and runs outside of the lock. */
ScriptedServer::Script *ScriptedServer::script_for(protocol::operation operation)
{
    const std::lock_guard lock(mutex_);
    const auto found = scripts_.find(operation);
    return found == scripts_.end() ? nullptr : &found->second;
}

void ScriptedServer::replace_memory()
{
    close(memory_);
    memory_ = make_memory();
}

std::vector<Asked> ScriptedServer::asked() const
{
    const std::lock_guard lock(mutex_);
    return asked_;
}

std::vector<Asked> ScriptedServer::asked(protocol::operation operation) const
{
    std::vector<Asked> found;
    for (const Asked &one : asked()) {
        if (one.operation == operation)
            found.push_back(one);
    }
    return found;
}

size_t ScriptedServer::files() const
{
    const std::lock_guard lock(mutex_);
    return files_.size();
}

bool ScriptedServer::wait_until(const std::function<bool()> &condition)
{
    for (int turn = 0; turn < 1000; turn++) {
        if (condition())
            return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return false;
}

void ScriptedServer::run()
{
    for (;;) {
        std::vector<pollfd> entries{{wake_[0], POLLIN, 0}, {listener_, POLLIN, 0}};
        for (const Connection &connection : connections_)
            entries.push_back({connection.fd, POLLIN, 0});
        /* Pipes that everybody has closed show within the time limit. */
        poll(entries.data(), entries.size(), 10);
        if (entries[0].revents != 0)
            return;
        for (size_t i = 0; i < connections_.size(); i++) {
            if (entries[i + 2].revents != 0)
                serve(connections_[i]);
        }
        std::erase_if(connections_, [](const Connection &connection) { return connection.fd < 0; });
        if (entries[1].revents != 0 && listener_ >= 0)
            greet_newcomer();
        drop_closed_files();
    }
}

void ScriptedServer::greet_newcomer()
{
    const int fd = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);

    if (fd >= 0)
        connections_.push_back({.fd = fd, .number = connection_count_++, .process = peer_of(fd)});
}

void ScriptedServer::serve(Connection &connection)
{
    uint8_t packet[sizeof(protocol::request) + protocol::payload_limit];
    const ssize_t received = recv(connection.fd, packet, sizeof packet, 0);
    if (received < static_cast<ssize_t>(sizeof(protocol::request))) {
        close(connection.fd);
        connection.fd = -1;
        return;
    }

    Asked asked{.operation = {},
                .request = {},
                .bytes = {},
                .connection = connection.number,
                .process = connection.process};
    memcpy(&asked.request, packet, sizeof asked.request);
    asked.operation = static_cast<protocol::operation>(asked.request.operation);
    asked.bytes.assign(packet + sizeof asked.request, packet + received);
    {
        const std::lock_guard lock(mutex_);
        asked_.push_back(asked);
    }
    handle(connection, asked);
}

void ScriptedServer::handle(Connection &connection, const Asked &asked)
{
    if (asked.operation == protocol::operation::cancel) {
        if (connection.holding)
            send_reply(connection.fd, connection.held, 0, -1);
        connection.holding = false;
        return;
    }

    int descriptor = -1;
    Script *const script = script_for(asked.operation);
    Answer answer = script != nullptr ? (*script)(asked) : answer_by_default(asked, descriptor);
    if (answer.deed == Deed::hold) {
        connection.holding = true;
        connection.held = answer;
    } else if (answer.deed == Deed::stop) {
        close_all();
    } else if (answer.deed == Deed::drop) {
        close(connection.fd);
        connection.fd = -1;
    } else {
        send_reply(connection.fd, answer, memory_size, descriptor);
    }
    if (descriptor >= 0)
        close(descriptor);
}

Answer ScriptedServer::answer_by_default(const Asked &asked, int &descriptor)
{
    if (asked.operation == protocol::operation::open)
        return open_file(asked, descriptor);
    if (asked.operation == protocol::operation::outside || asked.operation == protocol::operation::sync)
        return {};

    const std::lock_guard lock(mutex_);
    if (asked.operation == protocol::operation::hello)
        return {.result = cached_, .bytes = machine_bytes(memory_)};
    const auto file = files_.find(asked.request.file);
    if (file == files_.end())
        return {.error = protocol::unknown_file};
    if (asked.operation == protocol::operation::identify)
        return {.result = static_cast<int32_t>(file->second.node)};
    if (asked.bytes.size() < asked.request.length)
        return {.error = EFAULT};
    const wire::request_row *row = wire::find_request(file->second.node, asked.request.number);
    if (row == nullptr)
        return {.error = ENOTTY};
    Answer answer{.bytes = asked.bytes};
    answer.bytes.resize(row->out);
    for (uint8_t &byte : answer.bytes)
        byte++;
    return answer;
}

Answer ScriptedServer::open_file(const Asked &asked, int &descriptor)
{
    const wire::node node = static_cast<wire::node>(asked.request.node);
    if (node == wire::node::mem) {
        const std::string path = "/proc/self/fd/" + std::to_string(memory_);
        descriptor = must(open(path.c_str(), static_cast<int>(asked.request.flags) | O_CLOEXEC), "memory");
        return {};
    }

    int ends[2];
    must(pipe2(ends, O_CLOEXEC | (static_cast<int>(asked.request.flags) & O_NONBLOCK)), "pipe");
    must(fcntl(ends[0], F_SETPIPE_SZ, protocol::file_pipe_size), "F_SETPIPE_SZ");
    struct stat status {};
    must(fstat(ends[0], &status), "fstat");
    const std::lock_guard lock(mutex_);
    if (readable_ && write(ends[1], "", 1) != 1)
        throw std::runtime_error("the pipe takes no byte");
    files_[static_cast<uint32_t>(status.st_ino)] = {.writing_end = ends[1], .node = node};
    descriptor = ends[0];
    return {};
}

void ScriptedServer::drop_closed_files()
{
    const std::lock_guard lock(mutex_);
    std::erase_if(files_, [](const auto &entry) {
        pollfd end{entry.second.writing_end, 0, 0};
        poll(&end, 1, 0);
        if ((end.revents & POLLERR) != 0)
            close(entry.second.writing_end);
        return (end.revents & POLLERR) != 0;
    });
}

void ScriptedServer::close_all()
{
    const std::lock_guard lock(mutex_);
    /* The files first: who sees its connection break finds them hung up. */
    for (const auto &[number, file] : files_)
        close(file.writing_end);
    files_.clear();
    for (Connection &connection : connections_) {
        if (connection.fd >= 0)
            close(connection.fd);
        connection.fd = -1;
    }
    if (listener_ >= 0)
        close(listener_);
    listener_ = -1;
}

} // namespace orka::board::test
