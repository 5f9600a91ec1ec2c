"""The Tarvix USB protocol adapter: I2C, SPI, UART, GPIO and I3C from Python.

>>> import tarvix
>>> with tarvix.Adapter() as adapter:
...     adapter.i2c[0].configure(frequency=400_000)
...     adapter.i2c[0].read(0x48, register=0, length=2)
b'\\x17\\x80'

`tarvix.aio` has the same for asyncio, `tarvix.smbus` stands in for smbus2, `tarvix.simulator` starts a virtual adapter.
"""

from . import enums, errors
from ._version import VERSION
from .adapter import Adapter, AdapterInfo, list_adapters
from .enums import *
from .errors import *
from .i2c import I2cRead, I2cTransfer, I2cWrite
from .i3c import I3cTarget, MaxReadLength
from .notifications import (
    Edge,
    HotJoin,
    InBandInterrupt,
    Notification,
    Subscription,
    UartData,
    UnknownNotification,
)
from .rails import I3cRailReading

__version__ = VERSION

__all__ = [
    "Adapter",
    "AdapterInfo",
    "Edge",
    "HotJoin",
    "I2cRead",
    "I2cTransfer",
    "I2cWrite",
    "I3cRailReading",
    "I3cTarget",
    "InBandInterrupt",
    "MaxReadLength",
    "Notification",
    "Subscription",
    "UartData",
    "UnknownNotification",
    "list_adapters",
]
__all__ += enums.__all__
__all__ += errors.__all__
