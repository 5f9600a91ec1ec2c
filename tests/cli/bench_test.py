"""The hand on the bench: what README and the guides say of it works as printed."""

import json
import os
import re
import subprocess
import textwrap

from tool import ENVIRONMENT, SIM, SOURCE, Case, run, shell


def blocks(file, language):
    """The code of this language in a guide."""
    text = (SOURCE / file).read_text(encoding="utf-8")
    return re.findall(rf"^```{language}\n(.*?)^```$", text, re.MULTILINE | re.DOTALL)


class Bench(Case):
    def board(self, text):
        """A directory with this board file."""
        directory = self.directory()
        with open(os.path.join(directory, "board.json"), "w", encoding="utf-8") as file:
            file.write(text)
        return directory

    def test_job_of_the_readme(self):
        directory = self.board(blocks("README.md", "json")[0])
        job = blocks("README.md", "yaml")[0]
        self.assertLessEqual(job.count("\n"), 15)
        result = run(["bash", "-e", "-c", textwrap.dedent(job.partition("run: |\n")[2])], cwd=directory)
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        self.assertIn("\n  wire power: low, pressed\n", result.stdout)

    def test_triggers_of_the_guide(self):
        board = json.loads((SOURCE / "simulator/board/default.json").read_text(encoding="utf-8"))
        board["adapters"][0]["gpio"]["wires"][0] = {"name": "power", "pins": [0], "pull": "up", "button": "low"}
        options = ["--board", os.path.join(self.board(json.dumps(board)), "board.json"), "--adapters", "2"]
        guide = next(block for block in blocks("docs/tarvix-sim.md", "sh") if "trigger press" in block)
        before = {"hot-join": "tarvix i3c ccc RSTDAA\n"}
        lines = [before.get(line.split()[2], "") + line for line in guide.splitlines()]
        help_text = run([SIM, "trigger", "--help"]).stdout
        lines += re.findall(r"^  (tarvix-sim trigger .*?)  ", help_text, re.MULTILINE)
        self.assertGreater(len(lines), 21)
        result = shell("set -e; export TARVIX_ADAPTER=TVX0000001; tarvix i3c init > init; tarvix uart send text:hello\n" + "\n".join(lines), options,
                       cwd=self.directory())
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        self.assertEqual(result.stdout, "0xff " * 15 + "0xff\nhello")

    def test_serving_as_the_guide_does(self):
        guide = next(block for block in blocks("docs/tarvix-sim.md", "sh") if "--connect" in block)
        result = run(["bash", "-e", "-c", guide + "wait $!; ls"], cwd=self.directory())
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        self.assertRegex(result.stdout, r"(?s) 48 .*\n  device temperature: .*\nready\n$")

    def test_messages_of_the_guide(self):
        """From a process that never had the preloaded library."""
        code = blocks("docs/bench-control.md", "python")[0]
        code += """
assert control("get", device="temperature", address=0) == {"values": [0x1900], "cell_bytes": 2}
pieces = [control("get", device="flash", address=at, count=4096)["values"] for at in range(0, 16384, 4096)]
assert sum(pieces, []) == [255] * 16384
control("put", device="flash", address=4096, values=[170] * 4096)
try:
    control("put", device="temprature", address=0, values=[1])
except RuntimeError as error:
    print(error)
try:
    control("x" * 70000)
except RuntimeError as error:
    print(error)
"""
        with subprocess.Popen([SIM, "run", "--", "sh", "-c", "echo $TARVIX_SIM_SOCKET; read line"], text=True,
                              env=ENVIRONMENT, stdin=subprocess.PIPE, stdout=subprocess.PIPE) as host:
            path = host.stdout.readline().strip()
            result = run(["python3", "-c", code], env={**ENVIRONMENT, "TARVIX_SIM_SOCKET": path})
            host.communicate("\n")
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        self.assertRegex(result.stdout, r"did you mean 'temperature'\?\n\d+ bytes are more than the 65536 of a message\n")
