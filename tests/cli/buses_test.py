"""The commands of I2C, SPI, UART and I3C: what they print, in text and in JSON, and what they refuse."""

import re
import tempfile

from tool import TIME, Case, objects, shell, tarvix


def grid(*found, first=0x08, last=0x77):
    """i2cdetect's grid, each cell with a blank behind it."""
    text = "     0  1  2  3  4  5  6  7  8  9  a  b  c  d  e  f\n"
    for row in range(0, 0x80, 0x10):
        cells = [f"{address:02x} " if address in found else "-- " if first <= address <= last else "   "
                 for address in range(row, row + 0x10)]
        text += f"{row:02x}: {''.join(cells)}\n"
    return text


class I2cTest(Case):
    def test_scan(self):
        self.prints("tarvix i2c scan --bus 1", grid(0x51))
        self.json("tarvix i2c scan --expect 0x48,80 --json", {"bus": 0, "addresses": [0x48, 0x50]})
        missing = tarvix("i2c", "scan", "--expect", "0x50,0x68", "--json")
        self.assertEqual((re.findall("0x..", missing.stderr), missing.returncode), (["0x68"], 1))
        (fields,) = objects(missing.stdout)
        self.assertEqual((fields["missing"], fields["error"]["exit"]), ([0x68], 1))

    def test_probing(self):
        """What each way sends: writes (01 08) of nothing and reads (02 08) of a byte."""
        for arguments, addresses, writes, reads in (
            ("0x4f 0x51", (0x50,), 1, 2), ("0x48 0x48 -q", (0x48,), 1, 0), ("--all", (0x48, 0x50), 104, 24),
            ("--all --bus 1 -r", (0x51,), 0, 128), ("--quick", (0x48, 0x50), 112, 0), ("-r -e 80", (0x48, 0x50), 0, 112),
        ):
            with self.subTest(arguments=arguments):
                scan = tarvix("i2c", "scan", *arguments.split(), sim=["--verbose"])
                first, last = (0, 0x7F) if "--all" in arguments else (8, 0x77)
                if arguments.startswith("0x"):
                    first, last = (int(word, 16) for word in arguments.split()[:2])
                self.assertEqual((scan.stdout, scan.returncode), (grid(*addresses, first=first, last=last), 0))
                self.assertEqual([len(re.findall(f"< .*I2C {kind}\\)", scan.stderr)) for kind in ("write", "read")],
                                 [writes, reads])

    def test_pull_ups_are_set_on_request_only(self):
        for options, times in (([], 0), (["--pull-up", "3"], 1)):
            with self.subTest(options=options):
                frames = tarvix("i2c", "scan", *options, sim=["--verbose"]).stderr
                self.assertEqual(frames.count("02 08 00 03 (I2C set pull-up resistors)"), times, frames)

    def test_registers_and_memories(self):
        self.prints("tarvix i2c set 0x50 0x06 'hex:cafe' 0xba 190 1; tarvix i2c dump 0x50 -n 16;"
            "tarvix i2c set 0x50 0x06 hex:cafe hex:babe 1 --page 8; tarvix i2c dump 0x50 0x04 -n 8;"
            "tarvix i2c get 0x50 0x07 -n 4 --raw | od -An -tx1",
            # Without --page the memory wraps within its page.
            "00000000  ba be 01 ff ff ff ca fe  ff ff ff ff ff ff ff ff  |................|\n"
            "00000004  ff ff ca fe ba be 01 ff                           |........|\n"
            " fe ba be 01\n")
        self.json("tarvix i2c set --json --bus 1 --reg-bytes 2 0x51 0x1ff0 hex:aabb;"
            "tarvix i2c get --json --bus 1 --reg-bytes 2 0x51 0x1ff1 -n 2; tarvix i2c get --json --bus 1 0x51",
            {"bus": 1, "address": 0x51, "written": 2},
            {"bus": 1, "address": 0x51, "offset": 0x1FF1, "data": "bbff"},
            {"bus": 1, "address": 0x51, "offset": 0, "data": "ff"})

    def test_words(self):
        self.prints("tarvix i2c set 0x50 0 --word 2 0x1234 258; tarvix i2c get 0x50 0 --word 4;"
                    "tarvix i2c get 0x50 0 -w 2 -n 2 --order little; tarvix i2c set 0x50 8 -w 3 --order little 0x10203;"
                    "tarvix i2c get 0x50 8 -n 4", "0x12340102\n0x3412\n0x0201\n"
                    "00000008  03 02 01 ff                                       |....|\n")
        self.json("tarvix i2c get --json 0x48 3 -w 2 --order big",
                  {"bus": 0, "address": 0x48, "offset": 3, "values": [0x5000], "data": "5000"})

    def test_reading_again_and_again(self):
        printed = shell("tarvix i2c get 0x48 0 -w 2 --every 1 --count 2; tarvix i2c get 0x48 0 -n 2 --every 1 --count 1;"
                        "tarvix i2c get 0x50 0 -n 2 --every 1ms --count 1 --csv;"
                        "tarvix i2c get 0x48 0 -w 2 --every 1 --count 1 --json").stdout.splitlines()
        self.assertEqual([re.sub(TIME, "TIME", line) for line in printed[:-1]],
                         ["TIME 0x1780", "TIME 0x1780", "TIME 17 80", "time,0x00,0x01", "TIME,255,255"])
        (fields,) = objects(printed[-1])
        self.assertRegex(fields.pop("time"), TIME)
        self.assertEqual(fields, {"bus": 0, "address": 0x48, "offset": 0, "values": [0x1780], "data": "1780"})

    def test_mask_and_verify(self):
        self.prints("tarvix i2c set 0x50 0 0x11 0x22; tarvix i2c set 0x50 0 0xff 0xff --mask 0x60;"
                    "tarvix i2c get 0x50 0 --word 2; tarvix i2c set 0x50 0 0 -w 2 -m 0x7002 --verify;"
                    "tarvix i2c get 0x50 0 --word 2; tarvix i2c set 0x50 0 9 9 --mask hex:ff00 --verify;"
                    "tarvix i2c get 0x50 0 --word 2;"
                    "seq 90 | tarvix i2c set --bus 1 --reg-bytes 2 --page 64 --verify 0x51 9 @-",
                    "0x7162\n0x0160\n0x0960\n")
        # The sensor's temperature is read-only; a memory wraps.
        for arguments, text in (("0x48 0 0x4b00 -w 2", "register 0x00: wrote 0x4b00, read back 0x"),
                                ("0x50 7 1 2", "register 0x08: wrote 0x02, read back 0xff; ")):
            self.fails(tarvix("i2c", "set", *arguments.split(), "--verify"), 1, "on bus 0, " + text)
        self.prints("tarvix i2c set 0x48 0 0 --mask 0 --verify", "")

    def test_what_was_read_when_a_raw_dump_is_interrupted(self):
        result = shell("coproc D { exec tarvix i2c dump --reg-bytes 3 0x50 -n 16M -c 3.4M --raw; } 2> error;"
                       "exec 5<&${D[0]}; PID=$D_PID; head -c 9 <&5 > part; kill -INT $PID; cat <&5 >> part;"
                       "wait $PID; echo $?; stat -c %s part; cat error", cwd=self.directory())
        status, size, error = result.stdout.splitlines()
        self.assertEqual((status, error), ("130", f"tarvix i2c dump: {size} of 16777216 bytes written"))
        self.assertGreater(int(size), 9)

    def test_a_whole_memory_by_pages_and_pieces(self):
        with tempfile.TemporaryDirectory() as directory:
            self.prints(f"set -e; cd {directory}; head -c 32768 /dev/urandom > image;"
                        "tarvix i2c set --bus 1 --reg-bytes 2 --page 64 0x51 0 @image;"
                        "tarvix i2c dump --bus 1 --reg-bytes 2 0x51 -n 32768 --raw | cmp image -;"
                        "tail -c 32767 image > rest;"
                        "tarvix i2c set --bus 1 --reg-bytes 2 --page 64 --in-flight 8 0x51 1 @rest;"
                        "tarvix i2c dump --bus 1 --reg-bytes 2 0x51 1 -n 32767 --raw -c 3.4M | cmp rest -", "")

    def test_transfer(self):
        self.prints("set -e; tarvix i2c transfer w5@0x50 0x10 0xfe+; tarvix i2c transfer w1@0x50 0x10 r4;"
            "tarvix i2c transfer r2@0x50",
            "00000000  fe ff 00 01                                       |....|\n"
            "00000000  ff ff                                             |..|\n")
        self.json("tarvix i2c transfer --json --bus 1 w2@0x51 0 0 r1@0x51", {"bus": 1, "address": 0x51, "data": "ff"})


