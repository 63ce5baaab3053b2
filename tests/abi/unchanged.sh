#!/usr/bin/env bash
# A library has the interface that is described: programs that were built with an older one go on working.
# usage: unchanged.sh LIBRARY DESCRIPTION INCLUDE_DIR
set -euo pipefail
library=$1 description=$2 include=$3
here=$(dirname "${BASH_SOURCE[0]}")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

"$here/describe.sh" "$library" "$include" >"$work/now.abi"
status=0
abidiff --no-default-suppression "$description" "$work/now.abi" || status=$?
[ $status = 0 ] && exit

name=$(basename "$description")
cat >&2 <<TEXT

The interface of $(basename "$library") is not the one of tests/abi/$name.
What is removed or changed breaks programs that are built already: it needs another major version.
What is added, and what was never released, is described anew by this, and goes into the same commit:

    tests/abi/describe.sh build/host/${name%.abi}.so include >tests/abi/$name
TEXT
exit 1
