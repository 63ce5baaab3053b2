#include "server/board_client.h"

#include <cstring>
#include <stdexcept>

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace orka::board {

namespace {

constexpr timeval patience{.tv_sec = 10};

bool connected(int fd, const std::string &path)
{
    sockaddr_un address{.sun_family = AF_UNIX};
    if (path.size() >= sizeof address.sun_path)
        return false;
    memcpy(address.sun_path, path.c_str(), path.size() + 1);
    setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof patience); /* for connect() too */
    setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    return connect(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0;
}

struct Received {
    protocol::reply reply;
    protocol::picture size;
};

/* The descriptor that came along, or -1; false where there was no answer. */
bool receive(int fd, Received &received, int &passed)
{
    iovec part{&received, sizeof received};
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof passed)];
    msghdr message{
        .msg_iov = &part, .msg_iovlen = 1, .msg_control = control, .msg_controllen = sizeof control};
    passed = -1;
    if (recvmsg(fd, &message, MSG_CMSG_CLOEXEC) < static_cast<ssize_t>(sizeof received.reply))
        return false;
    if (const cmsghdr *const rights = CMSG_FIRSTHDR(&message))
        memcpy(&passed, CMSG_DATA(rights), sizeof passed);
    return true;
}

bool ask(int fd, const protocol::request &request, Received &received, int &passed)
{
    return send(fd, &request, sizeof request, MSG_NOSIGNAL) == sizeof request &&
           receive(fd, received, passed);
}

template <typename Bytes>
Bytes contents_of(int fd)
{
    struct stat status {};
    Bytes bytes;
    if (fstat(fd, &status) == 0)
        bytes.resize(static_cast<size_t>(status.st_size));
    for (size_t read = 0; read < bytes.size();) {
        const ssize_t got = pread(fd, bytes.data() + read, bytes.size() - read, static_cast<off_t>(read));
        if (got <= 0)
            break;
        read += static_cast<size_t>(got);
    }
    close(fd);
    return bytes;
}

} // namespace

BoardClient::BoardClient(const std::string &path)
    : path_(path), fd_(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0))
{
    const protocol::request hello{.operation = static_cast<uint32_t>(protocol::operation::hello),
                                  .version = protocol::version};
    Received received{};
    int passed = -1;
    if (connected(fd_, path) && ask(fd_, hello, received, passed) && received.reply.error == 0)
        return;
    close(fd_);
    throw std::runtime_error("no board answers at " + path);
}

BoardClient::~BoardClient()
{
    close(fd_);
}

template <typename Bytes>
Bytes BoardClient::fetch(protocol::operation operation, uint32_t flags, protocol::picture &size) const
{
    Received received{};
    int passed = -1;
    if (!ask(fd_, {.operation = static_cast<uint32_t>(operation), .flags = flags}, received, passed))
        throw std::runtime_error("the board at " + path_ + " is gone, or too old to be asked");
    if (received.reply.error != 0 || passed < 0)
        throw std::runtime_error("the board at " + path_ +
                                 " refused: " + strerror(static_cast<int>(received.reply.error)));
    size = received.size;
    return contents_of<Bytes>(passed);
}

std::vector<uint8_t> BoardClient::screenshot(protocol::plane plane, protocol::picture &size) const
{
    auto pixels =
        fetch<std::vector<uint8_t>>(protocol::operation::screenshot, static_cast<uint32_t>(plane), size);
    if (pixels.size() != size_t{3} * size.width * size.height)
        throw std::runtime_error("the board at " + path_ + " sent half a picture");
    return pixels;
}

std::string BoardClient::status() const
{
    protocol::picture unused{};
    return fetch<std::string>(protocol::operation::status, 0, unused);
}

} // namespace orka::board
