/*
 * The record of every request, one decoded line each, written when it is answered:
 *
 *     0.001532 4711/play /dev/imanage IMANAGE_ALLOC(bytes=8192) = 0 {address=0x00100000}
 *     0.002107 4711/play /dev/vdecode IDECODE_START(channel=0, stream=0) = -1 EINVAL
 *     0.002944 4711/play /dev/adecode IDECODE_WAIT(channel=0, stream=0, timeout=10) = 0 {status=1} <10.071
 * ms>
 *
 * The time is that of the request, in seconds since the board started; requests that can wait tell how long
 * they took.
 */
#ifndef ORKA_BOARD_SERVER_TRACE_H
#define ORKA_BOARD_SERVER_TRACE_H

#include <functional>
#include <map>
#include <optional>

#include "server/log.h"
#include "server/pending_call.h"

namespace orka::board {

/* The request's fields by name, and those of its answer: "channel=0, stream=1". */
std::string describe_request(const wire::request_row &row, std::span<const uint8_t> in);
std::string describe_answer(const wire::request_row &row, std::span<const uint8_t> out);

/* The path of a node; the first of those that have two. */
std::string_view node_name(wire::node node);

/* Lines are made only while somebody wants them: a file, or whoever listens. */
class Trace {
  public:
    using Listener = std::function<void(const std::string &line)>;

    Trace() = default;
    explicit Trace(const std::string &path); /* throws std::system_error */

    /* Calls with each line, on the reactor's thread, until ignored. A listener must not listen or ignore. */
    uint32_t listen(Listener listener);
    void ignore(uint32_t listener) { listeners_.erase(listener); }

    /* mark: text for the end of the line. */
    void opened(const Client &client, wire::node node, uint32_t flags, int error,
                const std::string &mark = {});
    void closed(const DeviceFile &file);
    void answered(const PendingCall &call, int error, std::span<const uint8_t> out);
    void abandoned(const PendingCall &call);
    /* Refused before a driver saw it. */
    void refused(const Client &client, wire::node node, uint32_t number, int error);

  private:
    void write(Clock::time_point when, const Client &client, wire::node node, const std::string &text);

    bool is_wanted() const { return file_ || !listeners_.empty(); }

    std::optional<LineFile> file_;
    std::map<uint32_t, Listener> listeners_;
    uint32_t next_listener_ = 1;
    Clock::time_point start_ = Clock::now();
};

} // namespace orka::board

#endif
