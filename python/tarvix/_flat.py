"""The functions and records of ``tarvixsdk/flat.h`` for ctypes, and where the library is found.

ctypes lets other Python threads run during every call. A test compares the declarations with the header.
"""

from __future__ import annotations

import ctypes
import os
import pathlib
import threading
from ctypes import POINTER, c_bool, c_char, c_char_p, c_int, c_int64, c_size_t, c_uint8, c_uint16, c_uint32, c_uint64
from ctypes import c_void_p
from types import SimpleNamespace
from typing import Any, Dict, Optional, Sequence, Tuple

from ._version import VERSION
from .errors import LibraryError

SONAME = "libtarvixsdk.so.1"
PREFIX = "TarvixSDK_"
NATIVE = pathlib.Path(__file__).parent / "_native"
"""Where a wheel carries the library."""

OPEN_SHARED = 1
OPEN_PLAIN = 2


class AdapterInfo(ctypes.Structure):
    """TarvixSDK_AdapterInfo"""

    _fields_ = [
        ("path", c_char_p), ("serialNumber", c_char_p), ("manufacturer", c_char_p), ("product", c_char_p),
        ("usbPort", c_char_p), ("vendorId", c_uint16), ("productId", c_uint16), ("reportSize", c_uint32),
    ]


class OpenResult(ctypes.Structure):
    """TarvixSDK_OpenResult"""

    _fields_ = [("status", c_uint32), ("holder", c_int64), ("path", c_char * 256), ("message", c_char * 512)]


class I2cTransfer(ctypes.Structure):
    """TarvixSDK_I2cTransfer"""

    _fields_ = [
        ("writeData", c_void_p), ("readData", c_void_p), ("length", c_uint16), ("targetAddress", c_uint8),
        ("registerAddressLength", c_uint8), ("registerAddress", c_uint8 * 4), ("flag", c_bool),
    ]


class DeviceInfo(ctypes.Structure):
    """TarvixSDK_DeviceInfo"""

    _fields_ = [
        field
        for index in range(1, 6)
        for field in ((f"usbString{index}", c_void_p), (f"usbString{index}Length", c_size_t))
    ]


class I3cTargetInfo(ctypes.Structure):
    """I3cTargetInfo"""

    _fields_ = [
        ("staticAddress", c_uint8), ("dynamicAddress", c_uint8), ("pid", c_uint8 * 6), ("bcr", c_uint8),
        ("dcr", c_uint8), ("extraWord1", c_uint16), ("extraWord2", c_uint16), ("extraByte1", c_uint8),
        ("extraByte2", c_uint8),
    ]


class GpioInterruptNotification(ctypes.Structure):
    """GpioInterruptNotification"""

    _fields_ = [("pinNumber", c_uint8)]


class I3cIbiNotification(ctypes.Structure):
    """I3cIbiNotification"""

    _fields_ = [("targetAddress", c_uint8), ("payload", c_void_p), ("payloadLength", c_size_t)]


class I3cHotJoinNotification(ctypes.Structure):
    """I3cHotJoinNotification"""

    _fields_ = [("provisionalId", c_uint8 * 6), ("bcr", c_uint8), ("dcr", c_uint8), ("dynamicAddress", c_uint8)]


class UartRxNotification(ctypes.Structure):
    """UartRxNotification"""

    _fields_ = [("data", c_void_p), ("dataLength", c_size_t)]


class Notification(ctypes.Structure):
    """Notification"""

    _fields_ = [
        ("kind", c_uint32), ("data", c_void_p), ("length", c_size_t), ("hotJoinSlot", I3cHotJoinNotification),
        ("ibiSlot", I3cIbiNotification), ("gpioSlot", GpioInterruptNotification), ("uartRxSlot", UartRxNotification),
    ]


NotificationCallback = ctypes.CFUNCTYPE(None, POINTER(Notification))
FrameCallback = ctypes.CFUNCTYPE(None, c_void_p, c_void_p, c_size_t)
LossCallback = ctypes.CFUNCTYPE(None, c_void_p)

