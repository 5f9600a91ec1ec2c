"""The supply rails."""

from __future__ import annotations

import ctypes
from dataclasses import dataclass

from ._session import Session, check


@dataclass(frozen=True)
class I3cRailReading:
    """Both readings of the I3C rail, in the adapter's order. What each measures is defined by the firmware."""

    first_millivolts: int
    second_millivolts: int


class SharedRail:
    """The rail of I2C, SPI, UART and GPIO: ``adapter.rails.shared``."""

    def __init__(self, session: Session) -> None:
        self._session = session

    def set_millivolts(self, voltage: int, *, flag: bool = False) -> None:
        """Sets the voltage that the adapter generates. ``flag`` is defined by the firmware."""
        self._session.run(
            self._session.flat.GpioSetVoltage, "setting the shared rail to {} mV",
            check("voltage", voltage, 0xFFFF), flag,
        )

    def use_external(self, external: bool = True) -> None:
        """Takes the supply from outside, or generates it."""
        self._session.run(self._session.flat.GpioUseExternalVoltage, "switching the shared rail's supply", external)

    def read_millivolts(self) -> int:
        """The voltage of the rail, read back."""
        voltage = ctypes.c_uint16()
        self._session.run(self._session.flat.GpioGetVoltage, "reading the shared rail's voltage", voltage)
        return voltage.value


class I3cRail:
    """The rail of I3C: ``adapter.rails.i3c``."""

    def __init__(self, session: Session) -> None:
        self._session = session

    def set_millivolts(self, voltage: int) -> None:
        """Sets the voltage that the adapter generates."""
        self._session.run(
            self._session.flat.I3cSetBusVoltage, "setting the I3C rail to {} mV", check("voltage", voltage, 0xFFFF)
        )

    def use_external(self, external: bool = True) -> None:
        """Takes the supply from outside, or generates it."""
        self._session.run(self._session.flat.I3cUseExternalVoltage, "switching the I3C rail's supply", external)

    def read_millivolts(self) -> I3cRailReading:
        """The rail, read back."""
        first, second = ctypes.c_uint16(), ctypes.c_uint16()
        self._session.run(self._session.flat.I3cGetBusVoltage, "reading the I3C rail's voltage", first, second)
        return I3cRailReading(first.value, second.value)


class Rails:
    """The supply rails: ``adapter.rails``."""

    def __init__(self, session: Session) -> None:
        self.shared = SharedRail(session)
        """The rail of I2C, SPI, UART and GPIO."""
        self.i3c = I3cRail(session)
        """The rail of I3C."""
