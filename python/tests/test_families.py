"""Every command of every family on the virtual bench: what it answers, or what shows that it was carried out."""

# mypy: disable-error-code="func-returns-value"

from __future__ import annotations

import inspect
from typing import Any, Callable, Dict, List, Tuple

import pytest
import tarvix
from tarvix import (
    Adapter,
    DeviceError,
    GpioFunctionality,
    GpioLogicLevel,
    I2cRead,
    I2cWrite,
    I3cEvents,
    I3cRailReading,
    I3cTarget,
    I3cTargetResetDefByte,
    I3cTransferFlags,
    I3cTransferMode,
    MaxReadLength,
    Nack,
    SpiBitOrder,
    SpiChipSelect,
    UartDataSize,
    aio,
    i3c,
)
from tarvix.simulator import Bench

Step = Tuple[Callable[[Adapter], Any], Any]
PAGES = [I2cWrite(0x51, bytes([page]) * 64, 64 * page, 2) for page in range(8)]



def nacked(call: Callable[[], object]) -> bool:
    """Whether nobody acknowledges."""
    try:
        call()
    except Nack:
        return True
    return False


def in_group(adapter: Adapter) -> bool:
    """Whether a target listens to the group address 0x20."""
    return not nacked(lambda: adapter.i3c.write(0x20, b""))


