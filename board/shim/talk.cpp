#include "shim/talk.h"

#include <cerrno>
#include <cstring>
#include <sys/socket.h>
#include <sys/uio.h>

#include "shim/kernel.h"

namespace orka::board::shim {

namespace {

long send_packet(int connection, iovec *parts, size_t count)
{
    msghdr message{};
    message.msg_iov = parts;
    message.msg_iovlen = count;

    long sent = 0;
    do {
        sent = kernel(SYS_sendmsg, connection, &message, MSG_NOSIGNAL);
    } while (sent == -EINTR);

    if (sent == -EFAULT)
        return -EFAULT;
    if (sent == -ENOMEM || sent == -ENOBUFS)
        return -ENOMEM;
    return sent < 0 ? -ENODEV : 0;
}

/* The record goes straight out of the program's memory, so that the kernel judges its pointer. */
long send_request(int connection, exchange &what)
{
    iovec parts[2] = {
        {.iov_base = &what.request, .iov_len = sizeof what.request},
        {.iov_base = const_cast<void *>(what.record), .iov_len = what.request.length},
    };

    return send_packet(connection, parts, what.request.length == 0 ? 1 : 2);
}

void send_cancel(int connection)
{
    protocol::request cancel{.operation = static_cast<uint32_t>(protocol::operation::cancel)};
    iovec part = {.iov_base = &cancel, .iov_len = sizeof cancel};

    send_packet(connection, &part, 1);
}

struct packet {
    msghdr message{};
    iovec parts[2];
    /* Room for one descriptor and no more: the kernel fills what is there. */
    alignas(cmsghdr) char control[CMSG_LEN(sizeof(int))];
};

void prepare(packet &packet, exchange &what)
{
    packet.parts[0] = {.iov_base = &what.reply, .iov_len = sizeof what.reply};
    packet.parts[1] = {.iov_base = what.answer, .iov_len = what.room};
    packet.message = {};
    packet.message.msg_iov = packet.parts;
    packet.message.msg_iovlen = what.room == 0 ? 1 : 2;
    packet.message.msg_control = packet.control;
    packet.message.msg_controllen = sizeof packet.control;
}

void take_descriptor(packet &packet, exchange &what)
{
    const cmsghdr *header = CMSG_FIRSTHDR(&packet.message);

    if (header != nullptr && header->cmsg_level == SOL_SOCKET && header->cmsg_type == SCM_RIGHTS)
        memcpy(&what.descriptor, CMSG_DATA(header), sizeof what.descriptor);
}

/* Whether the packet is a reply, and whole. An emulator shortens what does not fit the program's memory. */
long judge(const packet &packet, const exchange &what, size_t received)
{
    if (received < sizeof what.reply || what.reply.length > what.room)
        return -ENODEV;
    if (received != sizeof what.reply + what.reply.length)
        return -EFAULT;
    return packet.message.msg_flags & MSG_CTRUNC ? -EMFILE : 0;
}

/*
 * Waiting ends by the reply, which always comes, or with the server. The connection has a time limit for
 * receiving, which runs out unnoticed: without one the kernel would restart a wait that a signal with
 * SA_RESTART interrupts.
 */
long receive_reply(int connection, exchange &what)
{
    const long process = kernel(SYS_getpid);
    bool may_cancel = what.interruptible;
    packet packet;

    for (;;) {
        prepare(packet, what);
        const long received = kernel(SYS_recvmsg, connection, &packet.message, MSG_CMSG_CLOEXEC);
        /* A handler may have forked: the child has lost the connection, and the reply is its parent's. */
        if (received < 0 && kernel(SYS_getpid) != process)
            return -EINTR;
        if (received == -EINTR && may_cancel) {
            send_cancel(connection);
            may_cancel = false;
        } else if (received == -EFAULT) {
            return -EFAULT;
        } else if (received > 0) {
            take_descriptor(packet, what);
            return judge(packet, what, static_cast<size_t>(received));
        } else if (received != -EINTR && received != -EAGAIN) {
            return -ENODEV;
        }
    }
}

} // namespace

long talk(int connection, exchange &what)
{
    const long sent = send_request(connection, what);

    return sent < 0 ? sent : receive_reply(connection, what);
}

} // namespace orka::board::shim
