"""Capture files as tests write them: whole, in other forms, and damaged."""

import struct

LINK_USB_LINUX = 189
LINK_USB_LINUX_MMAPPED = 220
BEGIN = 1_795_313_464_123_456_789  # 2026-11-22T02:11:04.123456789Z
MICROSECOND = 1000

OUT, IN = 0x01, 0x81
SUBMITTED, COMPLETED = ord("S"), ord("C")


def reports(frame, size=64):
    """A frame cut into reports."""
    room = size - 2
    parts = [frame[i:i + room] for i in range(0, len(frame), room)]
    return [struct.pack("<H", len(part) << 2 | (i == 0) | (i == len(parts) - 1) << 1) + part.ljust(room, b"\0")
            for i, part in enumerate(parts)]


class Capture:
    """The records of a capture, from which a file is made in any form."""

    def __init__(self, order="<", link=LINK_USB_LINUX_MMAPPED):
        self.order, self.link, self.now, self.records = order, link, BEGIN, []

    def add(self, event, endpoint, data, device=5, after=0, status=0, setup=None):
        """One record: of an interrupt transfer, or with `setup` of a control transfer."""
        self.now += after * MICROSECOND
        header = struct.pack(self.order + "QBBBBHccqiiII8s", 1, event, 1 if setup is None else 2, endpoint, device, 1,
                             b"-" if setup is None else b"\0", b"\0", self.now // 10**9, self.now % 10**9 // 1000, status,
                             len(data), len(data), setup or bytes(8))
        if self.link == LINK_USB_LINUX_MMAPPED:
            header += struct.pack(self.order + "iiII", 0, 0, 0, 0)
        self.records.append((self.now, header + data))
        return self

    def note(self, kind, **options):
        """Of a program that opens or closes the adapter."""
        text = b'{"note":"%s","path":"/dev/hidraw3","process":4711,"program":"python3"}' % kind.encode()
        return self.add(SUBMITTED, 0x00, text, setup=bytes.fromhex("4054000000000000"), **options)

    def descriptors(self, serial, product=0x82FC, texts=(), **options):
        """What the adapter says when it is plugged in; `texts` are those of manufacturer and product."""
        device = bytes.fromhex("12 01 00 02 00 00 00 40") + struct.pack("<HH", 0x1FC9, product) + bytes.fromhex("0001 01 02 03 01")
        self.add(SUBMITTED, 0x80, b"", setup=bytes.fromhex("8006000100001200"), **options)
        self.add(COMPLETED, 0x80, device, setup=bytes(8), **options)
        for index, text in [*enumerate(texts, 1), (3, serial)]:
            self.add(SUBMITTED, 0x80, b"", setup=bytes([0x80, 6, index, 3, 9, 4, 255, 0]), **options)
            self.add(COMPLETED, 0x80, bytes([2 + 2 * len(text), 3]) + text.encode("utf-16-le"), setup=bytes(8), **options)
        return self

    def exchange(self, request, response, latency=400, size=64, **options):
        """Two frames in hexadecimal; the response comes after so many microseconds."""
        for report in reports(bytes.fromhex(request), size):
            self.add(SUBMITTED, OUT, report, after=1000, **options)
        for report in reports(bytes.fromhex(response), size):
            self.add(COMPLETED, IN, report, after=latency, **options)
        return self

    def pcap(self):
        """As 'tarvix trace' writes it."""
        text = struct.pack(self.order + "IHHIIII", 0xA1B23C4D, 2, 4, 0, 0, 65600, self.link)
        for time, record in self.records:
            text += struct.pack(self.order + "IIII", time // 10**9, time % 10**9, len(record), len(record)) + record
        return text

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
