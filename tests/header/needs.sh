#!/usr/bin/env bash
# liborka.so has its soname, needs libc alone, reaches the system by ordinary names, and keeps its assertions.
# usage: needs.sh LIBRARY
set -euo pipefail
library=$1

fail() {
    echo "$1" >&2
    exit 1
}

dynamic=$(readelf -dW "$library")
imported=$(readelf --dyn-syms -W "$library" | awk '$7 == "UND" && $8 != "" {sub(/@.*/, "", $8); print $8}')

grep -q 'SONAME.*\[liborka\.so\.1\]' <<<"$dynamic" || fail "the soname is not liborka.so.1"
others=$(grep NEEDED <<<"$dynamic" | grep -v '\[libc\.so\.6\]' || true)
[ -z "$others" ] || fail "needs more than libc: $others"

for name in open ioctl poll mmap munmap msync close dup lseek read fsync malloc pthread_mutex_lock \
    pthread_mutex_unlock pthread_create sysconf __cxa_atexit on_exit __assert_fail; do
    grep -qx "$name" <<<"$imported" || fail "does not import $name"
done
for name in syscall calloc open64 __open_2 mmap64 lseek64 __ioctl_time64 __read_chk __poll_chk; do
    ! grep -qx "$name" <<<"$imported" || fail "imports $name"
done
! grep -qE '^(_Z|__cxa_(throw|guard)|__gxx)' <<<"$imported" || fail "imports a C++ runtime"

strings=$(tr '\0' '\n' <"$library")
for text in "fwname != ((void *)0)" "params != ((void *)0)" "src/common/orka_idecode.cpp"; do
    grep -aqF "$text" <<<"$strings" || fail "has no assertion with the text $text"
done
