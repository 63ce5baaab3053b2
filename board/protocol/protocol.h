/*
 * What a program's shim and the board's server say to each other.
 *
 * A Unix SOCK_SEQPACKET connection carries one message a packet, all words little-endian and of fixed width,
 * so that a 32-bit program talks to the 64-bit server. A connection carries one request at a time: the shim
 * sends a request and waits for its reply; the one thing it may send in between is a cancel, and the reply
 * still comes, exactly once. Which connection a request takes does not matter to the server.
 *
 * Opening a node other than /dev/mem gives the client the reading end of a pipe whose writing end the server
 * holds. The pipe's inode number names the file, however the descriptor came to the process. While the pipe
 * holds a byte the file is readable; the server puts it there and takes it away (a pipe can be reopened
 * through /proc for that moment), so poll() tells the truth at any time. The last close and a server that is
 * gone show as the pipe's other end closing. Opening /dev/mem gives the memfd itself.
 *
 * A control of fewer bytes than its length says is one whose record could not be read whole (an emulator
 * sends what it can): it is answered EFAULT.
 */
#ifndef ORKA_BOARD_PROTOCOL_H
#define ORKA_BOARD_PROTOCOL_H

#include <cstddef>
#include <cstdint>

namespace orka::board::protocol {

constexpr uint32_t version = 2;

/* Where a program finds its board: the path of the server's socket. */
constexpr char socket_variable[] = "ORKA_BOARD";

enum class operation : uint32_t {
    hello = 1,    /* first on each connection; answered by a machine, or EPROTO where the versions differ */
    open = 2,     /* result: 0 with a descriptor, or an error number */
    control = 3,  /* result: 0 or an error number */
    cancel = 4,   /* a signal interrupted the request that is under way; has no reply of its own */
    identify = 5, /* result: the wire::node of a file */
    outside = 6,  /* a mapping outside physical memory, a range, was refused: the board says so in its log */
    /* For people's tools. The answer is a picture or nothing, and a descriptor of a memfd, whole: */
    screenshot = 7, /* its pixels, three bytes each, red first, without gaps between the lines */
    status = 8,     /* the state of the board as JSON */

    sync = 9, /* a range was synced: where there is a cache, programs and DSP see each other's data in it */
};

/* What of the display a screenshot shows. */
enum class plane : uint32_t {
    composed = 0, /* as it is seen */
    video = 1,    /* these two also while they are masked or switched off */
    osd = 2,
};

struct request {
    uint32_t operation;
    uint32_t version;  /* hello: version */
    uint32_t node;     /* open: wire::node */
    uint32_t flags;    /* open: the access mode and O_NONBLOCK, which are the same numbers on every ABI;
                          screenshot: a plane */
    uint32_t file;     /* control, identify: the inode number of the file's pipe */
    uint32_t number;   /* control: the request number */
    uint32_t nonblock; /* control: 1 when the descriptor is O_NONBLOCK now */
    uint32_t length;   /* bytes that follow; control: the driver's record; outside, sync: a range */
};
static_assert(sizeof(request) == 32);

struct reply {
    uint32_t error;  /* 0, the error number for errno, or unknown_file */
    int32_t result;  /* what the call returns when there is no error; hello: 1 where there is a cache */
    uint32_t memory; /* hello: the size of physical memory in bytes */
    uint32_t length; /* bytes that follow; control: the driver's record; hello: a machine; screenshot: a
                        picture; none on errors */
};
static_assert(sizeof(reply) == 16);

/* Instead of an error number: the inode that was sent is no file of this board. */
constexpr uint32_t unknown_file = 0x80000000;

/* Physical memory's memfd, as fstat() tells it. It is also what tells one board from another. */
struct machine {
    uint64_t memory_inode;
    uint32_t memory_major;
    uint32_t memory_minor;
};
static_assert(sizeof(machine) == 16);

/* A piece of physical memory, as mmap() was asked for it. */
struct range {
    uint64_t offset;
    uint64_t length;
};
static_assert(sizeof(range) == 16);

/* A screenshot's size in pixels. */
struct picture {
    uint32_t width;
    uint32_t height;
};
static_assert(sizeof(picture) == 8);

/* No driver's record is larger. */
constexpr size_t payload_limit = 512;

/*
 * The capacity of a file's pipe, as fcntl(F_GETPIPE_SZ) tells it. Hardly any other pipe is that small: it
 * saves asking the server about the pipes that a program has of its own.
 */
constexpr int file_pipe_size = 4096;

} // namespace orka::board::protocol

#endif
