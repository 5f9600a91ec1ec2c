"""The same session under asyncio: nothing blocks the loop, and cancelling leaves it usable."""

from __future__ import annotations

import asyncio
import threading
import time
from typing import Any, Awaitable, Callable, Coroutine, List

import pytest
import tarvix
from conftest import Run
from tarvix import aio
from tarvix.simulator import Bench

Body = Callable[[aio.Adapter], Coroutine[Any, Any, None]]


def play(body: Body, **options: Any) -> None:
    """Runs the body with an open adapter."""

    async def main() -> None:
        async with aio.Adapter(**options) as adapter:
            await asyncio.wait_for(body(adapter), 30)

    asyncio.run(main())


def test_commands_and_events(tarvix_bench: Bench) -> None:
    async def body(adapter: aio.Adapter) -> None:
        assert [each.serial for each in await aio.list_adapters()] == [adapter.serial] == ["TVX0000001"]
        await adapter.i2c[0].configure(frequency=100_000)
        assert await adapter.i2c[0].read(0x48, register=0, length=2) == b"\x17\x80"
        results = await asyncio.gather(*(adapter.i2c[0].read(0x48, 2, n) for n in range(4)))
        assert results == [b"\x17\x80", b"\0\0", b"\x4b\0", b"\x50\0"]
        with pytest.raises(tarvix.Nack):
            await adapter.i2c[0].read(0x33, 1)
        await adapter.gpio[0].output(0)
        called: "asyncio.Queue[Any]" = asyncio.Queue()
        undo = adapter.on_notification(lambda what: called.put_nowait((what, threading.current_thread())))
        async with adapter.gpio.edges([1]) as edges:
            for level in (1, 0, 1):
                await adapter.gpio[0].write(level)
            pins = []
            async for edge in edges:
                pins.append(edge.pin)
                if len(pins) == 3:
                    await edges.close()
        assert pins == [1, 1, 1]
        assert (await called.get())[1] is threading.main_thread()
        undo()
        with pytest.raises(tarvix.Timeout):
            await adapter.gpio[1].wait_for_edge(timeout=0.01)
        await adapter.uart.configure()
        await adapter.uart.write(b"a\nb|c")
        assert (await adapter.uart.readline(), await adapter.uart.read_until(b"|"), await adapter.uart.read(1)) == (
            b"a\n", b"b|", b"c"
        )  # fmt: skip
        adapter.uart.timeout = 0.01
        assert await adapter.uart.read(1) == b""
        await adapter.uart.write(b"x\ny\n")
        assert [line async for line in adapter.uart] == [b"x\n", b"y\n"]

    play(body)


def test_loss_and_closing(tarvix_bench: Bench) -> None:
    async def body(adapter: aio.Adapter) -> None:
        edges = adapter.gpio.edges()
        waiting = asyncio.ensure_future(edges.next())
        await asyncio.sleep(0.05)
        tarvix_bench.unplug()
        with pytest.raises(tarvix.AdapterLost):
            await waiting
        with pytest.raises(tarvix.NoAdapter):
            await adapter.reopen(within=0.1)
        tarvix_bench.replug()
        await adapter.reopen()
        assert await adapter.usb_string(1) == "Tarvix"
        waiting = asyncio.ensure_future(adapter.gpio.edges().next())
        await asyncio.sleep(0.05)
        await adapter.close()
        with pytest.raises(tarvix.AdapterClosed):
            await waiting

    play(body)
    with pytest.raises(tarvix.AdapterClosed, match="not open yet: use 'async with', or await it"):
        aio.Adapter().i2c


@pytest.mark.tarvix_bench(latency=0.2)
def test_the_loop_goes_on_during_commands(tarvix_bench: Bench) -> None:
    async def ticks_during(action: Awaitable[object]) -> int:
        ticks, task = 0, asyncio.ensure_future(action)
        while not task.done():
            await asyncio.sleep(0.001)
            ticks += 1
        await task
        return ticks

    async def main() -> None:
        adapter = await aio.Adapter()
        assert await ticks_during(adapter.gpio[0].read()) > 20
        async with adapter.gpio[0].edges() as edges:
            assert await ticks_during(later(edges)) > 20
        await asyncio.sleep(0.3)  # so that the reader waits for as long as it ever does
        assert await ticks_during(adapter.close()) > 10

    async def later(edges: "aio.Subscription[tarvix.Edge]") -> None:
        with pytest.raises(tarvix.Timeout):
            await edges.next(0.1)

    asyncio.run(main())


@pytest.mark.tarvix_bench(latency=0.1)
def test_cancelling(tarvix_bench: Bench) -> None:
    async def body(adapter: aio.Adapter) -> None:
        begun = asyncio.ensure_future(adapter.gpio[0].output(1))
        waiting = [asyncio.ensure_future(adapter.gpio[2].output(1)) for _ in range(20)]
        await asyncio.sleep(0.05)
        for task in (begun, *waiting):
            task.cancel()
        assert all(isinstance(each, asyncio.CancelledError) for each in await asyncio.gather(begun, *waiting, return_exceptions=True))
        assert await adapter.gpio[1].read() == 1  # carried out: it had begun
        assert await adapter.gpio[3].read() == 0  # not sent

        edges = adapter.gpio[1].edges()
        arming = asyncio.ensure_future(edges.next())
        await asyncio.sleep(0.05)
        arming.cancel()
        await asyncio.gather(arming, return_exceptions=True)
        async with adapter.notifications() as everything:
            await adapter.gpio[0].write(0)
            with pytest.raises(tarvix.Timeout):
                await everything.next(0.15)

        async with adapter.gpio[1].edges() as live:
            with pytest.raises(asyncio.TimeoutError):
                await asyncio.wait_for(live.next(), 0.02)
            await adapter.gpio[0].write(1)
            assert (await live.next(5)).pin == 1  # none was lost

    play(body)


def test_opening_may_be_cancelled(tarvix_bench: Bench) -> None:
    async def main() -> None:
        adapter = aio.Adapter()
        task = asyncio.ensure_future(adapter.open())
        await asyncio.sleep(0)
        task.cancel()
        await asyncio.gather(task, return_exceptions=True)
        for _ in range(200):
            try:
                async with aio.Adapter() as other:
                    return await other.rails.shared.set_millivolts(3000)
            except tarvix.AdapterInUse:
                await asyncio.sleep(0.01)
        raise AssertionError("the adapter stays open")

    asyncio.run(main())


ABANDONED = """
import asyncio, tarvix.aio
async def main():
    adapter = await tarvix.aio.Adapter(timeout=None)
    asyncio.ensure_future(adapter.gpio[0].read())
    asyncio.ensure_future(adapter.gpio.edges().next())
    await asyncio.sleep(0.1)
    print(time.time())
bench = Bench(faults=["drop"])
asyncio.run(main())
"""


def test_the_interpreter_exits_under_a_command(run: Run) -> None:
    result = run(ABANDONED)
    assert (result.returncode, result.stderr) == (0, "")
    assert time.time() - float(result.stdout) < 1


def test_one_thread_an_adapter(tarvix_bench: Bench) -> None:
    names: List[str] = []

    async def body(adapter: aio.Adapter) -> None:
        await asyncio.gather(*(adapter.gpio[n].read() for n in range(8)))
        names.extend(thread.name for thread in threading.enumerate() if thread.name == "tarvix commands")

    play(body)
    assert names == ["tarvix commands"]
