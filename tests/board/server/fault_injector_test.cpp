/* Faults between a request and its driver. */
#include "server/fault_injector.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <nlohmann/json.hpp>
#include <unistd.h>

namespace orka::board {
namespace {

using testing::ElementsAre;
using wire::node;

constexpr uint32_t mebibyte = 0x100000;

struct Answers final : CallOwner {
    struct One {
        int error;
        std::vector<uint8_t> out;
        std::string marks;
    };
    void answered(PendingCall &call, int error, std::span<const uint8_t> out) override
    {
        all.push_back({error, {out.begin(), out.end()}, call.marks()});
    }
    std::vector<One> all;
};

/* Answers everything at once; allocates where it is asked to. */
class PlainDriver final : public Driver {
  public:
    explicit PlainDriver(Memory &memory) : memory_(memory) {}
    void control(std::shared_ptr<Call> call) override
    {
        seen++;
        if (call->row().number == wire::IMANAGE_ALLOC) {
            const auto block = memory_.imem().allocate(page_size);
            return block ? call->reply_record(*block) : call->fail(ENOMEM);
        }
        if (call->row().out == 0)
            return call->reply();
        auto record = call->record<wire::frame_request_record>();
        record.status = status;
        record.frame = frame;
        call->reply_record(record);
    }
    bool hang(const Call &) override
    {
        hangs += has_codec;
        return has_codec;
    }

    int seen = 0;
    int hangs = 0;
    bool has_codec = true;
    int32_t status = wire::driver_done;
    orka_idecode_frame_t frame{};

  private:
    Memory &memory_;
};

class FaultInjectorTest : public testing::Test {
  protected:
    void inject(const std::vector<std::string> &specs)
    {
        std::vector<Fault> faults;
        for (const std::string &spec : specs)
            faults.push_back(parse_fault(spec));
        injector_.emplace(machine_, faults);
    }

    std::shared_ptr<PendingCall> call(node on, uint32_t number, std::span<const uint8_t> in)
    {
        int reader = -1;
        auto file = std::make_shared<DeviceFile>(on, client_, false, reader);
        close(reader);
        return std::make_shared<PendingCall>(
            PendingCall::Origin{answers_, file, *wire::find_request(on, number), client_, false}, in);
    }

    template <typename Record>
    const Answers::One &ask(node on, uint32_t number, const Record &record)
    {
        injector_->control(call(on, number, {reinterpret_cast<const uint8_t *>(&record), sizeof record}),
                           driver_);
        return answers_.all.back();
    }
    const Answers::One &start() { return ask(node::vdecode, wire::IDECODE_START, wire::channel_record{}); }
    const Answers::One &get()
    {
        return ask(node::vdecode, wire::IDECODE_GET_FRAME, wire::frame_request_record{});
    }

    std::vector<int> errors() const
    {
        std::vector<int> list;
        for (const Answers::One &one : answers_.all)
            list.push_back(one.error);
        return list;
    }
    nlohmann::json report() const { return injector_->report(); }
    /* How many bits of the frame's bytes are not 0. */
    int flipped() const
    {
        int bits = 0;
        for (const uint8_t byte : memory_.at(driver_.frame.addr, driver_.frame.size))
            bits += std::popcount(byte);
        return bits;
    }
    void run_until_answered()
    {
        machine_.reactor.at(Clock::now() + std::chrono::seconds(60), [this] { reactor_.stop(); });
        look();
        reactor_.run();
    }
    void look()
    {
        if (!answers_.all.empty())
            return reactor_.stop();
        machine_.reactor.at(Clock::now() + std::chrono::milliseconds(1), [this] { look(); });
    }

