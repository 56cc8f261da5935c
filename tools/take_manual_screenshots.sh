#!/usr/bin/env bash
# Takes the pictures of the user manual (docs/manual/*.png) from the program running under a
# virtual X display, against the instrument simulator measuring the demo band-pass filter. The
# program is set up over its remote interface and its panels are chosen by clicking. Needs Xvfb,
# xdotool and imagemagick (not part of the build). Run from the top folder after a build:
#   bash tools/take_manual_screenshots.sh [build folder]
# Everything listens on loopback ports chosen by the system, so it can run beside other programs.
set -euo pipefail
cd "$(dirname "$0")/.."
BUILD=${1:-build}
OUT=docs/manual
mkdir -p "$OUT"
SCRATCH=$(mktemp -d)
export HOME=$SCRATCH/home
mkdir -p "$HOME/Documents/Kestrix/vna"
printf '[Preferences]\nSCPIPrefs\\Port=0\nSCPIPrefs\\LockoutDialogEnabled=false\n' \
  > "$HOME/Documents/Kestrix/vna/Preferences.ini"
XPID=""
APID=""
cleanup() {
  if [ -n "$APID" ]; then kill "$APID" 2>/dev/null || true; fi
  if [ -n "$XPID" ]; then kill "$XPID" 2>/dev/null || true; fi
  rm -rf "$SCRATCH"
}
trap cleanup EXIT

# A free display: Xvfb writes the number it took.
exec 3>"$SCRATCH/display"
Xvfb -displayfd 3 -screen 0 1600x1000x24 -nolisten tcp >/dev/null 2>&1 &
XPID=$!
for _ in $(seq 100); do [ -s "$SCRATCH/display" ] && break; sleep 0.1; done
export DISPLAY=:$(head -n 1 "$SCRATCH/display")

LOG=$SCRATCH/program.log
VNA_SIM_PORT=0 LD_LIBRARY_PATH=$PWD/$BUILD/sim "$BUILD/vna_gui/vna" 2>"$LOG" &
APID=$!
PORT=""
SIMPORT=""
for _ in $(seq 300); do
  PORT=$(sed -n 's/.*Remote control on 127\.0\.0\.1:\([0-9]*\).*/\1/p' "$LOG" | tail -n 1)
  SIMPORT=$(sed -n 's/.*scene commands on 127\.0\.0\.1:\([0-9]*\).*/\1/p' "$LOG" | tail -n 1)
  [ -n "$PORT" ] && [ -n "$SIMPORT" ] && break
  sleep 0.1
done
[ -n "$PORT" ] && [ -n "$SIMPORT" ] || { cat "$LOG"; echo "the program did not start"; exit 1; }

# Sends lines to a port and prints the replies of the queries among them.
send() {
  /usr/bin/python3 - "$@" <<'PY'
import socket, sys
s = socket.create_connection(("127.0.0.1", int(sys.argv[1])), timeout=30)
f = s.makefile()
for line in sys.argv[2:]:
    s.sendall((line + "\n").encode())
    if "?" in line or line.startswith("load"):
        print(f.readline().strip())
PY
}
scpi() { send "$PORT" "$@" '*OPC?' >/dev/null; }

send "$SIMPORT" >/dev/null "load dut $PWD/resources/demo_bandpass.s2p"
WID=$(xdotool search --sync --name "Kestrix Vector Network Analysis Software" | head -n 1)
xdotool windowsize "$WID" 1400 860 windowmove "$WID" 0 0
sleep 1

shot() { sleep 1; import -window root -crop 1400x860+0+0 +repage "$OUT/$1.png"; }
# Panels are chosen with the buttons along the right edge of the window.
panel() {
  local y
  case $1 in
    stimulus) y=125 ;; markers) y=229 ;; limits) y=281 ;; time) y=307 ;;
  esac
  xdotool mousemove 1352 "$y" click 1
}

# The pass band of the filter, in transmission.
scpi ":SENS1:FREQ:STAR 2.2GHz;STOP 3.2GHz" ":CALC1:MEAS1:PAR S21" ":CALC1:MEAS1:Y:SCAL:AUTO"
shot main_window

scpi ":CALC1:MEAS1:MARK1 ON" ":CALC1:MEAS1:MARK1:X 2.7GHz" ":CALC1:MEAS1:MARK1:BWID ON"
panel markers
shot markers

# A dialog of the window, by its title.
dialog_shot() {
  local wid
  wid=$(xdotool search --sync --name "^$1\$" | head -n 1)
  sleep 1
  import -window "$wid" "$OUT/$2.png"
  xdotool key Escape
}
# Opens the entry of a menu of the menu bar that is N places down.
menu_entry() {
  xdotool mousemove "$1" 10 click 1
  sleep 0.5
  for _ in $(seq "$2"); do xdotool key Down; done
  xdotool key Return
}

# Choosing the sweep type Segment opens the table; Escape leaves the channel as it was.
panel stimulus
xdotool mousemove 1172 100 click 1
sleep 0.5
xdotool key End Return
dialog_shot "Sweep Segments" segment_table

scpi ":CALC1:MEAS1:MARK1:BWID OFF" ":CALC1:MEAS1:MARK:AOFF" \
  ":CALC1:MEAS1:LIM:DATA 2,2600000000,2800000000,0,0,1,2620000000,2780000000,-4,-4,2,2200000000,2450000000,-40,-40,2,2950000000,3200000000,-40,-40" \
  ":CALC1:MEAS1:LIM ON" ":CALC1:MEAS1:LIM:DISP ON"
panel limits
shot limits
scpi ":CALC1:MEAS1:LIM OFF" ":CALC1:MEAS1:LIM:DISP OFF"

scpi ":CALC1:MEAS1:TRAN:TIME:STAT ON" ":CALC1:MEAS1:Y:SCAL:AUTO"
panel time
shot time_domain
scpi ":CALC1:MEAS1:TRAN:TIME:STAT OFF"

menu_entry 272 2
dialog_shot "Fan Control" fan_control
menu_entry 338 3
dialog_shot "Output Generator Controls" output_generator

# Every command above must have been taken.
ERRORS=$(send "$PORT" ":SYST:ERR:COUN?" | tail -n 1)
[ "$ERRORS" = 0 ] || { echo "the program refused $ERRORS commands"; exit 1; }
echo "Pictures in $OUT"
