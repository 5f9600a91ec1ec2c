"""The commands that are no bus family: what they print, to the byte, and what they do."""

import json
import os
import pty
import re
import unittest

from tool import TARVIX, objects, run, shell, simulated, stream, tarvix

TIME = r"\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{6}Z"


class Commands(unittest.TestCase):
    def check(self, script, expected, sim=()):
        result = shell(script, sim)
        self.assertEqual((result.stdout, result.stderr, result.returncode), (expected, "", 0))

    def test_info(self):
        result = tarvix("info", "--json")
        fields = objects(result.stdout)[0]
        self.assertEqual(fields["strings"], ["Tarvix", "Tarvix Virtual Adapter", "TVX0000001", "firmware 1.0.0",
                                             "hardware virtual"])
        self.assertEqual(fields["backend"], "libtarvixsim-hid.so")
        self.assertIn(f"library:     tarvixsdk {fields['library']}\n", tarvix("info").stdout)

    def test_rail(self):
        self.check("tarvix rail show; tarvix rail set i3c 1.2V; tarvix rail set shared 3000mV internal",
                   "shared  3300 mV\ni3c     1800 mV, 1800 mV\n"
                   "shared  3300 mV\ni3c     1200 mV, 1200 mV\n"
                   "shared  3000 mV\ni3c     1200 mV, 1200 mV\n")
        self.check("tarvix rail set shared 3000 external; tarvix rail set shared internal; tarvix rail show --json",
                   "shared  2500 mV\ni3c     1800 mV, 1800 mV\n"
                   "shared  3000 mV\ni3c     1800 mV, 1800 mV\n"
                   '{"schema":1,"command":"rail show","shared":{"millivolts":3000},"i3c":{"millivolts":[1800,1800]}}\n')

    def test_gpio_levels(self):
        # Pins are wired in pairs: 2 with 3, 4 with 5.
        self.check("tarvix gpio set 3=1 4=low; tarvix gpio get 3 4; tarvix gpio get --numeric 2 5; "
                   "tarvix gpio set 0x3=low; tarvix gpio get 2; tarvix gpio get 2 0b11 --json",
                   "3=high 4=low\n1 0\n2=low\n"
                   '{"schema":1,"command":"gpio get","pins":[{"pin":2,"level":"low"},{"pin":3,"level":"low"}]}\n')

    def test_gpio_roles(self):
        self.check("tarvix gpio get -b pull-up 6; tarvix gpio set -d open-drain 7=0; tarvix gpio get 6;"
                   "tarvix gpio set -d as-is 7=1; tarvix gpio get 6", "6=high\n6=low\n6=high\n")
        refused = shell("tarvix gpio get -b disabled 7; tarvix gpio set -d as-is 7=1")
        self.assertEqual(refused.returncode, 1)
        self.assertIn("driving pin 7: PIN_IS_INPUT (0x0202)", refused.stderr)

    def test_gpio_watch(self):
        table = [
            ("-e rising -n 2", ["2 rising", "2 rising"]),
            ("-e falling -n 1", ["2 falling"]),
            ("-n 3", ["2 edge", "2 edge", "2 edge"]),
        ]
        drive = "for level in 1 0 1 0; do tarvix gpio set 3=$level; done"
        for options, expected in table:
            with self.subTest(options=options):
                lines, status, _ = stream(f"gpio watch {options} 2", drive)
                self.assertEqual((status, [re.sub(f"^{TIME} ", "", line) for line in lines]), (0, expected))
        # What is not the watched pin's is neither printed nor counted.
        lines, _, _ = stream("gpio watch 2 -n 1 --json", "tarvix uart send 55; " + drive)
        event = json.loads(lines[0])
        self.assertRegex(event.pop("time"), f"^{TIME}$")
        self.assertEqual(event, {"schema": 1, "command": "gpio watch", "pin": 2, "edge": "edge"})

    def test_gpio_watch_disarms_what_it_armed(self):
        # Were pin 2 still armed when 3 moves, the monitor would see it before pin 4.
        lines, status, _ = stream("monitor -n 1", "tarvix gpio watch 2 --idle-timeout 50ms; tarvix gpio set 3=1;"
                                  "tarvix --shared gpio watch 4 --idle-timeout 5s -n 1 --banner 2>&1 >/dev/null |"
                                  " { read banner; tarvix gpio set 5=1; }")
        self.assertEqual((status, [line.partition(" ")[2] for line in lines]), (0, ["gpio pin=4"]))

    def test_monitor(self):
        lines, status, _ = stream(
            "monitor -n 1 --json", "tarvix --shared gpio watch 2 --idle-timeout 5s -n 1 --banner 2>&1 >/dev/null |"
            " { read banner; tarvix gpio set 3=1; }")
        event = json.loads(lines[0])
        self.assertRegex(event.pop("time"), f"^{TIME}$")
        self.assertEqual((status, event), (0, {"schema": 1, "command": "monitor", "event": "gpio", "pin": 2}))

    def test_reset_waits_and_clears(self):
        self.check("tarvix gpio set 3=1; tarvix reset; tarvix gpio get 3; tarvix reset --json",
                   'TVX0000001: reset\n3=low\n{"schema":1,"command":"reset","adapter":"TVX0000001"}\n')

    def test_boot_asks_first(self):
        refused = tarvix("boot")
        self.assertEqual(refused.returncode, 2)
        self.assertIn("standard input is not a terminal; use -y", refused.stderr)
        self.check("tarvix boot -y; tarvix list --json",
                   'TVX0000001: in boot mode\n{"schema":1,"command":"list","adapters":[]}\n')
        for answer, status in ((b"\n", 1), (b"n\n", 1), (b"y\n", 0)):
            with self.subTest(answer=answer):
                master, terminal = pty.openpty()
                os.write(master, answer)
                result = run(simulated([TARVIX, "boot"]), stdin=None, preexec_fn=lambda: os.dup2(terminal, 0))
                os.close(terminal)
                os.close(master)
                self.assertEqual(result.returncode, status, result.stderr)
                self.assertIn("Enter boot mode? [y/N] ", result.stderr)

    def test_doctor(self):
        fields = objects(tarvix("doctor", "--json").stdout)[0]
        results = {row["check"]: row["result"] for row in fields["checks"]}
        self.assertEqual((results["adapter"], results["exchange"], fields["ok"]), ("ok", "ok", True))
        table = [
            (shell("tarvix-sim trigger unplug; exec tarvix doctor"), 3, "FAIL  choice: no adapter is attached"),
            (tarvix("doctor", sim=["--adapters", "2"]), 4, "FAIL  choice: 2 adapters are attached"),
            (tarvix("doctor", "--timeout", "200", sim=["--fault", "drop"]), 6, "FAIL  exchange: reading a string"),
        ]
        for result, status, text in table:
            with self.subTest(text=text):
                self.assertEqual(result.returncode, status)
                self.assertIn(text, result.stdout)

    def test_batch(self):
        commands = "# set up\ngpio set '3=1'\n\ngpio get 3 # read\ngpio get \"3\" --numeric\n"
        self.assertEqual(tarvix("batch", "-", stdin=commands).stdout, "3=high\n1\n")
        streamed = tarvix("--json", "batch", "-", stdin=commands)
        self.assertEqual([json.loads(line)["command"] for line in streamed.stdout.splitlines()],
                         ["gpio set", "gpio get", "gpio get"])

    def test_batch_errors_name_file_and_line(self):
        place = "tarvix gpio get: standard input:2: "
        table = [
            ("gpio get 8", 2, f"{place}PIN: 8 is out of range, 0 to 7\n"),
            ("gpio set 'x", 2, "tarvix batch: standard input:2: unterminated quote: '\n"),
            ("gpio get 3\\", 2, "tarvix batch: standard input:2: backslash at end of line; "
                                "lines cannot be continued\n"),
            ("batch -", 2, "tarvix batch: standard input:2: a batch cannot run a batch\n"),
            ("rail set shared 60V", 1, "tarvix rail set: standard input:2: setting the shared rail to 60000 mV: "
                                       "VOLTAGE_OUT_OF_RANGE (0x0201); the rail cannot produce this voltage: "
                                       "choose another\n"),
        ]
        for line, status, errors in table:
            with self.subTest(line=line):
                commands = f"gpio set 3=1\n{line}\ngpio get 3\n"
                stopped = tarvix("batch", "-", stdin=commands)
                self.assertEqual((stopped.returncode, stopped.stderr, stopped.stdout), (status, errors, ""))
                went_on = tarvix("batch", "-k", "-", stdin=commands)
                self.assertEqual((went_on.returncode, went_on.stderr, went_on.stdout), (status, errors, "3=high\n"))

    def test_batch_ends_with_the_status_of_the_first_failure(self):
        commands = "rail set shared 60V\ngpio get 8\n"
        self.assertEqual(tarvix("batch", "-k", "-", stdin=commands).returncode, 1)

    def test_batch_sets_a_controller_up_once_and_again_after_a_reset(self):
        commands = "i2c get 0x50\ni2c get 0x50\nreset\ni2c get 0x50\n"
        result = tarvix("-v", "batch", "-", stdin=commands)
        self.assertEqual((result.returncode, result.stderr.count("set up I2C bus 0: 100000 Hz")), (0, 2), result.stderr)

    def test_batch_never_takes_a_late_answer_for_the_next_commands(self):
        # Every answer comes after the command that waits for it gave up, and while the next one would wait.
        result = tarvix("--timeout", "200", "batch", "-k", "-", stdin="gpio get 3\nrail show\n",
                        sim=["--latency", "300"])
        self.assertEqual((result.returncode, result.stdout), (6, ""))
        self.assertIn("the rest of the batch was not run", result.stderr)
