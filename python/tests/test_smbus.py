"""smbus2's methods, messages and errors, and a driver from Debian that knows nothing of us."""

# mypy: disable-error-code="func-returns-value"

from __future__ import annotations

import errno
import importlib
import inspect
import struct
from typing import Any, Callable, List, Tuple

import pytest
import tarvix
from tarvix import Adapter
from tarvix.simulator import Bench
from tarvix.smbus import I2cFunc, SMBus, i2c_msg

smbus2: Any = importlib.import_module("smbus2")
bme280: Any = importlib.import_module("bme280")
EEPROM = 0x50


@pytest.fixture
def bus(tarvix_adapter: Adapter) -> SMBus:
    return SMBus(tarvix_adapter, 0)


STEPS: List[Tuple[Callable[[SMBus], Any], Any]] = [
    (lambda b: b.write_quick(EEPROM), None),
    (lambda b: b.read_word_data(0x48, 0), 0x8017),  # low byte first, whatever the sensor means
    (lambda b: b.read_byte_data(0x48, 0, force=True), 0x17),
    (lambda b: (b.write_byte_data(EEPROM, 0x20, 0x5A), b.read_byte_data(EEPROM, 0x20)), (None, 0x5A)),
    (lambda b: (b.write_byte(EEPROM, 0x20), b.read_byte(EEPROM)), (None, 0x5A)),
    (lambda b: (b.write_word_data(EEPROM, 0x22, 0x1234), b.read_i2c_block_data(EEPROM, 0x22, 2)), (None, [0x34, 0x12])),
    (lambda b: (b.write_i2c_block_data(EEPROM, 0x28, [1, 2, 3]), b.read_i2c_block_data(EEPROM, 0x27, 5)),
     (None, [255, 1, 2, 3, 255])),
    (lambda b: (b.write_block_data(EEPROM, 0x30, [7, 8]), b.read_block_data(EEPROM, 0x30)), (None, [7, 8])),
    (lambda b: b.read_i2c_block_data(EEPROM, 0x30, 3), [2, 7, 8]),
    (lambda b: b.process_call(0x48, 2, 0x2211), 0x2211),  # sets the limit and reads it back
    (lambda b: (b.write_i2c_block_data(EEPROM, 0x42, [2, 5, 6]), b.block_process_call(EEPROM, 0x40, [9])),
     (None, [5, 6])),
    (lambda b: b.read_block_data(EEPROM, 0x40), [9]),
    (lambda b: (b.pec, b.enable_pec(False), b.close(), b.open(0)), (0, None, None, None)),
    (lambda b: [name for name, bits in I2cFunc.__members__.items() if b.funcs & bits != bits], ["SMBUS_PEC"]),
    (lambda b: {name for name, bits in I2cFunc.__members__.items() if bits != getattr(smbus2.I2cFunc, name)}, set()),
]


def test_methods(bus: SMBus) -> None:
    for number, (call, expected) in enumerate(STEPS):
        assert call(bus) == expected, f"step {number}"
    theirs = {name: method for name, method in inspect.getmembers(smbus2.SMBus) if not name.startswith("_")}
    for name, method in theirs.items():
        ours = getattr(SMBus, name)
        if inspect.isfunction(method) and name != "open":
            assert inspect.signature(ours).parameters.keys() == inspect.signature(method).parameters.keys(), name


@pytest.mark.parametrize("message", [i2c_msg, smbus2.i2c_msg])
def test_messages(bus: SMBus, message: Any) -> None:
    bus.i2c_rdwr()
    bus.i2c_rdwr(message.write(EEPROM, [0x40, 1, 2, 3]))
    read = message.read(EEPROM, 4)
    with bus as same:
        same.i2c_rdwr(message.write(EEPROM, b"\x3f"), read)
    assert (list(read), bytes(read), len(read)) == ([255, 1, 2, 3], b"\xff\1\2\3", 4)
    next_ = message.read(EEPROM, 1)
    bus.i2c_rdwr(next_)
    assert list(next_) == [255]
    assert repr(message.write(1, "ab")) == repr(smbus2.i2c_msg.write(1, "ab"))
    for messages in (
        [message.write(EEPROM, [1]), message.write(EEPROM, [1])],
        [message.read(EEPROM, 1), message.read(EEPROM, 1)],
        [message.write(EEPROM, [1]), message.read(0x48, 1)],
        [message.write(EEPROM, bytes(5)), message.read(EEPROM, 1)],
        [read, read, read],
    ):
        with pytest.raises(OSError, match="send the others by themselves") as caught:
            bus.i2c_rdwr(*messages)
        assert caught.value.errno == errno.EOPNOTSUPP


def test_errors(tarvix_bench: Bench, tarvix_adapter: Adapter, bus: SMBus) -> None:
    refused: List[Tuple[Callable[[], Any], int]] = [
        (lambda: bus.read_byte(0x33), errno.EREMOTEIO),
        (lambda: bus.write_quick(0x33), errno.EREMOTEIO),
        (lambda: bus.read_byte(0x333), errno.EINVAL),
        (lambda: bus.enable_pec(), errno.EOPNOTSUPP),
        (lambda: setattr(bus, "pec", 1), errno.EOPNOTSUPP),
        (lambda: bus.read_block_data(EEPROM, 0), errno.EPROTO),  # 0xFF bytes
        (lambda: SMBus(tarvix_adapter, 2), errno.ENODEV),
        (lambda: SMBus(tarvix_adapter, 1, frequency=9_000_000), errno.EIO),
        (lambda: SMBus(tarvix_adapter, 1, frequency=None).read_byte(EEPROM), errno.EIO),
    ]
    for call, number in refused:
        with pytest.raises(OSError) as caught:
            call()
        assert caught.value.errno == number
    with pytest.raises(ValueError, match="length must be 0 to 32, not 33"):
        bus.read_i2c_block_data(EEPROM, 0, 33)
    with pytest.raises(ValueError, match="data must be at most 32 bytes, not 33"):
        bus.write_block_data(EEPROM, 0, bytes(33))
    tarvix_bench.unplug()
    with pytest.raises(OSError) as caught:
        while True:
            bus.read_byte(EEPROM)
    assert caught.value.errno == errno.ENODEV and isinstance(caught.value.__cause__, tarvix.AdapterLost)


def test_a_driver_written_for_smbus2(tarvix_adapter: Adapter, bus: SMBus) -> None:
    # The worked example of the sensor's data sheet, in an EEPROM: 25.08 degrees and 1006.53 hPa.
    trimming = (27504, 26435, -1000, 36477, -10685, 3024, 2855, 140, -7, 15500, -14600, 6000)
    for offset, word in enumerate(trimming):
        bus.write_i2c_block_data(EEPROM, 0x88 + 2 * offset, list(struct.pack("<H", word & 0xFFFF)))
    raw = [(reading << 4).to_bytes(3, "big") for reading in (415148, 519888)]  # pressure, temperature
    for offset, byte in enumerate(b"".join(raw) + bytes(2)):
        bus.write_byte_data(EEPROM, 0xF7 + offset, byte)
    sample = bme280.sample(bus, EEPROM)
    assert (round(sample.temperature, 2), round(sample.pressure, 2)) == (25.08, 1006.53)
    assert bus.read_byte_data(EEPROM, 0xF4) == 0x25  # what the driver set
