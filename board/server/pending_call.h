/* One request under way, between the connection that brought it and the driver that answers it. */
#ifndef ORKA_BOARD_SERVER_PENDING_CALL_H
#define ORKA_BOARD_SERVER_PENDING_CALL_H

#include <memory>
#include <vector>

#include "drivers/driver.h"
#include "server/device_file.h"

namespace orka::board {

class PendingCall;

/* Where the answer goes. */
class CallOwner {
  public:
    virtual ~CallOwner() = default;
    virtual void answered(PendingCall &call, int error, std::span<const uint8_t> out) = 0;
};

class PendingCall final : public Call, public std::enable_shared_from_this<PendingCall> {
  public:
    struct Origin {
        CallOwner &owner;
        std::shared_ptr<DeviceFile> file;
        const wire::request_row &row;
        const Client &client;
        bool nonblocking;
    };

    PendingCall(const Origin &origin, std::span<const uint8_t> in);
    /* A driver that forgets a call unanswered has failed it. */
    ~PendingCall() override;
    PendingCall(const PendingCall &) = delete;
    PendingCall &operator=(const PendingCall &) = delete;

    File &file() const override { return *file_; }
    const wire::request_row &row() const override { return row_; }
    int32_t process() const override { return client_.process; }
    bool nonblocking() const override { return nonblocking_; }
    std::span<const uint8_t> in() const override { return in_; }

    void reply(std::span<const uint8_t> out) override;
    void fail(int error) override;
    void on_interrupt(std::function<void()> handler) override;
    void on_abandon(std::function<void()> handler) override;

    void interrupt(); /* the caller had a signal */
    void abandon();   /* the caller is gone */

    /* Called with the answer's record before it goes, where the call did not fail. */
    using AnswerHandler = std::function<void(PendingCall &call, std::span<const uint8_t> out)>;
    void on_answer(AnswerHandler handler) { on_answer_.push_back(std::move(handler)); }
    /* Text for the end of its line in the trace. */
    void add_mark(const std::string &mark) { marks_ += mark; }
    const std::string &marks() const { return marks_; }

    const std::shared_ptr<DeviceFile> &device_file() const { return file_; }
    const Client &client() const { return client_; }
    Clock::time_point started() const { return started_; }

  private:
    void answer(int error, std::span<const uint8_t> out);
    void forget_handlers();

    CallOwner *owner_; /* null once it is answered or abandoned */
    std::shared_ptr<DeviceFile> file_;
    const wire::request_row &row_;
    Client client_;
    bool nonblocking_;
    std::vector<uint8_t> in_;
    Clock::time_point started_ = Clock::now();
    std::function<void()> on_interrupt_;
    std::function<void()> on_abandon_;
    std::vector<AnswerHandler> on_answer_;
    std::string marks_;
};

} // namespace orka::board

#endif
