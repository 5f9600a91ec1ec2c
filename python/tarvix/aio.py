"""The same for asyncio: commands are coroutines, notifications come by ``async for``.

>>> async def main():
...     async with tarvix.aio.Adapter() as adapter:
...         await adapter.i2c[0].configure()
...         return await adapter.i2c[0].read(0x48, register=0, length=2)
>>> asyncio.run(main())
b'\\x17\\x80'

Each adapter has a thread that runs its commands one after another, so nothing blocks the event loop. Cancelling a
coroutine drops its command if it has not begun; one that has begun is carried out and its result dropped. Either way
the session goes on.
"""

from __future__ import annotations

import asyncio
import contextlib
import functools
import queue
import threading
import time
import weakref
from types import TracebackType
from typing import (
    TYPE_CHECKING,
    Any,
    AsyncIterator,
    Callable,
    Coroutine,
    Generator,
    Generic,
    Iterable,
    Iterator,
    List,
    Optional,
    Tuple,
    Type,
    TypeVar,
)

from . import adapter as blocking
from . import gpio, i2c, i3c, notifications, rails, spi, uart
from ._session import LONGEST
from .adapter import AdapterInfo
from .enums import GpioTriggerType
from .errors import AdapterClosed, InvalidArgument, OpenError, Timeout
from .notifications import Edge, HotJoin, InBandInterrupt, Inbox, Notification

if TYPE_CHECKING:
    from typing_extensions import Concatenate, ParamSpec

    P = ParamSpec("P")

__all__ = ["Adapter", "Gpio", "I2cPort", "I3c", "Pin", "Rails", "Spi", "Subscription", "Uart", "list_adapters"]

T = TypeVar("T")
S = TypeVar("S", bound="Subscription[Any]")

_PAUSE = 0.05


class _Worker:
    """Runs functions one after another on a thread of its own, which lasts as long as this."""

    def __init__(self) -> None:
        self._jobs: queue.SimpleQueue[Optional[Callable[[], None]]] = queue.SimpleQueue()
        threading.Thread(target=_work, args=(self._jobs,), name="tarvix commands", daemon=True).start()
        weakref.finalize(self, self._jobs.put, None)

    def post(self, function: Callable[[], None]) -> None:
        """Runs it and tells nobody."""
        self._jobs.put(function)

    async def run(self, function: Callable[[], T]) -> T:
        """What it returns or raises. Not begun once this is cancelled."""
        loop = asyncio.get_running_loop()
        future: asyncio.Future[T] = loop.create_future()

        def job() -> None:
            if future.cancelled():
                return
            try:
                result = function()
            except BaseException as error:
                tell = functools.partial(_fail, future, error)
            else:
                tell = functools.partial(_finish, future, result)
            with contextlib.suppress(RuntimeError):  # the loop is closed: nobody waits
                loop.call_soon_threadsafe(tell)

        self.post(job)
        return await future


def _work(jobs: queue.SimpleQueue[Optional[Callable[[], None]]]) -> None:
    while True:
        job = jobs.get()
        if job is None:
            return
        job()
        del job


def _finish(future: asyncio.Future[T], result: T) -> None:
    if not future.done():
        future.set_result(result)


def _fail(future: asyncio.Future[T], error: BaseException) -> None:
    if not future.done():
        future.set_exception(error)


def _coroutine(method: Callable[Concatenate[Any, P], T]) -> Callable[Concatenate[Any, P], Coroutine[Any, Any, T]]:
    """The blocking method as a coroutine of the class that has the blocking object as ``_sync``."""

    @functools.wraps(method)
    async def call(self: Any, /, *args: P.args, **kwargs: P.kwargs) -> T:
        worker: _Worker = self._worker
        return await worker.run(functools.partial(method, self._sync, *args, **kwargs))

    return call


async def _wait(inbox: Inbox, look: Callable[[], Optional[T]], timeout: Optional[float]) -> Optional[T]:
    """`Inbox.wait` without blocking the loop."""
    loop = asyncio.get_running_loop()
    event = asyncio.Event()
    deadline = None if timeout is None else time.monotonic() + timeout

    def wake() -> None:
        with contextlib.suppress(RuntimeError):  # the loop is closed: nobody waits
            loop.call_soon_threadsafe(event.set)

    inbox.wakers.append(wake)
    try:
        while True:
            event.clear()
            found = look()
            if found is not None:
                return found
            if inbox.ended is not None:
                raise inbox.ended
            left = None if deadline is None else deadline - time.monotonic()
            if left is not None and left <= 0:
                return None
            with contextlib.suppress(asyncio.TimeoutError):
                await asyncio.wait_for(event.wait(), left)
    finally:
        inbox.wakers.remove(wake)


