#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <vector>

#include "board/server/fake_call.h"

namespace orka::board {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

constexpr uint32_t mebibyte = 0x100000;
constexpr uint32_t pool = 5 * mebibyte; /* of 16 MiB */

class ImanageTest : public testing::Test {
  protected:
    FakeAnswer ask(uint32_t number, std::span<const uint8_t> in, FakeFile &file)
    {
        FakeAnswer answer;
        driver->control(std::make_shared<FakeCall>(file, number, in, answer));
        return answer;
    }
    FakeAnswer ask_word(uint32_t number, uint32_t word) { return ask_word(number, word, file); }
    FakeAnswer ask_word(uint32_t number, uint32_t word, FakeFile &from)
    {
        return ask(number, {reinterpret_cast<const uint8_t *>(&word), sizeof word}, from);
    }
    FakeAnswer load(const std::string &bytes)
    {
        return ask(wire::IMANAGE_LOAD, {reinterpret_cast<const uint8_t *>(bytes.data()), bytes.size()}, file);
    }
    /* The address, or 0 where there is none. */
    uint32_t allocate(uint32_t bytes) { return allocate(bytes, file); }
    uint32_t allocate(uint32_t bytes, FakeFile &from)
    {
        return ask_word(wire::IMANAGE_ALLOC, bytes, from).word();
    }

    FakeAnswer load_image(const std::string &name)
    {
        return load(std::string(name.c_str(), name.size() + 1));
    }
    FakeAnswer read_port(uint16_t port)
    {
        const orka_imem_mcbsp_registers_t record{.port = port};
        return ask(wire::IMANAGE_READ_MCBSP, {reinterpret_cast<const uint8_t *>(&record), sizeof record},
                   file);
    }
    orka_imem_mcbsp_registers_t registers(uint16_t port)
    {
        orka_imem_mcbsp_registers_t record{};
        const FakeAnswer answer = read_port(port);
        EXPECT_EQ(answer.out.size(), sizeof record);
        memcpy(&record, answer.out.data(), std::min(answer.out.size(), sizeof record));
        return record;
    }
    int write_port(uint16_t port, uint16_t address, uint16_t value)
    {
        const wire::mcbsp_write_record record{port, 0, address, value};
        return ask(wire::IMANAGE_WRITE_MCBSP, {reinterpret_cast<const uint8_t *>(&record), sizeof record},
                   file)
            .error;
    }

