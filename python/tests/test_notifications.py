"""Edges, interrupts and received bytes: by iterator, by callback, on hostile frames."""

from __future__ import annotations

import queue
import threading
from typing import List

import pytest
import tarvix
from tarvix import Adapter, Edge, GpioTriggerType, HotJoin, InBandInterrupt, I3cTarget, Notification, UartData
from tarvix import notifications
from tarvix.simulator import Bench, SimulatorError


def test_edges_of_the_pins_asked_for(tarvix_adapter: Adapter) -> None:
    pins = tarvix_adapter.gpio
    pins[1].arm()
    for number in (0, 2):
        pins[number].output(1)
        pins[number].value = 0
    with tarvix_adapter.notifications() as everything:  # from now on
        pins[1].disarm()
        with pytest.raises(tarvix.Timeout):
            everything.next(0.05)
    with pins.edges([1], GpioTriggerType.RISING_EDGE) as rising, pins.edges([1, 3]) as both:  # the last trigger counts
        for number in (0, 2):
            for level in (1, 0):
                pins[number].value = level
        assert [both.next(5).pin for _ in range(4)] == [1, 1, 3, 3]
        assert [rising.next(5).pin for _ in range(2)] == [1, 1]
        with pytest.raises(tarvix.Timeout):
            rising.next(0.01)
    assert list(both) == []
    with tarvix_adapter.notifications() as everything:  # disarmed
        pins[0].value = 1
        with pytest.raises(tarvix.Timeout):
            everything.next(0.05)
    with pytest.raises(tarvix.Timeout, match="adapter TVX0000001: no edge of pin 1 within 0.01 s"):
        pins[1].wait_for_edge(timeout=0.01)
    pins[1].arm(GpioTriggerType.FALLING_EDGE)
    with tarvix_adapter.notifications() as everything:
        pins[0].value = 0
        edge = everything.next(5)
        assert isinstance(edge, Edge) and edge.pin == 1


def test_wait_for_edge_is_woken(tarvix_adapter: Adapter) -> None:
    tarvix_adapter.gpio[0].output(0)
    stop = threading.Event()

    def toggle() -> None:
        while not stop.wait(0.01):
            tarvix_adapter.gpio[0].value ^= 1

    thread = threading.Thread(target=toggle)
    thread.start()
    try:
        assert tarvix_adapter.gpio[1].wait_for_edge(timeout=10).pin == 1
    finally:
        stop.set()
        thread.join()


@pytest.mark.tarvix_bench(faults=["drop"])
def test_a_failed_subscription_leaves_nothing_behind(tarvix_bench: Bench) -> None:
    with tarvix_bench.adapter(timeout=0.01) as adapter:
        with pytest.raises(tarvix.Timeout, match="arming pin 0"):
            adapter.gpio.edges()
        assert adapter._notifications._takers == []


def test_i3c_events(tarvix_bench: Bench, tarvix_adapter: Adapter) -> None:
    bus = tarvix_adapter.i3c
    bus.configure()
    bus.init_bus([I3cTarget(0x30, 0x0A), I3cTarget(0x31, 0x0B)])
    with bus.interrupts(0x0B) as second, bus.interrupts() as all_, bus.hot_joins() as joins:
        tarvix_bench.raise_interrupt(0, b"\xaa\xbb")
        tarvix_bench.device("i3c1").raise_interrupt()
        first = all_.next(5)
        assert (first.address, first.payload, all_.next(5).address) == (0x0A, b"\xaa\xbb", 0x0B)
        assert (second.next(5).address, second.take()) == (0x0B, None)
        bus.write(0x0B, b"\0", 0x81)
        join = joins.next(5)
        assert (join.pid, join.bcr, join.dcr) == (b"\x7f\xfe\x56\x78\x90\x02", 0x22, 0xC6)
        assert bus.getpid(join.dynamic_address) == join.pid
    with pytest.raises(SimulatorError, match="cannot join now"):
        tarvix_bench.device("i3c1").hot_join()


