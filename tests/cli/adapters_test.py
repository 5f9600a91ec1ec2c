"""Choosing an adapter: every selector that is printed is accepted and opens exactly that adapter."""

import unittest

from tool import ENVIRONMENT, TARVIX, UNREADABLE_ADAPTER, objects, run, shell, tarvix


def listed(serial_numbers, *arguments, **variables):
    """Runs the tool where adapters with these serial numbers are attached; their paths are /p0, /p1, ..."""
    adapters = "\n".join(f"/p{i}\t{serial}" for i, serial in enumerate(serial_numbers))
    environment = {**ENVIRONMENT, "LD_PRELOAD": UNREADABLE_ADAPTER, "TARVIX_TEST_ADAPTERS": adapters, **variables}
    return run([TARVIX, *arguments], env=environment)


class Adapters(unittest.TestCase):
    def test_printed_selectors(self):
        table = [
            (["A"], ["A"]),
            (["A", "B", "A"], ["path:/p0", "B", "path:/p2"]),
            (["", "B"], ["path:/p0", "B"]),
            (["index:1", "path:/p0", "-a", "two words", "tab\x07"], [f"path:/p{i}" for i in range(5)]),
        ]
        for serials, expected in table:
            with self.subTest(serials=serials):
                rows = objects(listed(serials, "list", "--json").stdout)[0]["adapters"]
                self.assertEqual([row["selector"] for row in rows], expected)
                self.assertEqual([row["serial"] for row in rows], serials)
                for row in rows:
                    # These adapters cannot be opened; the message tells which one was tried.
                    opened = listed(serials, "-a", row["selector"], "info").stderr
                    self.assertEqual(opened.split(":")[1].split(";")[0], f" cannot open {row['path']}")

    def test_choice(self):
        table = [
            (["A", "B"], "B", 1, "cannot open /p1"),
            (["A", "B"], "index:1", 1, "cannot open /p1"),
            (["A", "B"], "path:/p1", 1, "cannot open /p1"),
            (["A", "A"], "A", 4, "2 adapters have the serial number 'A'; choose one with --adapter: "
                                 "path:/p0, path:/p1"),
            (["A", "B"], "C", 3, "no adapter matches 'C'; choose one of: A, B"),
            (["A", "B"], "index:2", 3, "no adapter matches 'index:2'"),
            (["A", "B"], "path:/p", 3, "no adapter matches 'path:/p'"),
        ]
        for serials, selector, status, text in table:
            for name, result in (("option", listed(serials, "--adapter", selector, "info")),
                                 ("variable", listed(serials, "info", TARVIX_ADAPTER=selector))):
                with self.subTest(selector=selector, given_by=name):
                    self.assertEqual(result.returncode, status)
                    self.assertIn(text, result.stderr)

    def test_the_chosen_one_answers(self):
        result = shell("path=$(tarvix list | awk '/^TVX0000001/ { print $NF }'); for adapter in TVX0000003 index:1"
                       " path:$path; do tarvix -a $adapter info; done | grep 'string 3'", sim=["--adapters", "3"])
        self.assertEqual(result.stdout.split(), "string 3: TVX0000003 string 3: TVX0000002 string 3: TVX0000001".split())

    def test_list(self):
        self.assertRegex(tarvix("list", sim=["--report-size", "1024"]).stdout,
                         r"^SELECTOR    SERIAL      PRODUCT                 REPORT  PATH\n"
                         r"TVX0000001  TVX0000001  Tarvix Virtual Adapter    1024  \S+\n$")
        nothing = shell("tarvix-sim trigger unplug; tarvix list; tarvix list --json")
        self.assertEqual(nothing.stderr, "tarvix list: no adapter is attached; run 'tarvix doctor'\n")
        self.assertEqual(objects(nothing.stdout), [{"adapters": []}])


if __name__ == "__main__":
    unittest.main()
