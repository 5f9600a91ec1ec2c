"""A program that knows hidapi and not this project: asks an adapter for its serial number."""

import importlib
import sys

hid = importlib.import_module(sys.argv[1])  # hid uses hidapi's libusb backend, hidraw the other one

print([info["serial_number"] for info in hid.enumerate(0x1FC9, 0x82FC)])
assert hid.enumerate(0x1FC9, 0x82FD) == []

device = hid.device()
device.open(0x1FC9, 0x82FC, "TVX0000002")
assert device.read(64, 10) == []
# Report id, segment header (5 bytes, first and last), request 1: USB string 3.
assert device.write(bytes([0x00, 0x17, 0x00, 0x01, 0x00, 0x07, 0x04, 0x03]).ljust(65, b"\0")) == 65
answer = bytes(device.read(64, 10_000))
print(answer[8], answer[9:19].decode())

device.write(bytes([0x00, 0x13, 0x00, 0x02, 0x00, 0x01, 0x04]).ljust(65, b"\0"))  # reset
try:
    device.read(64, 10_000)
except OSError:
    print("gone", [info["serial_number"] for info in hid.enumerate()])
device.close()
