"""The NVX400 client: a PyVISA session on the application's SCPI socket."""

import time

import numpy as np
import pyvisa

# Bits of the standard event status register.
ESR_OPERATION_COMPLETE = 0x01
ESR_ERRORS = 0x04 | 0x08 | 0x10 | 0x20

_PARAMETERS = ("S11", "S21", "S12", "S22")


class NVX400Error(RuntimeError):
    """The instrument reported errors, or did not finish in time."""


def parse_block(data, dtype="<f8"):
    """Decodes one IEEE 488.2 definite-length block (bytes) into a numpy array."""
    if len(data) < 2 or data[0:1] != b"#":
        raise ValueError("not a definite-length block")
    digits = int(data[1:2])
    length = int(data[2:2 + digits]) if digits else 0
    start = 2 + digits
    return np.frombuffer(data[start:start + length], dtype=dtype)


class NVX400:
    """One remote session with the application.

    Data queries are read as little-endian REAL,64 blocks, which numpy takes without a copy.
    The channel given here is the one all calls address.
    """

    def __init__(self, resource="TCPIP0::127.0.0.1::5026::SOCKET", channel=1,
                 timeout_ms=60000, resource_manager=None):
        self._rm = resource_manager or pyvisa.ResourceManager("@py")
        self._inst = self._rm.open_resource(resource, read_termination="\n",
                                            write_termination="\n")
        self._inst.timeout = timeout_ms
        # A block may be several megabytes: read it in large chunks.
        self._inst.chunk_size = 1 << 20
        self.channel = int(channel)
        self._measures = {}
        self.write(":FORM:DATA REAL,64;:FORM:BORD SWAP")

    # --- session -------------------------------------------------------------------------------
    def write(self, command):
        self._inst.write(command)

    def query(self, command):
        return self._inst.query(command).strip()

    def close(self):
        self._inst.close()

    def __enter__(self):
        return self

    def __exit__(self, *exc):
        self.close()

    @property
    def idn(self):
        return self.query("*IDN?")

    def errors(self):
        """Takes every queued error, oldest first, as "code,message;detail" texts."""
        found = []
        while True:
            error = self.query(":SYST:ERR:NEXT?")
            if error.startswith("0,"):
                return found
            found.append(error)

    # --- stimulus ------------------------------------------------------------------------------
    def _sense(self, keyword, value=None):
        header = f":SENS{self.channel}:{keyword}"
        if value is None:
            return float(self.query(header + "?"))
        self.write(f"{header} {value}")
        return None

    @property
    def start(self):
        return self._sense("FREQ:STAR")

    @start.setter
    def start(self, hz):
        self._sense("FREQ:STAR", f"{float(hz):.0f}")

    @property
    def stop(self):
        return self._sense("FREQ:STOP")

    @stop.setter
    def stop(self, hz):
        self._sense("FREQ:STOP", f"{float(hz):.0f}")

    @property
    def points(self):
        return int(self._sense("SWE:POIN"))

    @points.setter
    def points(self, count):
        self._sense("SWE:POIN", int(count))

    @property
    def ifbw(self):
        return self._sense("BAND")

    @ifbw.setter
    def ifbw(self, hz):
        self._sense("BAND", f"{float(hz):.0f}")

    # --- sweeping ------------------------------------------------------------------------------
    def single_sweep(self, timeout=None, poll_interval=0.005):
        """Takes one sweep and returns when it has ended.

        The wait polls the event status register after *OPC rather than blocking in *OPC?, so
        the socket stays free and a lost sweep ends in a timeout instead of a hung read.
        """
        self.query("*ESR?")  # start from a clear register
        self.write(f":INIT{self.channel}:IMM;*OPC")
        limit = None if timeout is None else time.monotonic() + timeout
        while True:
            esr = int(self.query("*ESR?"))
            if esr & ESR_ERRORS:
                raise NVX400Error("sweep failed: " + "; ".join(self.errors()))
            if esr & ESR_OPERATION_COMPLETE:
                return
            if limit is not None and time.monotonic() > limit:
                raise NVX400Error("sweep did not end in %.1f s" % timeout)
            time.sleep(poll_interval)

    def status_byte(self):
        return int(self.query("*STB?"))

    # --- data ----------------------------------------------------------------------------------
    def _data(self, measure, kind):
        return self._inst.query_binary_values(
            f":CALC{self.channel}:MEAS{measure}:DATA:{kind}?", datatype="d",
            is_big_endian=False, container=np.array)

    def frequencies(self, measure=1):
        return self._data(measure, "X")

    def read_trace(self, measure=1, kind="SDATA"):
        """A measurement's data: "SDATA" (corrected) or "RDATA" (raw) as complex values,
        "FDATA" as the formatted values (pairs as complex in the Smith formats), "X" the
        frequencies."""
        kind = kind.upper()
        values = self._data(measure, kind)
        if kind in ("SDATA", "RDATA"):
            return values.view(np.complex128)
        return values

    def _measure_for(self, parameter):
        """A measurement number of the channel that measures the S-parameter, defined when
        none does."""
        if parameter in self._measures:
            return self._measures[parameter]
        catalog = self.query(f":CALC{self.channel}:MEAS:CAT?")
        numbers = [] if catalog.upper() == "EMPTY" else [int(n) for n in catalog.split(",")]
        for n in numbers:
            if self.query(f":CALC{self.channel}:MEAS{n}:PAR?").upper() == parameter:
                self._measures[parameter] = n
                return n
        n = next(i for i in range(1, 17) if i not in numbers)
        self.write(f":CALC{self.channel}:MEAS{n}:DEF;:CALC{self.channel}:MEAS{n}:PAR {parameter}")
        self._measures[parameter] = n
        return n

    def read_sparameters(self):
        """Frequencies (Hz) and the corrected two-port, of shape (points, 2, 2)."""
        measures = [self._measure_for(p) for p in _PARAMETERS]
        f = self.frequencies(measures[0])
        s = np.empty((len(f), 2, 2), dtype=np.complex128)
        for (row, col), m in zip(((0, 0), (1, 0), (0, 1), (1, 1)), measures):
            s[:, row, col] = self.read_trace(m, "SDATA")
        return f, s

    def network(self, name="NVX400"):
        """The two-port as an skrf.Network; needs scikit-rf."""
        try:
            import skrf
        except ImportError as e:
            raise ImportError("network() needs scikit-rf (pip install scikit-rf)") from e
        f, s = self.read_sparameters()
        frequency = skrf.Frequency.from_f(f, unit="hz")
        return skrf.Network(frequency=frequency, s=s, name=name)
