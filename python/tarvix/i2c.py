"""The I2C ports."""

from __future__ import annotations

import ctypes
from dataclasses import dataclass
from typing import List, Optional, Sequence

from . import _flat
from ._session import Data, Register, Session, address_of, buffer, bytes_of, check, register_of
from .errors import InvalidArgument, Nack

MOST_IN_FLIGHT = 63


@dataclass(frozen=True)
class I2cTransfer:
    """One transfer of `I2cPort.transfer_all`: an `I2cRead` or an `I2cWrite`."""

    address: int


@dataclass(frozen=True)
class I2cRead(I2cTransfer):
    """A read, with the arguments of `I2cPort.read`."""

    length: int
    register: Optional[Register] = None
    register_size: int = 1
    flag: bool = False

    def __str__(self) -> str:
        return f"reading {self.length} bytes from I2C target {self.address:#04x}"


@dataclass(frozen=True)
class I2cWrite(I2cTransfer):
    """A write, with the arguments of `I2cPort.write`."""

    data: Data
    register: Optional[Register] = None
    register_size: int = 1
    flag: bool = False

    def __str__(self) -> str:
        return f"writing to I2C target {self.address:#04x}"


class I2cPort:
    """One I2C port, the controller of its bus: ``adapter.i2c[0]``. Its lines work at the shared rail's voltage.

    Addresses are 7-bit and unshifted. ``register`` goes out before the data, as ``register_size`` bytes with the most
    significant first, or as the 0 to 4 bytes that it is. ``flag`` is a transfer option that the firmware defines.
    """

    def __init__(self, session: Session, index: int) -> None:
        self._session = session
        self.index = index
        """Number of the port."""

    def configure(self, frequency: int = 400_000, option: int = 0) -> None:
        """Sets the port up. Nothing appears on the bus.

        :param frequency: clock of SCL in hertz
        :param option: defined by the firmware
        """
        self._settings(self._session.flat.I2cControllerInit, frequency, option)

    def set_parameters(self, frequency: int, option: int = 0) -> None:
        """Changes the settings of a port that is set up; arguments as for `configure`."""
        self._settings(self._session.flat.I2cSetParameters, frequency, option)

    def set_pull_ups(self, value: int) -> None:
        """Selects the pull-up resistors. Which resistance a value stands for is defined by the firmware."""
        self._session.run(
            self._session.flat.I2cSetPullUpResistors, "setting the pull-ups of I2C port {} to {}",
            self.index, check("value", value, 0xFF),
        )

    def read(
        self, address: int, length: int, register: Optional[Register] = None, *, register_size: int = 1,
        flag: bool = False,
    ) -> bytes:
        """Reads ``length`` bytes, 0 to 65,535.

        On the bus: START, address+W, register, repeated START, address+R, data, STOP; without a register: START,
        address+R, data, STOP.
        """
        sent = register_of(register, register_size)
        data = buffer(length)
        self._session.run(
            self._session.flat.I2cRead, "reading {4} bytes from I2C target {1:#04x} on port {0}",
            self.index, address_of(address), sent, len(sent), length, data, flag,
        )
        return bytes(data)

    def write(
        self, address: int, data: Data, register: Optional[Register] = None, *, register_size: int = 1,
        flag: bool = False,
    ) -> None:
        """Writes up to 65,535 bytes.

        On the bus: START, address+W, register, data, STOP. With neither register nor data only the address goes out.
        """
        sent = register_of(register, register_size)
        taken = bytes_of(data)
        self._session.run(
            self._session.flat.I2cWrite, "writing {5} bytes to I2C target {1:#04x} on port {0}",
            self.index, address_of(address), sent, len(sent), taken, len(taken), flag,
        )

    def transfer_all(self, transfers: Sequence[I2cTransfer], *, in_flight: int = 1) -> List[bytes]:
        """Does many transfers in their order: the pages of a memory, a list of registers.

        Each begins and ends on the bus like a `read` or `write`. With more than one in flight the next requests are
        sent before the answer to the first is there, which saves the time that they spend on USB. How many an adapter
        takes is a matter of its firmware; their answers together should fit in the 63 reports that Linux keeps.

        :param in_flight: how many may be unanswered, 1 to 63
        :returns: what each transfer read, in their order; nothing for a write
        :raises TarvixError: for the first that fails; its `transfer` says which that is, counted from 0. Those before
            it have succeeded, and up to ``in_flight - 1`` behind it may have been carried out
        """
        check("in_flight", in_flight, MOST_IN_FLIGHT, 1)
        records = (_flat.I2cTransfer * len(transfers))()
        data = [_fill(record, transfer) for record, transfer in zip(records, transfers)]
        completed = ctypes.c_size_t()
        status = self._session.flat.I2cTransfers(
            self._session.handle, self.index, records, len(transfers), in_flight, completed
        )
        if status:
            number = completed.value
            tried = f": {transfers[number]}" if number < len(transfers) else ""
            error = self._session.error(status, f"transfer {number} on I2C port {self.index}{tried}")
            error.transfer = number
            raise error
        return [bytes(each) if record.readData else b"" for record, each in zip(records, data)]

    def probe(self, address: int) -> bool:
        """Whether a target acknowledges its address."""
        try:
            self.write(address, b"")
        except Nack:
            return False
        return True

    def scan(self, *, flag: bool = False) -> List[int]:
        """The addresses that acknowledge, in rising order. Which are tried is defined by the firmware."""
        found = buffer(0xFF)
        one, two = ctypes.c_uint8(), ctypes.c_uint8()
        self._session.run(
            self._session.flat.I2cScanBus, "scanning I2C port {4}", found, len(found), one, two, self.index, flag
        )
        long = bytes(found[one.value : one.value + 2 * two.value])
        return [*found[: one.value], *(int.from_bytes(long[i : i + 2], "little") for i in range(0, len(long), 2))]

    def _settings(self, function: object, frequency: int, option: int) -> None:
        self._session.run(
            function, "setting I2C port {} to {} Hz",
            self.index, check("frequency", frequency, 0xFFFFFFFF), check("option", option, 0xFF),
        )


def _fill(record: _flat.I2cTransfer, transfer: I2cTransfer) -> ctypes.Array[ctypes.c_uint8]:
    """Describes the transfer in the record; the bytes that this points to."""
    if not isinstance(transfer, (I2cRead, I2cWrite)):
        raise InvalidArgument(f"transfers must be I2cRead or I2cWrite, not {transfer!r}")
    register = register_of(transfer.register, transfer.register_size)
    record.targetAddress = address_of(transfer.address)
    record.registerAddressLength = len(register)
    record.registerAddress[: len(register)] = register
    record.flag = transfer.flag
    if isinstance(transfer, I2cRead):
        data = buffer(transfer.length)
        record.readData = ctypes.addressof(data)
    else:
        sent = bytes_of(transfer.data)
        data = (ctypes.c_uint8 * len(sent)).from_buffer_copy(sent)
        record.writeData = ctypes.addressof(data)
    record.length = len(data)
    return data
