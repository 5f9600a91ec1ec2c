// Devices by themselves, as board files describe them.
#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>
#include <utility>

#include "board/read_board.hpp"
#include "support/bench.hpp"
#include "support/bytes.hpp"

namespace {

using namespace std::chrono_literals;

// The adapter of a board file, of which this is the text without its braces.
sim::AdapterBoard boardWith(const std::string& adapter)
{
    return sim::parseBoard("board.json", R"({"version": 1, "adapters": [{)" + adapter + "}]}").front();
}

std::string errorOf(const std::string& adapter)
{
    try {
        boardWith(adapter);
        return "none";
    } catch (const sim::BoardError& error) {
        return std::string(error.what()).substr(std::string("board.json: /adapters/0").size());
    }
}

TEST(UartScript, AnswersLinesAndSpeaksOfItsOwnAccord)
{
    StillWorld world;
    const auto board = boardWith(R"("uart": {"type": "script", "ends": "text:\r;", "line_end": "|", "replies": [
        {"to": "AT", "lines": ["OK"]},
        {"to": "late", "lines": ["a", "", "b"], "after_ms": 1.5},
        {"to": "/[A-Z]+=[0-9]{2}/", "send": "hex:00 ff"},
        {"to": "/X.*/", "lines": ["ERROR"]}],
        "timers": [{"after_ms": 10, "every_ms": 4, "lines": ["tick"]}, {"after_ms": 15, "send": "text:once"}]})");
    const auto peer = board.uart.make(world);
    std::string said;
    peer->onSend([&](auto bytes) { said.append(bytes.begin(), bytes.end()); });
    const struct {
        std::string received;
        std::chrono::microseconds passing;
        std::string said;
    } steps[]{
        {"A", 0us, ""},
        {"T\r", 0us, "OK|"},
        {"AT;;\rAT\rATX\r;XAT;", 0us, "OK|OK|ERROR|"},
        {"AB=12\rAB=123\r", 0us, std::string("\0\xFF", 2)},
        {"late\rAT\r", 1000us, "OK|"},
        {"", 1000us, "a||b|"},
        {std::string(5000, 'X') + "\r", 0us, "ERROR|"},
        {"", 8000us, "tick|"},
        {"", 8000us, "tick|oncetick|"},
        {"", 20'000us, "tick|tick|tick|tick|tick|"},
    };
    for (const auto& [received, passing, expected] : steps) {
        peer->receive(Bytes(received.begin(), received.end()));
        world.pass(passing);
        EXPECT_EQ(std::exchange(said, {}), expected) << received;
    }
    peer->receive(Bytes{'l', 'a', 't', 'e', '\r', 'A'});
    peer->powerCycle();
    peer->receive(Bytes{'A', 'T', '\r'});
    world.pass(9ms);
    EXPECT_EQ(said, "OK|");
    world.pass(1ms);
    EXPECT_EQ(said, "OK|tick|");
}

TEST(UartScript, RefusesWhatItCannotSayOrMatch)
{
    const std::pair<const char*, const char*> cases[]{
        {R"("replies": [{"to": "/(a)\\1/", "lines": []}])",
         "/uart/replies/0/to: '/(a)\\1/' is not a regex that can be used"},
        {R"("replies": [{"to": "/(/", "lines": []}])", "/uart/replies/0/to: '/(/' is not a regex that can be used"},
        {R"("replies": [{"to": "AT"}])", "/uart/replies/0: give either 'lines' or 'send'"},
        {R"("timers": [{"every_ms": 0.5, "lines": []}])", "/uart/timers/0/every_ms: the shortest period is 1 ms"},
    };
    for (const auto& [keys, error] : cases) {
        const std::string told = errorOf(R"("uart": {"type": "script", )" + std::string(keys) + "}");
        EXPECT_TRUE(told.starts_with(error)) << told;
    }
}

class NorFlashTest : public testing::Test {
protected:
    void plugIn(const std::string& keys)
    {
        flash = boardWith(R"("spi": [{"type": "nor_flash")" + keys + "}]").spi[0]->make(world);
    }

    // What comes back behind `header` bytes of command and address.
    std::string read(const std::string& header, std::size_t count)
    {
        const Bytes command = hex(header);
        return hexOf(part(flash->exchange(command + Bytes(count)), command.size(), command.size() + count));
    }

    StillWorld world;
    std::unique_ptr<sim::SpiDevice> flash;
};

constexpr const char* SMALL_CHIP = R"(, "jedec_id": "hex:ef 40 16", "size": 4194304, "program_ms": 0.7,
    "chip_erase_ms": 10000, "contents": "hex:00 11 22", "sectors": [
    {"size": 4096, "erase_ms": 45}, {"size": 32768, "erase_ms": 120}, {"size": "0x10000", "erase_ms": 150}])";

