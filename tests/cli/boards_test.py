"""Board files: what is wrong in one is named with its place, by the program and as far as it can by the schema; and the
boards of examples/boards in use."""

import copy
import json
import pathlib
import re
import shutil
import unittest

from tool import SIM, SOURCE, Case, run, shell, stream

try:
    import jsonschema
except ImportError:
    jsonschema = None

BOARDS = SOURCE / "examples/boards"

BASE = {"version": 1, "adapters": [{
    "serial": "A1",
    "rails": {"shared": {"maximum_mv": 3600, "initial_mv": 3300}},
    "i2c": [{"devices": {
        "0x19": {"type": "register_map", "name": "imu", "registers": {"0x0f": {"reset": "0x33"}},
                 "samples": [{"registers": ["0x28"], "values": [1, 2], "every_ms": 10}],
                 "interrupt": {"register": "0x27"}},
        "0x20": {"type": "gpio_expander", "name": "io", "lines": 8},
        "0x48": {"type": "temperature_sensor", "celsius": 20},
        "0x50": {"type": "eeprom", "size": 256, "page": 8, "address_bytes": 1}}}],
    "spi": [{"type": "loopback"}],
    "uart": {"type": "echo"},
    "gpio": {"wires": [{"pins": [3], "pull": "up", "lines": ["imu.interrupt"], "resets": ["io"]}]},
    "i3c": {"targets": [{"pid": "hex:7f fe 12 34 50 01", "bcr": "0x27", "dcr": "0x63"}]}}]}

GONE = object()
LARGE = {"type": "eeprom", "size": 512, "page": 8, "address_bytes": 1}
HIGH_DRAIN = {"register": 1, "active": "high", "open_drain": True}
ADAPTER, IMU, IO, SENSOR, EEPROM = "/adapters/0", "I2C/0x19", "I2C/0x20", "I2C/0x48", "I2C/0x50"
SAMPLES, WIRE = IMU + "/samples/0", ADAPTER + "/gpio/wires/0"

