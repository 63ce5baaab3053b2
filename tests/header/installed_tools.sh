#!/usr/bin/env bash
# What install puts in place runs wherever it is moved as a whole, without being told where libraries and shims are.
# usage: installed_tools.sh BUILD_DIR
set -euo pipefail
build=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
unset LD_LIBRARY_PATH

cmake --install "$build" --prefix "$work/first" >"$work/log"
mv "$work/first" "$work/moved"
bin=$work/moved/bin

[ "$("$bin/orka-board" run -- "$bin/orka-ctl" list display)" = "$("$build/orka-ctl" list display)" ]
"$bin/orka-play" --version
"$bin/orka-record" --version
"$bin/orka-board" doctor | grep -F "ok      shim-host: $(realpath "$work")/moved/lib/orka-board/shims/"
for page in orka-board.1 orka-play.1 orka-record.1 orka-ctl.1; do
    grep -q '^\.SH SYNOPSIS' "$work/moved/share/man/man1/$page"
done
[ -s "$work/moved/share/man/man7/orka.7" ]