class SpiTest(Case):
    def test_transfer(self):
        self.prints("tarvix spi transfer --select 1 18 0x34 hex:deadbeef;"
            "tarvix spi transfer --select 1 --mode 1 0",
            "00000000  12 34 de ad be ef                                 |.4....|\n"
            "00000000  ff                                                |.|\n")
        self.json("tarvix spi transfer --json --select 1 1 2 --bit-order lsb --width 16",
                  {"select": 1, "data": "0102"})

        for size in "54", "1014", "65535":  # the first two fill a report
            for report_size in "64", "1024":
                self.prints(f"seq 99999 | head -c {size} | tarvix spi transfer -s 1 --raw @- | "
                            f"cmp - <(seq 99999 | head -c {size})", "", ["--report-size", report_size])

    def test_flash_pieces_fill_the_reports(self):
        for report_size, requests in ("64", 36), ("1024", 6):
            log = tarvix("spi", "flash", "read", "-", "-n", "0x20000", encoding="latin-1", sim=["--verbose", "--report-size", report_size]).stderr
            self.assertEqual(len(re.findall("< .* 04 0d .. .. .. .. 03 .*SPI transfer", log)), requests)

    def test_flash(self):
        self.prints("tarvix spi id", "55 40 14  manufacturer 0x55, type 0x40, capacity 0x14 = 1 MiB\n")
        self.json("tarvix spi id --json", {"select": 0, "data": "554014", "manufacturer": 0x55, "type": 0x40,
                                           "capacity": 0x14, "bytes": 1 << 20})
        nobody = tarvix("spi", "id", "--select", "3")
        self.assertEqual((nobody.stdout, nobody.returncode), ("", 1))
        self.json("""
            tarvix spi transfer --raw 6 > /dev/null; tarvix spi transfer --raw 2 hex:01cf7eaabbccdd > /dev/null
            tarvix spi flash read --json --offset 0x1cf7d -n 4
            """,
            {"select": 0, "offset": 0x1CF7D, "length": 4, "data": "ffaabbcc"})