# What is put in at a place of the document, what is said of it, and whether the schema refuses it as well: the place is
# that of the change, unless another is named. I2C stands for /adapters/0/i2c/0/devices.
SHAPE, VALUE = True, False
WRONG = [
    ("/version", 2, SHAPE, "/version: this program reads version 1"),
    ("/version", GONE, SHAPE, "the document: 'version' is missing"),
    ("/adapters", [], SHAPE, "/adapters: 0 elements, not 1 to 128"),
    ("/adapters", {"a": {}}, SHAPE, "/adapters: {\"a\":{}} is not an array, [...]"),
    ("/adapters/-", {"serial": "A1"}, VALUE, "/adapters/1: another adapter has the serial number 'A1'"),
    (ADAPTER + "/serial", "", SHAPE, "/serial: '' is not a printable UTF-8 text of 1 to 56 bytes"),
    (ADAPTER + "/serial", 7, SHAPE, "/serial: 7 is not a text; write it in quotes"),
    (ADAPTER + "/report_size", 65, SHAPE, "/report_size: 65 is neither 64 nor 1024"),
    (ADAPTER + "/string", {}, SHAPE, "/adapters/0: unknown key 'string'; did you mean 'strings'?"),
    (ADAPTER + "/rails/shared/minimum_mv", 3400, VALUE,
     "/rails/shared/initial_mv: 3300 is not a whole number from 3400 to 3600, as 72 or \"0x48\""),
    (ADAPTER + "/i2c", [{}, {}, {}], SHAPE, "/i2c: 3 elements, not 0 to 2"),
    (ADAPTER + "/i2c/0/stuck", "high", SHAPE, "/stuck: 'high' is not low"),
    ("I2C/0x80", LARGE, SHAPE, "/0x80: \"0x80\" is not a whole number from 0 to 127, as 72 or \"0x48\""),
    ("I2C/80", LARGE, VALUE, "/80: address 0x50 has a device already"),
    ("I2C/0x51", LARGE, VALUE, "/0x51: it takes 2 addresses, the first of which must be a multiple of 2, not 0x51"),
    (SENSOR, [], SHAPE, "/0x48: [] is not an object, {...}"),
    (SENSOR + "/type", GONE, SHAPE, "/0x48: 'type' is missing"),
    (SENSOR + "/type", "temprature_sensor", SHAPE, "temperature_sensor; did you mean 'temperature_sensor'?"),
    (SENSOR + "/name", "imu", VALUE, "/0x48: another device or wire is named 'imu'"),
    (SENSOR + "/celsius", 200, SHAPE, "/celsius: 200 is not a number from -128 to 127.99"),
    (SENSOR + "/celsius", [20, 21], SHAPE, "/0x48: 'every_ms' is missing"),
    (EEPROM + "/size", -1, SHAPE, "/size: -1 is not a whole number from 1 to 16777216, as 72 or \"0x48\""),
    (EEPROM + "/size", 100, VALUE, "/page: 100 bytes are no whole number of pages of 8"),
    (EEPROM + "/size", 4096, VALUE, "/size: 4096 bytes are out of reach of 1 address byte"),
    (EEPROM + "/address_bytes", GONE, SHAPE, "/0x50: 'address_bytes' is missing"),
    (EEPROM + "/adress_bytes", 1, SHAPE, "/0x50: unknown key 'adress_bytes'; did you mean 'address_bytes'?"),
    (EEPROM + "/contents", "hex:0", SHAPE, "/contents: \"hex:0\" are no bytes; write an array of numbers, "
     "\"hex:0a 1b\", \"text:...\" or \"file:NAME\""),
    (EEPROM + "/contents", "file:none.bin", VALUE, "/contents: cannot read none.bin"),
    (EEPROM + "/contents", "text:" + 257 * "x", VALUE, "/contents: 257 bytes exceed the 256 that there is room for"),
    (EEPROM + "/keep", True, SHAPE, "/keep: to be kept, contents must be \"file:NAME\""),
    (EEPROM + "/faults", {"nack": 0}, SHAPE, "/nack: 0 is not a whole number from 1 to 65535, as 72 or \"0x48\""),
    (EEPROM + "/faults", {"nack": "byte"}, SHAPE, "/nack: 'byte' is neither \"address\" nor the number of a byte, from 1"),
    (ADAPTER + "/spi/0/faults", {"nack": 1}, SHAPE, "/faults: unknown key 'nack'; known are active, flip_bits"),
    (IMU + "/register_bits", 12, SHAPE, "/register_bits: 12 is neither 8 nor 16"),
    (IMU + "/registers/0x100", 1, VALUE, "/0x100: \"0x100\" is not a whole number from 0 to 255, as 72 or \"0x48\""),
    (IMU + "/registers/0x0a-0x0f", 1, VALUE, "/0x0a-0x0f: register 0x0f is described twice"),
    (IMU + "/registers/9-8", 1, VALUE, "/9-8: the range 9-8 ends before it begins"),
    (IMU + "/registers/0-1", [1, 2, 3], VALUE, "/0-1: 3 values do not fit in the registers from 0x00 on"),
    (IMU + "/registers/0x0f/readonly", True, SHAPE, "/0x0f: unknown key 'readonly'; did you mean 'read_only'?"),
    (SAMPLES + "/values", [[1, 2]], VALUE, "/values/0: 2 elements, not 1"),
    (SAMPLES + "/values", [256], VALUE, "/samples/0: the value 256 does not fit in 8 bits"),
    (SAMPLES + "/csv", "none.csv", VALUE, "/samples/0: give either 'values' or 'csv'"),
    (SAMPLES, {"registers": [1], "csv": "x.csv", "columns": ["z"]}, VALUE, "/csv: x.csv has no column 'z'; it has a, b"),
    (SAMPLES, {"registers": [1], "csv": "x.csv", "columns": ["b"]}, VALUE, "/csv: x.csv:3: '1.5g' is not a number"),
    (SAMPLES + "/every_ms", 0, SHAPE, "/every_ms: 0 is not a number from 0.1 to 3600000"),
    (IMU + "/interrupt/active", "hihg", SHAPE, "/active: 'hihg' is none of low, high; did you mean 'high'?"),
    (IMU + "/interrupt", HIGH_DRAIN, VALUE, "/open_drain: an open drain can only be active low"),
    (IO + "/lines", 12, SHAPE, "/lines: 12 is neither 8 nor 16"),
    (ADAPTER + "/spi", 5 * [None], SHAPE, "/spi: 5 elements, not 0 to 4"),
    (ADAPTER + "/uart", None, SHAPE, "/uart: null is not an object, {...}"),
    (WIRE + "/pins", [8], SHAPE, "/pins/0: 8 is not a whole number from 0 to 7, as 72 or \"0x48\""),
    (WIRE + "/pins", [3, 3], VALUE, "/pins/1: pin 3 is on a wire already"),
    (WIRE + "/lines", ["imu.interupt"], VALUE, "io.interrupt; did you mean 'imu.interrupt'?"),
    (WIRE + "/resets", ["oi"], VALUE, "/resets/0: 'oi' is none of i2c0-0x48, i2c0-0x50, i3c0, imu, io, spi0, uart"),
    (WIRE + "/level", "low", SHAPE, "/wires/0: give either 'pull' or 'level'"),
    (WIRE + "/button", True, SHAPE, "/button: true is not a text; write it in quotes"),
    (ADAPTER + "/i3c/targets/0/pid", "hex:7f fe", VALUE, "/pid: a PID has 6 bytes, as in \"hex:7f fe 12 34 50 01\""),
]


