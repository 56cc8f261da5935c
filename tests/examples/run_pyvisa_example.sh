#!/usr/bin/env bash
# Runs examples/pyvisa_client.py against the program, hidden and driving the instrument simulator
# with the demo filter as the device under test. Args: app, simulator folder, source folder.
set -euo pipefail
APP=$1; SIMDIR=$2; SRC=$3
free_port() { /usr/bin/python3 -c 'import socket; s=socket.socket(); s.bind(("127.0.0.1",0)); print(s.getsockname()[1])'; }
PORT=$(free_port); SIMPORT=$(free_port)
HOME=$(mktemp -d); export HOME
mkdir -p "$HOME/Documents/Kestrix/vna"
printf '[Preferences]\nSCPIPrefs\\Port=%s\n' "$PORT" > "$HOME/Documents/Kestrix/vna/Preferences.ini"
QT_QPA_PLATFORM=offscreen VNA_SIM_PORT=$SIMPORT LD_LIBRARY_PATH=$SIMDIR "$APP" --hidden &
PID=$!
trap 'kill $PID 2>/dev/null || true; wait $PID 2>/dev/null || true; rm -rf "$HOME"' EXIT
/usr/bin/python3 - "$SIMPORT" "$SRC/resources/demo_bandpass.s2p" <<'PY'
import socket, sys, time
for _ in range(100):
    try:
        s = socket.create_connection(("127.0.0.1", int(sys.argv[1])), timeout=5)
        break
    except OSError:
        time.sleep(0.1)
else:
    sys.exit("simulator port not reachable")
s.sendall(("load dut " + sys.argv[2] + "\n").encode())
reply = s.makefile().readline()
if not reply.startswith("ok"):
    sys.exit("simulator refused the device: " + reply)
PY
OUT=$(/usr/bin/python3 "$SRC/examples/pyvisa_client.py" "$PORT")
echo "$OUT"
grep -q '^Instrument: Kestrix,NVX400,' <<<"$OUT"
grep -q '^Points: 101 ' <<<"$OUT"
if grep -q '^Error:' <<<"$OUT"; then exit 1; fi
echo "1 passed, 0 failed"
