#include "dsp.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <span>
#include <string>

#include "common/failure.h"
#include "common/process.h"
#include "orka_imem.h"

namespace orka::ctl {

namespace {

constexpr char node[] = "/dev/imanage";
constexpr uint32_t words_a_line = 8;

constexpr char dump_notes[] =
    "Words are 16 bits, shown in hexadecimal after the index of the first of their line; \"*\" "
    "stands for lines that are all like the one before. Numbers may be 0x...";

/* The window as it is; programs and the DSP may be at work on it. */
std::span<const volatile uint16_t> window()
{
    check_board(node);
    const void *const words = orka_imem_get_dsp_memory_ptr();
    if (!words)
        throw Failure("the DSP's memory cannot be mapped");
    return {static_cast<const volatile uint16_t *>(words), orka_imem_get_dsp_memory_size()};
}

std::string line_of(std::span<const volatile uint16_t> words)
{
    std::string line;
    for (const volatile uint16_t &word : words) {
        char text[sizeof " 0000"];
        snprintf(text, sizeof text, " %04X", word);
        line += text;
    }
    return line;
}

/* What a whole line repeats is left out, but for the last line. */
void dump(std::span<const volatile uint16_t> words, uint32_t from)
{
    std::string before;
    bool left_out = false;
    for (uint32_t done = 0; done < words.size(); done += words_a_line) {
        const auto rest = words.subspan(done);
        const std::string line = line_of(rest.first(std::min<size_t>(words_a_line, rest.size())));
        if (line == before && rest.size() > words_a_line) {
            if (!std::exchange(left_out, true))
                puts("*");
            continue;
        }
        printf("%04X:%s\n", from + done, line.c_str());
        before = line;
        left_out = false;
    }
}

void read(uint32_t index)
{
    uint16_t value = 0;
    check_board(node);
    if (orka_imem_read_dsp_memory(&value, index) != ORKA_STATUS_SUCCESS)
        throw Failure("word " + std::to_string(index) + " of the DSP's memory cannot be read");
    printf("0x%04X\n", value);
}

void write(uint32_t index, uint16_t value)
{
    check_board(node);
    if (orka_imem_write_dsp_memory(value, index) != ORKA_STATUS_SUCCESS)
        throw Failure("word " + std::to_string(index) + " of the DSP's memory cannot be written");
}

void load(const std::string &image)
{
    check_board(node);
    if (orka_imem_load_dsp_codec(image.c_str()) != ORKA_STATUS_SUCCESS)
        throw Failure("the DSP refused the image '" + image +
                      "'; `orka-ctl list images` names those there are");
}

CLI::Validator any_word()
{
    return CLI::Range(uint32_t{0}, orka_imem_get_dsp_memory_size() - 1);
}

void add_dump(CLI::App &dsp)
{
    struct Choice {
        uint32_t from = 0;
        uint32_t count = 0; /* 0: to the end */
    };
    const auto choice = std::make_shared<Choice>();
    CLI::App &command = *dsp.add_subcommand("dump", "Show words, all of them by default");
    command.footer(dump_notes);
    command.add_option("FROM", choice->from, "The first word")->check(any_word());
    command.add_option("COUNT", choice->count, "How many, to the end by default")
        ->check(CLI::Range(uint32_t{1}, orka_imem_get_dsp_memory_size()));
    command.callback([choice] {
        const auto words = window().subspan(choice->from);
        if (choice->count > words.size())
            throw Failure("the window has no " + std::to_string(choice->count) + " words from word " +
                              std::to_string(choice->from) + " on: its last is word " +
                              std::to_string(orka_imem_get_dsp_memory_size() - 1),
                          status_usage);
        dump(choice->count == 0 ? words : words.first(choice->count), choice->from);
    });
}

void add_words(CLI::App &dsp)
{
    struct Choice {
        uint32_t index = 0;
        uint16_t value = 0;
    };
    const auto choice = std::make_shared<Choice>();
    CLI::App &read_command = *dsp.add_subcommand("read", "Show one word");
    read_command.add_option("WORD", choice->index, "Its index")->required()->check(any_word());
    read_command.callback([choice] { read(choice->index); });

    CLI::App &write_command = *dsp.add_subcommand("write", "Set one word");
    write_command.add_option("WORD", choice->index, "Its index")->required()->check(any_word());
    write_command.add_option("VALUE", choice->value, "16 bits")->required()->check(CLI::Range(0, UINT16_MAX));
    write_command.callback([choice] { write(choice->index, choice->value); });
}

void add_load(CLI::App &dsp)
{
    const auto image = std::make_shared<std::string>();
    CLI::App &command = *dsp.add_subcommand("load", "Load a codec image, for all nodes that load none");
    command.add_option("IMAGE", *image, "As `orka-ctl list images` names them")->required();
    command.callback([image] { load(*image); });
}

} // namespace

void add_dsp(CLI::App &app)
{
    CLI::App &dsp = *app.add_subcommand("dsp", "The DSP's memory window, and its codec image");
    dsp.require_subcommand(1);
    add_dump(dsp);
    add_words(dsp);
    add_load(dsp);
}

} // namespace orka::ctl
