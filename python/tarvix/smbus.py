"""Stands in for smbus2: drivers written for its ``SMBus`` run on an adapter's I2C port.

>>> bus = tarvix.smbus.SMBus(adapter, 0)
>>> bus.read_byte_data(0x48, 0)
23

Method names, arguments and results are smbus2's, errors are `OSError` with the number that Linux gives. Differences:
there is no packet error checking; `SMBus.i2c_rdwr` takes messages that one transfer of the adapter can carry; blocks
whose length the device tells are read at their full length and cut.
"""

from __future__ import annotations

import ctypes
import errno
from enum import IntFlag
from types import TracebackType
from typing import Any, Iterable, Iterator, List, NoReturn, Optional, Sequence, Type, TypeVar, Union

from .adapter import Adapter
from .errors import AdapterClosed, AdapterLost, InvalidArgument, Nack, TarvixError, Timeout

__all__ = ["I2cFunc", "SMBus", "i2c_msg"]

S = TypeVar("S", bound="SMBus")

_READ = 0x0001  # I2C_M_RD
_BLOCK = 32  # bytes of an SMBus block at most
_LONGEST_REGISTER = 4

_NUMBERS = (
    (Nack, errno.EREMOTEIO),
    (Timeout, errno.ETIMEDOUT),
    (AdapterLost, errno.ENODEV),
    (AdapterClosed, errno.EBADF),
    (InvalidArgument, errno.EINVAL),
    (TarvixError, errno.EIO),
)


class I2cFunc(IntFlag):
    """What ``SMBus.funcs`` tells that the bus can do; numbers as in Linux."""

    I2C = 0x00000001
    SMBUS_PEC = 0x00000008
    SMBUS_BLOCK_PROC_CALL = 0x00008000
    SMBUS_QUICK = 0x00010000
    SMBUS_BYTE = 0x00060000
    SMBUS_BYTE_DATA = 0x00180000
    SMBUS_WORD_DATA = 0x00600000
    SMBUS_PROC_CALL = 0x00800000
    SMBUS_BLOCK_DATA = 0x03000000
    SMBUS_I2C_BLOCK = 0x0C000000


_FUNCS = I2cFunc(sum(set(I2cFunc.__members__.values()) - {I2cFunc.SMBUS_PEC}))


class i2c_msg(ctypes.Structure):
    """One message of `SMBus.i2c_rdwr`, laid out as Linux and smbus2 have it."""

    _fields_ = [
        ("addr", ctypes.c_uint16),
        ("flags", ctypes.c_uint16),
        ("len", ctypes.c_uint16),
        ("buf", ctypes.POINTER(ctypes.c_char)),
    ]

    @staticmethod
    def read(address: int, length: int) -> i2c_msg:
        """A message that reads ``length`` bytes."""
        return i2c_msg(address, _READ, length, ctypes.create_string_buffer(length))

    @staticmethod
    def write(address: int, buf: Union[str, Iterable[int]]) -> i2c_msg:
        """A message that writes."""
        data = bytes(map(ord, buf)) if isinstance(buf, str) else bytes(buf)
        return i2c_msg(address, 0, len(data), ctypes.create_string_buffer(data, len(data)))

    def __bytes__(self) -> bytes:
        return ctypes.string_at(self.buf, self.len)

    def __iter__(self) -> Iterator[int]:
        return iter(bytes(self))

    def __len__(self) -> int:
        return int(self.len)

    def __repr__(self) -> str:
        return f"i2c_msg({self.addr},{self.flags},{bytes(self)!r})"


