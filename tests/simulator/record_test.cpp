// Recordings: each transaction as drawn by hand, and the time between them.
#include "record/vcd_recorder.hpp"

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <map>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

namespace {

using namespace sim;
using namespace std::chrono_literals;
using Bytes = std::vector<std::uint8_t>;
using Tick = std::uint64_t;

constexpr Tick BEGIN = 100; // of what comes first: after the shortest pause

class Recording {
public:
    explicit Recording(Timeline::Duration longestPause = 1h, const std::vector<std::string>& adapters = {"A"})
        : recorder_(path_, adapters, longestPause, [this] { return now_; })
    {
    }
    ~Recording() { std::remove(path_.c_str()); }

    Probe& adapter(std::size_t index = 0) { return recorder_.adapter(index); }
    void pass(Timeline::Duration time) { now_ += time; }

    std::string text() const
    {
        std::ostringstream text;
        text << std::ifstream(path_).rdbuf();
        return text.str();
    }

    // The ticks at which a signal changes, and the level after each.
    std::map<Tick, bool> changes(const std::string& name) const
    {
        std::string code;
        std::map<Tick, bool> result;
        Tick tick = 0;
        std::istringstream lines(text());
        for (std::string line; std::getline(lines, line);) {
            std::istringstream words(line);
            std::string word;
            std::vector<std::string> all;
            while (words >> word) {
                all.push_back(word);
            }
            if (all.size() == 6 && all[0] == "$var" && all[4] == name) {
                code = all[3];
            } else if (line[0] == '#') {
                const Tick next = std::stoull(line.substr(1));
                EXPECT_TRUE(next > tick || next == 0) << "time goes back";
                tick = next;
            } else if ((line[0] == '0' || line[0] == '1') && line.substr(1) == code) {
                result[tick] = line[0] == '1';
            }
        }
        return result;
    }