def changed(place, value):
    document = copy.deepcopy(BASE)
    *path, last = place.replace("I2C", "/adapters/0/i2c/0/devices")[1:].split("/")
    there = document
    for key in path:
        there = there[int(key) if isinstance(there, list) else key]
    if value is GONE:
        del there[last]
    elif isinstance(there, list):
        there[int(last) if last != "-" else len(there):] = [value]
    else:
        there[last] = value
    return document


class WrongBoardTest(Case):
    def check(self, text):
        directory = pathlib.Path(self.directory())
        (directory / "x.csv").write_text("a,b\n1,2\n\"3\",1.5g\n", encoding="utf-8")
        (directory / "b.json").write_text(text, encoding="utf-8")
        return run([SIM, "board", "--check", "b.json"], cwd=directory)

    def test_what_is_wrong_is_named_with_its_place(self):
        self.assertEqual(self.check(json.dumps(BASE)).stdout, "b.json: good\n")
        for place, value, _, said in WRONG:
            with self.subTest(place, value=value):
                result = self.check(json.dumps(changed(place, value)))
                self.fails(result, 2, "tarvix-sim: b.json: ", said + " (see")

    def test_what_is_no_json_is_named_with_line_and_column(self):
        for text, said in [("", ":1:1: not JSON: the file is empty"), ("{\n  \"version\": 1,\n}", ":3:1: not JSON"),
                           ("{\"version\": 1, \"version\": 1}", ": an object has the key 'version' twice")]:
            self.fails(self.check(text), 2, "tarvix-sim: b.json" + said)

    @unittest.skipUnless(jsonschema, "without Python's module jsonschema (Debian package python3-jsonschema)")
    def test_the_schema_refuses_what_has_the_wrong_shape(self):
        schema = json.loads((SOURCE / "simulator/board/board.schema.json").read_text(encoding="utf-8"))
        jsonschema.Draft202012Validator.check_schema(schema)
        validator = jsonschema.Draft202012Validator(schema)
        for file in [SOURCE / "simulator/board/default.json", *BOARDS.glob("*.json")]:
            validator.validate(json.loads(file.read_text(encoding="utf-8")))
        validator.validate(BASE)
        for place, value, is_shape, _ in WRONG:
            with self.subTest(place, value=value):
                self.assertEqual(validator.is_valid(changed(place, value)), not is_shape)


