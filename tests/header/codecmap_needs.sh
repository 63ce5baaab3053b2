#!/usr/bin/env bash
# libcodecmap.so has its soname, needs liborka, the semaphore library and libc alone, and imports what it has of
# the first two by name.
# usage: codecmap_needs.sh LIBRARY SEMAPHORE_LIBRARY
set -euo pipefail
library=$1 semaphores=$2

fail() {
    echo "$1" >&2
    exit 1
}

soname_of() {
    readelf -dW "$1" | sed -n 's/.*SONAME.*\[\(.*\)\].*/\1/p'
}

[ "$(soname_of "$library")" = libcodecmap.so.1 ] || fail "the soname is not libcodecmap.so.1"
needed=$(readelf -dW "$library" | sed -n 's/.*NEEDED.*\[\(.*\)\].*/\1/p' | sort | tr '\n' ' ')
expected=$(printf '%s\n' libc.so.6 liborka.so.1 "$(soname_of "$semaphores")" | sort | tr '\n' ' ')
# libc alone may be left out: a library that calls none of it need not name it.
[ "$needed" = "$expected" ] || [ "libc.so.6 $needed" = "$expected" ] || fail "needs $needed"

imported=$(readelf --dyn-syms -W "$library" | awk '$7 == "UND" && $8 != "" {print $8}')
for name in PavoSemCreate PavoSemDown PavoSemSetValue; do
    grep -qx "$name" <<<"$imported" || fail "does not import $name, or only one version of it"
done
grep -q '^orka_imem_reset@ORKA_1\.0' <<<"$imported" || fail "does not import orka_imem_reset"
! grep -qE '^(_Z|__cxa_(throw|guard)|__gxx)' <<<"$imported" || fail "imports a C++ runtime"
