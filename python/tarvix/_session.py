"""One session with one adapter: what every family runs its commands on."""

from __future__ import annotations

import atexit
import ctypes
import os
import weakref
from enum import IntEnum
from typing import Any, Iterable, Optional, Type, TypeVar, Union

from . import _flat
from .errors import BadAnswer, InvalidArgument, TarvixError, command_error, open_error

LONGEST = 0xFFFF
"""Bytes that one transfer carries at most."""

Data = Union[bytes, bytearray, memoryview, Iterable[int]]
"""Bytes to send: bytes-like, or numbers from 0 to 255."""

Register = Union[int, bytes]
"""Register address: a number, or its 0 to 4 bytes in the order in which they go out."""

EnumType = TypeVar("EnumType", bound=IntEnum)

_open_sessions: weakref.WeakSet[Session] = weakref.WeakSet()


class Session:
    """Owns a handle. Any thread may use it; commands run one after another."""

    def __init__(self, serial: str, path: str, timeout: Optional[float], exclusive: bool) -> None:
        self.flat = _flat.functions()
        self.serial = serial
        self.path = path
        self._flags = 0 if exclusive else _flat.OPEN_SHARED
        self.handle = ctypes.c_void_p(self.flat.Create(milliseconds(timeout)))
        # Destroyed when nothing refers to it any more, so never under a call that still runs; not at exit, where
        # threads may be in one.
        weakref.finalize(self, self.flat.Destroy, self.handle).atexit = False

    def open(self) -> None:
        """Opens the adapter, or the one that was lost. Keeps one that is open.

        :raises OpenError: with the reason
        """
        result = _flat.OpenResult()
        status = self.flat.Open(self.handle, os.fsencode(self.path), self.serial.encode(), self._flags, result)
        if status:
            raise open_error(status, result.message.decode(errors="replace"), result.holder)
        self.path = os.fsdecode(result.path)
        _open_sessions.add(self)

    def close(self) -> None:
        """Ends the session; a call that waits in another thread ends with `AdapterClosed`."""
        _open_sessions.discard(self)
        self.flat.Disconnect(self.handle)

    @property
    def is_open(self) -> bool:
        """Whether commands have an adapter to run on."""
        return bool(self.flat.IsConnected(self.handle))

    def run(self, function: Any, what: str, *arguments: Any) -> None:
        """Runs a command. ``what`` is tried: a format for ``arguments``, used for the message of an error."""
        status = function(self.handle, *arguments)
        if status:
            raise self.error(status, what.format(*arguments))

    def error(self, status: int, what: str) -> TarvixError:
        """The exception for a command's status."""
        return command_error(status, f"adapter {self.serial or self.path}: {what}")


def _close_all() -> None:
    for session in list(_open_sessions):
        session.close()


# Ends the calls that other threads wait in, which would hold the interpreter up, and lets go of the adapters.
atexit.register(_close_all)


def milliseconds(timeout: Optional[float]) -> int:
    """What the library takes for a timeout in seconds, None for none."""
    if timeout is None:
        return -1
    if not 0 <= timeout <= 2_000_000:
        raise InvalidArgument(f"timeout must be 0 to 2,000,000 seconds or None, not {timeout}")
    return round(timeout * 1000)


def check(name: str, value: int, highest: int, lowest: int = 0) -> int:
    """The number, if it is in range: ctypes would cut it to its width without a word."""
    if lowest <= value <= highest:
        return value
    raise InvalidArgument(f"{name} must be {lowest:#x} to {highest:#x}, not {value:#x}")


def address_of(value: int) -> int:
    """A 7-bit address, unshifted."""
    return check("address", value, 0x7F)


def bytes_of(data: Data) -> bytes:
    """What goes out in one transfer."""
    if isinstance(data, (int, str)):
        raise InvalidArgument(f"data must be bytes or numbers from 0 to 255, not {data!r}: write {example_of(data)}")
    try:
        taken = bytes(data)
    except (TypeError, ValueError) as error:
        raise InvalidArgument(f"data must be bytes or numbers from 0 to 255: {error}") from None
    if len(taken) > LONGEST:
        raise InvalidArgument(f"data must be at most {LONGEST} bytes, not {len(taken)}: send it in pieces")
    return taken


def example_of(data: Union[int, str]) -> str:
    """How a single number or a text would be right as data."""
    return f"[{data}]" if isinstance(data, int) else f"{data!r}.encode()"


def register_of(register: Optional[Register], size: int) -> bytes:
    """The bytes of a register address, most significant first."""
    if register is None:
        return b""
    if isinstance(register, int):
        check("register_size", size, 4, 1)
        check("register", register, (1 << 8 * size) - 1)
        return register.to_bytes(size, "big")
    if len(register) > 4:
        raise InvalidArgument(f"register must be at most 4 bytes, not {len(register)}")
    return bytes(register)


def member(kind: Type[EnumType], value: int) -> EnumType:
    """The member that an adapter answered."""
    try:
        return kind(value)
    except ValueError:
        raise BadAnswer(f"the adapter answered {value:#x}, which is no {kind.__name__}: update this package") from None


def buffer(length: int) -> ctypes.Array[ctypes.c_uint8]:
    """Room for as many bytes."""
    return (ctypes.c_uint8 * check("length", length, LONGEST))()
