"""A virtual adapter with devices on its buses, in place of the machine's own adapters.

>>> from tarvix.simulator import Bench
>>> with Bench() as bench, bench.adapter() as adapter:
...     adapter.i2c[0].configure()
...     adapter.i2c[0].scan()
[72, 80]

The program ``tarvix-sim`` must be installed, carried by the package or named in the environment variable
``TARVIX_SIM``.
"""

from __future__ import annotations

import contextlib
import ctypes
import json
import os
import shutil
import socket
import subprocess
import tempfile
from types import TracebackType
from typing import Dict, List, Mapping, Optional, Sequence, Type, TypeVar, Union

from . import _flat
from .adapter import Adapter
from .device import Device, DeviceHost
from .errors import TarvixError

__all__ = ["Bench", "Device", "SimulatorError"]

B = TypeVar("B", bound="Bench")

_PATIENCE = 5.0  # seconds for an answer of tarvix-sim
_LARGEST_MESSAGE = 64 * 1024
# Says where the adapters are, and lasts until its standard input ends: at the latest when this process does.
_CHILD = ("sh", "-c", 'printf "%s\\n%s\\n" "$TARVIX_SIM_SOCKET" "$LD_PRELOAD"; exec cat >/dev/null')

_standin: Optional[ctypes.CDLL] = None
_running: Optional[Bench] = None


class SimulatorError(TarvixError):
    """The virtual adapter could not be started, or refused what it was asked."""


class Bench:
    """Virtual adapters for this process. One bench runs at a time; it may have several adapters.

    Start it before the process first uses an adapter: from then on it sees the virtual adapters only.

    :param board: what is on the buses: a board file; or its content, with a `Device` where your own is; None for the
        default board
    :param adapters: how many of the board's only adapter
    :param serial: serial number of the first one, ``TVX0000001`` on the default board; further ones count up
    :param report_size: bytes of a report, 64 or 1024
    :param latency: delay of every answer and notification in seconds
    :param faults: what goes wrong, such as ``["drop:0.01"]``
    :param options: further options of ``tarvix-sim run``
    :raises SimulatorError: when it cannot be started
    """

    def __init__(
        self,
        board: Union[str, os.PathLike[str], Mapping[str, object], None] = None,
        *,
        adapters: Optional[int] = None,
        serial: Optional[str] = None,
        report_size: Optional[int] = None,
        latency: float = 0.0,
        faults: Sequence[str] = (),
        options: Sequence[str] = (),
    ) -> None:
        global _running
        if _running is not None:
            raise SimulatorError("a bench runs already in this process: close it first, or give it adapters=2")
        self._program = _find_program()
        self._cleanup = contextlib.ExitStack()
        if isinstance(board, Mapping):
            board = self._board_file(board)
        chosen = {"--board": board, "--adapters": adapters, "--serial": serial, "--report-size": report_size}
        words = [str(word) for name, value in chosen.items() if value is not None for word in (name, value)]
        words += ["--latency", str(round(latency * 1000))] if latency else []
        words += [word for fault in faults for word in ("--fault", fault)]
        self._messages = tempfile.TemporaryFile("w+")
        self._process = subprocess.Popen(
            [self._program, "run", *words, *options, "--", *_CHILD],
            stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=self._messages, text=True,
            start_new_session=True,  # Ctrl-C is for this program, which may have things to put right
            env={name: value for name, value in os.environ.items() if name != "LD_PRELOAD"},
        )
        assert self._process.stdout is not None
        socket_path = self._process.stdout.readline().rstrip("\n")
        library = self._process.stdout.readline().rstrip("\n")
        if not library:
            raise SimulatorError(f"cannot start a virtual adapter: {self._end()}")
        self._host = _Host(socket_path)
        self.environment: Dict[str, str] = {**os.environ, "LD_PRELOAD": library, "TARVIX_SIM_SOCKET": socket_path}
        """For programs that are to see the virtual adapters: ``subprocess.run([...], env=bench.environment)``."""
        try:
            _stand_in(library, socket_path)
        except BaseException:
            self._end()
            raise
        _running = self

    def adapter(self, serial: Optional[str] = None, *, timeout: Optional[float] = 2.0) -> Adapter:
        """Opens a virtual adapter, by default the only one."""
        return Adapter(serial, timeout=timeout)

    def unplug(self, adapter: Union[int, str] = 0) -> None:
        """Pulls an adapter out, named by its index or serial number."""
        self._host.ask("trigger", "unplug", str(adapter))

    def replug(self, adapter: Union[int, str] = 0) -> None:
        """Plugs an adapter in again; it is as after power-up."""
        self._host.ask("trigger", "replug", str(adapter))

    def raise_interrupt(self, target: int = 0, payload: bytes = b"", adapter: Union[int, str] = 0) -> None:
        """Has an I3C target raise an in-band interrupt."""
        self._host.ask("trigger", "ibi", str(adapter), str(target), *map(str, payload))

    def hot_join(self, target: int = 0, adapter: Union[int, str] = 0) -> None:
        """Has an I3C target join the bus."""
        self._host.ask("trigger", "hot-join", str(adapter), str(target))

    def close(self) -> None:
        """Ends the virtual adapters: sessions lose them."""
        global _running
        if _running is self:
            _running = None
            self._end()

    def _board_file(self, board: Mapping[str, object]) -> str:
        """Where the board is written. What it holds of objects lives here, behind sockets."""
        folder = self._cleanup.enter_context(tempfile.TemporaryDirectory(prefix="tarvix-bench-"))

        def entry(thing: object) -> Dict[str, object]:
            if not isinstance(thing, Device):
                raise SimulatorError(f"a board holds no {type(thing).__name__}: put JSON or a Device there")
            host = DeviceHost(thing, f"{folder}/{id(thing)}")
            self._cleanup.callback(host.close)
            return host.entry()

        path = f"{folder}/board.json"
        try:
            with open(path, "w", encoding="utf-8") as file:
                json.dump(board, file, default=entry)
        except BaseException:
            self._cleanup.close()
            raise
        return path

    def _end(self) -> str:
        """What it said on standard error."""
        try:
            self._process.communicate(timeout=_PATIENCE)
        except subprocess.TimeoutExpired:
            self._process.kill()
            self._process.communicate()
        self._cleanup.close()
        with self._messages as messages:
            messages.seek(0)
            return messages.read().strip()

    def __enter__(self: B) -> B:
        return self

    def __exit__(
        self, kind: Optional[Type[BaseException]], error: Optional[BaseException], trace: Optional[TracebackType]
    ) -> None:
        self.close()