I2C: List[Step] = [
    (lambda a: a.i2c[0].configure(frequency=100_000, option=7), None),
    (lambda a: a.i2c[0].set_parameters(400_000), None),
    (lambda a: a.i2c[0].set_pull_ups(3), None),
    (lambda a: a.i2c[0].scan(), [0x48, 0x50]),
    (lambda a: (a.i2c[0].probe(0x48), a.i2c[0].probe(0x49)), (True, False)),
    (lambda a: a.i2c[0].read(0x48, 2, 0), b"\x17\x80"),
    (lambda a: a.i2c[0].write(0x50, bytearray(b"ab"), 0x11), None),
    (lambda a: a.i2c[0].write(0x50, [0x13, 0x63]), None),
    (lambda a: a.i2c[0].read(0x50, 4, b"\x10"), b"\xffab\x63"),
    (lambda a: a.i2c[0].read(0x50, 1), b"\xff"),  # goes on behind
    (lambda a: a.i2c[1].configure(), None),
    (lambda a: a.i2c[1].write(0x51, b"far", 0x1234, register_size=2), None),
    (lambda a: a.i2c[1].read(0x51, 3, 0x1234, register_size=2), b"far"),
    (lambda a: a.i2c[1].transfer_all([*PAGES, I2cRead(0x51, 3, 0x13E, 2), I2cRead(0x51, 2)], in_flight=3),
     [b""] * 8 + [b"\4\4\5", b"\5\5"]),
    (lambda a: a.i2c[1].transfer_all([]), []),
    (lambda a: len(a.i2c[1].read(0x51, 0xFFFF, b"\0\0")), 0xFFFF),
    (lambda a: a.i2c[1].read(0x51, 0xFFFF, b"\0\0")[0x1234 + 0x8000 :][:4], b"far\xff"),
]
SPI: List[Step] = [
    (lambda a: a.spi.configure(chip_select=SpiChipSelect.SELECT_1), None),
    (lambda a: a.spi.transfer(b"loop"), b"loop"),
    (lambda a: a.spi.transfer(bytes(range(256)) * 255) == bytes(range(256)) * 255, True),
    (lambda a: a.spi.set_parameters(1_000_000, chip_select=SpiChipSelect.SELECT_0), None),
    (lambda a: a.spi.transfer([0x9F], 4), b"\xff\x55\x40\x14"),
    (lambda a: a.spi.write([0x06]), None),
    (lambda a: a.spi.transfer(b"\x05", 2), b"\xff\x02"),  # write enabled
    (lambda a: a.spi.set_parameters(1_000_000, bit_order=SpiBitOrder.LSB_FIRST), None),
    (lambda a: a.spi.read(3), b"\xff\xff\xff"),
]
UART: List[Step] = [
    (lambda a: a.uart.configure(9600), None),
    (lambda a: a.uart.write(b"one\ntwo\nthree|four"), 18),
    (lambda a: a.uart.readline(), b"one\n"),
    (lambda a: a.uart.read(2), b"tw"),
    (lambda a: a.uart.read_until(b"|"), b"o\nthree|"),
    (lambda a: a.uart.in_waiting, 4),
    (lambda a: a.uart.reset_input(), None),
    (lambda a: setattr(a.uart, "timeout", 0.01), None),
    (lambda a: a.uart.write(b"rest\nof it"), 10),
    (lambda a: list(a.uart), [b"rest\n", b"of it"]),
    (lambda a: (a.uart.read(0), a.uart.read(3)), (b"", b"")),
    (lambda a: a.uart.set_parameters(115_200, data_size=UartDataSize.BITS_7), None),
    (lambda a: (a.uart.write(b"\xc1"), a.uart.read(1)), (1, b"\x41")),
    (lambda a: a.uart.close(), None),
]
GPIO: List[Step] = [
    (lambda a: (a.gpio[0].output(1), a.gpio[1].value), (None, GpioLogicLevel.HIGH)),
    (lambda a: (setattr(a.gpio[0], "value", False), a.gpio[1].read()), (None, GpioLogicLevel.LOW)),
    (lambda a: (a.gpio[2].input(1), a.gpio[3].value), (None, 1)),
    (lambda a: (a.gpio[3].open_drain(0), a.gpio[2].value), (None, 0)),
    (lambda a: (a.gpio[3].write(1), a.gpio[2].value), (None, 1)),
    (lambda a: (a.gpio[2].input(0), a.gpio[3].value), (None, 0)),
    (lambda a: (a.gpio[2].input(), a.gpio[2].configure(GpioFunctionality.INPUT_PULL_UP), a.gpio[3].value),
     (None, None, 1)),
    (lambda a: (len(a.gpio), [pin.number for pin in a.gpio]), (8, list(range(8)))),
]
RAILS: List[Step] = [
    (lambda a: a.rails.shared.read_millivolts(), 3300),
    (lambda a: (a.rails.shared.set_millivolts(1800), a.rails.shared.read_millivolts()), (None, 1800)),
    (lambda a: (a.rails.shared.use_external(), a.rails.shared.read_millivolts()), (None, 2500)),
    (lambda a: (a.rails.i3c.set_millivolts(1100), a.rails.i3c.use_external()), (None, None)),
    (lambda a: a.rails.i3c.read_millivolts(), I3cRailReading(1200, 1100)),
]
I3C: List[Step] = [
    (lambda a: a.i3c.configure(), None),
    (lambda a: a.i3c.set_parameters(), None),
    (lambda a: a.i3c.init_bus([I3cTarget(0x30, 0x0A), I3cTarget(0x57)]), None),
    (lambda a: [(t.static_address, t.dynamic_address, t.pid, t.bcr, t.dcr) for t in a.i3c.targets()],
     [(0x30, 0x0A, b"\x7f\xfe\x12\x34\x50\x01", 0x27, 0x63), (0x57, 0, bytes(6), 0, 0)]),
    (lambda a: (a.i3c.legacy_i2c_write(0x57, b"old", 0x20), a.i3c.legacy_i2c_read(0x57, 3, 0x20)), (None, b"old")),
    (lambda a: (a.i3c.write(0x0A, b"new", 0x04), a.i3c.read(0x0A, 3, 4, flags=I3cTransferFlags.BIT_1)), (None, b"new")),
    (lambda a: (a.i3c.hdr_ddr_write(0x0A, 8, b"ddr!"), a.i3c.hdr_ddr_read(0x0A, 8, 4)), (None, b"ddr!")),
    (lambda a: (a.i3c.set_target_configuration(0x0A, 0x5A), a.i3c.targets()[0].extra_byte_1), (None, 0x5A)),
    (lambda a: a.i3c.hdr_exit_pattern(), None),
    (lambda a: (a.i3c.entdaa(), [t.dynamic_address for t in a.i3c.targets()]), (None, [0x08, 0x0A, 0])),
    (lambda a: (a.i3c.setnewda(8, 9), a.i3c.getpid(9)), (None, b"\x7f\xfe\x56\x78\x90\x02")),
    (lambda a: (a.i3c.getbcr(0x0A), a.i3c.getdcr(9)), (0x27, 0xC6)),
    (lambda a: (a.i3c.setmwl(100), a.i3c.setmwl(50, 9), a.i3c.getmwl(0x0A), a.i3c.getmwl(9)), (None, None, 100, 50)),
    (lambda a: (a.i3c.setmrl(80, ibi_payload=4), a.i3c.getmrl(0x0A), a.i3c.getmrl(9)),
     (None, MaxReadLength(80, 4), MaxReadLength(80, None))),
    (lambda a: (a.i3c.setmrl(70, 9), a.i3c.getmrl(9)), (None, MaxReadLength(70, None))),
    (lambda a: (a.i3c.entas2(), a.i3c.getstatus(9)[1] >> 6, a.i3c.entas1(9), a.i3c.getstatus(9)[1] >> 6),
     (None, 2, None, 1)),
    (lambda a: (a.i3c.entas3(), a.i3c.entas0(9), [a.i3c.getstatus(t)[1] >> 6 for t in (9, 10)]), (None, None, [0, 3])),
    (lambda a: (a.i3c.entas0(), a.i3c.entas3(9), a.i3c.entas2(10), [a.i3c.getstatus(t)[1] >> 6 for t in (9, 10)]),
     (None, None, None, [3, 2])),
    (lambda a: (a.i3c.entas1(), a.i3c.getstatus(10)[1] >> 6), (None, 1)),
    (lambda a: a.i3c.getmxds(0x0A), bytes([1, 1, 20, 0, 0])),
    (lambda a: (a.i3c.getcaps(0x0A), a.i3c.getcaps(9)), (b"\x01\x21\0\0", b"\0\x21\0\0")),
    (lambda a: (nacked(lambda: a.i3c.getcaps(9, 0)), nacked(lambda: a.i3c.getstatus(9, 0))), (True, True)),
    (lambda a: (a.i3c.setxtime(0xDF), a.i3c.getxtime(9)), (None, b"\x06\x02\x18\x0a")),
    (lambda a: (a.i3c.setxtime(0xFF, 9, data=b"\x01"), a.i3c.getxtime(9)[1]), (None, 0)),
    (lambda a: (a.i3c.rstact_time(I3cTargetResetDefByte.TIME_RESET_WHOLE_TARGET, 9)), 10),
    (lambda a: (a.i3c.setgrpa(9, 0x20), in_group(a), a.i3c.rstgrpa(9), in_group(a)), (None, True, None, False)),
    (lambda a: (a.i3c.setgrpa(9, 0x20), in_group(a), a.i3c.rstgrpa(), in_group(a)), (None, True, None, False)),
    (lambda a: (a.i3c.setbuscon(1), a.i3c.setbuscon(1, b"\x02")), (None, None)),
    (lambda a: a.i3c.ccc(0x8D, address=9, read=6), b"\x7f\xfe\x56\x78\x90\x02"),
    (lambda a: (a.i3c.ccc(0x8A, address=9, data=b"\0\x10"), a.i3c.getmrl(9).length), (b"", 16)),
    (lambda a: a.i3c.ccc(0x9A, address=9, read=1, defining_byte=0x81), b"\x01"),
    (lambda a: (a.i3c.rstact(I3cTargetResetDefByte.NO_RESET), a.i3c.target_reset_pattern(), len(a.i3c.targets())),
     (None, None, 3)),
    (lambda a: (a.i3c.rstact(I3cTargetResetDefByte.NO_RESET, 9), a.i3c.target_reset_pattern(), len(a.i3c.targets())),
     (None, None, 2)),  # the other reset its addresses
    (lambda a: (a.i3c.rstdaa(), a.i3c.setaasa(), [t.dynamic_address for t in a.i3c.targets()]),
     (None, None, [0x30, 0x31, 0])),
    (lambda a: (a.i3c.reset_bus(), a.i3c.setdasa(0x31, 0x33), [t.dynamic_address for t in a.i3c.targets()]),
     (None, None, [0x33, 0])),
]
SYSTEM: List[Step] = [
    (lambda a: a.usb_strings(),
     ["Tarvix", "Tarvix Virtual Adapter", "TVX0000001", "firmware 1.0.0", "hardware virtual"]),
    (lambda a: (a.serial, a.is_open, a.path in repr(a)), ("TVX0000001", True, True)),
    (lambda a: (a.enter_boot_mode(), a.dropped_notifications), (None, 0)),
]


