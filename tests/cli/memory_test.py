"""Programming memories from files: what is changed and what is kept, what is refused, and runs that end half-way."""

import contextlib
import fcntl
import os
import pathlib
import random
import re
import signal
import subprocess
import tempfile

from tool import ENVIRONMENT, LIMIT, Case, objects, shell, simulated

MIB = 1 << 20


def transfer(data):
    """The frame of an SPI transfer that begins with these bytes, as `tarvix-sim --verbose` prints it."""
    return rf"< .. .. 04 0d .. .. .. .. {data}"


class Bench:
    """A shell with a virtual adapter that prints its frames, so that a test acts when a certain one has passed."""

    def __init__(self, directory):
        self.process = subprocess.Popen(
            simulated(["bash"], ["--verbose"]), env=ENVIRONMENT, cwd=directory, text=True, bufsize=1,
            stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.PIPE, start_new_session=True)
        fcntl.fcntl(self.process.stderr, fcntl.F_SETPIPE_SZ, 4096)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        with contextlib.suppress(ProcessLookupError):
            os.killpg(self.process.pid, signal.SIGKILL)
        self.process.communicate()

    def run(self, command, frame=None, count=1, then=""):
        """Runs `command`, and the shell's `then` when `frame` has passed so often; $RUN is the command's process.

        Returns its exit status, standard output, and what it said on standard error."""
        # A background job ignores Ctrl-C.
        listening = f"env --default-signal=INT {command}" if frame else f"{{ {command}; }}"
        self.write(f"{listening} > out & RUN=$!")
        errors = ""
        if frame:
            errors = self.read_errors(frame, count)
            self.write("kill -STOP $RUN; echo")  # else it might be done before that, as frames wait in the pipe
            self.process.stdout.readline()
        self.write(f"{then}\nkill -CONT $RUN; wait $RUN; echo $?; echo end >&2")
        errors += self.read_errors("^end$", 1)
        output = pathlib.Path(f"/proc/{self.process.pid}/cwd/out").read_text(encoding="utf-8")
        return int(self.process.stdout.readline()), output, errors

    def write(self, line):
        self.process.stdin.write(line + "\n")

    def read_errors(self, pattern, count):
        said = ""
        for line in self.process.stderr:
            if line.startswith("tarvix "):
                said += line
            count -= bool(re.search(pattern, line))
            if count == 0:
                return said
        raise AssertionError(f"{pattern} never came: {said}")


class MemoryCase(Case):
    def setUp(self):
        directory = tempfile.TemporaryDirectory()
        self.addCleanup(directory.cleanup)
        self.directory = pathlib.Path(directory.name)
        self.random = random.Random(1)

    def file(self, name, content):
        (self.directory / name).write_bytes(content)
        return content

    def content(self, name):
        return (self.directory / name).read_bytes()

    def shell(self, script, **options):
        return shell(script, cwd=self.directory, **options)

    def results(self, script):
        result = self.shell(script)
        self.assertEqual((result.stderr, result.returncode), ("", 0), script)
        return objects(result.stdout)