Handle = c_void_p
Bytes = c_char_p  # of the caller, only read
Buffer = POINTER(c_uint8)
Byte = POINTER(c_uint8)
Word = POINTER(c_uint16)
Size = POINTER(c_size_t)
Enum = c_uint32

Signature = Tuple[Any, Tuple[Any, ...]]


def _command(*arguments: Any) -> Signature:
    return c_uint16, (Handle, *arguments)


def _view(record: Any) -> Signature:
    return c_bool, (POINTER(Notification), POINTER(record))


_SPI_SETTINGS = (Enum, Enum, Enum, Enum, Enum, c_uint32)
_UART_SETTINGS = (Enum, Enum, Enum, Enum, Enum)
_I3C_SETTINGS = (Enum, Enum, Enum, Enum)
_I3C_READ = (c_uint8, Bytes, c_uint8, c_uint16, Buffer)
_I3C_WRITE = (c_uint8, Bytes, c_uint8, Bytes, c_uint16, Enum)

# Result and arguments of each function, without the prefix.
FUNCTIONS: Dict[str, Signature] = {
    "ListAdapters": (c_size_t, (POINTER(POINTER(AdapterInfo)),)),
    "FreeAdapters": (None, (POINTER(AdapterInfo),)),
    "StatusName": (c_char_p, (c_uint16,)),
    "Create": (Handle, (c_int,)),
    "Destroy": (None, (Handle,)),
    "Open": (c_uint32, (Handle, c_char_p, c_char_p, c_uint32, POINTER(OpenResult))),
    "IsConnected": (c_bool, (Handle,)),
    "OnConnectionLost": (None, (Handle, LossCallback, c_void_p)),
    "Connect": (c_bool, (Handle, c_char_p)),
    "ConnectWithSerialNumber": (c_bool, (Handle, c_char_p)),
    "Disconnect": (None, (Handle,)),
    "GetVersion": (c_char_p, ()),
    "onNotification": (None, (Handle, NotificationCallback)),
    "OnNotificationFrame": (None, (Handle, FrameCallback, c_void_p)),
    "NextNotification": _command(Buffer, c_size_t, Size, c_int),
    "DroppedNotifications": (c_uint64, (Handle,)),
    "notificationAsGpio": _view(GpioInterruptNotification),
    "notificationAsI3cIbi": _view(I3cIbiNotification),
    "notificationAsI3cHotJoin": _view(I3cHotJoinNotification),
    "notificationAsUartRx": _view(UartRxNotification),
    "ResetDevice": _command(),
    "EnterBootMode": _command(),
    "GetUsbString": _command(c_uint8, Buffer, c_size_t, Size),
    "GetDeviceInfo": _command(POINTER(DeviceInfo)),
    "FreeDeviceInfo": (None, (POINTER(DeviceInfo),)),
    "GpioSetVoltage": _command(c_uint16, c_bool),
    "I2cSetBusVoltage": _command(c_uint16, c_bool),
    "SpiSetBusVoltage": _command(c_uint16, c_bool),
    "UartSetBusVoltage": _command(c_uint16, c_bool),
    "I3cSetBusVoltage": _command(c_uint16),
    "GpioUseExternalVoltage": _command(c_bool),
    "I2cUseExternalVoltage": _command(c_bool),
    "SpiUseExternalVoltage": _command(c_bool),
    "UartUseExternalVoltage": _command(c_bool),
    "I3cUseExternalVoltage": _command(c_bool),
    "GpioGetVoltage": _command(Word),
    "I2cGetBusVoltage": _command(Word),
    "SpiGetBusVoltage": _command(Word),
    "UartGetBusVoltage": _command(Word),
    "I3cGetBusVoltage": _command(Word, Word),
    "GpioConfigurePin": _command(Enum, Enum, c_bool, Enum),
    "GpioDigitalWrite": _command(Enum, Enum),
    "GpioDigitalRead": _command(Enum, POINTER(Enum)),
    "GpioConfigureInterrupt": _command(Enum, Enum),
    "GpioDisableInterrupt": _command(Enum),
    "I2cControllerInit": _command(c_uint8, c_uint32, c_uint8),
    "I2cSetParameters": _command(c_uint8, c_uint32, c_uint8),
    "I2cSetPullUpResistors": _command(c_uint8, c_uint8),
    "I2cWrite": _command(c_uint8, c_uint8, Bytes, c_uint8, Bytes, c_uint32, c_bool),
    "I2cRead": _command(c_uint8, c_uint8, Bytes, c_uint8, c_uint16, Buffer, c_bool),
    "I2cTransfers": _command(c_uint8, POINTER(I2cTransfer), c_size_t, c_size_t, Size),
    "I2cScanBus": _command(Buffer, c_uint8, Byte, Byte, c_uint8, c_bool),
    "SpiControllerInit": _command(*_SPI_SETTINGS),
    "SpiSetParameters": _command(*_SPI_SETTINGS),
    "SpiTransfer": _command(Bytes, c_uint16, Buffer, c_uint16),
    "UartInit": _command(*_UART_SETTINGS),
    "UartSetParameters": _command(*_UART_SETTINGS),
    "UartDeinit": _command(),
    "UartSendMessage": _command(Bytes, c_uint16),
    "I3cControllerInit": _command(*_I3C_SETTINGS),
    "I3cSetParameters": _command(*_I3C_SETTINGS),
    "I3cInitBus": _command(POINTER(I3cTargetInfo), c_uint8),
    "I3cResetBus": _command(),
    "I3cGetDeviceTable": _command(POINTER(I3cTargetInfo), c_uint8, Byte),
    "I3cSetTargetDeviceConfiguration": _command(c_uint8, c_uint8),
    "I3cHdrExitPattern": _command(),
    "I3cTargetResetPattern": _command(),
    "I3cSdrRead": _command(*_I3C_READ, Word, Enum),
    "I3cSdrWrite": _command(*_I3C_WRITE),
    "I3cHdrDdrRead": _command(c_uint8, c_uint8, c_uint16, Word, Buffer),
    "I3cHdrDdrWrite": _command(c_uint8, c_uint8, Bytes, c_uint16),
    "I3cLegacyI2CRead": _command(*_I3C_READ, Enum),
    "I3cLegacyI2CWrite": _command(*_I3C_WRITE),
    "I3cCccTransfer": _command(
        c_uint8, Enum, Enum, c_bool, Enum, c_uint8, Enum, c_uint8, Bytes, c_size_t, Buffer, Byte
    ),
    "I3cCccENECBroadcast": _command(c_uint8),
    "I3cCccDISECBroadcast": _command(c_uint8),
    "I3cCccENTAS0Broadcast": _command(),
    "I3cCccENTAS1Broadcast": _command(),
    "I3cCccENTAS2Broadcast": _command(),
    "I3cCccENTAS3Broadcast": _command(),
    "I3cCccRSTDAA": _command(),
    "I3cCccENTDAA": _command(),
    "I3cCccSETMWLBroadcast": _command(c_uint16),
    "I3cCccSETMRLBroadcast": _command(c_uint16, c_bool, c_uint8),
    "I3cCccSETBUSCONBroadcast": _command(c_uint8, Bytes, c_size_t),
    "I3cCccSETXTIMEBroadcast": _command(c_uint8, Bytes, c_size_t),
    "I3cCccSETAASA": _command(Bytes, c_size_t),
    "I3cCccRSTACTBroadcast": _command(Enum),
    "I3cCccRSTGRPABroadcast": _command(),
    "I3cCccENECDirect": _command(c_uint8, c_uint8),
    "I3cCccDISECDirect": _command(c_uint8, c_uint8),
    "I3cCccENTAS0Direct": _command(c_uint8),
    "I3cCccENTAS1Direct": _command(c_uint8),
    "I3cCccENTAS2Direct": _command(c_uint8),
    "I3cCccENTAS3Direct": _command(c_uint8),
    "I3cCccSETDASA": _command(c_uint8, c_uint8),
    "I3cCccSETNEWDA": _command(c_uint8, c_uint8),
    "I3cCccSETMWLDirect": _command(c_uint8, c_uint16),
    "I3cCccSETMRLDirect": _command(c_uint8, c_uint16, c_bool, c_uint8),
    "I3cCccSETXTIMEDirect": _command(c_uint8, c_uint8, Bytes, c_size_t),
    "I3cCccSETGRPADirect": _command(c_uint8, c_uint8),
    "I3cCccRSTGRPADirect": _command(c_uint8),
    "I3cCccRSTACTDirect": _command(c_uint8, Enum, Enum, Byte),
    "I3cCccGETMWL": _command(c_uint8, Word),
    "I3cCccGETMRL": _command(c_uint8, Word, Byte, Byte),
    "I3cCccGETPID": _command(c_uint8, Buffer),
    "I3cCccGETBCR": _command(c_uint8, Byte),
    "I3cCccGETDCR": _command(c_uint8, Byte),
    "I3cCccGETSTATUS": _command(c_uint8, Buffer, Byte, c_bool, c_uint8),
    "I3cCccGETMXDS": _command(c_uint8, Buffer, Byte),
    "I3cCccGETCAPS": _command(c_uint8, Buffer, Byte, c_bool, c_uint8),
    "I3cCccGETXTIME": _command(c_uint8, Buffer, Byte),
}

