#include "server/server.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <future>
#include <random>
#include <thread>

#include <fcntl.h>
#include <sys/epoll.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include "board/server/raw_client.h"
#include "board/soon.h"

namespace orka::board {
namespace {

using orka_test::soon;
using protocol::operation;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::MatchesRegex;
using wire::node;

constexpr uint32_t mebibyte = 0x100000;

/* What each request does is told by its name here. */
constexpr uint32_t answer_at_once = wire::IDECODE_START;
constexpr uint32_t refuse = wire::IDECODE_STOP;
constexpr uint32_t wait_for_release = wire::IDECODE_WAIT;
constexpr uint32_t release_waiting = wire::IDECODE_FLUSH;
constexpr uint32_t become_readable = wire::IDECODE_REWIND;
constexpr uint32_t become_unreadable = wire::IDECODE_FASTFORWARD;
constexpr uint32_t forget = wire::IDECODE_PAUSE;

class ScriptedDriver final : public Driver {
  public:
    std::atomic<int> open_files = 0;
    std::atomic<int> abandoned = 0;
    std::atomic<int32_t> last_caller = 0;
    std::atomic<int32_t> last_opener = 0;

    void opened(File &file) override
    {
        files_.push_back(&file);
        open_files++;
    }
    void closed(File &file) override
    {
        std::erase(files_, &file);
        open_files--;
    }
    void control(std::shared_ptr<Call> call) override
    {
        last_caller = call->process();
        last_opener = call->file().process();
        switch (call->row().number) {
        case answer_at_once:
            return call->reply();
        case refuse:
            return call->fail(EPERM);
        case wait_for_release:
            return keep(call);
        case release_waiting:
            release();
            return call->reply();
        case become_readable:
        case become_unreadable:
            for (File *const file : files_)
                file->set_readable(call->row().number == become_readable);
            return call->reply();
        default:
            return;
        }
    }

  private:
    void keep(const std::shared_ptr<Call> &call)
    {
        if (call->nonblocking())
            return call->fail(EAGAIN);
        waiting_.push_back(call);
        call->on_interrupt([this, call] { give(call, wire::driver_interrupted); });
        call->on_abandon([this, call] {
            std::erase(waiting_, call);
            abandoned++;
        });
    }
    void release()
    {
        while (!waiting_.empty())
            give(waiting_.front(), wire::driver_done);
    }
    void give(std::shared_ptr<Call> call, int32_t status)
    {
        std::erase(waiting_, call);
        call->reply_record(wire::wait_record{.status = status});
    }

    std::vector<File *> files_;
    std::vector<std::shared_ptr<Call>> waiting_;
};

size_t open_descriptors()
{
    return static_cast<size_t>(std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}));
}

class ServerTest : public testing::Test {
  protected:
    ServerTest() { start(); }
    ~ServerTest() override
    {
        stop();
        std::filesystem::remove_all(directory);
    }
    void start()
    {
        server.emplace(machine, listen_at(path), &trace);
        auto scripted = std::make_unique<ScriptedDriver>();
        driver = scripted.get();
        server->attach(node::vdecode, std::move(scripted));
        thread = std::thread([this] { reactor.run(); });
    }
    void stop()
    {
        if (!thread.joinable())
            return;
        reactor.post([this] { reactor.stop(); });
        thread.join();
        server.reset();
    }
    /* Runs on the server's thread. */
    template <typename Function>
    auto inside(Function function)
    {
        std::packaged_task<decltype(function())()> task(function);
        reactor.post([&] { task(); });
        return task.get_future().get();
    }
    RawClient greeted() const
    {
        RawClient client(path);
        EXPECT_EQ(client.hello().reply.error, 0u);
        return client;
    }
    Descriptor open_video(const RawClient &client, int flags = O_RDWR) const
    {
        return std::move(client.open(node::vdecode, flags).passed);
    }
    std::string last_traced() const
    {
        std::ifstream lines(directory + "/trace");
        std::string last;
        for (std::string line; std::getline(lines, line);)
            last = line;
        return last;
    }
    std::vector<std::string> logged()
    {
        const std::lock_guard lock(log_mutex);
        return log;
    }
    bool alive() const { return RawClient(path).hello().received; }

    static std::string new_directory()
    {
        char name[] = "/tmp/orka-server-test-XXXXXX";
        return mkdtemp(name);
    }

