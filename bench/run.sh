#!/bin/sh
# Usage: bench/run.sh BUILD ARMEL_BUILD
# Runs the benchmarks, each with its table of ratios and goals at the end.
set -eu

here=$(dirname "$0")

"$1/bench/orka_bench_frame_call"
"$1/bench/orka_bench_list"
"$1/bench/orka_bench_rwlock"
"$1/bench/orka_bench_start_code"
echo
"$here/instructions.sh" "$1"
echo
"$here/arm_instructions.sh" "$2"
echo
"$here/playback.sh" "$1"
