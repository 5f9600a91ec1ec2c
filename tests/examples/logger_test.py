"""Pulls the adapter out under the logger twenty times: it misses the readings of the absences and no other.

Runs under tarvix-sim run."""

import re
import subprocess
import sys
import time

sim, logger = sys.argv[1:]
LINE = re.compile(r"(\d+\.\d{6}) (\d+) (?:(23\.50)|missed: .+)\n")


def trigger(event):
    subprocess.run([sim, "trigger", event], timeout=60, check=True)


class Log:
    """The lines of the logger: when each reading began, its number, and whether it was missed."""

    def __init__(self, stream):
        self.stream = stream
        self.lines = []

    def until(self, wanted):
        while True:
            line = self.stream.readline()
            match = LINE.fullmatch(line)
            assert match, line
            begun, number, missed = float(match[1]), int(match[2]), match[3] is None
            self.lines.append((begun, number, missed))
            if wanted(begun, missed):
                return


absences = []
with subprocess.Popen([logger, "5"], stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True) as process:
    log = Log(process.stdout)
    log.until(lambda begun, missed: not missed)
    for turn in range(20):
        unplugged = time.time()
        trigger("unplug")
        if turn % 2:  # else it is back before the loss is noticed
            log.until(lambda begun, missed: missed)
        trigger("replug")
        replugged = time.time()
        absences.append((unplugged, replugged))
        log.until(lambda begun, missed, since=replugged: begun > since and not missed)
    process.terminate()

for at, (begun, number, missed) in enumerate(log.lines):
    assert number == at, f"reading {at} is not in the log, {number} follows"
    if missed:
        ended = log.lines[at + 1][0]
        assert any(begun <= replugged and unplugged <= ended for unplugged, replugged in absences), \
            f"reading {number} was missed while the adapter was there"
assert sum(missed for _, _, missed in log.lines) >= 10