FAMILIES = {"i2c": I2C, "spi": SPI, "uart": UART, "gpio": GPIO, "rails": RAILS, "i3c": I3C, "system": SYSTEM}


@pytest.mark.parametrize("steps", FAMILIES.values(), ids=FAMILIES)
def test_commands(tarvix_adapter: Adapter, steps: List[Step]) -> None:
    for number, (call, expected) in enumerate(steps):
        assert call(tarvix_adapter) == expected, f"step {number}"


def test_events_of_i3c_are_switched(tarvix_bench: Bench, tarvix_adapter: Adapter) -> None:
    bus = tarvix_adapter.i3c
    bus.configure()
    bus.init_bus([I3cTarget(0x30, 0x0A)])
    for switch, address, works in (
        (bus.disec, None, False), (bus.enec, None, True), (bus.disec, 0x0A, False), (bus.enec, 0x0A, True),
    ):
        switch(I3cEvents.IN_BAND_INTERRUPT, address)
        with bus.interrupts(0x0A) as interrupts:
            if works:
                tarvix_bench.raise_interrupt(0, b"\x01\x02")
                assert interrupts.next(5).payload == b"\x01\x02"
            else:
                with pytest.raises(tarvix.TarvixError, match="cannot interrupt now"):
                    tarvix_bench.raise_interrupt(0)


