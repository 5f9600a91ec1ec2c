"""What `tarvix trace show` prints of captures, good and bad."""

import json
import os
import re
import unittest
from pathlib import Path

from captures import COMPLETED, IN, LINK_USB_LINUX, OUT, SUBMITTED, Capture
from tool import SOURCE, TARVIX, Case, check_fields, documented_fields, run, shell

READ = "02 01 05 09 00 02 00 48 01 00 00 00 00 00"
ANSWER = "02 01 05 09 00 00 00 02 00 17 80"
READ_LINE = "i2c read bus 0 0x48 reg 00 len 2 -> 17 80"


def sample(**options):
    """A good read, one of nobody, a pin, a notification."""
    capture = Capture(**options).exchange(READ, ANSWER)
    capture.exchange("03 01 05 09 00 02 00 49 01 00 00 00 00 00", "03 01 05 09 01 03", latency=20_000)
    capture.exchange("04 01 03 14 06", "04 01 03 14 00 00 01")
    return capture.exchange("", "00 00 81 14 00 00 05", latency=1_000_000)


SAMPLE_LINES = [
    f"02:11:04.124456    400us  {READ_LINE}",
    "02:11:04.125856   20.0ms  i2c read bus 0 0x49 reg 00 len 2 -> NACK",
    "02:11:04.146856    400us  gpio digital read pin 6 -> high",
    "02:11:05.147256           notification: gpio interrupt pin 5",
]


