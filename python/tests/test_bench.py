"""The virtual bench in this process, and the pytest plugin in another."""

from __future__ import annotations

import os
import pathlib
import subprocess
import sys

import pytest
import tarvix
from conftest import PYTEST, Run
from tarvix import Adapter
from tarvix.simulator import Bench, SimulatorError


def test_one_after_another_and_other_programs() -> None:
    for serial in ("FIRST", "SECOND"):
        with Bench(serial=serial) as bench:
            with bench.adapter() as adapter:
                assert adapter.serial == serial
                adapter.i2c[0].configure()
                assert adapter.i2c[0].read(0x50, 1, 0) == b"\xff"  # a fresh one each time
                adapter.i2c[0].write(0x50, b"x", 0)
            with pytest.raises(SimulatorError, match="a bench runs already in this process"):
                Bench()
            program = "import tarvix; print(tarvix.list_adapters()[0].serial)"
            command = [sys.executable, "-c", program]
            assert subprocess.check_output(command, env=bench.environment, text=True) == f"{serial}\n"
        bench.close()
        assert tarvix.list_adapters() == []
        with pytest.raises(SimulatorError, match="does not answer"):
            bench.unplug()
    with Bench(serial="SECOND"):
        before = adapter.path
        adapter.reopen()  # the same one at another node
        assert adapter.is_open and adapter.path != before
        adapter.close()


BOARD = """{"version": 1, "adapters": [
    {"serial": "OWN1", "i2c": [{"devices": {"0x1a": {"type": "temperature_sensor"}}}]}
]}"""


@pytest.fixture
def board(tmp_path: pathlib.Path) -> pathlib.Path:
    path = tmp_path / "board.json"
    path.write_text(BOARD, encoding="utf-8")
    return path


def test_a_board_of_ones_own(board: pathlib.Path) -> None:
    with Bench(board, adapters=2), Adapter("OWN2") as adapter:
        adapter.i2c[0].configure()
        assert adapter.i2c[0].scan() == [0x1A]
    board.write_text(BOARD.replace("temperature_sensor", "thermometer"), encoding="utf-8")
    with pytest.raises(SimulatorError, match="/adapters/0/i2c/0/devices/0x1a/type.*thermometer"):
        Bench(board)


def test_the_hand_on_the_bench(tarvix_bench: Bench, tarvix_adapter: Adapter) -> None:
    tarvix_adapter.i2c[0].configure()
    tarvix_adapter.uart.configure()
    sensor, eeprom = tarvix_bench.device("temperature").registers, tarvix_bench.device("small-eeprom").registers
    sensor[0] = 0x1900
    assert (tarvix_adapter.i2c[0].read(0x48, 2, 0), sensor[0]) == (b"\x19\x00", 0x1900)
    eeprom[0x10] = b"abc"
    assert (tarvix_adapter.i2c[0].read(0x50, 3, 0x10), bytes(eeprom[0x10:0x14])) == (b"abc", b"abc\xff")
    large = tarvix_bench.device("large-eeprom").registers
    large[0] = list(range(100)) * 90  # more than a message holds
    assert large[:9000] == list(range(100)) * 90
    for wrong in (slice(0, 4, 2), slice(0, None), slice(-4, 2)):
        with pytest.raises(tarvix.InvalidArgument, match="FIRST:END"):
            large[wrong]
    with tarvix_adapter.gpio[2].edges() as edges:
        tarvix_bench.gpio[2].hold(1)
        assert (edges.next(5).pin, tarvix_adapter.gpio[2].value) == (2, 1)
        tarvix_bench.gpio[2].let_go()
        assert (edges.next(5).pin, tarvix_adapter.gpio[2].value) == (2, 0)
    tarvix_bench.uart.send(b"from outside")
    assert tarvix_adapter.uart.read(12) == b"from outside"
    tarvix_adapter.uart.write(b"from inside")
    assert (tarvix_bench.uart.sent(), tarvix_bench.uart.sent()) == (b"from inside", b"")
    tarvix_bench.device("small-eeprom").fault("nack")
    assert not tarvix_adapter.i2c[0].probe(0x50)
    tarvix_bench.device("temperature").stretch(0.05)
    tarvix_bench.faults_off()
    assert tarvix_adapter.i2c[0].probe(0x50)
    tarvix_bench.hold_bus(0)
    with pytest.raises(tarvix.DeviceError, match="BUS_STUCK"):
        tarvix_adapter.i2c[0].read(0x48, 2)
    tarvix_bench.hold_bus(0, held=False)
    sensor[3] = 0x1234
    tarvix_bench.device("temperature").power_cycle()
    assert (sensor[3], sensor[0]) == (0x5000, 0x1900)  # a setting, and the temperature, which is the world's
    tarvix_bench.device("temperature").reset(held=True)
    assert not tarvix_adapter.i2c[0].probe(0x48)
    tarvix_bench.device("temperature").reset(held=False)
    assert tarvix_bench.state()["serial"] == "TVX0000001" and tarvix_bench.state()["i2c"][0]["initialised"]
    tarvix_bench.fault("drop")
    with pytest.raises(tarvix.Timeout), Adapter(exclusive=False, timeout=0.05) as hasty:
        hasty.gpio[0].read()
    with pytest.raises(SimulatorError, match="nobody"):
        tarvix_bench.device("nobody").power_cycle()


