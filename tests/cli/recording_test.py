"""What tarvix-sim records is what was transferred: read back by sigrok's decoders, which know nothing of this project."""

import os
import pathlib
import re
import shutil
import threading
import unittest

from tool import ENVIRONMENT, LIMIT, SOURCE, Case, run, shell, simulated

I2C = "i2c:scl=SCL{0}:sda=SDA{0}"
NO_PAUSES = ("--vcd-pause", "0")  # equal commands give equal files


class Recording(Case):
    def record(self, script, *sim, status=0):
        """The file that a shell script leaves."""
        path = pathlib.Path(self.directory()) / "recording.vcd"
        result = shell(script, ("--vcd", path, *NO_PAUSES, *sim))
        self.assertEqual((result.stderr, result.returncode), ("", status), script)
        return path

    def without_names(self, text):
        """Nor single bits and transfers of nothing."""
        said = [line.partition(": ")[2] for line in text.splitlines()]
        return [each for each in said if each not in ("", "Read", "Write")]

    def decoded(self, path, decoders, annotations):
        """What sigrok's decoders say, without their names."""
        result = run(["sigrok-cli", "-i", path, "-I", "vcd", "-P", decoders, "-A", annotations])
        self.assertEqual((result.stderr, result.returncode), ("", 0), decoders)
        return self.without_names(result.stdout)


@unittest.skipUnless(shutil.which("sigrok-cli"), "sigrok-cli is missing: install it with script/bootstrap")
class Decoders(Recording):
    def test_the_demo(self):
        self.assertTrue(os.environ.get("TARVIX_EXAMPLES"), "the demo needs the examples")
        environment = {**ENVIRONMENT, "PATH": os.environ["TARVIX_EXAMPLES"] + os.pathsep + ENVIRONMENT["PATH"]}
        commands = re.findall(r"^(?:tarvix-sim.*--vcd|sigrok-cli) .*$",
                              (SOURCE / "docs/tarvix-sim.md").read_text(encoding="utf-8"), re.MULTILINE)
        directory = self.directory()
        os.symlink(SOURCE / "script", os.path.join(directory, "script"))
        results = [run(["bash", "-c", command], cwd=directory, env=environment) for command in commands]
        self.assertEqual([(result.stderr, result.returncode) for result in results], [("", 0)] * 4)
        _, eeprom, flash, uart = (self.without_names(result.stdout) for result in results)
        self.assertEqual(eeprom, ["Page write (addr=10, 8 bytes): 48 65 6C 6C 6F 2C 20 54",
                                  "Page write (addr=18, 5 bytes): 61 72 76 69 78"])
        self.assertIn("Manufacturer ID: 0x55", flash)
        self.assertEqual(uart, list("hellohello"))  # there and back
        self.assertEqual(self.decoded(os.path.join(directory, "bench.vcd"), I2C.format(0) + ",eeprom24xx",
                                      "eeprom24xx=seq-random-read")[-1:],
                         ["Sequential random read (addr=10, 13 bytes): 48 65 6C 6C 6F 2C 20 54 61 72 76 69 78"])

    def test_i2c(self):
        found = self.record("tarvix i2c scan")
        said = self.decoded(found, I2C.format(0), "i2c=address-write:ack:nack")
        asked = [(said[i].split()[-1], said[i + 1]) for i in range(0, len(said) - 1) if said[i].startswith("Address")]
        self.assertEqual(asked, [(f"{address:02X}", "ACK" if address in (0x48, 0x50) else "NACK")
                                 for address in range(0x08, 0x78)])

        path = self.record("tarvix i2c get --clock 1M --bus 1 --reg-bytes 2 0x51 0x1234 -n 2 && "
                           "tarvix i2c set --bus 1 --reg-bytes 2 0x51 0x1234 7")
        self.assertEqual(self.decoded(path, I2C.format(1), "i2c=start:repeat-start:stop:ack:nack:address-read:"
                                      "address-write:data-read:data-write"),
                         ["Start", "Address write: 51", "ACK", "Data write: 12", "ACK", "Data write: 34", "ACK",
                          "Start repeat", "Address read: 51", "ACK", "Data read: FF", "ACK", "Data read: FF", "NACK",
                          "Stop",
                          "Start", "Address write: 51", "ACK", "Data write: 12", "ACK", "Data write: 34", "ACK",
                          "Data write: 07", "ACK", "Stop"])
        second = self.record("tarvix -a index:1 i2c get 0x48 0 -n 1", "--adapters", "2")
        self.assertEqual(self.decoded(second, "i2c:scl=SCL0_1:sda=SDA0_1", "i2c=data-read"), ["Data read: 17"])

    def test_spi(self):
        for options, decoder, sent, received in (
                ("-m 0", "", "12 D4", "12 D4"),
                ("-m 1", "cpha=1", "12 D4", "FF FF"),
                ("-m 2", "cpol=1", "12 D4", "FF FF"),
                ("-m 3 --clock 50M", "cpol=1:cpha=1", "12 D4", "12 D4"),
                ("--bit-order lsb", "bitorder=lsb-first", "12 D4", "12 D4"),
                ("--width 16", "wordsize=16", "12D4", "12D4"),
                ("--polarity high --clock 33M", "cs_polarity=active-high", "12 D4", "FF FF")):
            with self.subTest(options=options):
                path = self.record(f"tarvix spi transfer --select 1 0x12 0xd4 {options}")
                decoders = f"spi:clk=SCK:mosi=MOSI:miso=MISO:cs=CS1:{decoder}".rstrip(":")
                for line, expected in ("mosi", sent), ("miso", received):
                    self.assertEqual(self.decoded(path, decoders, f"spi={line}-transfer"), [expected], line)

    def test_flash(self):
        path = self.record("printf Tarvix | tarvix spi flash write - --offset 0x1234")
        chip = "spi:clk=SCK:mosi=MOSI:miso=MISO:cs=CS0,spiflash:format=ascii"
        self.assertEqual(self.decoded(path, chip, "spiflash=pp"), ["Page program (addr 0x001234, 6 bytes): Tarvix"])

    def test_uart(self):
        for options, decoder in (("--baud 1200", "baudrate=1200"),
                                 ("--baud 921600 --parity odd --stop 2", "baudrate=921600:parity=odd"),
                                 ("--bits 7 --parity even", "data_bits=7:parity=even")):
            with self.subTest(options=options):
                path = self.record(f"tarvix uart send {options} text:AT5 --reply 3")
                decoders = f"uart:tx=TX:rx=RX:format=ascii:{decoder}"
                for line in "tx", "rx":
                    self.assertEqual(self.decoded(path, decoders, f"uart={line}-data:{line}-parity-err:{line}-warnings"),
                                     list("AT5"), line)


