"""Every program and command on the site is run by a test: here, or where this file says."""

import fnmatch
import functools
import os
import pathlib
import re
import tempfile

from help_test import all_commands, commands_in, help_of, options_in
from tool import ENVIRONMENT, SIM, SOURCE, Case, run

BUILD = os.path.dirname(os.path.dirname(SIM))
FENCE = re.compile(r"^```(\S*)\n(.*?)^```$", re.MULTILINE | re.DOTALL)

# What is not played here, page by page: how a block begins, and which file runs it or why none does.
HARDWARE = "needs a real adapter, or changes the machine"
ELSEWHERE = {
    "README.md": {"script/demo": ".ci/run", "#include": "tests/consumer/run", "import tarvix": "python/tests/test_examples.py",
                  "{\n": "tests/cli/bench_test.py", "on: push": "tests/cli/bench_test.py", "sudo cp": HARDWARE, "script/package": ".ci/run",
                  "sudo gpasswd": HARDWARE},
    "CONTRIBUTING.md": {"script/mutate": "takes minutes, and tells what only a person can judge"},
    "script/README.md": {"sudo script/fresh": ".ci/run", "script/package": ".ci/run"},
    "docs/bench-control.md": {"import json": "tests/cli/bench_test.py"},
    "docs/board.md": {'"0x50"': "tests/cli/boards_test.py", "{\n  \"version\"": "tests/cli/boards_test.py",
                      "{\n  \"type\"": "tests/cli/devices_test.py"},
    "docs/cli.md": {"printf 'AT": "tests/cli/terminal_test.py"},
    "docs/devices-in-your-language.md": {'{"type"': "a part of a board"},
    "docs/existing-tools.md": {"": "tests/e2e/bridges.cpp"},
    "docs/fuzzing.md": {"script/fuzz": ".ci/run", "od ": "needs a crash that there should not be"},
    "docs/machine-test.md": {"script/e2e": ".ci/run"},
    "docs/other-machines.md": {"printf": "tests/cli/commands_test.py", "modprobe": "tests/e2e/other_machines.cpp",
                               "grep -l": "tests/e2e/other_machines.cpp", "ssh -N": "needs a second machine",
                               "sysctl": "tests/e2e/other_machines.cpp", "": "python/tests/test_examples.py"},
    "docs/performance.md": {"script/bench": ".ci/run"},
    "docs/python.md": {"script/wheel": "python/tests/test_installing.py", "pytest": "python/tests/test_bench.py",
                       "": "python/tests/test_examples.py"},
    "docs/tarvix-sim.md": {"tarvix-sim trigger": "tests/cli/bench_test.py", "tarvix-sim serve": "tests/cli/bench_test.py",
                           "tarvix-sim run -- tarvix trace": "tests/cli/replay_test.py",
                           "tarvix-sim: ": "tests/cli/replay_test.py", "tarvix-sim run --vcd": "tests/cli/recording_test.py"},
    "docs/trace.md": {"tshark": "tests/cli/dissector_test.py", "02:11:04.536": "tests/cli/show_test.py",
                      '{"note"': "tests/cli/trace_test.py", "modprobe usbmon": "tests/e2e/captures.cpp",
                      "": "tests/cli/trace_test.py"},
    "docs/virtual-adapter.md": {"sdk.": "test_the_lines_of_cpp"},
    "docs/wire-protocol.md": {"": "test_bytes_on_the_wire"},
}


@functools.lru_cache(maxsize=None)
def text_of(page):
    return (SOURCE / page).read_text(encoding="utf-8")


def pages():
    """What script/docs shows."""
    return sorted(str(path.relative_to(SOURCE)) for path in
                  [*SOURCE.glob("*.md"), *SOURCE.glob("docs/*.md"), *SOURCE.glob("docs/site/pages/*.md"), SOURCE / "script/README.md"])


def elsewhere(page, block):
    for begins, where in ELSEWHERE.get(page, {}).items():
        if block.startswith(begins):
            return where
    return None


