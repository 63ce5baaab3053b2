/*
 * Runs a fuzz target over its corpus, and over inputs that are made up or changed from those of the corpus,
 * the same ones at every run. The target ends the program where something is wrong; the input is then
 * printed.
 */
#include <algorithm>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <span>
#include <unistd.h>
#include <vector>

#include <gtest/gtest.h>

#include "fuzz/fuzz.h"

namespace orka_test {

namespace {

using Input = std::vector<uint8_t>;

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

    /* With a few bytes changed, left out or put in, or the end of another one. */
    Input change(Input input, const Input &other)
    {
        for (uint32_t i = 1 + below(4); i != 0; i--)
            change_once(input);
        if (below(4) == 0)
            input.insert(input.end(), other.begin() + below(size_of(other) + 1), other.end());
        input.resize(std::min(input.size(), longest_input));
        return input;
    }

    const Input &any_of(const std::vector<Input> &inputs)
    {
        return inputs[below(static_cast<uint32_t>(inputs.size()))];
    }

  private:
    static uint32_t size_of(const Input &input) { return static_cast<uint32_t>(input.size()); }

    void change_once(Input &input)
    {
        const auto at = input.begin() + below(size_of(input) + 1);
        const uint32_t how = below(3);
        if (how == 0 || at == input.end())
            input.insert(at, static_cast<uint8_t>(random_()));
        else if (how == 1)
            input.erase(at);
        else
            *at = static_cast<uint8_t>(random_());
    }

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

/* In the order of their names. */
std::vector<Input> corpus()
{
    std::vector<std::filesystem::path> files(std::filesystem::directory_iterator(ORKA_FUZZ_CORPUS), {});
    std::vector<Input> inputs;

    std::ranges::sort(files);
    for (const std::filesystem::path &path : files) {
        std::ifstream file(path, std::ios::binary);
        inputs.emplace_back(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
    }
    return inputs;
}

class ORKA_FUZZ_TARGET : public testing::Test {
  protected:
    ORKA_FUZZ_TARGET()
    {
        signal(SIGABRT, print_current);
        signal(SIGSEGV, [](int number) {
            print_current(number);
            _exit(1);
        });
    }
    ~ORKA_FUZZ_TARGET() override
    {
        signal(SIGSEGV, SIG_DFL);
        signal(SIGABRT, SIG_DFL);
    }

    static void run(const Input &input)
    {
        current = input;
        LLVMFuzzerTestOneInput(input.data(), input.size());
        current = {};
    }

    Maker maker;
};

TEST_F(ORKA_FUZZ_TARGET, HoldsOnItsCorpus)
{
    const std::vector<Input> inputs = corpus();
    ASSERT_FALSE(inputs.empty());
    for (const Input &input : inputs)
        run(input);
}

TEST_F(ORKA_FUZZ_TARGET, HoldsOnMadeUpInputs)
{
    for (int i = 0; i < ORKA_FUZZ_INPUTS; i++)
        run(maker.make());
}

TEST_F(ORKA_FUZZ_TARGET, HoldsOnChangedInputsOfItsCorpus)
{
    const std::vector<Input> inputs = corpus();
    for (int i = 0; i < ORKA_FUZZ_INPUTS; i++)
        run(maker.change(maker.any_of(inputs), maker.any_of(inputs)));
}

TEST_F(ORKA_FUZZ_TARGET, TakesAnInputWithoutBytes)
{
    const uint8_t nothing = 0;
    EXPECT_EQ(LLVMFuzzerTestOneInput(&nothing, 0), 0);
}

} // namespace

} // namespace orka_test