class Flash(MemoryCase):
    def test_changes_only_what_differs_and_keeps_the_rest(self):
        memory = bytearray(b"\xff" * MIB)
        image = self.file("image", self.random.randbytes(MIB - 0x3000))
        script, expected = "set -e; ", []
        for command, offset, data, erased in (
            ("write image --offset 0x2800", 0x2800, image, 0),
            ("write image --offset 0x2800", 0x2800, image, 0),
            ("write image -n 300 --offset 0x2800", 0x2800, image[:300], 0),
            ("write seam --offset 0x3ffd", 0x3FFD, self.file("seam", b"seams"), 8192),
            ("write zeros --offset 64k --no-verify", 0x10000, self.file("zeros", bytes(1000)), 0),
            ("write - --offset 65546 < other", 0x1000A, self.file("other", b"other"), 4096),
            ("erase --offset 0x1fff0 -n 0x2020", 0x1FFF0, b"\xff" * 0x2020, 4 * 4096),
            ("erase --offset 0xfff00 -n 256", 0xFFF00, b"\xff" * 256, 0),
            ("erase --all", 0, b"\xff" * MIB, None),
        ):
            script += f"tarvix spi flash {command} --json; tarvix spi flash read {len(expected)}; "
            memory[offset:offset + len(data)] = data
            expected.append((offset, len(data), erased, "--no-verify" not in command, bytes(memory)))
        results = self.results(script)
        for number, (result, (offset, length, erased, verified, content)) in enumerate(zip(results, expected, strict=True)):
            with self.subTest(number=number):
                self.assertTrue(self.content(str(number)) == content)
                if erased is None:
                    continue
                written = result.pop("written")
                self.assertEqual(result, {"select": 0, "offset": offset, "length": length, "erased": erased,
                                          "verified": verified})
                self.assertEqual(written == 0, number in (1, 2, 7), written)

    def test_a_pulled_plug_and_ctrl_c_are_made_up_for(self):
        self.file("old", self.random.randbytes(MIB))
        image = self.file("image", self.random.randbytes(MIB))
        erase, program = transfer("20 "), transfer("02 ")
        write, interrupt = "tarvix spi flash write image", "kill -INT $RUN"
        with Bench(self.directory) as bench:
            self.assertEqual(bench.run("tarvix spi flash write old")[0], 0)
            left = []
            for frame, count, then, status in (
                (transfer("03 "), 100, interrupt, 130), (erase, 1, interrupt, 130), (program, 777, interrupt, 130),
                (program, 1600, "tarvix-sim trigger unplug", 7), (transfer("06"), 9, interrupt, 130),
            ):
                ended, output, errors = bench.run(write, frame, count, then + "; tarvix-sim trigger replug 2> /dev/null")
                self.assertEqual((ended, output), (status, ""), errors)
                left += re.findall(r"tarvix spi flash write: \d+ of (\d+) bytes erased, \d+ of \d+ written; "
                                   "run the command again to finish\n", errors)
            left = [int(number) for number in left]
            self.assertEqual((len(left), left), (4, sorted(left, reverse=True)))
            self.assertTrue(MIB / 4 < left[-1] < MIB * 3 / 4, left)
            ended, output, errors = bench.run(write + " --json; tarvix spi flash read back")
            self.assertEqual((ended, errors), (0, ""))
            (result,) = objects(output)
            self.assertLessEqual(result["erased"], left[-1])
            self.assertTrue(self.content("back") == image)

    def test_the_rest_of_a_sector_survives(self):
        old = self.file("old", self.random.randbytes(8192))
        new = old[:4000] + b"new" + old[4003:]
        self.file("new", b"new")
        back = "tarvix spi flash read back -n 8192"
        write = "tarvix spi flash write new --offset 4000"
        with Bench(self.directory) as bench:
            for then, status in (("kill -INT $RUN", 130), ("tarvix-sim trigger unplug", 7)):
                with self.subTest(status=status):
                    bench.run("tarvix spi flash write old")
                    ended, _, errors = bench.run(write, transfer("20 00 00 00"), 1, then)
                    self.assertEqual(ended, status, errors)
                    if status == 7:
                        self.assertIn("the block at 0x0 may be incomplete; write tarvix-rescue-0x0.bin to --offset 0x0", errors)
                        bench.run("tarvix-sim trigger replug; tarvix spi flash write tarvix-rescue-0x0.bin --offset 0")
                    bench.run(back)
                    self.assertEqual(self.content("back"), new)

    def test_an_interrupted_read_leaves_what_came(self):
        image = self.file("image", self.random.randbytes(MIB))
        with Bench(self.directory) as bench:
            bench.run("tarvix spi flash write image")
            for then, status in (("kill -INT $RUN", 130), ("tarvix-sim trigger unplug", 7)):
                ended, _, errors = bench.run("tarvix spi flash read back", transfer("03 "), 50, then)
                back = self.content("back")
                self.assertEqual(ended, status)
                self.assertIn(f"tarvix spi flash read: back has the first {len(back)} of {MIB} bytes\n", errors)
                self.assertTrue(len(back) > 49 * 3000 and image.startswith(back))

    def test_what_is_refused_changes_nothing(self):
        self.file("image", bytes(range(256)))
        self.file("large", bytes(MIB + 1))
        self.file("empty", b"")
        for command, status, text in (
            ("write large", 2, "FILE: large holds more than the 1048576 bytes that there is room for"),
            ("write /dev/zero", 2, "FILE: /dev/zero holds more than"),
            ("write image --offset 0xfff01", 2, "more than the 255 bytes"), ("write empty", 2, "FILE: empty is empty"),
            ("write image -n 0x101", 2, "--length: image has 256 bytes, not 0x101"),
            ("write image --offset 1M", 2, "--offset: 1M is beyond the memory's 1048576 bytes"),
            ("write nothing", 2, "FILE: nothing: No such file or directory"),
            ("write image --size 2M", 2, "--size: the flash holds 1 MiB, not 2 MiB"),
            ("write image --sector 64k", 2, "--sector: the flash erases 4 KiB, not 64 KiB"),
            ("write image --size 32M --page 256 --sector 4k", 1, "--size 16M reaches the beginning"),
            ("write image --size 10000", 2, "--size: 10000 bytes are no whole number of sectors of 4096 bytes"),
            ("write image -s 3", 1, "no flash memory answered on select 3: all bits are 1; check --select"),
            ("erase", 2, "what to erase is not clear"), ("erase --offset 1", 2, "--length"),
            ("erase --all -n 1", 2, "--all"), ("read -n 1M --offset 1", 2, "--length: 1M starting at 1 exceeds the memory's 1048576 bytes"),
            ("read /nonexistent/file", 1, "/nonexistent/file: No such file or directory"),
            ("verify image", 1, "image: offset 0x0: read 0xff, expected 0x00; 255 of 256 bytes differ\n"),
            ("write image -n 1 --offset 256 && tarvix spi transfer --raw 6 > /dev/null && tarvix spi transfer --raw 1 4 "
             "> /dev/null && tarvix spi flash write image --offset 256", 1,
             "image: offset 0x101: read 0xff, expected 0x01; 254 of 4096 bytes differ; "
             "the block-protect bits of its status (0x06) are set: clear them\n"),
        ):
            with self.subTest(command=command):
                result = self.shell(f"tarvix spi flash {command}")
                self.assertEqual((result.returncode, result.stderr.count("\n")), (status, 1), result.stderr)
                self.assertIn(text, result.stderr)
        for command in "spi flash read target", "spi flash write image":
            refused = self.shell(f"echo {command} | tarvix batch --no-files -")
            self.assertIn("is a file, and --no-files refuses those", refused.stderr)
        self.assertFalse((self.directory / "target").exists())
        self.assertIn("a terminal", shell("script -qec 'tarvix spi flash read -' /dev/null").stdout)


