"""How runs end: every exit status, nonsense on the command line, and trouble with the standard streams."""

import ctypes
import grp
import os
import pwd
import re
import tempfile

from tool import SOURCE, TARVIX, Case, attached, objects, run, shell, stream, tarvix


def drop_override_of_permissions():
    """Makes root a user to whom the modes of files apply."""
    prctl_capbset_drop, dac_override, dac_read_search = 24, 1, 2
    for capability in (dac_override, dac_read_search):
        ctypes.CDLL(None).prctl(prctl_capbset_drop, capability, 0, 0, 0)


class ExitStatus(Case):
    def test_each_status_is_provoked_once(self):
        unplugged = ["--fault", "unplug", "--away", "60000"]
        for status, result, text in (
            (1, tarvix("rail", "set", "shared", "60V"), "rail set: setting the shared rail to 60000 mV: "
                                                        "VOLTAGE_OUT_OF_RANGE (0x0201); "),
            (2, tarvix("gpio", "get", "8"), "tarvix gpio get: PIN: 8 is out of range, 0 to 7"),
            (3, shell("tarvix-sim trigger unplug && exec tarvix info"), "no adapter is attached; plug one in, or run"),
            (4, tarvix("info", sim=["--adapters", "2"]), "choose one with --adapter: TVX0000001, TVX0000002"),
            (6, tarvix("monitor", "-n", "2", "--idle-timeout", "50ms"), "monitor: 0 of 2 events came; raise --idle-timeout"),
            (6, tarvix("--timeout", "0.2s", "info", sim=["--fault", "drop"]), "NO_RESPONSE (0x2000); no answer "
                                                                             "within 200 ms: raise --timeout"),
            (7, tarvix("info", sim=unplugged), "ADAPTER_LOST (0xC000); the adapter has left the USB bus"),
            (8, shell("tarvix monitor --banner 2>&1 | { read; tarvix info; }"), " is in use by process "),
        ):
            with self.subTest(status=status):
                self.fails(result, status, text)

    def test_waiting_for_another_program(self):
        self.prints("tarvix monitor --banner --idle-timeout 500ms 2>&1 | { read; tarvix --wait 20s gpio set 3=1; }", "")

    def test_no_permission(self):
        with tempfile.NamedTemporaryFile() as node:
            os.chmod(node.name, 0)
            arguments = {"env": attached((node.name, "TVX1")), "preexec_fn": drop_override_of_permissions}
            self.fails(run([TARVIX, "info"], **arguments), 5, f"cannot open {node.name}: permission denied; ",
                       "70-tarvix.rules")
            doctor = run([TARVIX, "doctor"], **arguments)
            self.assertEqual(doctor.returncode, 5)
            self.assertIn(f"FAIL  device node: {node.name} ----------", doctor.stdout)
            if os.getuid() == 0:  # as the udev rule makes it: of a group that this process is not in
                os.chown(node.name, pwd.getpwnam("nobody").pw_uid, grp.getgrnam("plugdev").gr_gid)
                os.chmod(node.name, 0o660)
                self.assertIn("\n      log in at the machine itself, or join the group plugdev and log in again: "
                              "sudo gpasswd -a root plugdev\n", run([TARVIX, "doctor"], **arguments).stdout)

    def test_interrupted(self):
        for signal, status in (("INT", 130), ("TERM", 143), ("HUP", 129)):
            # A background job of a script ignores Ctrl-C unless its shell controls jobs.
            with self.subTest(signal=signal):
                self.assertEqual(stream("monitor", f"kill -{signal} $STREAM", job_control=True)[:2], ([], status))

    def test_signals_that_the_parent_ignores_stay_ignored(self):
        self.prints("trap '' HUP; coproc tarvix monitor --idle-timeout 500ms --banner 2>&1; PID=$COPROC_PID;"
                    "read -u ${COPROC[0]} banner; kill -HUP $PID; wait $PID; echo $?", "0\n")

    def test_interrupted_while_an_adapter_is_silent(self):
        result = shell("set -m; tarvix --timeout 60000 info & sleep 0.3; kill -INT $!; wait $!",
                       sim=["--fault", "drop"])
        self.assertEqual((result.returncode, result.stdout), (130, ""))

    def test_lost_while_watching(self):
        _, status, errors = stream("gpio watch 3", "tarvix-sim trigger unplug")
        self.assertEqual(status, 7)
        self.assertIn("the adapter has left the USB bus", errors)

    def test_names_of_device_statuses_are_the_virtual_adapters(self):
        def statuses(header):
            return re.findall(r"(\w+) = (0x\w+),", (SOURCE / header).read_text(encoding="utf-8"))

        tools = statuses("cli/adapter/statuses.hpp")
        self.assertEqual([("SUCCESS", "0x0000"), *tools], statuses("simulator/model/device_status.hpp"))
        texts = (SOURCE / "cli/adapter/statuses.cpp").read_text(encoding="utf-8")
        self.assertEqual(re.findall(r'DeviceStatus::(\w+), "(\w+)"', texts), [(name, name) for name, _ in tools])

    def test_errors_in_json(self):
        result = tarvix("rail", "set", "shared", "60V", "--json")
        self.assertEqual(objects(result.stdout), [{"error": {
            "exit": 1, "message": "setting the shared rail to 60000 mV: VOLTAGE_OUT_OF_RANGE (0x0201)",
            "advice": "the rail cannot produce this voltage: choose another", "status": "VOLTAGE_OUT_OF_RANGE",
            "number": 0x0201}}])
        for arguments in (("gpio", "get", "x"), ("--timeout", "0", "list"), ("i2c", "get", "0x50", "--raw")):
            usage = tarvix(*arguments, "--json")
            self.assertEqual((usage.returncode, objects(usage.stdout)[0]["error"]["exit"]), (2, 2))

    def test_nonsense_is_one_line_and_names_what_is_wrong(self):
        for arguments, text in (
            ("", "missing command; one of: list, info, "), ("help flash", "unknown command or option 'flash'; one of: list,"),
            ("gpio gte", "tarvix gpio: unknown command or option 'gte'; one of: get, set, toggle, pulse, watch"),
            ("list x y", "unexpected argument 'x'"), ("list -n 1", "need --watch"),
            ("-a index:x info", "--adapter: 'index:x' is not an index"),
            ("gpio get", "PIN is required"),
            ("gpio get 3 --foo", "unexpected argument '--foo'; see 'tarvix gpio get --help'"),
            ("gpio set 3", "PIN=LEVEL: '3' has no '='; write 3=1 or 3=high"),
            ("gpio set 3=hig", "LEVEL: 'hig' is not one of low|high|0|1"), ("gpio watch 3 -n 1 -n 2", "--count: given more than once;"),
            ("i2c get 1 --bus", "--bus: needs a value;"),
            ("rail set shared 3V 2V", "VALUE: '2V' sets the voltage a second time"),
            ("rail set shared external internal", "VALUE: 'internal' sets the source a second time"),
            ("rail log --plot", "--plot: standard output is not a terminal; use --csv or --json"),
            ("rail log --csv --plot", "--json, --csv and --plot cannot be combined; use one of them"),
            ("batch /nonexistent", "FILE: /nonexistent: No such file or directory"),
            ("batch /", "FILE: /: Is a directory"), ("i2c dump 0x50 0x80 -n 0x81", "--length: 0x81 starting at 0x80 goes beyond"), ("i3c ccc GetX", "'GetX'"), ("i2c set 0x50 0", "DATA"),
            ("i2c set 0x50 0xff 1 2 --page 8", "raise --reg-bytes"), ("i2c set 0x50 0xff 1 2", "raise --reg-bytes"),
            ("i2c set 0x50 0 text:123456789", "a memory would wrap 9 bytes within its page; add --page 8"),
            ("i2c scan 0x40", "LAST is missing; write 0x40 0x40"), ("i2c scan 0x9 8", "FIRST: 0x9 is above LAST, 8"),
            ("i2c scan 8 9 --all", "--all"), ("i2c scan -q -r", "--quick and --read"),
            ("i2c scan 8 9 -e 80", "--expect: 80 is not scanned, only 0x08 to 0x09 are"),
            ("i2c get 0x48 0 -w 2 --raw", "--raw"), ("i2c get 0x48 0 --every 1 --raw", "--raw"),
            ("i2c get 0x48 0 --count 2", "need --every"), ("i2c get 0x48 0 --order big", "--order: needs --word"),
            ("i2c get 0x48 0 -w 8 -n 8192", "8192 words are more than 65535 bytes"),
            ("i2c set 0x48 2 hex:4b00 -w 2", "DATA: 'hex:4b00' is not a number"),
            ("i2c set 0x48 2 1 2 3 --mask hex:0102", "--mask: 2 bytes for 3 bytes of DATA"),
            ("i2c set 0x48 2 --reg-bytes 0 --verify", "--verify: needs a REGISTER; omit --verify or --reg-bytes 0"),
            ("i2c set 0x48 2 --reg-bytes 0 --mask 1", "--mask: needs"), ("i2c dump 0x48 --each --raw", "--raw"),
            ("i2c set 0x50 0 1 --in-flight 2", "--page"), ("i2c transfer", "DESCRIPTOR"),
            ("spi transfer", "DATA"), ("spi transfer 1 --width 16", "even"),
            ("spi flash read --offset 0xfffff -n 2", "--length"), ("uart send", "DATA"),
            ("i2c set 0x48 2 4b", "DATA: '4b' is not a number such as 80, 0x50 or 0b1010000; write 0x4b"),
            ("uart send 1 --baud 9601", "9601"), ("i3c ccc GETNOTHING", "GETNOTHING"),
            ("i3c ccc GETPID", "GETPID has no broadcast form; write GETPID @ADDR"),
            ("i3c ccc GETPID @0x08 1", "GETPID: unexpected argument '1'"),
            ("i3c ccc RSTDAA @0x08", "RSTDAA has no direct form: unexpected '@0x08'"), ("i3c ccc SETMWL", "LENGTH"),
            ("i3c ccc RSTACT 0x81", "0x81"), ("i3c ccc 0x8d", "one target; write 0x8d @ADDR"),
            ("i3c ccc 1 @0x08 1", "1: a code below 0x80 is a broadcast and takes no @ADDR"),
            ("i3c ccc 1 --read 1", "takes no --read"), ("i3c ccc 0x8d @0x08 1 --read 1", "--read: a read takes no DATA"),
            ("i3c ccc GETPID @0x08 --read 1", "--read: for codes given by number; write GETPID @ADDR"),
        ):
            with self.subTest(arguments=arguments):
                self.fails(tarvix(*arguments.split()), 2, text)
        self.fails(run([TARVIX, "--json=a\nb", "list"]), 2, "--json = a; see 'tarvix list --help'")
        for arguments, limits in (
            ("--timeout 0s", "1 to 86400000"), ("rail log --every 0", "1 to 86400000"),
            ("gpio pulse 3 --for 0", "1 to 86400000"), ("gpio pulse 3 --times 0", "1 or more"), ("gpio toggle 8", "0 to 7"), ("gpio get 8", "0 to 7"), ("gpio watch 3 --count 0", "1 or more"),
            ("i2c get 0x80", "0 to 0x7f"), ("i2c get 0x50 --length 0", "1 to 65535"), ("i2c get 1 --bus 2", "0 to 1"),
            ("i2c get 0x50 --clock 0", "1 to 3400000"), ("i2c get 0x50 --init-option 256", "0 to 255"),
            ("i2c get 0x50 --pull-up 4", "0 to 3"), ("i2c get 0x50 --reg-bytes 5", "1 to 4"),
            ("i2c set 0x50 --reg-bytes 5", "0 to 4"), ("i2c set 0x50 0 1 --page 0", "1 to 65535"),
            ("i2c set 0x50 0 1 --page 8 --in-flight 64", "1 to 63"), ("i2c dump 0x50 --reg-bytes 5", "1 to 4"), ("i2c dump 0x50 --length 0", "1 to 16777216"),
            ("i2c scan --expect 0x50,0x80", "0 to 0x7f"), ("i2c scan 8 128", "0 to 127"), ("i2c get 0x48 0 --word 9", "1 to 8"),
            ("i2c set 0x48 0 --word 2 65536", "0 to 65535"), ("i2c set 0x48 0 1 --mask 256", "0 to 255"), ("i3c read 0x08 0 --flags 32", "0 to 31"),
            ("i3c read 8 0 --length 0", "1 to 65535"), ("i3c ddr-read 8 0 --length 0", "1 to 65535"),
            ("i3c init 0x30=0x80", "1 to 0x7f"), ("i3c ccc GETPID @0x80", "0 to 0x7f"),
            ("i3c ccc SETMWL 65536", "0 to 65535"), ("rail set shared 65536", "0 to 65535mV"),
            ("spi id --clock 0", "1 to 50000000"), ("spi flash read --sector 0", "256 to 16777216"),
            ("spi flash read --length 0", "1 or more"), ("spi flash read --page 4097", "1 to 4096"), ("spi transfer --length 0", "1 to 65535"),
            ("uart send 1 --reply 0", "1 to 16777216"),
        ):
            with self.subTest(arguments=arguments):
                value = re.split("[ ,@=]", arguments)[-1]
                self.fails(run([TARVIX, *arguments.split()]), 2, f": {value} is out of range, {limits}")

    def test_standard_streams(self):
        for script, status, errors in (
            ("tarvix info > /dev/full", 1, "tarvix info: standard output: No space left on device\n"),
            ("tarvix --help > /dev/full", 1, "tarvix: standard output: No space left on device\n"),
            ("tarvix info >&-", 1, "tarvix info: standard output: Bad file descriptor\n"),
            # Whoever reads has left: the end that any filter has, and not a word.
            ("set -o pipefail; tarvix monitor | true", 128 + 13, ""),
            ("set -o pipefail; (sleep 0.2; exec tarvix info) | true", 128 + 13, ""),
            ("tarvix gpio set 3=1 <&-", 0, ""),
            # A standard error that takes nothing changes nothing else.
            *((f"{error}; tarvix {command}", status, "") for error in
              ("exec 2>&-", "exec 2>/dev/full", "exec 2> >(:); wait $!")
              for command, status in (("nonsense", 2), ("-v gpio set 3=1", 0), ("boot", 2), ("batch /", 2))),
            ("tarvix batch - <&-", 2, "tarvix batch: FILE: standard input: Bad file descriptor\n"),
        ):
            with self.subTest(script=script):
                result = shell(script)
                self.assertEqual((result.returncode, result.stderr), (status, errors))
