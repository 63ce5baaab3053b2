#include "server/doctor.h"
#include "server/inspection.h"
#include "server/launcher.h"

int main(int argc, char **argv)
{
    using namespace orka::board;
    const Command command = parse_command_line(argc, argv);

    switch (command.action) {
    case Action::run:
        return run_program(command);
    case Action::serve:
        return serve_board(command);
    case Action::screenshot:
        return save_screenshot(command);
    case Action::status:
        return print_status(command);
    case Action::doctor:
        return print_examination(command);
    case Action::nothing:
        break;
    }
    return command.status;
}
