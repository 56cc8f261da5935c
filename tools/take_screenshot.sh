#!/bin/bash
# Takes docs/screenshot.png: the demo running under a virtual X display, zoomed on the pass band
# over the remote interface. Needs xdotool and imagemagick (not part of the build): run from the
# top folder after a build, as: bash tools/take_screenshot.sh
set -e
export HOME=/tmp/shot-home; rm -rf $HOME; mkdir -p $HOME/Documents/Kestrix/vna
printf '[Preferences]\nSCPIPrefs\\LockoutDialogEnabled=false\n' > $HOME/Documents/Kestrix/vna/Preferences.ini
Xvfb :57 -screen 0 1600x1000x24 >/dev/null 2>&1 &
XPID=$!
sleep 1
export DISPLAY=:57
build/vna_gui/vna >/dev/null 2>&1 &
APID=$!
sleep 3
xdotool key Return   # accept the demo device
sleep 2
WID=$(xdotool search --name "Kestrix Vector Network Analysis Software" | head -1)
xdotool windowsize $WID 1500 900 windowmove $WID 0 0
sleep 1
/usr/bin/python3 - <<'PY'
import socket
s = socket.create_connection(("127.0.0.1", 5026))
s.sendall(b":SENS1:FREQ:STAR 2.2GHz;STOP 3.2GHz;:CALC1:MEAS2:Y:SCAL:RLEV 0\n:SYST:ERR:COUN?\n")
print(s.recv(100))
s.close()
PY
sleep 1
xdotool mousemove 1460 200 click 1
sleep 3
import -window root -crop 1500x900+0+0 docs/screenshot.png
kill $APID; kill $XPID
