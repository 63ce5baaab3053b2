#!/usr/bin/env bash
# A library exports what its map lists, which is what its public headers declare; all under one version, or
# under none where VERSION is "none".
# usage: exports.sh LIBRARY MAP VERSION NAMES INCLUDE_DIR CC HEADER...     NAMES: a pattern for its functions
set -euo pipefail
export LC_ALL=C
library=$1 map=$2 version=$3 names=$4 include=$5 cc=$6
shift 6
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
suffix=@@$version
[ "$version" != none ] || suffix=

readelf --dyn-syms -W "$library" |
    awk '$7 != "UND" && ($4 == "FUNC" || $4 == "OBJECT" || $4 == "NOTYPE") && $5 != "LOCAL" {print $8}' |
    grep -vx "$version" >"$work/versioned"
if grep -vE "^[A-Za-z0-9_]+${suffix//./\\.}\$" "$work/versioned"; then
    echo "exported under another version than '$version'" >&2
    exit 1
fi
sed 's/@@.*//' "$work/versioned" | sort >"$work/exported"

sed -e 's/#.*//' "$map" | grep -oE "\b$names\b *;" | tr -d ' ;' | sort >"$work/listed"

for header in "$@"; do
    "$cc" -std=c99 -E -P -I"$include" "$header" | grep -oE "\b$names *\(" | tr -d ' (' || true
done | sort -u >"$work/declared"

[ -s "$work/exported" ]
diff --label map --label exported -u "$work/listed" "$work/exported"
diff --label headers --label exported -u "$work/declared" "$work/exported"
