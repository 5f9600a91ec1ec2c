"""The GPIO pins."""

from __future__ import annotations

import contextlib
import ctypes
from typing import Callable, Iterable, Iterator, List, Optional

from ._session import Session, check, member
from .enums import GpioFunctionality, GpioLogicLevel, GpioTriggerType
from .errors import AdapterClosed, AdapterLost
from .notifications import Dispatcher, Edge, Notification, Subscription

PINS = 8


class Pin:
    """One pin: ``adapter.gpio[3]``. It works at the shared rail's voltage."""

    def __init__(self, session: Session, notifications: Dispatcher, number: int) -> None:
        self._session = session
        self._notifications = notifications
        self.number = number
        """Number of the pin."""

    def configure(self, role: GpioFunctionality, level: Optional[int] = None) -> None:
        """Gives the pin its role.

        :param level: what it drives from the start, for roles that drive
        """
        self._session.run(
            self._session.flat.GpioConfigurePin, "giving pin {} role {}",
            self.number, role, level is not None, check("level", level or 0, 1),
        )

    def output(self, level: int = GpioLogicLevel.LOW) -> None:
        """Makes it a push-pull output that drives ``level``."""
        self.configure(GpioFunctionality.OUTPUT, level)

    def open_drain(self, level: int = GpioLogicLevel.HIGH) -> None:
        """Makes it an open-drain output: it drives low, and releases the line for high."""
        self.configure(GpioFunctionality.OPEN_DRAIN, level)

    def input(self, pull: Optional[int] = None) -> None:
        """Makes it an input, pulled up (1), pulled down (0) or not at all."""
        if pull is None:
            self.configure(GpioFunctionality.INPUT)
        elif check("pull", pull, 1):
            self.configure(GpioFunctionality.INPUT_PULL_UP)
        else:
            self.configure(GpioFunctionality.INPUT_PULL_DOWN)

    def read(self) -> GpioLogicLevel:
        """The level of the pin."""
        level = ctypes.c_uint32()
        self._session.run(self._session.flat.GpioDigitalRead, "reading pin {}", self.number, level)
        return member(GpioLogicLevel, level.value)

    def write(self, level: int) -> None:
        """Drives the pin."""
        self._session.run(
            self._session.flat.GpioDigitalWrite, "driving pin {} to {}", self.number, check("level", level, 1)
        )

    @property
    def value(self) -> int:
        """The level of the pin, 0 or 1; set it to drive the pin. Each use is a command."""
        return int(self.read())

    @value.setter
    def value(self, level: int) -> None:
        self.write(level)

    def arm(self, trigger: GpioTriggerType = GpioTriggerType.BOTH_EDGES) -> None:
        """Has each such edge reported as an `Edge`, until `disarm` or a restart of the adapter."""
        self._session.run(self._session.flat.GpioConfigureInterrupt, "arming pin {}", self.number, trigger)

    def disarm(self) -> None:
        """Ends the reports. Those that are on their way still arrive."""
        self._session.run(self._session.flat.GpioDisableInterrupt, "disarming pin {}", self.number)

    def edges(self, trigger: GpioTriggerType = GpioTriggerType.BOTH_EDGES) -> Subscription[Edge]:
        """The pin's edges from now on: arms it, and disarms it when the subscription is closed."""
        return _edges(self._notifications, [self], trigger)

    def wait_for_edge(
        self, trigger: GpioTriggerType = GpioTriggerType.BOTH_EDGES, timeout: Optional[float] = None
    ) -> Edge:
        """Waits for an edge of the pin, which is armed for as long.

        To cause the edge yourself, arm the pin first: ``with pin.edges() as edges: ...; edges.next(timeout)``.

        :param timeout: seconds to wait; None without limit
        :raises Timeout: when none came in time
        """
        with self.edges(trigger) as edges:
            return edges.next(timeout)


class Gpio:
    """The pins: ``adapter.gpio[3]`` is one, and ``for pin in adapter.gpio`` goes through all."""

    def __init__(self, session: Session, notifications: Dispatcher) -> None:
        self._notifications = notifications
        self._pins = tuple(Pin(session, notifications, number) for number in range(PINS))

    def __getitem__(self, number: int) -> Pin:
        return self._pins[check("pin", number, PINS - 1)]

    def __len__(self) -> int:
        return len(self._pins)

    def __iter__(self) -> Iterator[Pin]:
        return iter(self._pins)

    def edges(
        self, pins: Iterable[int] = range(PINS), trigger: GpioTriggerType = GpioTriggerType.BOTH_EDGES
    ) -> Subscription[Edge]:
        """The edges of these pins from now on: arms them, and disarms them when the subscription is closed."""
        return _edges(self._notifications, [self[number] for number in pins], trigger)


def _edges(notifications: Dispatcher, pins: List[Pin], trigger: GpioTriggerType) -> Subscription[Edge]:
    numbers = {pin.number for pin in pins}

    def choose(notification: Notification) -> Optional[Edge]:
        return notification if isinstance(notification, Edge) and notification.pin in numbers else None

    subscription = notifications.subscribe(choose, f"edge of pin {', '.join(map(str, sorted(numbers)))}")
    try:
        for pin in pins:
            pin.arm(trigger)
            subscription.at_close(_if_open(pin.disarm))
    except BaseException:
        subscription.close()
        raise
    return subscription


def _if_open(action: Callable[[], None]) -> Callable[[], None]:
    def act() -> None:
        with contextlib.suppress(AdapterClosed, AdapterLost):  # nothing is armed there any more, or nobody hears
            action()

    return act
