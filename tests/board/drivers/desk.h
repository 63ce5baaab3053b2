/*
 * A driver on the desk: a real reactor in a thread of its own and real memory, with files and calls that the
 * test holds in its hands instead of a server's.
 */
#ifndef ORKA_TESTS_BOARD_DESK_H
#define ORKA_TESTS_BOARD_DESK_H

#include <gtest/gtest.h>

#include <algorithm>
#include <condition_variable>
#include <cstring>
#include <future>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

#include "drivers/driver.h"
#include "orka_media.h"

namespace orka::board::desk {

using namespace std::chrono_literals;

/* No answer of the driver's own takes as long. */
constexpr std::chrono::milliseconds eternity = 20s;

class TestFile final : public File {
  public:
    explicit TestFile(wire::node node, int32_t process = 1) : node_(node), process_(process) {}
    uint32_t number() const override { return 1; }
    wire::node node() const override { return node_; }
    int32_t process() const override { return process_; }
    void set_readable(bool readable) override { readable_ = readable; }
    bool readable() const { return readable_; }

  private:
    wire::node node_;
    int32_t process_;
    std::atomic<bool> readable_ = false;
};

struct Answer {
    int error = 0;
    std::vector<uint8_t> out;

    template <typename Record>
    Record as() const
    {
        Record record{};
        EXPECT_EQ(out.size(), sizeof record);
        std::memcpy(&record, out.data(), std::min(out.size(), sizeof record));
        return record;
    }
};

/* One request, and what came of it. */
class TestCall final : public Call {
  public:
    TestCall(File &file, const wire::request_row &row, std::vector<uint8_t> in, bool nonblocking)
        : file_(file), row_(row), in_(std::move(in)), nonblocking_(nonblocking)
    {
    }
    File &file() const override { return file_; }
    const wire::request_row &row() const override { return row_; }
    int32_t process() const override { return 1; }
    bool nonblocking() const override { return nonblocking_; }
    std::span<const uint8_t> in() const override { return in_; }
    void reply(std::span<const uint8_t> out) override { answer({0, {out.begin(), out.end()}}); }
    void fail(int error) override { answer({error, {}}); }
    void on_interrupt(std::function<void()> handler) override { interrupt_ = std::move(handler); }
    void on_abandon(std::function<void()> handler) override { abandon_ = std::move(handler); }

    std::optional<Answer> wait(std::chrono::milliseconds limit)
    {
        std::unique_lock lock(mutex_);
        answered_.wait_for(lock, limit, [this] { return answer_.has_value(); });
        return answer_;
    }

    void interrupt() { fire(interrupt_); }
    void abandon() { fire(abandon_); }

  private:
    static void fire(std::function<void()> &handler)
    {
        if (const auto taken = std::exchange(handler, nullptr))
            taken();
    }

    void answer(Answer answer)
    {
        const std::lock_guard lock(mutex_);
        EXPECT_FALSE(answer_) << "a call was answered twice: " << row_.name;
        EXPECT_TRUE(answer.error != 0 || answer.out.size() == row_.out);
        interrupt_ = nullptr;
        abandon_ = nullptr;
        answer_ = std::move(answer);
        answered_.notify_all();
    }

    File &file_;
    const wire::request_row &row_;
    const std::vector<uint8_t> in_;
    const bool nonblocking_;
    std::function<void()> interrupt_;
    std::function<void()> abandon_;
    std::mutex mutex_;
    std::condition_variable answered_;
    std::optional<Answer> answer_;
};

/* The board without its server. */
class Desk {
  public:
    explicit Desk(bool real_time = false)
        : options_{.real_time = real_time}, machine_{.reactor = reactor_,
                                                     .memory = memory_,
                                                     .options = options_,
                                                     .log = [this](const auto &line) { log_ += line + "\n"; },
                                                     .dsp_image = {},
                                                     .capture = CaptureClock(real_time)},
          thread_([this] { reactor_.run(); })
    {
    }
    ~Desk()
    {
        on_reactor([this] { driver_.reset(); });
        reactor_.post([this] { reactor_.stop(); });
        thread_.join();
    }

    template <typename Make>
    void attach(Make make)
    {
        on_reactor([&] { driver_ = make(machine_); });
    }