class Subscription(Generic[T]):
    """Notifications from its start on, in order: ``async with adapter.gpio.edges() as edges: async for edge in edges``.

    It starts on entering ``async with``, or with the first one asked for. Iteration ends when the subscription or the
    adapter is closed, and raises `AdapterLost` when the adapter is lost. Close it when done.
    """

    def __init__(self, worker: _Worker, subscribe: Callable[[], notifications.Subscription[T]]) -> None:
        self._worker = worker
        self._subscribe = subscribe
        self._sync: Optional[notifications.Subscription[T]] = None

    @property
    def dropped(self) -> int:
        """How many were dropped because too many waited here."""
        return self._sync.dropped if self._sync else 0

    async def next(self, timeout: Optional[float] = None) -> T:
        """The oldest one; waits for it.

        :param timeout: seconds to wait; None without limit
        :raises Timeout: when none came in time
        :raises AdapterLost, AdapterClosed: when none will come any more
        """
        sync = await self._start()
        found = await _wait(sync, sync.take, timeout)
        if found is None:
            raise Timeout(f"{sync.nothing} within {timeout} s")
        return found

    async def close(self) -> None:
        """Ends the subscription; whoever waits for it stops."""
        await self._worker.run(self._close)

    async def _start(self) -> notifications.Subscription[T]:
        if self._sync is None:
            try:
                await self._worker.run(self._open)
            except asyncio.CancelledError:
                self._worker.post(self._close)  # nobody else will
                raise
            assert self._sync is not None
        return self._sync

    def _open(self) -> None:
        if self._sync is None:
            self._sync = self._subscribe()

    def _close(self) -> None:
        if self._sync is not None:
            self._sync.close()

    def __aiter__(self) -> AsyncIterator[T]:
        return self

    async def __anext__(self) -> T:
        try:
            return await self.next()
        except AdapterClosed:
            raise StopAsyncIteration from None

    async def __aenter__(self: S) -> S:
        await self._start()
        return self

    async def __aexit__(
        self, kind: Optional[Type[BaseException]], error: Optional[BaseException], trace: Optional[TracebackType]
    ) -> None:
        await self.close()


class I2cPort:
    """One I2C port; see `tarvix.i2c.I2cPort`."""

    def __init__(self, sync: i2c.I2cPort, worker: _Worker) -> None:
        self._sync = sync
        self._worker = worker
        self.index = sync.index
        """Number of the port."""

    configure = _coroutine(i2c.I2cPort.configure)
    set_parameters = _coroutine(i2c.I2cPort.set_parameters)
    set_pull_ups = _coroutine(i2c.I2cPort.set_pull_ups)
    read = _coroutine(i2c.I2cPort.read)
    write = _coroutine(i2c.I2cPort.write)
    transfer_all = _coroutine(i2c.I2cPort.transfer_all)
    probe = _coroutine(i2c.I2cPort.probe)
    scan = _coroutine(i2c.I2cPort.scan)


class Spi:
    """The SPI controller; see `tarvix.spi.Spi`."""

    def __init__(self, sync: spi.Spi, worker: _Worker) -> None:
        self._sync = sync
        self._worker = worker

    configure = _coroutine(spi.Spi.configure)
    set_parameters = _coroutine(spi.Spi.set_parameters)
    transfer = _coroutine(spi.Spi.transfer)
    write = _coroutine(spi.Spi.write)
    read = _coroutine(spi.Spi.read)


class SharedRail:
    """The rail of I2C, SPI, UART and GPIO; see `tarvix.rails.SharedRail`."""

    def __init__(self, sync: rails.SharedRail, worker: _Worker) -> None:
        self._sync = sync
        self._worker = worker

    set_millivolts = _coroutine(rails.SharedRail.set_millivolts)
    use_external = _coroutine(rails.SharedRail.use_external)
    read_millivolts = _coroutine(rails.SharedRail.read_millivolts)


