#!/bin/sh
# Usage: bench/instructions.sh BUILD
# Counts the instructions of one call, the stand-in for the driver included, and holds them against the goals.
set -eu

program=$1/bench/orka_bench_frame_call
calls=1000

command -v valgrind > /dev/null || { echo "instructions.sh: valgrind is not installed" >&2; exit 1; }
[ -x "$program" ] || { echo "instructions.sh: no $program; build with -DORKA_BENCH=ON" >&2; exit 1; }

# collected FUNCTION: instructions spent in all calls of a function, with what it calls
collected() {
    valgrind --tool=callgrind --callgrind-out-file=/dev/null --toggle-collect="$1" "$program" --calls $calls 2>&1 |
        awk '/Collected/ {print $NF}'
}

# count FUNCTION TIMES GOAL: one line of the table; TIMES is how often the program calls it in a round
count() {
    awk -v name="$1" -v all="$(collected "$1")" -v calls=$((calls * $2)) -v goal="$3" 'BEGIN {
        each = all / calls
        printf "%-34s %6.1f instructions", name, each
        if (goal > 0)
            printf "   goal %d %s", goal, each <= goal ? "met" : "MISSED"
        printf "\n"
    }'
}

count orka_idecode_start_audio_decoder 1 40
count orka_idecode_start_video_decoder 1 40
count orka_idecode_new_frame 2 70
count orka_idecode_commit_frame 2 70
count ioctl 6 0
