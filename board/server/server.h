/* The board's server: who is connected, which files are open, and which driver serves each node. */
#ifndef ORKA_BOARD_SERVER_SERVER_H
#define ORKA_BOARD_SERVER_SERVER_H

#include <map>
#include <memory>
#include <string>
#include <unordered_map>

#include "drivers/driver.h"
#include "server/connection.h"
#include "server/device_file.h"
#include "server/fault_injector.h"
#include "server/trace.h"

namespace orka::board {

/* A listening socket at path that this user's programs alone can reach. Throws std::system_error; a path that
   is too long, that a living board serves, or in a directory that other users can change, is such an error.
   What a dead board left there is replaced. */
int listen_at(const std::string &path);

class Server {
  public:
    /* listener is the server's own from now on; trace may be null. */
    Server(Machine &machine, int listener, Trace *trace, const std::vector<Fault> &faults = {});
    ~Server();
    Server(const Server &) = delete;
    Server &operator=(const Server &) = delete;

    /* A driver may serve several nodes. One without a driver can be opened and takes no request. */
    void attach(wire::node node, std::shared_ptr<Driver> driver);

    uint32_t greeted_clients() const { return greeted_clients_; } /* connections since the start */
    void tell_idle_faults() const { faults_.tell_idle(); }

    /* For the connections. */
    Memory &memory() { return machine_.memory; }
    Driver *driver(wire::node node) const;
    std::shared_ptr<DeviceFile> find(uint32_t number) const;
    /* A descriptor, or a negative errno value. */
    int open(const Client &client, uint32_t node, uint32_t flags);
    protocol::machine machine() const;
    Screen *screen() const { return machine_.screen; }
    std::string status() const; /* of the whole board, as JSON */
    void greeted() { greeted_clients_++; }
    void hand_over(std::shared_ptr<PendingCall> call); /* to the driver of its node, which has one */
    void refused_mapping(const Client &client, const protocol::range &range);
    void refused(const Client &client, const DeviceFile &file, uint32_t number, int error);
    void call_answered(const PendingCall &call, int error, std::span<const uint8_t> out);
    void call_abandoned(const PendingCall &call);

  private:
    void accept_client();
    void pause_accepting();
    bool trusted(int fd, Client &client);
    void add_connection(int fd, Client client);
    int open_node(const Client &client, uint32_t node, uint32_t flags);
    int open_memory(uint32_t flags) const;
    int open_file(const Client &client, wire::node node, uint32_t flags);
    void last_close(std::shared_ptr<DeviceFile> file);
    void call_over(const std::shared_ptr<DeviceFile> &file);
    void release(const std::shared_ptr<DeviceFile> &file);

    Machine &machine_;
    int listener_;
    Trace *trace_;
    FaultInjector faults_;
    const Clock::time_point start_ = Clock::now();
    uint32_t greeted_clients_ = 0;
    bool crowded_ = false; /* no descriptors left, and said so */
    std::map<wire::node, std::shared_ptr<Driver>> drivers_;
    std::unordered_map<uint32_t, std::shared_ptr<DeviceFile>> files_;
    std::unordered_map<uint32_t, std::shared_ptr<DeviceFile>> closing_; /* closed, with requests under way */
    std::unordered_map<int, std::unique_ptr<Connection>> connections_;
};

} // namespace orka::board

#endif
