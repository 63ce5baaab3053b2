#!/bin/sh
# Usage: bench/run.sh BUILD ARMEL_BUILD
# Runs the benchmarks, each with what it has to say, and ends with one table of all figures and goals.
set -eu

here=$(dirname "$0")
ORKA_BENCH_TABLE=$(mktemp)
export ORKA_BENCH_TABLE
trap 'rm -f "$ORKA_BENCH_TABLE"' EXIT

"$1/bench/orka_bench_frame_call"
"$1/bench/orka_bench_list"
"$1/bench/orka_bench_rwlock"
"$1/bench/orka_bench_start_code"
"$1/bench/orka_bench_load"
"$1/orka-board" run -- "$1/bench/orka_bench_round_trip"
echo
"$here/instructions.sh" "$1"
"$here/load.sh" "$1"
"$here/arm_instructions.sh" "$2"
"$here/size.sh" "$2" || true
"$here/idle.sh" "$1"
"$here/playback.sh" "$1"

echo
{
    echo "what|figure|goal|"
    cat "$ORKA_BENCH_TABLE"
} | awk -F'|' '{printf "%-66s %12s  %8s  %s\n", $1, $2, $3, $4}'
