// Boards of a test's own, in the words of BoardRig: the types of I2C devices, and what the bench does to all devices.
#include <bit>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <unistd.h>

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

TEST(RegisterMap, SkipsTheSamplesThatItIsTooLateFor)
{
    BoardRig rig(board(R"({"type": "register_map", "samples": [
        {"registers": [1], "values": [1, 2, 3], "every_ms": 10},
        {"registers": [2], "values": [1, 2, 3], "every_ms": 10, "repeat": false}]})"));
    rig.converse({
        {"stall 50", ""},
        {"r 19 2 01", "02 03"},
        {"pass 9.9", ""},
        {"r 19 2 01", "02 03"},
        {"pass 0.1", ""},
        {"r 19 2 01", "03 03"},
        {"stall 20", ""},
        {"r 19 2 01", "02 03"},
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

TEST(Eeprom, IsBusyWhileItWritesAndBeginsWithItsContents)
{
    BoardRig rig(board(R"({"type": "eeprom", "size": 64, "page": 8, "address_bytes": 2, "write_ms": 5,
        "contents": "text:CAL"})"));
    rig.converse({
        {"r 19 4 00 00", "43 41 4C FF"},
        {"w 19 00 01 58", "ok"},
        {"w 19", "03 01"},
        {"r 19 1", "03 01"},
        {"scan", ""},
        {"pass 4.9", ""},
        {"r 19 1 00 01", "03 01"},
        {"pass 0.1", ""},
        {"r 19 2 00 01", "58 4C"},
        {"w 19 00 00", "ok"}, // no data
        {"w 19 00 00 59", "ok"},
        {"power", ""},
        {"r 19 2 00 00", "59 58"},
    });
}

TEST(Eeprom, AnswersAtOneAddressForEachBlockThatItsAddressBytesReach)
{
    BoardRig rig(R"({"i2c": [{"devices": {
        "0x50": {"type": "eeprom", "size": 1024, "page": 16, "address_bytes": 1},
        "0x54": {"type": "eeprom", "size": 256, "page": 16, "address_bytes": 1, "faults": {"nack": "address"}}}}]})");
    rig.converse({
        {"scan", "50 51 52 53"},
        {"w 50 ff 11", "ok"},
        {"w 51 00 22", "ok"},
        {"w 53 ff 44", "ok"},
        {"r 50 2 ff", "11 22"},
        {"r 53 1 ff", "44"},
        {"r 50 1 00", "FF"},
    });
}

class KeptEeprom : public testing::Test {
protected:
    KeptEeprom() { std::filesystem::create_directory(directory); }
    ~KeptEeprom() override { std::filesystem::remove_all(directory); }

    BoardRig rig() const
    {
        const std::string adapter = board(R"({"type": "eeprom", "size": 8, "page": 8, "address_bytes": 1,
            "contents": "file:chip.bin", "keep": true})");
        return BoardRig(sim::parseBoard(directory / "board.json", R"({"version": 1, "adapters": [)" + adapter + "]}"));
    }
    std::string file() const
    {
        std::ifstream stream(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
    }

    const std::filesystem::path directory =
        std::filesystem::temp_directory_path() / ("tarvix-test." + std::to_string(::getpid()));
    const std::filesystem::path path = directory / "chip.bin";
};

TEST_F(KeptEeprom, WritesItsFileBackWhenItChanged)
{
    rig().converse({{"r 19 1 00", "FF"}});
    EXPECT_FALSE(std::filesystem::exists(path)); // nothing was written
    {
        BoardRig first = rig();
        first.converse({{"w 19 00 41 42", "ok"}});
        EXPECT_FALSE(std::filesystem::exists(path));
        first("power");
        EXPECT_EQ(file(), "AB\xFF\xFF\xFF\xFF\xFF\xFF");
        first.converse({{"w 19 07 43", "ok"}});
    }
    EXPECT_EQ(file(), "AB\xFF\xFF\xFF\xFF\xFF"
                      "C");
    std::filesystem::permissions(path, std::filesystem::perms(0640));
    std::filesystem::rename(path, directory / "real.bin");
    std::filesystem::create_symlink("real.bin", path);
    rig().converse({{"r 19 2 00", "41 42"}, {"w 19 00 44", "ok"}});
    EXPECT_EQ(file().substr(0, 2), "DB");
    EXPECT_TRUE(std::filesystem::is_symlink(path));
    EXPECT_EQ(std::filesystem::status(path).permissions(), std::filesystem::perms(0640));
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(directory), {}), 2);
}

