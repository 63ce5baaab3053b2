#!/usr/bin/env bash
# Every public header compiles by itself, as strict C99 and as C++20.
# usage: alone.sh INCLUDE_DIR CC CXX
set -euo pipefail
include=$1 cc=$2 cxx=$3
strict=(-Wall -Wextra -Wpedantic -Werror -pedantic-errors -fsyntax-only -I"$include")
count=0

for header in "$include"/*.h; do
    name=$(basename "$header")
    echo "#include \"$name\"" | "$cc" -std=c99 -Wstrict-prototypes "${strict[@]}" -x c -
    echo "#include \"$name\"" | "$cxx" -std=c++20 "${strict[@]}" -x c++ -
    printf '#include "%s"\n#include "%s"\n' "$name" "$name" | "$cc" -std=c99 "${strict[@]}" -x c -
    count=$((count + 1))
done
[ "$count" -gt 0 ]
