"""Programs a file into an EEPROM and compares: program_eeprom.py FILE

For the 32-KiB EEPROM at 0x51 on I2C port 1. Only pages that differ are written.
"""

import pathlib
import sys
import time

from tarvix import Adapter

ADDRESS, SIZE, PAGE, REGISTER_SIZE = 0x51, 32768, 64, 2
PIECE = 3840  # bytes read at once: fits the 63 reports that Linux keeps for a busy reader
PATIENCE = 0.1  # seconds that an EEPROM takes for a page at most


def read(adapter: Adapter, length: int) -> bytes:
    """The EEPROM's content from its beginning."""
    port = adapter.i2c[1]
    pieces = range(0, length, PIECE)
    return b"".join(
        port.read(ADDRESS, min(PIECE, length - at), register=at, register_size=REGISTER_SIZE) for at in pieces
    )


def write_page(adapter: Adapter, at: int, data: bytes) -> None:
    """Writes within one page, and waits until the EEPROM acknowledges again."""
    adapter.i2c[1].write(ADDRESS, data, register=at, register_size=REGISTER_SIZE)
    deadline = time.monotonic() + PATIENCE
    while not adapter.i2c[1].probe(ADDRESS):
        if time.monotonic() > deadline:
            raise TimeoutError(f"the EEPROM has not answered since the page at {at:#06x}: check its supply")


def program(adapter: Adapter, image: bytes) -> int:
    """Makes the EEPROM begin with the image; returns how many pages were written."""
    present, written = read(adapter, len(image)), 0
    for at in range(0, len(image), PAGE):
        page = image[at : at + PAGE]
        if page != present[at : at + PAGE]:
            write_page(adapter, at, page)
            written += 1
        print(f"\r{min(at + PAGE, len(image))} of {len(image)} bytes", end="", file=sys.stderr, flush=True)
    print(file=sys.stderr)
    return written


def main() -> None:
    """Programs, compares, and says so."""
    image = pathlib.Path(sys.argv[1]).read_bytes()
    if len(image) > SIZE:
        sys.exit(f"{sys.argv[1]} has {len(image)} bytes: the EEPROM holds {SIZE}")
    with Adapter() as adapter:
        adapter.i2c[1].configure(frequency=400_000)
        written = program(adapter, image)
        if read(adapter, len(image)) != image:
            sys.exit("the EEPROM does not hold what was written: check the rail and its write protection")
    print(f"{written} pages written, {len(image)} bytes compared")


if __name__ == "__main__":
    main()