TEST_F(KeptEeprom, SaysThatItsFileCannotBeWritten)
{
    BoardRig broken = rig();
    broken("w 19 00 41");
    std::filesystem::remove_all(directory);
    broken("power");
    ASSERT_EQ(broken.world.told.size(), 1u);
    EXPECT_EQ(broken.world.told[0],
              "cannot write " + path.string() + ": No such file or directory; the file is as it was");
    std::filesystem::create_directory(directory);
    broken("power"); // tries again
    EXPECT_EQ(file()[0], 'A');
}

TEST(TemperatureSensor, TakesItsTemperaturesByTurns)
{
    BoardRig(board(R"({"type": "temperature_sensor", "celsius": -0.5})")).converse({{"r 19 2 00", "FF 80"}});
    BoardRig rig(board(R"({"type": "temperature_sensor", "celsius": [25, 26.5], "every_ms": 100})"));
    rig.converse({
        {"r 19 2 00", "19 00"},
        {"pass 99", ""},
        {"r 19 2", "19 00"},
        {"pass 1", ""},
        {"r 19 2", "1A 80"},
        {"pass 100", ""},
        {"r 19 2", "19 00"},
        {"pass 100", ""},
        {"power", ""},
        {"r 19 2", "19 00"},
    });
}

TEST(GpioExpander, DrivesWiresAndTellsOfInputsThatChanged)
{
    BoardRig rig(board(R"({"type": "gpio_expander", "name": "io", "lines": 16, "pull_ups": true})",
                       R"(, "gpio": {"wires": [
        {"pins": [0], "lines": ["io.0"]}, {"pins": [1], "lines": ["io.15"]}, {"lines": ["io.1", "io.8"]},
        {"pins": [3], "pull": "up", "lines": ["io.interrupt"]}]})"));
    rig.converse({
        {"free 3", "ok"},
        {"pin 3", "high"},
        {"pin 0", "high"},
        {"r 19 8 00", "FF FF FF FF FF FF FF FF"},
        {"r 19 3 06", "FF FF FF"},
        {"w 19 06 fc 7f", "ok"}, // 0, 1 and 15 become outputs; 8 follows 1
        {"w 19 02 fc", "ok !"},
        {"pin 3", "low"},
        {"pin 0", "low"},
        {"pin 1", "high"},
        {"r 19 1 00", "FC"}, // the input of the other port has changed
        {"pin 3", "low"},
        {"r 19 1 01", "FE !"},
        {"pin 3", "high"},
        {"drive 1 low", "ok"}, // an output that somebody else holds low
        {"w 19 05 01", "ok"},
        {"r 19 1 01", "7F"},
        {"w 19 02 fe", "ok !"},
        {"w 19 02 fc", "ok !"}, // as it was read
        {"r 19 4 06", "FC 7F FC 7F"},
        {"power", ""},
        {"r 19 2 00", "FF FF"},
    });
    BoardRig small(board(R"({"type": "gpio_expander", "lines": 8})"));
    small.converse({{"r 19 2 00", "00 00"}, {"w 19 03 0f", "ok"}, {"r 19 1 00", "F0"}, {"r 19 1 07", "0F"}});
}

// What the bench does to devices of every kind.
constexpr const char* RESET_BOARD = R"({
    "i2c": [{"devices": {"0x19": {"type": "register_map", "name": "imu", "registers": {"1": 7},
        "samples": [{"registers": [2], "values": [5], "every_ms": 10, "ready": {"register": 3, "bits": 1}}],
        "interrupt": {"register": 3, "bits": 1}}}}],
    "i3c": {"targets": [{"name": "hub", "pid": "hex:00 00 00 00 00 01", "bcr": 0, "dcr": 0}]},
    "spi": [{"type": "loopback", "name": "flash"}], "uart": {"type": "echo", "name": "modem"},
    "gpio": {"wires": [
        {"pins": [0], "pull": "up", "resets": ["imu", "flash", "modem", "hub"]},
        {"pins": [1], "pull": "up", "resets": ["imu"]},
        {"pins": [2], "lines": ["imu.interrupt"]}]}})";

