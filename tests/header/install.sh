#!/usr/bin/env bash
# What install puts in place is enough to build a C program outside the tree, by pkg-config and by find_package.
# usage: install.sh BUILD_DIR PACKAGE OUTPUT PROGRAM
set -euo pipefail
build=$1 package=$2 expected=$3 program=$4
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
prefix=$work/prefix

cmake --install "$build" --component library --prefix "$prefix" >"$work/log"
library_dir=$(dirname "$(find "$prefix" -name liborka.so)")
export PKG_CONFIG_PATH=$library_dir/pkgconfig

cp "$program" "$work/program.c"
cd "$work"
cc -std=c99 -pedantic-errors -Wall -Wextra -Werror program.c $(pkg-config --cflags --libs "$package") -o by_pkg_config
[ "$(LD_LIBRARY_PATH=$library_dir ./by_pkg_config)" = "$expected" ]
[ "$(pkg-config --modversion "$package")" = 1.0.0 ]

mkdir project
mv program.c project
cat >project/CMakeLists.txt <<CMAKE
cmake_minimum_required(VERSION 3.25)
project(outside LANGUAGES C)
find_package(Orka 1.0 REQUIRED)
add_executable(by_cmake program.c)
target_link_libraries(by_cmake PRIVATE Orka::$package)
CMAKE
cmake -G Ninja -S project -B project/build -DCMAKE_PREFIX_PATH="$prefix" >>"$work/log"
cmake --build project/build >>"$work/log"
[ "$(project/build/by_cmake)" = "$expected" ]
