"""Counts the edges of two pins while it does something else, with asyncio: count_edges.py [SECONDS]

On the virtual adapter pin 0 is wired to pin 1 and pin 2 to pin 3; two tasks drive the even ones.
"""

import asyncio
import collections
import sys
from typing import Counter

from tarvix import GpioTriggerType
from tarvix.aio import Adapter


async def count(adapter: Adapter, edges: "Counter[int]") -> None:
    """Counts until it is cancelled."""
    async with adapter.gpio.edges([1, 3], GpioTriggerType.RISING_EDGE) as events:
        async for edge in events:
            edges[edge.pin] += 1


async def blink(adapter: Adapter, pin: int, pause: float) -> None:
    """Drives a pin high and low until it is cancelled."""
    await adapter.gpio[pin].output(0)
    while True:
        for level in (1, 0):
            await adapter.gpio[pin].write(level)
            await asyncio.sleep(pause)


async def main() -> None:
    """Prints how many edges came."""
    seconds = float(sys.argv[1]) if len(sys.argv) > 1 else 2.0
    edges: "Counter[int]" = collections.Counter()
    async with Adapter() as adapter:
        jobs = [count(adapter, edges), blink(adapter, 0, 0.01), blink(adapter, 2, 0.03)]
        tasks = [asyncio.ensure_future(job) for job in jobs]
        await asyncio.sleep(seconds)
        for task in tasks:
            task.cancel()
        await asyncio.gather(*tasks, return_exceptions=True)
    print(", ".join(f"pin {pin}: {number} edges" for pin, number in sorted(edges.items())))


if __name__ == "__main__":
    asyncio.run(main())
