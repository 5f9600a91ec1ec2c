"""`tarvix bridge uart`, with the programs that it is for. The devices that need the kernel's CUSE are in tests/e2e."""

import os
import pathlib
import pty
import re
import shutil
import signal
import subprocess
import unittest

from tool import ENVIRONMENT, LIMIT, SOURCE, TARVIX, Case, objects, run, shell, simulated, tarvix

# Debian's pyserial belongs to Debian's Python.
PYTHON = "/usr/bin/python3"

# More than all buffers hold, at the highest rate: first nobody reads, then both ways go at once.
FULL_RATE = """
import random, serial, sys, threading
port = serial.Serial(sys.argv[1], 921600, timeout=20)
sent = random.Random(1).randbytes(200000)
port.write(sent[:100000])
writer = threading.Thread(target=port.write, args=[sent[100000:]])
writer.start()
print(port.read(len(sent)) == sent)
writer.join()
"""

# Each change is in effect when the next bytes come back; a rate that the adapter lacks is not.
SETTINGS = """
import errno, serial, sys, termios
port = serial.Serial(sys.argv[1], 9600, timeout=20)
def echo(text):
    port.write(text)
    print(port.read(len(text)))
echo(b"slow")
port.stopbits, port.rtscts = 2, True
echo(b"two")
port.baudrate = 250000
echo(b"odd")
print(termios.tcgetattr(port.fileno())[4] == termios.B9600)
port = serial.Serial(sys.argv[1])
for wrong in {"parity": "E"}, {"bytesize": 7}:
    try:
        serial.Serial(sys.argv[1], **wrong)
    except termios.error as error:
        print(errno.errorcode[error.args[0]])
"""


