"""What --help says is true: its examples work as printed, and completion and manual page know the same commands."""

import collections
import functools
import os
import re
import tempfile

from tool import ENVIRONMENT, SIM, SOURCE, TARVIX, Case, attached, objects, run, shell


@functools.lru_cache(maxsize=None)
def help_of(*command):
    result = run([TARVIX, *command, "--help"])
    assert (result.returncode, result.stderr) == (0, ""), command
    return result.stdout


def section(text, name):
    found = re.search(rf"^{name}:\n((?:.+\n)*)", text + "\n", re.MULTILINE)
    return found[1] if found else ""


def commands_in(text):
    return re.findall(r"^  ([a-z0-9-]+)", section(text, "Subcommands"), re.MULTILINE)


def options_in(text):
    return set(re.findall(r"^  (?:-\w,)?(--[a-z0-9-]+)", section(text, "Options"), re.MULTILINE))


def arguments_in(text):
    return set(re.findall(r"^  (?:-- )?([A-Z]+)", section(text, "Positionals"), re.MULTILINE))


def arguments_in_manual(text):
    return set(re.findall(r"[A-Z]+", re.sub(r"\\f[A-Z]", "", text)))


def all_commands(prefix=()):
    for name in commands_in(help_of(*prefix)):
        yield (*prefix, name)
        yield from all_commands((*prefix, name))