class I3cRail:
    """The rail of I3C; see `tarvix.rails.I3cRail`."""

    def __init__(self, sync: rails.I3cRail, worker: _Worker) -> None:
        self._sync = sync
        self._worker = worker

    set_millivolts = _coroutine(rails.I3cRail.set_millivolts)
    use_external = _coroutine(rails.I3cRail.use_external)
    read_millivolts = _coroutine(rails.I3cRail.read_millivolts)


class Rails:
    """The supply rails."""

    def __init__(self, sync: rails.Rails, worker: _Worker) -> None:
        self.shared = SharedRail(sync.shared, worker)
        """The rail of I2C, SPI, UART and GPIO."""
        self.i3c = I3cRail(sync.i3c, worker)
        """The rail of I3C."""


class Pin:
    """One pin; see `tarvix.gpio.Pin`. Its level is had by ``await pin.read()``."""

    def __init__(self, sync: gpio.Pin, worker: _Worker) -> None:
        self._sync = sync
        self._worker = worker
        self.number = sync.number
        """Number of the pin."""

    configure = _coroutine(gpio.Pin.configure)
    output = _coroutine(gpio.Pin.output)
    open_drain = _coroutine(gpio.Pin.open_drain)
    input = _coroutine(gpio.Pin.input)
    read = _coroutine(gpio.Pin.read)
    write = _coroutine(gpio.Pin.write)
    arm = _coroutine(gpio.Pin.arm)
    disarm = _coroutine(gpio.Pin.disarm)

    def edges(self, trigger: GpioTriggerType = GpioTriggerType.BOTH_EDGES) -> Subscription[Edge]:
        """The pin's edges; armed while the subscription lasts."""
        return Subscription(self._worker, lambda: self._sync.edges(trigger))

    async def wait_for_edge(
        self, trigger: GpioTriggerType = GpioTriggerType.BOTH_EDGES, timeout: Optional[float] = None
    ) -> Edge:
        """Waits for an edge of the pin, which is armed for as long.

        :raises Timeout: when none came in time
        """
        async with self.edges(trigger) as edges:
            return await edges.next(timeout)


class Gpio:
    """The pins; see `tarvix.gpio.Gpio`."""

    def __init__(self, sync: gpio.Gpio, worker: _Worker) -> None:
        self._sync = sync
        self._worker = worker
        self._pins = tuple(Pin(pin, worker) for pin in sync)

    def __getitem__(self, number: int) -> Pin:
        return self._pins[self._sync[number].number]

    def __len__(self) -> int:
        return len(self._pins)

    def __iter__(self) -> Iterator[Pin]:
        return iter(self._pins)

    def edges(
        self, pins: Iterable[int] = range(gpio.PINS), trigger: GpioTriggerType = GpioTriggerType.BOTH_EDGES
    ) -> Subscription[Edge]:
        """The edges of these pins, armed while the subscription lasts."""
        return Subscription(self._worker, lambda: self._sync.edges(pins, trigger))


class Uart:
    """The UART; see `tarvix.uart.Uart`. ``async for line in uart`` goes through lines until none comes in time."""

    def __init__(self, sync: uart.Uart, worker: _Worker) -> None:
        self._sync = sync
        self._worker = worker

    configure = _coroutine(uart.Uart.configure)
    set_parameters = _coroutine(uart.Uart.set_parameters)
    close = _coroutine(uart.Uart.close)
    write = _coroutine(uart.Uart.write)

    @property
    def timeout(self) -> Optional[float]:
        """Seconds that `read` and `readline` wait; None without limit."""
        return self._sync.timeout

    @timeout.setter
    def timeout(self, seconds: Optional[float]) -> None:
        self._sync.timeout = seconds

    @property
    def in_waiting(self) -> int:
        """Received bytes that wait to be read."""
        return self._sync.in_waiting

    @property
    def dropped(self) -> int:
        """Received bytes that were dropped because too many waited."""
        return self._sync.dropped

    def reset_input(self) -> None:
        """Drops the bytes that wait to be read."""
        self._sync.reset_input()

    async def read(self, size: int = 1) -> bytes:
        """``size`` bytes, or what there is after `timeout` seconds, which may be nothing."""
        return await self._read(size, None)

    async def readline(self, size: int = LONGEST) -> bytes:
        """Bytes up to and with the next newline, or what there is after `timeout` seconds."""
        return await self._read(size, b"\n")

    async def read_until(self, end: bytes, size: int = LONGEST) -> bytes:
        """Bytes up to and with ``end``, or what there is after `timeout` seconds."""
        if not end:
            raise InvalidArgument("end must hold at least one byte")
        return await self._read(size, end)

    async def _read(self, size: int, end: Optional[bytes]) -> bytes:
        received = self._sync.received
        found = await _wait(received, received.upto(size, end), self.timeout) if size > 0 else b""
        return received.rest(size) if found is None else found

    async def __aiter__(self) -> AsyncIterator[bytes]:
        while True:
            line = await self.readline()
            if not line:
                return
            yield line


