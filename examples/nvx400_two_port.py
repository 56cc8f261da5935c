#!/usr/bin/python3
"""A two-port measurement with the nvx400 package (python/ in this checkout).

Start the application first (for example `bash scripts/run-sim.sh --hidden`), then:

    PYTHONPATH=python /usr/bin/python3 examples/nvx400_two_port.py [port]

It sets the stimulus, takes one sweep and waits for it through *OPC and the event status
register, reads the four S-parameters in binary form and prints where S21 peaks. With
scikit-rf installed it also builds an skrf.Network and prints it.
Debian packages: python3-pyvisa python3-pyvisa-py python3-numpy (python3-scikit-rf optional).
"""
import sys

import numpy as np

from nvx400 import NVX400


def main():
    port = int(sys.argv[1]) if len(sys.argv) > 1 else 5026
    with NVX400(f"TCPIP0::127.0.0.1::{port}::SOCKET") as vna:
        print("Instrument:", vna.idn)
        vna.start, vna.stop, vna.points, vna.ifbw = 2.2e9, 3.2e9, 101, 10e3
        vna.single_sweep(timeout=120)
        f, s = vna.read_sparameters()
        s21_db = 20 * np.log10(np.abs(s[:, 1, 0]))
        best = int(np.argmax(s21_db))
        print(f"Points: {len(f)}  S21 peak {s21_db[best]:.2f} dB at {f[best] / 1e9:.4f} GHz"
              f"  |S11| there {abs(s[best, 0, 0]):.4f}")
        try:
            net = vna.network("filter")
            print("Network:", net)
        except ImportError as e:
            print("No network:", e)
        for error in vna.errors():
            print("Error:", error)
        vna.write(f":INIT{vna.channel}:CONT")


if __name__ == "__main__":
    main()
