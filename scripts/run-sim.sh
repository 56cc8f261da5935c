#!/usr/bin/env bash
# Starts the program against the instrument simulator instead of a real instrument.
#   scripts/run-sim.sh [program arguments]
# Builds ./build first when the program or the simulator is missing. The simulator listens for
# scene commands on 127.0.0.1:${VNA_SIM_PORT:-5027} once the program has opened the instrument.
set -euo pipefail
cd "$(dirname "$0")/.."

if [ ! -x build/vna_gui/vna ] || [ ! -f build/sim/libvna_api.so ]; then
  if [ -x scripts/setup.sh ] && ! command -v cmake >/dev/null 2>&1; then
    scripts/setup.sh
  fi
  cmake -S . -B build -G Ninja
  cmake --build build -j2 --target vna vna_api
fi

LD_LIBRARY_PATH="$PWD/build/sim${LD_LIBRARY_PATH:+:$LD_LIBRARY_PATH}" exec build/vna_gui/vna "$@"