class Uart(Case):
    def script(self, text):
        file = pathlib.Path(self.directory()) / "program.py"
        file.write_text(text, encoding="utf-8")
        return str(file)

    def bridged(self, command, *options, sim=()):
        """A shell command in a directory where the terminal is `tty`."""
        return shell(f"cd {self.directory()} && tarvix bridge uart --link tty {' '.join(options)} -- sh -c '{command}'", sim)

    def test_nothing_is_lost_at_the_full_rate(self):
        result = self.bridged(f"{PYTHON} {self.script(FULL_RATE)} tty", sim=["--report-size", "1024"])
        self.assertEqual((result.stdout, result.stderr, result.returncode), ("True\n", "", 0))

    def test_the_line_follows_the_terminal(self):
        result = self.bridged(f"{PYTHON} {self.script(SETTINGS)} tty", "--parity", "even", sim=["--verbose"])
        self.assertEqual(result.stdout, "b'slow'\nb'two'\nb'odd'\nTrue\nEINVAL\nEINVAL\n", result.stderr)
        self.assertIn("tarvix bridge: uart: the adapter does not have 250000 baud: staying at 9600\n", result.stderr)
        # Rate, handshake, parity, data size, stop bits, by the adapter's numbers.
        for settings in "07 00 02 03 00", "03 00 02 03 00", "03 01 02 03 01":
            self.assertRegex(result.stderr, rf"{settings} \(UART init\)")

    def test_settings_made_while_others_are_being_made(self):
        result = self.bridged("stty -F tty 9600; sleep 0.1; stty -F tty 19200; sleep 1.5; stty -F tty speed", sim=["--latency", "400"])
        self.assertEqual((result.stdout, result.stderr), ("19200\n", ""))

    def test_settings_that_the_adapter_does_not_take(self):
        result = self.bridged("tarvix-sim trigger fault drop; stty -F tty 9600; until stty -F tty speed | grep 115200; do sleep 0.1; done; "
                              "tarvix-sim trigger fault off; printf AT > tty; head -c 2 tty > /dev/null", "--timeout 100ms", sim=["--verbose"])
        self.assertEqual((result.stdout, result.returncode), ("115200\n", 0))
        self.assertIn("tarvix bridge: uart: setting the line to 9600 baud, 8N1: NO_RESPONSE\n", result.stderr)
        self.assertRegex(result.stderr, r"(?s) 03 00 00 03 00 \(UART init\)\n.* 07 00 00 03 00 \(UART init\)\n.* 41 54 \(UART send message\)")

    def test_what_waits_goes_out_at_the_rate_before(self):
        result = self.bridged("dd if=/dev/zero of=tty bs=1500 count=1 status=none; sleep 0.1; stty -F tty 9600; sleep 1", sim=["--latency", "400", "--verbose"])
        self.assertEqual(re.findall(r"< .. 00 (05 10 .. ..|02 10 ..)", result.stderr),
                         ["02 10 07", "05 10 00 04", "05 10 dc 01", "02 10 03"])

    def test_minicoms_and_picocoms_way_to_end(self):
        self.assertEqual(self.bridged("printf AT | picocom -qrx 2000 -b 115200 tty").stdout, "AT")

    def test_what_comes_while_nobody_listens_is_gone(self):
        unread = "exec 3<> tty; tarvix-sim trigger uart unread; sleep 0.3; exec 3<&-"
        result = self.bridged(f"{unread}; sleep 0.3; tarvix-sim trigger uart early; sleep 0.3; while sleep 0.3; do tarvix-sim trigger uart late; done & "
                              "timeout 20 head -c 4 tty; status=$?; kill $!; exit $status")
        self.assertEqual((result.stdout, result.returncode), ("late", 0), result.stderr)

    def test_what_the_command_wrote_last_is_sent(self):
        result = self.bridged("stty -F tty 9600; head -c 2000 /dev/zero > tty", sim=["--verbose"])
        sent = re.findall(r"< .. 00 05 10 .. ..((?: 00)+)", result.stderr)
        self.assertEqual((sum(len(each) // 3 for each in sent), result.returncode), (2000, 0), result.stderr)
        self.assertRegex(result.stderr, r"03 00 00 03 00 \(UART init\)")

    def test_the_link(self):
        result = self.bridged("ls -l tty | grep -o .dev.pts.*; ls -H tty > /dev/null; tarvix list > /dev/null; exit 3")
        self.assertRegex(result.stdout, r"^/dev/pts/\d+\n$")
        self.assertEqual((result.stderr, result.returncode), ("", 3))
        where = self.directory()
        stale = "ln -s /dev/pts/99999 tty; tarvix bridge uart --link tty -- test -c tty && ls | wc -l"
        self.prints(f"cd {where}; {stale}", "0\n")
        self.fails(shell(f"cd {where}; touch tty; tarvix bridge uart --link tty"), 1, "bridge: --link: tty: File exists; choose")
        result = self.bridged("tarvix -a TVX0000002 bridge uart --link tty -- true; echo $?; ls -H tty", "-a TVX0000001", sim=["--adapters", "2"])
        self.assertRegex(result.stdout, r"^1\ntty\n$", "the name is another bridge's")

    def test_signals_are_the_commands(self):
        at_the_end = '"printf bye > tty; ls tty; exit 5"'
        rest = "while :; do sleep 0.1; done"
        for name in "TERM", "HUP":
            result = self.bridged(f"trap {at_the_end} {name}; kill -{name} $PPID; {rest}")
            self.assertEqual((result.stdout, result.stderr, result.returncode), ("tty\n", "", 5))
        control, terminal = pty.openpty()
        command = ["tarvix", "bridge", "uart", "--link", "tty", "--", "sh", "-c", f"trap {at_the_end} INT; echo ready; {rest}"]
        with subprocess.Popen(["setsid", "--ctty", *simulated(command)], env=ENVIRONMENT, cwd=self.directory(), text=True,
                              stdin=terminal, stdout=subprocess.PIPE) as process:
            self.addCleanup(os.close, control)
            os.close(terminal)
            self.assertEqual(process.stdout.readline(), "ready\n")
            os.write(control, b"\x03")
            self.assertEqual((process.communicate(timeout=LIMIT)[0], process.returncode), ("tty\n", 5))

    def test_a_command_that_does_not_want_to_end(self):
        result = self.bridged('trap "" TERM HUP; tarvix-sim trigger unplug; exec sleep 1000')
        self.assertEqual((result.stderr, result.returncode),
                         ("tarvix bridge: the adapter has left the USB bus; plug it back in, or use --reconnect\n", 7))
        interrupted = self.bridged('trap "" INT HUP; trap "kill -INT $PPID; sleep 0.5; echo in time; exit" TERM; '
                                   "tarvix-sim trigger unplug; while :; do sleep 0.1; done")
        self.assertEqual((interrupted.stdout, interrupted.returncode), ("in time\n", 7), "a signal on the way ends no patience")

    def start(self, *options):
        """A bridge beside which the test goes on, and a shell on its adapter."""
        process = subprocess.Popen(simulated(["bash"]), env=ENVIRONMENT, cwd=self.directory(), text=True, bufsize=1,
                                   stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        self.addCleanup(lambda: [pipe.close() for pipe in (process.stdin, process.stdout, process.stderr)])
        self.addCleanup(process.kill)
        process.stdin.write(f"tarvix bridge uart --link tty {' '.join(options)} & BRIDGE=$!\n")
        self.assertRegex(process.stdout.readline(), r"^uart: /dev/pts/\d+\n$")
        return process

    def finish(self, process, script):
        output, errors = process.communicate(f"{script}\nwait $BRIDGE; echo status $?; ls\n", timeout=LIMIT)
        return output, errors

    def test_the_end(self):
        for name in "TERM", "HUP":
            number = getattr(signal, f"SIG{name}")
            self.assertEqual(self.finish(self.start(), f"kill -{name} $BRIDGE"), (f"status {128 + number}\n", ""))

    def test_the_adapter_goes(self):
        self.assertEqual(self.finish(self.start(), "tarvix-sim trigger unplug"),
                         ("status 7\n", "tarvix bridge: the adapter has left the USB bus; plug it back in, or use --reconnect\n"))

    def test_the_adapter_comes_back(self):
        process = self.start("--reconnect")
        process.stdin.write("exec 3<> tty; tarvix-sim trigger unplug\n")
        self.assertIn("the adapter has left the USB bus; waiting until it is back\n", process.stderr.readline())
        process.stdin.write("printf kept >&3; tarvix-sim trigger replug\n")
        self.assertEqual(process.stderr.readline(), "tarvix bridge: the adapter is back\n")
        self.assertEqual(self.finish(process, "head -c 4 <&3; exec 3<&-; kill $BRIDGE"), ("keptstatus 143\n", ""))

    def test_the_adapter_comes_back_to_another_program(self):
        process = self.start("--reconnect")
        process.stdin.write("tarvix-sim trigger unplug\n")
        process.stderr.readline()
        process.stdin.write("kill -STOP $BRIDGE; tarvix-sim trigger replug; tarvix bridge uart > ready & OTHER=$!; "
                            "until [ -s ready ]; do sleep 0.1; done; kill -CONT $BRIDGE\n")
        self.assertRegex(process.stderr.readline(), "^tarvix bridge: still waiting for the adapter: .* in use")
        process.stdin.write("sleep 1; kill $OTHER\n")
        # While the other ends, nobody knows its name any more: a new reason.
        news = next(line for line in iter(process.stderr.readline, "") if "still waiting" not in line)
        self.assertEqual(news, "tarvix bridge: the adapter is back\n")
        self.finish(process, "kill $BRIDGE")

    def test_json(self):
        result = shell("tarvix --json bridge uart > out & until [ -s out ]; do sleep 0.1; done; kill $!; cat out", cwd=self.directory())
        (event,) = objects(result.stdout)
        self.assertRegex(event.pop("device"), r"^/dev/pts/\d+$")
        self.assertEqual(event, {"bridge": "uart"})

    def test_the_unit_is_one_that_systemd_takes(self):
        if not shutil.which("systemd-analyze"):
            self.skipTest("systemd is not installed")
        unit = pathlib.Path(self.directory()) / "tarvix-bridge@TVX0000001.service"
        text = (SOURCE / "packaging/systemd/tarvix-bridge@.service.in").read_text(encoding="utf-8")
        unit.write_text(text.replace("@CMAKE_INSTALL_FULL_BINDIR@/tarvix", TARVIX), encoding="utf-8")
        result = run(["systemd-analyze", "verify", "--man=no", str(unit)])
        self.assertEqual((result.stderr, result.returncode), ("", 0))

    @unittest.skipIf(os.path.exists("/dev/cuse"), "the kernel's module cuse is loaded")
    def test_without_cuse(self):
        for kind in "i2c", "spi":
            self.fails(tarvix("bridge", kind), 1, "tarvix bridge: /dev/cuse: No such file or directory; load the kernel's module: modprobe cuse")

    def test_wrong_uses(self):
        self.fails(tarvix("bridge", "gpio"), 1, "no program can make GPIO lines: that takes a kernel module; use 'tarvix gpio'")
        self.assertRegex(tarvix("bridge", "gpio", "--help").stdout,
                         "^Missing: no program can make GPIO lines: that takes a kernel module; use 'tarvix gpio'(?s:(?!Examples).)*$")
        self.fails(tarvix("bridge", "i2c", "--device", "a", "b"), 2, "--device: 2 names, but 1 to be made")
        self.fails(tarvix("bridge", "spi", "--device", "../x"), 2, "--device: '../x' is no name of a device; use one such as spidev90.0")
        self.fails(tarvix("bridge"), 2, "tarvix bridge: missing command; one of: ")
        self.fails(tarvix("bridge", "uart", "uart"), 2, "tarvix bridge uart: unexpected argument 'uart'")
        self.fails(tarvix("bridge", "uart", "--", "/no/such"), 127, "cannot run /no/such: No such file or directory")


if __name__ == "__main__":
    unittest.main()
