"""The UART."""

from __future__ import annotations

import contextlib
from types import TracebackType
from typing import Callable, Iterator, Optional, Type, TypeVar

from ._session import LONGEST, Data, Session, bytes_of
from .enums import UartBaudRate, UartDataSize, UartHwHandshake, UartParity, UartStopBit
from .errors import AdapterClosed, AdapterLost, InvalidArgument
from .notifications import Dispatcher, Inbox, Notification, UartData

U = TypeVar("U", bound="Uart")

MOST_WAITING = 1 << 20
"""Received bytes that are kept; the oldest go first."""


class ReceivedBytes(Inbox):
    """What the UART received and nobody has read yet."""

    def __init__(self) -> None:
        super().__init__()
        self._bytes = bytearray()
        self.dropped = 0

    def deliver(self, notification: Notification) -> None:
        """Takes received bytes."""
        if isinstance(notification, UartData):
            with self.changed:
                self._bytes += notification.data
                excess = max(len(self._bytes) - MOST_WAITING, 0)
                del self._bytes[:excess]
                self.dropped += excess
            self.wake()

    def __len__(self) -> int:
        return len(self._bytes)

    def upto(self, size: int, end: Optional[bytes]) -> Callable[[], Optional[bytes]]:
        """Looks for ``size`` bytes or, with ``end``, for fewer that end so."""

        def look() -> Optional[bytes]:
            with self.changed:
                found = self._bytes.find(end) + len(end) if end and end in self._bytes else 0
                count = min(found or len(self._bytes), size)
                return self._take(count) if found or count == size else None

        return look

    def rest(self, size: int) -> bytes:
        """Up to ``size`` bytes that are there."""
        with self.changed:
            return self._take(min(size, len(self._bytes)))

    def _take(self, count: int) -> bytes:
        taken = bytes(self._bytes[:count])
        del self._bytes[:count]
        return taken


class Uart:
    """The UART, file-like: ``adapter.uart``. Its lines work at the shared rail's voltage.

    `configure` opens it. From then on received bytes are kept until they are read, at most 1 MiB.
    """

    def __init__(self, session: Session, notifications: Dispatcher) -> None:
        self._session = session
        self._notifications = notifications
        self.received = ReceivedBytes()
        """What waits to be read; changes with each `configure`."""
        self._stop: Callable[[], None] = lambda: None
        self.timeout: Optional[float] = 2.0
        """Seconds that `read` and `readline` wait; None without limit."""

    def configure(
        self,
        baud_rate: int = 115_200,
        *,
        parity: UartParity = UartParity.NONE,
        data_size: UartDataSize = UartDataSize.BITS_8,
        stop_bits: UartStopBit = UartStopBit.ONE,
        handshake: UartHwHandshake = UartHwHandshake.DISABLED,
    ) -> None:
        """Opens the UART; what was received before is gone.

        :param baud_rate: bits per second, one of those in `UartBaudRate`
        """
        settings = (baud_rate_of(baud_rate), handshake, parity, data_size, stop_bits)
        self._stop()
        self.received = ReceivedBytes()
        self._stop = self._notifications.add(self.received.deliver, self.received)
        self._session.run(self._session.flat.UartInit, f"opening the UART at {baud_rate} baud", *settings)

    def set_parameters(
        self,
        baud_rate: int = 115_200,
        *,
        parity: UartParity = UartParity.NONE,
        data_size: UartDataSize = UartDataSize.BITS_8,
        stop_bits: UartStopBit = UartStopBit.ONE,
        handshake: UartHwHandshake = UartHwHandshake.DISABLED,
    ) -> None:
        """Changes the settings of the open UART."""
        settings = (baud_rate_of(baud_rate), handshake, parity, data_size, stop_bits)
        self._session.run(self._session.flat.UartSetParameters, f"setting the UART to {baud_rate} baud", *settings)

    def close(self) -> None:
        """Closes the UART. Whoever waits for bytes gets `AdapterClosed`."""
        self._stop()
        self.received.end(AdapterClosed("the UART is closed: call configure()"))
        self._session.run(self._session.flat.UartDeinit, "closing the UART")

    def write(self, data: Data) -> int:
        """Transmits up to 65,535 bytes; returns their number."""
        sent = bytes_of(data)
        self._session.run(self._session.flat.UartSendMessage, "sending {1} bytes on the UART", sent, len(sent))
        return len(sent)

    def read(self, size: int = 1) -> bytes:
        """``size`` bytes, or what there is after `timeout` seconds, which may be nothing."""
        return self._read(size, None)

    def readline(self, size: int = LONGEST) -> bytes:
        """Bytes up to and with the next newline, or what there is after `timeout` seconds."""
        return self._read(size, b"\n")

    def read_until(self, end: bytes, size: int = LONGEST) -> bytes:
        """Bytes up to and with ``end``, or what there is after `timeout` seconds."""
        if not end:
            raise InvalidArgument("end must hold at least one byte")
        return self._read(size, end)

    @property
    def in_waiting(self) -> int:
        """Received bytes that wait to be read."""
        return len(self.received)

    @property
    def dropped(self) -> int:
        """Received bytes that were dropped because too many waited."""
        return self.received.dropped

    def reset_input(self) -> None:
        """Drops the bytes that wait to be read."""
        self.received.rest(MOST_WAITING)

    def __iter__(self) -> Iterator[bytes]:
        """Lines, until none comes in time."""
        while True:
            line = self.readline()
            if not line:
                return
            yield line

    def __enter__(self: U) -> U:
        return self

    def __exit__(
        self, kind: Optional[Type[BaseException]], error: Optional[BaseException], trace: Optional[TracebackType]
    ) -> None:
        with contextlib.suppress(AdapterClosed, AdapterLost):
            self.close()

    def _read(self, size: int, end: Optional[bytes]) -> bytes:
        received = self.received
        found = received.wait(received.upto(size, end), self.timeout) if size > 0 else b""
        return received.rest(size) if found is None else found


def baud_rate_of(rate: int) -> UartBaudRate:
    """The member for a number of bits per second, or the member itself."""
    if isinstance(rate, UartBaudRate):
        return rate
    try:
        return UartBaudRate[f"BAUD_{rate}"]
    except KeyError:
        rates = ", ".join(each.name[len("BAUD_") :] for each in UartBaudRate)
        raise InvalidArgument(f"baud_rate must be one of {rates}, not {rate}") from None