TEST(Bench, SilencesDevicesWhileAnyOfTheirResetLinesIsLow)
{
    const char* const assignAddresses = "ask 09 19 7e 00 00 07 00";  // ENTDAA
    const char* const getMaxReadLength = "ask 09 19 08 01 02 8c 00"; // GETMRL
    BoardRig rig(RESET_BOARD);
    rig.converse({
        {"w 19 01 55", "ok"},
        {"ask 04 19 00", ""}, // brings the I3C bus up
        {assignAddresses, "7E 00 07 00"},
        {getMaxReadLength, "08 01 8C 02 01 00"},
        {"pass 10", ""},
        {"pin 2", "low"},
        {"drive 1 low", "ok"},
        {"pin 2", "high"},
        {"drive 0 low", "ok"},
        {"r 19 1 01", "03 01"},
        {"w 19 01 66", "03 01"},
        {"scan", ""},
        {assignAddresses, "7E 00 07 00"},
        {getMaxReadLength, "03 01"},
        {"spi 12 34", "FF FF"},
        {"uart 41", ""},
        {"pass 100", ""},
        {"pin 2", "high"},
        {"drive 0 high", "ok"},
        {assignAddresses, "7E 00 07 00"},
        {getMaxReadLength, "08 01 8C 02 01 00"},
        {"spi 12 34", "12 34"},
        {"uart 41", "41"},
        {"scan", ""},
        {"drive 1 high", "ok"},
        {"scan", "19"},
        {"r 19 3 01", "07 00 00"},
    });
}

TEST(Bench, PutsTheFaultsOfTheBoardBetweenBusAndDevice)
{
    const auto faulty = [](const std::string& faults) {
        return board(R"({"type": "register_map", "registers": {"1": 7}, "faults": )" + faults + "}");
    };
    BoardRig(faulty(R"({"nack": "address"})")).converse({{"r 19 1 01", "03 01"}, {"r 19 1", "03 01"}, {"scan", ""}});
    BoardRig(faulty(R"({"nack": "address", "active": false})")).converse({{"r 19 1 01", "07"}});
    BoardRig(faulty(R"({"nack": 3})"))
        .converse({
            {"w 19 04 aa", "ok"},
            {"w 19 04 bb cc dd", "03 01"}, // the last two bytes did not arrive
            {"r 19 2 04", "BB 00"},
        });
    BoardRig(R"({"i2c": [{"stuck": "low", "devices": {"0x19": {"type": "register_map"}}}]})")
        .converse({{"w 19 00", "03 04"}, {"r 19 1", "03 04"}, {"r 18 1", "03 04"}, {"scan", "03 04"}});

    BoardRig slow(faulty(R"({"stretch_ms": 2.5})"));
    slow("r 19 1 01");
    EXPECT_EQ(slow.world.stretched, std::chrono::milliseconds(5)); // a write and a read

    BoardRig spi(R"({"spi": [{"type": "loopback", "faults": {"flip_bits": 1}}],
                     "uart": {"type": "echo", "faults": {"flip_bits": 1}}})");
    for (const std::string ask : {"spi 00", "uart 00"}) { // there and back
        const Bytes flipped = hex(spi(ask));
        ASSERT_EQ(flipped.size(), 1u) << ask;
        EXPECT_TRUE(flipped[0] == 0 || std::popcount(flipped[0]) == 2) << ask;
    }
}

// How a hundred reads end, one letter each.
std::string hundredReads(const std::string& device, bool disturbed, std::uint64_t seed = 1)
{
    BoardRig rig(R"({"i2c": [{"devices": {
        "0x19": {"type": "register_map", "faults": {"nack_probability": 0.1, "flip_bits": 0.1}, "name": ")" +
                     device + R"("},
        "0x20": {"type": "register_map", "faults": {"nack_probability": 0.5}}}}]})",
                 seed);
    std::string endings;
    for (int count = 0; count < 100; ++count) {
        const std::string answer = rig("r 19 1");
        endings += answer == "00" ? '.' : answer == "03 01" ? 'n' : 'f';
        if (disturbed) {
            rig("r 20 1");
        }
    }
    return endings;
}

TEST(Bench, DrawsTheFaultsOfADeviceFromTheSeedAndItsNameAlone)
{
    const std::string first = hundredReads("imu", false);
    EXPECT_NE(first.find('.'), std::string::npos);
    EXPECT_NE(first.find('n'), std::string::npos);
    EXPECT_NE(first.find('f'), std::string::npos);
    EXPECT_EQ(hundredReads("imu", true), first);
    EXPECT_NE(hundredReads("adc", false), first);
    EXPECT_NE(hundredReads("imu", false, 2), first);
}

} // namespace
