/* A request as a driver sees it, without a server. */
#ifndef ORKA_TESTS_BOARD_FAKE_CALL_H
#define ORKA_TESTS_BOARD_FAKE_CALL_H

#include <cstring>
#include <vector>

#include "drivers/driver.h"

namespace orka::board {

class FakeFile final : public File {
  public:
    FakeFile(uint32_t number, wire::node node) : number_(number), node_(node) {}
    uint32_t number() const override { return number_; }
    wire::node node() const override { return node_; }
    int32_t process() const override { return 1; }
    void set_readable(bool readable) override { readable_ = readable; }
    bool readable() const { return readable_; }

  private:
    uint32_t number_;
    wire::node node_;
    bool readable_ = false;
};

struct FakeAnswer {
    bool given = false;
    int error = 0;
    std::vector<uint8_t> out;

    uint32_t word() const
    {
        uint32_t value = 0;
        memcpy(&value, out.data(), out.size() < sizeof value ? out.size() : sizeof value);
        return value;
    }
};

class FakeCall final : public Call {
  public:
    FakeCall(FakeFile &file, uint32_t number, std::span<const uint8_t> in, FakeAnswer &answer)
        : file_(file), row_(*wire::find_request(file.node(), number)), in_(in.begin(), in.end()),
          answer_(answer)
    {
    }
    File &file() const override { return file_; }
    const wire::request_row &row() const override { return row_; }
    int32_t process() const override { return 1; }
    bool nonblocking() const override { return false; }
    std::span<const uint8_t> in() const override { return in_; }
    void reply(std::span<const uint8_t> out) override { answer_ = {true, 0, {out.begin(), out.end()}}; }
    void fail(int error) override { answer_ = {true, error, {}}; }
    void on_interrupt(std::function<void()>) override {}
    void on_abandon(std::function<void()>) override {}

  private:
    FakeFile &file_;
    const wire::request_row &row_;
    std::vector<uint8_t> in_;
    FakeAnswer &answer_;
};

} // namespace orka::board

#endif
