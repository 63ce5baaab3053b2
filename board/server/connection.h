/* One client's connection: at most one request under way. */
#ifndef ORKA_BOARD_SERVER_CONNECTION_H
#define ORKA_BOARD_SERVER_CONNECTION_H

#include "protocol/protocol.h"
#include "server/pending_call.h"

namespace orka::board {

class Server;

class Connection final : public CallOwner {
  public:
    /* fd is the connection's own from now on. */
    Connection(Server &server, int fd, Client client);
    ~Connection() override;
    Connection(const Connection &) = delete;
    Connection &operator=(const Connection &) = delete;

    /* Takes one packet; false when the connection is over: the client is gone or said what makes no sense. */
    bool receive();

    void answered(PendingCall &call, int error, std::span<const uint8_t> out) override;

  private:
    bool accept_packet(const protocol::request &request, std::span<const uint8_t> payload);
    bool serve(protocol::operation operation, const protocol::request &request,
               std::span<const uint8_t> payload);
    void hello(const protocol::request &request);
    void open(const protocol::request &request);
    void identify(const protocol::request &request);
    void control(const protocol::request &request, std::span<const uint8_t> payload);
    bool outside(std::span<const uint8_t> payload);
    bool sync(std::span<const uint8_t> payload);
    void screenshot(const protocol::request &request);
    void status();
    int check_control(const protocol::request &request, std::span<const uint8_t> payload,
                      const std::shared_ptr<DeviceFile> &file) const;
    void send(const protocol::reply &reply, std::span<const uint8_t> out = {}, int passed = -1);
    void hand_over(int fd, std::span<const uint8_t> out = {});

    Server &server_;
    int fd_;
    Client client_;
    bool greeted_ = false;
    PendingCall *call_ = nullptr; /* the driver owns it */
};

} // namespace orka::board

#endif
