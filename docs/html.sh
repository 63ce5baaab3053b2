#!/usr/bin/env bash
# Makes the manual as HTML pages, in OUTPUT_DIR/html. Any warning is a failure.
# usage: html.sh OUTPUT_DIR
set -euo pipefail
mkdir -p "$1"
ORKA_DOCS_OUTPUT=$(realpath "$1")
cd "$(dirname "${BASH_SOURCE[0]}")/.."
ORKA_VERSION=$(sed -n 's/^project(orka VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)
export ORKA_DOCS_OUTPUT ORKA_VERSION
doxygen docs/Doxyfile