class Show(Case):
    def show(self, contents, *options, **more):
        path = os.path.join(self.directory(), "run.pcap")
        with open(path, "wb") as file:
            file.write(contents)
        return run([TARVIX, "trace", "show", path, *options], **more)

    def lines(self, capture, *options):
        result = self.show(capture.pcap(), *options)
        self.assertEqual((result.returncode, result.stderr), (0, ""), options)
        return result.stdout.splitlines()

    def test_reads_every_form_of_a_capture(self):
        for name, contents in (("pcap", sample().pcap()), ("pcapng", sample().pcapng()),
                               ("from a machine of the other byte order", sample(order=">").pcap()),
                               ("with short headers", sample(link=LINK_USB_LINUX).pcap())):
            with self.subTest(name):
                result = self.show(contents)
                self.assertEqual((result.stdout.splitlines(), result.stderr, result.returncode), (SAMPLE_LINES, "", 0))

    def test_reads_standard_input(self):
        result = run(["bash", "-c", f"printf %b '{''.join(f'{chr(92)}x{b:02x}' for b in sample().pcap())}' | "
                      f"{TARVIX} trace show -"])
        self.assertEqual((result.stdout.splitlines(), result.stderr), (SAMPLE_LINES, ""))

    def test_prints_only_what_is_wanted(self):
        other = sample()
        other.exchange(READ, ANSWER, device=6)
        for options, expected in (
                (["--family", "i2c"], [0, 1]), (["--family", "gpio,spi"], [2, 3]), (["--address", "0x49"], [1]),
                (["--address", "72,0x49"], [0, 1]), (["--status", "nack"], [1]), (["--status", "0x0301,BUS_STUCK"], [1]),
                (["--status", "failed"], [1]), (["--status", "success"], [0, 2]), (["--adapter", "1-5"], [0, 1, 2, 3]),
                (["--adapter", "1-4"], []), (["--from", "02:11:04.13"], [2, 3]), (["--to", "02:11:04.125856"], [0, 1]),
                (["--from", "2026-11-22T02:11:05Z"], [3]), (["--from", "20ms", "--to", "0.5s"], [2]),
                (["--from", "02:11", "--to", "02:11:04.13"], [0, 1]), (["--to", "01:00"], [0, 1, 2, 3]), (["--from", "01:00"], [0, 1, 2, 3]),
                (["--family", "i2c", "--status", "success"], [0])):
            with self.subTest(options=options):
                self.assertEqual(self.lines(sample(), *options), [SAMPLE_LINES[i] for i in expected])
        self.assertEqual(self.lines(other, "--adapter", "1-6"), [f"02:11:05.148256    400us  {READ_LINE}"])
        self.assertEqual(self.lines(other)[-1], f"02:11:05.148256    400us  [1-6] {READ_LINE}")
        for name, count in (("TVX1", 1), ("1-5", 1), ("TVX2", 0)):
            known = Capture().descriptor().string(3, "TVX1").exchange(READ, ANSWER)
            self.assertEqual(len(self.lines(known, "--adapter", name)), count, name)

    def test_finds_addresses_in_lists(self):
        scan = ("02 01 06 09 00 00", "02 01 06 09 00 00 00 02 00 48 50")
        table = ("03 01 04 19 01 52 0a" + " 00" * 14, "03 01 04 19 00 00")
        capture = Capture().exchange(*scan).exchange(*table)
        for address, count in (("0x48", 1), ("0x50", 1), ("2", 0), ("0x52", 1), ("10", 1)):
            self.assertEqual(len(self.lines(capture, "--address", address)), count, address)

    def test_a_response_without_a_status_is_no_success(self):
        capture = Capture().exchange(READ, "02 01 05 09")
        self.assertIn("1 ", self.lines(capture, "--stats", "--status", "failed")[1])
        self.assertNotIn("status", self.objects(capture, "--json")[0])

    def test_prints_the_bytes(self):
        lines = self.lines(Capture().exchange(READ, ANSWER), "--frames", "--reports")
        self.assertEqual(lines[1:], [f"    > {READ}", f"    > 02:11:04.124456  3b 00 {READ}",
                                     f"    < {ANSWER}", f"    < 02:11:04.124856  2f 00 {ANSWER}"])

    def objects(self, *arguments):
        result = [json.loads(line) for line in self.lines(*arguments)]
        for value in result:
            check_fields(value, documented_fields()["trace show --stats" if "count" in value else "trace show"])
        return result

    def test_prints_json(self):
        values = self.objects(sample(), "--json", "--frames", "--reports")
        reports = values[0].pop("request_reports") + values[0].pop("response_reports")
        self.assertEqual([(report["time"], report["data"][:8]) for report in reports],
                         [("2026-11-22T02:11:04.124456Z", "3b 00 02"), ("2026-11-22T02:11:04.124856Z", "2f 00 02")])
        self.assertEqual(values[0], {
            "schema": 1, "event": "exchange", "time": "2026-11-22T02:11:04.124456Z", "at": 0, "latency": 0.0004,
            "adapter": "1-5", "id": 258, "code": "0x0905", "family": "i2c", "command": "i2c read",
            "request": {"bus": 0, "length": 2, "address": "0x48", "register": "00", "flag": False}, "status": 0,
            "status_name": "SUCCESS", "response": {"data": "17 80"}, "request_frame": READ, "response_frame": ANSWER,
            "line": READ_LINE})
        self.assertEqual([value.get("status_name") for value in values], ["SUCCESS", "NACK", "SUCCESS", None])
        self.assertEqual((values[3]["event"], values[3]["fields"], values[3]["at"]), ("notification", {"pin": 5}, 1.0228))

    def test_counts(self):
        capture = sample()
        for latency in range(100, 1100, 10):
            capture.exchange(READ, ANSWER, latency=latency)
        capture.exchange(READ, "").now += 200_000_000
        capture.exchange("05 01 03 14 06", "05 01 03 14 05 01").exchange("", ANSWER).add(SUBMITTED, OUT, bytes(64))
        self.assertEqual([re.sub(" +", " ", line) for line in self.lines(capture, "--stats")], [
            "command count failed median 90 % 99 % most",
            "gpio digital read 2 1 400us 400us 400us 400us 1 BAD_PIN",
            "gpio interrupt 1 0 - - - -",
            "i2c read 103 2 591us 1007us 1103us 20000us 1 NACK, 1 late", "torn 1 1 - - - -"])
        values = {value["command"]: value for value in self.objects(capture, "--stats", "--json")}
        self.assertEqual(values["i2c read"]["statuses"], {"NACK": 1})
        self.assertEqual(values["i2c read"]["latency"]["least"], 0.0001)
        self.assertEqual({value["command"] for value in self.objects(capture, "--stats", "--json", "--status", "failed")},
                         {"gpio digital read", "i2c read", "torn"})

    def test_shows_what_can_be_read_of_a_file_that_ends_early(self):
        contents = Capture().exchange(READ, ANSWER).exchange(READ, ANSWER).pcap()
        record = 16 + 64 + 64
        for size in (24 + record, 24 + 2 * record, 24 + 2 * record + 1, 24 + 3 * record - 1, len(contents) - 1):
            with self.subTest(size=size):
                result = self.show(contents[:size])
                whole = (size - 24) // record
                expected = [f"02:11:04.124456    400us  {READ_LINE}"] if whole > 1 else [
                    "02:11:04.124456           i2c read bus 0 0x48 reg 00 len 2 -> no response"]
                if whole == 3:
                    expected.append("02:11:04.125856           i2c read bus 0 0x48 reg 00 len 2 -> no response")
                self.assertEqual(result.stdout.splitlines(), expected)
                cut = (size - 24) % record != 0
                self.assertEqual(result.returncode, 1 if cut else 0)
                self.assertIn(f"run.pcap: ends in the middle of record {whole + 1}\n" if cut else "", result.stderr)
        result = self.show(contents[:-1], "--json")
        self.assertRegex(json.loads(result.stdout.splitlines()[-1])["error"]["message"], "middle of record 4$")

    def test_says_what_is_wrong_with_a_file(self):
        good = sample().pcap()
        long = bytearray(good)
        long[24 + 8:24 + 12] = b"\xff\xff\xff\x7f"
        short = good[:24 + 8] + bytes([20, 0, 0, 0, 20, 0, 0, 0]) + good[24 + 16:24 + 36]
        keyboard = Capture().add(COMPLETED, IN, bytes(8)).pcap()
        ethernet = Capture(link=1).pcap()
        for contents, *texts in (
                (b"", "run.pcap: an empty file; record with 'tarvix trace'"),
                (b"\n", "run.pcap: not a capture file ("), (good[:20], "run.pcap: not a capture file ("),
                (bytes(100), "run.pcap: not a capture file (unknown file format"),
                (ethernet, "run.pcap: a capture of another kind: Ethernet"),
                (bytes(long), "run.pcap: damaged after 0 records ("), (short, "record 1 has 20 bytes, too few"),
                (keyboard, "run.pcap: no traffic of an adapter in its 1 records"),
                (Capture().pcap(), "run.pcap: no traffic of an adapter in its 0 records")):
            with self.subTest(texts):
                self.fails(self.show(contents), 1, *texts)
        self.fails(run([TARVIX, "trace", "show", "/no/such"]), 1, "/no/such: No such file or directory")
        self.fails(run([TARVIX, "trace", "show", "/etc"]), 1, "/etc: Is a directory")

    def test_a_report_spares_the_trace(self):
        path = os.path.join(self.directory(), "run.html")
        Path(path).write_bytes(sample().pcap())
        for options in ([], ["-o", path]):
            self.fails(run([TARVIX, "trace", "report", path, *options]), 2, f"the page would overwrite {path}; name another file")
        self.assertEqual(Path(path).read_bytes(), sample().pcap())

    def test_wrong_uses(self):
        for options, *texts in (
                (["--family", "can"], "--family: 'can' is not one of adapter, i2c, spi, uart, gpio, i3c, unknown"),
                (["--family", "i2c,,spi"], "--family: an item of the list is empty"),
                (["--status", "NAK"], "--status: 'NAK' is neither a number nor one of failed, SUCCESS,", "NACK"),
                (["--status", "0x10000"], "--status: 0x10000"), (["--address", "0x80"], "--address: 0x80"),
                (["--from", "25:00:00"], "--from: '25:00:00' is no time; write it as printed"),
                (["--to", "2026-02-30T00:00:00Z"], "--to: '2026-02-30T00:00:00Z' is no time"),
                (["--from", "02:11:04x"], "--from: '02:11:04x' is no time"), (["--to", "soon"], "--to: 'soon'")):
            with self.subTest(options=options):
                self.fails(self.show(sample().pcap(), *options), 2, *texts)


    def test_the_guide_shows_what_is_printed(self):
        text = (SOURCE / "docs/trace.md").read_text(encoding="utf-8")
        shown = re.search(r"^tarvix trace show run.pcap\n```\n\n```\n(.*?)^```", text, re.MULTILINE | re.DOTALL)[1]
        record = re.search(r"^tarvix trace -o run.pcap .*", text, re.MULTILINE)[0]
        result = shell(f"{record} >/dev/null && tarvix trace show run.pcap", cwd=self.directory())

        def timeless(lines):
            return re.sub(r"^[\d:.]+ +(\d+us)?|/\S+|\(\d+\)", "*", lines, flags=re.MULTILINE)

        self.assertEqual((timeless(result.stdout), result.stderr), (timeless(shown), ""))


if __name__ == "__main__":
    unittest.main()
