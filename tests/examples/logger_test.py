"""Pulls the adapter out under the logger twenty times: it misses the readings of the absences and no other.

Runs under tarvix-sim run."""

import re
import subprocess
import sys
import time

sim, logger = sys.argv[1:]
LINE = re.compile(r"(\d+\.\d{6}) (\d+) (?:(23\.50)|missed: .+)\n")
lines = []  # when each reading began, its number, and whether it was missed
absences = []


def trigger(event):
    subprocess.run([sim, "trigger", event], timeout=60, check=True)
    return time.time()


with subprocess.Popen([logger, "40"], stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True) as process:
    def read_until(missed, since=0):
        while not lines or lines[-1][2] != missed or lines[-1][0] <= since:
            line = process.stdout.readline()
            match = LINE.fullmatch(line)
            assert match, line
            lines.append((float(match[1]), int(match[2]), match[3] is None))

    read_until(missed=False)
    for turn in range(20):
        unplugged = time.time()
        trigger("unplug")
        if turn % 2:  # else, as a rule, it is back before the loss is noticed
            read_until(missed=True)
        absences.append((unplugged, trigger("replug")))
        read_until(missed=False, since=absences[-1][1])
    process.terminate()

for at, (begun, number, missed) in enumerate(lines):
    assert number == at, f"reading {at} is not in the log, {number} follows"
    explained = not missed or any(begun <= back and gone <= lines[at + 1][0] for gone, back in absences)
    assert explained, f"reading {number} was missed while the adapter was there"
assert sum(missed for _, _, missed in lines) >= 10
