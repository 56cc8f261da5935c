#!/usr/bin/env bash
# Soak test: the program runs hidden against the instrument simulator while tools/soak_client
# drives its remote interface on loopback for DURATION_SECONDS, then both report.
#   scripts/soak.sh DURATION_SECONDS
# Environment: BUILD_DIR (default build), SOAK_PORT (default 5026, or a free port when 5026 is
# taken), SOAK_SEED. The program runs with a private home folder, so the user's preferences,
# presets and calibrations are never touched. Exit status: non-zero when the program died or
# stopped answering.
set -euo pipefail
cd "$(dirname "$0")/.."
DURATION=${1:?usage: scripts/soak.sh DURATION_SECONDS}
BUILD_DIR=${BUILD_DIR:-build}
ROOT=$PWD

if [ ! -f "$BUILD_DIR/build.ninja" ]; then
  bash scripts/setup.sh
  cmake -S . -B "$BUILD_DIR" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
fi
cmake --build "$BUILD_DIR" -j2 --target vna vna_api soak_client

port_busy() { ss -ltnH "sport = :$1" 2>/dev/null | grep -q .; }
PORT=${SOAK_PORT:-5026}
while port_busy "$PORT"; do PORT=$((PORT + 10)); done

WORK=$(mktemp -d /tmp/vna-soak.XXXXXX)
APP_PID=""
cleanup() {
  if [ -n "$APP_PID" ] && kill -0 "$APP_PID" 2>/dev/null; then
    kill "$APP_PID" 2>/dev/null || true
    wait "$APP_PID" 2>/dev/null || true
  fi
  rm -rf "$WORK"
}
trap cleanup EXIT

# A private home with the remote interface on the chosen port.
export HOME=$WORK/home XDG_CONFIG_HOME=$WORK/home/.config XDG_DATA_HOME=$WORK/home/.local/share
export XDG_RUNTIME_DIR=$WORK/run
mkdir -p "$HOME/Documents/Kestrix/vna" "$XDG_RUNTIME_DIR"
chmod 700 "$XDG_RUNTIME_DIR"
printf '[Preferences]\nSCPIPrefs\\Enabled=true\nSCPIPrefs\\Port=%s\n' "$PORT" >"$HOME/Documents/Kestrix/vna/Preferences.ini"

export QT_QPA_PLATFORM=offscreen
export VNA_SIM_PORT=-1  # the simulator's scene port is not needed here
LD_LIBRARY_PATH="$ROOT/$BUILD_DIR/sim${LD_LIBRARY_PATH:+:$LD_LIBRARY_PATH}" \
  "$ROOT/$BUILD_DIR/vna_gui/vna" --hidden >"$WORK/program.log" 2>&1 &
APP_PID=$!
echo "soak: program pid $APP_PID, port $PORT, $DURATION s"

status=0
"$ROOT/$BUILD_DIR/tools/soak_client" --duration "$DURATION" --port "$PORT" --pid "$APP_PID" \
  --seed "${SOAK_SEED:-1}" || status=$?

if kill -0 "$APP_PID" 2>/dev/null; then
  echo "soak: program still running"
else
  wait "$APP_PID" && rc=0 || rc=$?
  echo "soak: program exited early with status $rc; last lines of its output:"
  tail -n 20 "$WORK/program.log"
  status=1
fi
exit $status