REFUSED: List[Tuple[Callable[[Adapter], Any], str]] = [
    (lambda a: a.i2c[0].read(0x80, 1), "address must be 0x0 to 0x7f, not 0x80"),
    (lambda a: a.i2c[0].read(0x48, 65536), "length must be 0x0 to 0xffff"),
    (lambda a: a.i2c[0].read(0x48, 1, 0x100), "register must be 0x0 to 0xff, not 0x100"),
    (lambda a: a.i2c[0].read(0x48, 1, b"12345"), "register must be at most 4 bytes, not 5"),
    (lambda a: a.i2c[0].read(0x48, 1, 1, register_size=5), "register_size must be 0x1 to 0x4"),
    (lambda a: a.i2c[0].write(0x48, 5), r"not 5: write \[5\]"),  # type: ignore[arg-type]
    (lambda a: a.i2c[0].write(0x48, "text"), r"write 'text'.encode\(\)"),  # type: ignore[arg-type]
    (lambda a: a.i2c[0].write(0x48, [256]), "data must be bytes or numbers from 0 to 255"),
    (lambda a: a.i2c[0].write(0x48, bytes(65536)), "data must be at most 65535 bytes, not 65536"),
    (lambda a: a.i2c[0].transfer_all([I2cRead(0x48, 1)], in_flight=64), "in_flight must be 0x1 to 0x3f, not 0x40"),
    (lambda a: a.i2c[0].transfer_all([I2cRead(0x48, 1), I2cWrite(0x80, b"")]), "address must be 0x0 to 0x7f"),
    (lambda a: a.i2c[0].transfer_all([0x48]), "must be I2cRead or I2cWrite, not 72"),  # type: ignore[list-item]
    (lambda a: a.i2c[0].configure(-1), "frequency must be 0x0 to 0xffffffff, not -0x1"),
    (lambda a: a.spi.transfer(b"123", 2), "length must be at least the 3 bytes of data, not 2"),
    (lambda a: a.uart.configure(300), "baud_rate must be one of 1200, 2400, .*921600, not 300"),
    (lambda a: a.uart.read_until(b""), "end must hold at least one byte"),
    (lambda a: a.gpio[8], "pin must be 0x0 to 0x7, not 0x8"),
    (lambda a: a.gpio[0].write(2), "level must be 0x0 to 0x1"),
    (lambda a: a.i3c.init_bus([I3cTarget(pid=b"1")]), "pid must be 6 bytes, not 1"),
    (lambda a: a.i3c.init_bus([I3cTarget()] * 256), "number of targets must be 0x0 to 0xff"),
    (lambda a: a.i3c.ccc(0x8D, read=6), "code 0x8d is direct: give the target's address"),
    (lambda a: a.i3c.ccc(0x8D, address=9, read=6, data=b"1"), "give one of the two"),
    (lambda a: a.i3c.ccc(0x8D, address=9, read=256), "read must be 0x0 to 0xff"),
    (lambda a: a.i3c.setbuscon(0, bytes(255)), "length of data must be 0x0 to 0xfe"),
    (lambda a: a.i3c.getcaps(9, 256), "defining_byte must be 0x0 to 0xff"),
    (lambda a: tarvix.Adapter(timeout=-1), "timeout must be 0 to"),
]


