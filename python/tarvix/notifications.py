"""What an adapter reports on its own: edges, interrupts, received bytes.

A thread of this package fetches notifications and hands them out, so callbacks may use the adapter. One that is slow
delays the others; the library keeps the latest 256 meanwhile and counts what it drops.
"""

from __future__ import annotations

import contextlib
import ctypes
import sys
import threading
import time
import traceback
import weakref
from collections import deque
from dataclasses import dataclass
from types import TracebackType
from typing import Any, Callable, Deque, Generic, Iterator, List, Optional, Type, TypeVar, Union

from ._session import Session
from .enums import NotificationKind, StatusCode
from .errors import AdapterClosed, AdapterLost, Timeout

T = TypeVar("T")
S = TypeVar("S", bound="Subscription[Any]")

MOST_WAITING = 4096
"""Notifications that a subscription keeps; the oldest go first."""

_BUFFER = 70_000  # more than any frame that declares its length in 16 bits


@dataclass(frozen=True)
class Edge:
    """An armed pin fired."""

    pin: int
    time: float
    """When it arrived here, in seconds as ``time.time`` counts them; the same in all notifications."""


@dataclass(frozen=True)
class InBandInterrupt:
    """An I3C target interrupted."""

    address: int
    payload: bytes
    time: float


@dataclass(frozen=True)
class HotJoin:
    """A target joined the I3C bus and was given its dynamic address."""

    pid: bytes
    bcr: int
    dcr: int
    dynamic_address: int
    time: float


@dataclass(frozen=True)
class UartData:
    """Bytes received on the UART."""

    data: bytes
    time: float


@dataclass(frozen=True)
class UnknownNotification:
    """A notification that this version does not know, or one that is cut short."""

    kind: NotificationKind
    frame: bytes
    time: float


Notification = Union[Edge, InBandInterrupt, HotJoin, UartData, UnknownNotification]

_KINDS = {
    0x1481: NotificationKind.GPIO_INTERRUPT,
    0x1081: NotificationKind.UART_RX,
    0x1981: NotificationKind.I3C_IBI,
    0x1982: NotificationKind.I3C_HOT_JOIN,
}


def decode(frame: bytes, now: float) -> Notification:
    """The notification in a frame. Payloads end where the frame ends, whatever length they declare."""
    kind = _KINDS.get(int.from_bytes(frame[2:4], "little"), NotificationKind.UNKNOWN)
    if kind is NotificationKind.GPIO_INTERRUPT and len(frame) >= 7:
        return Edge(frame[6], now)
    if kind is NotificationKind.UART_RX and len(frame) >= 8:
        return UartData(frame[8 : 8 + int.from_bytes(frame[6:8], "little")], now)
    if kind is NotificationKind.I3C_IBI and len(frame) >= 8:
        return InBandInterrupt(frame[6], frame[8 : 8 + frame[7]], now)
    if kind is NotificationKind.I3C_HOT_JOIN and len(frame) >= 15:
        return HotJoin(frame[6:12], frame[12], frame[13], frame[14], now)
    return UnknownNotification(kind, frame, now)


class Inbox:
    """Something that fills and that threads and event loops wait for."""

    def __init__(self) -> None:
        self.changed = threading.Condition()
        self.wakers: List[Callable[[], None]] = []
        self.ended: Optional[Exception] = None

    def wake(self) -> None:
        """Tells all who wait to look again."""
        with self.changed:
            self.changed.notify_all()
            wakers = list(self.wakers)
        for waker in wakers:
            waker()

    def end(self, why: Exception) -> None:
        """Nothing more will come. The first reason stays."""
        self.ended = self.ended or why
        self.wake()

    def wait(self, look: Callable[[], Optional[T]], timeout: Optional[float]) -> Optional[T]:
        """What ``look`` finds, as soon as it finds something; None after ``timeout`` seconds.

        :raises AdapterLost, AdapterClosed: when there is nothing to find any more
        """
        found: Optional[T] = None

        def is_over() -> bool:
            nonlocal found
            found = look()
            return found is not None or self.ended is not None

        with self.changed:
            self.changed.wait_for(is_over, timeout)
        if found is None and self.ended is not None:
            raise self.ended
        return found