    Reactor reactor_;
    Memory memory_{16 * mebibyte};
    Options options_;
    std::vector<std::string> log_;
    Machine machine_{.reactor = reactor_,
                     .memory = memory_,
                     .options = options_,
                     .log = [this](const std::string &line) { log_.push_back(line); },
                     .dsp_image = {}};
    Client client_{.process = 1, .name = "player"};
    Answers answers_;
    PlainDriver driver_{memory_};
    std::optional<FaultInjector> injector_;
};

TEST_F(FaultInjectorTest, FailsTheCallThatWasNamedAndNoOther)
{
    inject({"vdecode:IDECODE_START:nth=2:errno=EIO"});
    start();
    start();
    start();
    EXPECT_THAT(errors(), ElementsAre(0, EIO, 0));
    EXPECT_EQ(driver_.seen, 2);
    EXPECT_EQ(answers_.all[1].marks, " [fault 1: errno=EIO]");
    EXPECT_EQ(answers_.all[0].marks, "");
    EXPECT_EQ(report(),
              (nlohmann::json::parse(
                  R"([{"fault": "vdecode:IDECODE_START:nth=2:errno=EIO", "calls": 3, "fired": 1}])")));
}

TEST_F(FaultInjectorTest, LeavesOtherProgramsAlone)
{
    inject({"vdecode:IDECODE_START:program=recorder:errno=EIO"});
    EXPECT_EQ(start().error, 0);
    client_.name = "recorder";
    EXPECT_EQ(start().error, EIO);
}

TEST_F(FaultInjectorTest, TheFirstOfSeveralFaultsHasACallAlone)
{
    inject({"vdecode:IDECODE_START:nth=2:errno=EIO", "vdecode:*:errno=EPERM"});
    start();
    start();
    EXPECT_THAT(errors(), ElementsAre(EPERM, EIO));
    EXPECT_EQ(report()[1]["calls"], 2);
    EXPECT_EQ(report()[1]["fired"], 1);
}

TEST_F(FaultInjectorTest, PutsAStatusIntoTheAnswer)
{
    inject({"vdecode:IDECODE_GET_FRAME:status=-7"});
    driver_.frame.size = 1;
    const Answers::One &answer = get();
    wire::frame_request_record record;
    ASSERT_EQ(answer.out.size(), sizeof record);
    memcpy(&record, answer.out.data(), sizeof record);
    EXPECT_EQ(answer.error, 0);
    EXPECT_EQ(record.status, -7);
    EXPECT_EQ(record.frame.size, 0u);
    EXPECT_EQ(driver_.seen, 0);
}

TEST_F(FaultInjectorTest, FlipsBitsOfWhatIsCommitted)
{
    inject({"vdecode:IDECODE_COMMIT_FRAME:corrupt=1"});
    driver_.frame = {.addr = mebibyte, .size = 100};
    const wire::frame_return_record record{.frame = driver_.frame};
    EXPECT_EQ(ask(node::vdecode, wire::IDECODE_COMMIT_FRAME, record).marks, " [fault 1: corrupt=1]");
    EXPECT_EQ(flipped(), 1);
    EXPECT_EQ(driver_.seen, 1);
}

TEST_F(FaultInjectorTest, FlipsBitsOfWhatIsDelivered)
{
    inject({"vdecode:IDECODE_GET_FRAME:nth=2:corrupt=1"});
    driver_.frame = {.addr = mebibyte, .size = 100};
    EXPECT_EQ(get().marks, "");
    EXPECT_EQ(flipped(), 0);
    EXPECT_EQ(get().marks, " [fault 1: corrupt=1]");
    EXPECT_EQ(flipped(), 1);
}

TEST_F(FaultInjectorTest, CountsFramesWhereItCorruptsThemAndNotTheTimeOutsBetween)
{
    inject({"vdecode:IDECODE_GET_FRAME:nth=1:corrupt=1"});
    driver_.status = wire::driver_timeout;
    driver_.frame = {.addr = mebibyte, .size = 100};
    get();
    driver_.status = wire::driver_done;
    driver_.frame.size = 0;
    get();
    EXPECT_EQ(report()[0]["calls"], 0);
    driver_.frame.size = 100;
    get();
    EXPECT_EQ(flipped(), 1);
    EXPECT_EQ(report()[0]["calls"], 1);
}

TEST_F(FaultInjectorTest, FlipsTheSameBitsForTheSameSeed)
{
    const auto flips = [this](const std::string &seed) {
        std::ranges::fill(memory_.at(mebibyte, 100), uint8_t{0});
        inject({"vdecode:IDECODE_GET_FRAME:corrupt:seed=" + seed});
        driver_.frame = {.addr = mebibyte, .size = 100};
        get();
        const std::span<const uint8_t> bytes = memory_.at(mebibyte, 100);
        return std::vector<uint8_t>(bytes.begin(), bytes.end());
    };
    EXPECT_EQ(flips("5"), flips("5"));
    EXPECT_NE(flips("5"), flips("6"));
}

TEST_F(FaultInjectorTest, HasNothingToCorruptOutsideOfMemory)
{
    inject({"vdecode:IDECODE_COMMIT_FRAME:corrupt"});
    const wire::frame_return_record record{.frame = {.addr = 0xfffffff0, .size = 100}};
    EXPECT_EQ(ask(node::vdecode, wire::IDECODE_COMMIT_FRAME, record).marks, "");
    EXPECT_EQ(report()[0]["fired"], 0);
}

TEST_F(FaultInjectorTest, TakesMemoryAwayForThatRequestAlone)
{
    inject({"imanage:IMANAGE_ALLOC:nth=1:no-memory"});
    const Answers::One first = ask(node::imanage, wire::IMANAGE_ALLOC, uint32_t{page_size});
    const Answers::One second = ask(node::imanage, wire::IMANAGE_ALLOC, uint32_t{page_size});
    EXPECT_EQ(first.error, ENOMEM);
    EXPECT_EQ(first.marks, " [fault 1: no-memory]");
    EXPECT_EQ(second.error, 0);
    EXPECT_EQ(report()[0]["fired"], 1);
}

TEST_F(FaultInjectorTest, HasNotHappenedWhereNothingAskedForMemory)
{
    inject({"vdecode:IDECODE_START:no-memory"});
    EXPECT_EQ(start().error, 0);
    EXPECT_EQ(start().marks, "");
    EXPECT_EQ(report()[0]["fired"], 0);
}

TEST_F(FaultInjectorTest, HangsTheCodecAndLetsTheCallThrough)
{
    inject({"vdecode:IDECODE_START:hang"});
    EXPECT_EQ(start().marks, " [fault 1: hang]");
    EXPECT_EQ(driver_.hangs, 1);
    EXPECT_EQ(driver_.seen, 1);
}

TEST_F(FaultInjectorTest, HasNotHappenedWhereThereIsNoCodecToHang)
{
    inject({"vdecode:IDECODE_START:hang"});
    driver_.has_codec = false;
    EXPECT_EQ(start().marks, "");
    EXPECT_EQ(report()[0]["fired"], 0);
}

TEST_F(FaultInjectorTest, DelaysACallAndThenGoesOn)
{
    inject({"vdecode:IDECODE_START:delay=1ms:errno=EIO"});
    const wire::channel_record record{};
    injector_->control(
        call(node::vdecode, wire::IDECODE_START, {reinterpret_cast<const uint8_t *>(&record), sizeof record}),
        driver_);
    EXPECT_TRUE(answers_.all.empty());
    run_until_answered();
    EXPECT_THAT(errors(), ElementsAre(EIO));
    EXPECT_EQ(answers_.all[0].marks, " [fault 1: delay=1ms:errno=EIO]");
}

TEST_F(FaultInjectorTest, ASignalEndsADelay)
{
    inject({"vdecode:IDECODE_START:delay=3600s"});
    const wire::channel_record record{};
    const auto delayed =
        call(node::vdecode, wire::IDECODE_START, {reinterpret_cast<const uint8_t *>(&record), sizeof record});
    injector_->control(delayed, driver_);
    delayed->interrupt();
    EXPECT_THAT(errors(), ElementsAre(0));
    EXPECT_EQ(driver_.seen, 1);
}

TEST_F(FaultInjectorTest, ADelayedCallOfAProgramThatDiesIsForgotten)
{
    inject({"vdecode:IDECODE_START:delay=3600s"});
    const wire::channel_record record{};
    auto delayed =
        call(node::vdecode, wire::IDECODE_START, {reinterpret_cast<const uint8_t *>(&record), sizeof record});
    const std::weak_ptr<PendingCall> watched = delayed;
    injector_->control(delayed, driver_);
    delayed->abandon();
    delayed.reset();
    EXPECT_TRUE(watched.expired());
    EXPECT_EQ(driver_.seen, 0);
}

TEST_F(FaultInjectorTest, FailsToOpenANode)
{
    inject({"vdecode:open:nth=2:errno=EBUSY"});
    std::string mark;
    EXPECT_EQ(injector_->opening_error(client_, node::adecode, mark), 0);
    EXPECT_EQ(injector_->opening_error(client_, node::vdecode, mark), 0);
    EXPECT_EQ(mark, "");
    EXPECT_EQ(injector_->opening_error(client_, node::vdecode, mark), EBUSY);
    EXPECT_EQ(mark, " [fault 1: errno=EBUSY]");
}

TEST_F(FaultInjectorTest, TellsOfFaultsThatNeverHappened)
{
    inject({"vdecode:IDECODE_START:nth=1:errno=EIO", "vdecode:IDECODE_START:nth=9:errno=EIO"});
    start();
    injector_->tell_idle();
    EXPECT_THAT(log_,
                ElementsAre("the fault vdecode:IDECODE_START:nth=9:errno=EIO never happened; calls that it "
                            "could strike: 1"));
}

} // namespace
} // namespace orka::board
