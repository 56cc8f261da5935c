#!/usr/bin/env bash
# Starts the program against the instrument simulator instead of a real instrument.
#   scripts/run-sim.sh [program arguments]
# Configures ./build if needed and brings the program and the simulator up to date first. The
# simulator listens for scene commands on 127.0.0.1:${VNA_SIM_PORT:-5027} once the program has
# opened the instrument (see docs/simulator.md).
set -euo pipefail
cd "$(dirname "$0")/.."

if ! command -v cmake >/dev/null 2>&1 || ! command -v ninja >/dev/null 2>&1; then
  scripts/setup.sh
fi
if [ ! -f build/build.ninja ]; then
  cmake -S . -B build -G Ninja
fi
cmake --build build -j2 --target vna vna_api

# Started in its own folder, where it finds its translations (./translations/).
export LD_LIBRARY_PATH="$PWD/build/sim${LD_LIBRARY_PATH:+:$LD_LIBRARY_PATH}"
cd build/vna_gui
exec ./vna "$@"
