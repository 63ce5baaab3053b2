/* UYVY 4:2:2 pictures from one size to another. */
#ifndef ORKA_BOARD_DSP_UYVY_SCALER_H
#define ORKA_BOARD_DSP_UYVY_SCALER_H

#include <cstdint>
#include <memory>
#include <span>

namespace orka::board {

/* Lines of 2 x width bytes; widths are even. */
class UyvyScaler {
  public:
    UyvyScaler();
    ~UyvyScaler();
    UyvyScaler(const UyvyScaler &) = delete;
    UyvyScaler &operator=(const UyvyScaler &) = delete;

    void scale(std::span<const uint8_t> from, uint32_t from_width, uint32_t from_height,
               std::span<uint8_t> to, uint32_t to_width, uint32_t to_height);

  private:
    struct State;
    std::unique_ptr<State> state_;
};

} // namespace orka::board

#endif
