"""Mistakes that a type checker must find: each line that ends in `# wrong`, and no other."""

from typing import List

import tarvix
from tarvix import Adapter, SpiMode, aio, smbus
from tarvix.simulator import Bench

adapter = Adapter()
adapter.i2c[0].read("0x48", 2)  # wrong
adapter.i2c[0].read(0x48)  # wrong
adapter.i2c[0].read(0x48, 2, flag=3)  # wrong
adapter.i2c[0].write(0x48, "text")  # wrong
adapter.i2c[0].write(0x48, [1, 2], register=b"\0")
text: str = adapter.i2c[0].read(0x48, 2)  # wrong
addresses: List[str] = adapter.i2c[0].scan()  # wrong
adapter.spi.configure(mode=3)  # wrong
adapter.spi.configure(mode=SpiMode.MODE_3)
adapter.uart.write("text")  # wrong
adapter.gpio["3"].output()  # wrong
adapter.gpio[3].value = "high"  # wrong
adapter.gpio[3].value = 1
adapter.i3c.getpid()  # wrong
adapter.i3c.getpid(0x08)
adapter.i3c.enec(0x01)  # wrong
for edge in adapter.gpio.edges():
    edge.pin = 3  # wrong
    print(edge.level)  # wrong
for info in tarvix.list_adapters():
    info.serial.upper()
    info.serial_number  # wrong
Adapter(2.0)  # wrong
Bench(board=1)  # wrong
Bench("board.json", adapters=2)
smbus.SMBus(1)  # wrong


async def use() -> None:
    other = await aio.Adapter()
    await other.i2c[0].read(0x48, length="2")  # wrong
    await other.i2c[0].read(0x48, length=2, register=0)
    data: bytes = other.i2c[0].read(0x48, 2)  # wrong
    for each in other.gpio.edges():  # wrong
        pass
    async for each in other.gpio.edges():
        each.pin.bit_length()
