#!/usr/bin/env bash
# liborka.so exports what its map lists, which is what the public headers declare; all under one version.
# usage: exports.sh LIBRARY MAP INCLUDE_DIR CC
set -euo pipefail
export LC_ALL=C
library=$1 map=$2 include=$3 cc=$4
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

readelf --dyn-syms -W "$library" |
    awk '$7 != "UND" && ($4 == "FUNC" || $4 == "OBJECT" || $4 == "NOTYPE") && $5 != "LOCAL" {print $8}' |
    grep -v '^ORKA_1.0$' >"$work/versioned"
if grep -v '@@ORKA_1\.0$' "$work/versioned"; then
    echo "exported under another version or none" >&2
    exit 1
fi
sed 's/@@.*//' "$work/versioned" | sort >"$work/exported"

sed -e 's/#.*//' "$map" | grep -oE '\borka_[a-z0-9_]+' | sort >"$work/listed"

for header in "$include"/orka_*.h; do
    "$cc" -std=c99 -E -P -I"$include" "$header" | grep -oE '\borka_[a-z0-9_]+ *\(' | tr -d ' (' || true
done | sort -u >"$work/declared"

[ -s "$work/exported" ]
diff --label map --label exported -u "$work/listed" "$work/exported"
diff --label headers --label exported -u "$work/declared" "$work/exported"
