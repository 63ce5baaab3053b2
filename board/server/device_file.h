/* The server's side of one open file: the writing end of the pipe whose reading end the programs hold. */
#ifndef ORKA_BOARD_SERVER_DEVICE_FILE_H
#define ORKA_BOARD_SERVER_DEVICE_FILE_H

#include <memory>
#include <string>

#include "drivers/driver.h"

namespace orka::board {

/* Who asks. The kernel told the number; the name is for people to read. */
struct Client {
    int32_t process = 0;
    std::string name;
};

class DeviceFile final : public File {
  public:
    /* Makes the pipe; the end for the client goes to reader. Throws std::system_error. */
    DeviceFile(wire::node node, const Client &opener, bool nonblocking, int &reader);
    ~DeviceFile() override;
    DeviceFile(const DeviceFile &) = delete;
    DeviceFile &operator=(const DeviceFile &) = delete;

    uint32_t number() const override { return number_; }
    wire::node node() const override { return node_; }
    int32_t process() const override { return opener_.process; }
    void set_readable(bool readable) override;

    const Client &opener() const { return opener_; }
    int writer() const { return writer_; } /* reports EPOLLERR after the last close */

    /* As in a kernel, a file lives on until the requests under way on it are answered. */
    void call_begins() { calls_++; }
    void call_ends() { calls_--; }
    bool busy() const { return calls_ > 0; }

  private:
    wire::node node_;
    Client opener_;
    int writer_ = -1;
    uint32_t number_ = 0;
    uint32_t calls_ = 0;
    std::string reopen_path_;
};

} // namespace orka::board

#endif