class SMBus:
    """One I2C port of an adapter, with smbus2's methods. ``force`` changes nothing here.

    :param adapter: stays open when this is closed
    :param bus: index of the port
    :param frequency: clock in hertz that the port is set to; None leaves it as it is
    """

    def __init__(self, adapter: Adapter, bus: int = 0, *, frequency: Optional[int] = 100_000) -> None:
        if not 0 <= bus < len(adapter.i2c):
            raise OSError(errno.ENODEV, f"the adapter has no I2C port {bus}: choose 0 to {len(adapter.i2c) - 1}")
        self._port = adapter.i2c[bus]
        self.funcs = _FUNCS
        """What the bus can do."""
        if frequency is not None:
            try:
                self._port.configure(frequency)
            except TarvixError as error:
                _raise(error)

    @property
    def pec(self) -> int:
        """Packet error checking: always off."""
        return 0

    @pec.setter
    def pec(self, enable: int) -> None:
        self.enable_pec(bool(enable))

    def enable_pec(self, enable: bool = True) -> None:
        """Refuses packet error checking, which the adapter does not have."""
        if enable:
            raise OSError(errno.EOPNOTSUPP, "the adapter has no packet error checking (PEC): leave it off")

    def open(self, bus: object = None) -> None:
        """Does nothing: the adapter is open."""

    def close(self) -> None:
        """Does nothing: the adapter stays open."""

    def write_quick(self, i2c_addr: int, force: Optional[bool] = None) -> None:
        """Addresses a device for writing and sends nothing."""
        self._write(i2c_addr, b"")

    def read_byte(self, i2c_addr: int, force: Optional[bool] = None) -> int:
        """Reads one byte."""
        return self._read(i2c_addr, 1)[0]

    def write_byte(self, i2c_addr: int, value: int, force: Optional[bool] = None) -> None:
        """Writes one byte."""
        self._write(i2c_addr, _byte(value))

    def read_byte_data(self, i2c_addr: int, register: int, force: Optional[bool] = None) -> int:
        """Reads one byte of a register."""
        return self._read(i2c_addr, 1, _byte(register))[0]

    def write_byte_data(self, i2c_addr: int, register: int, value: int, force: Optional[bool] = None) -> None:
        """Writes one byte to a register."""
        self._write(i2c_addr, _byte(register) + _byte(value))

    def read_word_data(self, i2c_addr: int, register: int, force: Optional[bool] = None) -> int:
        """Reads two bytes of a register, the low one first."""
        return int.from_bytes(self._read(i2c_addr, 2, _byte(register)), "little")

    def write_word_data(self, i2c_addr: int, register: int, value: int, force: Optional[bool] = None) -> None:
        """Writes two bytes to a register, the low one first."""
        self._write(i2c_addr, _byte(register) + _word(value))

    def process_call(self, i2c_addr: int, register: int, value: int, force: Optional[bool] = None) -> int:
        """Writes two bytes to a register and reads two, the low one first, in one transfer."""
        return int.from_bytes(self._read(i2c_addr, 2, _byte(register) + _word(value)), "little")

    def read_block_data(self, i2c_addr: int, register: int, force: Optional[bool] = None) -> List[int]:
        """Reads a block of up to 32 bytes, whose length comes first."""
        return _block(self._read(i2c_addr, 1 + _BLOCK, _byte(register)))

    def write_block_data(
        self, i2c_addr: int, register: int, data: Sequence[int], force: Optional[bool] = None
    ) -> None:
        """Writes a block of up to 32 bytes, its length first."""
        self._write(i2c_addr, _byte(register) + _counted(data))

    def block_process_call(
        self, i2c_addr: int, register: int, data: Sequence[int], force: Optional[bool] = None
    ) -> List[int]:
        """Writes a block of up to 2 bytes and reads one of up to 32, in one transfer."""
        return _block(self._read(i2c_addr, 1 + _BLOCK, _byte(register) + _counted(data)))

    def read_i2c_block_data(
        self, i2c_addr: int, register: int, length: int, force: Optional[bool] = None
    ) -> List[int]:
        """Reads ``length`` bytes, at most 32, of a register."""
        if not 0 <= length <= _BLOCK:
            raise ValueError(f"length must be 0 to {_BLOCK}, not {length}")
        return list(self._read(i2c_addr, length, _byte(register)))

    def write_i2c_block_data(
        self, i2c_addr: int, register: int, data: Sequence[int], force: Optional[bool] = None
    ) -> None:
        """Writes up to 32 bytes to a register."""
        _counted(data)
        self._write(i2c_addr, _byte(register) + bytes(data))

    def i2c_rdwr(self, *i2c_msgs: Any) -> None:
        """Carries messages out, ours or smbus2's: one, or one that writes up to 4 bytes and one that reads."""
        first, *others = i2c_msgs or (None,)
        if first is None:
            return
        if not others:
            if first.flags & _READ:
                _fill(first, self._read(first.addr, first.len))
            else:
                self._write(first.addr, bytes(first))
        elif len(others) == 1 and _are_one_transfer(first, others[0]):
            _fill(others[0], self._read(first.addr, others[0].len, bytes(first)))
        else:
            raise OSError(
                errno.EOPNOTSUPP,
                "the adapter joins only one message that writes up to 4 bytes and one that reads from the same "
                "address: send the others by themselves",
            )

    def _read(self, address: int, length: int, register: bytes = b"") -> bytes:
        try:
            return self._port.read(address, length, register)
        except TarvixError as error:
            _raise(error)

    def _write(self, address: int, data: bytes) -> None:
        try:
            self._port.write(address, data)
        except TarvixError as error:
            _raise(error)

    def __enter__(self: S) -> S:
        return self

    def __exit__(
        self, kind: Optional[Type[BaseException]], error: Optional[BaseException], trace: Optional[TracebackType]
    ) -> None:
        self.close()


def _raise(error: TarvixError) -> NoReturn:
    number = next(number for kind, number in _NUMBERS if isinstance(error, kind))
    raise OSError(number, str(error)) from error


def _byte(value: int) -> bytes:
    return bytes([value & 0xFF])  # as ctypes cuts it in smbus2


def _word(value: int) -> bytes:
    return (value & 0xFFFF).to_bytes(2, "little")


def _counted(data: Sequence[int]) -> bytes:
    if len(data) > _BLOCK:
        raise ValueError(f"data must be at most {_BLOCK} bytes, not {len(data)}")
    return bytes([len(data), *data])


def _block(data: bytes) -> List[int]:
    if data[0] > _BLOCK:
        raise OSError(errno.EPROTO, f"the device announced a block of {data[0]} bytes: 32 are the most")
    return list(data[1 : 1 + data[0]])


def _are_one_transfer(first: Any, second: Any) -> bool:
    writes_then_reads = not first.flags & _READ and second.flags & _READ
    return bool(writes_then_reads and first.addr == second.addr and first.len <= _LONGEST_REGISTER)


def _fill(message: Any, data: bytes) -> None:
    ctypes.memmove(message.buf, data, len(data))
