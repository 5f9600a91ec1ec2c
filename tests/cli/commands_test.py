"""The commands that are no bus family: what they print, to the byte, and what they do."""

import json
import os
import re
import tempfile

from tool import SIM, SOURCE, TARVIX, TIME, Case, attached, objects, run, shell, tarvix


class Commands(Case):
    def test_info(self):
        fields = objects(tarvix("info", "--json").stdout)[0]
        self.assertEqual(fields["strings"], ["Tarvix", "Tarvix Virtual Adapter", "TVX0000001", "firmware 1.0.0",
                                             "hardware virtual"])
        self.assertEqual(fields["backend"], "libtarvixsim-hid.so")
        self.assertIn(f"library:     tarvixsdk {fields['library']}\n", tarvix("info").stdout)

    def test_rail(self):
        self.prints("tarvix rail show; tarvix rail set i3c 1.2V; tarvix rail set shared 3000mV internal",
                    "shared  3300 mV\ni3c     1800 mV, 1800 mV\n"
                    "shared  3300 mV\ni3c     1200 mV, 1200 mV\n"
                    "shared  3000 mV\ni3c     1200 mV, 1200 mV\n")
        self.prints("tarvix rail set shared 3000 external; tarvix rail set shared internal; "
                    "tarvix rail set i3c 0.9V external; tarvix rail show --json",
                    "shared  2500 mV\ni3c     1800 mV, 1800 mV\n"
                    "shared  3000 mV\ni3c     1800 mV, 1800 mV\nshared  3000 mV\ni3c     1200 mV, 900 mV\n"
                    '{"schema":1,"command":"rail show","adapter":"TVX0000001","shared":{"millivolts":3000},"i3c":{"millivolts":[1200,900]}}\n')

    def test_rail_log(self):
        log = "tarvix rail log --every 10ms"
        printed = shell(f"set -e; {log} -n 2; {log} -n 2 --csv; {log} -n 1 --json").stdout
        self.assertEqual(re.sub(TIME, "TIME", printed).splitlines(), [
            *["TIME shared 3300 mV, i3c 1800 mV, 1800 mV"] * 2,
            "time,shared_mv,i3c_1_mv,i3c_2_mv", *["TIME,3300,1800,1800"] * 2,
            '{"schema":1,"command":"rail log","adapter":"TVX0000001","time":"TIME","shared":{"millivolts":3300},'
            '"i3c":{"millivolts":[1800,1800]}}'])
        self.assertEqual(len(objects(printed.splitlines()[-1])), 1)
        self.assertEqual(shell(f"script -qec '{log} -n 3 --plot' /dev/null").stdout.count("\x1b[3A"), 2)
        self.prints("coproc tarvix rail log --every 3600s; PID=$COPROC_PID; read -u ${COPROC[0]} line;"
                    "kill $PID; wait $PID; echo $?", "143\n")

    def test_gpio_levels(self):
        # Pins are wired in pairs: 2 with 3, 4 with 5.
        self.prints("tarvix gpio set 3=1; tarvix gpio set 0x3=low; tarvix gpio get 2; tarvix gpio get 2 0b11 --json",
                    "2=low\n"
                    '{"schema":1,"command":"gpio get","adapter":"TVX0000001","pins":[{"pin":2,"level":"low"},{"pin":3,"level":"low"}]}\n')

    def test_gpio_roles(self):
        self.prints("tarvix gpio get -b pull-up 6; tarvix gpio set -d open-drain 7=0; tarvix gpio get 6;"
                    "tarvix gpio set -d as-is 7=1; tarvix gpio get 6", "6=high\n6=low\n6=high\n")
        self.fails(shell("tarvix gpio get -b disabled 7 > /dev/null; tarvix gpio set -d as-is 7=1"), 1,
                   "driving pin 7: PIN_IS_INPUT (0x0202)")

    def test_gpio_toggle_and_pulse(self):
        # The pin pulses away from the level that it has, and is back when the pulses end, whatever ends them.
        self.prints("tarvix gpio toggle 3 5; tarvix gpio toggle 3; tarvix gpio get 2 4; tarvix gpio pulse 3 5 --times 2;"
                    "tarvix gpio get 2 4; tarvix gpio pulse 5 --for 3600s & PID=$!; while tarvix --shared gpio get 4 |"
                    "grep -q high; do :; done; kill $PID; wait $PID; tarvix gpio get 4; tarvix gpio toggle 4 --json",
                    '3=high 5=high\n3=low\n2=low 4=high\n2=low 4=high\n4=high\n{"schema":1,"command":"gpio toggle",'
                    '"adapter":"TVX0000001","pins":[{"pin":4,"level":"low"}]}\n')
        self.streams("gpio watch -e rising -n 3 0 1 2", "tarvix gpio pulse 3 --for 1 --times 3", *["TIME 2 rising"] * 3)
        self.fails(tarvix("gpio", "pulse", "-d", "as-is", "3"), 1, "driving pin 3: PIN_IS_INPUT (0x0202)")

    def test_gpio_watch(self):
        drive = "for level in 3=1 5=1 5=0 3=0 3=1; do tarvix gpio set $level; done"
        self.streams("gpio watch -e rising -n 3 2 4", drive, "TIME 2 rising", "TIME 4 rising", "TIME 2 rising")
        self.streams("gpio watch -e falling -n 2 2 4", drive, "TIME 4 falling", "TIME 2 falling")
        self.streams("gpio watch --initial -n 4 0 1 2 4", "tarvix gpio set 3=1 3=0 5=1 3=1",
                     *(f"TIME {pin} low" for pin in (0, 1, 2, 4)),
                     "TIME 2 rising", "TIME 2 falling", "TIME 4 rising", "TIME 2 rising")
        # What is not the watched pin's is neither printed nor counted.
        start = '{"schema":1,"command":"gpio watch","adapter":"TVX0000001","time":"TIME","pin":2,'
        self.streams("gpio watch 2 -n 1 --initial --json", "tarvix uart send 0x55; " + drive,
                     start + '"level":"low"}', start + '"edge":"rising"}')

    def test_monitor_sees_only_what_a_watch_leaves_armed(self):
        # Were pin 2 still armed when 3 moves, the monitor would see it before pin 4.
        self.streams("monitor -n 1 --json", "tarvix gpio watch 2 --idle-timeout 50ms; tarvix gpio set 3=1;"
                     "tarvix --shared gpio watch 4 --idle-timeout 5s -n 1 --banner 2>&1 >/dev/null |"
                     " { read banner; tarvix gpio set 5=1; }",
                     '{"schema":1,"command":"monitor","adapter":"TVX0000001","time":"TIME","event":"gpio","pin":4}')

    def test_reset_waits_and_clears(self):
        self.prints("tarvix gpio set 3=1; tarvix reset; tarvix gpio get 3; tarvix reset --json",
                    'TVX0000001: reset\n3=low\n{"schema":1,"command":"reset","adapter":"TVX0000001"}\n')

    def test_boot_asks_first(self):
        self.fails(tarvix("boot"), 2, "standard input is not a terminal; use -y")
        self.prints("tarvix boot -y; tarvix list --json",
                    'TVX0000001: in boot mode\n{"schema":1,"command":"list","adapters":[]}\n')
        for answer, status in (("", 1), ("n", 1), ("y", 0)):
            with self.subTest(answer=answer):
                asked = shell("script -qec 'tarvix boot' /dev/null", stdin=answer + "\n")
                self.assertEqual(asked.returncode, status, asked.stdout)
                self.assertIn("Enter boot mode? [y/N] ", asked.stdout)
        interrupted = shell('coproc script -qec "tarvix boot" /dev/null; script=$COPROC_PID; '
                            r'read -rd "[" <&${COPROC[0]}; printf "\003\n" >&${COPROC[1]}; wait $script')
        self.assertEqual(interrupted.returncode, 130)

    def test_doctor(self):
        fields = objects(tarvix("doctor", "--json").stdout)[0]
        results = {row["check"]: row["result"] for row in fields["checks"]}
        self.assertEqual((results["adapter"], results["exchange"], fields["ok"]), ("ok", "ok", True))
        for result, status, text in (
            (shell("tarvix-sim trigger unplug; exec tarvix doctor"), 3, "FAIL  choice: no adapter is attached\n      plug one in\n"),
            (tarvix("doctor", sim=["--adapters", "2"]), 4, "FAIL  choice: 2 adapters are attached"),
            (tarvix("doctor", "--timeout", "200", sim=["--fault", "drop"]), 6, "FAIL  exchange: reading a string"),
        ):
            with self.subTest(text=text):
                self.assertEqual(result.returncode, status)
                self.assertIn(text, result.stdout)
        with tempfile.NamedTemporaryFile() as node: # nobody but this process has it open
            held = run([TARVIX, "doctor"], env=attached((node.name, "TVX1"))).stdout
        self.assertRegex(held, rf"note  other programs: in use by [^,]+ \(process {os.getpid()}\)\n")

    def test_batch_errors_name_file_and_line(self):
        for line, status, errors in (
            ("gpio get 8", 2, "gpio get: standard input:2: PIN: 8 is out of range, 0 to 7\n"),
            ("gpio set 'x", 2, "batch: standard input:2: unterminated quote: '\n"),
            ("batch -", 2, "batch: standard input:2: a batch cannot run a batch\n"),
            ("rail set shared 60V", 1,
             "rail set: standard input:2: setting the shared rail to 60000 mV: VOLTAGE_OUT_OF_RANGE (0x0201);"
             " the rail cannot produce this voltage: choose another\n"),
        ):
            for arguments, output in ((["-"], ""), (["-k", "-"], "3=high\n")):
                with self.subTest(line=line, arguments=arguments):
                    result = tarvix("batch", *arguments, stdin=f"gpio set 3=1\n{line}\ngpio get 3\n")
                    self.assertEqual((result.returncode, result.stderr, result.stdout),
                                     (status, f"tarvix {errors}", output))
        # The first failure's status is the batch's.
        several = tarvix("batch", "-k", "-", stdin="rail set shared 60V\ngpio get 8\n")
        self.assertEqual((several.returncode, several.stderr.count("\n")), (1, 2))

    def batch(self, lines, *arguments, json_too=()):
        return tarvix(*json_too, "batch", "-", *arguments, stdin="\n".join(lines) + "\n", cwd=self.directory())

    def test_batch_steps(self):
        steps = ["gpio set 2=1", "sleep 1ms", "gpio get 3 4", "expect '^3=high 4=low$'", "expect '(x|3)=h.gh'",
                 "set A=match:'4=(l..)'", "set B=json:/pins/0/pin", "set C_1='a b'", "set D=text:json:x$${A}",
                 "gpio set ${B}=${A}", "gpio get 3", "expect ${A}", "set E=${D}", "i2c get 0x48 0 -w 2",
                 "set T=json:/values/0", "i2c set 0x50 0 -w 2 ${T}", "i2c get 0x50 0 -n 2", "expect '  17 80  '",
                 "spi transfer -s 1 text:r1 --raw", "expect r1"]
        self.assertEqual((result := self.batch(steps)).stdout, "3=high 4=low\n3=low\n0x1780\n"
                         "00000000  17 80                                             |..|\nr1", result.stderr)
        printed = self.batch([step for step in steps if "r1" not in step], json_too=["--json"]).stdout
        values = {fields["name"]: fields["value"] for fields in objects(printed) if "name" in fields}
        self.assertEqual(values, {"A": "low", "B": "3", "C_1": "a b", "D": "json:x${A}", "E": "json:x${A}", "T": "6016"})
        # One object for each line, in order.
        self.assertEqual([json.loads(line)["command"].split()[-1] for line in printed.splitlines()[:5]],
                         ["set", "sleep", "get", "expect", "expect"])

    def test_the_documented_batch(self):
        (text,) = re.findall("```\n(# bring-up.txt\n.*?)```", (SOURCE / "docs/cli.md").read_text(encoding="utf-8"), re.DOTALL)
        result = tarvix("batch", "-", stdin=text, sim=["--verbose"])
        self.assertEqual((result.returncode, result.stdout.splitlines()[2:]), (0, ["2=high", "0x1780"]), result.stderr)
        self.assertIn("(I2C write)", result.stderr)

    def test_batch_steps_that_fail(self):
        for line, status, text in (
            ("expect 3=high", 1, "batch expect: standard input:2: REGEX: '3=high' is not in '3=low'\n"),
            ("expect '('", 2, "REGEX: '(' is not a regex that can be used: "), ("expect", 2, "0 words given, 1 expected; write expect REGEX"),
            ("expect 3 = low", 2, "3 words given"), ("sleep 5m", 2, "batch sleep: standard input:2: PERIOD: '5m' is not"),
            ("set x", 2, "NAME=VALUE: 'x' names no variable"), ("set -a=1", 2, "names no variable"),
            ("set a=match:x", 1, "match: 'x' is not in '3=low'"), ("set a=json:/pins/1/pin", 1, "json:/pins/1/pin: no such value"),
            ("set a=json:pins", 2, "json:pins: not a JSON pointer"), ("gpio get ${x}", 2, "${x} is not set; write 'set x=...' before"),
            ("gpio get ${", 2, "${} is not set"), ("include /nonexistent", 2, "FILE: /nonexistent: No such file"),
        ):
            with self.subTest(line=line):
                result = self.batch(["gpio get 3", line, "gpio get 3"])
                self.assertEqual((result.returncode, result.stdout), (status, "3=low\n"))
                self.assertIn(text, result.stderr)
        self.fails(self.batch(["expect x"]), 1, "'x' is not in ''")
        # Neither time nor stack is the device's to choose.
        for regex in "(((((((((((.)))))))))))*y", "(A+)+y":
            result = self.batch(["spi transfer -s 1 --raw text:" + 9000 * "A", f"expect '{regex}'"])
            self.assertEqual((result.returncode, len(result.stderr) < 400), (1, True))

    def test_batch_includes(self):
        directory = self.directory()
        os.mkdir(f"{directory}/sub")
        for name, text in (("main.txt", "set PIN=2\ninclude sub/a.txt\ngpio get 3\n"),
                           ("sub/a.txt", "gpio set ${PIN}=1\ninclude b.txt\n"), ("sub/b.txt", "# b\ngpio get 8\n"),
                           ("endless.txt", "include endless.txt\n")):
            with open(f"{directory}/{name}", "w", encoding="utf-8") as file:
                file.write(text)
        place = "sub/b.txt:2, included at sub/a.txt:2, included at main.txt:2: PIN: 8 is out of range"
        for arguments, output in (["main.txt"], ""), (["-k", "main.txt"], "3=high\n"):
            result = tarvix("batch", *arguments, cwd=directory)
            self.assertEqual((result.returncode, result.stdout, result.stderr.count("\n")), (2, output, 1), result.stderr)
            self.assertIn(place, result.stderr)
        self.fails(tarvix("batch", f"{directory}/endless.txt"), 2, "more than 16 includes within each other")
        self.fails(tarvix("batch", "main.txt", "--no-files", cwd=directory), 2, "main.txt:2: FILE: 'sub/a.txt' is a file")

    def test_a_dry_run_prints_the_frames_that_a_run_sends(self):
        directory = self.directory()
        lines = ["gpio set 3=1 4=0", "set BUS=1", "i2c set --bus ${BUS} --reg-bytes 2 --page 64 --in-flight 4 0x51 9 hex:" + 150 * "a5",
                 "i2c scan -q 0x50 0x50", "reset", "spi transfer -s 1 1 2", "i2c set 0x50 0 1 2 --reg-bytes 4"]
        def sent(text):
            return re.findall(r"^(?:tarvix-sim: TVX0000001 < |    )((?:\w\w ?)+\b)", text, re.MULTILINE)
        real, dry = (run(command, stdin="\n".join(lines)) for command in (
            [SIM, "run", "--verbose", "--", TARVIX, "batch", "-"], [TARVIX, "batch", "--dry-run", "-"]))
        self.assertEqual((sent(dry.stdout), dry.stderr, dry.returncode), (sent(real.stderr), "", 0))
        self.assertGreater(len(sent(real.stderr)), 9)
        rest, none = "the rest, if any, depends on the answer", "not evaluated: there is no answer"
        without_answers = (  # the line, how many frames, what cannot be known
            ("gpio get 3 4", 1, rest), ("i2c set 0x50 0 1 --mask 1", 2, rest), ("spi flash read a.bin", 2, rest),
            ("uart terminal --log a.log", 1, rest), ("gpio watch 3", 2, rest), ("rail log --every 1000s", 1, rest), ("boot", 1, None),
            ("info", 1, rest), ("i3c init", 4, rest), ("sleep 10000s", 0, None), ("expect .*", 0, none),
            ("list --watch", 0, "not evaluated: nothing comes in a dry run"), ("set a=match:.*", 0, none), ("set b=${a}3", 0,
            "not evaluated: ${a} depends on an answer"), ("gpio set ${b}", 0, "not evaluated: ${b} depends on an answer"),
            ("include ${b}", 0, "not evaluated: ${b} depends on an answer"), ("include /dev/null", 0, None),
            ("set a=3", 0, None), ("gpio set ${a}=1", 1, None))
        result = run([TARVIX, "--json", "batch", "--dry-run", "-"], stdin="\n".join(row[0] for row in without_answers), cwd=directory)
        self.assertEqual([(row["line"], len(row["frames"]), row.get("note")) for row in objects(result.stdout)], list(without_answers))
        self.assertEqual((result.returncode, result.stderr, os.listdir(directory)), (0, "", []))
        wrong = run([TARVIX, "batch", "--dry-run", "-"], stdin="expect (\ngpio get 8\nset a=json:x\nsleep 5\ninclude /-\ni2c set 1 ${x}")
        self.assertEqual((re.findall(r"input:(\d):", wrong.stderr), wrong.stdout.count("\n"), wrong.returncode), (list("12356"), 2, 2))

    def test_batch_answers_each_line_at_once(self):
        self.prints("coproc tarvix --json batch -; for line in 'gpio get 3' 'expect low' 'set A=1'; do"
                    " echo \"$line\" >&${COPROC[1]}; read -ru ${COPROC[0]} object; echo $object | cut -d, -f2; done",
                    '"command":"gpio get"\n"command":"batch expect"\n"command":"batch set"\n')

    def test_batch_over_ssh(self):
        guide = (SOURCE / "docs/other-machines.md").read_text(encoding="utf-8")
        (command,) = re.findall(r"^printf .*ssh lab .*", guide, re.M)
        result = run([SIM, "run", "--", "bash", "-c", 'ssh() { shift; "$@"; }; export PATH=$1:$PATH; ' + command, "-", os.path.dirname(TARVIX)])
        self.assertEqual([sorted(row)[-1] for row in objects(result.stdout)], ["values", "pins"], result.stderr)

    def test_batch_from_elsewhere(self):
        with tempfile.NamedTemporaryFile("w") as file:
            for commands, expected in ((f"uart send @{file.name}\n", f": DATA: '@{file.name}' is a file"),
                                       (f"i2c set 0x50 0 1 @{file.name}\n", "is a file"),
                                       ("gpio set '3=\x1b[2J\x7f\u009b\u202e'\n", "'.[2J...' is not one of")):
                with self.subTest(commands=commands):
                    self.fails(tarvix("batch", "--no-files", "-", stdin=commands), 2, expected)
            self.prints(f"printf 'spi transfer -s 1 1 --raw\\nuart send @{file.name} 1' | tarvix batch -", "\1")
        escaped = tarvix("--json", "batch", "-", stdin="gpio get \u0416\u009b\n").stdout
        self.assertTrue(escaped.isascii() and r"'\u0416\u009b'" in escaped, escaped)
        endless = run(["bash", "-c", "ulimit -v 400000; exec tarvix batch -k /dev/zero"])
        self.fails(endless, 2, "FILE: /dev/zero:1: longer than 1048576 bytes; ")
        self.assertEqual(tarvix("batch", "-", stdin="list" + " " * (2**20 - 4)).returncode, 0)

    def test_batch_sets_a_controller_up_once_and_again_after_a_reset(self):
        commands = "i2c get 0x50\ni2c get 0x50\nreset\ni2c get 0x50\n"
        result = tarvix("-v", "batch", "-", stdin=commands)
        self.assertEqual((result.returncode, result.stderr.count("set up I2C bus 0: 100000 Hz")), (0, 2), result.stderr)

    def test_batch_never_takes_a_late_answer_for_the_next_commands(self):
        # Every answer comes after the command that waits for it gave up, and while the next one waits.
        result = tarvix("--timeout", "200", "batch", "-k", "-", stdin="gpio get 3\n" * 3, sim=["--latency", "300"])
        self.assertEqual((result.returncode, result.stdout, result.stderr.count("NO_RESPONSE")), (6, "", 3))