    const std::string directory = new_directory();
    const std::string path = directory + "/board";
    Reactor reactor;
    Memory memory{16 * mebibyte};
    Options options;
    std::mutex log_mutex;
    std::vector<std::string> log;
    Machine machine{reactor,
                    memory,
                    options,
                    [this](const std::string &line) {
                        const std::lock_guard lock(log_mutex);
                        log.push_back(line);
                    },
                    {}};
    Trace trace{directory + "/trace"};
    std::optional<Server> server;
    ScriptedDriver *driver = nullptr;
    std::thread thread;
};

constexpr uint8_t channel_record[8] = {};
constexpr uint8_t flush_record[12] = {};
constexpr uint8_t wait_record[16] = {};

/* Hello and what does not begin with it. */

TEST_F(ServerTest, HelloTellsTheMemory)
{
    const RawClient client(path);
    const Answer answer = client.hello();
    protocol::machine told{};
    ASSERT_EQ(answer.out.size(), sizeof told);
    memcpy(&told, answer.out.data(), sizeof told);
    EXPECT_EQ(answer.reply.error, 0u);
    EXPECT_EQ(answer.reply.memory, 16 * mebibyte);
    EXPECT_EQ(told.memory_inode, inode_of(memory.fd()));
}

TEST_F(ServerTest, AnotherVersionIsAProtocolErrorAndMayTryAgain)
{
    const RawClient client(path);
    EXPECT_EQ(client.hello(protocol::version + 1).reply.error, uint32_t{EPROTO});
    EXPECT_EQ(client.hello().reply.error, 0u);
}

TEST_F(ServerTest, WhoDoesNotGreetIsCutOff)
{
    const RawClient client(path);
    EXPECT_FALSE(client.open(node::vdecode, O_RDWR).received);
}

TEST_F(ServerTest, WhoGreetsTwiceIsCutOff)
{
    const RawClient client = greeted();
    EXPECT_FALSE(client.hello().received);
}

TEST_F(ServerTest, CountsThoseWhoGreeted)
{
    const RawClient silent(path);
    const RawClient first = greeted();
    const RawClient second = greeted();
    EXPECT_EQ(inside([this] { return server->greeted_clients(); }), 2u);
}

/* Packets that make no sense end their connection and nothing else. */

class MalformedPacketTest : public ServerTest {
  protected:
    void expect_cut_off(const std::vector<uint8_t> &packet)
    {
        const RawClient client = greeted();
        const RawClient other = greeted();
        client.send_bytes(packet.data(), packet.size());
        EXPECT_FALSE(client.receive().received);
        EXPECT_EQ(other.open(node::vdecode, O_RDWR).reply.error, 0u);
    }
    static std::vector<uint8_t> packet_of(protocol::request request, size_t payload)
    {
        std::vector<uint8_t> packet(sizeof request + payload);
        memcpy(packet.data(), &request, sizeof request);
        return packet;
    }
};

TEST_F(MalformedPacketTest, Empty)
{
    expect_cut_off({});
}

TEST_F(MalformedPacketTest, ShorterThanARequest)
{
    expect_cut_off(std::vector<uint8_t>(sizeof(protocol::request) - 1));
}

TEST_F(MalformedPacketTest, OfNoKnownOperation)
{
    expect_cut_off(packet_of({.operation = 0}, 0));
    expect_cut_off(packet_of({.operation = 99}, 0));
}

TEST_F(MalformedPacketTest, LongerThanItSays)
{
    expect_cut_off(packet_of({.operation = RawClient::operation(operation::control), .length = 3}, 4));
}

TEST_F(MalformedPacketTest, ShorterThanItSaysUnlessItIsARequest)
{
    expect_cut_off(packet_of({.operation = RawClient::operation(operation::open), .length = 3}, 0));
    expect_cut_off(packet_of({.operation = RawClient::operation(operation::outside), .length = 16}, 0));
}

TEST_F(MalformedPacketTest, LongerThanAnyRecord)
{
    constexpr size_t size = protocol::payload_limit + 1;
    expect_cut_off(packet_of({.operation = RawClient::operation(operation::control), .length = size}, size));
}

TEST_F(MalformedPacketTest, WithAPayloadWhereNoneBelongs)
{
    for (const operation name : {operation::open, operation::identify, operation::outside})
        expect_cut_off(packet_of({.operation = RawClient::operation(name), .length = 4}, 4));
}