    template <typename Work>
    void on_reactor(Work work)
    {
        std::promise<void> done;
        reactor_.post([&] {
            work();
            done.set_value();
        });
        done.get_future().wait();
    }

    std::shared_ptr<TestCall> begin(TestFile &file, uint32_t number, std::vector<uint8_t> in,
                                    bool nonblocking = false)
    {
        const wire::request_row *const row = wire::find_request(file.node(), number);
        if (!row)
            throw std::logic_error("the node does not take this request");
        auto call = std::make_shared<TestCall>(file, *row, std::move(in), nonblocking);
        on_reactor([&] { driver_->control(call); });
        return call;
    }

    template <typename Record>
    std::shared_ptr<TestCall> begin(TestFile &file, uint32_t number, const Record &record,
                                    bool nonblocking = false)
    {
        const auto *const bytes = reinterpret_cast<const uint8_t *>(&record);
        return begin(file, number, std::vector<uint8_t>(bytes, bytes + sizeof record), nonblocking);
    }

    void interrupt(TestCall &call)
    {
        on_reactor([&] { call.interrupt(); });
    }
    void abandon(TestCall &call)
    {
        on_reactor([&] { call.abandon(); });
    }
    void open(TestFile &file)
    {
        on_reactor([&] { driver_->opened(file); });
    }
    void close(TestFile &file)
    {
        on_reactor([&] { driver_->closed(file); });
    }

    std::span<uint8_t> bytes(uint32_t address, uint32_t length) { return memory_.at(address, length); }
    uint32_t queues()
    {
        uint32_t count = 0;
        on_reactor([&] { count = static_cast<uint32_t>(memory_.queues().blocks().size()); });
        return count;
    }
    std::string log()
    {
        std::string text;
        on_reactor([&] { text = log_; });
        return text;
    }
    void set_dsp_image(const std::string &name)
    {
        on_reactor([&] { machine_.dsp_image = name; });
    }
    void set_standard(const Standard &standard)
    {
        on_reactor([&] { machine_.standard = standard; });
    }
    template <typename Work>
    void on_clock(Work work)
    {
        on_reactor([&] { work(machine_.presentation); });
    }
    uint64_t captured_us() { return machine_.capture.now_us(); } /* real time */
    template <typename Json>
    Json report()
    {
        Json status;
        on_reactor([&] { driver_->report(status); });
        return status;
    }
    void set_real_time() { options_.real_time = true; }

  private:
    Reactor reactor_;
    Memory memory_{128 << 20};
    Options options_;
    std::string log_;
    Machine machine_;
    std::unique_ptr<Driver> driver_;
    std::thread thread_;
};

/* True as soon as the condition is; false when it never came to be. */
template <typename Condition>
bool eventually(Condition condition)
{
    const auto end = std::chrono::steady_clock::now() + eternity;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end)
            return false;
        std::this_thread::sleep_for(1ms);
    }
    return true;
}

/* A decoder of one node as a program uses it, one request a line. */
class Player {
  public:
    Player(Desk &desk, wire::node node, int32_t channel = 0, int32_t stream = 0)
        : file(node), desk_(desk), channel_(channel), stream_(stream)
    {
    }

    ~Player() { desk_.close(file); }
    Player(const Player &) = delete;
    Player &operator=(const Player &) = delete;

    int order(uint32_t number) { return error_of(number, wire::channel_record{channel_, stream_}); }
    int load(const std::string &name);
    int set_up(const orka_idecode_video_params_t &params)
    {
        return error_of(wire::IDECODE_SETUP_VIDEO, wire::video_setup_record{channel_, stream_, params});
    }
    int set_up(const orka_idecode_audio_params_t &params)
    {
        return error_of(wire::IDECODE_SETUP_AUDIO, wire::audio_setup_record{channel_, stream_, params});
    }
    int set_up(const orka_idecode_subtitle_params_t &params)
    {
        return error_of(wire::IDECODE_SETUP_SUBTITLE, wire::subtitle_setup_record{channel_, stream_, params});
    }
    int start() { return order(wire::IDECODE_START); }
    int stop() { return order(wire::IDECODE_STOP); }
    int pause() { return order(wire::IDECODE_PAUSE); }
    int tear_down() { return order(wire::IDECODE_TEARDOWN); }
    int flush() { return error_of(wire::IDECODE_FLUSH, wire::flush_record{channel_, stream_, 1}); }

