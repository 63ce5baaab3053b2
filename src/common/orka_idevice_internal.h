/*
 * The way of every driver operation: a descriptor, one request, and a status with a report where it failed.
 *
 * A caller fills its record and says the rest in one line; the line carries its own name into the reports:
 *
 *     return orka_control(HERE, orka_idevice_ivdecode_fd(), no_video, IDECODE_INIT, &record,
 *                         "Calling Video Decoder Init - Stream %d of Channel %d.", stream, channel);
 *
 * The funnels are inlined, so that a request that succeeds costs next to nothing beside the request
 * itself; everything that is said on failure is out of line.
 */
#ifndef ORKA_IDEVICE_INTERNAL_H
#define ORKA_IDEVICE_INTERNAL_H

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <pthread.h>
#include <sys/ioctl.h>
#include <type_traits>

#include "common/orka_inline_internal.h"
#include "common/orka_status_internal.h"
#include "orka_idevice.h"
#include "orka_status.h"

/* A device with the descriptor that is kept open for it: -1 while closed. */
struct orka_device {
    const char *node;
    const char *fallback; /* tried where node cannot be opened; may be null */
    int flags;
    const char *failure; /* the message, with one %s ... */
    const char *printed; /* ... for this node, which is not always the one that was tried */
    pthread_mutex_t *mutex;
    std::atomic<int32_t> fd; /* released and acquired: the opening comes before every use */
};

#pragma GCC visibility push(hidden)
extern orka_device orka_iaencode_device;
extern orka_device orka_iadecode_device;
extern orka_device orka_ivdecode_device;
#pragma GCC visibility pop

/* The accessors of the nodes that carry frames, without a call where the node is open. */
inline int32_t orka_audio_encoder_fd()
{
    const int32_t fd = orka_iaencode_device.fd.load(std::memory_order_acquire);

    return fd > 0 ? fd : orka_idevice_iaencode_fd();
}

inline int32_t orka_audio_decoder_fd()
{
    const int32_t fd = orka_iadecode_device.fd.load(std::memory_order_acquire);

    return fd > 0 ? fd : orka_idevice_iadecode_fd();
}

inline int32_t orka_video_decoder_fd()
{
    const int32_t fd = orka_ivdecode_device.fd.load(std::memory_order_acquire);

    return fd > 0 ? fd : orka_idevice_ivdecode_fd();
}

/* Not constexpr on purpose: to reach it while a message is checked is a compile-time error. */
void orka_message_does_not_fit_its_words();

/* A message for printf, held against the words that go with it when it is compiled: %d and %s alone. */
template <typename... Words>
struct orka_message {
    const char *text;

    consteval orka_message(const char *literal) : text(literal)
    {
        (take<Words>(literal), ...);
        if (next(literal) != '\0')
            orka_message_does_not_fit_its_words();
    }

    static consteval char next(const char *&rest)
    {
        while (*rest != '\0' && *rest != '%')
            rest++;
        return *rest == '\0' ? '\0' : *++rest;
    }

    template <typename Word>
    static consteval void take(const char *&rest)
    {
        if (next(rest) != (std::is_integral_v<Word> ? 'd' : 's'))
            orka_message_does_not_fit_its_words();
    }
};

/* Reports that a node cannot be had. */
__attribute__((cold, noinline)) inline orka_status_t orka_no_node(const call_site &site, const char *message)
{
    report_error(site, "%s", message);
    return ORKA_STATUS_IO;
}

/* Reports a refused request and gives the status back. */
template <typename... Words>
__attribute__((cold, noinline)) orka_status_t orka_refused(orka_status_t status, int saved_errno,
                                                           const call_site &site, const char *message,
                                                           Words... words)
{
    if constexpr (sizeof...(words) == 0)
        report_error_errno(saved_errno, site, "%s", message);
    else
        report_error_errno(saved_errno, site, message, words...);
    return status;
}

/* A control request, which is refused by any result but 0. */
template <typename... Words>
ORKA_INLINE orka_status_t orka_control(const call_site &site, int32_t fd, const char *no_node,
                                       uint32_t request, const void *record,
                                       orka_message<std::type_identity_t<Words>...> refused, Words... words)
{
    if (fd < 0) [[unlikely]]
        return orka_no_node(site, no_node);
    if (ioctl(fd, request, record) != 0) [[unlikely]]
        return orka_refused(ORKA_STATUS_ERROR, errno, site, refused.text, words...);
    return ORKA_STATUS_SUCCESS;
}

/* A control request that is refused by a negative result alone. */
template <typename... Words>
ORKA_INLINE orka_status_t orka_command(const call_site &site, int32_t fd, const char *no_node,
                                       uint32_t request, const void *record,
                                       orka_message<std::type_identity_t<Words>...> refused, Words... words)
{
    if (fd < 0) [[unlikely]]
        return orka_no_node(site, no_node);
    if (ioctl(fd, request, record) < 0) [[unlikely]]
        return orka_refused(ORKA_STATUS_ERROR, errno, site, refused.text, words...);
    return ORKA_STATUS_SUCCESS;
}

/* A request that moves a frame, which is refused by a negative result. */
ORKA_INLINE orka_status_t orka_exchange(const call_site &site, int32_t fd, uint32_t request, void *record,
                                        orka_message<> refused)
{
    if (ioctl(fd, request, record) < 0) [[unlikely]]
        return orka_refused(ORKA_STATUS_IO, errno, site, refused.text);
    return ORKA_STATUS_SUCCESS;
}

#endif