TEST_F(MalformedPacketTest, AtRandom)
{
    std::mt19937 random(20240711);
    for (int i = 0; i < 300; i++) {
        const RawClient client = greeted();
        std::vector<uint8_t> packet(random() % (sizeof(protocol::request) + protocol::payload_limit + 8));
        for (uint8_t &byte : packet)
            byte = static_cast<uint8_t>(random() % 4 == 0 ? random() : 0);
        if (!packet.empty())
            packet[0] = static_cast<uint8_t>(random() % 8);
        client.send_bytes(packet.data(), packet.size());
        client.send_bytes(packet.data(), packet.size());
    }
    EXPECT_TRUE(alive());
}

/* Open. */

TEST_F(ServerTest, OpeningMemoryGivesTheMemoryItself)
{
    const RawClient client = greeted();
    const Answer answer = client.open(node::mem, O_RDWR);
    void *const mapped =
        mmap(nullptr, page_size, PROT_READ | PROT_WRITE, MAP_SHARED, answer.passed, 2 * mebibyte);
    ASSERT_NE(mapped, MAP_FAILED);
    *static_cast<uint8_t *>(mapped) = 0x77;
    EXPECT_EQ(memory.at(2 * mebibyte, 1)[0], 0x77);
    munmap(mapped, page_size);
}

TEST_F(ServerTest, MemoryOpenedForReadingCannotBeMappedForWriting)
{
    const RawClient client = greeted();
    const Answer answer = client.open(node::mem, O_RDONLY);
    EXPECT_EQ(mmap(nullptr, page_size, PROT_READ | PROT_WRITE, MAP_SHARED, answer.passed, 0), MAP_FAILED);
    EXPECT_EQ(errno, EACCES);
}

TEST_F(ServerTest, NobodyMakesTheMemorySmaller)
{
    const RawClient client = greeted();
    const Answer answer = client.open(node::mem, O_RDWR);
    EXPECT_EQ(ftruncate(answer.passed, 0), -1);
    EXPECT_EQ(errno, EPERM);
}

TEST_F(ServerTest, AnUnknownNodeIsNoDevice)
{
    const RawClient client = greeted();
    EXPECT_EQ(client.open(static_cast<node>(1000), O_RDWR).reply.error, uint32_t{ENXIO});
}

TEST_F(ServerTest, AnImpossibleAccessModeIsInvalid)
{
    const RawClient client = greeted();
    EXPECT_EQ(client.open(node::vdecode, O_ACCMODE).reply.error, uint32_t{EINVAL});
}

TEST_F(ServerTest, EveryNodeOpens)
{
    const RawClient client = greeted();
    for (const wire::node_path &known : wire::node_paths)
        EXPECT_GE(client.open(known.node, O_RDWR).passed, 0) << known.path;
}

TEST_F(ServerTest, AFileIsAPipeOfTheCapacityThatTellsIt)
{
    const RawClient client = greeted();
    const Descriptor file = open_video(client);
    EXPECT_EQ(fcntl(file, F_GETPIPE_SZ), protocol::file_pipe_size);
}

TEST_F(ServerTest, AFileIsNonblockingWhenAskedFor)
{
    const RawClient client = greeted();
    EXPECT_NE(fcntl(open_video(client, O_RDWR | O_NONBLOCK), F_GETFL) & O_NONBLOCK, 0);
    EXPECT_EQ(fcntl(open_video(client, O_RDWR), F_GETFL) & O_NONBLOCK, 0);
}

TEST_F(ServerTest, AFileIsIdentifiedByItsInode)
{
    const RawClient client = greeted();
    const Descriptor file = open_video(client);
    const Answer answer = client.identify(inode_of(file));
    EXPECT_EQ(answer.reply.error, 0u);
    EXPECT_EQ(answer.reply.result, static_cast<int32_t>(node::vdecode));
}

TEST_F(ServerTest, AnotherPipeIsNoFileOfTheBoard)
{
    const RawClient client = greeted();
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    const Descriptor reader(ends[0]);
    const Descriptor writer(ends[1]);
    EXPECT_EQ(client.identify(inode_of(reader)).reply.error, protocol::unknown_file);
    EXPECT_EQ(client.control(inode_of(reader), answer_at_once, channel_record).reply.error,
              protocol::unknown_file);
}

/* The last close. */

