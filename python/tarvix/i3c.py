"""The I3C controller."""

from __future__ import annotations

import ctypes
from dataclasses import dataclass
from typing import Any, Iterable, List, Optional, Tuple

from . import _flat
from ._session import Data, Register, Session, address_of, buffer, bytes_of, check, register_of
from .enums import (
    I2cTransferRate,
    I3cCccType,
    I3cDriveStrength,
    I3cEvents,
    I3cOpenDrainTransferRate,
    I3cPushPullRate,
    I3cTargetResetDefByte,
    I3cTransferDirection,
    I3cTransferFlags,
    I3cTransferMode,
)
from .errors import InvalidArgument
from .notifications import Dispatcher, HotJoin, InBandInterrupt, Notification, Subscription

BROADCAST = 0x7E
"""Address that all targets of a bus listen to."""

_FIRST_DIRECT_CODE = 0x80


@dataclass(frozen=True)
class I3cTarget:
    """One target of an I3C bus. What the extra fields hold is defined by the firmware."""

    static_address: int = 0
    dynamic_address: int = 0
    pid: bytes = bytes(6)
    bcr: int = 0
    dcr: int = 0
    extra_word_1: int = 0
    extra_word_2: int = 0
    extra_byte_1: int = 0
    extra_byte_2: int = 0


@dataclass(frozen=True)
class MaxReadLength:
    """What GETMRL reads, in bytes. None where the target has no limit of its own for payloads of interrupts."""

    length: int
    ibi_payload: Optional[int]


