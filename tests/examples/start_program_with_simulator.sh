#!/usr/bin/env bash
# Sourced by the example tests: starts the program, hidden and driving the instrument simulator
# with the demo filter as the device under test, and waits until it serves remote commands.
# Needs APP, SIMDIR, SRC; sets HOME (a fresh one), PID, PORT and SIMPORT, and a trap that ends
# the program. Both the program and the simulator take any free port and say which on standard
# error.
HOME=$(mktemp -d); export HOME
mkdir -p "$HOME/Documents/Kestrix/vna"
printf '[Preferences]\nSCPIPrefs\\Port=0\n' > "$HOME/Documents/Kestrix/vna/Preferences.ini"
LOG=$HOME/program.log
QT_QPA_PLATFORM=offscreen VNA_SIM_PORT=0 LD_LIBRARY_PATH=$SIMDIR "$APP" --hidden 2>"$LOG" &
PID=$!
trap 'kill $PID 2>/dev/null || true; wait $PID 2>/dev/null || true; rm -rf "$HOME"' EXIT
PORT=""; SIMPORT=""
for _ in $(seq 200); do
  PORT=$(sed -n 's/.*Remote control on 127\.0\.0\.1:\([0-9]*\).*/\1/p' "$LOG" | tail -n 1)
  SIMPORT=$(sed -n 's/.*scene commands on 127\.0\.0\.1:\([0-9]*\).*/\1/p' "$LOG" | tail -n 1)
  [ -n "$PORT" ] && [ -n "$SIMPORT" ] && break
  kill -0 $PID 2>/dev/null || { cat "$LOG"; echo "program exited"; exit 1; }
  sleep 0.1
done
[ -n "$PORT" ] && [ -n "$SIMPORT" ] || { cat "$LOG"; echo "ports not reported"; exit 1; }
/usr/bin/python3 - "$SIMPORT" "$SRC/resources/demo_bandpass.s2p" "$PORT" <<'PY'
import socket, sys
# Generous: the simulator builds its shipped factory calibration, under the lock its scene
# commands wait on, when the program first reads the flash; slow in a sanitizer build.
s = socket.create_connection(("127.0.0.1", int(sys.argv[1])), timeout=120)
s.sendall(("load dut " + sys.argv[2] + "\n").encode())
reply = s.makefile().readline()
if not reply.startswith("ok"):
    sys.exit("simulator refused the device: " + reply)
# The program holds remote commands back until it has opened the instrument and read its factory
# calibration: an identity without the model ("Kestrix,,") would be an answer given meanwhile.
# The guard is sized for sanitizer builds, so the example's own timeout measures the example.
p = socket.create_connection(("127.0.0.1", int(sys.argv[3])), timeout=300)
p.sendall(b"*IDN?\n")
ident = p.makefile().readline()
if not ident.startswith("Kestrix,NVX400,"):
    sys.exit("the program did not identify itself: %r" % ident)
PY