TEST_F(ServerTest, TheDriverLearnsOfTheLastCloseAlone)
{
    const RawClient client = greeted();
    Descriptor file = open_video(client);
    Descriptor copy(dup(file));
    file.reset();
    EXPECT_EQ(client.control(inode_of(copy), answer_at_once, channel_record).reply.error, 0u);
    EXPECT_EQ(driver->open_files, 1);
    copy.reset();
    EXPECT_TRUE(soon([&] { return driver->open_files == 0; }));
}

TEST_F(ServerTest, AClosedFileIsForgotten)
{
    const RawClient client = greeted();
    Descriptor file = open_video(client);
    const uint32_t number = inode_of(file);
    file.reset();
    EXPECT_TRUE(soon([&] { return driver->open_files == 0; }));
    EXPECT_EQ(client.identify(number).reply.error, protocol::unknown_file);
}

TEST_F(ServerTest, AFileOutlivesTheConnectionThatOpenedIt)
{
    RawClient client = greeted();
    const Descriptor file = open_video(client);
    client.hang_up();
    EXPECT_EQ(greeted().control(inode_of(file), answer_at_once, channel_record).reply.error, 0u);
}

TEST_F(ServerTest, ADescriptorThatIsNeverReceivedIsClosed)
{
    RawClient client = greeted();
    client.send({.operation = RawClient::operation(operation::open),
                 .node = static_cast<uint32_t>(node::vdecode),
                 .flags = O_RDWR});
    EXPECT_TRUE(soon([&] { return driver->open_files == 1; }));
    client.hang_up();
    EXPECT_TRUE(soon([&] { return driver->open_files == 0; }));
}

TEST_F(ServerTest, AFileWithARequestUnderWayClosesAfterIt)
{
    const RawClient client = greeted();
    const RawClient other = greeted();
    Descriptor file = open_video(client);
    const Descriptor second = open_video(other);
    client.send_control(inode_of(file), wait_for_release, wait_record);
    file.reset();
    EXPECT_EQ(other.control(inode_of(second), answer_at_once, channel_record).reply.error, 0u);
    inside([] { return 0; });
    EXPECT_EQ(driver->open_files, 2);
    other.control(inode_of(second), release_waiting, flush_record);
    EXPECT_EQ(client.receive().reply.error, 0u);
    EXPECT_TRUE(soon([&] { return driver->open_files == 1; }));
}

TEST_F(ServerTest, DescriptorsStayFlat)
{
    const RawClient client = greeted();
    const auto round = [&] {
        const RawClient passing = greeted();
        const Descriptor file = open_video(passing);
        passing.send_control(inode_of(file), wait_for_release, wait_record);
    };
    round();
    EXPECT_TRUE(soon([&] { return driver->abandoned == 1 && driver->open_files == 0; }));
    const size_t before = open_descriptors();
    for (int i = 0; i < 200; i++)
        round();
    EXPECT_TRUE(soon([&] { return driver->abandoned == 201 && driver->open_files == 0; }));
    EXPECT_EQ(open_descriptors(), before);
}

/* Requests. */

class RequestTest : public ServerTest {
  protected:
    Answer ask(uint32_t number, std::span<const uint8_t> in) const
    {
        return client.control(inode_of(file), number, in);
    }

    const RawClient client = greeted();
    const Descriptor file = open_video(client);
};

TEST_F(RequestTest, TheDriversAnswerComesBack)
{
    EXPECT_EQ(ask(answer_at_once, channel_record).reply.error, 0u);
}

TEST_F(RequestTest, TheDriversErrorComesBackWithoutARecord)
{
    const Answer answer = ask(refuse, channel_record);
    EXPECT_EQ(answer.reply.error, uint32_t{EPERM});
    EXPECT_EQ(answer.reply.length, 0u);
}

TEST_F(RequestTest, ARequestThatTheDriverForgetsIsAnError)
{
    EXPECT_EQ(ask(forget, channel_record).reply.error, uint32_t{EIO});
}

TEST_F(RequestTest, AnUnknownRequestIsNotForThisDevice)
{
    EXPECT_EQ(ask(0x12345678, {}).reply.error, uint32_t{ENOTTY});
    EXPECT_EQ(ask(wire::IMANAGE_RESET, {}).reply.error, uint32_t{ENOTTY});
}

