"""Commands that are programs of their own, and what `tarvix trace` records."""

import errno
import json
import os
import pathlib
import re
import shutil
import signal
import struct
import subprocess
import time
import types
import unittest

from tool import ENVIRONMENT, LIMIT, SOURCE, TARVIX, Case, run, simulated, tarvix

SUB_PROGRAMS = ("bridge", "trace")
SOAK = os.environ["TARVIX_SOAK"]


def python_shares_hidapi():
    """Debian 13's modules carry hidapi inside, that of `hid` goes through libusb, and unplugging shows in poll alone."""
    module = run(["/usr/bin/python3", "-c", "import hidraw; print(hidraw.__file__)"]).stdout.strip()
    return "libhidapi" in run(["ldd", module]).stdout


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


def transfers(path):
    """The records of a capture: an object each, with the data of notes parsed and of reports without zeros at the end."""
    with open(path, "rb") as file:
        content = file.read()
    magic, *_, link_type = struct.unpack_from("=IHHiIII", content)
    assert (magic, link_type) == (0xA1B23C4D, 220), content[:24]
    records, position = [], 24
    while position < len(content):
        seconds, nanoseconds, captured, original = struct.unpack_from("=IIII", content, position)
        assert captured == original >= 64 and position + 16 + captured <= len(content), position
        (transfer, event, kind, endpoint, device, bus, setup_flag, data_flag, steady, microseconds, status, length, size,
         setup) = struct.unpack_from("=QcBBBHccqiiII8s", content, position + 16)
        data = content[position + 80:position + 16 + captured]
        assert len(data) == size and (data_flag == b"\0") == (size > 0), position
        note = kind == 2 and setup[:2] == b"\x40T"
        records.append(types.SimpleNamespace(
            id=transfer, event=event.decode(), kind=kind, endpoint=endpoint, place=(bus, device), status=status,
            setup=setup if setup_flag == b"\0" else None, time=seconds + nanoseconds / 1e9,
            steady=steady + microseconds / 1e6, length=length, data=data.rstrip(b"\0") if kind == 1 else data,
            note=json.loads(data) if note else None))
        position += 16 + captured
    return records


def notes(records):
    return [record.note for record in records if record.note]


def reports(records):
    """What travelled in interrupt transfers: direction, or the event and status of one without data, and bytes."""
    return [(">" if record.endpoint == 1 else "<", record.data.hex()) if record.data else (record.event, record.status)
            for record in records if record.kind == 1]


def story(records):
    """The same, and what notes say, without the arrivals of output reports."""
    told = [record.note["note"] if record.note else reports([record])[0] for record in records
            if record.note or record.kind == 1]
    return [each for each in told if each != ("C", 0)]


def told(text):
    """Lines of a trace without what differs from run to run."""
    return re.sub(r"(?m)^[\d:.]+ +([\d.]+[mu]?s)?|open \S+|\(\d+\)", "", text)