def test_wrong_arguments_are_named_before_anything_is_sent(tarvix_adapter: Adapter) -> None:
    for call, message in REFUSED:
        with pytest.raises(tarvix.InvalidArgument, match=message) as caught:
            call(tarvix_adapter)
        assert isinstance(caught.value, ValueError)


FAULTS: List[Tuple[Callable[[Adapter], Any], int, str]] = [
    (lambda a: a.i2c[0].read(0x48, 1), 0x0106, "reading 1 bytes from I2C target 0x48 on port 0: set it up first"),
    (lambda a: a.i2c[0].configure(4_000_000), 0x0103, r"\(BAD_PARAMETER, 0x0103\)"),
    (lambda a: a.gpio[0].write(1), 0x0202, "driving pin 0 to 1: an input cannot be driven: make it an output first"),
    (lambda a: a.rails.shared.set_millivolts(5000), 0x0201, "setting the shared rail to 5000 mV"),
    (lambda a: (a.i3c.configure(), a.i3c.init_bus(), a.i3c.getpid(0x44)), 0x0301,
     "CCC GETPID with I3C target 0x44: no target"),
    (lambda a: a.i3c.ccc(0xFE, address=1, mode=I3cTransferMode.HDR_DDR), 0x0103, "CCC 0xfe to I3C address 0x01"),
]


def test_statuses_of_the_adapter_are_exceptions(tarvix_adapter: Adapter) -> None:
    for call, status, message in FAULTS:
        with pytest.raises(DeviceError, match=f"adapter TVX0000001: .*{message}") as caught:
            call(tarvix_adapter)
        assert (caught.value.status, caught.value.name) == (status, tarvix.DeviceStatus(status).name)
        assert isinstance(caught.value, Nack) == (status == 0x0301)


def test_a_failing_transfer_of_many_is_named(tarvix_adapter: Adapter) -> None:
    port = tarvix_adapter.i2c[0]
    port.configure()
    transfers = [I2cWrite(0x50, b"\1", 0), I2cRead(0x50, 1, 0), I2cRead(0x33, 2), I2cWrite(0x50, b"\2", 0)]
    message = "TVX0000001: transfer 2 on I2C port 0: reading 2 bytes from I2C target 0x33: no target acknowledged"
    with pytest.raises(Nack, match=message) as caught:
        port.transfer_all(transfers)
    assert caught.value.transfer == 2
    assert port.read(0x50, 1, 0) == b"\1"


def test_asyncio_has_the_same_methods() -> None:
    pairs: Dict[Any, Any] = {getattr(module, name): getattr(aio, name) for module, name in (
        (tarvix, "Adapter"), (tarvix.i2c, "I2cPort"), (tarvix.spi, "Spi"), (tarvix.uart, "Uart"), (tarvix.gpio, "Pin"),
        (tarvix.gpio, "Gpio"), (i3c, "I3c"), (tarvix.rails, "SharedRail"), (tarvix.rails, "I3cRail"),
        (tarvix.notifications, "Subscription"),
    )}
    here_only = {"value", "deliver", "take", "at_close", "end", "wait", "wake"}
    for ours, theirs in pairs.items():
        for name, method in inspect.getmembers(ours):
            if name.startswith("_") or name in here_only:
                continue
            other = getattr(theirs, name)
            assert isinstance(other, property) == isinstance(method, property), name
            if inspect.isfunction(method):
                assert inspect.signature(other).parameters.keys() == inspect.signature(method).parameters.keys(), name
                assert inspect.iscoroutinefunction(other) or name in (
                    "edges", "interrupts", "hot_joins", "notifications", "on_notification", "reset_input"
                ), name
