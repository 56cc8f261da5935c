#!/usr/bin/python3
"""Times the nvx400 package reading a 64001-point two-port into an skrf.Network after the
sweep has ended. Start the program first (for example `bash scripts/run-sim.sh --hidden`):

    PYTHONPATH=python /usr/bin/python3 bench/bench_nvx400_read.py [port] [repeats]

It sets 64001 points, takes one sweep (the demo device needs about 45 s for it), then reads
the four S-parameters and builds the Network `repeats` times (default 20) and prints the
fastest, median and slowest read.
"""
import statistics
import sys
import time

from nvx400 import NVX400


def main():
    port = int(sys.argv[1]) if len(sys.argv) > 1 else 5026
    repeats = int(sys.argv[2]) if len(sys.argv) > 2 else 20
    with NVX400(f"TCPIP0::127.0.0.1::{port}::SOCKET", timeout_ms=300000) as vna:
        vna.points = 64001
        vna.ifbw = 100e3
        vna.single_sweep(timeout=600)
        vna.network()  # defines the measurements once, outside the timing
        times = []
        for _ in range(repeats):
            t0 = time.perf_counter()
            net = vna.network()
            times.append((time.perf_counter() - t0) * 1e3)
        assert net.s.shape == (64001, 2, 2)
        print(f"network() of 64001 points, {repeats} reads: min {min(times):.1f} ms, "
              f"median {statistics.median(times):.1f} ms, max {max(times):.1f} ms")
        vna.write(f":INIT{vna.channel}:CONT")


if __name__ == "__main__":
    main()
