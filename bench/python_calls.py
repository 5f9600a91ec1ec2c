"""An I2C read with the Python package, blocking and asyncio, against the same flat call from C++, in processor time.

    tarvix-sim run -- python3 python_calls.py FLAT_CALLS ROUNDS

finds the package by PYTHONPATH and prints the medians as job_benchmark does."""

import asyncio
import statistics
import subprocess
import sys
import time

from tarvix import Adapter, aio

CALLS = 1000  # a round


def blocking():
    """Processor seconds a call."""
    with Adapter() as adapter:
        port = adapter.i2c[0]
        port.configure()
        begin = time.process_time()
        for _ in range(CALLS):
            port.read(0x48, 2, 0)
        return (time.process_time() - begin) / CALLS


async def awaited():
    async with aio.Adapter() as adapter:
        port = adapter.i2c[0]
        await port.configure()
        begin = time.process_time()
        for _ in range(CALLS):
            await port.read(0x48, 2, 0)
        return (time.process_time() - begin) / CALLS


def main():
    program, rounds = sys.argv[1], int(sys.argv[2])
    flat, python, coroutine = [], [], []
    for _ in range(rounds):
        output = subprocess.run([program, str(CALLS)], stdout=subprocess.PIPE, text=True, check=True).stdout
        flat.append(float(output))
        python.append(blocking())
        coroutine.append(asyncio.run(awaited()))
    floor = statistics.median(flat)
    for name, costs in (("blocking", python), ("asyncio", coroutine)):
        print(f"bench: python/{name} {statistics.median(costs):.9f} {floor:.9f} {max(costs):.9f}")


if __name__ == "__main__":
    main()
