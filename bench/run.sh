#!/bin/sh
# Usage: bench/run.sh BUILD
# Runs the benchmarks, each with its table of ratios and goals at the end.
set -eu

here=$(dirname "$0")

"$1/bench/orka_bench_frame_call"
"$1/bench/orka_bench_list"
echo
"$here/instructions.sh" "$1"
echo
"$here/playback.sh" "$1"
