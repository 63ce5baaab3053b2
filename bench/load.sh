#!/bin/sh
# Usage: bench/load.sh BUILD
# Counts the instructions that loading liborka.so takes beyond those for a library with nothing in it, the loader's and
# the library's own.
set -eu
. "$(dirname "$0")/table.sh"

program=$1/bench/orka_bench_load

command -v valgrind > /dev/null || { echo "load.sh: valgrind is not installed" >&2; exit 1; }
[ -x "$program" ] || { echo "load.sh: no $program; build with -DORKA_BENCH=ON" >&2; exit 1; }

executed() {
    valgrind --tool=callgrind --callgrind-out-file=/dev/null "$program" --once "$1" 2>&1 | awk '/Collected/ {print $NF}'
}

more=$(($(executed orka) - $(executed empty)))
echo "loading takes $more instructions more than for an empty library"
row "loading: instructions beyond an empty library's" "$more" - -
