#include "server/server.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <set>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/un.h>
#include <unistd.h>

#include <nlohmann/json.hpp>

#include "server/cache.h"
#include "server/directory_safety.h"

namespace orka::board {

namespace {

constexpr int backlog = 64;
constexpr auto crowded_pause = std::chrono::milliseconds(100);

std::system_error failure(int error, const std::string &what)
{
    return {error, std::generic_category(), what};
}

sockaddr_un address_of(const std::string &path)
{
    sockaddr_un address{.sun_family = AF_UNIX};
    if (path.size() >= sizeof address.sun_path)
        throw failure(ENAMETOOLONG, "the board's socket " + path);
    memcpy(address.sun_path, path.c_str(), path.size() + 1);
    return address;
}

/* True for a socket that nobody listens on any more. */
bool left_behind(const sockaddr_un &address)
{
    struct stat status {};
    if (lstat(address.sun_path, &status) != 0 || !S_ISSOCK(status.st_mode))
        return false;
    const int fd = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
    if (fd < 0)
        return false;
    const bool dead = connect(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0 &&
                      errno == ECONNREFUSED;
    close(fd);
    return dead;
}

/* One that is not there is what bind tells of. */
void refuse_unsafe_directory(const std::string &path)
{
    const std::filesystem::path parent = std::filesystem::path(path).parent_path();
    const std::filesystem::path directory = parent.empty() ? "." : parent;
    std::error_code unknown;
    if (std::filesystem::is_directory(directory, unknown) && !is_safe_directory(directory))
        throw failure(EPERM, "the board's socket " + path + ": other users can change its directory");
}

std::string process_name(int32_t process)
{
    std::string name;
    std::ifstream file("/proc/" + std::to_string(process) + "/comm");
    std::getline(file, name);
    return name;
}

nlohmann::json report_of(const DeviceFile &file)
{
    return {{"node", node_name(file.node())},
            {"process", file.process()},
            {"program", printable(file.opener().name)},
            {"file", file.number()}};
}

nlohmann::json report_of(const RangeAllocator &range)
{
    return {{"base", range.base()},
            {"bytes", range.length()},
            {"free", range.available()},
            {"blocks", range.blocks().size()}};
}

} // namespace

int listen_at(const std::string &path)
{
    const sockaddr_un address = address_of(path);
    refuse_unsafe_directory(path);
    if (left_behind(address))
        unlink(path.c_str());
    const int fd = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (fd < 0)
        throw failure(errno, "socket");
    const mode_t mask = umask(0177);
    const bool listening = bind(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0 &&
                           listen(fd, backlog) == 0;
    const int error = errno;
    umask(mask);
    if (listening)
        return fd;
    close(fd);
    throw failure(error, "the board's socket " + path);
}

Server::Server(Machine &machine, int listener, Trace *trace, const std::vector<Fault> &faults)
    : machine_(machine), listener_(listener), trace_(trace), faults_(machine, faults)
{
    machine_.reactor.watch(listener_, EPOLLIN, [this](uint32_t) { accept_client(); });
}

Server::~Server()
{
    machine_.reactor.unwatch(listener_);
    close(listener_);
    for (const auto &[fd, connection] : connections_)
        machine_.reactor.unwatch(fd);
    connections_.clear();
    while (!files_.empty())
        last_close(files_.begin()->second);
}

void Server::attach(wire::node node, std::shared_ptr<Driver> driver)
{
    drivers_[node] = std::move(driver);
}

Driver *Server::driver(wire::node node) const
{
    const auto found = drivers_.find(node);
    return found == drivers_.end() ? nullptr : found->second.get();
}

std::shared_ptr<DeviceFile> Server::find(uint32_t number) const
{
    const auto found = files_.find(number);
    return found == files_.end() ? nullptr : found->second;
}

protocol::machine Server::machine() const
{
    struct stat status {};
    fstat(machine_.memory.fd(), &status);
    return {.memory_inode = status.st_ino,
            .memory_major = major(status.st_dev),
            .memory_minor = minor(status.st_dev)};
}

std::string Server::status() const
{
    nlohmann::json all;
    all["board"] = {
        {"process", getpid()},
        {"uptime_ms", std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start_).count()},
        {"clock", machine_.options.real_time ? "real" : "fast"},
        {"held", machine_.presentation.is_held()},
        {"memory", machine_.memory.size()},
        {"strict_cache", machine_.memory.is_cached()}};
    all["queues"] = report_of(machine_.memory.queues());
    all["faults"] = faults_.report();
    all["nodes"] = nlohmann::json::array();
    for (const auto &[number, file] : std::map(files_.begin(), files_.end()))
        all["nodes"].push_back(report_of(*file));
    std::set<const Driver *> told;
    for (const auto &[node, driver] : drivers_) {
        if (told.insert(driver.get()).second)
            driver->report(all);
    }
    return all.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

void Server::refused_mapping(const Client &client, const protocol::range &range)
{
    char text[128];
    snprintf(text, sizeof text,
             "mem: refused to map %llu bytes at 0x%08llx for process %d: physical memory ends at 0x%08x",
             static_cast<unsigned long long>(range.length), static_cast<unsigned long long>(range.offset),
             client.process, machine_.memory.size());
    machine_.log(text);
}

void Server::accept_client()
{
    Client client;
    const int fd = accept4(listener_, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);

    if (fd < 0) {
        if (errno == EMFILE || errno == ENFILE)
            pause_accepting();
        return;
    }
    if (!trusted(fd, client)) {
        close(fd);
        return;
    }
    try {
        add_connection(fd, std::move(client));
    } catch (const std::system_error &error) {
        machine_.log(std::string("refused a program: ") + error.what());
    }
}

/* Those who wait stay in the backlog until somebody else is gone. */
void Server::pause_accepting()
{
    if (!std::exchange(crowded_, true))
        machine_.log("no descriptors left for more clients: they wait");
    machine_.reactor.unwatch(listener_);
    machine_.reactor.at(Clock::now() + crowded_pause, [this] {
        machine_.reactor.watch(listener_, EPOLLIN, [this](uint32_t) { accept_client(); });
    });
}

bool Server::trusted(int fd, Client &client)
{
    ucred peer{};
    socklen_t length = sizeof peer;

    if (getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &peer, &length) != 0)
        return false;
    if (peer.uid != geteuid()) {
        machine_.log("refused a program of user " + std::to_string(peer.uid));
        return false;
    }
    client = {.process = peer.pid, .name = process_name(peer.pid)};
    return true;
}

void Server::add_connection(int fd, Client client)
{
    auto connection = std::make_unique<Connection>(*this, fd, std::move(client));
    machine_.reactor.watch(fd, EPOLLIN, [this, fd, added = connection.get()](uint32_t) {
        if (added->receive())
            return;
        machine_.reactor.unwatch(fd);
        connections_.erase(fd);
    });
    connections_[fd] = std::move(connection);
}

int Server::open(const Client &client, uint32_t node, uint32_t flags)
{
    const auto wanted = static_cast<wire::node>(node);
    std::string mark;
    const int injected = node < wire::node_count ? faults_.opening_error(client, wanted, mark) : 0;
    const int fd = injected != 0 ? -injected : open_node(client, node, flags);
    if (trace_)
        trace_->opened(client, wanted, flags, fd < 0 ? -fd : 0, mark);
    return fd;
}

int Server::open_node(const Client &client, uint32_t node, uint32_t flags)
{
    const auto wanted = static_cast<wire::node>(node);
    if ((flags & O_ACCMODE) == O_ACCMODE)
        return -EINVAL;
    if (wanted == wire::node::mem)
        return open_memory(flags);
    return node < wire::node_count ? open_file(client, wanted, flags) : -ENXIO;
}

/* Opened anew for each: the access mode asked for is the one that the kernel then enforces. */
int Server::open_memory(uint32_t flags) const
{
    const std::string path = "/proc/self/fd/" + std::to_string(machine_.memory.fd());
    const int fd = ::open(path.c_str(), static_cast<int>(flags & (O_ACCMODE | O_NONBLOCK)) | O_CLOEXEC);
    return fd < 0 ? -errno : fd;
}

int Server::open_file(const Client &client, wire::node node, uint32_t flags)
{
    int reader = -1;
    std::shared_ptr<DeviceFile> file;
    try {
        file = std::make_shared<DeviceFile>(node, client, (flags & O_NONBLOCK) != 0, reader);
        files_[file->number()] = file;
        machine_.reactor.watch(file->writer(), 0, [this, key = file->number()](uint32_t) {
            if (const std::shared_ptr<DeviceFile> closed = find(key))
                last_close(closed);
        });
        if (Driver *const serves = driver(node))
            serves->opened(*file);
        return reader;
    } catch (const std::system_error &error) {
        if (file) {
            files_.erase(file->number());
            close(reader);
        }
        return -error.code().value();
    }
}

void Server::last_close(std::shared_ptr<DeviceFile> file)
{
    machine_.reactor.unwatch(file->writer());
    files_.erase(file->number());
    if (file->busy())
        closing_[file->number()] = std::move(file);
    else
        release(file);
}

void Server::release(const std::shared_ptr<DeviceFile> &file)
{
    if (trace_)
        trace_->closed(*file);
    if (Driver *const served = driver(file->node()))
        served->closed(*file);
}

/* Not at once: the driver that answers may be in the midst of its own lists. */
void Server::call_over(const std::shared_ptr<DeviceFile> &file)
{
    const auto found = closing_.find(file->number());
    if (file->busy() || found == closing_.end() || found->second != file)
        return;
    closing_.erase(found);
    machine_.reactor.post([this, file] { release(file); });
}

void Server::hand_over(std::shared_ptr<PendingCall> call)
{
    Driver &serves = *driver(call->device_file()->node());
    hand_in_frame(machine_.memory, *call);
    faults_.control(std::move(call), serves);
}

void Server::refused(const Client &client, const DeviceFile &file, uint32_t number, int error)
{
    if (trace_)
        trace_->refused(client, file.node(), number, error);
}

void Server::call_answered(const PendingCall &call, int error, std::span<const uint8_t> out)
{
    if (error == 0)
        hand_out_frame(machine_.memory, call, out);
    if (trace_)
        trace_->answered(call, error, out);
    call_over(call.device_file());
}

void Server::call_abandoned(const PendingCall &call)
{
    if (trace_)
        trace_->abandoned(call);
    call_over(call.device_file());
}

} // namespace orka::board
