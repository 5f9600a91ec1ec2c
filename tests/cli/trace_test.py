"""Commands that are programs of their own, and what `tarvix trace` records."""

import json
import os
import re
import shutil
import signal
import unittest

from tool import TARVIX, Case, run, tarvix

SUB_PROGRAMS = ("trace",)


class SubPrograms(Case):
    def test_are_described_as_they_describe_themselves(self):
        for name in SUB_PROGRAMS:
            described = re.search(rf"^  {name} +(.*)$", run([TARVIX, "--help"]).stdout, re.MULTILINE)[1]
            for words in ([name, "--help"], ["help", name], ["-a", "no", "--timeout", "1s", name, "--help"]):
                result = run([TARVIX, *words])
                self.assertEqual((result.stdout.splitlines()[0], result.stderr), (described, ""), words)

    def test_that_are_missing(self):
        alone = shutil.copy(TARVIX, self.directory())
        for name in SUB_PROGRAMS:
            where = os.path.normpath(os.path.join(os.path.dirname(alone), "../libexec/tarvixsdk", f"tarvix-{name}"))
            message = f"cannot run {where}: No such file or directory"
            self.fails(run([alone, name]), 1, f"tarvix {name}: {message}; install tarvix-{name} there")
            error = json.loads(run([alone, "--json", name]).stdout)
            self.assertEqual((error["command"], error["error"]["message"]), (name, message))

    def test_are_no_commands_of_a_batch(self):
        for name in SUB_PROGRAMS:
            self.fails(tarvix("batch", "-", stdin=f"{name} -- ls\n"), 2, f"standard input:1: a batch cannot run '{name}'")


class Record(Case):
    def test_ends_as_the_command(self):
        for command, status in (("exit 3", 3), ("kill -TERM $$", 128 + signal.SIGTERM), ("true --json", 0)):
            result = run([TARVIX, "trace", "--", "sh", "-c", command])
            self.assertEqual((result.returncode, result.stdout), (status, ""), command)

    def test_wrong_uses(self):
        for words, status, message in (
                (["--", "/no/such"], 127, "cannot run /no/such: No such file or directory"),
                (["--", "/etc/passwd"], 126, "cannot run /etc/passwd: Permission denied"),
                ([], 2, "missing command; it stands behind '--', as in 'tarvix trace -- tarvix list'"),
                (["ls"], 2, "unexpected argument 'ls'; the command to trace stands behind '--'")):
            with self.subTest(words=words):
                self.fails(run([TARVIX, "trace", *words]), status, f"tarvix trace: {message}")


if __name__ == "__main__":
    unittest.main()
