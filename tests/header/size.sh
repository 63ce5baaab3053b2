#!/usr/bin/env bash
# The library for a small device keeps to its size, and needs no relocation when it is loaded but for the pointers in
# its tables.
# usage: size.sh LIBRARY MAP OBJDUMP_PREFIX
set -euo pipefail
library=$1 map=$2 tools=$3

bytes_a_function=174 most_code_and_constants=$((80 * 1024)) most_segment=$((90 * 1024)) most_relocations=330

section() {
    "${tools}size" -A "$library" | awk -v name="$1" '$1 == name {print $2}'
}

functions=$(grep -cE '^ +orka_\w+;' "$map")
text=$(section .text)
constants=$(section .rodata)
segment=$("${tools}readelf" -lW "$library" | awk '$1 == "LOAD" && $0 !~ / RW / {print $5}' |
    while read -r size; do echo $((size)); done | awk '{sum += $1} END {print sum}')
relocations=$("${tools}readelf" -rW "$library" | grep -c R_ARM_RELATIVE)

failed=0
# at_most FIGURE LIMIT WHAT
at_most() {
    echo "$3: $1, at most $2"
    [ "$1" -le "$2" ] || failed=1
}
at_most $(((text + functions - 1) / functions)) "$bytes_a_function" "bytes of code for each of $functions functions"
at_most $((text + constants)) "$most_code_and_constants" "bytes of code and constants"
at_most "$segment" "$most_segment" "bytes of all that is loaded and never written"
at_most "$relocations" "$most_relocations" "relative relocations"
exit $failed
