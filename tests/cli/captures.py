"""Capture files as tests write them: whole, in other forms, and damaged."""

import struct

LINK_USB_LINUX = 189
LINK_USB_LINUX_MMAPPED = 220
BEGIN = 1_795_313_464_123_456_789  # 2026-11-22T02:11:04.123456789Z
MICROSECOND = 1000

OUT, IN = 0x01, 0x81
CONTROL_OUT, CONTROL_IN = 0x00, 0x80
INTERRUPT, CONTROL = 1, 2
SUBMITTED, COMPLETED = ord("S"), ord("C")


def reports(frame, size=64):
    """A frame cut into reports."""
    room = size - 2
    parts = [frame[i:i + room] for i in range(0, len(frame), room)]
    return [struct.pack("<H", len(part) << 2 | (i == 0) | (i == len(parts) - 1) << 1) + part.ljust(room, b"\0")
            for i, part in enumerate(parts)]


class Capture:
    """The records of a capture, from which a file is made in any form."""

    def __init__(self, order="<", link=LINK_USB_LINUX_MMAPPED, report_size=64):
        self.order, self.link, self.report_size, self.now, self.records = order, link, report_size, BEGIN, []

    def add(self, event, endpoint, data, device=5, after=0, status=0, transfer=INTERRUPT, setup=b""):
        self.now += after * MICROSECOND
        header = struct.pack(self.order + "QBBBBHccqiiII8s", 1, event, transfer, endpoint, device, 1,
                             b"\0" if setup else b"-", b"\0" if data else b"<", self.now // 10**9,
                             self.now % 10**9 // 1000, status, len(data), len(data), setup)
        if self.link == LINK_USB_LINUX_MMAPPED:
            header += struct.pack(self.order + "iiII", 0, 0, 0, 0)
        self.records.append((self.now, header + data))
        return self

    def request(self, frame, after=1000, size=None, **options):
        for report in reports(frame, size or self.report_size):
            self.add(SUBMITTED, OUT, report, after=after, **options)
        return self

    def response(self, frame, after=400, size=None, **options):
        for report in reports(frame, size or self.report_size):
            self.add(COMPLETED, IN, report, after=after, **options)
        return self

    def exchange(self, request, response, latency=400, **options):
        """Two frames in hexadecimal; the response comes after so many microseconds."""
        self.request(bytes.fromhex(request), **options)
        return self.response(bytes.fromhex(response), after=latency, **options)

    def descriptor(self, size=None, **options):
        """What the kernel asks a device first, which tells whose it is."""
        product = 0x82FC if (size or self.report_size) == 64 else 0x82FD
        self.add(SUBMITTED, CONTROL_IN, b"", transfer=CONTROL, setup=bytes.fromhex("8006000100001200"), **options)
        device = struct.pack("<BBHBBBBHHHBBBB", 18, 1, 0x200, 0, 0, 0, 64, 0x1FC9, product, 0x100, 1, 2, 3, 1)
        return self.add(COMPLETED, CONTROL_IN, device, transfer=CONTROL, **options)

    def string(self, index, text, **options):
        """What it asks then: manufacturer, product or serial number."""
        setup = struct.pack("<BBBBHH", 0x80, 6, index, 3, 0x409, 255)
        self.add(SUBMITTED, CONTROL_IN, b"", transfer=CONTROL, setup=setup, **options)
        answer = bytes([2 + 2 * len(text), 3]) + text.encode("utf-16-le")
        return self.add(COMPLETED, CONTROL_IN, answer, transfer=CONTROL, **options)

    def note(self, text, **options):
        setup = struct.pack("<BBHHH", 0x40, ord("T"), 0, 0, len(text))
        return self.add(SUBMITTED, CONTROL_OUT, text, transfer=CONTROL, setup=setup, **options)

    def pcap(self):
        """As 'tarvix trace' writes it."""
        text = bytearray(struct.pack(self.order + "IHHIIII", 0xA1B23C4D, 2, 4, 0, 0, 65600, self.link))
        for time, record in self.records:
            text += struct.pack(self.order + "IIII", time // 10**9, time % 10**9, len(record), len(record)) + record
        return bytes(text)

    def pcapng(self):
        """As Wireshark writes it, with times in nanoseconds."""

        def block(kind, body):
            size = 12 + len(body)
            return struct.pack(self.order + "II", kind, size) + body + struct.pack(self.order + "I", size)

        resolution = struct.pack(self.order + "HHB3xHH", 9, 1, 9, 0, 0)
        text = block(0x0A0D0D0A, struct.pack(self.order + "IHHq", 0x1A2B3C4D, 1, 0, -1))
        text += block(1, struct.pack(self.order + "HHI", self.link, 0, 65600) + resolution)
        for time, record in self.records:
            body = struct.pack(self.order + "IIIII", 0, time >> 32, time & 0xFFFFFFFF, len(record), len(record))
            text += block(6, body + record + bytes(-len(record) % 4))
        return text
