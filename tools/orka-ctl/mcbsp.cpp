#include "mcbsp.h"

#include <cstdint>
#include <string>

#include "common/failure.h"
#include "common/process.h"
#include "orka_imem.h"

namespace orka::ctl {

namespace {

struct Register {
    uint16_t port = 0;
    uint16_t address = 0;
    uint16_t value = 0;
};

/* The driver gives one answer for a port that is not there and for an image that knows no ports. */
void check(orka_status_t status, const Register &target, const char *what)
{
    if (status != ORKA_STATUS_SUCCESS)
        throw Failure("serial port " + std::to_string(target.port) + " was not " + what +
                      ": there is no such port or register, or the DSP runs no image that serves it "
                      "(`orka-ctl dsp load mpeg4_g711_aec_codec` loads one)");
}

CLI::Option &add_word(CLI::App &command, const char *name, uint16_t &word, const char *about)
{
    return *command.add_option(name, word, about)->required()->check(CLI::Range(0, UINT16_MAX));
}

} // namespace

void add_mcbsp(CLI::App &app)
{
    const auto target = std::make_shared<Register>();
    CLI::App &mcbsp = *app.add_subcommand("mcbsp", "The registers of the DSP's serial ports");
    mcbsp.require_subcommand(1);

    CLI::App &print = *mcbsp.add_subcommand("print", "Show the registers of a port");
    add_word(print, "PORT", target->port, "The port's number");
    print.callback([target] {
        check_board("/dev/imanage");
        check(orka_imem_print_mcbsp_register(target->port), *target, "read");
    });

    CLI::App &write = *mcbsp.add_subcommand("write", "Set a register");
    add_word(write, "PORT", target->port, "The port's number");
    add_word(write, "ADDRESS", target->address, "Of the register, as `print` shows it; may be 0x...");
    add_word(write, "VALUE", target->value, "16 bits");
    write.callback([target] {
        check_board("/dev/imanage");
        check(orka_imem_write_mcbsp_register(target->port, target->address, target->value), *target, "set");
    });
}

} // namespace orka::ctl
