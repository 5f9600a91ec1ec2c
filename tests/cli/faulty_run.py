"""A session that meets what goes wrong at a bench: lost answers, refusals, a device that is not there, and an unplug.

Run by tarvix-sim with the fault drop, in a trace."""

import random
import subprocess
import time

from tarvix import Adapter, AdapterLost, TarvixError

SENSOR, MEMORY, NOBODY = 0x48, 0x50, 0x33


def attempt(steps, draw):
    """Whatever fails, it goes on, unless the adapter is gone."""
    for step in steps:
        try:
            step()
        except AdapterLost:
            raise
        except TarvixError:
            pass
        time.sleep(draw.expovariate(1 / 0.002))


def work(adapter, draw, turns):
    port = adapter.i2c[0]
    attempt([port.configure, adapter.spi.configure, adapter.gpio[2].output, adapter.gpio[3].input, adapter.gpio[3].arm], draw)
    for turn in range(turns):
        steps = [lambda: port.read(SENSOR, 2, 0)] * 4
        steps += [lambda: adapter.spi.transfer(b"\x9f\0\0\0"),
                  lambda at=8 * (turn % 16): port.write(MEMORY, draw.randbytes(8), at),
                  lambda level=turn % 2: adapter.gpio[2].write(level)]
        if turn % 9 == 4:
            steps.append(lambda: port.read(NOBODY, 2, 0))
        attempt(steps, draw)


def main():
    draw = random.Random(3)
    with Adapter(timeout=0.06) as adapter:
        work(adapter, draw, 40)
        subprocess.run(["tarvix-sim", "trigger", "unplug"], check=True)
        try:
            work(adapter, draw, 1)
        except AdapterLost:
            pass
        time.sleep(0.1)
        subprocess.run(["tarvix-sim", "trigger", "replug"], check=True)
        adapter.reopen(within=10)
        work(adapter, draw, 20)


if __name__ == "__main__":
    main()
