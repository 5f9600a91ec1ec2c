"""What `tarvix-sim replay` makes of recordings: answers, differences, events."""

import json
import os
import re
import sys
import time
import unittest

from captures import COMPLETED, IN, OUT, SUBMITTED, Capture, reports
from tool import ENVIRONMENT, SIM, SOURCE, TARVIX, Case, run

READ, ANSWER = "00 01 05 09 00 02 00 48 01 00 00 00 00 00", "00 01 05 09 00 00 00 02 00 17 80"
PIN, HIGH, LOW = "01 01 03 14 06", "01 01 03 14 00 00 01", "01 01 03 14 00 00 00"
EDGE = "00 00 81 14 00 00 05"
OPEN, CLOSE = b'{"note":"open"}', b'{"note":"close"}'
GONE = -108
DIFFERENT = 125

CONVERSATION = """
export TARVIX_ADAPTER=TVX0000001
tarvix i2c scan
tarvix i2c set 0x50 0 text:0123456789abcdefghijklmnopqrstuvwxyz --page 8 --in-flight 4
tarvix i2c get 0x50 0 -n 300
tarvix i2c get 0x33 0
tarvix spi transfer hex:9f000000$(printf %08000d 0)
tarvix reset
tarvix uart send text:hello --reply 5
tarvix i3c init
tarvix -a TVX0000002 i2c set 0x50 0 0x5a
tarvix -a TVX0000002 i2c get 0x50 0
exit 7
"""


def renumbered(frame, transaction):
    """The same frame with another transaction id."""
    return bytes.fromhex(f"{transaction:02x} 77").hex(" ") + frame[5:]


