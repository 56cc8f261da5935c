"""The NVX400 client: a PyVISA session on the application's SCPI socket."""

import select
import socket
import time

import numpy as np
import pyvisa
from pyvisa import constants

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
        return self.query_block(f":CALC{self.channel}:MEAS{measure}:DATA:{kind}?")

    def query_block(self, command, dtype="<f8"):
        """Sends a data query and returns its definite-length block reply as a numpy array.

        pyvisa-py hands a socket reply over in 4 kB pieces and, with the line-feed terminator
        on, stops at every line-feed byte inside the block: a 1 MB trace took thousands of
        library calls. On a pyvisa-py socket session the block is therefore taken from the
        session's socket straight into the array; other backends read it through PyVISA with
        the terminator switched off.
        """
        self._inst.write(command)
        session = _pyvisa_py_socket(self._inst)
        if session is not None:
            read = _SocketReader(session, self._inst.timeout)
        else:
            read = _ResourceReader(self._inst)
        head = read.exactly(2)
        if head[0:1] != b"#" or not head[1:2].isdigit() or head[1:2] == b"0":
            rest = b"" if b"\n" in head else read.line()
            text = (head + rest).decode("ascii", "replace").strip()
            raise NVX400Error(f"{command} did not reply with a data block: {text!r}")
        digits = int(head[1:2])
        length_text = read.exactly(digits)
        if not length_text.isdigit():
            raise NVX400Error(f"{command}: damaged block length {length_text!r}")
        length = int(length_text)
        body = read.into(np.empty(length + 1, dtype=np.uint8))
        if body[length] != 0x0A:
            raise NVX400Error(f"{command}: the block does not end with a line feed")
        itemsize = np.dtype(dtype).itemsize
        return body[: length - length % itemsize].view(dtype)

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


def _pyvisa_py_socket(resource):
    """The pyvisa-py session of a TCPIP SOCKET resource, or None for any other backend or a
    pyvisa-py whose insides differ from the ones this was written against."""
    sessions = getattr(resource.visalib, "sessions", None)
    session = sessions.get(resource.session) if isinstance(sessions, dict) else None
    if isinstance(getattr(session, "interface", None), socket.socket) and isinstance(
            getattr(session, "_pending_buffer", None), bytearray):
        return session
    return None


class _Reader:
    """Reads of one reply; `into` fills an array whole."""

    def exactly(self, count):
        return bytes(self.into(bytearray(count)))


class _SocketReader(_Reader):
    """Reads a reply from a pyvisa-py socket session: first what the session has buffered
    past its last line, then the socket itself, each wait bounded by the resource's timeout."""

    def __init__(self, session, timeout_ms):
        self._pending = session._pending_buffer
        self._socket = session.interface
        self._timeout = None if timeout_ms is None else timeout_ms / 1000.0

    def _wait(self):
        ready, _, _ = select.select([self._socket], [], [], self._timeout)
        if not ready:
            raise pyvisa.errors.VisaIOError(constants.StatusCode.error_timeout)

    def into(self, array):
        view = memoryview(array).cast("B")
        got = min(len(self._pending), len(view))
        view[:got] = self._pending[:got]
        del self._pending[:got]
        while got < len(view):
            self._wait()
            count = self._socket.recv_into(view[got:])
            if count == 0:
                raise NVX400Error("the instrument closed the connection")
            got += count
        return array

    def line(self):
        """Up to and with the next line feed; what follows stays buffered for the session."""
        out = bytearray()
        while True:
            end = self._pending.find(b"\n")
            if end >= 0:
                out += self._pending[:end + 1]
                del self._pending[:end + 1]
                return bytes(out)
            out += self._pending
            self._pending.clear()
            self._wait()
            chunk = self._socket.recv(1 << 16)
            if not chunk:
                raise NVX400Error("the instrument closed the connection")
            self._pending += chunk


class _ResourceReader(_Reader):
    """The same reads through PyVISA, for backends whose insides are not known here."""

    def __init__(self, resource):
        self._resource = resource

    def into(self, array):
        view = memoryview(array).cast("B")
        # Block bytes may be line feeds: read them with the terminator off.
        self._resource.set_visa_attribute(constants.ResourceAttribute.termchar_enabled, False)
        try:
            view[:] = self._resource.read_bytes(len(view))
        finally:
            self._resource.set_visa_attribute(constants.ResourceAttribute.termchar_enabled, True)
        return array

    def line(self):
        return self._resource.read_raw()