class Subscription(Inbox, Generic[T]):
    """Notifications from now on, in order. Iterate over it, or ask it for the next one.

    Iteration ends when the subscription or the adapter is closed, and raises `AdapterLost` when the adapter is lost.
    Use it in ``with``, or call ``close`` when done.
    """

    def __init__(self, choose: Callable[[Notification], Optional[T]], nothing: str) -> None:
        super().__init__()
        self.nothing = nothing
        """What to say when none came."""
        self._choose = choose
        self._waiting: Deque[T] = deque(maxlen=MOST_WAITING)
        self._cleanup = contextlib.ExitStack()
        self.dropped = 0
        """How many were dropped because too many waited here."""

    def deliver(self, notification: Notification) -> None:
        """Takes one, if it is of the chosen kind."""
        chosen = self._choose(notification)
        if chosen is not None:
            self.dropped += len(self._waiting) == MOST_WAITING
            self._waiting.append(chosen)
            self.wake()

    def take(self) -> Optional[T]:
        """The oldest one that waits, or None."""
        with contextlib.suppress(IndexError):
            return self._waiting.popleft()
        return None

    def next(self, timeout: Optional[float] = None) -> T:
        """The oldest one; waits for it.

        :param timeout: seconds to wait; None without limit
        :raises Timeout: when none came in time
        :raises AdapterLost, AdapterClosed: when none will come any more
        """
        found = self.wait(self.take, timeout)
        if found is None:
            raise Timeout(f"{self.nothing} within {timeout} s")
        return found

    def at_close(self, cleanup: Callable[[], None]) -> None:
        """Has something done when the subscription is closed, last come first."""
        self._cleanup.callback(cleanup)

    def close(self) -> None:
        """Ends the subscription; whoever waits for it stops."""
        self.end(AdapterClosed("the subscription is closed: subscribe again"))
        self._cleanup.close()

    def __iter__(self) -> Iterator[T]:
        return self

    def __next__(self) -> T:
        try:
            return self.next()
        except AdapterClosed:
            raise StopIteration from None

    def __enter__(self: S) -> S:
        return self

    def __exit__(
        self, kind: Optional[Type[BaseException]], error: Optional[BaseException], trace: Optional[TracebackType]
    ) -> None:
        self.close()


class Dispatcher:
    """Fetches a session's notifications on a thread of its own, from the first subscription on."""

    def __init__(self, session: Session) -> None:
        self._session = session
        self._lock = threading.Lock()
        self._takers: List[Callable[[Notification], object]] = []
        self._inboxes: List[Inbox] = []
        self._thread: Optional[threading.Thread] = None

    @property
    def dropped(self) -> int:
        """Notifications that the library dropped because nobody fetched them in time."""
        return int(self._session.flat.DroppedNotifications(self._session.handle))

    def add(self, take: Callable[[Notification], object], inbox: Inbox) -> Callable[[], None]:
        """Has notifications given to ``take``, and the end of the session to ``inbox``; returns how to undo it."""
        with self._lock:
            if self._thread is None:
                self._drop_what_waits()
                self._thread = threading.Thread(target=_run, args=(weakref.ref(self), self._session), daemon=True,
                                                name=f"tarvix notifications {self._session.serial}")
                self._thread.start()
            self._takers.append(take)
            self._inboxes.append(inbox)

        def remove() -> None:
            with self._lock, contextlib.suppress(ValueError):
                self._takers.remove(take)
                self._inboxes.remove(inbox)

        return remove

    def subscribe(self, choose: Callable[[Notification], Optional[T]], what: str) -> Subscription[T]:
        """What ``choose`` makes of each notification, unless None; ``what`` they are, for messages."""
        subscription = Subscription(choose, f"adapter {self._session.serial}: no {what}")
        subscription.at_close(self.add(subscription.deliver, subscription))
        return subscription

    def call(self, callback: Callable[[Notification], object]) -> Callable[[], None]:
        """Calls back for every notification; returns how to undo it."""
        return self.add(callback, Inbox())

    def _drop_what_waits(self) -> None:
        fetch = _Fetch(self._session)
        while fetch(0) is not None:
            pass

    def hand_out(self, frame: bytes) -> None:
        """Gives one to everybody. Only called by the thread."""
        notification = decode(frame, time.time())
        with self._lock:
            takers = list(self._takers)
        for take in takers:
            try:
                take(notification)
            except Exception:  # of the user's callback: the others get theirs all the same
                print("tarvix: a notification callback raised", file=sys.stderr)
                traceback.print_exc()

    def finish(self, why: Exception) -> None:
        """Tells everybody that the session is over. Only called by the thread."""
        with self._lock:
            inboxes, self._inboxes, self._takers, self._thread = self._inboxes, [], [], None
        for inbox in inboxes:
            inbox.end(why)


class _Fetch:
    """Fetches the oldest notification of a session."""

    def __init__(self, session: Session) -> None:
        self._session = session
        self._buffer = (ctypes.c_uint8 * _BUFFER)()
        self._length = ctypes.c_size_t()
        self.status = 0

    def __call__(self, timeout: int) -> Optional[bytes]:
        """The frame; None when none came, and ``status`` says why."""
        flat, handle = self._session.flat, self._session.handle
        self.status = flat.NextNotification(handle, self._buffer, len(self._buffer), self._length, timeout)
        if self.status == StatusCode.INVALID_ARGUMENT:  # longer than the buffer
            self._buffer = (ctypes.c_uint8 * self._length.value)()
            return self(timeout)
        return bytes(memoryview(self._buffer)[: self._length.value]) if self.status == 0 else None


def _run(reference: weakref.ref[Dispatcher], session: Session) -> None:
    fetch = _Fetch(session)
    while True:
        frame = fetch(-1)
        dispatcher = reference()
        if dispatcher is None:
            return
        if frame is None:
            dispatcher.finish(_why(session, fetch.status))
            return
        dispatcher.hand_out(frame)
        del dispatcher


def _why(session: Session, status: int) -> Exception:
    if status == StatusCode.ADAPTER_LOST:
        return AdapterLost(f"adapter {session.serial} was unplugged or restarted: plug it in and call reopen()")
    return AdapterClosed(f"adapter {session.serial} is closed: open it again")