class _Host:
    """Asks the running tarvix-sim: one message of texts that end with a zero byte, answered by one."""

    def __init__(self, path: str) -> None:
        self._path = path

    def ask(self, *fields: str) -> List[str]:
        """The fields that follow its consent."""
        with socket.socket(socket.AF_UNIX, socket.SOCK_SEQPACKET) as connection:
            connection.settimeout(_PATIENCE)
            try:
                connection.connect(self._path)
                connection.send(b"".join(os.fsencode(field) + b"\0" for field in fields))
                answer = [os.fsdecode(field) for field in connection.recv(_LARGEST_MESSAGE).split(b"\0")]
            except OSError as error:
                raise SimulatorError(f"the virtual adapter does not answer: {error}") from None
        if answer[0] != "ok":
            raise SimulatorError(answer[0] or "the virtual adapter has ended: start a new Bench")
        return answer[1:-1]


def _find_program() -> str:
    chosen = os.environ.get("TARVIX_SIM")
    carried = _flat.NATIVE / "tarvix-sim"
    program = chosen or (str(carried) if carried.exists() else shutil.which("tarvix-sim"))
    if program is None:
        raise SimulatorError("tarvix-sim is not installed: install the Tarvix SDK, or name it in TARVIX_SIM")
    if shutil.which(program) is None:
        raise SimulatorError(f"TARVIX_SIM names {program}, which is no program")
    return program


def _stand_in(library: str, socket_path: str) -> None:
    """Puts the stand-in for hidapi before the real one, which it hides from whatever is loaded later."""
    global _standin
    if _standin is None:
        if _flat.is_loaded():
            raise SimulatorError(
                "this process uses the machine's own adapters already: start the Bench before the first use of one"
            )
        _standin = ctypes.CDLL(library, mode=ctypes.RTLD_GLOBAL)
    _standin.tarvixsim_use.argtypes = [ctypes.c_char_p]
    _standin.tarvixsim_use(os.fsencode(socket_path))
