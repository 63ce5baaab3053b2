#!/bin/sh
# Usage: bench/instructions.sh BUILD
# Counts the instructions of one call, the stand-in for the driver included, and holds them against the goals.
set -eu
. "$(dirname "$0")/table.sh"

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
    each=$(awk -v all="$(collected "$1")" -v calls=$((calls * $2)) 'BEGIN {printf "%.1f", all / calls}')
    if [ "$3" = 0 ]; then
        printf '%-34s %6.1f instructions\n' "$1" "$each"
        row "instructions of $1" "$each" - -
    else
        printf '%-34s %6.1f instructions   goal %d %s\n' "$1" "$each" "$3" "$(verdict "$each" no_more_than "$3")"
        row "instructions of $1" "$each" "$3" "$(verdict "$each" no_more_than "$3")"
    fi
}

count orka_idecode_start_audio_decoder 1 40
count orka_idecode_start_video_decoder 1 40
count orka_idecode_new_frame 2 70
count orka_idecode_commit_frame 2 70
count ioctl 6 0