class UartTest(Case):
    def test_send(self):
        self.prints("tarvix uart send text:hello --reply 5 --listen 3600s; tarvix uart send 'text:hi\\r\\n';"
                    "printf bytes | tarvix uart send --reply 5 --raw @-",
                    "00000000  68 65 6c 6c 6f                                    |hello|\nbytes")
        self.json("tarvix uart send --json 0xc1 --bits 7 --reply 1; tarvix uart send --json 0x55",
                  {"sent": 1, "data": "41"}, {"sent": 1})
        short = tarvix("uart", "send", "0x55", "--reply", "2", "--listen", "50ms", "--json")
        (fields,) = objects(short.stdout)
        self.assertEqual((fields["data"], fields["error"]["exit"], short.returncode), ("55", 6, 6))
        self.assertIn("1 of 2 bytes", short.stderr)

    def test_send_in_pieces_that_a_slow_line_takes_in_time(self):
        sent = tarvix("uart", "send", "--baud", "1200", "text:" + "x" * 150, sim=["--verbose"]).stderr
        self.assertEqual([len(data.split()) for data in re.findall(r"<(?: \w\w){6}((?: 78)+)", sent)], [60, 60, 30])

    def test_monitor(self):
        self.streams("uart monitor -n 2", "tarvix uart send text:hi; tarvix uart send 0 255",
                     "TIME 68 69  |hi|", "TIME 00 ff  |..|")
        self.streams("uart monitor -n 1 --json", "tarvix uart send 0 0xff",
                     '{"schema":1,"command":"uart monitor","adapter":"TVX0000001","time":"TIME","data":"00ff"}')
        self.streams("uart monitor -n 1 --raw", "tarvix uart send 'text:h\\n'", "h")