    // The signal in the middle of each of `count` parts of a second from `BEGIN` on: - is high, _ is low.
    std::string drawn(const std::string& name, Tick partsPerSecond, std::size_t count) const
    {
        const auto levels = changes(name);
        std::string result;
        for (std::size_t part = 0; part < count; ++part) {
            const Tick middle = BEGIN + (2 * part + 1) * VcdFile::TICKS_PER_SECOND / (2 * partsPerSecond);
            result += std::prev(levels.upper_bound(middle))->second ? '-' : '_';
        }
        return result;
    }

private:
    const std::string path_ = testing::TempDir() + "recording-" + std::to_string(::getpid()) + ".vcd";
    std::chrono::steady_clock::time_point now_;
    VcdRecorder recorder_;
};

Spi::Settings spiMode(SpiMode mode, SpiChipSelectPolarity polarity = SpiChipSelectPolarity::ACTIVE_LOW)
{
    return {SpiBitOrder::MSB_FIRST, mode, SpiDataWidth::BITS_8, SpiChipSelect::SELECT_1, polarity, 1'000'000};
}

TEST(Recording, TransactionsLookAsDrawnByHand)
{
    const struct {
        const char* what;
        std::function<void(Probe&)> act;
        Tick partsPerSecond;
        std::map<std::string, std::string> signals;
    } cases[]{
        {"I2C write, second byte not acknowledged",
         [](Probe& probe) {
             const Bytes bytes{0x81, 0x42, 0xFF};
             probe.i2c(1, 100'000, std::vector<I2cMessage>{{0x50, false, bytes, 1}});
         },
         400'000,
         {{"SCL1", "-- "
                   "__-- __-- __-- __-- __-- __-- __-- __-- __-- "
                   "__-- __-- __-- __-- __-- __-- __-- __-- __-- "
                   "__-- __-- __-- __-- __-- __-- __-- __-- __-- "
                   "__------"},
          {"SDA1", "__ "
                   "_--- -___ _--- -___ ____ ____ ____ ____ ____ "
                   "_--- -___ ____ ____ ____ ____ ____ _--- -___ "
                   "____ _--- -___ ____ ____ ____ _--- -___ _--- "
                   "-___----"}}},
        {"I2C read after a repeated start",
         [](Probe& probe) {
             const Bytes place{0x07};
             const Bytes data{0xF0, 0x0F};
             probe.i2c(0, 100'000, std::vector<I2cMessage>{{0x48, false, place, 1}, {0x48, true, data, 2}});
         },
         400'000,
         {{"SCL0", "-- "
                   "__-- __-- __-- __-- __-- __-- __-- __-- __-- "
                   "__-- __-- __-- __-- __-- __-- __-- __-- __-- "
                   "__-- -- "
                   "__-- __-- __-- __-- __-- __-- __-- __-- __-- "
                   "__-- __-- __-- __-- __-- __-- __-- __-- __-- "
                   "__-- __-- __-- __-- __-- __-- __-- __-- __-- "
                   "__------"},
          {"SDA0", "__ "
                   "_--- -___ ____ _--- -___ ____ ____ ____ ____ "
                   "____ ____ ____ ____ ____ _--- ---- ---- -___ "
                   "_--- __ "
                   "_--- -___ ____ _--- -___ ____ ____ _--- -___ "
                   "_--- ---- ---- ---- -___ ____ ____ ____ ____ "
                   "____ ____ ____ ____ _--- ---- ---- ---- ---- "
                   "-___----"}}},
        {"I2C address that nobody acknowledges",
         [](Probe& probe) {
             probe.i2c(0, 400'000, std::vector<I2cMessage>{{0x7F, true, Bytes(3), {}}});
         },
         1'600'000,
         {{"SCL0", "-- __-- __-- __-- __-- __-- __-- __-- __-- __-- __------"},
          {"SDA0", "__ _--- ---- ---- ---- ---- ---- ---- ---- ---- -___----"}}},
        {"SPI mode 0",
         [](Probe& probe) { probe.spi(spiMode(SpiMode::MODE_0), Bytes{0xA5}, Bytes{0x3C}); },
         2'000'000,
         {{"CS1", "- __ __ __ __ __ __ __ __ _ -"},
          {"SCK", "_ _- _- _- _- _- _- _- _- _ _"},
          {"MOSI", "_ -- __ -- __ __ -- __ -- - -"},
          {"MISO", "_ __ __ -- -- -- -- __ __ _ _"}}},
        {"SPI mode 3, select active high",
         [](Probe& probe) {
             probe.spi(spiMode(SpiMode::MODE_3, SpiChipSelectPolarity::ACTIVE_HIGH), Bytes{0xA5}, Bytes{0x3C});
         },
         2'000'000,
         {{"CS1", "_- -- -- -- -- -- -- -- -- _"},
          {"SCK", "-- _- _- _- _- _- _- _- _- -"},
          {"MOSI", "__ -- __ -- __ __ -- __ -- -"},
          {"MISO", "__ __ __ -- -- -- -- __ __ _"}}},
        {"UART, 8 bits, even parity, two stop bits",
         [](Probe& probe) {
             probe.uartSent({UartBaudRate::BAUD_921600, UartParity::EVEN, UartDataSize::BITS_8, UartStopBit::TWO},
                            Bytes{0x53, 0x01});
         },
         921'600,
         {{"TX", "_ --__-_-_ _ -- _ -_______ - -- -"}}},
        {"UART, 7 bits, odd parity",
         [](Probe& probe) {
             probe.uartReceived({UartBaudRate::BAUD_1200, UartParity::ODD, UartDataSize::BITS_7, UartStopBit::ONE},
                                Bytes{0x0D});
         },
         1'200,
         {{"RX", "_ -_--___ _ - -"}}},
    };
    for (const auto& row : cases) {
        Recording recording;
        row.act(recording.adapter());
        recording.adapter().settle();
        for (const auto& [name, picture] : row.signals) {
            std::string expected = picture;
            std::erase(expected, ' ');
            EXPECT_EQ(recording.drawn(name, row.partsPerSecond, expected.size()), expected) << row.what << ": " << name;
            // The recording ends where the picture does: readers see the last bit whole.
            const Tick end =
                BEGIN + (expected.size() * VcdFile::TICKS_PER_SECOND + row.partsPerSecond / 2) / row.partsPerSecond;
            EXPECT_TRUE(recording.text().ends_with("\n#" + std::to_string(end) + "\n")) << row.what;
        }
    }
}

TEST(Recording, TimePassesOnBusesAtTheirPaceAndBetweenThemAsItDoes)
{
    constexpr Tick BYTE = 11500; // at 100 kHz: half a period for the start, nine for the bits, two for the stop
    Recording recording(2ms, {"A", "B"});
    const auto write = [&](std::size_t adapter) {
        recording.adapter(adapter).i2c(0, 100'000, std::vector<I2cMessage>{{0x50, false, {}, 0}});
    };
    write(0);
    recording.pass(5s); // while the bus works real time does not count
    recording.adapter().settle();
    recording.pass(1ms);
    recording.adapter().pin(2, true); // by the write that is told next
    recording.adapter().pin(3, true);
    recording.adapter().pin(2, false);
    write(1);
    recording.adapter().settle();
    recording.pass(1h); // longer than the longest pause
    recording.adapter(1).pin(7, true);
    recording.adapter(1).settle();

    const Tick first = BEGIN;
    const Tick second = first + BYTE + 100'000;
    EXPECT_EQ(recording.changes("SDA0").upper_bound(0)->first, first);
    EXPECT_EQ(recording.changes("SDA0_1").upper_bound(0)->first, second);
    const Tick pins = second + BYTE;
    EXPECT_EQ(recording.changes("GPIO2"), (std::map<Tick, bool>{{0, false}, {pins, true}, {pins + 1, false}}));
    EXPECT_EQ(recording.changes("GPIO3"), (std::map<Tick, bool>{{0, false}, {pins, true}}));
    EXPECT_EQ(recording.changes("GPIO7_1"), (std::map<Tick, bool>{{0, false}, {pins + 1 + 200'000, true}}));
}

TEST(Recording, SerialNumbersAreNoKeywords)
{
    const Recording recording(0s, {"$end x\xC3\xA9", "B-2"});
    EXPECT_NE(recording.text().find("\n$scope module _end_x__ $end\n"), std::string::npos) << recording.text();
    EXPECT_NE(recording.text().find("\n$scope module B-2 $end\n"), std::string::npos) << recording.text();
}

} // namespace
