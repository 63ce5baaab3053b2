#!/usr/bin/env bash
# The first program of the README, compiled as it stands there and run on a virtual board.
# usage: readme_program.sh SOURCE_DIR BUILD_DIR
set -euo pipefail
source_dir=$1 build_dir=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

awk '/^```c$/ {on = 1; next} /^```$/ {on = 0} on' "$source_dir/README.md" >"$work/first.c"
cc -std=c99 -Wall -Wextra -Werror -I"$source_dir/include" "$work/first.c" -o "$work/first" \
    -L"$build_dir" -lorka -Wl,-rpath,"$build_dir"
"$build_dir/orka-board" run -- "$work/first" >"$work/out"
diff - "$work/out" <<'TEXT'
a picture of 320 x 240, 153600 bytes
TEXT
