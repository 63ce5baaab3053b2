#include "server/inspection.h"

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <stdexcept>

#include <nlohmann/json.hpp>

#include "png/png_file.h"
#include "server/board_client.h"
#include "server/log.h"
#include "server/status_text.h"

namespace orka::board {

namespace {

constexpr int failure = 1;

std::string socket_of(const Command &command)
{
    const char *const named = getenv(protocol::socket_variable);
    if (!command.socket.empty())
        return command.socket;
    if (named && *named)
        return named;
    throw std::runtime_error("which board? Give --board SOCKET, or set ORKA_BOARD to the socket that "
                             "'orka-board serve' prints");
}

int with_errors_said(const std::function<void()> &action)
{
    try {
        action();
        return 0;
    } catch (const std::exception &error) {
        say(error.what());
        return failure;
    }
}

} // namespace

int save_screenshot(const Command &command)
{
    return with_errors_said([&] {
        protocol::picture size{};
        const std::vector<uint8_t> rgb = BoardClient(socket_of(command)).screenshot(command.plane, size);
        write_png(command.file, size.width, size.height, rgb);
    });
}

int print_status(const Command &command)
{
    return with_errors_said([&] {
        const auto status = nlohmann::json::parse(BoardClient(socket_of(command)).status());
        const std::string text = command.json ? status.dump(2) + "\n" : status_text(status);
        if (fputs(text.c_str(), stdout) < 0 || fflush(stdout) != 0)
            throw std::runtime_error("standard output: cannot be written");
    });
}

} // namespace orka::board
