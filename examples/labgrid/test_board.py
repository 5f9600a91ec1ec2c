"""Switches the board on and reads its temperature sensor: pytest-3 --lg-env lab.yaml test_board.py"""


def test_sensor_answers(target):
    power = target.get_driver("TarvixPinDriver", name="power")
    power.set(True)
    assert power.get()
    port = target.get_driver("TarvixDriver").adapter.i2c[0]
    port.configure(frequency=400_000)
    assert port.read(0x48, register=0, length=2) == b"\x17\x80"
