"""The hand on the bench: what a test does to a virtual adapter and to what is on its buses."""

from __future__ import annotations

from typing import Any, Callable, Dict, List, Optional, Union, overload

from .enums import GpioLogicLevel
from .errors import InvalidArgument

__all__ = ["BenchDevice", "BenchGpio", "BenchUart", "Cells", "Hand", "Wire"]

_MOST_CELLS = 4096  # of one message

Ask = Callable[..., Dict[str, Any]]


class Wire:
    """One wire of the board, named as there or after a pin: ``bench.gpio[2]``, ``bench.wire("button")``."""

    def __init__(self, ask: Ask, name: str) -> None:
        self._ask = ask
        self.name = name
        """What the board calls it."""

    def press(self) -> None:
        """Presses its button."""
        self._ask("press", wire=self.name)

    def release(self) -> None:
        """Releases its button."""
        self._ask("release", wire=self.name)

    def hold(self, level: int) -> None:
        """Holds it high (1) or low (0), as a clip lead does."""
        self._ask("set", wire=self.name, level=GpioLogicLevel(level).name.lower())

    def let_go(self) -> None:
        """Holds it no longer."""
        self._ask("set", wire=self.name, level="released")


class BenchGpio:
    """The wires at the adapter's pins: ``bench.gpio[2]``."""

    def __init__(self, ask: Ask) -> None:
        self._ask = ask

    def __getitem__(self, pin: int) -> Wire:
        return Wire(self._ask, f"pin{pin}")


class Cells:
    """A device's registers or bytes of memory, past its bus: ``device.registers[0x0F]``, ``device.registers[0:16]``.

    Reading has no side effects, and what the bus may only read can be written, too.
    """

    def __init__(self, ask: Ask, device: str) -> None:
        self._ask = ask
        self._device = device

    @overload
    def __getitem__(self, address: int) -> int: ...

    @overload
    def __getitem__(self, address: slice) -> List[int]: ...

    def __getitem__(self, address: Union[int, slice]) -> Union[int, List[int]]:
        if isinstance(address, int):
            return self._get(address, 1)[0]
        start, stop = _bounds(address)
        return [value for at in range(start, stop, _MOST_CELLS) for value in self._get(at, min(_MOST_CELLS, stop - at))]

    def __setitem__(self, address: int, values: Union[int, bytes, List[int]]) -> None:
        written = [values] if isinstance(values, int) else list(values)
        for at in range(0, len(written), _MOST_CELLS):
            self._ask("put", device=self._device, address=address + at, values=written[at : at + _MOST_CELLS])

    def _get(self, address: int, count: int) -> List[int]:
        return list(self._ask("get", device=self._device, address=address, count=count)["values"])


class BenchDevice:
    """A device on the adapter's buses: ``bench.device("temperature")``."""

    def __init__(self, ask: Ask, name: str) -> None:
        self._ask = ask
        self.name = name
        """What the board calls it."""
        self.registers = Cells(ask, name)
        """Its registers or bytes of memory."""

    def power_cycle(self) -> None:
        """Takes its supply away and gives it back."""
        self._ask("power_cycle", device=self.name)

    def reset(self, held: Optional[bool] = None) -> None:
        """Resets it. True holds it in reset, False lets it go, None does both."""
        self._ask("reset", device=self.name, **({} if held is None else {"held": held}))

    def fault(self, kind: str, probability: float = 1.0) -> None:
        """Has it not acknowledge (``nack``) or has bits wrong (``flip``), so often, 0 to 1; 0 ends it."""
        self._ask("fault", device=self.name, fault=kind, probability=probability)

    def stretch(self, seconds: float) -> None:
        """Makes each transfer take longer."""
        self._ask("fault", device=self.name, fault="stretch", milliseconds=seconds * 1000)

    def raise_interrupt(self, payload: bytes = b"") -> None:
        """Has it, an I3C target, raise an in-band interrupt."""
        self._ask("ibi", device=self.name, bytes=list(payload))

    def hot_join(self) -> None:
        """Has it, an I3C target, join the bus."""
        self._ask("hot_join", device=self.name)


class BenchUart:
    """The other end of the UART: ``bench.uart``."""

    def __init__(self, ask: Ask) -> None:
        self._ask = ask

    def send(self, data: bytes) -> None:
        """The adapter receives this."""
        self._ask("uart", bytes=list(data))

    def sent(self) -> bytes:
        """What the adapter has sent since this was last asked, the latest 8,192 bytes."""
        return bytes(self._ask("uart_sent")["bytes"])


class Hand:
    """The hand on one virtual adapter of a bench; the bench itself is the hand on its first one."""

    def __init__(self, ask: Ask) -> None:
        self._ask = ask
        self.gpio = BenchGpio(ask)
        """The wires at the adapter's pins."""
        self.uart = BenchUart(ask)
        """The other end of the UART."""

    def wire(self, name: str) -> Wire:
        """A wire by the name that the board gives it."""
        return Wire(self._ask, name)

    def device(self, name: str) -> BenchDevice:
        """A device by the name that the board gives it; `state` shows those without one."""
        return BenchDevice(self._ask, name)

    def unplug(self) -> None:
        """Pulls the adapter out."""
        self._ask("unplug")

    def replug(self) -> None:
        """Plugs the adapter in again; it is as after power-up."""
        self._ask("replug")

    def raise_interrupt(self, target: int = 0, payload: bytes = b"") -> None:
        """Has an I3C target, named by its index, raise an in-band interrupt."""
        self._ask("ibi", target=target, bytes=list(payload))

    def hot_join(self, target: int = 0) -> None:
        """Has an I3C target, named by its index, join the bus."""
        self._ask("hot_join", target=target)

    def fault(self, kind: str, probability: float = 1.0) -> None:
        """Has the adapter's answers go wrong, such as ``drop``, so often, 0 to 1; 0 ends it."""
        self._ask("fault", fault=kind, probability=probability)

    def faults_off(self) -> None:
        """Ends all faults of the adapter and of the devices."""
        self._ask("faults_off")

    def hold_bus(self, port: int, held: bool = True) -> None:
        """Holds the lines of an I2C port low, or lets them go."""
        self._ask("stuck", port=port, held=held)

    def state(self) -> Dict[str, Any]:
        """All that can be seen of the adapter, its pins, rails, buses and devices."""
        return self._ask("state")


def _bounds(cells: slice) -> "tuple[int, int]":
    if cells.step not in (None, 1) or cells.stop is None or (cells.start or 0) < 0 or cells.stop < 0:
        raise InvalidArgument("give registers as [FIRST:END] with an end, neither negative nor in steps")
    return cells.start or 0, cells.stop