class I3c:
    """The I3C controller; see `tarvix.i3c.I3c`."""

    def __init__(self, sync: i3c.I3c, worker: _Worker) -> None:
        self._sync = sync
        self._worker = worker

    configure = _coroutine(i3c.I3c.configure)
    set_parameters = _coroutine(i3c.I3c.set_parameters)
    init_bus = _coroutine(i3c.I3c.init_bus)
    reset_bus = _coroutine(i3c.I3c.reset_bus)
    targets = _coroutine(i3c.I3c.targets)
    set_target_configuration = _coroutine(i3c.I3c.set_target_configuration)
    hdr_exit_pattern = _coroutine(i3c.I3c.hdr_exit_pattern)
    target_reset_pattern = _coroutine(i3c.I3c.target_reset_pattern)
    read = _coroutine(i3c.I3c.read)
    write = _coroutine(i3c.I3c.write)
    hdr_ddr_read = _coroutine(i3c.I3c.hdr_ddr_read)
    hdr_ddr_write = _coroutine(i3c.I3c.hdr_ddr_write)
    legacy_i2c_read = _coroutine(i3c.I3c.legacy_i2c_read)
    legacy_i2c_write = _coroutine(i3c.I3c.legacy_i2c_write)
    ccc = _coroutine(i3c.I3c.ccc)
    enec = _coroutine(i3c.I3c.enec)
    disec = _coroutine(i3c.I3c.disec)
    entas0 = _coroutine(i3c.I3c.entas0)
    entas1 = _coroutine(i3c.I3c.entas1)
    entas2 = _coroutine(i3c.I3c.entas2)
    entas3 = _coroutine(i3c.I3c.entas3)
    rstdaa = _coroutine(i3c.I3c.rstdaa)
    entdaa = _coroutine(i3c.I3c.entdaa)
    setmwl = _coroutine(i3c.I3c.setmwl)
    setmrl = _coroutine(i3c.I3c.setmrl)
    setbuscon = _coroutine(i3c.I3c.setbuscon)
    setxtime = _coroutine(i3c.I3c.setxtime)
    setaasa = _coroutine(i3c.I3c.setaasa)
    setdasa = _coroutine(i3c.I3c.setdasa)
    setnewda = _coroutine(i3c.I3c.setnewda)
    setgrpa = _coroutine(i3c.I3c.setgrpa)
    rstgrpa = _coroutine(i3c.I3c.rstgrpa)
    rstact = _coroutine(i3c.I3c.rstact)
    rstact_time = _coroutine(i3c.I3c.rstact_time)
    getmwl = _coroutine(i3c.I3c.getmwl)
    getmrl = _coroutine(i3c.I3c.getmrl)
    getpid = _coroutine(i3c.I3c.getpid)
    getbcr = _coroutine(i3c.I3c.getbcr)
    getdcr = _coroutine(i3c.I3c.getdcr)
    getstatus = _coroutine(i3c.I3c.getstatus)
    getmxds = _coroutine(i3c.I3c.getmxds)
    getcaps = _coroutine(i3c.I3c.getcaps)
    getxtime = _coroutine(i3c.I3c.getxtime)

    def interrupts(self, address: Optional[int] = None) -> Subscription[InBandInterrupt]:
        """In-band interrupts, of one target or of all."""
        return Subscription(self._worker, lambda: self._sync.interrupts(address))

    def hot_joins(self) -> Subscription[HotJoin]:
        """Targets that join the bus."""
        return Subscription(self._worker, self._sync.hot_joins)