def test_callbacks_may_use_the_adapter(tarvix_adapter: Adapter, capsys: "pytest.CaptureFixture[str]") -> None:
    heard: "queue.Queue[object]" = queue.Queue()

    def broken(_: Notification) -> None:
        raise ZeroDivisionError

    def callback(notification: Notification) -> None:
        heard.put((type(notification), tarvix_adapter.gpio[0].read(), threading.current_thread().name))

    undo_broken = tarvix_adapter.on_notification(broken)
    undo = tarvix_adapter.on_notification(callback)
    tarvix_adapter.gpio[1].arm()
    tarvix_adapter.gpio[0].output(1)
    assert heard.get(timeout=10) == (Edge, 1, "tarvix notifications TVX0000001")
    undo()
    undo_broken()
    undo()
    with tarvix_adapter.notifications() as everything:
        tarvix_adapter.gpio[0].write(0)
        everything.next(5)
    assert heard.empty()
    assert capsys.readouterr().err.count("a notification callback raised") == 1


def test_the_uart_waits_for_all_that_was_asked_for(tarvix_adapter: Adapter) -> None:
    uart = tarvix_adapter.uart
    with uart:
        uart.configure()
        uart.timeout = 10
        uart.write(b"one")
        threading.Timer(0.05, uart.write, (b"two",)).start()
        assert uart.read(6) == b"onetwo"
    with pytest.raises(tarvix.AdapterClosed, match=r"the UART is closed: call configure\(\)"):
        uart.read()


def test_no_pile_grows_without_end(tarvix_adapter: Adapter, monkeypatch: pytest.MonkeyPatch) -> None:
    monkeypatch.setattr(notifications, "MOST_WAITING", 2)
    monkeypatch.setattr(tarvix.uart, "MOST_WAITING", 4)
    for _ in range(2):
        tarvix_adapter.uart.configure()
    assert len(tarvix_adapter._notifications._takers) == 1
    with tarvix_adapter.notifications() as few, tarvix_adapter.notifications() as last:
        for byte in b"abcdef":
            tarvix_adapter.uart.write([byte])
            assert isinstance(last.next(5), UartData)
        assert few.dropped == 4
        assert [note.data for note in (few.next(5), few.next(5)) if isinstance(note, UartData)] == [b"e", b"f"]
    assert (tarvix_adapter.uart.read(4), tarvix_adapter.uart.dropped) == (b"cdef", 2)
    block = threading.Event()
    undo = tarvix_adapter.on_notification(lambda _: block.wait(10))
    for _ in range(300):  # more than the library keeps
        tarvix_adapter.uart.write(b"x")
    assert tarvix_adapter.dropped_notifications > 0
    undo()
    block.set()


FRAMES: List["tuple[bytes, Notification]"] = [
    (b"\0\0\x81\x14\0\0\x05", Edge(5, 0.0)),
    (b"\0\0\x81\x14\0\0", tarvix.UnknownNotification(tarvix.NotificationKind.GPIO_INTERRUPT, b"\0\0\x81\x14\0\0", 0.0)),
    (b"\0\0\x81\x10\0\0\x03\0ABC", UartData(b"ABC", 0.0)),
    (b"\0\0\x81\x10\0\0\xff\xffABC", UartData(b"ABC", 0.0)),
    (b"\0\0\x81\x10\0\0\x01\0ABC", UartData(b"A", 0.0)),
    (b"\0\0\x81\x19\0\0\x0a\x02\x01\x02\x03", InBandInterrupt(10, b"\1\2", 0.0)),
    (b"\0\0\x81\x19\0\0\x0a\xff", InBandInterrupt(10, b"", 0.0)),
    (b"\0\0\x82\x19\0\0ABCDEF\x01\x02\x08", HotJoin(b"ABCDEF", 1, 2, 8, 0.0)),
    (b"\0\0\x82\x19\0\0ABCDEF\x01\x02",
     tarvix.UnknownNotification(tarvix.NotificationKind.I3C_HOT_JOIN, b"\0\0\x82\x19\0\0ABCDEF\x01\x02", 0.0)),
    (b"", tarvix.UnknownNotification(tarvix.NotificationKind.UNKNOWN, b"", 0.0)),
]


@pytest.mark.parametrize("frame, expected", FRAMES)
def test_frames(frame: bytes, expected: Notification) -> None:
    assert notifications.decode(frame, 0.0) == expected
