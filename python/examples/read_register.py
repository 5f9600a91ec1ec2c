"""Reads the temperature from a sensor on I2C port 0."""

from tarvix import Adapter

SENSOR = 0x48


def read_temperature(adapter: Adapter) -> float:
    """Degrees Celsius: register 0 holds 1/256 of a degree in 16 bits, the high byte first."""
    raw = adapter.i2c[0].read(SENSOR, register=0, length=2)
    return int.from_bytes(raw, "big", signed=True) / 256


def main() -> None:
    """Prints one reading."""
    with Adapter() as adapter:
        adapter.rails.shared.set_millivolts(3300)
        adapter.i2c[0].configure(frequency=400_000)
        print(f"{read_temperature(adapter):.2f} °C")


if __name__ == "__main__":
    main()
