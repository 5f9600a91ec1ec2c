"""Board files with devices in other languages: the examples, and programs that outstay their welcome."""

import contextlib
import json
import os
import pathlib
import re
import signal
import subprocess
import time

from tool import ENVIRONMENT, LIMIT, SIM, SOURCE, Case, shell, stream, tarvix

BOARDS = SOURCE / "examples/boards"


def is_gone(pid):
    """Also what is left of it for a parent to fetch."""
    try:
        return pathlib.Path(f"/proc/{pid}/stat").read_text(encoding="utf-8").rpartition(")")[2].split()[0] == "Z"
    except FileNotFoundError:
        return True


def wait_for(get):
    """What `get` returns once it returns something."""
    for _ in range(100 * LIMIT):
        with contextlib.suppress(FileNotFoundError):
            if got := get():
                return got
        time.sleep(0.01)
    raise TimeoutError


def documented(section):
    """The first device that this section of the page shows."""
    page = (SOURCE / "docs/board.md").read_text(encoding="utf-8")
    return json.loads(re.search(f"### {section}.*?```json\n(.*?)```", page, re.DOTALL)[1])


class DevicesTest(Case):
    def board(self, **adapter):
        """The options for a board, and its directory."""
        file = pathlib.Path(self.directory(), "board.json")
        file.write_text(json.dumps({"version": 1, "adapters": [adapter]}), encoding="utf-8")
        return ["--board", str(file)], file.parent

    def program(self, *command):
        """The same with this program at 0x39."""
        return self.board(i2c=[{"devices": {"0x39": {"type": "process", "command": command, "timeout_ms": 100}}}])

    def test_examples(self):
        self.prints("""
            show() { od -An -tu1; tarvix gpio get 3; }
            tarvix i2c get 0x39 0 -n 2 --raw | show
            tarvix i2c set 0x39 1 20; tarvix spi transfer 5 6 --raw | show
            tarvix spi transfer 5 6 --raw | show
            tarvix-sim trigger unplug; tarvix-sim trigger replug; tarvix spi transfer 5 6 --raw | show""",
            "  20 255\n3=high\n   0   0\n3=low\n   1   1\n3=low\n   0   0\n3=high\n",
            sim=["--board", str(BOARDS / "own_devices.json")])

    def test_flash(self):
        options, directory = self.board(spi=[{**documented("NOR flash memories"), "keep": True}])
        (directory / "image.bin").write_text("calibration\n", encoding="utf-8")
        (directory / "new.bin").write_text("another line\n" * 20000, encoding="utf-8")
        self.prints(f"""
            cd {directory}; tarvix spi flash read - -n 12
            tarvix spi flash write new.bin --offset 5000 > said && tarvix spi flash verify new.bin --offset 5000 > said
            tarvix spi flash read - --offset 5000 -n 13; tarvix spi flash read - -n 12""",
            "calibration\nanother line\ncalibration\n", sim=options)
        image = (directory / "image.bin").read_bytes()
        changed = b"calibration\n".ljust(5000, b"\xff") + (directory / "new.bin").read_bytes()
        self.assertEqual(image, changed.ljust(1 << 22, b"\xff"))

    def test_modem(self):
        board = json.loads((BOARDS / "modem.json").read_text(encoding="utf-8"))
        self.assertEqual({"name": "modem", **documented("UART scripts")}, board["adapters"][0]["uart"])
        for line, answer in ("AT", "OK"), ("AT+CSQ", "+CSQ: 17,99"), ('AT+CMGS="1"', "> "), ("AT", "RING"), ("A", "ERROR"):
            done = tarvix("uart", "send", f"text:{line}\\r", "--expect", answer, "--within", "30s", "--raw",
                          sim=["--board", str(BOARDS / "modem.json")])
            self.assertEqual(done.returncode, 0, done)
            self.assertTrue(done.stdout.startswith(line), done)

    def test_i3c_target(self):
        watched, status, _ = stream("monitor -n 2", "tarvix --shared i3c init; tarvix-sim trigger ibi 0x0a; tarvix-sim trigger ibi",
                                    sim=["--board", str(BOARDS / "i3c_target.json")])
        self.assertIn("0x08     0x68    7ffe4210000b  0x06  0x44  interrupts, interrupt payload", watched)
        self.assertEqual(["payload=0a" in watched[-2], "payload=02" in watched[-1], status], [True, True, 0], watched)

    def test_a_failed_program_is_told_once_and_restarts_with_the_power_in_a_clean_environment(self):
        options, directory = self.program("sh", "-c", """
            exec 2>> log; env | grep -E 'LD_PRELOAD|TARVIX_SIM_SOCKET' >&2; grep SigBlk /proc/self/status >&2
            read line; echo '{"version": 1}'; read line""")
        done = shell("""for time in 1 2; do
            tarvix i2c get 0x39; tarvix i2c get 0x39; tarvix i2c get 0x50; echo $?
            tarvix-sim trigger unplug; tarvix-sim trigger replug; done""", sim=options)
        self.assertEqual(done.stdout, "1\n1\n")
        told = "tarvix-sim: TVX0000001: device 'i2c0-0x39' (sh -c "
        self.assertEqual([line.startswith(told) for line in done.stderr.splitlines()], [True, False, False, False] * 2)
        self.assertEqual(done.stderr.count(": NACK (0x0301)"), 6, done.stderr)
        self.assertEqual(pathlib.Path(directory, "log").read_text(encoding="utf-8"), "SigBlk:\t0000000000000000\n" * 3)

    def test_no_program_outlives_the_adapter(self):
        stubborn = "trap '' TERM HUP PIPE; sleep 1000 & echo $! $$ > pids.new; mv pids.new pids; while :; do sleep 1000; done"
        for how in signal.SIGTERM, signal.SIGKILL:
            with self.subTest(how=how):
                options, directory = self.program("sh", "-c", stubborn)
                with subprocess.Popen([SIM, "run", *options, "--", "sh", "-c", "cat; exit 7"], env=ENVIRONMENT,
                                      stdin=subprocess.PIPE) as process:
                    pids = wait_for(lambda: pathlib.Path(directory, "pids").read_text(encoding="utf-8").split())
                    process.send_signal(how)
                    process.wait(LIMIT)
                if how == signal.SIGTERM:
                    self.assertTrue(wait_for(lambda: all(map(is_gone, pids))))  # a kill takes its time
                else:
                    self.assertTrue(wait_for(lambda: is_gone(pids[1])))
                    os.killpg(int(pids[1]), signal.SIGKILL)  # what it started itself
