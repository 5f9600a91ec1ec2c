"""The page of `tarvix trace report`, in a headless Chromium. `--picture FILE` makes the picture for the documentation."""

import contextlib
import json
import os
import pathlib
import re
import sys
import tempfile
import unittest

from browser import CHROMIUM, Browser
from captures import Capture
from tool import ENVIRONMENT, SOURCE, TARVIX, Case, objects, run, simulated

SHOWN = "Array.from(document.querySelectorAll('#rows .row'), row => Array.from(row.children, cell => cell.textContent))"
DETAIL = ("Object.fromEntries(Array.from(document.querySelectorAll('#detail dt'), "
          "name => [name.textContent, name.nextSibling.textContent]))")
CHOSEN = "document.querySelector('#rows [aria-selected=true]')?.children[3].textContent"
NODES = "document.querySelectorAll('*').length"


def output_of(command, **options):
    result = run(command, **options)
    assert (result.returncode, result.stderr) == (0, ""), result.stderr
    return result.stdout


def record_faulty_run(path):
    program = [TARVIX, "trace", "-o", path, "--", "python3", "-B", str(SOURCE / "tests/cli/faulty_run.py")]
    output_of(simulated(program, ["--fault", "drop:0.02", "--seed", "7"]),
              env={**ENVIRONMENT, "PYTHONPATH": str(SOURCE / "python")})


READY = "typeof drawAll === 'function'"


def make_picture(browser, path):
    with tempfile.TemporaryDirectory() as directory:
        capture, page = os.path.join(directory, "bench.pcap"), os.path.join(directory, "report.html")
        record_faulty_run(capture)
        output_of([TARVIX, "trace", "report", capture, "-o", page])
        browser.open(page, READY, 1180, 740)
        browser.press("n", "n")
        assert not browser.errors
        browser.picture(path)


