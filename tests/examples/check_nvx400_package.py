#!/usr/bin/python3
"""Checks the nvx400 package against a running program: stimulus round trip, a sweep waited
for through the status registers, binary traces equal to the ASCII replies, the two-port in
the right places, and the skrf.Network when scikit-rf is present. Arg: the program's port."""
import sys

import numpy as np

from nvx400 import NVX400, NVX400Error, parse_block

PORT = int(sys.argv[1])
failures = []


def check(ok, what):
    print(("ok   " if ok else "FAIL ") + what)
    if not ok:
        failures.append(what)


def ascii_query(vna, command):
    """The same query in ASCII, on the package's own session, as numbers."""
    vna.write(":FORM:DATA ASC")
    try:
        return np.array([float(v) for v in vna.query(command).split(",")])
    finally:
        vna.write(":FORM:DATA REAL,64")


with NVX400(f"TCPIP0::127.0.0.1::{PORT}::SOCKET") as vna:
    check(vna.idn.startswith("Kestrix,NVX400,"), "identity")
    vna.start, vna.stop, vna.points, vna.ifbw = 2.3e9, 3.1e9, 51, 1e3
    check((vna.start, vna.stop, vna.points, vna.ifbw) == (2.3e9, 3.1e9, 51, 1e3), "stimulus")
    vna.single_sweep(timeout=120)
    check(vna.query(f":SENS{vna.channel}:SWE:MODE?") == "hold", "sweep ended before the return")
    check(vna.query("*ESR?") == "0", "event register read by the wait")

    f, s = vna.read_sparameters()
    check(s.shape == (51, 2, 2) and f.shape == (51,), "two-port shape")
    check(np.allclose(f, np.linspace(2.3e9, 3.1e9, 51), rtol=1e-12, atol=0), "frequencies")
    # Each S-parameter against its measure's ASCII reply, which has ten digits.
    for (row, col), name in (((0, 0), "S11"), ((1, 0), "S21"), ((0, 1), "S12"), ((1, 1), "S22")):
        m = vna._measure_for(name)
        check(vna.query(f":CALC{vna.channel}:MEAS{m}:PAR?").upper() == name, name + " measure")
        text = ascii_query(vna, f":CALC{vna.channel}:MEAS{m}:DATA:SDATA?")
        binary = np.ascontiguousarray(s[:, row, col])
        as_text = np.array([float("%.10g" % v) for v in binary.view(np.float64)])
        check(np.array_equal(as_text, text), name + " binary equals ASCII to its ten digits")
    # A filter: transmission is not reflection.
    check(not np.allclose(s[:, 1, 0], s[:, 0, 0]), "S21 differs from S11")

    # The block parser against a raw read of the same query.
    raw = vna._inst.query_binary_values(":CALC1:MEAS1:DATA:X?", datatype="d",
                                        is_big_endian=False, container=np.array)
    check(np.array_equal(raw, f), "frequencies through query_binary_values")
    # The socket fast path against PyVISA's own reads, on a block full of line-feed bytes.
    from nvx400 import instrument
    fast = vna.read_trace(1, "SDATA")
    check(np.count_nonzero(fast.view(np.uint8) == 0x0A) > 0, "block holds line-feed bytes")
    socket_of = instrument._pyvisa_py_socket
    instrument._pyvisa_py_socket = lambda resource: None
    try:
        check(np.array_equal(vna.read_trace(1, "SDATA"), fast), "PyVISA reads equal the socket")
        vna.write(":FORM:DATA ASC")
        try:
            vna.read_trace(1, "SDATA")
            check(False, "ASCII reply refused as a block (PyVISA reads)")
        except NVX400Error:
            check(True, "ASCII reply refused as a block (PyVISA reads)")
    finally:
        instrument._pyvisa_py_socket = socket_of
    try:
        vna.read_trace(1, "SDATA")
        check(False, "ASCII reply refused as a block")
    except NVX400Error as e:
        check("did not reply with a data block" in str(e), "ASCII reply refused as a block")
    vna.write(":FORM:DATA REAL,64")
    check(vna.idn.startswith("Kestrix,NVX400,"), "session in step after a refused reply")
    check(np.array_equal(vna.read_trace(1, "SDATA"), fast), "block read again after it")
    block = b"#216" + np.array([1.5, -2.25], "<f8").tobytes()
    check(np.array_equal(parse_block(block), [1.5, -2.25]), "parse_block")

    try:
        import skrf  # noqa: F401
        have_skrf = True
    except ImportError:
        have_skrf = False
    if have_skrf:
        net = vna.network("dut")
        check(net.s.shape == (51, 2, 2) and np.array_equal(net.s, s), "skrf.Network s")
        check(np.allclose(net.f, f, rtol=1e-12, atol=0), "skrf.Network frequencies")
    else:
        print("skip skrf.Network: scikit-rf is not installed")
    check(vna.errors() == [], "no errors queued")
    vna.write(f":INIT{vna.channel}:CONT")

if failures:
    sys.exit("%d failed: %s" % (len(failures), ", ".join(failures)))
print("package checks passed")
