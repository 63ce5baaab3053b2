#!/usr/bin/env bash
# A page does what it says: its C programs compile as strict C99, its commands succeed, and what a block of text shows
# is what the commands above it print. Commands run in a home of their own, where Orka is installed as the README says.
# usage: tutorial.sh SOURCE_DIR BUILD_DIR PAGE
# A page that needs the ARM build, where there is none, is skipped: 77.
set -euo pipefail
source_dir=$1 build_dir=$2 page=$3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export HOME=$work

# blocks_of FILE FOLDER: writes each C program under the name in its first comment, commands and texts as NN.sh and
# NN.text, NN being that of the commands.
blocks_of() {
    awk -v folder="$2" '
        /^```/ {
            kind = kind ? "" : substr($0, 4)
            steps += kind == "sh"
            name = folder "/" sprintf("%02d.%s", steps, kind)
            unnamed = kind == "c"
            next
        }
        unnamed { name = folder "/" $2; sub(/:$/, "", name); unnamed = 0 }
        kind ~ /^(c|sh|text)$/ { print >name }
    ' "$1"
}

# run STEP: in this shell, so that what is exported stays.
run() {
    echo "--- $1"
    cat "$1"
    source "$1" >"$1.out"
    [ ! -f "${1%.sh}.text" ] || diff "${1%.sh}.text" "$1.out"
}

if grep -q build/armel "$page" && [ ! -e "$build_dir/../armel/liborka.so" ]; then
    echo "there is no ARM build: ./x build armel makes it"
    exit 77
fi
mkdir "$work/build" "$work/readme" "$work/page"
ln -s "$build_dir" "$work/build/host"
ln -s "$build_dir/../armel" "$work/build/armel"
awk '/^## /{on = $0 == "## A first program"} on' "$source_dir/README.md" >"$work/first.md"
blocks_of "$work/first.md" "$work/readme"
[ "$page" != "$source_dir/README.md" ] || page=$work/first.md
blocks_of "$page" "$work/page"

cd "$work"
run readme/01.sh
mv page/*.c .
for program in *.c; do
    cc -std=c99 -pedantic-errors -Wall -Wextra -Werror -fsyntax-only $(pkg-config --cflags orka) "$program"
done
compgen -G 'page/*.text' >/dev/null # something is to be compared
for step in page/*.sh; do
    run "$step"
done
