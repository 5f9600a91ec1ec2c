"""Devices of your own for the virtual bench, on its I2C and SPI buses or at the other end of its UART.

A program that ends in ``LightSensor().run()`` is a device for a board file:
``{"type": "process", "command": ["python3", "light_sensor.py"]}``. An object in a board that `tarvix.simulator.Bench` is given lives in the test's own process.
"""

from __future__ import annotations

import contextlib
import json
import socket
import sys
import threading
import traceback
from typing import Any, Callable, Dict, Iterable, Optional

__all__ = ["Device"]

_VERSION = 1  # of the protocol
_PATIENCE_MS = 10_000  # for an answer, of a test that a debugger may hold up

# Carries lines between tarvix-sim, which starts this, and the socket of a device that lives elsewhere.
_RELAY = """
import os, socket, sys, threading
link = socket.socket(socket.AF_UNIX)
link.connect(sys.argv[1])
def copy(source, write):
    while True:
        data = os.read(source, 65536)
        if not data:
            os._exit(0)
        write(data)
threading.Thread(target=copy, args=(0, link.sendall)).start()
with open(1, "wb", 0, closefd=False) as out:
    copy(link.fileno(), out.write)
"""


class Device:
    """Base class of devices: override what your device does. Its methods run on a thread of its own.

    An exception that leaves a method is printed; the device then acknowledges nothing until the next power cycle.

    :param name: what the board's wires call it
    :param interrupt_active: level of its interrupt line while it raises one, ``low`` or ``high``
    """

    def __init__(self, name: Optional[str] = None, interrupt_active: str = "low") -> None:
        self.name = name
        self.interrupt_active = interrupt_active
        self._lock = threading.Lock()
        self._out: Optional[Callable[[str], object]] = None

    def write(self, data: bytes) -> Optional[bool]:
        """Takes an I2C write; without data only the address was sent. False does not acknowledge."""

    def read(self, count: int) -> Optional[bytes]:
        """What an I2C read of ``count`` bytes gets; what is missing is 0xFF. None does not acknowledge."""
        return b""

    def exchange(self, data: bytes) -> bytes:
        """What comes back while an SPI transfer clocks ``data`` out; what is missing is 0xFF."""
        return b"\xff" * len(data)

    def receive(self, data: bytes) -> None:
        """Takes what the adapter sent on the UART."""

    def reset(self) -> None:
        """The reset line was pulled, or (unless `power_cycle` does something else) the supply went and came back."""

    def power_cycle(self) -> None:
        """The supply went and came back."""
        self.reset()

    def interrupt(self, active: bool) -> None:
        """Raises the interrupt line, or no longer. Any thread may call it."""
        self._say({"interrupt": active})

    def send(self, data: bytes) -> None:
        """Sends on the UART. Any thread may call it."""
        self._say({"send": list(data)})

    def run(self) -> None:
        """Serves tarvix-sim, which started this program, until it ends."""

        def out(line: str) -> None:
            sys.stdout.write(line)
            sys.stdout.flush()

        self.serve(sys.stdin, out)

    def serve(self, requests: Iterable[str], out: Callable[[str], object]) -> None:
        """Answers requests, a line of JSON each, until there are no more."""
        self._out = out
        try:
            for line in requests:
                self._say(self._answer(json.loads(line)))
        finally:
            self._out = None

    def _answer(self, request: Dict[str, Any]) -> Dict[str, Any]:
        do, data = request["do"], bytes(request.get("bytes", b""))
        if do == "hello":
            return {"version": _VERSION}
        if do == "write":
            return {"ack": self.write(data) is not False}
        if do == "read":
            found = self.read(request["count"])
            return {"ack": False} if found is None else {"bytes": list(found[: request["count"]])}
        if do == "exchange":
            return {"bytes": list(self.exchange(data).ljust(len(data), b"\xff")[: len(data)])}
        if do == "receive":
            self.receive(data)
        elif do == "reset":
            self.reset()
        elif do == "power_cycle":
            self.power_cycle()
        return {"ack": True}

    def _say(self, message: Dict[str, Any]) -> None:
        with self._lock:
            if self._out is not None:  # else nobody is there to hear it
                self._out(json.dumps(message) + "\n")


class DeviceHost:
    """Lets tarvix-sim reach a device of this process, at a socket."""

    def __init__(self, device: Device, path: str) -> None:
        self._device = device
        self._path = path
        self._listener = socket.socket(socket.AF_UNIX)
        self._listener.bind(path)
        self._listener.listen()
        threading.Thread(target=self._accept, name=f"tarvix device {device.name or ''}", daemon=True).start()

    def entry(self) -> Dict[str, Any]:
        """The device in a board file."""
        named = {"name": self._device.name} if self._device.name else {}
        command = [sys.executable, "-I", "-S", "-c", _RELAY, self._path]
        return {"type": "process", **named, "command": command, "timeout_ms": _PATIENCE_MS,
                "interrupt": {"active": self._device.interrupt_active}}

    def close(self) -> None:
        """Ends it."""
        with contextlib.suppress(OSError):
            self._listener.shutdown(socket.SHUT_RDWR)
        self._listener.close()

    def _accept(self) -> None:
        while True:
            try:
                connection, _ = self._listener.accept()
            except OSError:  # closed
                return
            with connection, connection.makefile("r", encoding="ascii") as lines:
                try:
                    self._device.serve(lines, lambda line: connection.sendall(line.encode("ascii")))
                except OSError:  # the other end has gone
                    pass
                except Exception:  # of the user's device: to the bench it is a program that ended
                    traceback.print_exc()