@unittest.skipUnless(CHROMIUM, "there is no chromium")
class Report(Case):
    @classmethod
    def setUpClass(cls):
        cls.browser = cls.enterClassContext(Browser())
        cls.home = pathlib.Path(cls.enterClassContext(tempfile.TemporaryDirectory()))
        cls.faulty = str(cls.home / "faulty.pcap")
        record_faulty_run(cls.faulty)
        cls.events = [json.loads(line) for line in
                      output_of([TARVIX, "trace", "show", cls.faulty, "--json", "--frames"]).splitlines()]
        cls.events.sort(key=lambda event: event["at"])

    @contextlib.contextmanager
    def page(self, capture, **options):
        """The page of a capture; it must neither complain nor ask for anything else."""
        path = str(self.home / "report.html")
        output_of([TARVIX, "trace", "report", str(capture), "-o", path])
        self.browser.open(path, READY, **options)
        yield self.browser
        self.assertEqual(self.browser.errors, [])
        asked = [url.split("/")[-1] for url in self.browser.requests if not url.startswith("data:")]
        self.assertEqual(asked, ["report.html"])

    def bad(self, event):
        return event.get("status", 0) != 0 or event["event"] in ("error", "unanswered", "late", "unmatched", "torn")

    def test_shows_all_that_was_recorded(self):
        """As `trace show` does, and the run has every trouble that it was made for."""
        with self.page(self.faulty) as page:
            self.assertEqual(page.value("Array.from({length: capture.count}, (_, i) => capture.text(i))"),
                             [event["line"] for event in self.events])
            summary = page.value("Object.fromEntries(Array.from(document.querySelectorAll('#summary div'), "
                                 "card => [card.firstChild.textContent, card.lastChild.textContent]))")
            counts = {kind: sum(event["event"] == kind for event in self.events) for kind in
                      ("exchange", "notification", "open", "close", "error", "unanswered")}
            self.assertEqual([summary[name] for name in ("Errors", "Exchanges", "Notifications", "Opens, closes")],
                             [str(sum(map(self.bad, self.events))), str(counts["exchange"]), str(counts["notification"]),
                              f"{counts['open']}, {counts['close']}"])
            self.assertTrue(counts["notification"] and counts["unanswered"] and counts["error"] and counts["open"] == 2)

    def test_errors_lead_to_their_bytes(self):
        refused = [event for event in self.events if event.get("status_name") == "NACK" and event["event"] == "exchange"]
        with self.page(self.faulty) as page:
            problems = page.value("Array.from(document.querySelectorAll('#problems button'), one => one.textContent)")
            place = problems.index(f"{len(refused)} × NACK · i2c read")
            page.click(f"#problems li:nth-child({place + 1}) button")
            self.assertEqual([row[3] for row in page.value(SHOWN)], [event["line"] for event in refused])
            self.assertEqual(page.value(CHOSEN), refused[0]["line"])
            detail = page.value(DETAIL)
            self.assertEqual((detail["result"], detail["address"], detail["code"]), ("NACK (769)", "0x33", "0x0905"))
            dumps = page.value("Array.from(document.querySelectorAll('#detail pre'), one => Array.from("
                               "one.querySelectorAll('span:not(.offset):not(.ascii)'), byte => byte.textContent).join(''))")
            self.assertEqual(dumps, [refused[0][frame].replace(" ", "") for frame in ("request_frame", "response_frame")])

    def test_filter_and_search(self):
        with self.page(self.faulty) as page:
            for words, condition in (
                    ("0X48 17", lambda event: "0x48" in event["line"] and "17" in event["line"]),
                    ("nack", lambda event: event.get("status_name") == "NACK"),
                    ("notification", lambda event: event["event"] == "notification")):
                page.press("Escape", "/")
                page.type(words)
                expected = [event["line"] for event in self.events if condition(event)]
                self.assertEqual(page.value("Array.from(selection.events, capture.text)"), expected, words)
                self.assertGreater(len(self.events), len(expected))
                page.press("Enter")
            page.press("Escape", "/")
            page.type("nothing like it")
            self.assertIn("Nothing matches", page.value("document.getElementById('rows').textContent"))
            page.press("Escape", "Escape")
            self.assertEqual(page.value("selection.events.length"), len(self.events))
            page.value("(kind => { kind.value = 'session'; kind.dispatchEvent(new Event('input', {bubbles: true})) })"
                       "(document.getElementById('kind'))")
            self.assertEqual({row[4] for row in page.value(SHOWN)}, {"open", "close", "error"})

    def test_keys(self):
        lines = [event["line"] for event in self.events]
        first_error = next(line for event, line in zip(self.events, lines) if self.bad(event))
        with self.page(self.faulty) as page:
            for keys, expected in ((["j"], lines[0]), (["j", "ArrowDown"], lines[2]), (["k"], lines[1]),
                                   (["End"], lines[-1]), (["Home"], lines[0]), (["n"], first_error)):
                page.press(*keys)
                self.assertEqual(page.value(CHOSEN), expected, keys)
            page.press("Enter")
            zoomed = page.value("selection.view")
            self.assertLess(zoomed[1] - zoomed[0], page.value("capture.end") / 4)
            self.assertEqual(page.value(CHOSEN), first_error)
            page.press("0", "e")
            self.assertEqual(page.value("selection.events.length"), sum(map(self.bad, self.events)))
            page.press("e", "?")
            self.assertTrue(page.value("document.getElementById('help').open"))
            page.press("Escape", "Home", "t")
            self.assertFalse(page.value("document.getElementById('help').open"))
            self.assertEqual(page.value(SHOWN)[0][0], self.events[0]["time"][11:26])

    def test_zoom_shows_what_is_in_view(self):
        with self.page(self.faulty) as page:
            page.drag("#timeline .u-over", 0.25, 0.5)
            first, last = page.value("selection.view")
            inside = [event["line"] for event in self.events if first <= event["at"] <= last]
            self.assertEqual(page.value("Array.from(selection.events, capture.text)"), inside)
            self.assertAlmostEqual((last - first) / page.value("capture.end"), 0.25, 1)
            page.press("ArrowRight")
            self.assertGreater(page.value("selection.view[0]"), first)
            page.click("[data-view=all]")
            self.assertIsNone(page.value("selection.view"))

    def test_light_and_dark(self):
        ground = "getComputedStyle(document.body).backgroundColor"
        painted = "document.querySelector('#timeline canvas').toDataURL()"
        with self.page(self.faulty, dark=True) as page:
            dark = page.value(ground), page.value(painted)
            page.press("d")
            light = page.value(ground), page.value(painted)
            self.assertTrue(dark[0] != light[0] and dark[1] != light[1])
            page.click("#theme")
            self.assertEqual((page.value(ground), page.value(painted)), dark)
            page.media(dark=False)
            page.settled()
            self.assertEqual(page.value(ground), light[0])

    def test_is_laid_out_on_narrow_screens(self):
        with self.page(self.faulty, width=600, height=900) as page:
            self.assertLessEqual(page.value("document.documentElement.scrollWidth"), 600)

    def test_picture_of_the_guide(self):
        """As it is made again; times differ."""
        picture = self.home / "picture.png"
        make_picture(self.browser, str(picture))
        kept = SOURCE / "docs/images/trace-report.png"
        head = picture.read_bytes()[:24] # with width and height
        self.assertEqual(kept.read_bytes()[:24], head)
        self.assertLess(kept.stat().st_size, 150_000)

    def test_keys_are_those_of_the_guide(self):
        guide = (SOURCE / "docs/trace.md").read_text(encoding="utf-8")
        keys = re.findall(r"`([^`]+)`", "".join(re.findall(r"^\| (.*?) \|", guide.split("| Key |")[1].split("\n\n")[0], re.MULTILINE)))
        with self.page(self.faulty) as page:
            page.press("?")
            listed = page.value("Array.from(document.querySelectorAll('#help kbd'), key => key.textContent)")
            self.assertTrue(len(keys) > 10 and set(keys) <= {"?", *listed}, keys)
            known = page.value("Object.keys(keys)")
            self.assertLessEqual(set(keys), set(known))

    def test_damaged_trace(self):
        """What can be read is on the page, which says what is wrong."""
        cut = self.home / "cut.pcap"
        cut.write_bytes(pathlib.Path(self.faulty).read_bytes()[:-40])
        result = run([TARVIX, "--json", "trace", "report", str(cut)])
        self.assertEqual(result.returncode, 1)
        printed = objects(result.stdout)[0]
        page = self.browser
        page.open(self.home / "cut.html", READY)
        self.assertGreaterEqual(page.value("capture.count"), len(self.events) - 2)
        self.assertEqual(printed, {
            "file": str(self.home / "cut.html"), "events": page.value("capture.count"),
            "errors": page.value("capture.bad.reduce((sum, bad) => sum + bad, 0)"),
            "error": {"exit": 1, "message": page.value("document.querySelector('#problems .mono').textContent")}})
        self.assertEqual(page.errors, [])

    def test_hostile_capture(self):
        """Texts that would be markup stay texts, and bytes that are no text hurt nothing."""
        attack = "</script><script>window.hit = 1</script><img src=x onerror='window.hit = 2'><!--<script>"
        capture = self.home / "<img src=x onerror=hit=3>.pcap"
        hostile = Capture().descriptor()
        hostile.note(json.dumps({"note": "open", "path": attack, "program": attack, "process": 1}).encode())
        hostile.note(b'{"note": "error", "doing": "read", "error": "\xff\xfe</script>"}')
        hostile.exchange("0201 0704 03", "0201 0704 0000" + (bytes([len(attack) + 1]) + attack.encode()).hex())
        capture.write_bytes(hostile.pcap())
        with self.page(capture) as page:
            self.assertIsNone(page.value("window.hit ?? null"))
            self.assertEqual(page.value("document.querySelectorAll('img, #rows script').length"), 0)
            self.assertEqual(page.value("document.getElementById('file').textContent"), capture.name)
            page.press("/")
            page.type("onerror")
            page.press("Enter", "j")
            self.assertIn("<img src=x onerror=", page.value("document.getElementById('detail').textContent"))

    def test_without_any_traffic(self):
        capture = self.home / "empty.pcap"
        capture.write_bytes(Capture().descriptor().pcap())
        with self.page(capture) as page:
            page.press("j", "n", "Enter", "+", "ArrowLeft", "t", "e", "Escape")
            self.assertEqual(page.value("capture.count"), 0)

    def test_100000_exchanges(self):
        """Only what is in sight is in the document, wherever the list stands."""
        capture = self.home / "long.pcap"
        total = 100_000
        long = Capture().descriptor()
        for number in range(total):
            head = (number % 0xFFFF + 1).to_bytes(2, "little").hex() + "0509"
            long.exchange(head + "00 0200 48 01 00000000 00", head + f"0000 000000 17{number % 64:02x}")
        capture.write_bytes(long.pcap())
        with self.page(capture) as page:
            self.assertEqual(page.value("selection.events.length"), total)
            self.assertLess(os.path.getsize(self.home / "report.html"), 40 * total)
            nodes = page.value(NODES)
            self.assertLess(nodes, 1000)
            line = "i2c read bus 0 0x48 reg 00 len 2 -> 17 %02x"
            page.press("End")
            self.assertEqual((page.value(CHOSEN), page.value("selection.chosen")), (line % ((total - 1) % 64), total - 1))
            page.value("list.box.scrollTop = list.box.scrollHeight / 2")
            page.settled()
            middle = page.value("Array.from(document.querySelectorAll('#rows .row'), row => Number(row.dataset.event))")
            self.assertTrue(total * 0.49 < middle[0] < total * 0.51, middle[0])
            self.assertEqual(middle, list(range(middle[0], middle[0] + len(middle))))
            page.press("/")
            page.type("17 3f")
            self.assertEqual(page.value("selection.events.length"), total // 64)
            self.assertLess(page.value(NODES), nodes + 100)


if __name__ == "__main__":
    if sys.argv[1:2] == ["--picture"]:
        with Browser() as browser:
            make_picture(browser, sys.argv[2])
    else:
        unittest.main()
