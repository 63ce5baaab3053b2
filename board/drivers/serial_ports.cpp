#include "drivers/serial_ports.h"

namespace orka::board {

namespace {

/* The registers by their sub-address. */
enum mcbsp_register : uint16_t {
    spcr1 = 0x0, /* serial port control */
    spcr2 = 0x1,
    rcr1 = 0x2, /* receive control */
    rcr2 = 0x3,
    xcr1 = 0x4, /* transmit control */
    xcr2 = 0x5,
    srgr1 = 0x6, /* sample rate generator */
    srgr2 = 0x7,
    mcr1 = 0x8, /* multichannel */
    mcr2 = 0x9,
    rcera = 0xA, /* receive channels enabled */
    rcerb = 0xB,
    xcera = 0xC, /* transmit channels enabled */
    xcerb = 0xD,
    pcr = 0xE, /* pins */
};
static_assert(pcr + 1 == ORKA_IMEM_MCBSP_REGISTERS);

/* What differs from 0 after a reset: the sample rate generator halves the CPU's clock. */
constexpr uint16_t srgr1_after_reset = 0x0001;
constexpr uint16_t srgr2_after_reset = 0x2000;

} // namespace

void SerialPorts::reset()
{
    for (auto &registers : values_) {
        registers.fill(0);
        registers[srgr1] = srgr1_after_reset;
        registers[srgr2] = srgr2_after_reset;
    }
}

bool SerialPorts::read(orka_imem_mcbsp_registers_t &record) const
{
    if (record.port >= ports)
        return false;
    for (uint16_t address = spcr1; address <= pcr; address++)
        record.rows[address] = {.address = address, .value = values_[record.port][address]};
    return true;
}

bool SerialPorts::write(uint16_t port, uint16_t address, uint16_t value)
{
    if (port >= ports || address > pcr)
        return false;
    values_[port][address] = value;
    return true;
}

} // namespace orka::board