TEST_F(NorFlashTest, SaysInItsTableWhatTheBoardFileSays)
{
    plugIn("");
    EXPECT_EQ(read("9F", 4), "55 40 14 FF");
    EXPECT_EQ(read("5A 00 00 00 00", 82),
              "53 46 44 50 06 01 00 FF 00 06 01 10 10 00 00 FF E5 20 80 FF FF FF 7F 00 00 00 00 00 00 00 00 00 "
              "EE FF FF FF FF FF 00 00 FF FF 00 00 0C 20 00 FF 00 FF 00 FF 00 00 00 00 80 00 00 80 00 00 00 80 "
              "00 00 00 00 04 00 00 80 00 00 00 00 01 00 00 00 FF FF");
    plugIn(SMALL_CHIP);
    EXPECT_EQ(read("9F", 4), "EF 40 16 FF");
    EXPECT_EQ(read("5A 00 00 10 00", 8), "E5 20 80 FF FF FF FF 01");
    EXPECT_EQ(read("5A 00 00 2C 00", 16), "0C 20 0F 52 10 D8 00 FF 20 3A A5 00 80 2A 00 C2");
    plugIn(R"(, "size": "0x80000", "sectors": [{"size": "0x20000", "command": "0xd8", "erase_ms": 600000}])");
    EXPECT_EQ(read("5A 00 00 10 00", 8), "E7 FF 80 FF FF FF 3F 00");
    EXPECT_EQ(read("5A 00 00 2C 00", 12), "11 D8 00 FF 00 FF 00 FF F0 07 00 00"); // the longest time there is
}

TEST_F(NorFlashTest, IsBusyWhileItChanges)
{
    plugIn(SMALL_CHIP);
    const struct {
        const char* change; // after a write enable
        std::chrono::microseconds busy;
        const char* where; // what is read there before and after
        const char* before;
        const char* after;
    } cases[]{
        {"02 00 00 01 F0 F0", 700us, "03 00 00 00", "00 11 22 FF", "00 10 20 FF"},
        {"02 40 00 00 55", 700us, "03 00 00 00", "00 10 20 FF", "00 10 20 FF"}, // wraps
        {"52 00 90 00", 120ms, "03 00 00 00", "00 10 20 FF", "00 10 20 FF"},
        {"02 01 F0 00 77", 700us, "03 01 F0 00", "FF FF FF FF", "77 FF FF FF"},
        {"D8 01 00 FF", 150ms, "03 01 F0 00", "77 FF FF FF", "FF FF FF FF"},
        {"20 00 0F FF", 45ms, "03 00 00 00", "00 10 20 FF", "FF FF FF FF"},
        {"02 00 00 00 12", 700us, "03 00 00 00", "FF FF FF FF", "12 FF FF FF"},
        {"C7", 10s, "03 00 00 00", "12 FF FF FF", "FF FF FF FF"},
        {"01 00", 700us, "03 00 00 00", "FF FF FF FF", "FF FF FF FF"},
    };
    for (const auto& [change, busy, where, before, after] : cases) {
        EXPECT_EQ(read(where, 4), before) << change;
        flash->exchange(hex("06"));
        flash->exchange(hex(change));
        world.pass(busy - 1us);
        EXPECT_EQ(read("05", 2), "03 03") << change;
        EXPECT_EQ(read("9F", 1) + read(where, 4), "FFFF FF FF FF") << change;
        flash->exchange(hex("06")); // in vain
        world.pass(1us);
        EXPECT_EQ(read("05", 1), "00") << change;
        EXPECT_EQ(read(where, 4), after) << change;
    }
    flash->exchange(hex("06"));
    flash->exchange(hex("C7"));
    flash->powerCycle();
    EXPECT_EQ(read("05", 1), "00");
}

TEST_F(NorFlashTest, RefusesChipsThatCannotBe)
{
    const std::pair<const char*, const char*> cases[]{
        {R"("size": 5000)", "/spi/0/size: 5000 is no multiple of 4096"},
        {R"("size": 16777217)", "/spi/0/size: 16777217 is not a whole number from 4096 to 16777216, as 72 or \"0x48\""},
        {R"("sectors": [{"size": 12288}])",
         "/spi/0/sectors/0/size: 12288 is no power of two that divides the size of the flash, 1048576"},
        {R"("sectors": [{"size": 65536}, {"size": 4096}])",
         "/spi/0/sectors/1/size: sectors come in the order of their sizes, smallest first"},
        {R"("sectors": [{"size": 8192}])",
         "/spi/0/sectors/0: there is no usual command that erases 8192 bytes; give 'command'"},
        {R"("sectors": [{"size": 4096, "command": "0x03"}])",
         "/spi/0/sectors/0/command: command 0x03 has another meaning already"},
        {R"("sectors": [{"size": 4096, "command": "0xd8"}, {"size": 65536}])",
         "/spi/0/sectors/1: command 0xd8 has another meaning already"},
    };
    for (const auto& [keys, error] : cases) {
        EXPECT_EQ(errorOf(R"("spi": [{"type": "nor_flash", )" + std::string(keys) + "}]"), error);
    }
}

} // namespace
