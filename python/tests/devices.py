"""Devices for the tests, also as programs: python3 devices.py NAME"""

from __future__ import annotations

import sys
import threading
from typing import List, Optional

from tarvix.simulator import Device


class Registers(Device):
    """An I2C device of four registers; raises its interrupt while the first one is not 0."""

    def __init__(self, name: Optional[str] = None) -> None:
        super().__init__(name)
        self.heard: List[str] = []
        self.reset()

    def reset(self) -> None:
        self.registers, self.pointer = bytearray(b"\0\1\2\3"), 0
        self.heard.append(threading.current_thread().name)

    def write(self, data: bytes) -> Optional[bool]:
        if data[:1] == b"\xee":
            raise ZeroDivisionError
        for position, byte in enumerate(data):
            if position == 0:
                self.pointer = byte
            elif self.pointer + position > 4:
                return False
            else:
                self.registers[self.pointer + position - 1] = byte
        self.interrupt(self.registers[0] != 0)
        return None

    def read(self, count: int) -> Optional[bytes]:
        return None if self.pointer > 3 else bytes(self.registers[self.pointer :])


class Inverter(Device):
    """On SPI sends back all bytes but the last, each bit turned round; on the UART what it hears in upper case."""

    def exchange(self, data: bytes) -> bytes:
        return bytes(byte ^ 0xFF for byte in data[:-1])

    def receive(self, data: bytes) -> None:
        self.send(data.upper())


if __name__ == "__main__":
    {"Registers": Registers, "Inverter": Inverter}[sys.argv[1]]().run()