class Guides(Case):
    @classmethod
    def setUpClass(cls):
        """A machine on which the build is installed, with stand-ins for what would change the real one."""
        folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(folder.cleanup)
        root = pathlib.Path(folder.name)
        installed = run(["cmake", "--install", BUILD, "--prefix", root / "usr"])
        assert installed.returncode == 0, installed.stderr
        library = next(root.rglob("libtarvixsdk.so")).parent
        for name, script in {"sudo": '[ "$1" != cmake ] || exec "$@"', "ldconfig": "", "cmake":
                             'case $* in "--build --preset default" | "--install build/default --prefix /usr/local") ;; *) exit 1 ;; esac'}.items():
            (root / name).write_text(f"#!/bin/sh\n{script}\n", encoding="utf-8")
            (root / name).chmod(0o755)
        cls.machine = {**ENVIRONMENT, "PATH": f"{root}:{root}/usr/bin:/usr/bin:{ENVIRONMENT['PATH']}", "LD_LIBRARY_PATH": str(library),
                       "PKG_CONFIG_PATH": str(library / "pkgconfig"), "PYTHONPATH": str(next(root.rglob("dist-packages"))),
                       "PYTHONDONTWRITEBYTECODE": "1"}

    def clone(self):
        """A folder that looks like a clone, built, with nothing to do for script/demo."""
        folder = pathlib.Path(self.directory())
        for name in "script", "build":
            (folder / name).mkdir()
        (folder / "script/demo").write_text("#!/bin/sh\n", encoding="utf-8")
        (folder / "script/demo").chmod(0o755)
        os.symlink(BUILD, folder / "build/default")
        os.symlink(SOURCE / "examples", folder / "examples")
        (folder / "my_test.py").write_text("import tarvix; tarvix.Adapter(tarvix.list_adapters()[0].serial).close()\n", encoding="utf-8")
        (folder / "my_test").write_text("#!/bin/sh\nexec tarvix list\n", encoding="utf-8")
        (folder / "my_test").chmod(0o755)
        return folder

    def steps(self, page, folder):
        """What is typed, and what is shown to come of it. Programs go to the files that the line above them names."""
        steps, text = [], text_of(page)
        for match in FENCE.finditer(text):
            language, block = match.groups()
            name = re.search(r"`([\w-]+\.\w+)`:\n\n$", text[:match.start()]) or re.match(r"# ([\w-]+\.txt)\n", block)
            if elsewhere(page, block) or language.startswith("{"):
                continue
            if language == "yaml":  # a job
                steps += [(command, "*") for command in re.findall(r"- run: (.*)", block)]
            elif name and language != "text":
                (folder / name[1]).write_text(block, encoding="utf-8")
            elif language == "sh":
                steps.append((block, "*"))
            elif block.startswith("$ "):
                typed = re.split(r"^\$ (.*)\n", block, flags=re.MULTILINE)
                steps += [(f"({command}) 2>errors | grep . || cat errors", output) for command, output in zip(typed[1::2], typed[2::2])]
            elif language == "text" and steps:
                steps[-1] = (steps[-1][0], block)
            else:
                self.fail(f"{page}: nobody runs this, and ELSEWHERE gives no reason:\n{block}")
        return steps

    def test_guides_work_as_printed(self):
        """Typed into a shell in their order."""
        for page in pages():
            with self.subTest(page=page):
                folder = self.clone()
                steps = self.steps(page, folder)
                script = "".join(f"set -e\n{typed}\necho '--- end'\n" for typed, _ in steps)
                command = ["bash"] if "tarvix-sim run" in script else [SIM, "run", "--", "bash"]
                result = run(command, stdin=script, cwd=folder, env=self.machine)
                *printed, _ = result.stdout.split("--- end\n")  # what runs in the background may go on printing
                self.assertEqual((result.returncode, len(printed)), (0, len(steps)), result.stderr + result.stdout)
                for output, (typed, shown) in zip(printed, steps):
                    pattern = shown.replace("[", "[[]").replace("...", "*")
                    self.assertTrue(fnmatch.fnmatchcase(output, pattern), f"{typed}\n{shown}\n{output}")

    def test_what_is_said_to_run_elsewhere(self):
        """Each entry has a block, and the file that is said to run it is there."""
        for page, entries in ELSEWHERE.items():
            blocks = [match[2] for match in FENCE.finditer(text_of(page))]
            for begins, where in entries.items():
                with self.subTest(page=page, begins=begins):
                    self.assertTrue(any(block.startswith(begins) for block in blocks))
                    if where == ".ci/run":
                        self.assertIn(re.search(r"script/\w+", begins)[0], (SOURCE / where).read_text(encoding="utf-8"))
                    elif "/" in where:
                        self.assertTrue((SOURCE / where).is_file())

    def test_commands_in_the_text_exist(self):
        """And so do their options."""
        known = {"tarvix": dict(), "tarvix-sim": dict()}
        for command in [(), *all_commands()]:
            known["tarvix"][command] = options_in(help_of(*command))
        pending = [()]
        for command in pending:
            text = run([SIM, *command, "--help"]).stdout
            known["tarvix-sim"][command] = options_in(text)
            pending += [(*command, name) for name in commands_in(text)]
        for page in pages():
            for span in re.findall(r"(?<!`)`(tarvix(?:-sim)? [^`]*)`(?!`)", FENCE.sub("", text_of(page)).replace("\n", " ")):
                program, *words = span.partition(" -- ")[0].split()
                commands, command = known[program], ()
                while words and (*command, words[0]) in commands:
                    command += (words.pop(0),)
                with self.subTest(page=page, span=span):
                    self.assertTrue(command or words[0].startswith("-") or words[0].isupper() or words[0] == "help", "no such command")
                    options = {word.partition("=")[0] for word in words if word.startswith("--")}
                    self.assertLessEqual(options, commands[command] | commands[()] | {"--help", "--version"})

    def test_the_lines_of_cpp(self):
        """Lines of the page of the virtual adapter, in a program."""
        lines = re.search(r"```cpp\n(.*?)```", text_of("docs/virtual-adapter.md"), re.DOTALL)[1]
        folder = pathlib.Path(self.directory())
        (folder / "lines.cpp").write_text(
            "#include <cstdio>\n#include <tarvixsdk/sdk.hpp>\nint main()\n{\nTarvixSDK sdk(1000);\nsdk.onNotification([](const Notification& "
            'notification) { if (const auto* pin = notification.gpio()) std::printf("pin %d\\n", pin->pinNumber); });\n'
            f"sdk.open();\n{lines}GpioLogicLevel level{{}};\nreturn int(sdk.gpioDigitalRead(GpioPinNumber::PIN_1, level));\n}}\n", encoding="utf-8")
        result = run(["bash", "-c", "g++ -std=c++17 lines.cpp -o lines $(pkg-config --cflags --libs tarvixsdk) && tarvix-sim run -- ./lines"],
                     cwd=folder, env=self.machine)
        self.assertEqual((result.stdout, result.stderr), ("pin 1\n", ""))

    def test_bytes_on_the_wire(self):
        """The frames that the page of the protocol shows are decoded as it says: their codes are those of commands in the table."""
        codes = set(re.findall(r'"code": "0x(\w{4})"', text_of("docs/wire-protocol.json")))
        frames = re.findall(r"^[<>] \w\w \w\w (\w\w) (\w\w)  ", text_of("docs/wire-protocol.md"), re.MULTILINE)
        self.assertGreater(len(frames), 10)
        self.assertLessEqual({high + low for low, high in frames}, codes)
