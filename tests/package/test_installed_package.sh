#!/usr/bin/env bash
# Unpacks the Debian package into a scratch root (dpkg -x), starts the installed program hidden
# against the installed simulator, and asks it *IDN? over loopback. Arg: the .deb file.
# The program takes any free remote port (SCPIPrefs\Port=0 in a scratch home's preferences) and
# names it in its log line "Remote control on 127.0.0.1:PORT".
set -euo pipefail
DEB=$(readlink -f "$1")
SCRATCH=$(mktemp -d)
ROOT=$SCRATCH/root
export HOME=$SCRATCH/home
mkdir -p "$ROOT" "$HOME/Documents/Kestrix/vna"
printf '[Preferences]\nSCPIPrefs\\Port=0\nSCPIPrefs\\LockoutDialogEnabled=false\n' \
  > "$HOME/Documents/Kestrix/vna/Preferences.ini"
PID=""
cleanup() {
  if [ -n "$PID" ]; then kill "$PID" 2>/dev/null || true; wait "$PID" 2>/dev/null || true; fi
  rm -rf "$SCRATCH"
}
trap cleanup EXIT
fail() { echo "FAIL: $*"; [ -f "$HOME/program.log" ] && cat "$HOME/program.log"; echo "0 passed, 1 failed"; exit 1; }

dpkg -x "$DEB" "$ROOT"
APP_DIR=$ROOT/usr/lib/kestrix-vna
for f in bin/vna simulator/libvna_api.so manuals/manual.md; do
  [ -e "$APP_DIR/$f" ] || fail "package lacks $f"
done
[ -e "$ROOT/usr/share/applications/kestrix-vna.desktop" ] || fail "package lacks the desktop entry"
[ -e "$ROOT/usr/share/icons/hicolor/256x256/apps/kestrix-vna.png" ] || fail "package lacks the icon"
ls "$APP_DIR/manuals/manual/"*.png >/dev/null 2>&1 || fail "package lacks the manual's pictures"
# Every picture the manual shows is installed beside it, in both forms of the manual.
HTML="$APP_DIR/manuals/VNA Software Manual.html"
[ -e "$HTML" ] || fail "package lacks the rendered manual"
for page in "$APP_DIR/manuals/manual.md" "$HTML"; do
  for pic in $(grep -o 'manual/[A-Za-z0-9_]*\.png' "$page" | sort -u); do
    [ -e "$APP_DIR/manuals/$pic" ] || fail "$(basename "$page") shows $pic, which is not installed"
  done
done

LOG=$HOME/program.log
(cd "$APP_DIR/bin" && QT_QPA_PLATFORM=offscreen VNA_SIM_PORT=-1 \
  LD_LIBRARY_PATH="$APP_DIR/simulator" exec ./vna --hidden) 2>"$LOG" &
PID=$!
PORT=""
for _ in $(seq 300); do
  PORT=$(sed -n 's/.*Remote control on 127\.0\.0\.1:\([0-9]*\).*/\1/p' "$LOG" | tail -n 1)
  [ -n "$PORT" ] && break
  kill -0 "$PID" 2>/dev/null || fail "the installed program exited"
  sleep 0.1
done
[ -n "$PORT" ] || fail "no remote port reported"

IDN=$(/usr/bin/python3 - "$PORT" <<'PY'
import socket, sys
s = socket.create_connection(("127.0.0.1", int(sys.argv[1])), timeout=20)
s.sendall(b"*IDN?\n")
print(s.makefile().readline().strip())
PY
)
echo "Installed program: $IDN"
# The simulator answers as an instrument, which the demo device never does.
grep -q '^Kestrix,NVX400,40000123,' <<<"$IDN" || fail "unexpected identity: $IDN"
echo "1 passed, 0 failed"
