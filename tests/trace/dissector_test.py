"""Wireshark's dissector, run by tshark on captures that were written for it."""

import collections
import os
import random
import shutil
import subprocess
import tempfile
import unittest

from captures import Capture

DISSECTOR = os.environ["TARVIX_DISSECTOR"]
LIMIT = 120


def frame(text):
    return bytes.fromhex(text)


class Dissector(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        directory = tempfile.TemporaryDirectory()
        self.addCleanup(directory.cleanup)
        self.directory = directory.name
        os.chmod(self.directory, 0o755)
        self.file = os.path.join(self.directory, "capture.pcap")
        self.script = shutil.copy(DISSECTOR, self.directory)

    def tshark(self, *arguments):
        """What tshark prints of the capture. It runs no scripts for root."""
        nobody = {"user": "nobody", "group": "nogroup", "extra_groups": []} if os.geteuid() == 0 else {}
        result = subprocess.run(["tshark", "-X", f"lua_script:{self.script}", "-r", self.file, "-2", *arguments],
                                capture_output=True, text=True, errors="replace", timeout=LIMIT, check=True,
                                env={**os.environ, "HOME": self.directory, "LC_ALL": "C.UTF-8"}, **nobody)
        self.assertNotRegex(result.stdout + result.stderr, r"Lua Error|\.lua:\d+")
        return result.stdout

    def fields(self, condition, *names):
        """Rows of these fields, of the packets that a display filter lets through."""
        arguments = [word for name in names for word in ("-e", f"tarvix.{name}")]
        return [line.split("\t") for line in
                self.tshark("-Y", condition, "-T", "fields", "-E", "occurrence=a", *arguments).splitlines()]

    def test_fields_and_filters(self):
        """An EEPROM write of two segments, a sensor read, a refusal, and notifications: with and without a descriptor."""
        data = "".join(f"{byte:02x}" for byte in range(64))
        for report_size, descriptor, segments in ((64, True, "2"), (64, False, "2"), (1024, True, ""), (1024, False, "")):
            with self.subTest(report_size=report_size, descriptor=descriptor):
                with Capture(self.file, report_size) as capture:
                    if descriptor:
                        capture.descriptor()
                        capture.note(b'{"note":"open"}')
                    capture.request(frame(f"0201 0409 01 4000 50 02 34120000 01 {data}"))
                    capture.response(frame("0201 0409 0000"))
                    capture.request(frame("0301 0509 00 0200 48 01 00000000 00"))
                    capture.response(frame("0000 8114 0000 05"))
                    capture.response(frame("0301 0509 0000 000000 1780"))
                    capture.request(frame("0401 0509 00 0200 33 01 00000000 00"))
                    capture.response(frame("0401 0509 0103"))
                self.assertEqual(
                    self.fields('tarvix.command == "i2c write"', "i2c.address", "i2c.register", "i2c.data", "segments",
                                "status"),
                    [["0x50", "12 34", " ".join(f"{byte:02x}" for byte in range(64)), segments, ""],
                     ["0x50", "", "", "", "0x0000"]])
                read = self.fields("tarvix.i2c.address == 0x48", "command", "i2c.bus", "i2c.length", "i2c.data", "line",
                                   "response_time")
                line = "i2c read bus 0 0x48 reg 00 len 2"
                self.assertEqual(read, [["0x0905", "0", "2", "", line, ""],
                                        ["0x0905", "0", "2", "17 80", line + " -> 17 80", "0.000300000"]])
                self.assertEqual(self.fields("tarvix.status != 0", "status", "name", "line"),
                                 [["0x0301", "i2c read", "i2c read bus 0 0x33 reg 00 len 2 -> NACK"]])
                self.assertEqual(self.fields("tarvix.notification", "gpio.pin", "line"), [["5", "gpio interrupt pin 5"]])
                self.assertEqual(self.fields("tarvix.note", "note"), [['{"note":"open"}']] if descriptor else [])

    def test_frames_of_every_kind(self):
        """Lists, records, texts, bits and variants of a command."""
        rows = (
            ("0501 0609 00 00", "0501 0609 0000 00 03 01 48 50 51 7879",
             "i2c scan bus bus 0 -> 0x48 0x50 0x51 78 79", "tarvix.i2c.addresses == 0x51"),
            ("0601 0704 03", "0601 0704 0000 04 414243", 'get usb string 3 -> "ABC"', 'tarvix.adapter.string == "ABC"'),
            ("0701 0819 08 01 00 02 12340000 0200", "0701 0819 0000 0000 0200 a1a2",
             "i3c sdr read 0x08 reg 12 34 len 2 -> a1 a2", 'tarvix.i3c.data == a1:a2 && tarvix.name == "i3c sdr read"'),
            ("0801 0919 30 00 02 89 00 0102", "0801 0919 0000 000000", "i3c ccc SETMWL 0x30 258 -> SUCCESS",
             "tarvix.status == 0 && tarvix.i3c.max_write_length == 258"),
            ("0901 0619", "0901 0619 0000 01 09 08 0123456789ab 06 c3 0000 0000 00 00",
             "i3c get device table -> 0x09/0x08", "tarvix.i3c.pid == 01:23:45:67:89:ab"),
            ("0a01 0109 00 801a0600 00", "0a01 0109 0000", "i2c controller init bus 0 400 kHz -> SUCCESS",
             "tarvix.status == 0 && tarvix.i2c.frequency == 400000"),
            ("0b01 0114 05 02 01", "0b01 0114 0000", "gpio configure pin 5 input pull-up high -> SUCCESS",
             'tarvix.status == 0 && tarvix.gpio.functionality == "input pull-up"'),
        )
        with Capture(self.file) as capture:
            capture.descriptor()
            for request, response, _, _ in rows:
                capture.request(frame(request))
                capture.response(frame(response))
        for _, _, line, condition in rows:
            self.assertEqual(self.fields(condition, "line"), [[line]], condition)

    def test_what_is_missing(self):
        """Unanswered, unmatched, torn and short frames are marked, and nothing else is."""
        with Capture(self.file) as capture:
            capture.descriptor()
            capture.request(frame("0201 ff09")) # no such command, no answer
            capture.response(frame("0301 0409 0000"))
            first, last = capture.segments(bytes(100))
            capture.read(last)
            capture.read(first)
            capture.response(frame("0401 0109 0000"))
            capture.request(frame("0501 0109 00 801a"))
            capture.read(frame("0b00 0701"))
            capture.request(frame("0601 0104")) # a reset is never answered
            capture.write(frame("03"))
        found = collections.Counter(
            line.split("|")[0] for line in self.tshark("-T", "fields", "-E", "separator=|", "-e", "_ws.expert.message",
                                                       "-Y", "tarvix && _ws.expert").splitlines())
        self.assertEqual(found, {"No response in this capture": 1, "Response without a request": 1,
                                 "Torn frame: its first segment is missing": 1,
                                 "Torn frame: another frame began before its last segment,Response without a request": 1,
                                 "3 bytes are missing,No response in this capture": 1,
                                 "too short for a frame": 1})

    def test_hostile_frames(self):
        """Any bytes, of any length, in any order."""
        draw = random.Random(4)
        codes = [code for family in (4, 8, 9, 13, 16, 20, 25) for code in range(family << 8, (family << 8) + 16)]
        codes += [0x1081, 0x1481, 0x1981, 0x1982, 0xFFFF]
        with Capture(self.file) as capture:
            capture.descriptor()
            for _ in range(3000):
                payload = bytes(draw.choice((0, 1, 2, 3, 16, 48, 255, draw.randrange(256)))
                                for _ in range(draw.choice((0, 1, 5, 13, 40, 200))))
                packet = bytes((draw.randrange(3), 0)) + draw.choice(codes).to_bytes(2, "little") + payload
                kind = draw.randrange(5)
                if kind == 0:
                    draw.choice((capture.read, capture.write))(draw.randbytes(draw.choice((1, 2, 3, 63, 64))))
                else:
                    (capture.request, capture.response)[kind % 2](packet[:draw.choice((3, 5, 300, 300))])
            capture.note(b"\xff\0{")
        self.assertEqual(self.tshark().count(" note "), 1)
        self.assertIn("Tarvix", self.tshark("-V"))

    def test_leaves_other_devices_alone(self):
        with Capture(self.file) as capture:
            capture.read(bytes(8))
            capture.read(frame("0200 3039").ljust(64, b"\0"))
            capture.read(frame("0bf0 0201 0509").ljust(64, b"\0"))
            capture.read(frame("0b00 0201 0509").ljust(64, b"\1"))
        self.assertEqual(self.fields("tarvix", "line"), [])


if __name__ == "__main__":
    unittest.main()
