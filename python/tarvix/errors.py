"""What goes wrong, as exceptions. Each message says what was tried, on which adapter, and what to do."""

from __future__ import annotations

from typing import Dict, Optional, Tuple, Type

from .enums import DeviceStatus, OpenStatus, StatusCode

__all__ = [
    "TarvixError",
    "LibraryError",
    "InvalidArgument",
    "OpenError",
    "NoAdapter",
    "SeveralAdapters",
    "NoPermission",
    "AdapterInUse",
    "AdapterLost",
    "AdapterClosed",
    "Timeout",
    "BadAnswer",
    "DeviceError",
    "Nack",
]


class TarvixError(Exception):
    """Anything that goes wrong with an adapter."""

    transfer: Optional[int] = None
    """Of `I2cPort.transfer_all`: which transfer failed, counted from 0."""


class LibraryError(TarvixError):
    """The shared library is missing, is of another version, or is none of ours."""


class InvalidArgument(TarvixError, ValueError):
    """An argument is out of range or inconsistent. Nothing was sent."""


class OpenError(TarvixError):
    """No adapter could be opened: the system is out of resources, or the adapter was unplugged just now."""


class NoAdapter(OpenError):
    """No adapter is attached, or none that fits."""


class SeveralAdapters(OpenError):
    """Several adapters are attached and none was chosen."""


class NoPermission(OpenError):
    """The system does not let this user open the device node."""


class AdapterInUse(OpenError):
    """Another session has opened the adapter exclusively."""

    holder: Optional[int] = None
    """Id of the process that has it, where the system tells."""


class AdapterLost(TarvixError):
    """The adapter was unplugged or restarted. ``Adapter.reopen`` gets it back."""


class AdapterClosed(TarvixError):
    """The session was closed, or belongs to the parent process of a fork."""


class Timeout(TarvixError, TimeoutError):
    """No answer, or no event, came in time. The adapter may have carried the command out all the same."""


class BadAnswer(TarvixError):
    """The adapter's answer does not fit the request. Nothing of it was used."""


class DeviceError(TarvixError):
    """The adapter answered with a status of its own."""

    def __init__(self, message: str, status: int) -> None:
        super().__init__(message)
        self.status = status
        """The number that the adapter answered."""
        self.name = device_status_name(status)
        """Its name, such as ``"BAD_PARAMETER"``; ``"DEVICE_STATUS"`` for a number without one."""

    def __reduce__(self) -> Tuple[Type[DeviceError], Tuple[str, int]]:
        return type(self), (str(self), self.status)


class Nack(DeviceError):
    """No target acknowledged on the bus."""


def device_status_name(status: int) -> str:
    """Name of one of the adapter's own statuses; ``"DEVICE_STATUS"`` for a number without one."""
    return DeviceStatus(status).name if status in _DEVICE_ADVICE else "DEVICE_STATUS"


_DEVICE_ADVICE: Dict[int, str] = {
    DeviceStatus.UNKNOWN_COMMAND: "the firmware does not know this command: update it",
    DeviceStatus.MALFORMED_FRAME: "the adapter could not parse the request: update its firmware or this package",
    DeviceStatus.BAD_PARAMETER: "the adapter does not support one of the values",
    DeviceStatus.BAD_BUS: "the adapter has no such port: choose another",
    DeviceStatus.BAD_PIN: "the adapter has no such pin: choose another",
    DeviceStatus.NOT_INITIALISED: "set it up first, with configure() or i3c.init_bus()",
    DeviceStatus.VOLTAGE_OUT_OF_RANGE: "the rail cannot produce this voltage: choose another",
    DeviceStatus.PIN_IS_INPUT: "an input cannot be driven: make it an output first",
    DeviceStatus.NACK: "no target acknowledged: check the address, the wiring and the rail",
    DeviceStatus.ADDRESS_IN_USE: "another target or group has this address: choose another",
    DeviceStatus.BUS_STUCK: "SDA or SCL is held low: check the wiring, or power-cycle or reset the devices",
    DeviceStatus.UNKNOWN_TARGET: "the adapter knows no such target: see i3c.targets()",
}

_LIBRARY_ERRORS: Dict[int, Tuple[Type[TarvixError], str]] = {
    StatusCode.NO_RESPONSE: (Timeout, "no answer in time: see whether the adapter still answers, or give it longer "
                                      "with Adapter(timeout=...)"),
    StatusCode.NOT_CONNECTED: (AdapterClosed, "the adapter is closed: open it again"),
    StatusCode.UNEXPECTED_RESPONSE: (BadAnswer, "the answer holds more than was asked for: update the firmware"),
    StatusCode.INVALID_ARGUMENT: (InvalidArgument, "an argument is out of range, and nothing was sent"),
    StatusCode.RESPONSE_TOO_SHORT: (BadAnswer, "the answer is cut short: try again, and check the USB cable"),
    StatusCode.ADAPTER_LOST: (AdapterLost, "the adapter was unplugged or restarted: plug it in and call reopen()"),
}

_OPEN_ERRORS: Dict[int, Tuple[Type[OpenError], str]] = {
    OpenStatus.NO_ADAPTER: (NoAdapter, "plug it in, and see tarvix.list_adapters()"),
    OpenStatus.SEVERAL_ADAPTERS: (SeveralAdapters, "tarvix.list_adapters() shows them"),
    OpenStatus.NO_PERMISSION: (NoPermission, "install the udev rule 70-tarvix.rules and plug the adapter in again"),
    OpenStatus.IN_USE: (AdapterInUse, "end that program, or choose another adapter"),
    OpenStatus.FAILED: (OpenError, "plug it in again"),
}


def command_error(status: int, what: str) -> TarvixError:
    """The exception for a status other than 0; ``what`` was tried."""
    if status in _LIBRARY_ERRORS:
        kind, advice = _LIBRARY_ERRORS[status]
        return kind(f"{what}: {advice}")
    advice = _DEVICE_ADVICE.get(status, "a status of the firmware's own: see its documentation")
    error = Nack if status == DeviceStatus.NACK else DeviceError
    return error(f"{what}: {advice} ({device_status_name(status)}, {status:#06x})", status)


def open_error(status: int, message: str, holder: int) -> OpenError:
    """The exception for an adapter that could not be opened, with the library's ``message``."""
    kind, advice = _OPEN_ERRORS.get(status, _OPEN_ERRORS[OpenStatus.FAILED])
    error = kind(f"{message}: {advice}")
    if isinstance(error, AdapterInUse):
        error.holder = holder or None
    return error
