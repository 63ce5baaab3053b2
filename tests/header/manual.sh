#!/usr/bin/env bash
# The manual as HTML pages is made without a warning, and describes every function that the libraries export.
# usage: manual.sh SOURCE_DIR
set -euo pipefail
source_dir=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

"$source_dir/docs/html.sh" "$work"
sed -n 's/.*class="memname">.*[ *]\([A-Za-z0-9_]*\) <.*/\1/p' "$work"/html/*_8h.html | sort -u >"$work/described"
sed -n 's/^ *\([A-Za-z0-9_]*\);.*/\1/p' "$source_dir"/src/*.map "$source_dir"/src/*/*.map | grep -v local | sort -u >"$work/exported"
[ "$(wc -l <"$work/exported")" -gt 300 ]
comm -13 "$work/described" "$work/exported" >"$work/missing"
diff "$work/missing" /dev/null