_lock = threading.Lock()
_functions: Optional[SimpleNamespace] = None


def functions() -> Any:
    """The functions by their names without the prefix. Loads the library the first time.

    :raises LibraryError: when there is none that fits
    """
    global _functions
    with _lock:
        if _functions is None:
            _functions = _load()
        return _functions


def is_loaded() -> bool:
    """Whether this process has the library."""
    return _functions is not None


def _load() -> SimpleNamespace:
    name = _name()
    try:
        library = ctypes.CDLL(name)
    except OSError as error:
        raise LibraryError(_advice(name, str(error))) from None
    try:
        _check_version(name, library)
        return SimpleNamespace(**{each: _bind(library, each, *what) for each, what in FUNCTIONS.items()})
    except AttributeError as error:
        raise LibraryError(f"{name} is not the Tarvix library that this package needs: {error}") from None


def _name() -> str:
    chosen = os.environ.get("TARVIX_LIBRARY")
    if chosen:
        return chosen
    carried = NATIVE / SONAME
    return str(carried) if carried.exists() else SONAME


def _advice(name: str, error: str) -> str:
    if "hidapi" in error:
        return f"{name} needs libhidapi-hidraw.so.0: install the package libhidapi-hidraw0 ({error})"
    return (
        f"cannot load {name}: install the Tarvix SDK and run ldconfig, or name its library in the environment variable "
        f"TARVIX_LIBRARY ({error})"
    )


def _check_version(name: str, library: ctypes.CDLL) -> None:
    version: bytes = _bind(library, "GetVersion", *FUNCTIONS["GetVersion"])()
    found = version.decode("ascii", "replace")
    have, need = found.split("."), VERSION.split(".")
    if have[0] != need[0] or int(have[1]) < int(need[1]):
        raise LibraryError(
            f"{name} is version {found}: this package needs {need[0]}.{need[1]} or a later {need[0]}; update the one "
            "that is older"
        )


def _bind(library: ctypes.CDLL, name: str, result: Any, arguments: Sequence[Any]) -> Any:
    function = getattr(library, PREFIX + name)
    function.restype = result
    function.argtypes = arguments
    return function