    Reactor reactor;
    Memory memory{16 * mebibyte};
    Options options;
    std::vector<std::string> log;
    Machine machine{reactor, memory, options, [this](const std::string &line) { log.push_back(line); }, {}};
    std::unique_ptr<Driver> driver = make_imanage_driver(machine);
    FakeFile file{1, wire::node::imanage};
    FakeFile other{2, wire::node::imanage};
};

TEST_F(ImanageTest, AllocatesPagesFirstFit)
{
    EXPECT_EQ(allocate(1), mebibyte);
    EXPECT_EQ(allocate(page_size + 1), mebibyte + page_size);
    EXPECT_EQ(allocate(1), mebibyte + 3 * page_size);
    EXPECT_EQ(ask_word(wire::IMANAGE_FREE, mebibyte + page_size).error, 0);
    EXPECT_EQ(allocate(2 * page_size), mebibyte + page_size);
}

TEST_F(ImanageTest, RefusesZeroBytes)
{
    EXPECT_EQ(ask_word(wire::IMANAGE_ALLOC, 0).error, EINVAL);
}

TEST_F(ImanageTest, SaysNoMemoryWhenFull)
{
    EXPECT_NE(allocate(pool), 0u);
    EXPECT_EQ(ask_word(wire::IMANAGE_ALLOC, 1).error, ENOMEM);
}

TEST_F(ImanageTest, SaysNoMemoryForMoreThanThereIs)
{
    EXPECT_EQ(ask_word(wire::IMANAGE_ALLOC, pool + 1).error, ENOMEM);
    EXPECT_EQ(ask_word(wire::IMANAGE_ALLOC, 0xFFFFFFFF).error, ENOMEM);
}

TEST_F(ImanageTest, FreesOnce)
{
    const uint32_t address = allocate(page_size);
    EXPECT_EQ(ask_word(wire::IMANAGE_FREE, address).error, 0);
    EXPECT_EQ(ask_word(wire::IMANAGE_FREE, address).error, EINVAL);
}

TEST_F(ImanageTest, RefusesToFreeWhatItNeverGave)
{
    allocate(2 * page_size);
    EXPECT_EQ(ask_word(wire::IMANAGE_FREE, mebibyte + page_size).error, EINVAL);
    EXPECT_EQ(ask_word(wire::IMANAGE_FREE, 0).error, EINVAL);
}

TEST_F(ImanageTest, AnybodyMayFreeABlock)
{
    const uint32_t address = allocate(page_size);
    EXPECT_EQ(ask_word(wire::IMANAGE_FREE, address, other).error, 0);
}

TEST_F(ImanageTest, ResetFreesTheBlocksOfAll)
{
    allocate(pool / 2);
    allocate(pool / 2, other);
    EXPECT_EQ(ask(wire::IMANAGE_RESET, {}, file).error, 0);
    EXPECT_EQ(allocate(pool), mebibyte);
}

TEST_F(ImanageTest, BlocksOutliveTheirFile)
{
    const uint32_t address = allocate(page_size);
    driver->closed(file);
    EXPECT_EQ(ask_word(wire::IMANAGE_FREE, address, other).error, 0);
}

TEST_F(ImanageTest, ReclaimFreesTheBlocksOfTheClosedFileAlone)
{
    options.reclaim = true;
    const uint32_t closed = allocate(page_size);
    const uint32_t kept = allocate(page_size, other);
    driver->closed(file);
    EXPECT_EQ(ask_word(wire::IMANAGE_FREE, closed, other).error, EINVAL);
    EXPECT_EQ(ask_word(wire::IMANAGE_FREE, kept, other).error, 0);
}

TEST_F(ImanageTest, ReclaimSparesABlockThatChangedHandsSince)
{
    options.reclaim = true;
    const uint32_t address = allocate(page_size);
    ask_word(wire::IMANAGE_FREE, address);
    EXPECT_EQ(allocate(page_size, other), address);
    driver->closed(file);
    EXPECT_EQ(ask_word(wire::IMANAGE_FREE, address, other).error, 0);
}

TEST_F(ImanageTest, LoadsAnImageByName)
{
    EXPECT_EQ(load(std::string("mpeg4_aac_dec", 14)).error, 0);
    EXPECT_EQ(machine.dsp_image, "mpeg4_aac_dec");
    EXPECT_THAT(log, ElementsAre());
}

TEST_F(ImanageTest, RefusesAnUnknownImageAndSaysWhatToDo)
{
    EXPECT_EQ(load(std::string("toaster\n_dec", 13)).error, EINVAL);
    EXPECT_EQ(machine.dsp_image, "");
    ASSERT_EQ(log.size(), 1u);
    EXPECT_THAT(log[0],
                HasSubstr("no codec image \"toaster\\x0a_dec\"; the library's codec selection names"));
}

TEST_F(ImanageTest, AnUnknownImageLeavesTheLoadedOne)
{
    load(std::string("mpeg4_aac_dec", 14));
    load(std::string("toaster", 8));
    EXPECT_EQ(machine.dsp_image, "mpeg4_aac_dec");
}

TEST_F(ImanageTest, RefusesANameWithoutAnEnd)
{
    EXPECT_EQ(load(std::string(33, 'x')).error, EINVAL);
    EXPECT_EQ(load("mpeg4_aac_dec").error, EINVAL);
}

constexpr uint16_t both_ports[] = {0, 1};

class SerialPortsTest : public ImanageTest {
  protected:
    void SetUp() override { ASSERT_EQ(load_image("mpeg4_g711_aec_codec").error, 0); }
};

TEST_F(SerialPortsTest, ListFifteenRegistersByTheirAddress)
{
    for (const uint16_t port : both_ports) {
        const orka_imem_mcbsp_registers_t record = registers(port);
        EXPECT_EQ(record.port, port);
        for (uint16_t row = 0; row < ORKA_IMEM_MCBSP_REGISTERS; row++)
            EXPECT_EQ(record.rows[row].address, row);
    }
}

TEST_F(SerialPortsTest, BeginAsAfterAReset)
{
    const orka_imem_mcbsp_registers_t record = registers(0);
    for (const orka_imem_mcbsp_register_t &row : record.rows)
        EXPECT_EQ(row.value, row.address == 6 ? 0x0001 : row.address == 7 ? 0x2000 : 0) << row.address;
}

TEST_F(SerialPortsTest, HoldWhatIsWrittenEachForItself)
{
    for (const uint16_t port : both_ports) {
        for (uint16_t address = 0; address < ORKA_IMEM_MCBSP_REGISTERS; address++)
            EXPECT_EQ(write_port(port, address, static_cast<uint16_t>(0xFF00 + 16 * port + address)), 0);
    }
    for (const uint16_t port : both_ports) {
        const orka_imem_mcbsp_registers_t record = registers(port);
        for (const orka_imem_mcbsp_register_t &row : record.rows)
            EXPECT_EQ(row.value, 0xFF00 + 16 * port + row.address);
    }
}

TEST_F(SerialPortsTest, AreTwo)
{
    EXPECT_EQ(read_port(2).error, EINVAL);
    EXPECT_EQ(write_port(2, 0, 0), EINVAL);
    EXPECT_EQ(write_port(0xFFFF, 0, 0), EINVAL);
}

TEST_F(SerialPortsTest, RefuseAnAddressThatIsNoRegister)
{
    EXPECT_EQ(write_port(0, 15, 1), EINVAL);
    EXPECT_EQ(write_port(1, 0xFFFF, 1), EINVAL);
}

TEST_F(SerialPortsTest, AreResetByAnotherImage)
{
    write_port(1, 0xE, 0x0A00);
    load_image("mpeg4_g723_aec_codec");
    EXPECT_EQ(registers(1).rows[0xE].value, 0);
}

TEST_F(SerialPortsTest, AreLeftAloneByTheSameImageAndOneThatIsRefused)
{
    write_port(1, 0xE, 0x0A00);
    load_image("mpeg4_g711_aec_codec");
    load_image("toaster");
    EXPECT_EQ(registers(1).rows[0xE].value, 0x0A00);
}

TEST_F(SerialPortsTest, AreResetWithTheManager)
{
    write_port(0, 0, 0x4001);
    ask(wire::IMANAGE_RESET, {}, file);
    EXPECT_EQ(registers(0).rows[0].value, 0);
}

TEST_F(SerialPortsTest, AreServedByTheImageOfAChannelToo)
{
    load_image("mpeg4_aac_dec");
    EXPECT_EQ(read_port(0).error, EOPNOTSUPP);
    machine.dsp_window.load(&other, "mpeg4_g711_aec_codec");
    EXPECT_EQ(read_port(0).error, 0);
}

TEST_F(ImanageTest, WithoutAnImageThatServesThemThereAreNoSerialPorts)
{
    EXPECT_EQ(read_port(0).error, EOPNOTSUPP);
    load_image("mpeg4_aac_enc");
    EXPECT_EQ(read_port(0).error, EOPNOTSUPP);
    EXPECT_EQ(write_port(0, 0, 1), EOPNOTSUPP);
    ASSERT_EQ(log.size(), 3u);
    EXPECT_EQ(log[0], "imanage: no image is loaded that serves the serial ports; mpeg4_g711_aec_codec does, "
                      "and the others that cancel echo");
}

TEST_F(ImanageTest, ALoadShowsInTheWindowOfTheDsp)
{
    load_image("toaster");
    EXPECT_EQ(memory.at(DspWindow::address, 2)[1], 0);
    load_image("ogg_dec");
    EXPECT_EQ(memory.at(DspWindow::address, 2)[1], 1);
}

TEST_F(ImanageTest, RefusesAnEmptyName)
{
    EXPECT_EQ(load(std::string(1, '\0')).error, EINVAL);
}

} // namespace
} // namespace orka::board
