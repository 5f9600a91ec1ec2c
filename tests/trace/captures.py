"""Writes capture files as the recorder and the kernel do, for conversations that no adapter would have."""

import struct

INTERRUPT, CONTROL = 1, 2
START = 1_795_313_464_123_456_000 # 2026-11-22 02:11:04.123456 UTC, in nanoseconds
IN_PROGRESS = -115


class Capture:
    def __init__(self, path, report_size=64, device=5):
        self.file = open(path, "wb") # pylint: disable=consider-using-with
        self.file.write(struct.pack("<IHHiIII", 0xA1B23C4D, 2, 4, 0, 0, 64 + 65536, 220))
        self.time = START
        self.report_size = report_size
        self.device = device
        self.urb = 0

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.file.close()

    def record(self, event, transfer, endpoint, data=b"", setup=None, status=0, length=None):
        self.time += 100_000
        seconds, nanoseconds = divmod(self.time, 1_000_000_000)
        no_data = 0 if data else ord("<" if endpoint & 0x80 else ">")
        header = struct.pack("<QcBBBHBBqiiII8siiII", self.urb, event, transfer, endpoint, self.device, 1,
                             0 if setup else ord("-"), no_data, seconds, nanoseconds // 1000, status,
                             len(data) if length is None else length, len(data), setup or b"", 0, 0, 0, 0)
        size = len(header) + len(data)
        self.file.write(struct.pack("<IIII", seconds, nanoseconds, size, size) + header + data)

    def descriptor(self):
        product = 0x82FC if self.report_size == 64 else 0x82FD
        self.urb += 1
        self.record(b"S", CONTROL, 0x80, setup=bytes.fromhex("8006000100001200"), status=IN_PROGRESS, length=18)
        self.record(b"C", CONTROL, 0x80, struct.pack("<BBHBBBBHHHBBBB", 18, 1, 0x200, 0, 0, 0, 64, 0x1FC9, product,
                                                     0x100, 1, 2, 3, 1))

    def note(self, text):
        self.urb += 1
        self.record(b"S", CONTROL, 0, text, struct.pack("<BBHHH", 0x40, ord("T"), 0, 0, len(text)), IN_PROGRESS)

    def segments(self, frame):
        room = self.report_size - 2
        pieces = [frame[at:at + room] for at in range(0, len(frame), room)] or [b""]
        for number, piece in enumerate(pieces):
            header = len(piece) << 2 | (number == len(pieces) - 1) << 1 | (number == 0)
            yield struct.pack("<H", header) + piece.ljust(room, b"\0")

    def write(self, report):
        self.urb += 1
        self.record(b"S", INTERRUPT, 0x01, report, status=IN_PROGRESS)
        self.record(b"C", INTERRUPT, 0x01, length=len(report))

    def read(self, report):
        self.urb += 1
        self.record(b"C", INTERRUPT, 0x81, report)

    def request(self, frame):
        for report in self.segments(frame):
            self.write(report)

    def response(self, frame):
        for report in self.segments(frame):
            self.read(report)
