"""Runs the tool, as a rule with virtual adapters in place of the machine's HID devices."""

import contextlib
import functools
import json
import os
import pathlib
import re
import signal
import subprocess
import tempfile
import unittest

TARVIX = os.environ["TARVIX"]
SIM = os.environ["TARVIX_SIM"]
UNREADABLE_ADAPTER = os.environ["TARVIX_UNREADABLE_ADAPTER"]
SOURCE = pathlib.Path(os.environ["TARVIX_SOURCE"])

# Far beyond what anything here takes, also on a busy machine and under sanitizers.
LIMIT = 60

TIME = r"\b\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{6}Z\b"

ENVIRONMENT = {name: value for name, value in os.environ.items() if name != "TARVIX_ADAPTER"}
ENVIRONMENT["PATH"] = os.pathsep.join([os.path.dirname(TARVIX), os.path.dirname(SIM), ENVIRONMENT["PATH"]])
# A preloaded library comes before the sanitizer that a test build of the tool may carry.
ENVIRONMENT["ASAN_OPTIONS"] = "verify_asan_link_order=0:" + ENVIRONMENT.get("ASAN_OPTIONS", "")


def simulated(command, sim=()):
    return [SIM, "run", *sim, "--", *command]


def run(command, stdin="", **options):
    """Any command; standard output, standard error and exit status in text."""
    options.setdefault("env", ENVIRONMENT)
    return subprocess.run(command, input=stdin, capture_output=True, text=True, timeout=LIMIT, check=False, **options)


def tarvix(*arguments, sim=(), **options):
    """One run of the tool against a fresh virtual adapter."""
    return run(simulated([TARVIX, *arguments], sim), **options)


def attached(*adapters, **variables):
    """The environment in which these adapters (path, serial number) are attached; nobody can open them."""
    lines = "\n".join(f"{path}\t{serial}" for path, serial in adapters)
    return {**ENVIRONMENT, "LD_PRELOAD": UNREADABLE_ADAPTER, "TARVIX_TEST_ADAPTERS": lines, **variables}


def shell(script, sim=(), **options):
    """A shell script against a fresh virtual adapter, which lives as long as the script."""
    return run(simulated(["bash", "-c", script], sim), **options)


KINDS = {"number": lambda value: type(value) is int, "number of seconds": lambda value: isinstance(value, (int, float)),
         "text": lambda value: isinstance(value, str),
         "hex": lambda value: re.fullmatch("([0-9a-f]{2})*", value), "object": lambda value: isinstance(value, dict),
         "true or false": lambda value: isinstance(value, bool)}


@functools.lru_cache(maxsize=None)
def documented_fields():
    """What docs/json.md says: for each command its fields by path, each with its kind and whether it may be missing."""
    commands = {}
    for section in re.split(r"^## ", (SOURCE / "docs/json.md").read_text(encoding="utf-8"), flags=re.MULTILINE)[1:]:
        title, _, body = section.partition("\n")
        fields = re.findall(r"^\| (\*?)`([^`]+)`\*? \| ([^|]+) \|", body, re.MULTILINE)
        for command in title.split(", "):
            commands[command] = {path: (kind, bool(star)) for star, path, kind in fields}
    return commands


def check_fields(value, fields, path=""):
    """That an object has the documented fields and no others."""
    if isinstance(value, list):
        for item in value:
            check_fields(item, fields, path + "[]")
    elif path in fields:
        assert KINDS[fields[path][0]](value), f"{path}: {value!r} is no {fields[path][0]}"
    here = path + "." if path else ""
    known = {}  # the first row of a name says whether it may be missing
    for name, (_, may_be_missing) in fields.items():
        if name.startswith(here):
            known.setdefault(re.match(r"\w+", name[len(here):])[0], may_be_missing)
    if not isinstance(value, dict) or not known:
        return
    assert set(value) <= set(known), f"{path}: {set(value) - set(known)} undocumented"
    missing = {name for name, may_be_missing in known.items() if not may_be_missing} - set(value)
    assert not missing or "error" in value, f"{path}: {missing} missing"
    for name, item in value.items():
        check_fields(item, fields, here + name)


def objects(text):
    """The JSON objects of a run, one a line, as documented; without what all of them have."""
    result = [json.loads(line) for line in text.splitlines()]
    for value in result:
        # What a trace shows names the command that the adapter was given.
        section = "trace show" if {"event", "line"} <= set(value) else value.get("command")
        check_fields(value, {**documented_fields()["All objects"], **documented_fields().get(section, {})})
        assert value.pop("schema") == 1, value
        for name in "command", "adapter":
            value.pop(name, None)
    return result


class Case(unittest.TestCase):
    maxDiff = None

    def directory(self):
        """An empty one, as long as the test runs."""
        directory = tempfile.TemporaryDirectory()
        self.addCleanup(directory.cleanup)
        return directory.name

    def prints(self, script, output, sim=()):
        result = shell(script, sim)
        self.assertEqual((result.stderr, result.stdout, result.returncode), ("", output, 0), script)

    def json(self, script, *expected):
        result = shell(script)
        self.assertEqual((result.stderr, result.returncode), ("", 0), script)
        self.assertEqual(objects(result.stdout), list(expected), script)

    def streams(self, arguments, then, *lines):
        """What a stream of events prints until it ends by itself, with TIME for each time."""
        printed, status, _ = stream(arguments, then)
        self.assertEqual(([re.sub(TIME, "TIME", line) for line in printed], status), (list(lines), 0))

    def fails(self, result, status, *texts):
        """Nothing on standard output, and one line on standard error, with these texts."""
        self.assertEqual((result.returncode, result.stdout), (status, ""), result.stderr)
        self.assertEqual(result.stderr.count("\n"), 1, result.stderr)
        for text in texts:
            self.assertIn(text, result.stderr)


def stream(arguments, then, sim=(), job_control=False):
    """Runs a stream (with --banner), the shell script `then` once it is armed, and waits for the stream's end.

    In the script, $STREAM is the stream's process id. Returns the lines on standard output, the exit status and
    standard error."""
    with subprocess.Popen(simulated(["bash"], sim), env=ENVIRONMENT, text=True, stdin=subprocess.PIPE,
                          stdout=subprocess.PIPE, stderr=subprocess.PIPE, start_new_session=True) as process:
        try:
            control = "set -m\n" if job_control else ""
            process.stdin.write(f"{control}tarvix --shared {arguments} --banner & STREAM=$!\n")
            process.stdin.flush()
            banner = process.stderr.readline()
            assert "ing " in banner, banner
            output, errors = process.communicate(f"{then}\nwait $STREAM; echo status $?\n", timeout=LIMIT)
        finally:
            with contextlib.suppress(ProcessLookupError):
                os.killpg(process.pid, signal.SIGKILL)
    lines = output.splitlines()
    return lines[:-1], int(lines[-1].removeprefix("status ")), errors
