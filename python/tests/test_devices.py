"""Devices of one's own: objects in this process, and programs that a board file names."""

from __future__ import annotations

import json
import pathlib
import sys
from typing import Any, Dict

import devices
import pytest
import tarvix
from devices import Inverter, Registers
from tarvix import SpiChipSelect
from tarvix.simulator import Bench, SimulatorError


def board_of(i2c: object, spi: object, uart: object) -> Dict[str, Any]:
    wires = [{"pins": [3], "pull": "up", "lines": ["mine.interrupt"]}]
    return {"version": 1, "adapters": [
        {"i2c": [{"devices": {"0x20": i2c}}], "spi": [spi], "uart": uart, "gpio": {"wires": wires}}
    ]}


def check(adapter: tarvix.Adapter) -> None:
    """What shows that all three are there."""
    port = adapter.i2c[0]
    port.configure()
    assert port.scan() == [0x20]
    assert port.read(0x20, 3, 2) == b"\2\3\xff"
    with adapter.gpio[3].edges() as edges:
        port.write(0x20, b"\7", 0)
        assert (edges.next(5).pin, adapter.gpio[3].value) == (3, 0)
        port.write(0x20, b"\0", 0)
        assert (edges.next(5).pin, adapter.gpio[3].value) == (3, 1)
    with pytest.raises(tarvix.Nack):
        port.write(0x20, b"\1\2", 3)
    with pytest.raises(tarvix.Nack):
        port.read(0x20, 1, 9)
    adapter.spi.configure(chip_select=SpiChipSelect.SELECT_0)
    assert adapter.spi.transfer(b"\x00\x5a\x11") == b"\xff\xa5\xff"
    adapter.uart.configure()
    adapter.uart.write(b"shout")
    assert adapter.uart.read(5) == b"SHOUT"


def test_devices_in_this_process(capsys: "pytest.CaptureFixture[str]") -> None:
    registers = Registers("mine")
    with Bench(board_of(registers, Inverter(), Inverter())) as bench, bench.adapter() as adapter:
        check(adapter)
        registers.registers[1] = 0x55  # a test changes what the device holds
        assert adapter.i2c[0].read(0x20, 1, 1) == b"\x55"
        adapter.reset()
        with pytest.raises(tarvix.TarvixError):
            while True:
                adapter.usb_string(1)
        adapter.reopen()
        adapter.i2c[0].configure()
        assert adapter.i2c[0].read(0x20, 1, 1) == b"\1"
        assert registers.heard[1:] == ["tarvix device mine"]
        with pytest.raises(tarvix.Nack):
            adapter.i2c[0].write(0x20, b"\xee")
        assert capsys.readouterr().err.count("\nZeroDivisionError\n") == 1
        registers.interrupt(True)  # heard by nobody
    with pytest.raises(SimulatorError, match="a board holds no object: put JSON or a Device there"):
        Bench({"version": 1, "adapters": [object()]})


def test_devices_in_programs_of_their_own(tmp_path: pathlib.Path) -> None:
    def program(device: str, **more: str) -> Dict[str, Any]:
        return {"type": "process", **more, "command": [sys.executable, devices.__file__, device]}

    board = tmp_path / "board.json"
    board.write_text(
        json.dumps(board_of(program("Registers", name="mine"), program("Inverter"), program("Inverter"))),
        encoding="utf-8",
    )
    with Bench(board) as bench, bench.adapter(timeout=10) as adapter:  # the first command waits for them to start
        check(adapter)
