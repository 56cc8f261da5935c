#!/usr/bin/env bash
# Runs examples/pyvisa_client.py against the program, hidden and driving the instrument simulator
# with the demo filter as the device under test. Args: app, simulator folder, source folder.
set -euo pipefail
APP=$1; SIMDIR=$2; SRC=$3
source "$(dirname "$0")/start_program_with_simulator.sh"
OUT=$(/usr/bin/python3 "$SRC/examples/pyvisa_client.py" "$PORT")
echo "$OUT"
grep -q '^Instrument: Kestrix,NVX400,' <<<"$OUT"
grep -q '^Points: 101 ' <<<"$OUT"
if grep -q '^Error:' <<<"$OUT"; then exit 1; fi
echo "1 passed, 0 failed"