class Eeprom(MemoryCase):
    def test_writes_only_the_pages_that_differ(self):
        image = self.file("image", self.random.randbytes(32768))
        changed = bytearray(image)
        changed[0x63:0x82] = bytes(0x1F)
        self.file("changed", changed)
        large, small = "--bus 1 0x51 --part 24c256", "0x50 --size 256"
        results = self.results(f"""
            set -e
            tarvix i2c eeprom write {large} image --json; tarvix i2c eeprom write {large} image --json
            tarvix i2c eeprom write {large} changed --json --in-flight 8; tarvix i2c eeprom read {large} back --json
            tarvix i2c eeprom write {large} image --in-flight 8 --no-verify --json; tarvix i2c eeprom verify {large} image --json
            tarvix i2c eeprom write {small} --offset 250 -n 6 image --json; tarvix i2c eeprom read {small} --offset 248 --json
            """)
        written = [result.pop("written", None) for result in results]
        self.assertEqual((written[1], written[3], written[5:]), (0, None, [None, 6, None]))
        self.assertTrue(32600 < written[0] <= 32768 and 24 < written[2] == written[4] <= 0x1F, written)
        where = {"bus": 1, "address": 0x51, "offset": 0, "length": 32768}
        end = {"bus": 0, "address": 0x50, "offset": 250, "length": 6, "verified": True}
        self.assertEqual(results, [
            {**where, "verified": True}, {**where, "verified": True}, {**where, "verified": True}, where,
            {**where, "verified": False}, where, end,
            {"bus": 0, "address": 0x50, "offset": 248, "length": 8, "data": "ffff" + image[:6].hex()}])
        self.assertEqual(self.content("back"), changed)

    def test_a_pulled_plug_and_ctrl_c_are_made_up_for(self):
        image = self.file("image", self.random.randbytes(32768))
        write = "tarvix i2c eeprom write --bus 1 0x51 image --part 24c256"
        with Bench(self.directory) as bench:
            for count, then, status in ((100, "kill -INT $RUN", 130), (150, "tarvix-sim trigger unplug", 7)):
                ended, _, errors = bench.run(write, "< .. .. 04 09", count, then)
                self.assertEqual(ended, status, errors)
                self.assertIn("written; run the command again to finish", errors)
            ended, output, errors = bench.run(f"tarvix-sim trigger replug; {write} --json; "
                                              "tarvix i2c eeprom read --bus 1 0x51 back --part 24c256")
            self.assertEqual((ended, errors), (0, ""))
            self.assertLess(objects(output)[0]["written"], 32768 - 250 * 63)
            self.assertEqual(self.content("back"), image)

    def test_what_is_refused(self):
        self.file("image", bytes(257))
        for arguments, status, text in (
            ("write 0x50 image --part 24c02", 2, "FILE: image holds more than the 256 bytes that there is room for"),
            ("write 0x50 image", 2, "--part: an EEPROM does not say what it is; give --part 24c02"),
            ("write 0x51 image --part 24c16", 2, "use 0x50"), ("read 0x50 --size 32k", 2, "raise --reg-bytes"),
            ("read 0x22 --part 24c02", 1, "reading from 0x22 on bus 0: NACK (0x0301)"),
            ("verify 0x50 image --part 24c02 -n 9", 1, "image: offset 0x0: read 0xff, expected 0x00; 9 of 9 bytes differ\n"),
            # What is no page of this memory wraps, and the comparison finds it.
            ("write 0x50 image --size 256 --page 16 -n 16 --offset 16 --json > /dev/null && seq 99 | "
             "tarvix i2c eeprom write 0x50 - --size 256 --page 16 -n 16", 1, "check --part, --size and --page"),
        ):
            with self.subTest(arguments=arguments):
                self.fails(self.shell(f"tarvix i2c eeprom {arguments}"), status, text)