class File(Recording):
    JOB = "tarvix i2c set 0x50 0 1 2 3 && tarvix spi id && tarvix gpio set 3=high && tarvix gpio set 3=low"

    def test_is_whole_when_the_program_is_killed(self):
        done = self.record(self.JOB).read_bytes()
        self.assertGreater(len(done), 1000)
        self.assertEqual(self.record(f"{self.JOB}; kill -KILL $PPID", status=-9).read_bytes(), done)

    def test_says_once_that_it_cannot_be_written(self):
        result = shell("true", ("--vcd", "/dev/full"))
        self.fails(result, 1, "tarvix-sim: cannot write /dev/full: No space left on device")

        pipe = os.path.join(self.directory(), "pipe")
        os.mkfifo(pipe)

        def read_the_beginning():
            with open(pipe, "rb") as file:
                file.read(1)

        reader = threading.Thread(target=read_the_beginning)
        reader.start()
        result = run(simulated(["bash", "-c", "for i in 1 2 3; do tarvix i2c get 0x48 0 -n 1; done"], ("--vcd", pipe)))
        reader.join(LIMIT)
        self.assertEqual((result.returncode, result.stdout.count("17")), (0, 3))
        self.assertEqual(result.stderr, f"tarvix-sim: cannot write {pipe}: Broken pipe; the recording ends here\n")


if __name__ == "__main__":
    unittest.main()