TEST_F(RequestTest, ADeviceWithoutADriverTakesNone)
{
    const Descriptor idle = std::move(client.open(node::idecode, O_RDWR).passed);
    const Descriptor audio = std::move(client.open(node::adecode, O_RDWR).passed);
    EXPECT_EQ(client.control(inode_of(idle), answer_at_once, channel_record).reply.error, uint32_t{ENOTTY});
    EXPECT_EQ(client.control(inode_of(audio), answer_at_once, channel_record).reply.error, uint32_t{ENOTTY});
}

TEST_F(RequestTest, ARecordOfTheWrongLengthIsInvalid)
{
    EXPECT_EQ(ask(answer_at_once, {channel_record, 7}).reply.error, uint32_t{EINVAL});
    EXPECT_EQ(ask(answer_at_once, {}).reply.error, uint32_t{EINVAL});
    EXPECT_EQ(ask(answer_at_once, wait_record).reply.error, uint32_t{EINVAL});
}

TEST_F(RequestTest, AHeaderWithoutItsRecordIsABadAddress)
{
    const protocol::request header{.operation = RawClient::operation(operation::control),
                                   .file = inode_of(file),
                                   .number = answer_at_once,
                                   .length = 8};
    client.send_bytes(&header, sizeof header);
    EXPECT_EQ(client.receive().reply.error, uint32_t{EFAULT});
    EXPECT_EQ(ask(answer_at_once, channel_record).reply.error, 0u);
}

TEST_F(RequestTest, ASecondRequestBeforeTheAnswerEndsTheConnection)
{
    client.send_control(inode_of(file), wait_for_release, wait_record);
    EXPECT_FALSE(ask(answer_at_once, channel_record).received);
    EXPECT_TRUE(soon([&] { return driver->abandoned == 1; }));
}

TEST_F(RequestTest, AWaitIsAnsweredWhenItsTimeComes)
{
    const RawClient other = greeted();
    client.send_control(inode_of(file), wait_for_release, wait_record);
    inside([] { return 0; });
    EXPECT_EQ(other.control(inode_of(file), release_waiting, flush_record).reply.error, 0u);
    const Answer answer = client.receive();
    EXPECT_EQ(answer.out.size(), sizeof wait_record);
}

TEST_F(RequestTest, ACancelInterruptsTheRequestUnderWay)
{
    client.send_control(inode_of(file), wait_for_release, wait_record);
    client.cancel();
    const Answer answer = client.receive();
    wire::wait_record record{};
    ASSERT_EQ(answer.out.size(), sizeof record);
    memcpy(&record, answer.out.data(), sizeof record);
    EXPECT_EQ(record.status, wire::driver_interrupted);
}

TEST_F(RequestTest, ALateCancelIsIgnored)
{
    client.cancel();
    EXPECT_EQ(ask(answer_at_once, channel_record).reply.error, 0u);
    client.cancel();
    EXPECT_EQ(ask(answer_at_once, channel_record).reply.error, 0u);
}

TEST_F(RequestTest, TheDriverLearnsThatTheDescriptorDoesNotBlock)
{
    const Answer answer = client.ask({.operation = RawClient::operation(operation::control),
                                      .file = inode_of(file),
                                      .number = wait_for_release,
                                      .nonblock = 1},
                                     wait_record);
    EXPECT_EQ(answer.reply.error, uint32_t{EAGAIN});
}

TEST_F(RequestTest, TheKernelTellsWhoOpenedAndWhoCalls)
{
    const pid_t child = fork();
    if (child == 0) {
        const RawClient other(path);
        other.hello();
        _exit(other.control(inode_of(file), answer_at_once, channel_record).reply.error == 0 ? 0 : 1);
    }
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(driver->last_opener, getpid());
    EXPECT_EQ(driver->last_caller, child);
}

TEST_F(RequestTest, TheRequestOfADeadClientIsAbandoned)
{
    RawClient mortal = greeted();
    mortal.send_control(inode_of(file), wait_for_release, wait_record);
    mortal.hang_up();
    EXPECT_TRUE(soon([&] { return driver->abandoned == 1; }));
    EXPECT_EQ(ask(release_waiting, flush_record).reply.error, 0u);
}

TEST_F(RequestTest, AClientThatNeverReadsItsRepliesIsCutOff)
{
    const RawClient deaf = greeted();
    fcntl(deaf.fd(), F_SETFL, O_NONBLOCK);
    const protocol::request request{.operation = RawClient::operation(operation::identify)};
    const auto cut_off = [&] {
        return ::send(deaf.fd(), &request, sizeof request, MSG_NOSIGNAL) < 0 && errno == EPIPE;
    };
    EXPECT_TRUE(soon(cut_off));
    EXPECT_TRUE(alive());
}

