"""A production test of a board: pytest test_board.py, or on hardware pytest --tarvix-adapter SERIAL test_board.py"""

import pytest
from tarvix import Adapter, SpiChipSelect


@pytest.fixture
def board(tarvix_adapter: Adapter) -> Adapter:
    """The board, powered and set up."""
    tarvix_adapter.rails.shared.set_millivolts(3300)
    tarvix_adapter.i2c[0].configure(frequency=400_000)
    tarvix_adapter.spi.configure(10_000_000, chip_select=SpiChipSelect.SELECT_0)
    return tarvix_adapter


def test_supply(board: Adapter) -> None:
    assert board.rails.shared.read_millivolts() == pytest.approx(3300, rel=0.05)


def test_i2c_devices_answer(board: Adapter) -> None:
    assert {0x48, 0x50} <= set(board.i2c[0].scan())


def test_temperature_is_plausible(board: Adapter) -> None:
    raw = board.i2c[0].read(0x48, register=0, length=2)
    assert 10 < int.from_bytes(raw, "big", signed=True) / 256 < 40


def test_flash_identifies_itself(board: Adapter) -> None:
    assert board.spi.transfer(b"\x9f", 4)[2:] == b"\x40\x14"


def test_interrupt_line(board: Adapter) -> None:
    board.gpio[0].output(0)
    with board.gpio[1].edges() as edges:
        board.gpio[0].value = 1
        assert edges.next(timeout=1).pin == 1
