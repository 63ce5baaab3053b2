#!/bin/sh
# Runs in the clean root, where /srv/orka holds the packages and two programs.
set -eu
cd /srv/orka
export DEBIAN_FRONTEND=noninteractive LC_ALL=C.UTF-8

title() {
    printf '\n--- %s\n' "$*"
}

title Install
apt-get -q update >log 2>&1
apt-get -qy install --no-install-recommends ./*.deb >>log 2>&1 || { tail -30 log; exit 1; }
dpkg-query -W -f '${Package} ${Version} ${Status}\n' 'liborka*' libcodecmap1 'orka-*'

title The board and what it needs
orka-board doctor

title Record and play a clip
orka-board run -- orka-record --seconds 2 clip.avi
orka-board run -- orka-play --snapshot shot.png clip.avi >played
cat played
grep -q '^picture: 60 frames in, 60 frames out' played
[ "$(head -c 4 shot.png | tail -c 3)" = PNG ]
orka-ctl list display

title Read the manual
apt-get -qy install --no-install-recommends man-db >>log 2>&1
for page in orka-board orka-play orka-record orka-ctl; do
    man -P cat "$page" >page 2>errors
    grep -q '^SYNOPSIS' page
    [ ! -s errors ]
    echo "$page(1): $(wc -l <page) lines"
done
man -P cat 7 orka | grep -q 'liborka.so'

# Every page that another one links is there. The licence Debian has in one place; headers are liborka-dev's.
(
    cd /usr/share/doc/orka-doc
    test -s docs/board.md
    find . -name '*.md' | while read -r page; do
        grep -o ']([^)#:]*' "$page" | cut -c3- | grep -v -e '^$' -e 'LICENSE$' -e '^../include' | while read -r linked; do
            test -e "$(dirname "$page")/$linked" || { echo "$page links $linked" >&2; exit 1; }
        done
    done
)

title Build programs of C
apt-get -qy install --no-install-recommends gcc libc6-dev pkg-config cmake make >>log 2>&1
cc -std=c99 -pedantic-errors -Wall -Wextra -Werror first.c $(pkg-config --cflags --libs orka) -o by_pkg_config
orka-board run -- ./by_pkg_config | tee said
[ "$(cat said)" = "a picture of 320 x 240, 153600 bytes" ]

mkdir project
cp program.c project
cat >project/CMakeLists.txt <<'CMAKE'
cmake_minimum_required(VERSION 3.25)
project(outside LANGUAGES C)
find_package(Orka 1.0 REQUIRED)
add_executable(by_cmake program.c)
target_link_libraries(by_cmake PRIVATE Orka::orka Orka::codecmap)
CMAKE
cmake -S project -B project/build >>log
cmake --build project/build >>log
project/build/by_cmake | tee said
[ "$(cat said)" = "SUCCESS mpeg4_aac_dec" ]

title Remove
apt-get -qy purge 'liborka*' libcodecmap1 'orka-*' >>log 2>&1
left=$(find /usr /etc /var/lib -name dpkg -prune -o \
    \( -iname 'orka*' -o -name 'liborka*' -o -name 'libcodecmap*' \) -print)
[ -z "$left" ] || { echo "left behind: $left" >&2; exit 1; }
printf '\nThe packages work in a clean root\n'
