/* A client that says to the server whatever a test wants, sense or not. */
#ifndef ORKA_TESTS_BOARD_RAW_CLIENT_H
#define ORKA_TESTS_BOARD_RAW_CLIENT_H

#include <gtest/gtest.h>

#include <cstring>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include "protocol/protocol.h"
#include "wire/orka_nodes.h"

namespace orka::board {

/* A descriptor that closes itself. */
class Descriptor {
  public:
    explicit Descriptor(int fd = -1) : fd_(fd) {}
    Descriptor(Descriptor &&other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    Descriptor &operator=(Descriptor &&other) noexcept
    {
        std::swap(fd_, other.fd_);
        return *this;
    }
    ~Descriptor() { reset(); }
    void reset()
    {
        if (fd_ >= 0)
            close(std::exchange(fd_, -1));
    }
    operator int() const { return fd_; }

  private:
    int fd_;
};

struct Answer {
    bool received = false; /* false: the server ended the connection */
    protocol::reply reply{};
    std::vector<uint8_t> out;
    Descriptor passed;
};

inline uint32_t inode_of(int fd)
{
    struct stat status {};
    EXPECT_EQ(fstat(fd, &status), 0);
    return static_cast<uint32_t>(status.st_ino);
}

class RawClient {
  public:
    explicit RawClient(const std::string &path) : fd_(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0))
    {
        sockaddr_un address{.sun_family = AF_UNIX};
        memcpy(address.sun_path, path.c_str(), path.size() + 1);
        connected_ = connect(fd_, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0;
    }

    bool connected() const { return connected_; }
    int fd() const { return fd_; }
    void hang_up() { fd_.reset(); }

    void send_bytes(const void *data, size_t length) const { ::send(fd_, data, length, MSG_NOSIGNAL); }

    void send(protocol::request request, std::span<const uint8_t> payload = {}) const
    {
        request.length = static_cast<uint32_t>(payload.size());
        std::vector<uint8_t> packet(sizeof request + payload.size());
        memcpy(packet.data(), &request, sizeof request);
        std::copy(payload.begin(), payload.end(), packet.begin() + sizeof request);
        send_bytes(packet.data(), packet.size());
    }

    Answer receive() const
    {
        Answer answer;
        uint8_t payload[protocol::payload_limit];
        iovec parts[] = {{&answer.reply, sizeof answer.reply}, {payload, sizeof payload}};
        alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int))];
        msghdr message{};
        message.msg_iov = parts;
        message.msg_iovlen = 2;
        message.msg_control = control;
        message.msg_controllen = sizeof control;
        const ssize_t got = recvmsg(fd_, &message, MSG_CMSG_CLOEXEC);
        answer.received = got >= static_cast<ssize_t>(sizeof answer.reply);
        if (!answer.received)
            return answer;
        answer.out.assign(payload, payload + got - sizeof answer.reply);
        if (const cmsghdr *rights = CMSG_FIRSTHDR(&message)) {
            int passed = -1;
            memcpy(&passed, CMSG_DATA(rights), sizeof passed);
            answer.passed = Descriptor(passed);
        }
        return answer;
    }

    Answer ask(const protocol::request &request, std::span<const uint8_t> payload = {}) const
    {
        send(request, payload);
        return receive();
    }

    Answer hello(uint32_t version = protocol::version) const
    {
        return ask({.operation = operation(protocol::operation::hello), .version = version});
    }
    Answer open(wire::node node, int flags) const
    {
        return ask({.operation = operation(protocol::operation::open),
                    .node = static_cast<uint32_t>(node),
                    .flags = static_cast<uint32_t>(flags)});
    }
    Answer identify(uint32_t file) const
    {
        return ask({.operation = operation(protocol::operation::identify), .file = file});
    }
    void send_control(uint32_t file, uint32_t number, std::span<const uint8_t> in) const
    {
        send({.operation = operation(protocol::operation::control), .file = file, .number = number}, in);
    }
    Answer control(uint32_t file, uint32_t number, std::span<const uint8_t> in = {}) const
    {
        send_control(file, number, in);
        return receive();
    }
    void cancel() const { send({.operation = operation(protocol::operation::cancel)}); }

    static uint32_t operation(protocol::operation name) { return static_cast<uint32_t>(name); }

  private:
    Descriptor fd_;
    bool connected_ = false;
};

inline short poll_now(int fd, int timeout_ms = 0)
{
    pollfd one{.fd = fd, .events = POLLIN};
    poll(&one, 1, timeout_ms);
    return one.revents;
}

} // namespace orka::board

#endif
