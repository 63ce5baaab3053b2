#!/usr/bin/env bash
# Writes the description of a library's interface to standard output: the functions that it exports, and the records
# that its headers give them. Nothing in it tells where, or of which lines, the library was built.
# usage: describe.sh LIBRARY INCLUDE_DIR
set -euo pipefail
library=$1 include=$2

# Without it only names would be described, and nothing would say so.
if ! readelf -SW "$library" | grep -q ' \.debug_info '; then
    echo "$library has no debugging information; build it with -g, as the presets do" >&2
    exit 1
fi
abidw --headers-dir "$include" --drop-private-types --drop-undefined-syms --exported-interfaces-only \
    --type-id-style hash --no-corpus-path --no-comp-dir-path --no-show-locs --no-elf-needed \
    --no-parameter-names --no-write-default-sizes "$library"