class Adapter:
    """A session with one adapter; parameters as for `tarvix.Adapter`.

    It opens on entering ``async with``, or by ``adapter = await tarvix.aio.Adapter()``; then close it when done.
    """

    i2c: Tuple[I2cPort, ...]
    spi: Spi
    uart: Uart
    gpio: Gpio
    i3c: I3c
    rails: Rails

    def __init__(
        self,
        serial: Optional[str] = None,
        path: Optional[str] = None,
        *,
        timeout: Optional[float] = 2.0,
        exclusive: bool = True,
    ) -> None:
        self._make = functools.partial(blocking.Adapter, serial, path, timeout=timeout, exclusive=exclusive)
        self._worker = _Worker()

    async def open(self) -> Adapter:
        """Opens it, unless it was opened before.

        :raises OpenError: with the reason
        """
        if "_sync" not in vars(self):
            try:
                await self._worker.run(self._open)
            except asyncio.CancelledError:
                self._worker.post(self._close)  # nobody else will
                raise
        return self

    async def close(self) -> None:
        """Closes the adapter. A command that waits ends with `AdapterClosed`, iterators stop."""
        await asyncio.get_running_loop().run_in_executor(None, self._close)  # not behind the commands

    async def reopen(self, within: float = 10.0) -> None:
        """Opens the same adapter again, after it was lost, reset or closed. It is then as after power-up.

        :param within: seconds to wait for it to come back
        :raises OpenError: when it did not
        """
        deadline = time.monotonic() + within
        while True:
            try:
                return await self._worker.run(lambda: self._sync.reopen(0))
            except OpenError:
                if time.monotonic() >= deadline:
                    raise
            await asyncio.sleep(_PAUSE)

    reset = _coroutine(blocking.Adapter.reset)
    enter_boot_mode = _coroutine(blocking.Adapter.enter_boot_mode)
    usb_string = _coroutine(blocking.Adapter.usb_string)
    usb_strings = _coroutine(blocking.Adapter.usb_strings)

    @property
    def serial(self) -> str:
        """Serial number; empty when the adapter reports none."""
        return self._sync.serial

    @property
    def path(self) -> str:
        """Device node that was opened."""
        return self._sync.path

    @property
    def is_open(self) -> bool:
        """Whether commands have an adapter to run on."""
        return "_sync" in vars(self) and self._sync.is_open

    @property
    def dropped_notifications(self) -> int:
        """Notifications that were dropped because more than 256 waited for a slow callback."""
        return self._sync.dropped_notifications

    def notifications(self) -> Subscription[Notification]:
        """Everything that the adapter reports."""
        return Subscription(self._worker, self._sync.notifications)

    def on_notification(self, callback: Callable[[Notification], object]) -> Callable[[], None]:
        """Calls back in the event loop for everything that the adapter reports.

        :returns: how to end it
        """
        loop = asyncio.get_running_loop()
        return self._sync.on_notification(lambda notification: _call_soon(loop, callback, notification))

    def _open(self) -> None:
        if "_sync" in vars(self):  # two were waiting for it
            return
        sync = self._make()
        self.i2c = tuple(I2cPort(port, self._worker) for port in sync.i2c)
        self.spi = Spi(sync.spi, self._worker)
        self.uart = Uart(sync.uart, self._worker)
        self.gpio = Gpio(sync.gpio, self._worker)
        self.i3c = I3c(sync.i3c, self._worker)
        self.rails = Rails(sync.rails, self._worker)
        self._sync = sync

    def _close(self) -> None:
        if "_sync" in vars(self):
            self._sync.close()

    def __getattr__(self, name: str) -> Any:
        if name in ("_sync", "i2c", "spi", "uart", "gpio", "i3c", "rails"):
            raise AdapterClosed("the adapter is not open yet: use 'async with', or await it")
        raise AttributeError(f"'Adapter' has no attribute '{name}'")

    def __await__(self) -> Generator[Any, None, Adapter]:
        return self.open().__await__()

    async def __aenter__(self) -> Adapter:
        return await self.open()

    async def __aexit__(
        self, kind: Optional[Type[BaseException]], error: Optional[BaseException], trace: Optional[TracebackType]
    ) -> None:
        await self.close()


def _call_soon(loop: asyncio.AbstractEventLoop, callback: Callable[[Notification], object], what: Notification) -> None:
    with contextlib.suppress(RuntimeError):  # the loop is closed
        loop.call_soon_threadsafe(callback, what)


async def list_adapters() -> List[AdapterInfo]:
    """The attached adapters, opening none."""
    return await asyncio.get_running_loop().run_in_executor(None, blocking.list_adapters)
