#!/usr/bin/env bash
# Builds in release mode and runs every benchmark (or those matching $1 as a filter).
set -euo pipefail
cd "$(dirname "$0")/.."
BUILD_DIR=build-release BUILD_TYPE=Release bash scripts/build.sh
for b in build-release/bench/bench_*; do
  # Only programs: the build also leaves folders (bench_*_autogen) here, which are executable too.
  [ -f "$b" ] && [ -x "$b" ] || continue
  echo "== $(basename "$b")"
  "$b" --benchmark_filter="${1:-.}"
done