class I3cCcc:
    """Common Command Codes by name, all in SDR mode.

    ``address`` is a target's dynamic address; codes that can be broadcast go to all targets without one. A target that
    does not support a code does not acknowledge, which raises `Nack`.
    """

    def __init__(self, session: Session) -> None:
        self._session = session

    def ccc(
        self,
        code: int,
        *,
        address: int = BROADCAST,
        data: Data = b"",
        read: Optional[int] = None,
        defining_byte: Optional[int] = None,
        mode: I3cTransferMode = I3cTransferMode.SDR,
        transfer_flag: bool = False,
    ) -> bytes:
        """Sends any code.

        :param address: the target's dynamic address (SETDASA: its static address), for direct codes, from 0x80 on
        :param data: what a write sends, up to 255 bytes
        :param read: reads as many bytes, 0 to 255, instead of writing
        :param transfer_flag: defined by the firmware
        :returns: what the target sent for a read, at most ``read`` bytes
        """
        if code >= _FIRST_DIRECT_CODE and address == BROADCAST:
            raise InvalidArgument(f"code {code:#04x} is direct: give the target's address")
        sent = bytes_of(data)
        if sent and read is not None:
            raise InvalidArgument("a code either writes data or reads: give one of the two")
        length = check("length of data" if read is None else "read", len(sent) if read is None else read, 0xFF)
        received, count = buffer(length), ctypes.c_uint8()
        self._session.run(
            self._session.flat.I3cCccTransfer, "sending CCC {6:#04x} to I3C address {0:#04x}",
            address_of(address), I3cTransferDirection.WRITE if read is None else I3cTransferDirection.READ, mode,
            transfer_flag,
            I3cCccType.WITHOUT_DEFINING_BYTE if defining_byte is None else I3cCccType.WITH_DEFINING_BYTE,
            length, check("code", code, 0xFF), check("defining_byte", defining_byte or 0, 0xFF), sent, len(sent),
            received, count,
        )
        return bytes(received[: count.value])

    def enec(self, events: I3cEvents, address: Optional[int] = None) -> None:
        """Enables events (ENEC)."""
        self._either("ENEC", address, check("events", events, 0xFF))

    def disec(self, events: I3cEvents, address: Optional[int] = None) -> None:
        """Disables events (DISEC)."""
        self._either("DISEC", address, check("events", events, 0xFF))

    def entas0(self, address: Optional[int] = None) -> None:
        """Enters activity state 0: traffic after 1 µs at the earliest (ENTAS0)."""
        self._either("ENTAS0", address)

    def entas1(self, address: Optional[int] = None) -> None:
        """Enters activity state 1: traffic after 100 µs at the earliest (ENTAS1)."""
        self._either("ENTAS1", address)

    def entas2(self, address: Optional[int] = None) -> None:
        """Enters activity state 2: traffic after 2 ms at the earliest (ENTAS2)."""
        self._either("ENTAS2", address)

    def entas3(self, address: Optional[int] = None) -> None:
        """Enters activity state 3: traffic after 50 ms at the earliest (ENTAS3)."""
        self._either("ENTAS3", address)

    def rstdaa(self) -> None:
        """Takes the dynamic addresses of all targets away (RSTDAA)."""
        self._run("RSTDAA")

    def entdaa(self) -> None:
        """Assigns dynamic addresses, which the adapter chooses; `I3c.targets` tells the outcome (ENTDAA)."""
        self._run("ENTDAA")

    def setmwl(self, length: int, address: Optional[int] = None) -> None:
        """Sets the maximum write length in bytes (SETMWL)."""
        self._either("SETMWL", address, check("length", length, 0xFFFF))

    def setmrl(self, length: int, address: Optional[int] = None, *, ibi_payload: Optional[int] = None) -> None:
        """Sets the maximum read length and, if given, the maximum payload of interrupts, in bytes (SETMRL)."""
        self._either(
            "SETMRL", address, check("length", length, 0xFFFF), ibi_payload is not None,
            check("ibi_payload", ibi_payload or 0, 0xFF),
        )

    def setbuscon(self, context: int, data: Optional[Data] = None) -> None:
        """Announces the bus context (SETBUSCON)."""
        self._run("SETBUSCONBroadcast", check("context", context, 0xFF), *_optional(data))

    def setxtime(self, subcommand: int, address: Optional[int] = None, *, data: Optional[Data] = None) -> None:
        """Sends a timing control sub-command, such as 0xDF for asynchronous mode 0 or 0xFF to leave (SETXTIME)."""
        self._either("SETXTIME", address, check("subcommand", subcommand, 0xFF), *_optional(data))

    def setaasa(self, data: Data = b"") -> None:
        """Makes static addresses dynamic (SETAASA). The I3C standard has no data here; it is sent as given."""
        sent = bytes_of(data)
        self._run("SETAASA", sent, len(sent))

    def setdasa(self, static_address: int, dynamic_address: int) -> None:
        """Gives the target at a static address a dynamic one (SETDASA)."""
        self._run("SETDASA", address_of(static_address), check("dynamic_address", dynamic_address, 0x7F))

    def setnewda(self, address: int, new_address: int) -> None:
        """Changes a target's dynamic address (SETNEWDA)."""
        self._run("SETNEWDA", address_of(address), check("new_address", new_address, 0x7F))

    def setgrpa(self, address: int, group_address: int) -> None:
        """Adds a target to a group (SETGRPA)."""
        self._run("SETGRPADirect", address_of(address), check("group_address", group_address, 0x7F))

    def rstgrpa(self, address: Optional[int] = None) -> None:
        """Takes group addresses away (RSTGRPA)."""
        self._either("RSTGRPA", address)

    def rstact(self, action: I3cTargetResetDefByte, address: Optional[int] = None) -> None:
        """Chooses what the next target reset pattern resets (RSTACT)."""
        if address is None:
            self._run("RSTACTBroadcast", action)
        else:
            self._run("RSTACTDirect", address_of(address), action, I3cTransferDirection.WRITE, None)

    def rstact_time(self, action: I3cTargetResetDefByte, address: int) -> int:
        """Reads how long a reset takes; ``action`` is one of those from 0x81 on (RSTACT)."""
        return self._byte("RSTACTDirect", address_of(address), action, I3cTransferDirection.READ)

    def getmwl(self, address: int) -> int:
        """Reads the maximum write length in bytes (GETMWL)."""
        length = ctypes.c_uint16()
        self._run("GETMWL", address_of(address), length)
        return length.value

    def getmrl(self, address: int) -> MaxReadLength:
        """Reads the maximum read length and payload of interrupts (GETMRL)."""
        length, payload, has_payload = ctypes.c_uint16(), ctypes.c_uint8(), ctypes.c_uint8()
        self._run("GETMRL", address_of(address), length, payload, has_payload)
        return MaxReadLength(length.value, payload.value if has_payload.value else None)

    def getpid(self, address: int) -> bytes:
        """Reads the Provisioned ID, 6 bytes, most significant first (GETPID)."""
        pid = buffer(6)
        self._run("GETPID", address_of(address), pid)
        return bytes(pid)

    def getbcr(self, address: int) -> int:
        """Reads the Bus Characteristics Register (GETBCR)."""
        return self._byte("GETBCR", address_of(address))

    def getdcr(self, address: int) -> int:
        """Reads the Device Characteristics Register (GETDCR)."""
        return self._byte("GETDCR", address_of(address))

    def getstatus(self, address: int, defining_byte: Optional[int] = None) -> bytes:
        """Reads the status, 2 bytes, most significant first; a defining byte chooses another format (GETSTATUS)."""
        return self._bytes("GETSTATUS", address, 2, *_flagged("defining_byte", defining_byte))

    def getmxds(self, address: int) -> bytes:
        """Reads the maximum data speeds: one byte for writes, one for reads, 3 of turnaround, if any (GETMXDS)."""
        return self._bytes("GETMXDS", address, 5)

    def getcaps(self, address: int, defining_byte: Optional[int] = None) -> bytes:
        """Reads the capabilities, up to 4 bytes; a defining byte chooses another format (GETCAPS)."""
        return self._bytes("GETCAPS", address, 4, *_flagged("defining_byte", defining_byte))

    def getxtime(self, address: int) -> bytes:
        """Reads the timing support: modes, state, clock in 0.5 MHz, inaccuracy in 0.1 % (GETXTIME)."""
        return self._bytes("GETXTIME", address, 4)

    def _run(self, name: str, *arguments: Any) -> None:
        code = name.replace("Broadcast", "").replace("Direct", "")
        whom = f" with I3C target {arguments[0]:#04x}" if name.startswith(("GET", "SETDASA", "SETNEWDA")) else ""
        self._session.run(getattr(self._session.flat, "I3cCcc" + name), f"CCC {code}{whom}", *arguments)

    def _either(self, name: str, address: Optional[int], *arguments: Any) -> None:
        if address is None:
            self._run(name + "Broadcast", *arguments)
        else:
            self._run(name + "Direct", address_of(address), *arguments)

    def _byte(self, name: str, *arguments: Any) -> int:
        value = ctypes.c_uint8()
        self._run(name, *arguments, value)
        return value.value

    def _bytes(self, name: str, address: int, room: int, *arguments: Any) -> bytes:
        data, count = buffer(room), ctypes.c_uint8()
        self._run(name, address_of(address), data, count, *arguments)
        return bytes(data[: count.value])