class BoardTest(Case):
    def test_the_guide_shows_good_devices_and_the_example(self):
        directory = pathlib.Path(self.directory())
        shutil.copy(BOARDS / "motion.csv", directory)
        guide = (SOURCE / "docs/board.md").read_text(encoding="utf-8")
        devices = re.findall(r'^```json\n("0x.*?)^```', guide, re.MULTILINE | re.DOTALL)
        self.assertTrue(devices)
        for device in devices:
            document = '{"version": 1, "adapters": [{"i2c": [{"devices": {' + device + "}}]}]}"
            (directory / "b.json").write_text(document, encoding="utf-8")
            self.assertEqual(run([SIM, "board", "--check", "b.json"], cwd=directory).stdout, "b.json: good\n", device)
        whole = re.search(r'^```json\n(\{\n  "version".*?)^```', guide, re.MULTILINE | re.DOTALL)[1]
        example = json.loads((BOARDS / "accelerometer.json").read_text(encoding="utf-8"))
        self.assertEqual({"$schema": example["$schema"], **json.loads(whole)}, example)

    def test_accelerometer_raises_its_line_with_each_sample(self):
        sim = ("--board", BOARDS / "accelerometer.json")
        printed, status, _ = stream(
            "gpio watch -e rising -n 1 3",
            "tarvix i2c get 0x19 0x0f; tarvix i2c set 0x19 0x22 0x10; tarvix i2c set 0x19 0x20 0x57", sim)
        self.assertEqual((len(printed), printed[0].split()[1:3], status), (2, ["33", "|3|"], 0))
        rows = [line.split(",")[1:] for line in (BOARDS / "motion.csv").read_text(encoding="utf-8").splitlines()[1:]]
        result = shell("tarvix i2c set 0x19 0x20 0x57; sleep 0.1; tarvix i2c get 0x19 0xa8 -n 6 --raw | od -An -td2", sim)
        self.assertIn([int(value) / 16384 for value in result.stdout.split()],
                      [[float(value) for value in row] for row in rows])

    def test_eeprom_keeps_what_was_written_also_when_a_signal_ends_it(self):
        directory = pathlib.Path(self.directory())
        for name in "calibration.json", "calibration.bin":
            shutil.copy(BOARDS / name, directory)
        sim = ("--board", directory / "calibration.json")
        image = (BOARDS / "calibration.bin").read_bytes()
        memory = directory / "memory.bin"
        shell(f"tarvix i2c eeprom read 0x50 {memory} --part 24c16", sim)
        self.assertEqual(memory.read_bytes(), image.ljust(2048, b"\xff"))
        self.assertEqual((directory / "calibration.bin").read_bytes(), image)
        memory.write_bytes(bytes(range(256)) * 8)
        result = shell(f"tarvix i2c eeprom write 0x50 {memory} --part 24c16; kill -TERM $PPID; sleep 60", sim)
        self.assertEqual(result.returncode, 128 + 15, result.stderr)
        self.assertEqual((directory / "calibration.bin").read_bytes(), memory.read_bytes())

    def test_reset_line_puts_registers_back(self):
        self.prints("tarvix i2c set 0x2c 0x10 1 2; tarvix i2c get 0x2c 0 | cut -c11-12; tarvix gpio set 5=0; "
                    "tarvix i2c get 0x2c 0 2>&1 | grep -o NACK; tarvix gpio set 5=1; tarvix i2c get 0x2c 0x0f -n 3 | "
                    "cut -c11-18", "d1\nNACK\n00 80 80\n", ("--board", BOARDS / "reset.json"))


if __name__ == "__main__":
    unittest.main()
