/*
 * What the decoders and the encoders have in common on their queues: how one is opened, and the way of a
 * frame between the driver and the application.
 *
 * The two have records of their own, of one shape. The way of a frame that arrives is inlined and counted in
 * instructions; all else is out of its way.
 */
#ifndef ORKA_QUEUE_INTERNAL_H
#define ORKA_QUEUE_INTERNAL_H

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <type_traits>

#include "common/orka_idevice_internal.h"
#include "common/orka_imem_internal.h"
#include "common/orka_inline_internal.h"
#include "common/orka_status_internal.h"
#include "wire/orka_request.h"

constexpr uint32_t queue_version = 1;

__attribute__((cold, noinline)) inline orka_status_t invalid_queue(const call_site &site)
{
    report_error(site, "Invalid Queue Handle.");
    return ORKA_STATUS_INITIALIZATION;
}

/* Opening */

template <typename Queue>
void discard_queue(Queue *queue)
{
    explicit_bzero(queue, sizeof *queue);
    free(queue);
}

template <typename Queue>
Queue *allocate_queue(const call_site &site)
{
    void *memory = malloc(sizeof(Queue));
    const int saved_errno = errno;

    if (memory == nullptr)
        report_error_errno(saved_errno, site, "Unable to Allocate Memory for Queue Handle.");
    else
        memset(memory, 0, sizeof(Queue));
    return static_cast<Queue *>(memory);
}

/*
 * Asks the driver where a queue lies and maps it. `closed` is the handle as far as it is known before. A
 * queue is born closed and opens last, once it is mapped.
 */
template <typename Queue, typename Record, typename... Words>
Queue *open_queue(const call_site &site, int32_t fd, const char *no_node, uint32_t request, Record record,
                  uint32_t magic, const Queue &closed, const char *not_mapped,
                  orka_message<std::type_identity_t<Words>...> refused, Words... words)
{
    if (fd < 0) {
        orka_no_node(site, no_node);
        return nullptr;
    }
    Queue *queue = allocate_queue<Queue>(site);
    if (queue == nullptr)
        return nullptr;
    if (orka_control(site, fd, no_node, request, &record, refused, words...) != ORKA_STATUS_SUCCESS) {
        discard_queue(queue);
        return nullptr;
    }

    *queue = closed;
    queue->length = record.length;
    queue->pbase = record.pbase;
    queue->vbase = word_of(orka_imem_mmap(queue->pbase, queue->length));
    if (queue->vbase == 0) {
        report_error(site, "%s", not_mapped);
        discard_queue(queue);
        return nullptr;
    }
    queue->version = queue_version;
    queue->magic = magic;
    return queue;
}

template <typename Queue>
bool is_open(const Queue *queue, uint32_t magic)
{
    return queue->version == queue_version && queue->magic == magic;
}

/* For the calls that serve queues of one kind alone. */
template <typename Queue>
orka_status_t check_kind(const call_site &site, const Queue *queue, uint32_t magic)
{
    if (queue == nullptr)
        return orka_null_pointer(site);
    return is_open(queue, magic) ? ORKA_STATUS_SUCCESS : invalid_queue(site);
}

template <typename Frame, typename Queue>
orka_status_t check_kind(const call_site &site, const Frame *frame, const Queue *queue, uint32_t magic)
{
    return frame == nullptr ? orka_null_pointer(site) : check_kind(site, queue, magic);
}

/* The driver's status word */

struct status_texts {
    const char *failed;
    const char *interrupted;
    const char *unknown;
};

/* Any status but that all is done. */
__attribute__((cold, noinline)) inline orka_status_t explain_status(const call_site &site, int32_t status,
                                                                    const status_texts &texts)
{
    switch (status) {
    case orka::wire::driver_timeout:
        return ORKA_STATUS_TIMEOUT;
    case orka::wire::driver_failure:
        report_error(site, "%s", texts.failed);
        return ORKA_STATUS_ERROR;
    case orka::wire::driver_interrupted:
        report_error(site, "%s", texts.interrupted);
        return ORKA_STATUS_INTR;
    default:
        report_error(site, "%s", texts.unknown);
        return ORKA_STATUS_ERROR;
    }
}

/* Descriptors */

/* The head of a queue as one word, so that one comparison tells an open queue of a kind. */
constexpr uint64_t head_of(uint32_t magic, uint32_t version)
{
    return uint64_t{version} << 32 | magic;
}

constexpr uint64_t open_head_of(uint32_t magic)
{
    return head_of(magic, queue_version);
}

/* Where the frame calls of one family of queues go. */
template <typename Queue>
struct queue_family {
    /* The descriptor of an open queue whose driver is open; 0 or below for any other queue. */
    int32_t (*ready_fd)(const Queue &queue);
    /* That of any queue, or a negative number after a report. */
    int32_t (*queue_fd)(const Queue *queue);
    const char *no_fd;
};

