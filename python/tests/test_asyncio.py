"""The same session under asyncio: nothing blocks the loop, and cancelling leaves it usable."""

from __future__ import annotations

import asyncio
import threading
from typing import Any, Awaitable, Callable, Coroutine, Iterator, List

import pytest
import tarvix
from conftest import Run
from tarvix import aio
from tarvix.simulator import Bench

Body = Callable[[aio.Adapter], Coroutine[Any, Any, None]]


def play(body: Body, **options: Any) -> None:
    """Runs the body with an open adapter; nothing may go wrong behind its back."""
    unheard: List[Any] = []

    async def main() -> None:
        asyncio.get_running_loop().set_exception_handler(lambda _, context: unheard.append(context))
        async with aio.Adapter(**options) as adapter:
            await asyncio.wait_for(body(adapter), 30)

    asyncio.run(main())
    assert unheard == []


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
        )
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


@pytest.mark.tarvix_bench(latency=0.1)
def test_the_loop_goes_on_during_commands(tarvix_bench: Bench) -> None:
    async def ticks_during(action: Awaitable[object]) -> int:
        ticks, task = 0, asyncio.ensure_future(action)
        while not task.done():
            await asyncio.sleep(0.001)
            ticks += 1
        await task
        return ticks

    async def main() -> None:
        for _ in range(20):  # a busy machine may hold up both
            adapter = await aio.Adapter()
            command = await ticks_during(adapter.gpio[0].read())
            await asyncio.sleep(0.15)  # so that the reader waits for as long as it ever does
            if command > 3 and await ticks_during(adapter.close()) > 3:
                return
            await adapter.close()
        raise AssertionError("the loop stands still")

    asyncio.run(main())


class Gate:
    """Numbers that a command is given: it has begun when it asks for them, and goes on when it may."""

    def __init__(self, *numbers: int) -> None:
        self._numbers = numbers
        self.begun = threading.Event()
        self.open = threading.Event()

    def __iter__(self) -> Iterator[int]:
        self.begun.set()
        assert self.open.wait(30)
        return iter(self._numbers)

    async def cancel(self, *tasks: "asyncio.Future[Any]") -> None:
        """Cancels the tasks once the command has begun, then lets it go on."""
        while not self.begun.is_set():
            await asyncio.sleep(0.001)
        for task in tasks:
            task.cancel()
        ended = await asyncio.gather(*tasks, return_exceptions=True)
        assert all(isinstance(each, asyncio.CancelledError) for each in ended)
        self.open.set()


def test_cancelling(tarvix_bench: Bench) -> None:
    async def body(adapter: aio.Adapter) -> None:
        await adapter.i2c[0].configure()
        data = Gate(0x10, 0xAA)
        begun = asyncio.ensure_future(adapter.i2c[0].write(0x50, data))
        waiting = [asyncio.ensure_future(adapter.i2c[0].write(0x50, [0x11, 0xBB])) for _ in range(3)]
        await data.cancel(begun, *waiting)
        assert await adapter.i2c[0].read(0x50, 2, 0x10) == b"\xaa\xff"  # what had begun was carried out, the others not

        pins = Gate(1)
        await pins.cancel(asyncio.ensure_future(adapter.gpio.edges(pins).next()))
        async with adapter.notifications() as everything:
            await adapter.gpio[0].output(1)
            with pytest.raises(tarvix.Timeout):  # disarmed again
                await everything.next(0.05)

        async with adapter.gpio[1].edges() as edges:
            with pytest.raises(asyncio.TimeoutError):
                await asyncio.wait_for(edges.next(), 0.02)
            await adapter.gpio[0].write(0)
            assert (await edges.next(5)).pin == 1  # none was lost

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
    print("end")
bench = Bench(faults=["drop"])
asyncio.run(main())
"""


def test_the_interpreter_exits_under_a_command(run: Run) -> None:
    result = run(ABANDONED)
    assert (result.returncode, result.stdout, result.stderr) == (0, "end\n", "")


def test_one_thread_an_adapter(tarvix_bench: Bench) -> None:
    before = set(threading.enumerate())
    names: List[str] = []

    async def body(adapter: aio.Adapter) -> None:
        await asyncio.gather(*(adapter.gpio[n].read() for n in range(8)))
        names.extend(thread.name for thread in set(threading.enumerate()) - before)

    play(body)
    assert names == ["tarvix commands"]