def test_buttons_and_several_adapters() -> None:
    wires = [{"name": "start", "pins": [5], "pull": "up", "button": "low"}]
    with Bench({"version": 1, "adapters": [{"gpio": {"wires": wires}}]}, adapters=2) as bench:
        with bench.adapter("TVX0000001") as first, bench.adapter("TVX0000002") as second:
            bench.at(1).wire("start").press()
            assert (first.gpio[5].value, second.gpio[5].value) == (1, 0)
            bench.at("TVX0000002").gpio[5].release()
            assert second.gpio[5].value == 1


def test_why_it_does_not_start(monkeypatch: pytest.MonkeyPatch, run: Run) -> None:
    with pytest.raises(SimulatorError, match="cannot start a virtual adapter: .*--report-size.*'65'"):
        Bench(report_size=65)
    with Bench(options=["--fault", "drop", "--seed", "3"]), Adapter(timeout=0.01) as adapter:
        with pytest.raises(tarvix.Timeout):
            adapter.gpio[0].read()
    late = run("tarvix.list_adapters()\ntry: Bench()\nexcept tarvix.TarvixError as error: sys.exit(str(error))")
    assert "start the Bench before the first use" in late.stderr
    monkeypatch.setenv("TARVIX_SIM", "/nowhere")
    with pytest.raises(SimulatorError, match="TARVIX_SIM names /nowhere, which is no program"):
        Bench()
    monkeypatch.delenv("TARVIX_SIM")
    monkeypatch.setenv("PATH", "/nowhere")
    with pytest.raises(SimulatorError, match="tarvix-sim is not installed"):
        Bench()


TESTS = """
import pytest

def test_sensor(tarvix_adapter):
    tarvix_adapter.i2c[0].configure()
    assert tarvix_adapter.i2c[0].read(0x48, register=0, length=2) == b"\\x17\\x80"

@pytest.mark.tarvix_bench(serial="MARKED")
def test_marked(tarvix_bench, tarvix_adapter):
    assert tarvix_adapter.serial == "MARKED"

def test_bench(tarvix_bench):
    with tarvix_bench.adapter():
        tarvix_bench.unplug()

@pytest.mark.tarvix_bench("board.json")
def test_board(tarvix_bench, tarvix_adapter):
    assert tarvix_adapter.serial == "OWN1"
"""


def test_the_plugin_runs_the_same_tests_on_a_real_adapter(tmp_path: pathlib.Path, board: pathlib.Path) -> None:
    (tmp_path / "test_board.py").write_text(TESTS, encoding="utf-8")

    def pytest_run(*options: str, **environment: str) -> str:
        command = [*PYTEST, "--strict-markers", "-rs", *options, str(tmp_path)]
        variables = {**os.environ, **environment}
        result = subprocess.run(command, env=variables, cwd=tmp_path, stdout=subprocess.PIPE, text=True, check=False)
        return result.stdout

    assert "4 passed" in pytest_run()
    assert "1 failed, 3 passed" in pytest_run("--tarvix-board", str(board))  # which has nothing at 0x48
    with Bench(serial="REAL") as bench:  # stands in for the machine's adapters
        real = pytest_run("--tarvix-adapter", "REAL", **bench.environment)
    assert "1 passed, 3 skipped" in real and "needs the virtual bench: run it without --tarvix-adapter" in real
    assert "NoAdapter: no adapter attached with serial number NONE" in pytest_run("--tarvix-adapter", "NONE")
