#!/usr/bin/env bash
# Sets up, builds and starts the application. Without an instrument it offers the demo device.
# On a machine without a display it runs under a virtual X display, so the remote interface
# (TCP port 5026 on the loopback interface) still serves.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/build.sh
# The program finds its translations in ./translations/, beside it in the build tree.
cd build/vna_gui
APP=./vna
if [ -z "${DISPLAY:-}" ] && [ -z "${WAYLAND_DISPLAY:-}" ]; then
  echo "No display found: starting under a virtual X display (Xvfb)."
  exec xvfb-run -a -s "-screen 0 1600x1000x24" "$APP" "$@"
fi
exec "$APP" "$@"