class Help(Case):
    def test_examples_work_as_printed(self):
        for command in all_commands():
            text = help_of(*command)
            examples = re.findall(r"^  (.*tarvix .*)", section(text, "Examples"), re.MULTILINE)
            self.assertTrue(examples and text.endswith(f"  {examples[-1]}\n"), command)
            if commands_in(text) and options_in(text) <= {"--help"}:
                continue  # a family repeats the examples of its commands
            if command in (("bridge", "i2c"), ("bridge", "spi")) and not os.access("/dev/cuse", os.W_OK):
                continue  # the machine test runs them
            for example in examples:
                with self.subTest(example=example), tempfile.TemporaryDirectory() as directory:
                    self.assertIn(" ".join(("tarvix", *command)), example)
                    result = shell(example, cwd=directory)
                    self.assertEqual((result.returncode, result.stderr), (0, ""))
                    if "--json" in example:
                        self.assertTrue(objects(result.stdout) or "--idle-timeout" in example)

    def test_commands_beside_those_of_other_tools_work(self):
        text = (SOURCE / "docs/from-i2c-tools.md").read_text(encoding="utf-8")
        commands = [command.replace("\\|", "|") for command in re.findall(r"^\| .* `([^`]*tarvix [^`]*)` \|$", text, re.MULTILINE)]
        self.assertEqual(len(commands), len(re.findall(r"^\| [^J-]", text, re.MULTILINE)), "a row without one")
        for command in commands:
            with self.subTest(command=command):
                with tempfile.TemporaryDirectory() as directory:
                    result = shell(command, cwd=directory)
                self.assertEqual((result.returncode, result.stderr), (0, ""))

    def test_the_word_help(self):
        for command in ((), ("i2c",), ("i2c", "scan")):
            self.assertEqual(run([TARVIX, "help", *command]).stdout, help_of(*command))

    def test_only_what_may_be_left_out_shows_a_default(self):
        self.assertRegex(help_of("i2c", "get"), r"\n  ADDRESS +7-bit")

    def test_long_lines_are_wrapped(self):
        self.assertIn("\n  ENEC [@ADDR] EVENTS\n"
                      "      Enable events: 1 interrupts, 2 controller role requests, 8 hot-join,\n"
                      "      or their sum\n", help_of("i3c", "ccc"))

    def test_defaults(self):
        defaults = collections.defaultdict(set)
        for command in [(), *all_commands()]:
            for option, default in re.findall(r"^  (?:-\w,)?--([a-z0-9-]+) .*\[([^]$]+)\]", help_of(*command), re.M):
                defaults[option].add(default)
        self.assertEqual({option: " ".join(sorted(values)) for option, values in defaults.items()}, {
            "baud": "115200", "bias": "as-is", "bit-order": "msb", "bits": "8", "bus": "0", "clock": "100000 1000000",
            "drive": "medium push-pull", "edge": "both", "every": "1000", "flags": "0", "for": "10", "handshake": "none",
            "i2c-clock": "400k", "idle-timeout": "1000", "in-flight": "1", "init-option": "0", "length": "1 2",
            "mode": "0", "offset": "0", "open-drain": "1M", "parity": "none", "patience": "100", "polarity": "low", "push-pull": "4M",
            "receive-map": "as-is", "reg-bytes": "1", "select": "0", "send-map": "as-is", "stop": "1", "timeout": "2000",
            "times": "1",
            "width": "8"})

    def complete(self, line, setup="", **options):
        script = (f"{setup}\nsource {SOURCE}/packaging/completion/tarvix.bash\n"
                  'COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); _tarvix; printf "%s\\n" "${COMPREPLY[@]}"')
        return set(run(["bash", "-c", script, "bash", *line.split(" ")], **options).stdout.split())

    def test_completion_knows_what_help_lists(self):
        common = options_in(help_of())
        for command in [(), *all_commands()]:
            line = " ".join(("tarvix", *command))
            with self.subTest(line=line):
                self.assertEqual(self.complete(f"{line} "), set(commands_in(help_of(*command))))
                self.assertEqual(self.complete(f"{line} --"), options_in(help_of(*command)) | common)
        self.assertEqual(self.complete("tarvix --json gpio g"), {"get"})
        self.assertEqual(self.complete("tarvix-sim trigger re"), {"release", "replug", "reset"})
        self.assertIn("--hold", self.complete("tarvix-sim trigger reset --"))

    def test_completion_runs_nothing_that_a_device_says(self):
        with tempfile.TemporaryDirectory() as directory:
            trap = os.path.join(directory, "trap")
            serial = f"$(touch${{IFS}}{trap})"
            environment = attached(("/p0", serial), ("/p1", "TVX1"), ("/p2", f"`touch${{IFS}}{trap}`"))
            self.assertEqual(self.complete("tarvix -a ", env=environment), {"path:/p0", "TVX1", "path:/p2"})
            self.assertEqual(self.complete("tarvix --adapter T", env=environment), {"TVX1"})
            # Nor would anything be expanded if the tool listed it.
            words = [serial, f"`touch${{IFS}}{trap}`", "'", '"', "*", "?", "[a-z]*", "{a,b}", "~", "\\", "$HOME", ";", "!!"]
            listing = 'tarvix() { printf "%s\\n" SELECTOR "$WORDS"; }'
            for current in ("", "*", "$", "[a-z]"):
                self.assertEqual(self.complete(f"tarvix -a {current}", listing, cwd=directory,
                                               env={**ENVIRONMENT, "WORDS": "\n".join(words)}),
                                 {word for word in words if word.startswith(current)})
            self.assertFalse(os.path.exists(trap))

    def test_manual_page_knows_what_help_lists(self):
        source = (SOURCE / "packaging/tarvix.1").read_text(encoding="utf-8").replace("\\-", "-")
        # A command stands in the manual as ".SS gpio get", its options as "\fB--bias\fR" below it; what most commands of
        # a family take stands below ".SS i2c".
        parts = re.split(r"^\.S[SH] (.*)$", source, flags=re.MULTILINE)
        texts = {parts[i].strip('"'): parts[i + 1] for i in range(1, len(parts), 2)}
        manual = {name: set(re.findall(r"\\fB(--[a-z0-9-]+)", text)) for name, text in texts.items()}
        families = {" ".join(command) for command in all_commands() if commands_in(help_of(*command))}
        commands = {" ".join(command) for command in all_commands()} - families
        self.assertEqual({name for name in manual if not name.isupper()} - families, commands)
        self.assertEqual(manual["OPTIONS"], options_in(help_of()) - {"--help"})
        for name in sorted(commands):
            with self.subTest(command=name):
                options = options_in(help_of(*name.split()))
                self.assertEqual(arguments_in(help_of(*name.split())) - arguments_in_manual(texts[name]), set())
                self.assertLessEqual(manual[name] - {"--help"}, options)
                above = [manual.get(" ".join(name.split()[:depth]), set()) for depth in (1, 2)]
                self.assertLessEqual(options - {"--help"}, manual[name].union(*above))
        for family in families & manual.keys():
            members = [options_in(help_of(*name.split())) for name in commands if name.startswith(family + " ")]
            members.append(options_in(help_of(*family.split())))
            self.assertLessEqual(manual[family], set.union(*members))
        examples = "".join(section(help_of(*name.split()), "Examples") for name in commands | families)
        for example in re.findall("^tarvix .*", texts["EXAMPLES"], re.MULTILINE):
            self.assertIn(f"  {example}\n", examples)

    def test_the_simulators_manual_page_knows_what_help_lists(self):
        source = (SOURCE / "packaging/tarvix-sim.1").read_text(encoding="utf-8").replace("\\-", "-")
        options = set()

        def check(*command):
            text = run([SIM, *command, "--help"]).stdout
            if command:
                self.assertIn(f"\n.SS {' '.join(command)}\n", source)
                part = source.split(f"\n.SS {' '.join(command)}\n")[1].split("\n.S")[0]
                self.assertEqual(arguments_in(text) - arguments_in_manual(part), set(), command)
            options.update(options_in(text) - {"--help", "--version"})
            for name in commands_in(text):
                check(*command, name)

        check()
        self.assertEqual(set(re.findall(r"\\fB(--[a-z0-9-]+)", source)), options)
