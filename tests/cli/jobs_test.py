"""What a bench engineer does every day: command, output, exit status."""

import re

from tool import TIME, Case, shell

# What a failing command says stands at the end of its output.
JOBS = (
    ("find the adapter", "tarvix list | cut -d' ' -f1", "SELECTOR\nTVX0000001\n"),
    ("see it come", "tarvix list --watch -n 1 | cut -d' ' -f1-3", "TIME attached TVX0000001\n"),
    ("find out why it does not answer", "tarvix-sim trigger unplug; tarvix doctor | grep -A1 FAIL; exit ${PIPESTATUS[0]}",
     "FAIL  choice: no adapter is attached\n      plug one in\ntarvix doctor: no adapter is attached; plug one in\n", 3),
    ("scan", "tarvix i2c scan 0x48 0x50 --json", '{"schema":1,"command":"i2c scan","adapter":"TVX0000001","bus":0,"addresses":[72,80]}\n'),
    ("miss a target", "tarvix i2c scan --expect 0x68 > /dev/null",
     "tarvix i2c scan: no answer on bus 0 from 0x68; check the wiring, the address pins and 'tarvix rail show'\n", 1),
    ("read a register", "tarvix i2c get 0x48 3 --word 2", "0x5000\n"),
    ("write and verify", "tarvix i2c set 0x50 7 1 --verify; tarvix i2c set 0x48 0 0x4b00 -w 2 --verify --mask 0xff00",
     "tarvix i2c set: 0x48 on bus 0, register 0x00: wrote 0x4b00, read back 0x1700; is the register writable, does the "
     "memory wrap or protect it? --mask compares some bits only\n", 1),
    ("change some bits", "tarvix i2c set 0x50 0 0xff; tarvix i2c set 0x50 0 0 --mask 0x60; tarvix i2c get 0x50 0 -w 1", "0x9f\n"),
    ("words", "tarvix i2c set 0x50 0 -w 2 --order little 0x1234; tarvix i2c get 0x50 0 -w 2", "0x3412\n"),
    ("dump into a file", "tarvix i2c dump 0x50 --raw > dump; wc -c < dump", "256\n"),
    ("program an EEPROM", "seq 60 > a; P='--part 24c02'; tarvix i2c eeprom write 0x50 a $P; tarvix i2c eeprom verify 0x50 a $P;"
     "tarvix i2c set 0x50 0 0; tarvix i2c eeprom verify 0x50 a $P", "171 bytes at 0x0: 171 written, verified\n"
     "tarvix i2c eeprom verify: a: offset 0x0: read 0x00, expected 0x31; 1 of 171 bytes differ\n", 1),
    ("program a flash memory", "seq 9999 > a; tarvix spi flash write a; tarvix spi flash read b -n 48888; cmp a b;"
     "tarvix spi flash erase --offset 4k -n 4k; tarvix spi flash verify a",
     "48888 bytes at 0x0: 48888 written, 0 erased, verified\n4096 bytes at 0x1000: 0 written, 4096 erased, verified\n"
     "tarvix spi flash verify: a: offset 0x1000: read 0xff, expected 0x31; 4096 of 48888 bytes differ\n", 1),
    ("exchange bytes", "tarvix spi transfer 0x9f -n 4", "00000000  ff 55 40 14                                       |.U@.|\n"),
    ("ask a modem", "tarvix uart send 'text:AT\\r' --expect '/[A-Z]+\\r/' --within 5s",
     "00000000  41 54 0d                                          |AT.|\n"),
    ("wait in vain", "tarvix uart send 1 --expect OK --within 50ms > /dev/null", "tarvix uart send: 1 bytes came within 50 ms, and 'OK' "
     "was not in them; check the wiring and --baud, or raise --within\n", 6),
    ("filter", "echo AT | tarvix uart terminal --until AT", "AT\n"),
    ("set and read pins", "tarvix gpio set 3=1 4=low; tarvix gpio get 3 4; tarvix gpio get --numeric 2 5", "3=high 4=low\n1 0\n"),
    ("toggle", "tarvix gpio toggle 3", "3=high\n"),
    ("see a pulse", "coproc tarvix gpio watch 2 -n 2 --banner 2>&1; exec 5<&${COPROC[0]}; read -ru 5 line; tarvix --shared gpio pulse 3 --for 2ms;"
     "cat <&5", "TIME 2 rising\nTIME 2 falling\n"),
    ("supply", "tarvix rail set shared 1.8V > /dev/null; tarvix rail log --csv -n 1", "time,shared_mv,i3c_1_mv,i3c_2_mv\nTIME,1800,1800,1800\n"),
    ("bring an I3C bus up", "tarvix i3c table; tarvix i3c init | cut -c1-22; tarvix i3c write 8 0 9; tarvix i3c read 8 0 --raw | od -An -tx1;"
     "tarvix i3c ccc GETBCR @9; tarvix i3c ccc 0x8e @9 --read 1", "the bus is not up: 'tarvix i3c init' brings it up\n"
     "dynamic  static  pid  \n0x08     0x30    7ffe1\n0x09     0x31    7ffe5\n 09\n22\nbcr: 0x22\nrole: target\nfeatures: interrupts, advanced capabilities\n22\n"),
    ("take an interrupt", "tarvix i3c init > /dev/null; coproc tarvix monitor -n 1 --banner 2>&1; exec 5<&${COPROC[0]}; read -ru 5 line;"
     "tarvix-sim trigger ibi --target 0 0x0a; cat <&5", "TIME i3c-ibi address=0x08 payload=0a\n"),
    ("read again and again", "tarvix i2c get 0x48 0 -w 2 --every 1ms --count 2 --csv", "time,0x00\nTIME,6016\nTIME,6016\n"),
    ("run a batch", "echo gpio set 3='${L}' > set.txt; printf '%s\\n' '# levels' 'set L=high' '' 'include set.txt' 'gpio get \"2\" # read' "
     "'expect 2=high' 'gpio get 8' | tarvix batch -", "2=high\ntarvix gpio get: standard input:7: PIN: 8 is out of range, 0 to 7\n", 2),
    ("see what it would send", "echo gpio set 3=1 | tarvix batch --dry-run -", "standard input:1: gpio set 3=1\n    01 00 01 14 03 01 01\n"),
)


class Jobs(Case):
    def test_each(self):
        for name, script, output, *status in JOBS:
            with self.subTest(name):
                result = shell(script, cwd=self.directory())
                self.assertEqual((re.sub(TIME, "TIME", result.stdout) + result.stderr, [result.returncode]), (output, status or [0]))
