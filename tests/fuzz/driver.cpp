/*
 * Runs a fuzz target over inputs that are made up, the same ones at every run. The target ends the program
 * where library and model differ; the input is then printed.
 */
#include <csignal>
#include <cstdio>
#include <random>
#include <span>
#include <unistd.h>
#include <vector>

#include <gtest/gtest.h>

#include "fuzz/fuzz.h"

namespace orka_test {

namespace {

using Input = std::vector<uint8_t>;

constexpr int inputs = 20000;

std::span<const uint8_t> current;

/* Only what a signal handler may call. */
void print_current(int)
{
    constexpr char digits[] = "0123456789ABCDEF";

    for (const uint8_t byte : current) {
        const char text[] = {digits[byte >> 4], digits[byte & 15], ' '};
        if (write(STDERR_FILENO, text, sizeof text) < 0)
            break;
    }
}

/* Bytes that the targets look for. */
constexpr uint8_t known[] = {0x00, 0x00, 0x00, 0x01, 0x01, 0xB6, 0xB0, 0xB3, 0x67, 0x65, 0x27,
                             0x25, 0x57, 0x07, 0x06, 0x20, 0x02, 0x03, 0x41, 0x80, 0xFF};
constexpr uint8_t starts[][5] = {{0, 0, 1, 0xB6, 0},    {0, 0, 1, 0xB6, 1},    {0, 0, 1, 0xB0, 1},
                                 {0, 0, 1, 0xB3, 0},    {0, 0, 1, 0x67, 0x42}, {0, 0, 1, 0x25, 0x88},
                                 {0, 0, 1, 0x57, 0x9A}, {0, 0, 1, 0x06, 0x06}, {0, 0, 1, 0x20, 0}};

class Maker {
  public:
    Input make()
    {
        const bool is_long = below(50) == 0;
        Input input(below(is_long ? longest_input : 200) + 1);
        const uint32_t kind = below(6);

        for (uint8_t &byte : input)
            byte = byte_of(kind);
        for (uint32_t i = below(4); i != 0; i--)
            plant(input);
        input[0] = static_cast<uint8_t>(random_());
        return input;
    }

  private:
    uint32_t below(uint32_t bound) { return static_cast<uint32_t>(random_()) % bound; }

    uint8_t byte_of(uint32_t kind)
    {
        const uint8_t any = static_cast<uint8_t>(random_());

        switch (kind) {
        case 0:
            return 0x00;
        case 1:
            return 0x01;
        case 2:
            return any & 1;
        case 3:
            return known[any % sizeof known];
        case 4:
            return below(4) == 0 ? uint8_t{0} : any;
        default:
            return any;
        }
    }

    /* A start code somewhere, perhaps cut off by the end. */
    void plant(Input &input)
    {
        const auto &start = starts[below(sizeof starts / sizeof starts[0])];
        const size_t at = below(static_cast<uint32_t>(input.size()));

        for (size_t i = 0; i < sizeof start && at + i < input.size(); i++)
            input[at + i] = start[i];
    }

    std::mt19937 random_{320};
};

TEST(ORKA_FUZZ_TARGET, AgreesWithItsModelOnMadeUpInputs)
{
    Maker maker;

    signal(SIGABRT, print_current);
    signal(SIGSEGV, [](int number) {
        print_current(number);
        _exit(1);
    });
    for (int i = 0; i < inputs; i++) {
        const Input input = maker.make();
        current = input;
        LLVMFuzzerTestOneInput(input.data(), input.size());
    }
    current = {};
    signal(SIGSEGV, SIG_DFL);
    signal(SIGABRT, SIG_DFL);
}

TEST(ORKA_FUZZ_TARGET, TakesAnInputWithoutBytes)
{
    const uint8_t nothing = 0;
    EXPECT_EQ(LLVMFuzzerTestOneInput(&nothing, 0), 0);
}

} // namespace

} // namespace orka_test
