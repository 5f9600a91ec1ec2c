"""How runs end: every exit status, nonsense on the command line, and trouble with the standard streams."""

import ctypes
import os
import re
import tempfile
import unittest

from tool import SOURCE, TARVIX, attached, objects, run, shell, stream, tarvix


def drop_override_of_permissions():
    """Makes root a user to whom the modes of files apply."""
    prctl_capbset_drop, dac_override, dac_read_search = 24, 1, 2
    for capability in (dac_override, dac_read_search):
        ctypes.CDLL(None).prctl(prctl_capbset_drop, capability, 0, 0, 0)


class ExitStatus(unittest.TestCase):
    def check(self, result, status, *texts):
        self.assertEqual(result.returncode, status, result.stderr)
        self.assertEqual(len(result.stderr.splitlines()), 1, result.stderr)
        for text in texts:
            self.assertIn(text, result.stderr)

    def test_each_status_is_provoked_once(self):
        unplugged = ["--fault", "unplug", "--away", "60000"]
        table = [
            (0, tarvix("gpio", "set", "3=1"), None),
            (1, tarvix("rail", "set", "shared", "60V"), "rail set: setting the shared rail to 60000 mV: "
                                                        "VOLTAGE_OUT_OF_RANGE (0x0201); "),
            (2, tarvix("gpio", "get", "8"), "tarvix gpio get: PIN: 8 is out of range, 0 to 7"),
            (3, shell("tarvix-sim trigger unplug && exec tarvix info"), "no adapter is attached; plug one in or run"),
            (4, tarvix("info", sim=["--adapters", "2"]), "choose one with --adapter: TVX0000001, TVX0000002"),
            (6, tarvix("--timeout", "200", "info", sim=["--fault", "drop"]), "NO_RESPONSE (0x2000); no answer "
                                                                             "within 200 ms: raise --timeout"),
            (7, tarvix("info", sim=unplugged), "ADAPTER_LOST (0xC000); the adapter has left the USB bus"),
            (8, shell("tarvix monitor --banner 2>&1 | { read; tarvix info; }"), " is in use by process "),
            (0, shell("tarvix monitor --banner --idle-timeout 500ms 2>&1 | { read; tarvix --wait 20s info; }"), None),
        ]
        for status, result, text in table:
            with self.subTest(status=status):
                self.assertEqual(result.returncode, status, result.stderr)
                self.assertEqual(len(result.stderr.splitlines()), 0 if text is None else 1, result.stderr)
                self.assertIn(text or "", result.stderr)

    def test_no_permission(self):
        with tempfile.NamedTemporaryFile() as node:
            os.chmod(node.name, 0)
            arguments = {"env": attached((node.name, "TVX1")), "preexec_fn": drop_override_of_permissions}
            self.check(run([TARVIX, "info"], **arguments), 5, f"cannot open {node.name}: permission denied; ",
                       "70-tarvix.rules")
            doctor = run([TARVIX, "doctor"], **arguments)
            self.assertEqual(doctor.returncode, 5)
            self.assertIn(f"FAIL  device node: {node.name} ----------", doctor.stdout)

    def test_interrupted(self):
        for signal, status in (("INT", 130), ("TERM", 143)):
            # A background job of a script ignores Ctrl-C unless its shell controls jobs.
            with self.subTest(signal=signal):
                self.assertEqual(stream("monitor", f"kill -{signal} $STREAM", job_control=True)[:2], ([], status))

    def test_interrupted_while_an_adapter_is_silent(self):
        result = shell("set -m; tarvix --timeout 60000 info & sleep 0.3; kill -INT $!; wait $!",
                       sim=["--fault", "drop"])
        self.assertEqual((result.returncode, result.stdout), (130, ""))

    def test_lost_while_watching(self):
        _, status, errors = stream("gpio watch 3", "tarvix-sim trigger unplug")
        self.assertEqual(status, 7)
        self.assertIn("the adapter has left the USB bus", errors)

    def test_names_of_device_statuses_are_the_virtual_adapters(self):
        with open(os.path.join(SOURCE, "simulator", "model", "device_status.hpp"), encoding="utf-8") as source:
            adapters = [(number, name) for name, number in re.findall(r"(\w+) = (0x\w+),", source.read())]
        with open(os.path.join(SOURCE, "cli", "adapter", "statuses.cpp"), encoding="utf-8") as source:
            tools = re.findall(r'{(0x\w+), "(\w+)"', source.read())
        self.assertEqual([("0x0000", "SUCCESS"), *tools], adapters)

    def test_errors_in_json(self):
        result = tarvix("rail", "set", "shared", "60V", "--json")
        self.assertEqual(objects(result.stdout), [{"error": {
            "exit": 1, "message": "setting the shared rail to 60000 mV: VOLTAGE_OUT_OF_RANGE (0x0201)",
            "advice": "the rail cannot produce this voltage: choose another", "status": "VOLTAGE_OUT_OF_RANGE",
            "number": 0x0201}}])
        usage = tarvix("gpio", "get", "x", "--json")
        self.assertEqual((usage.returncode, objects(usage.stdout)[0]["error"]["exit"]), (2, 2))

    def test_nonsense_is_one_line_and_names_what_is_wrong(self):
        table = [
            ([], "missing command; one of: list, info, "),
            (["gpoi"], "unknown command or option 'gpoi'"),
            (["gpio", "gte"], "tarvix gpio: unknown command or option 'gte'; one of: get, set, watch"),
            (["--sjon", "list"], "--sjon"),
            (["gpio", "get"], "PIN is required"),
            (["gpio", "get", "3x"], "PIN: '3x' is not a number such as 80, 0x50 or 0b1010000"),
            (["gpio", "get", "-1"], "-1"),
            (["gpio", "get", "3", "--foo"], "unexpected argument '--foo'; see 'tarvix gpio get --help'"),
            (["list", "x", "y"], "unexpected argument 'x'"),
            (["gpio", "set"], "is required"),
            (["gpio", "set", "3"], "PIN=LEVEL: '3' has no '='; write 3=1 or 3=high"),
            (["gpio", "set", "3=up"], "LEVEL: 'up' is not one of low|high|0|1"),
            (["gpio", "watch", "3", "-e", "up"], "--edge: 'up' is not one of rising|falling|both"),
            (["gpio", "watch", "3", "-n", "0"], "--count: 0 is out of range, 1 or more"),
            (["gpio", "watch", "3", "-n", "1", "-n", "2"], "--count"),
            (["gpio", "watch", "3", "--idle-timeout", "5m"], "--idle-timeout: '5m' is not a period such as 500"),
            (["rail", "set", "core", "1V"], "RAIL: 'core' is not one of shared|i3c"),
            (["rail", "set", "shared", "3V", "2V"], "VALUE: '2V' sets the voltage a second time"),
            (["rail", "set", "shared", "external", "internal"], "VALUE: 'internal' sets the source a second time"),
            (["--timeout", "0", "info"], "--timeout: 0 is out of range"),
            (["-a", "index:x", "info"], "--adapter: 'index:x' is not an index"),
            (["batch", "/nonexistent"], "FILE: /nonexistent: No such file or directory"),
            (["batch", "/"], "FILE: /: Is a directory"),
        ]
        for arguments, text in table:
            with self.subTest(arguments=arguments):
                self.check(tarvix(*arguments), 2, text)

    def test_standard_streams(self):
        table = [
            ("tarvix info > /dev/full", 1, "tarvix info: standard output: No space left on device\n"),
            ("tarvix --help > /dev/full", 1, "tarvix: standard output: No space left on device\n"),
            ("tarvix info >&-", 1, "tarvix info: standard output: Bad file descriptor\n"),
            # Whoever reads has left: the end that any filter has, and not a word.
            ("set -o pipefail; tarvix monitor | true", 128 + 13, ""),
            ("set -o pipefail; (sleep 0.2; exec tarvix info) | true", 128 + 13, ""),
            ("tarvix gpio set 3=1 <&-", 0, ""),
            ("tarvix batch - <&-", 2, "tarvix batch: FILE: standard input: Bad file descriptor\n"),
        ]
        for script, status, errors in table:
            with self.subTest(script=script):
                result = shell(script)
                self.assertEqual((result.returncode, result.stderr), (status, errors))


if __name__ == "__main__":
    unittest.main()
