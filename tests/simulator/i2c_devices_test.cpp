// The types of I2C devices on boards of their own, in the words of BoardRig.
#include <gtest/gtest.h>

#include "support/board_rig.hpp"

namespace {

// One I2C device at 0x19, and what else the adapter has.
std::string board(const std::string& device, const std::string& rest = "")
{
    return R"({"i2c": [{"devices": {"0x19": )" + device + "}}]" + rest + "}";
}

TEST(RegisterMap, KeepsRegistersByTheirRules)
{
    BoardRig rig(board(R"({"type": "register_map", "registers": {
        "0x0f": "0x33",
        "0x10": {"reset": "0xa5", "read_only": true},
        "0x11": {"reset": "0xa5", "read_only": "0xf0"},
        "0x12": {"reset": "0xff", "write_1_to_clear": "0x0f"},
        "0x13": {"reset": "0x77", "clear_on_read": "0x07"},
        "0x20": "text:LOT7", "0x24": [1, 2], "0x30-0x32": 9, "0xff": "0xee"}})"));
    rig.converse({
        {"r 19 5 0f", "33 A5 A5 FF 77"},
        {"r 19 1 13", "70"},
        {"w 19 0f 01 5a 5a 81", "ok"},
        {"r 19 4 0f", "01 A5 AA 8E"},
        {"r 19 6 20", "4C 4F 54 37 01 02"},
        {"r 19 4 30", "09 09 09 00"},
        {"w 19 ff 11 22", "ok"}, // wraps
        {"r 19 2 ff", "11 22"},
        {"r 19 1", "00"}, // where the last read ended
        {"w 19 20", "ok"},
        {"r 19 1", "4C"},
        {"power", ""},
        {"r 19 4", "00 00 00 00"},
        {"r 19 2 12", "FF 77"},
    });
}

TEST(RegisterMap, CarriesRegistersAsItsFormatSays)
{
    BoardRig big(board(R"({"type": "register_map", "register_bits": 16, "address_bytes": 2, "size": 4,
        "registers": {"0": "0x1234", "2": "hex:de ad be ef"}})"));
    big.converse({
        {"r 19 3 00 00", "12 34 00"},
        {"r 19 6 00 02", "DE AD BE EF 12 34"},
        {"w 19 00 01 ab cd 77", "ok"}, // half a register at the end
        {"r 19 4 00 01", "AB CD DE AD"},
        {"w 19 00", "ok"}, // half an address
        {"r 19 2 01 01", "AB CD"},
    });
    BoardRig little(board(R"({"type": "register_map", "register_bits": 16, "byte_order": "little",
        "auto_increment": "never", "registers": {"0": "0x1234", "2": "hex:de ad"}})"));
    little.converse({
        {"r 19 4 00", "34 12 34 12"},
        {"r 19 2 02", "DE AD"},
        {"w 19 03 01 02 03 04", "ok"},
        {"r 19 4 03", "03 04 03 04"},
    });
    BoardRig topBit(board(R"({"type": "register_map", "auto_increment": "top_bit", "registers": {"0x0f": [1, 2]}})"));
    topBit.converse(
        {{"r 19 2 0f", "01 01"}, {"r 19 2 8f", "01 02"}, {"w 19 8f 05 06", "ok"}, {"r 19 3 8f", "05 06 00"}});
}

TEST(RegisterMap, ShowsASampleWithEachPeriodAndRaisesItsLine)
{
    BoardRig rig(board(R"({"type": "register_map", "name": "imu", "byte_order": "little",
        "samples": [
            {"registers": [1, 3], "value_bits": 16, "values": [[-2, "0x1234"], [3.4, 4]], "every_ms": 10,
             "while": {"register": 9}, "ready": {"register": 0, "bits": 8}},
            {"registers": [5], "values": [7, 8], "every_ms": 1, "repeat": false}],
        "interrupt": {"register": 0, "bits": 8, "active": "high", "enable": {"register": 10, "bits": 1}}})",
                       R"(, "gpio": {"wires": [{"pins": [3], "lines": ["imu.interrupt"]}]})"));
    rig.converse({
        {"free 3", "ok"},
        {"pass 30", ""},
        {"r 19 6 00", "00 00 00 00 00 08"},
        {"w 19 09 01", "ok"},
        {"pass 9.9", ""},
        {"r 19 1 00", "00"},
        {"pass 0.1", ""},
        {"r 19 4 00", "08 FE FF 34"}, // all but the last register
        {"r 19 1 00", "08"},
        {"w 19 0a 01", "ok !"}, // enables the line
        {"pin 3", "high"},
        {"r 19 1 04", "12 !"},
        {"pin 3", "low"},
        {"pass 10", " !"},
        {"r 19 5 00", "08 03 00 04 00 !"},
        {"pass 25", " !"},
        {"r 19 5 00", "08 03 00 04 00 !"}, // the first row came and went
        {"w 19 09 00", "ok"},
        {"pass 100", ""},
        {"power", ""},
        {"pin 3", "low"},
        {"r 19 6 00", "00 00 00 00 00 00"},
        {"pass 1", ""},
        {"r 19 1 05", "07"},
    });
}

TEST(RegisterMap, ShowsTheNextSampleOnceTheLastWasRead)
{
    BoardRig rig(board(R"({"type": "register_map", "name": "adc",
        "samples": [{"registers": ["0x10"], "value_bits": 16, "values": ["0x0102", "0x0304"],
                     "ready": {"register": 0, "bits": 1}}],
        "interrupt": {"register": 0, "bits": 1, "open_drain": true}})",
                       R"(, "gpio": {"wires": [{"pins": [3], "pull": "up", "lines": ["adc.interrupt"]}]})"));
    rig.converse({
        {"pin 3", "low"},
        {"r 19 1 10", "01"},
        {"r 19 2 10", "01 02"},
        {"r 19 2 10", "03 04"},
        {"r 19 2 10", "01 02"},
        {"w 19 00 00", "ok"}, // not read-only here
        {"pin 3", "high"},
    });
}

} // namespace
