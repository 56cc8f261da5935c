#!/usr/bin/env bash
# Installs what is missing, then configures and builds into ./build (or $BUILD_DIR).
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh
# Let every checkout of the project share one compiler cache: paths are taken relative to it.
export CCACHE_BASEDIR="$PWD"
export CCACHE_NOHASHDIR=1
BUILD_DIR=${BUILD_DIR:-build}
BUILD_TYPE=${BUILD_TYPE:-RelWithDebInfo}
cmake -S . -B "$BUILD_DIR" -G Ninja -DCMAKE_BUILD_TYPE="$BUILD_TYPE" "$@" >/dev/null
cmake --build "$BUILD_DIR" -j2
