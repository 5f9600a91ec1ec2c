"""tarvix uart terminal: on a pseudo-terminal, and as a filter. What goes out comes back: the line is a loop."""

import os
import pty
import re
import select
import signal
import subprocess
import tempfile
import termios
import time
import unittest

from tool import ENVIRONMENT, LIMIT, SOURCE, Case, objects, shell, simulated, tarvix

KEYS = b"C-a C-x leaves, C-a C-a sends C-a, C-a C-h lists the keys"
LEAVE = b"\x01\x18"


class Terminal:
    """The tool with a terminal of its own, which is raw by now. `unplug` pulls the adapter out."""

    def __init__(self, *options, sim=()):
        self.master, self.slave = pty.openpty()
        self.former = termios.tcgetattr(self.slave)
        trigger, self.trigger = os.pipe()
        script = f'{{ read -u {trigger} && tarvix-sim trigger unplug; }} & exec tarvix uart terminal "$@"'
        self.process = subprocess.Popen(
            simulated(["bash", "-c", script, "bash", *options], sim), env=ENVIRONMENT, pass_fds=[trigger], stdin=self.slave,
            stdout=self.slave, stderr=self.slave, start_new_session=True)
        os.close(trigger)
        self.shown = b""
        deadline = time.monotonic() + LIMIT
        while termios.tcgetattr(self.slave)[3] & termios.ICANON:
            assert time.monotonic() < deadline and self.process.poll() is None
            time.sleep(0.01)
        self.start = self.until(KEYS + b"\r\n")

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.process.kill()
        self.process.wait()
        for descriptor in self.master, self.slave, self.trigger:
            os.close(descriptor)

    def type(self, keys):
        os.write(self.master, keys)

    def unplug(self):
        os.write(self.trigger, b"\n")

    def until(self, text):
        """What was shown up to this text."""
        while text not in self.shown:
            assert select.select([self.master], [], [], LIMIT)[0], self.shown
            self.shown += os.read(self.master, 65536)
        seen, _, self.shown = self.shown.partition(text)
        return seen + text

    def end(self):
        """The exit status, and whether the terminal is as it was."""
        status = self.process.wait(LIMIT)
        return status, termios.tcgetattr(self.slave) == self.former


class Typed(unittest.TestCase):
    def test_keys_go_out_and_what_comes_is_shown(self):
        for options, keys, shown in (
            ("", b"hi\t\x08\x07\r\xc3\xa4", b"hi\t\x08\x07\r\xc3\xa4"),
            ("", b"\x03\x1a\x1c\x01\x01\x7f", rb"\x03\x1a\x1c\x01\x7f"),  # no key but C-a means anything here
            ("", b"\x1b[2J\xff\xc2\x9b.", rb"\x1b[2J\xff\xc2\x9b."),
            ("--raw", b"\x1b[2J\xff\xc2\n.", b"\x1b[2J\xff\xc2\n."),
            ("", b"a\n", b"a\r\n"),  # staircases are straightened
            ("--send-map crlf", b"a\rb", b"a\r\r\nb"), ("--send-map lf", b"a\rb", b"a\r\nb"),
            ("--receive-map cr", b"a\rb", b"a\r\nb"),
            ("--hex", b"\x1b", b"00000000  1b                                                |.|\r\n"),
            *(("", key + b"x", b"\r\r\n" + KEYS + b"\r\r\nx") for key in (b"\x01\x08", b"\x01?")),
        ):
            with self.subTest(options=options, keys=keys), Terminal(*options.split()) as terminal:
                terminal.type(keys)
                self.assertEqual(terminal.until(shown), shown)
                terminal.type(LEAVE + b"dropped")
                self.assertEqual(terminal.end(), (0, True))

    def test_echo(self):
        with Terminal("--echo", "--hex") as terminal:
            terminal.type(b"\x1b\r")
            self.assertEqual(terminal.until(b"|\r\n").split(b"0000")[0], rb"\x1b" + b"\r\n")

    def test_the_terminal_is_as_before_on_every_way_out(self):
        for name, status, options, way in (
            ("left", 0, (), lambda terminal: terminal.type(LEAVE)),
            ("found", 0, ("--until", "x"), lambda terminal: terminal.type(b"x")),
            ("terminated", 143, (), lambda terminal: terminal.process.terminate()),
            ("quit", 131, (), lambda terminal: terminal.process.send_signal(signal.SIGQUIT)),
            ("unplugged", 7, (), lambda terminal: terminal.unplug()),
            ("failed", 1, ("--log", "/dev/full"), lambda terminal: terminal.type(b"x")),
        ):
            with self.subTest(name), Terminal(*options) as terminal:
                way(terminal)
                self.assertEqual(terminal.end(), (status, True))

    def test_two_signals_while_the_adapter_is_slow(self):
        with Terminal(sim=["--latency", "1500"]) as terminal:
            terminal.type(b"x")
            time.sleep(0.3)  # sending by now; if not, the first signal ends it
            terminal.process.terminate()
            time.sleep(0.1)
            terminal.process.terminate()
            self.assertEqual(terminal.end(), (143, True))


