"""Runs one example on a good adapter and on faulty ones: it does its job, or says why not and ends with status 1."""

import os
import re
import subprocess
import sys
from concurrent import futures

sim, example, output = sys.argv[1:4]
arguments = sys.argv[4:]

# Not the 1 of an example that fails.
os.environ["ASAN_OPTIONS"] = "exitcode=99"
os.environ["UBSAN_OPTIONS"] = "exitcode=99"

MESSAGES = ["NO_RESPONSE", "ADAPTER_LOST", "UNEXPECTED_RESPONSE", "RESPONSE_TOO_SHORT",
            "adapter status 0x[0-9A-Fa-f]{4}(; is the target there, powered and pulled up\\?)?",
            "no adapter attached", "pin 1 did not follow: are the pins wired together\\?",
            "nothing came back: is the output wired to the input\\?", "no target on the bus took an address",
            "the target ended the read early"]
FAILURE = re.compile(f"([^\\n]+: ({'|'.join(MESSAGES)})\\n)+")


def run(*options):
    done = subprocess.run([sim, "run", *options, "--", example, *arguments], stdin=subprocess.DEVNULL,
                          capture_output=True, text=True, timeout=120, check=False)
    told = FAILURE.fullmatch(done.stderr) if done.returncode == 1 else done.returncode == 0 and done.stderr == ""
    assert told, (options, done)
    return done


good = run()
assert good.returncode == 0 and output in good.stdout, good
faulty = {("--fault", fault): reason for fault, reason in (("drop", "NO_RESPONSE"),
                                                           ("unplug", "ADAPTER_LOST|no adapter attached"))}
others = [("--fault", f"{fault}:{probability}", "--fault-delay", "10", "--away", "20") for probability in ("1", "0.2")
          for fault in ("drop", "delay", "truncate", "duplicate", "garbage", "unplug")]
garbled = [("--fault", "garbage:0.3", "--seed", str(seed)) for seed in range(1, 6)]
with futures.ThreadPoolExecutor(8) as pool:  # they mostly wait
    runs = {options: pool.submit(run, *options) for options in [*faulty, *others, *garbled]}
results = {options: each.result() for options, each in runs.items()}
for options, reason in faulty.items():
    assert results[options].returncode == 1 and re.search(reason, results[options].stderr), results[options]
assert any(results[options].returncode == 1 for options in garbled)