class I3c(I3cCcc):
    """The I3C controller: ``adapter.i3c``. First `configure`, then `init_bus`, then talk to targets.

    ``register`` goes out before the data, as for `I2cPort`. What ``flags`` ask for is defined by the firmware.
    """

    def __init__(self, session: Session, notifications: Dispatcher) -> None:
        super().__init__(session)
        self._notifications = notifications

    def configure(
        self,
        push_pull: I3cPushPullRate = I3cPushPullRate.MHZ_12_5,
        open_drain: I3cOpenDrainTransferRate = I3cOpenDrainTransferRate.MHZ_4,
        i2c: I2cTransferRate = I2cTransferRate.KHZ_400,
        drive_strength: I3cDriveStrength = I3cDriveStrength.MEDIUM,
    ) -> None:
        """Sets the controller up. Nothing appears on the bus."""
        self._session.run(
            self._session.flat.I3cControllerInit, "setting up the I3C controller",
            push_pull, open_drain, i2c, drive_strength,
        )

    def set_parameters(
        self,
        push_pull: I3cPushPullRate = I3cPushPullRate.MHZ_12_5,
        open_drain: I3cOpenDrainTransferRate = I3cOpenDrainTransferRate.MHZ_4,
        i2c: I2cTransferRate = I2cTransferRate.KHZ_400,
        drive_strength: I3cDriveStrength = I3cDriveStrength.MEDIUM,
    ) -> None:
        """Changes the settings of a controller that is set up."""
        self._session.run(
            self._session.flat.I3cSetParameters, "changing the I3C controller's settings",
            push_pull, open_drain, i2c, drive_strength,
        )

    def init_bus(self, targets: Iterable[I3cTarget] = ()) -> None:
        """Brings the bus up with the targets expected on it, at most 255.

        What the adapter does with them, such as which it gives a dynamic address, is defined by the firmware.
        """
        records = [_record(target) for target in targets]
        count = check("number of targets", len(records), 0xFF)
        array = (_flat.I3cTargetInfo * count)(*records)
        self._session.run(self._session.flat.I3cInitBus, "bringing the I3C bus up with {1} targets", array, count)

    def reset_bus(self) -> None:
        """Resets the bus."""
        self._session.run(self._session.flat.I3cResetBus, "resetting the I3C bus")

    def targets(self) -> List[I3cTarget]:
        """The adapter's table of targets. Nothing appears on the bus."""
        table, count = (_flat.I3cTargetInfo * 0xFF)(), ctypes.c_uint8()
        self._session.run(self._session.flat.I3cGetDeviceTable, "reading the I3C targets", table, len(table), count)
        return [_target(record) for record in table[: count.value]]

    def set_target_configuration(self, address: int, configuration: int) -> None:
        """Sets the configuration byte of a target in the adapter's table, which the firmware defines."""
        self._session.run(
            self._session.flat.I3cSetTargetDeviceConfiguration, "configuring I3C target {:#04x}",
            address_of(address), check("configuration", configuration, 0xFF),
        )

    def hdr_exit_pattern(self) -> None:
        """Drives the HDR exit pattern, which returns all targets from an HDR mode to SDR."""
        self._session.run(self._session.flat.I3cHdrExitPattern, "driving the HDR exit pattern")

    def target_reset_pattern(self) -> None:
        """Drives the target reset pattern; each target resets what RSTACT chose or else its I3C peripheral."""
        self._session.run(self._session.flat.I3cTargetResetPattern, "driving the target reset pattern")

    def read(
        self, address: int, length: int, register: Optional[Register] = None, *, register_size: int = 1,
        flags: I3cTransferFlags = I3cTransferFlags.NONE,
    ) -> bytes:
        """Reads up to ``length`` bytes in SDR mode; the target may end the read early."""
        sent = register_of(register, register_size)
        data, count = buffer(length), ctypes.c_uint16()
        self._session.run(
            self._session.flat.I3cSdrRead, "reading {3} bytes from I3C target {0:#04x}",
            address_of(address), sent, len(sent), length, data, count, flags,
        )
        return bytes(memoryview(data)[: count.value])

    def write(
        self, address: int, data: Data, register: Optional[Register] = None, *, register_size: int = 1,
        flags: I3cTransferFlags = I3cTransferFlags.NONE,
    ) -> None:
        """Writes up to 65,535 bytes in SDR mode."""
        sent, taken = register_of(register, register_size), bytes_of(data)
        self._session.run(
            self._session.flat.I3cSdrWrite, "writing {4} bytes to I3C target {0:#04x}",
            address_of(address), sent, len(sent), taken, len(taken), flags,
        )

    def hdr_ddr_read(self, address: int, command: int, length: int) -> bytes:
        """Reads up to ``length`` bytes in HDR-DDR mode, with this command byte."""
        data, count = buffer(length), ctypes.c_uint16()
        self._session.run(
            self._session.flat.I3cHdrDdrRead, "reading {2} bytes in HDR-DDR from I3C target {0:#04x}",
            address_of(address), check("command", command, 0xFF), length, count, data,
        )
        return bytes(memoryview(data)[: count.value])

    def hdr_ddr_write(self, address: int, command: int, data: Data) -> None:
        """Writes up to 65,535 bytes in HDR-DDR mode, with this command byte."""
        taken = bytes_of(data)
        self._session.run(
            self._session.flat.I3cHdrDdrWrite, "writing {3} bytes in HDR-DDR to I3C target {0:#04x}",
            address_of(address), check("command", command, 0xFF), taken, len(taken),
        )

    def legacy_i2c_read(
        self, address: int, length: int, register: Optional[Register] = None, *, register_size: int = 1,
        flags: I3cTransferFlags = I3cTransferFlags.NONE,
    ) -> bytes:
        """Reads ``length`` bytes from a legacy I2C device on the I3C bus."""
        sent, data = register_of(register, register_size), buffer(length)
        self._session.run(
            self._session.flat.I3cLegacyI2CRead, "reading {3} bytes from legacy I2C target {0:#04x}",
            address_of(address), sent, len(sent), length, data, flags,
        )
        return bytes(data)

    def legacy_i2c_write(
        self, address: int, data: Data, register: Optional[Register] = None, *, register_size: int = 1,
        flags: I3cTransferFlags = I3cTransferFlags.NONE,
    ) -> None:
        """Writes up to 65,535 bytes to a legacy I2C device on the I3C bus."""
        sent, taken = register_of(register, register_size), bytes_of(data)
        self._session.run(
            self._session.flat.I3cLegacyI2CWrite, "writing {4} bytes to legacy I2C target {0:#04x}",
            address_of(address), sent, len(sent), taken, len(taken), flags,
        )

    def interrupts(self, address: Optional[int] = None) -> Subscription[InBandInterrupt]:
        """In-band interrupts from now on, of one target or of all."""

        def choose(notification: Notification) -> Optional[InBandInterrupt]:
            if not isinstance(notification, InBandInterrupt) or address not in (None, notification.address):
                return None
            return notification

        return self._notifications.subscribe(choose, "in-band interrupt")

    def hot_joins(self) -> Subscription[HotJoin]:
        """Targets that join the bus from now on."""
        return self._notifications.subscribe(
            lambda notification: notification if isinstance(notification, HotJoin) else None, "hot-join"
        )