class Filter(Case):
    def test_input_goes_out_and_what_comes_is_printed(self):
        for options, sent, printed in (
            ("--send-map crlf", "a\\nb", "aCR\nb"), ("--send-map crlf --receive-map crlf", "a\\n\\rb\\r", "a\nCRbCR"),
            ("", "a\\x1b\\xe2\\x82", r"a\x1b\xe2\x82"), ("--raw", "a\\x1b", "a\x1b"),
            ("--until '/[b-d]+/'", "abc", "abc"), ("--until 'b\\x63'", "abc", "abc"),
        ):
            for report_size in "64", "1024":
                self.prints(f"printf '{sent}' | tarvix uart terminal {options} --idle-timeout 200ms | sed 's/\\r/CR/g'", printed,
                            ["--report-size", report_size])
        self.json("printf hi | tarvix uart terminal --json --idle-timeout 100ms | sed 's/\"time\":\"[^\"]*\"/\"time\":\"\"/'",
                  {"time": "", "data": "6869"})

    def test_all_of_a_long_input_comes_back(self):
        with tempfile.NamedTemporaryFile() as log:
            self.prints(f"set -e; seq 9999 | tarvix uart terminal --raw --log {log.name} | cmp - <(seq 9999);"
                        f"printf more | tarvix uart terminal --log {log.name} --until more > /dev/null;"
                        f"cmp {log.name} <(seq 9999; printf more)", "")

    def test_what_does_not_come(self):
        late = shell("printf ab | tarvix uart terminal --until 'x\\r' --idle-timeout 100ms")
        self.assertEqual((late.returncode, late.stdout), (6, "ab"))
        self.assertIn(r"'x\r' did not come before the line was silent for 100 ms; raise --idle-timeout", late.stderr)
        for arguments, text in ((("--log", "/nonexistent/log"), "--log: /nonexistent/log: No such file or directory"),
                                (("--raw", "--hex"), "cannot be combined"), (("--json", "--echo"), "cannot be combined"),
                                (("--until", "/(/"), "--until: '/(/' is not a regex that can be used: "),
                                (("--until", ""), "--until: a text of 0 bytes cannot be looked for, 1 to 1024 can")):
            result = tarvix("uart", "terminal", *arguments)
            self.assertEqual(result.returncode, 2)
            self.assertIn(text, result.stderr)
        self.fails(tarvix("batch", "--no-files", "-", stdin="uart terminal --log x"), 2, "--log: 'x' is a file, and --no-files")


class Expect(Case):
    def test_the_guide_is_right(self):
        examples = re.findall(r"^.*tarvix uart .* --(?:until|expect) .*", (SOURCE / "docs/cli.md").read_text(encoding="utf-8"), re.M)
        self.assertEqual([shell(example).returncode for example in examples], [0, 0])


    def test_expect(self):
        self.prints("tarvix uart send 'text:OK\\r' --expect 'K\\r'; tarvix uart send text:x1 --expect '/[0-9]/' --raw",
                    "00000000  4f 4b 0d                                          |OK.|\nx1")
        self.json("tarvix uart send hex:ff00ff --expect '\\x00\\xff' --json",
                  {"sent": 3, "match": "00ff", "data": "ff00ff"})
        late = tarvix("uart", "send", "text:hello", "--expect", "/l.l/", "--within", "50ms", "--json")
        (fields,) = objects(late.stdout)
        self.assertEqual((fields["data"], fields["error"]["exit"], late.returncode), ("68656c6c6f", 6, 6))
        self.assertIn("5 bytes came within 50 ms, and '/l.l/' was not in them; check the wiring", late.stderr)
        for options, text in (("--expect x --reply 1", "--expect cannot be combined with --reply or --listen"),
                              ("--within 1s", "--within says how long to wait for --expect")):
            self.fails(tarvix("uart", "send", "1", *options.split()), 2, text)
