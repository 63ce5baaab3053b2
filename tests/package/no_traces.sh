#!/usr/bin/env bash
# Nothing in the packages tells where they were built, or from where this machine has its own packages.
# usage: no_traces.sh SOURCE_DIR PACKAGE...
set -euo pipefail
source_dir=$1
shift
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

{
    echo "$source_dir"
    echo "$HOME/"
    apt-get indextargets --format '$(SITE)' 'Identifier: Packages' | sed 's,.*//,,; s,/.*,,'
} | sort -u >"$work/traces"
# A path as short as the system's own says nothing of this machine.
grep -vxE '/(root|home)?/?' "$work/traces" >"$work/telling"

for package in "$@"; do
    root=$work/root/$(basename "$package" .deb)
    mkdir -p "$root"
    dpkg-deb --raw-extract "$package" "$root"
done
find "$work/root" -name '*.gz' -exec gunzip {} +
[ -n "$(find "$work/root" -name orka-board -type f)" ]
if (cd "$work/root" && grep -rlaFf "$work/telling" .); then
    echo "these name a place of this machine: $(paste -sd' ' "$work/telling")" >&2
    exit 1
fi