/* The descriptor of any queue, or a status that was reported. */
template <typename Queue>
__attribute__((cold, noinline)) int32_t obtain_fd(const call_site &site, const Queue &queue,
                                                  const queue_family<Queue> &family)
{
    if (queue.version != queue_version)
        return invalid_queue(site);
    const int32_t fd = family.queue_fd(&queue);

    return fd < 0 ? orka_no_node(site, family.no_fd) : fd;
}

/* Frames */

/*
 * The one way of a buffer's address from the driver to the application, and the one way back. Between the
 * words of a frame it takes no call, but for address 0, which is asserted there.
 */
template <typename Frame, typename Queue>
inline void frame_from_driver(Frame &frame, const Queue &queue)
{
    if (frame.addr == 0) [[unlikely]] {
        orka_imem_p2v(0, 0, nullptr);
        __builtin_unreachable(); /* GCOVR_EXCL_LINE: the assertion ended the process */
    }
    frame.addr = queue.vbase + (frame.addr - queue.pbase);
}

/* Around the address: one wide copy across it would have to wait for whoever wrote that word last. */
template <typename Frame, typename Queue>
inline void frame_to_driver(Frame &to, const Frame &from, const Queue &queue)
{
    constexpr size_t before = offsetof(Frame, addr);
    constexpr size_t after = offsetof(Frame, size);

    if (from.addr == 0) [[unlikely]] {
        orka_imem_v2p(nullptr, nullptr, 0);
        __builtin_unreachable(); /* GCOVR_EXCL_LINE: the assertion ended the process */
    }
    memcpy(&to, &from, before);
    to.addr = queue.pbase + (from.addr - queue.vbase);
    memcpy(reinterpret_cast<char *>(&to) + after, reinterpret_cast<const char *>(&from) + after,
           sizeof to - after);
}

/*
 * A record begins with three words that stand so in the queue, from its channel to its number. The fourth
 * word comes along, to make it one move, and is to be overwritten.
 */
template <typename Record, typename Queue>
inline void address_queue(Record &record, const Queue &queue)
{
    static_assert(offsetof(Record, channel) == 0 && offsetof(Record, queueid) == 8);
    static_assert(offsetof(Queue, queueid) - offsetof(Queue, channel) == 8);
    memcpy(&record, reinterpret_cast<const char *>(&queue) + offsetof(Queue, channel), 16);
}

/* What is wanted again after the request stands beside its record: in registers it would cost saving them. */
template <typename Record, typename Frame, typename Queue>
struct frame_call {
    Record record;
    Frame *frame;
    const Queue *queue;
};

/* Takes a frame from the driver; the caller's is written on success alone. */
template <typename Record, const auto &family, typename Frame, typename Queue>
ORKA_INLINE orka_status_t take_frame(const call_site &site, Frame *frame, const Queue *queue, int32_t timeout,
                                     uint32_t request, orka_message<> refused, const status_texts &texts)
{
    if (frame == nullptr || queue == nullptr) [[unlikely]]
        return orka_null_pointer(site);

    frame_call<Record, Frame, Queue> call = {.frame = frame, .queue = queue};
    address_queue(call.record, *queue);
    call.record.timeout = static_cast<decltype(Record::timeout)>(timeout);

    int32_t fd = family.ready_fd(*queue);
    if (fd <= 0) [[unlikely]] {
        fd = obtain_fd(site, *queue, family);
        if (fd < 0)
            return fd;
    }
    const orka_status_t asked = orka_exchange(site, fd, request, &call.record, refused);
    if (asked != ORKA_STATUS_SUCCESS) [[unlikely]]
        return asked;
    if (call.record.status != orka::wire::driver_done) [[unlikely]]
        return explain_status(site, call.record.status, texts);

    *call.frame = call.record.frame;
    frame_from_driver(*call.frame, *call.queue);
    return ORKA_STATUS_SUCCESS;
}

/* Hands a frame back to the driver. */
template <typename Record, const auto &family, typename Frame, typename Queue>
ORKA_INLINE orka_status_t return_frame(const call_site &site, const Frame *frame, const Queue *queue,
                                       uint32_t request)
{
    if (frame == nullptr || queue == nullptr) [[unlikely]]
        return orka_null_pointer(site);
    int32_t fd = family.ready_fd(*queue);
    if (fd <= 0) [[unlikely]] {
        fd = obtain_fd(site, *queue, family);
        if (fd < 0)
            return fd;
    }

    Record record;
    address_queue(record, *queue);
    frame_to_driver(record.frame, *frame, *queue);
    /* Kept on purpose: one text for every kind of queue, and for both requests. */
    return orka_exchange(site, fd, request, &record, "Committing Audio Frame.");
}

#endif
