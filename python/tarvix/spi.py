"""The SPI controller."""

from __future__ import annotations

from typing import Optional

from ._session import Data, Session, buffer, bytes_of, check
from .enums import SpiBitOrder, SpiChipSelect, SpiChipSelectPolarity, SpiDataWidth, SpiMode
from .errors import InvalidArgument


class Spi:
    """The SPI controller: ``adapter.spi``. Its lines work at the shared rail's voltage."""

    def __init__(self, session: Session) -> None:
        self._session = session

    def configure(
        self,
        frequency: int = 1_000_000,
        mode: SpiMode = SpiMode.MODE_0,
        chip_select: SpiChipSelect = SpiChipSelect.SELECT_0,
        *,
        bit_order: SpiBitOrder = SpiBitOrder.MSB_FIRST,
        data_width: SpiDataWidth = SpiDataWidth.BITS_8,
        polarity: SpiChipSelectPolarity = SpiChipSelectPolarity.ACTIVE_LOW,
    ) -> None:
        """Sets the controller up. Nothing is clocked.

        :param frequency: clock of SCK in hertz
        """
        self._session.run(
            self._session.flat.SpiControllerInit, "setting SPI to {5} Hz, mode {1}, select {3}",
            bit_order, mode, data_width, chip_select, polarity, check("frequency", frequency, 0xFFFFFFFF),
        )

    def set_parameters(
        self,
        frequency: int,
        mode: SpiMode = SpiMode.MODE_0,
        chip_select: SpiChipSelect = SpiChipSelect.SELECT_0,
        *,
        bit_order: SpiBitOrder = SpiBitOrder.MSB_FIRST,
        data_width: SpiDataWidth = SpiDataWidth.BITS_8,
        polarity: SpiChipSelectPolarity = SpiChipSelectPolarity.ACTIVE_LOW,
    ) -> None:
        """Changes the settings of a controller that is set up, such as the chip select."""
        self._session.run(
            self._session.flat.SpiSetParameters, "changing SPI to {5} Hz, mode {1}, select {3}",
            bit_order, mode, data_width, chip_select, polarity, check("frequency", frequency, 0xFFFFFFFF),
        )

    def transfer(self, data: Data, length: Optional[int] = None) -> bytes:
        """Clocks ``data`` out while as many bytes come in, in one transaction.

        :param length: bytes to clock, at least those of ``data``; what goes out after them is defined by the firmware
        """
        sent = bytes_of(data)
        clocked = len(sent) if length is None else length
        if clocked < len(sent):
            raise InvalidArgument(f"length must be at least the {len(sent)} bytes of data, not {clocked}")
        received = buffer(clocked)
        self._session.run(
            self._session.flat.SpiTransfer, "transferring {3} bytes on SPI", sent, len(sent), received, clocked
        )
        return bytes(received)

    def write(self, data: Data) -> None:
        """Clocks ``data`` out; what comes in is dropped."""
        sent = bytes_of(data)
        self._session.run(
            self._session.flat.SpiTransfer, "writing {1} bytes on SPI", sent, len(sent), None, len(sent)
        )

    def read(self, length: int) -> bytes:
        """Clocks ``length`` bytes in, 0 to 65,535."""
        return self.transfer(b"", length)
