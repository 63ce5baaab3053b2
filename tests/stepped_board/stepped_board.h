/*
 * A whole board in the caller's own thread, with its server, its drivers and the DSP's codecs. It moves only
 * while work() or rest() is called, and leaves nothing behind, whatever its clients sent.
 */
#ifndef ORKA_TESTS_STEPPED_BOARD_H
#define ORKA_TESTS_STEPPED_BOARD_H

#include <chrono>
#include <memory>
#include <optional>
#include <span>
#include <utility>
#include <vector>

#include "protocol/protocol.h"
#include "server/server.h"

namespace orka_test {

/* A descriptor that closes itself. */
class OwnedFd {
  public:
    explicit OwnedFd(int fd = -1) : fd_(fd) {}
    ~OwnedFd();
    OwnedFd(OwnedFd &&other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    OwnedFd &operator=(OwnedFd &&other) noexcept
    {
        std::swap(fd_, other.fd_);
        return *this;
    }
    operator int() const { return fd_; }

  private:
    int fd_;
};

struct SteppedAnswer {
    orka::board::protocol::reply reply{};
    std::vector<uint8_t> out;
    OwnedFd passed;
};

/* A connection that does not wait for anything. */
class SteppedClient {
  public:
    explicit SteppedClient(const orka::board::Server &server, int listener);

    void send(std::span<const uint8_t> packet) const;
    void send(orka::board::protocol::request request, std::span<const uint8_t> payload) const;
    /* Nothing when there is none; each is checked for its form. */
    std::optional<SteppedAnswer> receive();
    void hello() const;
    void cancel() const;

  private:
    OwnedFd fd_;
};

class SteppedBoard {
  public:
    explicit SteppedBoard(const orka::board::Options &options);
    /* Ends the program when something of the clients' is left. Clients and files are closed by then. */
    ~SteppedBoard();
    SteppedBoard(const SteppedBoard &) = delete;
    SteppedBoard &operator=(const SteppedBoard &) = delete;

    void work();                               /* all that is ready now */
    void rest(std::chrono::milliseconds time); /* so that the DSP's threads come to something */
    SteppedClient connect() { return SteppedClient(*server_, listener_); }
    orka::board::Memory &memory() { return memory_; }
    /* True for a piece of the drivers' memory. */
    bool is_in_queues(uint32_t address, uint32_t length);

  private:
    void require_all_free();
    void require_nobody_elses_memory_touched() const;

    /* Counts before everything else is made, and again when all of it is gone. */
    class Leftovers {
      public:
        Leftovers();
        ~Leftovers();
        Leftovers(const Leftovers &) = delete;
        Leftovers &operator=(const Leftovers &) = delete;

      private:
        const int descriptors_;
        const uint64_t threads_;
    };

    const Leftovers leftovers_;
    const orka::board::Options options_;
    orka::board::Reactor reactor_;
    orka::board::Memory memory_;
    orka::board::Trace trace_;
    orka::board::Machine machine_;
    std::unique_ptr<orka::board::Camera> camera_;
    std::unique_ptr<orka::board::Microphone> microphone_;
    int listener_; /* the server's */
    std::optional<orka::board::Server> server_;
};

} // namespace orka_test

#endif