def _optional(data: Optional[Data]) -> Tuple[Optional[bytes], int]:
    if data is None:
        return None, 0
    sent = bytes_of(data)
    check("length of data", len(sent), 0xFE)
    return sent, len(sent)


def _flagged(name: str, value: Optional[int]) -> Tuple[bool, int]:
    return value is not None, check(name, value or 0, 0xFF)


def _record(target: I3cTarget) -> _flat.I3cTargetInfo:
    if len(target.pid) != 6:
        raise InvalidArgument(f"pid must be 6 bytes, not {len(target.pid)}")
    return _flat.I3cTargetInfo(
        check("static_address", target.static_address, 0x7F),
        check("dynamic_address", target.dynamic_address, 0x7F),
        (ctypes.c_uint8 * 6)(*target.pid),
        check("bcr", target.bcr, 0xFF),
        check("dcr", target.dcr, 0xFF),
        check("extra_word_1", target.extra_word_1, 0xFFFF),
        check("extra_word_2", target.extra_word_2, 0xFFFF),
        check("extra_byte_1", target.extra_byte_1, 0xFF),
        check("extra_byte_2", target.extra_byte_2, 0xFF),
    )


def _target(record: _flat.I3cTargetInfo) -> I3cTarget:
    return I3cTarget(
        record.staticAddress, record.dynamicAddress, bytes(record.pid), record.bcr, record.dcr, record.extraWord1,
        record.extraWord2, record.extraByte1, record.extraByte2,
    )
