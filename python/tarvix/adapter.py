"""Adapters: which there are, and a session with one."""

from __future__ import annotations

import ctypes
import time
import weakref
from dataclasses import dataclass
from types import TracebackType
from typing import Callable, List, Optional, Tuple, Type, TypeVar

from . import _flat
from ._session import Session, check
from .errors import OpenError
from .gpio import Gpio
from .i2c import I2cPort
from .i3c import I3c
from .notifications import Dispatcher, Notification, Subscription
from .rails import Rails
from .spi import Spi
from .uart import Uart

A = TypeVar("A", bound="Adapter")

I2C_PORTS = 2
_LONGEST_STRING = 254
_PAUSE = 0.05  # seconds between two looks for an adapter that is away


@dataclass(frozen=True)
class AdapterInfo:
    """One attached adapter. Texts come from the device: escape control characters before you print them."""

    path: str
    """Device node, such as ``/dev/hidraw3``."""
    serial: str
    """Serial number; empty when the adapter reports none."""
    manufacturer: str
    product: str
    usb_port: str
    """Bus and port chain, such as ``1-4.2``; empty where the system does not tell."""
    vendor_id: int
    product_id: int
    report_size: int
    """Bytes of one HID report: 64 or 1024."""


def list_adapters() -> List[AdapterInfo]:
    """The attached adapters, opening none.

    :raises LibraryError: when there is no library that fits
    """
    flat = _flat.functions()
    records = ctypes.POINTER(_flat.AdapterInfo)()
    count = flat.ListAdapters(records)
    try:
        return [_info(records[index]) for index in range(count)]
    finally:
        flat.FreeAdapters(records)


class Adapter:
    """A strict session with one adapter, which by default no other program can open meanwhile.

    Any thread may use it; commands run one after another. Use it in ``with``, or call `close` when done.

    :param serial: only an adapter with this serial number
    :param path: only the adapter at this path
    :param timeout: seconds that a command waits for its answer; None without limit
    :param exclusive: whether to keep other programs out
    :raises OpenError: with the reason, as `NoAdapter`, `SeveralAdapters`, `NoPermission` or `AdapterInUse`
    :raises LibraryError: when there is no library that fits
    """

    def __init__(
        self,
        serial: Optional[str] = None,
        path: Optional[str] = None,
        *,
        timeout: Optional[float] = 2.0,
        exclusive: bool = True,
    ) -> None:
        session = Session(serial or "", path or "", timeout, exclusive)
        self._session = session
        self._notifications = Dispatcher(session)
        session.open()
        if not session.serial:
            session.serial = next((each.serial for each in list_adapters() if each.path == session.path), "")
        # Also when nobody closes it: the notifications' thread keeps the session, not the adapter.
        weakref.finalize(self, session.close)
        self.i2c: Tuple[I2cPort, ...] = tuple(I2cPort(session, index) for index in range(I2C_PORTS))
        """The I2C ports."""
        self.spi = Spi(session)
        """The SPI controller."""
        self.uart = Uart(session, self._notifications)
        """The UART."""
        self.gpio = Gpio(session, self._notifications)
        """The pins."""
        self.i3c = I3c(session, self._notifications)
        """The I3C controller."""
        self.rails = Rails(session)
        """The supply rails."""

    @property
    def serial(self) -> str:
        """Serial number; empty when the adapter reports none."""
        return self._session.serial

    @property
    def path(self) -> str:
        """Device node that was opened."""
        return self._session.path

    @property
    def is_open(self) -> bool:
        """Whether commands have an adapter to run on: false once it is closed or lost."""
        return self._session.is_open

    @property
    def dropped_notifications(self) -> int:
        """Notifications that were dropped because more than 256 waited for a slow callback."""
        return self._notifications.dropped

    def close(self) -> None:
        """Closes the adapter. A command that waits in another thread ends with `AdapterClosed`, iterators stop."""
        self._session.close()

    def reopen(self, within: float = 10.0) -> None:
        """Opens the same adapter again, after it was lost, reset or closed. It is then as after power-up.

        :param within: seconds to wait for it to come back
        :raises OpenError: when it did not
        """
        deadline = time.monotonic() + within
        if self._session.serial:
            self._session.path = ""  # it may come back under another
        while True:
            try:
                return self._session.open()
            except OpenError:
                if time.monotonic() >= deadline:
                    raise
            time.sleep(_PAUSE)

    def reset(self) -> None:
        """Restarts the adapter, which leaves USB and comes back, and waits for nothing. Then call `reopen`."""
        self._session.run(self._session.flat.ResetDevice, "resetting the adapter")

    def enter_boot_mode(self) -> None:
        """Restarts the adapter in its boot mode, for loading firmware."""
        self._session.run(self._session.flat.EnterBootMode, "entering the boot mode")

    def usb_string(self, index: int) -> str:
        """One of the adapter's USB strings; 1 to 5 are in use. What each says is defined by the firmware."""
        text, length = (ctypes.c_uint8 * _LONGEST_STRING)(), ctypes.c_size_t()
        self._session.run(
            self._session.flat.GetUsbString, "reading USB string {}",
            check("index", index, 0xFF), text, len(text), length,
        )
        return bytes(text[: length.value]).decode(errors="replace")

    def usb_strings(self) -> List[str]:
        """The adapter's USB strings 1 to 5."""
        return [self.usb_string(index) for index in range(1, 6)]

    def notifications(self) -> Subscription[Notification]:
        """Everything that the adapter reports from now on."""
        return self._notifications.subscribe(lambda notification: notification, "notification")

    def on_notification(self, callback: Callable[[Notification], object]) -> Callable[[], None]:
        """Calls back for everything that the adapter reports, on a thread of this package.

        The callback may use the adapter. While it runs no other notification is handed out.

        :returns: how to end it
        """
        return self._notifications.call(callback)

    def __enter__(self: A) -> A:
        return self

    def __exit__(
        self, kind: Optional[Type[BaseException]], error: Optional[BaseException], trace: Optional[TracebackType]
    ) -> None:
        self.close()

    def __repr__(self) -> str:
        return f"<tarvix.Adapter {self.serial or '?'} at {self.path}{'' if self.is_open else ', closed'}>"


def _info(record: _flat.AdapterInfo) -> AdapterInfo:
    texts = (record.path, record.serialNumber, record.manufacturer, record.product, record.usbPort)
    path, serial, manufacturer, product, port = (text.decode(errors="replace") for text in texts)
    return AdapterInfo(
        path, serial, manufacturer, product, port, record.vendorId, record.productId, record.reportSize
    )
