#!/usr/bin/env bash
# Usage: bench/idle.sh BUILD
# The processor time that a board takes while nobody uses it, in clock ticks: of ten seconds, once it has started. The
# goal is none.
set -euo pipefail
. "$(dirname "$0")/table.sh"

board=$1/orka-board
seconds=${IDLE_SECONDS:-10}

[ -x "$board" ] || { echo "idle.sh: no $board" >&2; exit 1; }

# Of all threads: the 14th and 15th word of the line, counted behind the name, which may have blanks in it.
ticks() {
    sed 's/.*) //' "/proc/$pid/stat" | awk '{print $12 + $13}'
}

scratch=$(mktemp -d)
"$board" serve >"$scratch/out" &
pid=$!
trap 'kill "$pid" 2>/dev/null; wait "$pid" 2>/dev/null; rm -rf "$scratch"' EXIT
until grep -q LD_PRELOAD "$scratch/out"; do
    kill -0 "$pid" || exit 1
    sleep 0.1
done
sleep 0.5
before=$(ticks)
sleep "$seconds"
taken=$(($(ticks) - before))
echo "an idle board took $taken ticks of processor time in $seconds s   goal 0 $(verdict "$taken" no_more_than 0)"
row "idle board: ticks in $seconds s" "$taken" "0" "$(verdict "$taken" no_more_than 0)"