    std::shared_ptr<TestCall> begin_new(int32_t timeout, bool nonblocking = false)
    {
        return desk_.begin(file, wire::IDECODE_NEW_FRAME, frame_request(timeout), nonblocking);
    }
    std::shared_ptr<TestCall> begin_get(int32_t timeout, bool nonblocking = false)
    {
        return desk_.begin(file, wire::IDECODE_GET_FRAME, frame_request(timeout), nonblocking);
    }
    std::shared_ptr<TestCall> begin_wait(int32_t timeout, bool nonblocking = false)
    {
        return desk_.begin(file, wire::IDECODE_WAIT, wire::wait_record{channel_, stream_, timeout, 77},
                           nonblocking);
    }
    static wire::frame_request_record frame_of(TestCall &call)
    {
        return answer_of(call).as<wire::frame_request_record>();
    }
    wire::frame_request_record new_frame(int32_t timeout = 0) { return frame_of(*begin_new(timeout)); }
    wire::frame_request_record get(int32_t timeout = 10'000) { return frame_of(*begin_get(timeout)); }
    int32_t wait(int32_t timeout = 10'000)
    {
        return answer_of(*begin_wait(timeout)).as<wire::wait_record>().status;
    }

    int commit(const orka_idecode_frame_t &frame)
    {
        return error_of(wire::IDECODE_COMMIT_FRAME,
                        wire::frame_return_record{channel_, stream_, queueid(), frame});
    }
    int release(const orka_idecode_frame_t &frame)
    {
        return error_of(wire::IDECODE_RELEASE_FRAME,
                        wire::frame_return_record{channel_, stream_, queueid(), frame});
    }
    wire::queue_record queue()
    {
        return answer_of(
                   *desk_.begin(file, wire::IDECODE_QUEUE, wire::queue_record{channel_, stream_, queueid()}))
            .as<wire::queue_record>();
    }

    /* A whole frame in; false when the queue stays full for the time-out. */
    bool feed(std::span<const uint8_t> data, uint32_t tsms = 0, uint32_t flags = 0, int32_t timeout = 10'000)
    {
        const auto answer = new_frame(timeout);
        if (answer.status != wire::driver_done)
            return false;
        std::ranges::copy(data, desk_.bytes(answer.frame.addr, answer.frame.capacity).begin());
        orka_idecode_frame_t frame = answer.frame;
        frame.size = static_cast<uint32_t>(data.size());
        frame.flags = flags;
        frame.tsms = tsms;
        return commit(frame) == 0;
    }
    bool feed_last()
    {
        const auto answer = new_frame(10'000);
        return commit({.kind = ORKA_FRAME_TYPE_LAST, .addr = answer.frame.addr}) == 0;
    }

    template <typename Record>
    int error_of(uint32_t number, const Record &record)
    {
        return answer_of(*desk_.begin(file, number, record)).error;
    }
    uint32_t queueid() const
    {
        const bool pictures = file.node() == wire::node::vdecode || file.node() == wire::node::imgdecode;
        return pictures ? 8 : 3;
    }
    wire::frame_request_record frame_request(int32_t timeout) const
    {
        return {channel_, stream_, queueid(), timeout, 77};
    }
    static Answer answer_of(TestCall &call)
    {
        const std::optional<Answer> answer = call.wait(eternity);
        EXPECT_TRUE(answer) << "never answered: " << call.row().name;
        return answer.value_or(Answer{ETIME, {}});
    }

    TestFile file;

  private:
    Desk &desk_;
    int32_t channel_;
    int32_t stream_;
};

inline int Player::load(const std::string &name)
{
    if (file.node() == wire::node::vdecode) {
        wire::video_framework_record record{channel_, stream_, {}};
        name.copy(record.name, sizeof record.name);
        return error_of(wire::IDECODE_LOAD, record);
    }
    std::vector<uint8_t> bytes(name.begin(), name.end());
    bytes.push_back(0);
    return answer_of(*desk_.begin(file, wire::IDECODE_LOAD, bytes)).error;
}

} // namespace orka::board::desk

#endif
