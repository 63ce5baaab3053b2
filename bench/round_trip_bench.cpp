/*
 * One request of a program on the virtual board, from the library's call to its return: to the server and
 * back. Beside it a message to another process and back over a socket of the same kind, which is the least
 * that it can take.
 *
 * To be run on a board: orka-board run -- orka_bench_round_trip
 */
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include "orka_idisplay.h"
#include "ratio_table.h"

/* Bytes each way: about what a request is with its record, and its reply. */
static constexpr size_t message_bytes = 128;

static int echo_end = -1;

[[noreturn]] static void give_back(int end)
{
    char message[message_bytes];
    ssize_t count;

    prctl(PR_SET_PDEATHSIG, SIGKILL);
    while ((count = recv(end, message, sizeof message, 0)) > 0)
        send(end, message, static_cast<size_t>(count), 0);
    _exit(0);
}

static void start_echo()
{
    int ends[2];

    if (socketpair(AF_UNIX, SOCK_SEQPACKET, 0, ends) != 0)
        abort();
    if (fork() == 0)
        give_back(ends[1]);
    close(ends[1]);
    echo_end = ends[0];
}

static void echo(benchmark::State &state)
{
    char message[message_bytes] = {};

    for (auto _ : state) {
        if (send(echo_end, message, sizeof message, 0) < 0 || recv(echo_end, message, sizeof message, 0) < 0)
            state.SkipWithError("the other process is gone");
    }
}

static void request(benchmark::State &state)
{
    orka_display_params_t shown;

    for (auto _ : state) {
        if (orka_idisplay_get_output(&shown) != ORKA_STATUS_SUCCESS) {
            state.SkipWithError("the board refuses");
            break;
        }
    }
}

BENCHMARK(request)->UseRealTime();
BENCHMARK(echo)->UseRealTime();

int main(int argc, char **argv)
{
    static constexpr orka::bench::ratio_row rows[] = {{"request", "echo", 0}};

    start_echo();
    return orka::bench::run_and_compare(argc, argv, rows);
}
