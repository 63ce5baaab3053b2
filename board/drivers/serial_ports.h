/* The DSP's two McBSP serial ports, as far as programs can set them: registers that hold what was written. */
#ifndef ORKA_BOARD_SERIAL_PORTS_H
#define ORKA_BOARD_SERIAL_PORTS_H

#include <array>
#include <cstddef>
#include <cstdint>

#include "orka_imem.h"

namespace orka::board {

class SerialPorts {
  public:
    SerialPorts() { reset(); }
    void reset();

    /* The rows of the port that the record names; false where there is no such port. */
    bool read(orka_imem_mcbsp_registers_t &record) const;
    /* False where there is no such port or register. */
    bool write(uint16_t port, uint16_t address, uint16_t value);

  private:
    static constexpr size_t ports = 2;

    std::array<std::array<uint16_t, ORKA_IMEM_MCBSP_REGISTERS>, ports> values_{};
};

} // namespace orka::board

#endif