class Replay(Case):
    def save(self, contents, name="run.pcap"):
        path = os.path.join(self.directory(), name)
        with open(path, "wb") as file:
            file.write(contents)
        return path

    def replay(self, capture, *command, options=(), **variables):
        path = capture if isinstance(capture, str) else self.save(capture.pcap())
        return run([SIM, "replay", path, *options, "--", *command], env={**ENVIRONMENT, **variables})

    def talk(self, capture, *words, **options):
        return self.replay(capture, sys.executable, str(SOURCE / "tests/cli/replay_client.py"), *words, **options)

    def says(self, capture, words, lines, **options):
        """That a client which does this reads these frames, or sees the adapter go, and nothing is amiss."""
        result = self.talk(capture, *words, **options)
        self.assertEqual((result.stdout.splitlines(), result.stderr, result.returncode), (lines, "", 0))

    def test_a_traced_conversation_is_the_same_again(self):
        directory = self.directory()
        script = os.path.join(directory, "conversation")
        with open(script, "w", encoding="utf-8") as file:
            file.write(CONVERSATION)

        def shown(trace):
            result = run([TARVIX, "trace", "show", "--json", trace])
            events = [json.loads(line) for line in result.stdout.splitlines()]
            return [tuple(event.get(key) for key in ("event", "adapter", "command", "request", "response", "fields"))
                    for event in events if event["event"] not in ("open", "close", "error")]

        for size in "64", "1024":
            with self.subTest(size=size):
                first, second = (os.path.join(directory, name + size) for name in ("first", "second"))
                recorded = run([SIM, "run", "--adapters", "2", "--report-size", size, "--", TARVIX, "trace", "-o", first,
                                "--", "bash", script])
                again = self.replay(first, TARVIX, "trace", "-o", second, "--", "bash", script)
                self.assertEqual((again.stdout, again.stderr, again.returncode),
                                 (recorded.stdout, recorded.stderr, 7))
                self.assertGreater(len(shown(first)), 20)
                self.assertEqual(shown(second), shown(first))

    def test_the_first_difference_ends_the_run(self):
        capture = Capture().exchange(READ, ANSWER).exchange(PIN, HIGH)
        capture.exchange("02 01 09 09" + " 00" * 40, "02 01 09 09 00 00")
        at = "2026-11-22T02:11:04"
        zeros = " 00" * 20
        for words, message in (
                ([READ, "read", PIN[:-1] + "7"],
                 f"request 2 of 3 differs from the recording, {at}.125856Z\n"
                 "  expected  gpio digital read pin 6\n  received  gpio digital read pin 7\n  from byte 0 on:\n"
                 "  expected  -- -- 03 14 06\n  received  -- -- 03 14 07\n                        ^^\n"),
                ([READ, "read", PIN, "read", f"02 01 09 09{zeros} 05{zeros} 00 00 08"],
                 f"request 3 of 3 differs from the recording, {at}.127256Z\n"
                 f"  expected  unknown command 0x0909{zeros}{' 00' * 12} ... (40 bytes)\n"
                 f"  received  unknown command 0x0909{zeros} 05{' 00' * 11} ... (44 bytes)\n  from byte 16 on:\n"
                 f"  expected {' 00' * 16}\n  received {' 00' * 8} 05{' 00' * 7}\n{' ' * 36}^^\n  from byte 32 on:\n"
                 f"  expected {' 00' * 12}\n  received {' 00' * 15} 08\n{' ' * 47}{' ^^' * 4}\n"),
                ([READ, "read", PIN, "read", "02 01 09 09" + zeros * 2, "read", PIN],
                 "request 4 is not in the recording, which has 3\n  received  gpio digital read pin 6\n"),
        ):
            with self.subTest(message=message):
                result = self.talk(capture, "open:0", *words, "read", "end:3")
                self.assertEqual(result.stderr, f"tarvix-sim: 1-5: {message}")
                self.assertEqual((result.stdout.splitlines()[-1], result.returncode), ("gone", DIFFERENT))

    def test_a_command_that_does_not_end_is_ended(self):
        begin = time.monotonic()
        result = self.talk(Capture().exchange(READ, ANSWER), "open:0", PIN, "read", "close", "open:0")
        self.assertEqual((result.stdout, result.returncode), ("gone\n", DIFFERENT))
        self.assertLess(time.monotonic() - begin, 30)

    def test_requests_that_do_not_come(self):
        capture = Capture().exchange(READ, ANSWER).exchange(PIN, HIGH).exchange(PIN, HIGH)
        message = ("tarvix-sim: 1-5: request 2 of 3 has not come, recorded at 2026-11-22T02:11:04.125856Z\n"
                   "  expected  gpio digital read pin 6\n")
        for end, status in ("end:0", DIFFERENT), ("end:3", 3):
            result = self.talk(capture, "open:0", READ, "read", end)
            self.assertEqual((result.stderr, result.returncode), (message, status))
        # What was written in the last moment counts, however much it is.
        long = "02 01 04 09" + " 11" * 8000
        self.says(Capture().exchange(long, ""), ["open:0", "stop", long], [])

    def test_answers_have_the_ids_of_this_run(self):
        capture = Capture().exchange(READ, ANSWER)
        capture.exchange("", HIGH, latency=9)  # what nobody had asked for, with the id after the last
        self.says(capture, ["open:0", renumbered(READ, 0x42), "read", "read"],
                  [renumbered(ANSWER, 0x42), renumbered(HIGH, 0x43)])

    def test_requests_without_answers_stay_so(self):
        lost = Capture().exchange(READ, "").exchange(PIN, HIGH)
        self.says(lost, ["open:0", READ, PIN, "read"], [HIGH])
        late = Capture().exchange(READ, "")
        late.now += 10**9
        late.exchange(PIN, ANSWER).exchange("", HIGH)
        self.says(late, ["open:0", READ, PIN, "read", "read"], [ANSWER, HIGH])

    def test_notifications_come_at_their_place(self):
        def edge(pin):
            return EDGE[:-1] + str(pin)

        capture = Capture().exchange(READ, ANSWER).exchange("", edge(1)).exchange("", edge(2)).exchange(PIN, edge(3))
        capture.exchange("", HIGH)
        self.says(capture, ["open:0", READ, "read", "read", "read", PIN, "read", "read"],
                  [ANSWER, edge(1), edge(2), edge(3), HIGH])
        capture = Capture().note(OPEN).exchange("", edge(1)).exchange(READ, ANSWER).note(CLOSE)
        capture.note(OPEN).exchange("", edge(2)).exchange(PIN, HIGH)
        words = ["open:0", "read", READ, "read", "close", "open:0", "read", PIN, "read"]
        self.says(capture, words, [edge(1), ANSWER, edge(2), HIGH])
        self.says(capture, words, [edge(1), ANSWER, edge(2), HIGH], options=["--lenient"])

    def test_several_requests_in_flight(self):
        capture = Capture().exchange(READ, "").exchange(PIN, "")
        for frame in EDGE, ANSWER, EDGE, HIGH:
            capture.exchange("", frame)
        for words in ([READ, PIN, *["read"] * 4], [READ, "read", "read", PIN, "read", "read"]):
            self.says(capture, ["open:0", *words], [EDGE, ANSWER, EDGE, HIGH])

    def test_a_loss_comes_at_its_place(self):
        capture = Capture().note(OPEN).exchange(READ, ANSWER).add(COMPLETED, IN, b"", status=GONE, after=1000)
        capture.exchange(PIN, "").note(CLOSE)  # nobody got that
        capture.note(OPEN, after=1_000_000).exchange(PIN, HIGH)
        self.says(capture, ["open:0", READ, "read", "read", "close", "open:0", PIN, "read"], [ANSWER, "gone", HIGH])
        capture = Capture().note(OPEN).add(COMPLETED, IN, b"", status=GONE).note(CLOSE).note(OPEN, after=1000)
        self.says(capture.exchange(PIN, HIGH), ["open:0", "read", "close", "open:0", PIN, "read"], ["gone", HIGH])

    def test_torn_frames(self):
        whole = "02 01 04 09" + " 11" * 100
        capture = Capture().add(SUBMITTED, OUT, reports(bytes.fromhex(whole))[0])
        capture.exchange(PIN, HIGH)
        capture.exchange(READ, "").add(COMPLETED, IN, reports(bytes.fromhex("00 01 05 09 00 00" + " 22" * 90))[0])
        capture.exchange(PIN, LOW)
        self.says(capture, ["open:0", PIN, "read", READ, PIN, "read"], [HIGH, LOW])
        self.says(capture, ["open:0", whole, PIN, "read", READ, PIN, "read"], [HIGH, LOW])

    def test_lenient(self):
        capture = Capture().exchange(PIN, LOW).exchange("", EDGE).exchange(READ, ANSWER).exchange(PIN, HIGH)
        unknown = PIN[:-1] + "3"
        result = self.talk(capture, "open:0", READ, "read", unknown, *[PIN, "read"] * 2, "read", unknown, PIN, "read",
                           options=["--lenient"])
        self.assertEqual(result.stdout.splitlines(), [ANSWER, LOW, EDGE, HIGH, HIGH])
        self.assertEqual((result.stderr, result.returncode),
                         ("tarvix-sim: 1-5: not in the recording, and not answered: gpio digital read pin 3\n", 0))

    def test_timing(self):
        capture = Capture().descriptor()
        capture.exchange("01 00 03 14 05", "01 00 03 14 00 00 01", latency=30_000_000)
        for options, status in ((), 0), (["--timing"], 6):
            result = self.replay(capture, TARVIX, "gpio", "get", "5", "--timeout", "300", options=options)
            self.assertEqual(result.returncode, status, result.stderr)

    def test_what_could_not_be_opened_is_no_adapter(self):
        failed = b'{"note":"error","doing":"open","error":"No such file or directory","path":"/dev/hidraw9"}'
        capture = Capture().note(failed, device=9).note(OPEN).exchange(READ, ANSWER)
        self.says(capture, ["open:0", READ, "read"], [ANSWER])

    def test_what_is_known_of_the_adapters(self):
        capture = Capture().descriptor(size=1024, device=7).descriptor(device=8).string(3, "A-2", device=8)
        for index, text in (1, "Somebody"), (2, "Some adapter"), (3, "A-1"):
            capture.string(index, text, device=7)
        capture.exchange(PIN, HIGH, device=7, size=1024).exchange(PIN, LOW, device=8)
        result = self.replay(capture, TARVIX, "list", "--json", options=["--lenient"])
        found = [tuple(adapter[key] for key in ("serial", "product", "report_size")) for adapter in
                 json.loads(result.stdout)["adapters"]]
        self.assertEqual(found, [("A-1", "Some adapter", 1024), ("A-2", "Tarvix Virtual Adapter", 64)])
        self.says(capture, ["open:0", PIN, "read"], [HIGH], REPORT_SIZE="1024", options=["--lenient"])
        # Each has an order of its own.
        self.says(capture, ["open:1", PIN, "read", "close"], [LOW], options=["--lenient"])

    def test_files_that_are_no_recordings(self):
        good = Capture().exchange(READ, ANSWER).exchange(PIN, HIGH).pcap()
        for contents, message in (
                (good[:60], "run.pcap: ends in the middle of record 1"),
                (b"#!/bin/sh\n" * 20, r"run.pcap: not a capture file \(.*\); record with 'tarvix trace', .*"),
                (b"", "run.pcap: an empty file; record with 'tarvix trace', .*"),
                (Capture(link=1).pcap(), "run.pcap: a capture of another kind: Ethernet; .*"),
                (Capture().pcap(), "run.pcap: no traffic of an adapter; record with 'tarvix trace'")):
            result = self.replay(self.save(contents), "echo", "runs")
            self.assertRegex(result.stderr, f"^tarvix-sim: .*{message}\n$")
            self.assertEqual((result.stdout, result.returncode), ("", 1))
        result = self.talk(self.save(good[:-20]), "open:0", READ, "read", PIN)
        self.assertRegex(result.stderr, "run.pcap: ends in the middle of record 4; what came before is played\n")
        self.assertEqual((result.stdout, result.returncode), (ANSWER + "\n", 0))

    def test_there_is_no_bench(self):
        for words in (["state"], ["trigger", "unplug"]):
            result = self.replay(Capture().exchange(PIN, HIGH), SIM, *words)
            self.assertIn("tarvix-sim: this adapter answers from a recording: it has no bench", result.stderr)
            self.assertEqual(result.returncode, 1)

    def test_examples_work_as_printed(self):
        examples = re.findall(r"^  (tarvix-sim .*)", run([SIM, "replay", "--help"]).stdout, re.MULTILINE)
        guide = re.search(r"^## replay\n.*?```sh\n(.*?)```", (SOURCE / "docs/tarvix-sim.md").read_text(), re.M | re.S)[1]
        self.assertEqual(guide.splitlines(), examples)
        directory = self.directory()
        for example in examples:
            result = run(["bash", "-c", example], cwd=directory)
            self.assertEqual((result.returncode, result.stderr), (0, ""), example)


if __name__ == "__main__":
    unittest.main()
