#include "server/connection.h"

#include <cerrno>
#include <cstring>
#include <utility>

#include <sys/socket.h>
#include <sys/uio.h>
#include <unistd.h>

#include "server/server.h"
#include "server/views.h"

namespace orka::board {

namespace {

bool right_length(const wire::request_row &row, size_t length)
{
    if (row.argument == wire::argument::name)
        return length >= 1 && length <= row.in;
    return length == row.in;
}

bool carries_payload(protocol::operation operation)
{
    return operation == protocol::operation::control || operation == protocol::operation::outside ||
           operation == protocol::operation::sync;
}

} // namespace

Connection::Connection(Server &server, int fd, Client client)
    : server_(server), fd_(fd), client_(std::move(client))
{
}

Connection::~Connection()
{
    if (call_) {
        const std::shared_ptr<PendingCall> call = std::exchange(call_, nullptr)->shared_from_this();
        call->abandon();
        server_.call_abandoned(*call);
    }
    close(fd_);
}

static_assert(wire::largest_record() <= protocol::payload_limit);

bool Connection::receive()
{
    struct {
        protocol::request request;
        uint8_t payload[protocol::payload_limit];
    } packet;

    const ssize_t got = recv(fd_, &packet, sizeof packet, MSG_DONTWAIT | MSG_TRUNC);
    if (got < 0)
        return errno == EAGAIN || errno == EINTR;
    const auto length = static_cast<size_t>(got);
    if (length < sizeof packet.request || length > sizeof packet)
        return false;
    return accept_packet(packet.request, {packet.payload, length - sizeof packet.request});
}

bool Connection::accept_packet(const protocol::request &request, std::span<const uint8_t> payload)
{
    const auto operation = static_cast<protocol::operation>(request.operation);

    if (operation == protocol::operation::cancel) {
        if (call_)
            call_->interrupt();
        return greeted_;
    }
    if (call_ || greeted_ == (operation == protocol::operation::hello))
        return false;
    /* An emulator sends the header alone when the program's record cannot be read. */
    if (operation == protocol::operation::control && payload.size() < request.length) {
        send({.error = EFAULT});
        return true;
    }
    if (payload.size() != request.length || (!payload.empty() && !carries_payload(operation)))
        return false;
    return serve(operation, request, payload);
}

bool Connection::serve(protocol::operation operation, const protocol::request &request,
                       std::span<const uint8_t> payload)
{
    switch (operation) {
    case protocol::operation::hello:
        hello(request);
        return true;
    case protocol::operation::open:
        open(request);
        return true;
    case protocol::operation::identify:
        identify(request);
        return true;
    case protocol::operation::control:
        control(request, payload);
        return true;
    case protocol::operation::outside:
        return outside(payload);
    case protocol::operation::sync:
        return sync(payload);
    case protocol::operation::screenshot:
        screenshot(request);
        return true;
    case protocol::operation::status:
        status();
        return true;
    case protocol::operation::cancel:
        break;
    }
    return false;
}

void Connection::hello(const protocol::request &request)
{
    if (request.version != protocol::version) {
        send({.error = EPROTO});
        return;
    }
    const protocol::machine machine = server_.machine();
    greeted_ = true;
    server_.greeted();
    send(
        {.result = server_.memory().is_cached(), .memory = server_.memory().size(), .length = sizeof machine},
        {reinterpret_cast<const uint8_t *>(&machine), sizeof machine});
}

bool Connection::outside(std::span<const uint8_t> payload)
{
    protocol::range range{};
    if (payload.size() != sizeof range)
        return false;
    memcpy(&range, payload.data(), sizeof range);
    server_.refused_mapping(client_, range);
    send({});
    return true;
}

bool Connection::sync(std::span<const uint8_t> payload)
{
    protocol::range range{};
    if (payload.size() != sizeof range)
        return false;
    memcpy(&range, payload.data(), sizeof range);
    server_.memory().sync(range.offset, range.length);
    send({});
    return true;
}

void Connection::open(const protocol::request &request)
{
    hand_over(server_.open(client_, request.node, request.flags));
}

void Connection::screenshot(const protocol::request &request)
{
    protocol::picture size{};
    const int fd = screenshot_file(server_.screen(), request.flags, size);
    hand_over(fd, {reinterpret_cast<const uint8_t *>(&size), sizeof size});
}

void Connection::status()
{
    const std::string text = server_.status();
    hand_over(
        memory_file("orka-board status", {reinterpret_cast<const uint8_t *>(text.data()), text.size()}));
}

/* Answers with a descriptor, which is closed here, or with the error number that stands in its place. */
void Connection::hand_over(int fd, std::span<const uint8_t> out)
{
    if (fd < 0)
        return send({.error = static_cast<uint32_t>(-fd)});
    send({.length = static_cast<uint32_t>(out.size())}, out, fd);
    close(fd);
}

void Connection::identify(const protocol::request &request)
{
    const std::shared_ptr<DeviceFile> file = server_.find(request.file);
    send({.error = file ? 0u : protocol::unknown_file,
          .result = file ? static_cast<int32_t>(file->node()) : 0});
}

int Connection::check_control(const protocol::request &request, std::span<const uint8_t> payload,
                              const std::shared_ptr<DeviceFile> &file) const
{
    const wire::request_row *const row = wire::find_request(file->node(), request.number);
    if (!row || !server_.driver(file->node()))
        return ENOTTY;
    return right_length(*row, payload.size()) ? 0 : EINVAL;
}

void Connection::control(const protocol::request &request, std::span<const uint8_t> payload)
{
    const std::shared_ptr<DeviceFile> file = server_.find(request.file);
    if (!file) {
        send({.error = protocol::unknown_file});
        return;
    }
    if (const int error = check_control(request, payload, file)) {
        server_.refused(client_, *file, request.number, error);
        send({.error = static_cast<uint32_t>(error)});
        return;
    }
    const wire::request_row &row = *wire::find_request(file->node(), request.number);
    auto call = std::make_shared<PendingCall>(
        PendingCall::Origin{*this, file, row, client_, request.nonblock != 0}, payload);
    call_ = call.get();
    server_.hand_over(std::move(call));
}

void Connection::answered(PendingCall &call, int error, std::span<const uint8_t> out)
{
    call_ = nullptr;
    server_.call_answered(call, error, out);
    send({.error = static_cast<uint32_t>(error), .length = static_cast<uint32_t>(out.size())}, out);
}

/* A client that does not take its replies is cut off: the reactor then finds the connection ended. */
void Connection::send(const protocol::reply &reply, std::span<const uint8_t> out, int passed)
{
    protocol::reply head = reply;
    iovec parts[] = {{&head, sizeof head}, {const_cast<uint8_t *>(out.data()), out.size()}};
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof passed)] = {};
    msghdr message{.msg_iov = parts, .msg_iovlen = 2};

    if (passed >= 0) {
        message.msg_control = control;
        message.msg_controllen = sizeof control;
        cmsghdr *const rights = CMSG_FIRSTHDR(&message);
        rights->cmsg_level = SOL_SOCKET;
        rights->cmsg_type = SCM_RIGHTS;
        rights->cmsg_len = CMSG_LEN(sizeof passed);
        memcpy(CMSG_DATA(rights), &passed, sizeof passed);
    }
    if (sendmsg(fd_, &message, MSG_DONTWAIT | MSG_NOSIGNAL) < 0)
        shutdown(fd_, SHUT_RDWR);
}

} // namespace orka::board