TEST_F(RequestTest, ARefusedMappingIsWrittenIntoTheLog)
{
    const protocol::range range{.offset = 0x2000000, .length = 4096};
    const Answer answer = client.ask({.operation = RawClient::operation(operation::outside)},
                                     {reinterpret_cast<const uint8_t *>(&range), sizeof range});
    EXPECT_EQ(answer.reply.error, 0u);
    EXPECT_THAT(logged(), ElementsAre("mem: refused to map 4096 bytes at 0x02000000 for process " +
                                      std::to_string(getpid()) + ": physical memory ends at 0x01000000"));
}

/* Readiness. */

TEST_F(RequestTest, PollTellsWhetherTheFileIsReadable)
{
    EXPECT_EQ(poll_now(file), 0);
    ask(become_readable, channel_record);
    EXPECT_EQ(poll_now(file), POLLIN);
    ask(become_readable, channel_record);
    ask(become_unreadable, channel_record);
    EXPECT_EQ(poll_now(file), 0);
    ask(become_readable, channel_record);
    EXPECT_EQ(poll_now(file), POLLIN);
}

TEST_F(RequestTest, AnotherFilesRequestTakesReadinessAway)
{
    const RawClient other = greeted();
    const Descriptor second = open_video(other);
    ask(become_readable, channel_record);
    other.control(inode_of(second), become_unreadable, channel_record);
    EXPECT_EQ(poll_now(file), 0);
    EXPECT_EQ(poll_now(second), 0);
}

TEST_F(RequestTest, ReadingFromTheFileDoesNotMakeItUnreadableForLong)
{
    char byte = 0;
    ask(become_readable, channel_record);
    EXPECT_EQ(read(file, &byte, 1), 1);
    ask(become_readable, channel_record);
    EXPECT_EQ(poll_now(file), POLLIN);
}

TEST_F(RequestTest, EdgesAreSeenOnceEach)
{
    const Descriptor poller(epoll_create1(EPOLL_CLOEXEC));
    epoll_event event{.events = EPOLLIN | EPOLLET, .data = {}};
    ASSERT_EQ(epoll_ctl(poller, EPOLL_CTL_ADD, file, &event), 0);
    const auto edges = [&] { return epoll_wait(poller, &event, 1, 0); };
    EXPECT_EQ(edges(), 0);
    ask(become_readable, channel_record);
    EXPECT_EQ(edges(), 1);
    EXPECT_EQ(edges(), 0);
    ask(become_unreadable, channel_record);
    EXPECT_EQ(edges(), 0);
    ask(become_readable, channel_record);
    EXPECT_EQ(edges(), 1);
}

TEST_F(RequestTest, TakingReadinessAwayDoesNotHideTheLastClose)
{
    const RawClient other = greeted();
    Descriptor second = open_video(other);
    ask(become_readable, channel_record);
    ask(become_unreadable, channel_record);
    second.reset();
    EXPECT_TRUE(soon([&] { return driver->open_files == 1; }));
}

TEST_F(RequestTest, AServerThatIsGoneHangsUp)
{
    stop();
    EXPECT_EQ(poll_now(file), POLLHUP);
    EXPECT_FALSE(ask(answer_at_once, channel_record).received);
}

/* The trace. */

TEST_F(RequestTest, TheTraceTellsHowLongAWaitTook)
{
    client.send_control(inode_of(file), wait_for_release, wait_record);
    client.cancel();
    client.receive();
    EXPECT_THAT(last_traced(),
                MatchesRegex("[0-9.]+ [0-9]+/.* /dev/vdecode IDECODE_WAIT\\(channel=0, stream=0, "
                             "timeout=0\\) = 0 \\{status=2\\} <[0-9]+\\.[0-9]{3} ms>"));
}

TEST_F(RequestTest, TheTraceTellsOfARequestThatNobodyWaitsForAnyMore)
{
    RawClient mortal = greeted();
    mortal.send_control(inode_of(file), wait_for_release, wait_record);
    mortal.hang_up();
    EXPECT_TRUE(soon([&] { return driver->abandoned == 1; }));
    inside([] { return 0; });
    EXPECT_THAT(last_traced(),
                HasSubstr("IDECODE_WAIT(channel=0, stream=0, timeout=0) = ? (the program is gone) <"));
}