TABLE_HEADER = "dynamic  static  pid           bcr   dcr   features\n"
TARGET_0 = "0x30    7ffe12345001  0x27  0x63  speed limit, interrupts, interrupt payload, advanced capabilities\n"
TARGET_1 = "0x31    7ffe56789002  0x22  0xc6  interrupts, advanced capabilities\n"


class I3cTest(Case):
    def test_bring_up(self):
        self.prints(
            "tarvix i3c init; tarvix i3c init 0x30=0x0a 7ffe56789002=0x0b 0x57; tarvix i3c init --no-entdaa",
            TABLE_HEADER + "0x08     " + TARGET_0 + "0x09     " + TARGET_1 +
            TABLE_HEADER + "0x0a     " + TARGET_0 + "0x0b     " + TARGET_1 +
            "-        0x57    -             -     -     legacy I2C\n"
            "no targets\n")
        self.json("tarvix i3c init --json --no-entdaa 0x31=0x20",
                  {"up": True, "targets": [{"dynamic_address": 0x20, "static_address": 0x31, "pid": "7ffe56789002", "bcr": 0x22,
                                "features": ["interrupts", "advanced capabilities"], "dcr": 0xC6, "extra_word_1": 256, "extra_word_2": 256,
                                "extra_byte_1": 0, "extra_byte_2": 0}]})

    def test_a_bus_that_is_up_keeps_its_addresses(self):
        self.prints("set -e; tarvix i3c init 0x30=0x0a > /dev/null; tarvix i3c exit-hdr; "
            "tarvix i3c ccc SETNEWDA @0x0a 0x0c; tarvix i3c table; tarvix i3c reset; tarvix i3c table",
            TABLE_HEADER + "0x08     " + TARGET_1 + "0x0c     " + TARGET_0 + "no targets\n")
        self.prints("tarvix i3c table", "the bus is not up: 'tarvix i3c init' brings it up\n")

    def test_transfers(self):
        self.json("""
            tarvix i3c ddr-write --json 0x08 0x04 hex:12345678
            tarvix i3c ddr-read --json 0x08 0x04 -n 4
            tarvix i3c write --json --reg-bytes 0 --flags 31 0x08 5 0x99
            tarvix i3c read --json 0x08 4 -n 4
            tarvix i3c legacy-write --json 0x57 0x20 hex:beef
            tarvix i3c legacy-read --json 0x57 0x21 -n 2
            """,
            {"address": 8, "hdr_command": 4, "written": 4},
            {"address": 8, "hdr_command": 4, "data": "12345678"},
            {"address": 8, "written": 2},
            {"address": 8, "offset": 4, "data": "12995678"},
            {"address": 0x57, "written": 2},
            {"address": 0x57, "offset": 0x21, "data": "efff"})

    def test_replies(self):
        self.prints("tarvix i3c ccc getbcr @0x09; tarvix i3c ccc RSTACT @0x08 0x82; tarvix i3c ccc GETCAPS @0x08",
                    "22\nbcr: 0x22\nrole: target\nfeatures: interrupts, advanced capabilities\n"
                    "0a\nanswer: 10\n"
                    "01 21 00 00\nhdr modes: HDR-DDR\nversion: 1.1\ngroup addresses: 2\ndefining bytes: none\n")
        self.json("tarvix i3c ccc GETMRL @0x08 --json", {"ccc": "GETMRL", "address": 8, "data": "010000", "decoded": {
            "max_read_length": 256, "max_ibi_payload": 0}})

    def test_codes_by_number(self):
        self.prints("tarvix i3c ccc 0x8e @0x09 --read 1; tarvix i3c ccc 0x9a @0x08 --defining-byte 0x82 -r 1;"
                    "tarvix i3c ccc 9 0x01 hex:00; tarvix i3c ccc 0x89 @0x08 0 64; tarvix i3c ccc GETMWL @0x09;"
                    "tarvix i3c ccc 0x8b @0x08 --read 2; tarvix i3c ccc 0x2a --defining-byte 1",
                    "22\n0a\n01 00\nmax write length: 256 bytes\n00 40\n")
        self.json("tarvix i3c ccc 0x90 @0x08 --read 2 --json; tarvix i3c ccc 0x01 --json 1",
                  {"ccc": "0x90", "address": 8, "data": "0000"}, {"ccc": "0x01"})

    def test_what_is_set_is_read_back(self):
        """Each setting code, and the reading code that shows it; both forms where there are two."""
        fill_and_reset = "SETMWL 0x1234; tarvix i3c ccc RSTACT {}; tarvix i3c target-reset; tarvix i3c ccc ENTDAA"
        for setting, reading, data in (
            ("SETMWL 0x1234", "GETMWL @0x09", "1234"), ("SETMWL @0x08 64", "GETMWL @0x08", "0040"),
            ("SETMRL 300", "GETMRL @0x09", "012c"), ("SETMRL 300 17", "GETMRL @0x08", "012c11"),
            ("SETMRL @0x08 32 16", "GETMRL @0x08", "002010"), ("SETBUSCON 1 22", "GETDCR @0x08", "63"),
            *((f"ENTAS{state}{target}", "GETSTATUS @0x08", f"00{state << 6:02x}")
              for state in range(4) for target in ("", " @0x08")),
            ("SETXTIME 0xdf", "GETXTIME @0x09", "0602180a"), ("SETXTIME @0x08 0xef hex:1234", "GETXTIME @0x08", "0604180a"),
            ("SETXTIME 0xef && tarvix i3c ccc SETXTIME 0xff", "GETXTIME @0x08", "0600180a"),
            ("RSTDAA && tarvix i3c ccc SETDASA @0x31 0x20", "GETPID @0x20", "7ffe56789002"),
            ("RSTDAA && tarvix i3c ccc SETAASA", "GETPID @0x30", "7ffe12345001"),
            ("SETNEWDA @0x08 0x22", "GETPID @0x22", "7ffe12345001"),
            (fill_and_reset.format("0"), "GETMWL @0x08", "1234"),
            (fill_and_reset.format("@0x08 2"), "GETMWL @0x08", "0100"),
        ):
            with self.subTest(setting):
                result = shell(f"tarvix i3c ccc {setting} && tarvix i3c ccc {reading} --json")
                self.assertEqual((result.stderr, objects(result.stdout)[0]["data"]), ("", data))

    def test_groups_and_events(self):
        self.prints("tarvix i3c ccc SETGRPA @0x08 0x40; tarvix i3c ccc SETGRPA @0x09 0x40;"
                    "tarvix i3c write 0x40 0 0x5a; tarvix i3c read 0x09 0",
                    "00000000  5a                                                |Z|\n")
        for reset in ("RSTGRPA", "RSTGRPA @0x08"):
            self.fails(shell(f"tarvix i3c ccc SETGRPA @0x08 0x40; tarvix i3c ccc {reset}; tarvix i3c write 0x40 0 1"), 1)
        # Only the second interrupt gets through.
        self.streams("monitor -n 1", "tarvix i3c ccc DISEC 1; tarvix i3c write 0x08 0x80 1; "
                     "tarvix i3c ccc ENEC @0x08 1; tarvix i3c write 0x08 0x80 2",
                     "TIME i3c-ibi address=0x08 payload=0000")


class RefusalTest(Case):
    def test_no_target_acknowledges(self):
        for arguments in ("i2c get 0x22", "i2c set 0x22 0 1 --page 8", "i2c transfer w0@0x22", "i3c ddr-read 0x09 0",
                          "i3c legacy-read 0x22", "i3c ccc GETMXDS @0x09", "i3c ccc GETCAPS @0x08 0", "i3c init 0x44=0x45"):
            with self.subTest(arguments):
                self.fails(tarvix(*arguments.split()), 1, "NACK (0x0301)")


class ProgressTest(Case):
    def test_on_a_terminal_only(self):
        # 71 exchanges at 30 ms are two seconds, so that the progress cannot be missed.
        read, slow = "tarvix spi flash read - -n 0x40000", ("--latency", "30")
        self.prints(f"{read} | wc -c", "262144\n", slow)
        self.assertRegex(shell(f"script -qec '{read} > /dev/null' /dev/null", slow).stdout,
                         r"reading: \d+ of 262144 bytes, \d+ %, \d+\.\d KiB/s, 0:\d\d left")
