#!/usr/bin/python3
"""A remote session with the NVX400 application through PyVISA's socket backend.

Start the application first (for example `bash scripts/run-sim.sh --hidden`), then:

    /usr/bin/python3 examples/pyvisa_client.py [port]

It identifies the instrument, sets a sweep on channel 1, takes one single sweep, waits for it
with *OPC?, reads S21 as complex data and as formatted dB values, and prints any queued errors.
Debian packages: python3-pyvisa python3-pyvisa-py.
"""
import sys

import pyvisa


def main():
    port = int(sys.argv[1]) if len(sys.argv) > 1 else 5026
    rm = pyvisa.ResourceManager('@py')
    vna = rm.open_resource(f'TCPIP::127.0.0.1::{port}::SOCKET')
    vna.read_termination = '\n'
    vna.write_termination = '\n'
    vna.timeout = 60000

    print('Instrument:', vna.query('*IDN?'))
    vna.write(':SENS1:FREQ:STAR 2.2GHz;STOP 3.2GHz;:SENS1:SWE:POIN 101')
    vna.write(':CALC1:MEAS1:PAR S21;:CALC1:MEAS1:FORM MLOG')
    vna.query(':INIT1:IMM;*OPC?')  # one sweep, then the channel holds

    freqs = [float(v) for v in vna.query(':CALC1:MEAS1:DATA:X?').split(',')]
    sdata = [float(v) for v in vna.query(':CALC1:MEAS1:DATA:SDATA?').split(',')]
    fdata = [float(v) for v in vna.query(':CALC1:MEAS1:DATA:FDATA?').split(',')]
    s21 = [complex(sdata[2 * i], sdata[2 * i + 1]) for i in range(len(sdata) // 2)]
    best = max(range(len(fdata)), key=lambda i: fdata[i])
    print(f'Points: {len(freqs)}  S21 peak {fdata[best]:.2f} dB at {freqs[best] / 1e9:.4f} GHz'
          f'  |S21| there {abs(s21[best]):.4f}')

    while True:
        error = vna.query(':SYST:ERR:NEXT?')
        if error.startswith('0,'):
            break
        print('Error:', error)
    vna.write(':INIT1:CONT')
    vna.close()


if __name__ == '__main__':
    main()
