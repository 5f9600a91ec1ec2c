"""Wireshark's dissector, run by tshark on captures that were written for it."""

import collections
import json
import os
import random
import re
import shlex
import shutil
import subprocess
import unittest

from captures import COMPLETED, CONTROL, CONTROL_IN, IN, OUT, SUBMITTED, Capture, reports
from tool import LIMIT, SOURCE, TARVIX, Case, run, simulated

DISSECTOR = os.environ["TARVIX_DISSECTOR"]


def frame(text):
    return bytes.fromhex(text)


class Dissector(Case):
    def setUp(self):
        self.home = self.directory()
        os.chmod(self.home, 0o755)
        self.file = os.path.join(self.home, "capture.pcap")
        self.script = shutil.copy(DISSECTOR, self.home)

    def write(self, capture):
        with open(self.file, "wb") as file:
            file.write(capture.pcap())

    def tshark(self, *arguments):
        """What tshark prints of the capture. It runs no scripts for root."""
        nobody = {"user": "nobody", "group": "nogroup", "extra_groups": []} if os.geteuid() == 0 else {}
        result = subprocess.run(["tshark", "-X", f"lua_script:{self.script}", "-r", self.file, "-2", *arguments],
                                capture_output=True, text=True, errors="replace", timeout=LIMIT, check=True,
                                env={**os.environ, "HOME": self.home, "LC_ALL": "C.UTF-8"}, **nobody)
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
                capture = Capture(report_size=report_size)
                if descriptor:
                    capture.descriptor().note(b'{"note":"open"}')
                capture.exchange(f"0201 0409 01 4000 50 02 34120000 01 {data}", "0201 0409 0000")
                capture.request(frame("0301 0509 00 0200 48 01 00000000 00"))
                capture.response(frame("0000 8114 0000 05"), after=100)
                capture.response(frame("0301 0509 0000 000000 1780"), after=200)
                capture.exchange("0401 0509 00 0200 33 01 00000000 00", "0401 0509 0103")
                self.write(capture)
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

    def record(self, script):
        """A trace of what a shell script does on a virtual adapter."""
        result = run(simulated([TARVIX, "trace", "-o", self.file, "--", "bash", "-c", script]))
        self.assertEqual(result.returncode, 0, result.stderr)
        os.chmod(self.file, 0o644)

    def test_what_the_recorder_writes(self):
        """The guide's command, after an EEPROM was written and a sensor read."""
        self.record("printf calibrated | tarvix i2c eeprom write 0x50 - --part 24c02 --offset 16; tarvix i2c get 0x48 0 -n 2")
        written = self.fields("tarvix.i2c.address == 0x50 && tarvix.command == 0x0904", "i2c.register", "i2c.data", "status")
        self.assertEqual(written, [["10", "63 61 6c 69 62 72 61 74", ""], ["", "", "0x0000"],
                                   ["18", "65 64", ""], ["", "", "0x0000"]])
        guide = (SOURCE / "docs/trace.md").read_text(encoding="utf-8")
        words = shlex.split(re.search(r"^tshark -r run.pcap (.*)$", guide, re.MULTILINE)[1])
        lines = [line.split("\t") for line in self.tshark(*words).splitlines()]
        self.assertEqual([line for line, _ in lines], ["i2c read bus 0 0x48 reg 00 len 2", "i2c read bus 0 0x48 reg 00 len 2 -> 17 80"])
        self.assertEqual(lines[0][1], "")
        self.assertGreater(float(lines[1][1]), 0)
        for condition in re.findall(r"^\| `(tarvix[^|]*)` \|", guide, re.MULTILINE):
            for part in condition.split("` or `"):
                self.tshark("-Y", part)

    def test_says_what_trace_show_says(self):
        self.record("""tarvix batch -k - <<'END' || true
i2c scan
i2c get 0x33 0
i2c get 0x50 0 -n 70
i2c set 0x50 8 1 2 3 4
spi id
spi transfer 0x9f 0 0 0
gpio set 2=1
gpio get 2 3
uart send text:hello
rail set shared 3300mV
rail set shared 60V
i3c init
i3c table
i3c ccc GETPID @0x08
i3c ccc GETMWL @0x08
i3c ccc SETMRL @0x08 64 16
i3c ccc DISEC 0x01
i3c ccc RSTACT 1
i3c ccc 0x90 @0x08 --read 2
i3c read 0x08 0 -n 4
i3c write 0x08 0 1 2
i3c ddr-read 0x08 0x20 -n 4
i3c ddr-write 0x08 0 hex:12345678
i3c legacy-read 0x57 0x10 -n 16
i3c target-reset
i3c exit-hdr
i3c reset
info
END""")
        shown = run([TARVIX, "trace", "show", self.file, "--json"]).stdout
        events = sorted((json.loads(line) for line in shown.splitlines()), key=lambda event: event["at"])
        answered = [event["line"] for event in events if event["event"] == "exchange" and "response" in event]
        self.assertEqual([line for line, in self.fields("tarvix.response_time", "line")], answered)
        self.assertEqual(["notification: " + line for line, in self.fields("tarvix.notification", "line")],
                         [event["line"] for event in events if event["event"] == "notification"])
        self.assertGreater(len({line.split(" bus ")[0] for line in answered}), 20)

    def test_frames_of_every_kind(self):
        """Lists, records, texts, bits and variants of a command."""
        rows = (
            ("0501 0609 00 00", "0501 0609 0000 00 03 01 48 50 51 7879",
             "i2c scan bus 0 -> 0x48 0x50 0x51 78 79", "tarvix.i2c.addresses == 0x51"),
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
        capture = Capture().descriptor()
        for request, response, _, _ in rows:
            capture.exchange(request, response)
        self.write(capture)
        for _, _, line, condition in rows:
            self.assertEqual(self.fields(condition, "line"), [[line]], condition)

    def test_what_is_missing(self):
        """Unanswered, unmatched, torn and short frames are marked, and nothing else is."""
        capture = Capture().descriptor()
        capture.request(frame("0201 ff09"))  # no such command, no answer
        capture.response(frame("0301 0409 0000"))
        first, last = reports(bytes(100))
        capture.add(COMPLETED, IN, last).add(COMPLETED, IN, first)
        capture.response(frame("0401 0109 0000"))
        capture.request(frame("0501 0109 00 801a"))
        capture.add(COMPLETED, IN, frame("0b00 0701"))
        capture.request(frame("0601 0104"))  # a reset is never answered
        capture.exchange("0701 0514 05", "0701 0414 0000")  # of another command
        capture.add(SUBMITTED, OUT, frame("03"))
        self.write(capture)
        found = collections.Counter(
            line.split("|")[0] for line in self.tshark("-T", "fields", "-E", "separator=|", "-e", "_ws.expert.message",
                                                       "-Y", "tarvix && _ws.expert").splitlines())
        self.assertEqual(found, {"No response in this capture": 2, "Response without a request": 2,
                                 "Torn frame: its first segment is missing": 1,
                                 "Torn frame: another frame began before its last segment,Response without a request": 1,
                                 "3 bytes are missing,No response in this capture": 1,
                                 "too short for a frame": 1})

    def test_hostile_frames(self):
        """Any bytes, of any length, in any order."""
        draw = random.Random(4)
        codes = [code for family in (4, 8, 9, 13, 16, 20, 25) for code in range(family << 8, (family << 8) + 16)]
        codes += [0x1081, 0x1481, 0x1981, 0x1982, 0xFFFF]
        capture = Capture().descriptor()
        for _ in range(3000):
            payload = bytes(draw.choice((0, 1, 2, 3, 16, 48, 255, draw.randrange(256)))
                            for _ in range(draw.choice((0, 1, 5, 13, 40, 200))))
            packet = bytes((draw.randrange(3), 0)) + draw.choice(codes).to_bytes(2, "little") + payload
            if draw.random() < 0.2:
                capture.add(*draw.choice(((SUBMITTED, OUT), (COMPLETED, IN))), draw.randbytes(draw.choice((1, 2, 3, 63, 64))))
            else:
                draw.choice((capture.request, capture.response))(packet[:draw.choice((3, 5, 300, 300))])
        self.write(capture.note(b"\xff\0{"))
        self.assertEqual(self.tshark().count(" note "), 1)
        self.assertIn("Tarvix", self.tshark("-V"))

    def test_a_kernel_that_saw_a_hid_device(self):
        """Without the device's own descriptor, but with one that makes the HID dissector claim its reports."""
        interface = "0902 2900 01 01 00 80 32  09 04 00 00 02 03 00 00 00  09 21 1101 00 01 22 1c00"
        endpoints = "07 05 81 03 4000 01  07 05 01 03 4000 01"
        setup = frame("80 06 0002 0000 2900")
        capture = Capture().add(SUBMITTED, CONTROL_IN, b"", transfer=CONTROL, setup=setup)
        capture.add(COMPLETED, CONTROL_IN, frame(interface + endpoints), transfer=CONTROL)
        self.write(capture.exchange("0301 0314 03", "0301 0314 0000 01"))
        self.assertEqual(self.fields("tarvix.response_time", "line"), [["gpio digital read pin 3 -> high"]])

    def test_leaves_other_devices_alone(self):
        capture = Capture().add(COMPLETED, IN, bytes(8))
        for begin, padding in (("0200 3039", b"\0"), ("3bf0 0201 0509", b"\0"), ("1300 0201 0509", b"\1")):
            capture.add(COMPLETED, IN, frame(begin).ljust(64, padding))
        self.write(capture)
        self.assertEqual(self.fields("tarvix", "line"), [])


if __name__ == "__main__":
    unittest.main()