TEST_F(RequestTest, TheTraceTellsHowAFileWasOpened)
{
    const Answer opened = client.open(node::idecode, O_RDONLY | O_NONBLOCK);
    EXPECT_THAT(last_traced(), HasSubstr("/dev/idecode open(O_RDONLY|O_NONBLOCK) = 0"));
    client.open(static_cast<node>(1000), O_WRONLY);
    EXPECT_THAT(last_traced(), HasSubstr("? open(O_WRONLY) = -1 ENXIO"));
}

/* Who may connect, and where. */

TEST_F(ServerTest, ClientsForWhomThereIsNoDescriptorWait)
{
#ifdef __SANITIZE_ADDRESS__
    GTEST_SKIP() << "the sanitizer's own checks need descriptors";
#endif
    RawClient first = greeted();
    rlimit limit{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
    const int lowest_free = dup(STDIN_FILENO);
    close(lowest_free);
    const rlimit room_for_one{static_cast<rlim_t>(lowest_free) + 1, limit.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &room_for_one), 0);
    const RawClient second(path);
    inside([] { return 0; });
    first.hang_up();
    EXPECT_EQ(second.hello().reply.error, 0u);
    setrlimit(RLIMIT_NOFILE, &limit);
    EXPECT_THAT(logged(), ElementsAre("no descriptors left for more clients: they wait"));
}

TEST_F(ServerTest, ProgramsOfOtherUsersAreRefused)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "only root can become another user";
    ASSERT_EQ(chmod(directory.c_str(), 0755), 0);
    ASSERT_EQ(chmod(path.c_str(), 0777), 0);
    const pid_t child = fork();
    if (child == 0) {
        const bool other = setuid(65534) == 0;
        const RawClient client(path);
        _exit(other && client.connected() && !client.hello().received ? 0 : 1);
    }
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
    EXPECT_THAT(logged(), ElementsAre("refused a program of user 65534"));
}

TEST_F(ServerTest, TheSocketIsForItsUserAlone)
{
    struct stat status {};
    ASSERT_EQ(stat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0600u);
}

int error_of_listening_at(const std::string &path)
{
    try {
        close(listen_at(path));
    } catch (const std::system_error &error) {
        return error.code().value();
    }
    return 0;
}

TEST_F(ServerTest, ALivingBoardsSocketIsNotTakenOver)
{
    EXPECT_EQ(error_of_listening_at(path), EADDRINUSE);
    EXPECT_TRUE(alive());
}

TEST_F(ServerTest, ADeadBoardsSocketIsReplaced)
{
    const std::string left = directory + "/left";
    close(listen_at(left));
    ASSERT_TRUE(std::filesystem::is_socket(left));
    EXPECT_EQ(error_of_listening_at(left), 0);
}

TEST_F(ServerTest, ASocketOfAnotherKindOfServerIsNotTakenOver)
{
    sockaddr_un address{.sun_family = AF_UNIX};
    const std::string stream = directory + "/stream";
    const Descriptor listening(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    memcpy(address.sun_path, stream.c_str(), stream.size() + 1);
    ASSERT_EQ(bind(listening, reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
    ASSERT_EQ(listen(listening, 1), 0);
    EXPECT_EQ(error_of_listening_at(stream), EADDRINUSE);
    EXPECT_TRUE(std::filesystem::exists(stream));
}

TEST_F(ServerTest, AFileThatIsNoSocketIsLeftAlone)
{
    const std::string file = directory + "/file";
    std::ofstream(file) << "kept";
    EXPECT_EQ(error_of_listening_at(file), EADDRINUSE);
    EXPECT_EQ(std::filesystem::file_size(file), 4u);
}

TEST_F(ServerTest, ASocketPathThatIsTooLongIsAnError)
{
    const std::string longest = "/tmp/" + std::string(sizeof(sockaddr_un::sun_path) - 6, 'x');
    EXPECT_EQ(error_of_listening_at(longest), 0);
    EXPECT_EQ(error_of_listening_at(longest + "x"), ENAMETOOLONG);
    unlink(longest.c_str());
}

TEST_F(ServerTest, AnErrorSaysWhichSocket)
{
    try {
        listen_at("/nonexistent/board");
        FAIL();
    } catch (const std::system_error &error) {
        EXPECT_THAT(error.what(), HasSubstr("the board's socket /nonexistent/board: No such file"));
    }
}

} // namespace
} // namespace orka::board
