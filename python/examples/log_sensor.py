"""Logs a sensor, and draws what it read: log_sensor.py PICTURE.png [--readings N] [--every SECONDS]

On the virtual board examples/boards/heater.json a heater goes on and off beside it, every second.
"""

import argparse
import time
from typing import List, Tuple

from matplotlib import figure

from tarvix import Adapter, AdapterLost

SENSOR = 0x48
TEMPERATURE = 0  # register


def log(adapter: Adapter, readings: int, pause: float) -> List[Tuple[float, float]]:
    """Pairs of seconds and degrees Celsius. Goes on after the adapter was unplugged."""
    values: List[Tuple[float, float]] = []
    begin = time.monotonic()
    while len(values) < readings:
        try:
            raw = adapter.i2c[0].read(SENSOR, register=TEMPERATURE, length=2)
            values.append((time.monotonic() - begin, int.from_bytes(raw, "big", signed=True) / 256))
        except AdapterLost:
            adapter.reopen(within=60)
            adapter.i2c[0].configure()
        time.sleep(pause)
    return values


def draw(values: List[Tuple[float, float]], path: str) -> None:
    """Draws the curve."""
    picture = figure.Figure(figsize=(7, 3.5), layout="constrained")
    axes = picture.subplots()
    axes.plot([seconds for seconds, _ in values], [degrees for _, degrees in values], marker=".")
    axes.set(xlabel="seconds", ylabel="°C", title="Sensor 0x48 on I2C port 0")
    axes.grid(alpha=0.3)
    picture.savefig(path, dpi=100)


def main() -> None:
    """Logs and draws."""
    parser = argparse.ArgumentParser(description="Logs a sensor, and draws what it read.")
    parser.add_argument("picture", help="the PNG file to write")
    parser.add_argument("--readings", type=int, default=60)
    parser.add_argument("--every", type=float, default=0.05, metavar="SECONDS")
    chosen = parser.parse_args()
    with Adapter() as adapter:
        adapter.i2c[0].configure()
        values = log(adapter, chosen.readings, chosen.every)
    draw(values, chosen.picture)
    print(f"{len(values)} readings, the last {values[-1][1]:.2f} °C")


if __name__ == "__main__":
    main()