class Record(Case):
    def record(self, *command, sim=("--adapters", "1"), file=None, options=(), status=0, errors=""):
        """The output of a command, and what it leaves."""
        path = file or os.path.join(self.directory(), "run.pcap")
        result = run(simulated([TARVIX, "trace", "-o", path, *options, "--", *command], sim))
        self.assertEqual((result.stderr, result.returncode), (errors, status), command)
        return result.stdout, transfers(path)

    def test_a_conversation(self):
        before = time.time()
        output, records = self.record(TARVIX, "i2c", "get", "0x48", "0", "-n", "2")
        self.assertEqual(output, tarvix("i2c", "get", "0x48", "0", "-n", "2").stdout)
        # Plugged in, as the kernel would record it: who it is, and the serial number.
        asked, device, _, serial, note, *rest = records
        self.assertEqual([(record.event, record.kind, record.endpoint) for record in records[:5]],
                         [("S", 2, 0x80), ("C", 2, 0x80)] * 2 + [("S", 2, 0)])
        self.assertEqual((asked.setup, device.data[8:12]), (bytes([0x80, 6, 0, 1, 0, 0, 18, 0]), b"\xc9\x1f\xfc\x82"))
        self.assertEqual(serial.data, bytes([22, 3]) + "TVX0000001".encode("utf-16-le"))
        self.assertEqual(note.setup, struct.pack("<BBHHH", 0x40, ord("T"), 0, 0, len(note.data)))
        self.assertRegex(note.note["path"], "/hidraw0$")
        self.assertEqual({**note.note, "path": "", "process": 0}, {
            "note": "open", "path": "", "serial": "TVX0000001", "process": 0, "program": "tarvix"})
        self.assertEqual(reports(rest).count(("C", 0)), 2)  # each output report arrived
        self.assertEqual(story(rest),
                         [(">", "2b00" "0100" "0109" "00a08601"), ("<", "1b00" "0100" "0109"),
                          (">", "3b00" "0200" "0509" "0002004801"), ("<", "2f00" "0200" "0509" "0000" "0002001780")])
        for record in rest:
            if record.event == "S":
                completed = [other for other in rest if (other.id, other.event) == (record.id, "C")]
                self.assertEqual([(other.place, other.length) for other in completed], [(record.place, record.length)])
        self.assertEqual({record.place for record in rest}, {note.place})
        for clock in "time", "steady":
            times = [getattr(record, clock) for record in records]
            self.assertEqual((times, times[-1] - times[0] < LIMIT), (sorted(times), True), clock)
        self.assertTrue(before - 1 < records[0].time < time.time() + 1)


    def test_any_serial_number(self):
        serial = 'Ä"\\ \N{GRINNING FACE}'
        board = pathlib.Path(self.directory()) / "board.json"
        board.write_text(json.dumps({"version": 1, "adapters": [{"serial": serial}]}), encoding="utf-8")
        _, records = self.record(TARVIX, "info", sim=("--board", board))
        self.assertEqual((notes(records)[0]["serial"], records[3].data[2:].decode("utf-16-le")), (serial, serial))

    def test_programs_that_know_nothing_of_it(self):
        asked, answered = (">", "17000100070403"), ("<", "4700" "0100" "0704" "0000" "0b" + b"TVX0000002".hex())
        reset, lost = (">", "1300" "0200" "0104"), ("C", -errno.ESHUTDOWN)
        shared = python_shares_hidapi()
        for module in ("hid", "hidraw") if shared else ("hidraw",):  # in libraries that Python loads late
            with self.subTest(module=module):
                program = ["/usr/bin/python3", "-B", SOURCE / "tests/simulator/foreign_program.py", module]
                sim = ("--adapters", "3", "--away", "60000")
                output, records = self.record(*program, sim=sim)
                self.assertEqual(output, run(simulated(program, sim)).stdout)
                self.assertEqual(story(records), ["open", asked, answered, reset, *[lost] * shared, "close"])
                self.assertEqual({note["serial"] for note in notes(records)}, {"TVX0000002"})

    def test_programs_that_use_the_node_itself(self):
        program = """
import os, sys
path = os.path.join(os.path.dirname(os.environ["TARVIX_SIM_SOCKET"]), "hidraw0")
def ask(node, number):
    os.write(node, bytes([0, 0x17, 0, number, 0, 7, 4, 3]).ljust(65, b"\\0"))
    return os.read(node, 64)[9:19]
os.close(os.open(path, os.O_RDONLY))  # the file, for a lock
node = os.open(path, os.O_RDWR)
assert ask(node, 1) == b"TVX0000001"
assert os.system("! test -e /proc/self/fd/900") == 0  # other programs do not inherit the capture
os.closerange(3, 2000)  # the node, and the capture
other = os.open(sys.argv[1], os.O_RDWR | os.O_CREAT)
assert other == node and os.write(other, b"mine") == 4
for descriptor in range(900, 910):
    os.dup2(other, descriptor)
node = os.open(path, os.O_RDWR)
ask(node, 2)
os.write(node, bytes([0, 0x13, 0, 3, 0, 1, 4]).ljust(65, b"\\0"))
for _ in range(3):
    try:
        os.read(node, 64)
    except OSError as error:
        print(error)
os.close(node)
"""
        other = os.path.join(self.directory(), "other")
        output, records = self.record("python3", "-c", program, other, sim=("--away", "60000"))
        self.assertEqual(output, "[Errno 5] Input/output error\n" * 3)
        self.assertEqual(pathlib.Path(other).read_text(encoding="utf-8"), "mine")
        answers = [("<", f"4700{number}0007040000" "0b" + b"TVX0000001".hex()) for number in ("01", "02")]
        self.assertEqual(story(records), ["open", (">", "17000100070403"), answers[0], "open", (">", "17000200070403"), answers[1],
                                          (">", "130003000104"), ("C", -errno.EIO), "close"])

    def test_handles_side_by_side_and_one_after_another(self):
        program = """
import os
folder = os.path.dirname(os.environ["TARVIX_SIM_SOCKET"])
def open_node(number):
    return os.open(f"{folder}/hidraw{number}", os.O_RDWR)
def ask(node, number):
    os.write(node, bytes([0, 0x17, 0, number, 0, 7, 4, 3]).ljust(65, b"\\0"))
one, other = open_node(0), open_node(0)
ask(one, 1)
ask(other, 2)
for node in one, other:
    os.read(node, 64), os.read(node, 64)
os.close(other)
ask(one, 3)
os.closerange(3, 2000)
again = open_node(1)
assert again == one
ask(again, 4)
os.read(again, 64)
"""
        path = os.path.join(self.directory(), "run.pcap")
        self.record("python3", "-c", program, sim=("--adapters", "2"), file=path)
        lines = run([TARVIX, "trace", "show", path]).stdout.splitlines()
        opened, answered = "open PATH by python3, serial number ", 'get usb string 3 -> "TVX000000'
        self.assertEqual([re.sub(r" \(\d+\)", "", re.sub(r"/\S+", "PATH", line[25:].strip())) for line in lines], [
            f"{opened}TVX0000001", f"{opened}TVX0000001", f'{answered}1"', f'{answered}1"', "close PATH by python3",
            f"[TVX0000002] {opened}TVX0000002", f'[TVX0000002] {answered}2"',
            "[TVX0000001] get usb string 3 -> no response"])

    def test_several_programs_and_threads_in_one_file(self):
        output, records = self.record("sh", "-c", f"{SOAK} --sessions 2 --commands 300 --seed 5 && "
                                      f"{SOAK} --programs 2 --commands 300 --reopen-after 30 --seed 5", sim=("--adapters", "2"))
        self.assertEqual(len({note["process"] for note in notes(records)}), 3)
        sent = [record.id for record in records if (record.event, record.endpoint) == ("S", 1)]
        arrived = [record.id for record in records if (record.event, record.endpoint, record.status) == ("C", 1, 0)]
        self.assertEqual((len(set(sent)), sorted(sent)), (len(sent), sorted(arrived)))
        beginnings = [record for record in records if record.kind == 1 and record.data and record.data[0] & 1]
        asked = sorted(record.data[2:6] for record in beginnings if record.endpoint == 1)
        self.assertGreaterEqual(len(asked), sum(map(int, re.findall(r"(\d+) commands", output))))
        self.assertEqual(sorted(record.data[2:6] for record in beginnings
                                if record.endpoint == 0x81 and record.data[2:4] != b"\0\0"), asked)

    def test_is_whole_when_the_program_is_killed(self):
        program = """
import os, signal, sys
path = os.path.join(os.path.dirname(os.environ["TARVIX_SIM_SOCKET"]), "hidraw0")
node = os.open(path, os.O_RDWR)
os.write(node, bytes([0, 0x17, 0, 1, 0, 7, 4, 3]).ljust(65, b"\\0"))
os.read(node, 64)
os.kill(os.getpid(), signal.SIGKILL)
"""
        _, records = self.record("python3", "-c", program, status=128 + signal.SIGKILL)
        self.assertEqual([part[0] for part in story(records)], ["o", ">", "<"])

    def test_says_why_an_adapter_cannot_be_opened(self):
        program = """
import hidraw
for arguments in ("open_path", b"/dev/hidraw99"), ("open", 0x1FC9, 0x82FC), ("open", 0x1FC9, 0x82FD, "mine"), ("open", 1, 2):
    try:
        getattr(hidraw.device(), arguments[0])(*arguments[1:])
    except OSError as error:
        print(error)
"""
        path = os.path.join(self.directory(), "run.pcap")
        command = ["/usr/bin/python3", "-c", program]
        result = run([TARVIX, "trace", "-o", path, "--", *command])
        self.assertEqual((result.stdout, result.stderr), (run(command).stdout, ""))
        found = [{name: note.get(name) for name in ("note", "doing", "path", "serial", "error")} for note in notes(transfers(path))]
        none = "No HID devices with requested VID/PID found in the system."
        no_file = "No such file or directory"
        self.assertEqual([tuple(note.values()) for note in found], [
            ("error", "open", "/dev/hidraw99", None, f"Failed to open a device with path '/dev/hidraw99': {no_file}"),
            ("error", "open", None, None, none),
            ("error", "open", None, "mine", none),
        ] if python_shares_hidapi() else [("error", "open", "/dev/hidraw99", None, no_file)])

    def test_changes_nothing_when_it_cannot_write(self):
        preload = run([TARVIX, "trace", "--preload"]).stdout.strip()
        directory = self.directory()
        small = os.path.join(directory, "small.pcap")
        script = "for address in 0x48 0x50; do tarvix i2c get $address 0; done"
        plain = run(simulated(["bash", "-c", script]))
        goes_on = "; 'tarvix' goes on unrecorded\n"
        for file, limit, message in (("/dev/full", "unlimited", "cannot write /dev/full: No space left on device"),
                                     ("/etc/passwd", "unlimited", "cannot add to /etc/passwd: it is not a capture of tarvix trace"),
                                     (f"{directory}/no/file", "unlimited", f"cannot open {directory}/no/file: No such file or directory"),
                                     (directory, "unlimited", f"cannot open {directory}: Is a directory"),
                                     (small, "1", f"cannot write {small}: File too large")):
            with self.subTest(file=file):
                result = run(simulated(["bash", "-c", f"ulimit -f {limit}; {script}"]),
                             env={**ENVIRONMENT, "LD_PRELOAD": preload, "TARVIX_TRACE": file})
                self.assertEqual((result.stdout, result.returncode), (plain.stdout, 0))
                self.assertEqual(result.stderr, f"tarvix trace: {message}{goes_on}" * 2)
        self.assertTrue(story(transfers(small)))

    def test_without_the_tool(self):
        """With the variables in the environment, and the file beside the program."""
        preload = run([TARVIX, "trace", "--preload"]).stdout.strip()
        directory = self.directory()
        for number in 1, 2:
            result = run(simulated([TARVIX, "spi", "id"]), cwd=directory,
                         env={**ENVIRONMENT, "LD_PRELOAD": preload, "TARVIX_TRACE": "run.pcap"})
            self.assertEqual((result.returncode, result.stderr), (0, ""))
            self.assertEqual([note["note"] for note in notes(transfers(f"{directory}/run.pcap"))], ["open"] * number)

    def test_the_guide(self):
        text = (SOURCE / "docs/trace.md").read_text(encoding="utf-8")
        commands, program = ("".join(re.findall(rf"^```{language}\n(.*?)^```", text, re.MULTILINE | re.DOTALL))
                             for language in ("sh", "python"))
        directory = pathlib.Path(self.directory())
        if not python_shares_hidapi():
            program = program.replace("import hid\n", "import hidraw as hid\n")
        (directory / "program.py").write_text(program, encoding="utf-8")
        result = run(simulated(["bash", "-e", "-c", f"PATH=/usr/bin:$PATH\n{commands}"]), cwd=directory)
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        self.assertIn("TVX0000001\n", result.stdout)
        live = (SOURCE / "docs/trace.md").read_text(encoding="utf-8").partition("02:11:04")
        self.assertEqual(told((directory / "live.txt").read_text(encoding="utf-8")), told((live[1] + live[2]).partition("```")[0]))
        stories = {file.name: story(transfers(file)) for file in directory.glob("*.pcap")}
        self.assertEqual(sorted(stories), ["inside.pcap", "live.pcap", "outside.pcap", "python.pcap", "run.pcap", "service.pcap"])
        self.assertEqual(stories["inside.pcap"], stories["outside.pcap"])
        self.assertEqual((stories["python.pcap"][0], stories["python.pcap"][-1]), ("open", "close"))

    def test_prints_what_is_recorded(self):
        path = os.path.join(self.directory(), "run.pcap")
        script = "tarvix i2c get 0x48 0 -n 2 --json; read -r line; tarvix i2c scan"
        with subprocess.Popen(simulated([TARVIX, "trace", "-o", path, "--live", "--family", "i2c", "--", "sh", "-c", script]),
                              env=ENVIRONMENT, text=True, stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                              stderr=subprocess.PIPE) as process:
            lines = [process.stderr.readline() for _ in range(2)]  # while the command waits
            output, rest = process.communicate("go on\n", timeout=LIMIT)
        self.assertEqual((process.returncode, json.loads(output.partition("\n")[0])["data"]), (0, "1780"))
        self.assertEqual("".join(lines) + rest, run([TARVIX, "trace", "show", path, "--family", "i2c"]).stdout)
        self.assertIn("i2c read bus 0 0x48 reg 00 len 2 -> 17 80\n", lines[1])

    def test_nobody_needs_to_read_that(self):
        command = ["bash", "-c", "exec 2>&-; exec \"$@\"", "bash", *simulated([TARVIX, "trace", "-o", "run.pcap", "--live", "--"])]
        result = run([*command, "sh", "-c", "tarvix spi id; exit 3"], cwd=self.directory())
        self.assertEqual((result.returncode, "manufacturer" in result.stdout), (3, True))

    def test_ends_as_the_command(self):
        for command, status in (("exit 3", 3), ("kill -TERM $$", 128 + signal.SIGTERM), ("true --json", 0)):
            path = os.path.join(self.directory(), "run.pcap")
            result = run([TARVIX, "trace", "-o", path, "--", "sh", "-c", command])
            self.assertEqual((result.returncode, result.stdout, result.stderr),
                             (status, "", f"tarvix trace: {path} is empty: the command opened no adapter, or cannot be "
                              "recorded; see 'What is recorded' in the guide to traces\n"), command)

    def test_names_the_file_by_the_time(self):
        directory = self.directory()
        for _ in range(2):
            result = run(simulated([TARVIX, "trace", "--", "sh", "-c", "cd / && tarvix spi id"]), cwd=directory)
            name = re.fullmatch(r"tarvix trace: recording to (tarvix-\d{8}-\d{6}(-2)?\.pcap)\n", result.stderr)[1]
            self.assertTrue(reports(transfers(os.path.join(directory, name))))
        self.assertEqual(len(os.listdir(directory)), 2)

    def test_wrong_uses(self):
        directory = self.directory()
        missing, there = os.path.join(directory, "new"), os.path.join(directory, "there")
        pathlib.Path(there).write_text("kept", encoding="utf-8")
        for words, status, message in (
                (["-o", missing, "--", "/no/such"], 127, "cannot run /no/such: No such file or directory"),
                (["-o", missing, "--", "/etc/passwd"], 126, "cannot run /etc/passwd: Permission denied"),
                ([], 2, "missing command; the command to record stands behind '--', as in 'tarvix trace -- tarvix list'"),
                (["ls"], 2, "unexpected argument 'ls'; the command to record stands behind '--'"),
                (["-o", there, "--", "ls"], 1, f"{there} exists; choose another name, or overwrite it with --force"),
                (["-o", f"{missing}/file", "--", "ls"], 1, f"cannot write {missing}/file: No such file or directory"),
                (["--force", "-o", directory, "--", "ls"], 1, f"{directory} exists; it is not a file: choose another name"),
                (["--force", "-o", there, "--", "/no/such"], 127, "cannot run /no/such: No such file or directory"),
                (["-o", "-", "--", "ls"], 2, "--output: standard output is the command's; name a file"),
                (["-o", missing, "--stats", "--", "ls"], 2, "nothing is printed without --live"),
                (["-o", missing, "--live", "--family", "x", "--", "ls"], 2, "--family: 'x' is not one of "),
                (["--force", "-o", "/dev/full", "--", "ls"], 1, "/dev/full exists; it is not a file")):
            with self.subTest(words=words):
                self.fails(run([TARVIX, "trace", *words]), status, f"tarvix trace: {message}")
                self.assertEqual((os.listdir(directory), os.path.getsize(there)), (["there"], 4))
        full_disk = ["sh", "-c", "trap '' XFSZ; ulimit -f 0; exec \"$@\"", "sh"]
        self.fails(run([*full_disk, TARVIX, "trace", "--force", "-o", there, "--", "ls"]), 1,
                   f"tarvix trace: cannot write {there}: File too large")
        self.assertEqual((os.listdir(directory), os.path.getsize(there)), (["there"], 4))
        self.record(TARVIX, "spi", "id", file=there, options=["--force"])


if __name__ == "__main__":
    unittest.main()
