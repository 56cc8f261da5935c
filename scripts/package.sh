#!/usr/bin/env bash
# Builds the Debian package kestrix-vna_<version>_<arch>.deb into ./build (or $BUILD_DIR) with
# CPack, from the install rules of packaging/CMakeLists.txt, and prints its path.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/build.sh
BUILD_DIR=${BUILD_DIR:-build}
rm -f "$BUILD_DIR"/kestrix-vna_*.deb
(cd "$BUILD_DIR" && cpack -G DEB >cpack.log 2>&1) || { cat "$BUILD_DIR/cpack.log" >&2; exit 1; }
ls "$BUILD_DIR"/kestrix-vna_*.deb
