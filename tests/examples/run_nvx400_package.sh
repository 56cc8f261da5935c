#!/usr/bin/env bash
# Runs the nvx400 Python package (from python/, installed nowhere) and its example against the
# program driving the instrument simulator. Args: app, simulator folder, source folder.
set -euo pipefail
APP=$1; SIMDIR=$2; SRC=$3
source "$(dirname "$0")/start_program_with_simulator.sh"
export PYTHONPATH=$SRC/python
/usr/bin/python3 "$SRC/tests/examples/check_nvx400_package.py" "$PORT"
OUT=$(/usr/bin/python3 "$SRC/examples/nvx400_two_port.py" "$PORT")
echo "$OUT"
grep -q '^Instrument: Kestrix,NVX400,' <<<"$OUT"
grep -q '^Points: 101 ' <<<"$OUT"
if grep -q '^Error:' <<<"$OUT"; then exit 1; fi
echo "2 passed, 0 failed"
