#!/bin/sh
# Usage: bench/arm_instructions.sh BUILD
# Counts the instructions for each byte of a frame that is scanned on the ARM926, under its emulator, and holds them
# against the goals. BUILD is a build folder of the preset armel.
set -eu
. "$(dirname "$0")/table.sh"

program=$1/bench/orka_bench_start_code_count
size=16384

command -v qemu-arm > /dev/null || { echo "arm_instructions.sh: qemu-arm is not installed" >&2; exit 1; }
[ -x "$program" ] || { echo "arm_instructions.sh: no $program; build armel with -DORKA_BENCH=ON" >&2; exit 1; }

# executed SCAN INPUT ROUNDS: instructions of a whole run; one at a time is translated, and each noted
executed() {
    qemu-arm -cpu arm926 -L /usr/arm-linux-gnueabi -singlestep -d exec,nochain "$program" "$1" "$2" $size "$3" 2>&1 |
        grep -c '^Trace'
}

# count SCAN INPUT GOAL: one line of the table. What two rounds cost more than one is a round's.
count() {
    each=$(awk -v one="$(executed "$1" "$2" 1)" -v two="$(executed "$1" "$2" 2)" -v size=$size \
        'BEGIN {printf "%.2f", (two - one) / size}')
    if [ "$3" = 0 ]; then
        printf '%-10s %-14s %5.2f ARM instructions a byte\n' "$1" "$2" "$each"
        row "ARM instructions a byte, $1, $2" "$each" - -
    else
        verdict=$(verdict "$each" no_more_than "$3")
        printf '%-10s %-14s %5.2f ARM instructions a byte   goal %.1f %s\n' "$1" "$2" "$each" "$3" "$verdict"
        row "ARM instructions a byte, $1, $2" "$each" "$3" "$verdict"
    fi
}

count library random 2.3
count library quarter_of_00 4.5
count library all_00 0
count library all_01 0
count byte_loop random 0
count byte_loop quarter_of_00 0
