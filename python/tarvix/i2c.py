"""The I2C ports."""

from __future__ import annotations

import ctypes
from typing import List, Optional

from ._session import Data, Register, Session, address_of, buffer, bytes_of, check, register_of
from .errors import Nack


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
