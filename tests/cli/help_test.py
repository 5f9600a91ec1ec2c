"""What --help says is true: its examples work as printed, and completion and manual page know the same commands."""

import functools
import os
import re
import tempfile
import unittest

from tool import ENVIRONMENT, SOURCE, TARVIX, attached, objects, run, shell


@functools.lru_cache(maxsize=None)
def help_of(*command):
    return run([TARVIX, *command, "--help"]).stdout


def section(text, name):
    return re.search(rf"^{name}:\n((?:.+\n)*)", text + "\n", re.MULTILINE)


def commands_in(text):
    found = section(text, "Subcommands")
    return re.findall(r"^  ([a-z0-9-]+)", found[1], re.MULTILINE) if found else []


def options_in(text):
    return set(re.findall(r"^  (?:-\w,)?(--[a-z0-9-]+)", section(text, "Options")[1], re.MULTILINE))


def all_commands(prefix=()):
    for name in commands_in(help_of(*prefix)):
        yield (*prefix, name)
        yield from all_commands((*prefix, name))


def examples_in(text):
    found = section(text, "Examples")
    return re.findall(r"^  (.*tarvix .*)", found[1], re.MULTILINE) if found else []


class Help(unittest.TestCase):
    def test_examples_work_as_printed(self):
        for command in all_commands():
            text = help_of(*command)
            examples = examples_in(text)
            self.assertTrue(examples and text.endswith(f"  {examples[-1]}\n"), command)
            if commands_in(text):
                continue  # a family repeats the examples of its commands
            for example in examples:
                with self.subTest(example=example), tempfile.TemporaryDirectory() as directory:
                    self.assertIn(" ".join(("tarvix", *command)), example)
                    result = shell(example, cwd=directory)
                    self.assertEqual((result.returncode, result.stderr), (0, ""))
                    if "--json" in example:
                        self.assertTrue(objects(result.stdout) or "--idle-timeout" in example)

    def test_only_what_may_be_left_out_shows_a_default(self):
        self.assertRegex(help_of("i2c", "get"), r"\n  ADDRESS +7-bit[^$]*\n  -n,--length NUMBER \[1\] ")

    def complete(self, line, setup="", **options):
        words = line.split(" ")
        script = (f"{setup}\nsource {SOURCE}/packaging/completion/tarvix.bash\nCOMP_WORDS=({' '.join(words[:-1])} '{words[-1]}')"
                  f"\nCOMP_CWORD={len(words) - 1}\n_tarvix\nprintf '%s\\n' \"${{COMPREPLY[@]}}\"")
        return set(run(["bash", "-c", script], **options).stdout.split())

    def test_completion_knows_what_help_lists(self):
        common = options_in(help_of())
        for command in [(), *all_commands()]:
            line = " ".join(("tarvix", *command))
            with self.subTest(line=line):
                self.assertEqual(self.complete(f"{line} "), set(commands_in(help_of(*command))))
                self.assertEqual(self.complete(f"{line} --"), options_in(help_of(*command)) | common)
        self.assertEqual(self.complete("tarvix --json gpio g"), {"get"})

    def test_completion_runs_nothing_that_a_device_says(self):
        with tempfile.TemporaryDirectory() as directory:
            trap = os.path.join(directory, "trap")
            serial = f"$(touch${{IFS}}{trap})"
            environment = attached(("/p0", serial), ("/p1", "TVX1"), ("/p2", f"`touch${{IFS}}{trap}`"))
            self.assertEqual(self.complete("tarvix -a ", env=environment), {"path:/p0", "TVX1", "path:/p2"})
            self.assertEqual(self.complete("tarvix --adapter T", env=environment), {"TVX1"})
            # Nor would it be run if the tool listed it.
            listing = f"tarvix() {{ printf '%s\\n' SELECTOR '{serial}'; }}"
            self.assertEqual(self.complete("tarvix -a ", listing), {serial})
            self.assertFalse(os.path.exists(trap))

    def test_manual_page_knows_what_help_lists(self):
        with open(os.path.join(SOURCE, "packaging", "tarvix.1"), encoding="utf-8") as file:
            source = file.read().replace("\\-", "-")
        # A command stands in the manual as ".SS gpio get", its options as "\fB--bias\fR" below it; what most commands of
        # a family take stands below ".SS i2c".
        parts = re.split(r"^\.S[SH] (.*)$", source, flags=re.MULTILINE)
        manual = {parts[i].strip('"'): set(re.findall(r"\\fB(--[a-z0-9-]+)", parts[i + 1]))
                  for i in range(1, len(parts), 2)}
        families = {" ".join(command) for command in all_commands() if commands_in(help_of(*command))}
        commands = {" ".join(command) for command in all_commands()} - families
        self.assertEqual({name for name in manual if not name.isupper()} - families, commands)
        self.assertEqual(manual["OPTIONS"], options_in(help_of()) - {"--help"})
        for name in sorted(commands):
            with self.subTest(command=name):
                options = options_in(help_of(*name.split()))
                self.assertLessEqual(manual[name] - {"--help"}, options)
                self.assertLessEqual(options - {"--help"}, manual[name] | manual.get(name.split()[0], set()))
        for family in families & manual.keys():
            members = [options_in(help_of(*name.split())) for name in commands if name.split()[0] == family]
            self.assertLessEqual(manual[family], set.union(*members))

    def test_manual_page_is_well_formed(self):
        result = run(["man", "--warnings=all", "-l", "-Tutf8", os.path.join(SOURCE, "packaging", "tarvix.1")],
                     env={**ENVIRONMENT, "LC_ALL": "C.UTF-8", "MANPAGER": "cat"}) if os.path.exists("/usr/bin/man") else None
        if result is None:
            self.skipTest("man is not installed")
        self.assertEqual(result.stderr, "")
