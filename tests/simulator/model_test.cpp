// The virtual adapter by its frames. Requests and responses are written by hand, byte for byte, so that a program which
// works against the virtual adapter finds the same bytes where the decoders of the library look for them.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "commands.hpp"
#include "virtual_adapter.hpp"

namespace {

using sim::Frame;
using sim::VirtualAdapter;
using Hex = std::vector<std::string>; // frames, each as "01 00 07 04"

Frame bytesOf(const std::string& hex)
{
    Frame bytes;
    std::istringstream stream(hex);
    for (std::string byte; stream >> byte;) {
        bytes.push_back(static_cast<std::uint8_t>(std::stoul(byte, nullptr, 16)));
    }
    return bytes;
}

std::string hexOf(const Frame& bytes)
{
    constexpr std::string_view DIGITS = "0123456789ABCDEF";
    std::string hex;
    for (const std::uint8_t byte : bytes) {
        hex += hex.empty() ? "" : " ";
        hex += {DIGITS[byte >> 4], DIGITS[byte & 15]};
    }
    return hex;
}

Frame operator+(Frame front, const Frame& back)
{
    front.insert(front.end(), back.begin(), back.end());
    return front;
}

Frame counting(std::size_t size)
{
    Frame bytes(size);
    std::generate(bytes.begin(), bytes.end(), [i = 0]() mutable { return static_cast<std::uint8_t>(i++ * 7); });
    return bytes;
}

struct Step {
    std::string request;
    Hex answers; // the response, then the notifications
};

class ModelTest : public testing::Test {
protected:
    std::vector<Frame> exchange(const Frame& request)
    {
        sent_.clear();
        adapter.request(request);
        return sent_;
    }

    Hex exchange(const std::string& request)
    {
        exchange(bytesOf(request));
        return sentHex();
    }

    Hex sentHex() const
    {
        Hex frames;
        std::ranges::transform(sent_, std::back_inserter(frames), hexOf);
        return frames;
    }

    void forget() { sent_.clear(); }

    void converse(const std::vector<Step>& steps)
    {
        for (const Step& step : steps) {
            EXPECT_EQ(exchange(step.request), step.answers) << "request " << step.request;
        }
    }

    // Every port, controller and bus in use; the I3C targets have the addresses 8 and 9.
    void initialiseAll()
    {
        for (const char* request : {"01 00 01 09 00 80 1A 06 00 00", "01 00 01 09 01 80 1A 06 00 00",
                                    "01 00 01 0D 00 00 00 00 00 40 42 0F 00", "01 00 02 10 07 00 00 03 00",
                                    "01 00 01 19 00 00 00 00", "01 00 04 19 00", "01 00 09 19 7E 00 00 07 00"}) {
            ASSERT_EQ(statusOf(bytesOf(request)), 0) << request;
        }
    }

    int statusOf(const Frame& request)
    {
        const auto frames = exchange(request);
        return frames.empty() ? -1 : frames[0].at(4) | frames[0].at(5) << 8;
    }

    Frame spi(const Frame& data, std::size_t clocked)
    {
        const auto low = [](std::size_t value) { return static_cast<std::uint8_t>(value); };
        const auto high = [](std::size_t value) { return static_cast<std::uint8_t>(value >> 8); };
        const auto frames =
            exchange(Frame{1, 0, 0x04, 0x0D, low(data.size()), high(data.size()), low(clocked), high(clocked)} + data);
        return Frame(frames.at(0).begin() + 8, frames.at(0).end());
    }

    std::vector<Frame> sent_;
    VirtualAdapter adapter{"SN-42", [this](const Frame& frame) { sent_.push_back(frame); }};
};

TEST_F(ModelTest, UsbStringsCarryTheirLengthPlusOne)
{
    converse({
        {"02 01 07 04 01", {"02 01 07 04 00 00 07 54 61 72 76 69 78"}},
        {"05 00 07 04 03", {"05 00 07 04 00 00 06 53 4E 2D 34 32"}},
        {"05 00 07 04 06", {"05 00 07 04 03 01 01"}},
    });
}

TEST_F(ModelTest, ResetAndBootModeTakeTheAdapterOffTheBusAndARestartKeepsOnlyMemories)
{
    initialiseAll();
    converse({
        {"01 00 04 09 00 01 00 50 01 10 00 00 00 00 AB", {"01 00 04 09 00 00"}},
        {"01 00 08 19 08 00 00 01 05 00 00 00 01 00 77", {"01 00 08 19 00 00 08 00 00 00"}},
        {"01 00 05 04 B0 04 00", {"01 00 05 04 00 00"}},
        {"01 00 01 04", {}},
        {"01 00 07 04 01", {}},
    });
    EXPECT_EQ(adapter.presence(), sim::Presence::RESTARTING);
    EXPECT_FALSE(adapter.raiseInBandInterrupt(0, {}));

    adapter.powerUp();
    EXPECT_EQ(adapter.presence(), sim::Presence::ON_BUS);
    converse({
        {"01 00 05 09 00 01 00 50 01 10 00 00 00 00", {"01 00 05 09 06 01 00 00 00"}},
        {"01 00 06 19", {"01 00 06 19 06 01 00"}},
        {"01 00 09 04", {"01 00 09 04 00 00 E4 0C 08 07 08 07"}},
    });
    initialiseAll();
    converse({
        {"01 00 05 09 00 01 00 50 01 10 00 00 00 00", {"01 00 05 09 00 00 00 01 00 AB"}},
        {"01 00 08 19 08 01 00 01 05 00 00 00 01 00", {"01 00 08 19 00 00 08 01 01 00 00"}},
        {"01 00 02 04", {}},
    });
    EXPECT_EQ(adapter.presence(), sim::Presence::BOOT_MODE);
}

TEST_F(ModelTest, RailsReadBackWhatTheySupply)
{
    converse({
        {"01 00 05 04 08 07 01", {"01 00 05 04 00 00"}},
        {"02 00 04 04 B0 04", {"02 00 04 04 00 00"}},
        {"03 00 09 04", {"03 00 09 04 00 00 08 07 B0 04 B0 04"}},
        {"04 00 0B 04 01", {"04 00 0B 04 00 00"}},
        {"05 00 0A 04 01", {"05 00 0A 04 00 00"}},
        {"06 00 04 04 84 03", {"06 00 04 04 00 00"}},
        {"07 00 09 04", {"07 00 09 04 00 00 C4 09 B0 04 84 03"}},
        {"08 00 0B 04 00", {"08 00 0B 04 00 00"}},
        {"09 00 09 04", {"09 00 09 04 00 00 08 07 B0 04 84 03"}},
    });
}

TEST_F(ModelTest, DrivingAPinMovesItsPartnerAndFiresWhatIsArmed)
{
    converse({
        {"01 00 01 14 02 01 00", {"01 00 01 14 00 00"}},
        {"02 00 04 14 03 00", {"02 00 04 14 00 00"}}, // pin 3, rising edges
        {"03 00 02 14 02 01", {"03 00 02 14 00 00", "00 00 81 14 00 00 03"}},
        {"04 00 03 14 03", {"04 00 03 14 00 00 01"}},
        {"05 00 03 14 04", {"05 00 03 14 00 00 00"}},
        {"06 00 02 14 02 01", {"06 00 02 14 00 00"}}, // no edge
        {"07 00 02 14 02 00", {"07 00 02 14 00 00"}}, // the other edge
        {"08 00 04 14 03 02", {"08 00 04 14 00 00"}}, // both edges
        {"09 00 02 14 02 01", {"09 00 02 14 00 00", "00 00 81 14 00 00 03"}},
        {"0A 00 02 14 02 00", {"0A 00 02 14 00 00", "00 00 81 14 00 00 03"}},
        {"0B 00 05 14 03", {"0B 00 05 14 00 00"}},
        {"0C 00 02 14 02 01", {"0C 00 02 14 00 00"}},
    });
}

TEST_F(ModelTest, OpenDrainAndPullsShareAWire)
{
    converse({
        {"01 00 01 14 06 02 00", {"01 00 01 14 00 00"}}, // pull-up
        {"01 00 03 14 07", {"01 00 03 14 00 00 01"}},
        {"01 00 01 14 07 04 01", {"01 00 01 14 00 00"}}, // open drain, released
        {"01 00 03 14 06", {"01 00 03 14 00 00 01"}},
        {"01 00 02 14 07 00", {"01 00 02 14 00 00"}}, // open drain, low
        {"01 00 03 14 06", {"01 00 03 14 00 00 00"}},
        {"01 00 01 14 06 03 00", {"01 00 01 14 00 00"}}, // pull-down against a push-pull high
        {"01 00 01 14 07 01 01", {"01 00 01 14 00 00"}},
        {"01 00 03 14 06", {"01 00 03 14 00 00 01"}},
    });
}

TEST_F(ModelTest, I2cDevicesBehaveLikeTheirRealOnes)
{
    initialiseAll();
    converse({
        {"01 00 06 09 00 00", {"01 00 06 09 00 00 00 02 00 48 50"}},
        {"01 00 06 09 01 00", {"01 00 06 09 00 00 01 01 00 51"}},
        // 23.5 degrees, then the configuration; the pointer stays where it was set.
        {"01 00 05 09 00 02 00 48 01 00 00 00 00 00", {"01 00 05 09 00 00 00 02 00 17 80"}},
        {"01 00 04 09 00 02 00 48 01 01 00 00 00 00 12 34", {"01 00 04 09 00 00"}},
        {"01 00 05 09 00 03 00 48 00 00 00 00 00 00", {"01 00 05 09 00 00 00 03 00 12 34 12"}},
        {"01 00 04 09 00 02 00 48 01 00 00 00 00 00 FF FF", {"01 00 04 09 00 00"}},
        {"01 00 05 09 00 02 00 48 00 00 00 00 00 00", {"01 00 05 09 00 00 00 02 00 17 80"}},
        // A write from 0x16 wraps in its 8-byte page; a read from 0xFE wraps at the end.
        {"01 00 04 09 00 03 00 50 01 16 00 00 00 00 A1 A2 A3", {"01 00 04 09 00 00"}},
        {"01 00 05 09 00 04 00 50 01 15 00 00 00 00", {"01 00 05 09 00 00 00 04 00 FF A1 A2 FF"}},
        {"01 00 05 09 00 01 00 50 01 10 00 00 00 00", {"01 00 05 09 00 00 00 01 00 A3"}},
        {"01 00 04 09 00 01 00 50 01 00 00 00 00 00 5A", {"01 00 04 09 00 00"}},
        {"01 00 05 09 00 03 00 50 01 FE 00 00 00 00", {"01 00 05 09 00 00 00 03 00 FF FF 5A"}},
        // Register address {0x12, 0x34} travels as 34 12; in the wrong width the rest is data to the device.
        {"01 00 04 09 01 02 00 51 02 34 12 00 00 00 C1 C2", {"01 00 04 09 00 00"}},
        {"01 00 05 09 01 02 00 51 02 34 12 00 00 00", {"01 00 05 09 00 00 01 02 00 C1 C2"}},
        {"01 00 04 09 00 01 00 50 02 99 20 00 00 00 77", {"01 00 04 09 00 00"}},
        {"01 00 05 09 00 02 00 50 01 20 00 00 00 00", {"01 00 05 09 00 00 00 02 00 99 77"}},
        {"01 00 04 09 01 03 00 51 00 00 00 00 00 00 00 40 66", {"01 00 04 09 00 00"}},
        {"01 00 05 09 01 01 00 51 02 40 00 00 00 00", {"01 00 05 09 00 00 01 01 00 66"}},
    });
    EXPECT_EQ(exchange(bytesOf("01 00 05 09 01 FF FF 51 02 00 00 00 00 00")).at(0).size(), 9u + 65'535u);
    EXPECT_EQ(statusOf(bytesOf("01 00 04 09 01 FF FF 51 02 00 00 00 00 00") + counting(65'535)), 0);
}

TEST_F(ModelTest, FlashProgramsOnlyWhenEnabledAndOnlyClearsBits)
{
    initialiseAll();
    const auto readAt = [&](Frame address, std::size_t count) {
        const Frame received = spi(Frame{0x03} + address, 4 + count);
        return hexOf(Frame(received.begin() + 4, received.end()));
    };
    EXPECT_EQ(hexOf(spi({0x9F}, 4)), "FF 55 40 14");

    spi({0x02, 0x00, 0x10, 0xFE, 0x00}, 0); // not enabled
    EXPECT_EQ(readAt({0x00, 0x10, 0xFE}, 1), "FF");

    spi({0x06}, 0);
    EXPECT_EQ(hexOf(spi({0x05}, 2)), "FF 02");
    spi({0x02, 0x00, 0x10, 0xFE, 0xF0, 0xA5, 0x5A}, 0); // wraps to the start of the page
    EXPECT_EQ(hexOf(spi({0x05}, 2)), "FF 00");
    EXPECT_EQ(readAt({0x00, 0x10, 0xFE}, 3), "F0 A5 FF");
    EXPECT_EQ(readAt({0x00, 0x10, 0x00}, 1), "5A");

    spi({0x06}, 0);
    spi({0x02, 0x00, 0x10, 0xFE, 0x3C}, 0);
    EXPECT_EQ(readAt({0x00, 0x10, 0xFE}, 1), "30");

    spi({0x06}, 0);
    spi({0x04}, 0);
    spi({0x20, 0x00, 0x1F, 0xFF}, 0); // disabled again
    EXPECT_EQ(readAt({0x00, 0x10, 0xFE}, 1), "30");
    spi({0x06}, 0);
    spi({0x20, 0x00, 0x1F, 0xFF}, 0);
    EXPECT_EQ(readAt({0x00, 0x10, 0xFE}, 2), "FF FF");
}

TEST_F(ModelTest, SpiSettingsDecideWhoHears)
{
    const std::vector<std::pair<std::string, std::string>> cases{
        {"00 00 00 01 00", "12 34 80 00"}, // loopback: data, then padding up to the transfer length
        {"01 00 00 01 00", "12 34 80 00"}, // turned round twice
        {"00 00 01 01 00", "12 34 80 00"}, // words of 16 bits
        {"00 01 00 01 00", "FF FF FF FF"}, // clock mode that nobody understands
        {"00 00 00 01 01", "FF FF FF FF"}, // nobody selected
        {"00 00 00 02 00", "FF FF FF FF"}, // nobody there
    };
    for (const auto& [settings, received] : cases) {
        EXPECT_EQ(statusOf(bytesOf("01 00 01 0D " + settings + " 40 42 0F 00")), 0);
        EXPECT_EQ(exchange("01 00 04 0D 03 00 04 00 12 34 80"), Hex{"01 00 04 0D 00 00 04 00 " + received}) << settings;
    }
    // The flash hears a read-id command (0x9F) that comes last bit first as 0xF9, and answers likewise.
    ASSERT_EQ(statusOf(bytesOf("01 00 01 0D 01 03 00 00 00 40 42 0F 00")), 0);
    EXPECT_EQ(hexOf(spi({0xF9}, 4)), "FF AA 02 28");
    ASSERT_EQ(statusOf(bytesOf("01 00 02 0D 01 03 01 00 00 40 42 0F 00")), 0); // whole words of 16 bits
    EXPECT_EQ(hexOf(spi({0x00, 0xF9}, 4)), "AA FF 28 02");
}

TEST_F(ModelTest, UartReceivesWhatItSends)
{
    converse({
        {"01 00 02 10 07 00 00 03 00", {"01 00 02 10 00 00"}},
        {"02 00 05 10 03 00 41 C2 43", {"02 00 05 10 00 00", "00 00 81 10 00 00 03 00 41 C2 43"}},
        {"03 00 05 10 00 00", {"03 00 05 10 00 00"}},
        {"04 00 03 10 07 00 00 02 00", {"04 00 03 10 00 00"}}, // 7 bits
        {"05 00 05 10 01 00 C2", {"05 00 05 10 00 00", "00 00 81 10 00 00 01 00 42"}},
        {"06 00 03 10 07 00 00 03 00", {"06 00 03 10 00 00"}},
    });
    const Frame message = counting(65'535);
    const auto frames = exchange(bytesOf("07 00 05 10 FF FF") + message);
    ASSERT_EQ(frames.size(), 2u);
    EXPECT_EQ(frames[1], bytesOf("00 00 81 10 00 00 FF FF") + message);
    converse({{"08 00 01 10", {"08 00 01 10 00 00"}}, {"09 00 05 10 01 00 41", {"09 00 05 10 06 01"}}});
}

TEST_F(ModelTest, I3cAddressesComeByEveryWay)
{
    converse({
        {"01 00 01 19 00 00 00 00", {"01 00 01 19 00 00"}},
        // Target 0 by its static address, target 1 by its PID, and a legacy device.
        {"01 00 04 19 03 30 10 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
         "00 11 7F FE 56 78 90 02 00 00 00 00 00 00 00 00 "
         "57 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00",
         {"01 00 04 19 00 00"}},
        {"01 00 06 19",
         {"01 00 06 19 00 00 02 30 10 7F FE 12 34 50 01 27 63 00 01 00 01 00 00 "
          "57 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"}},
        {"01 00 09 19 7E 00 00 07 00", {"01 00 09 19 00 00 7E 00 07 00"}}, // ENTDAA
        {"01 00 07 19 11 A5", {"01 00 07 19 00 00"}},
        {"01 00 06 19",
         {"01 00 06 19 00 00 03 30 10 7F FE 12 34 50 01 27 63 00 01 00 01 00 00 "
          "31 11 7F FE 56 78 90 02 02 C6 00 01 00 01 A5 00 "
          "57 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"}},
        {"01 00 09 19 11 00 01 88 00 24", {"01 00 09 19 00 00 11 00 88 00"}},                // SETNEWDA 0x12
        {"01 00 09 19 12 01 06 8D 00", {"01 00 09 19 00 00 12 01 8D 06 7F FE 56 78 90 02"}}, // GETPID
        {"01 00 09 19 7E 00 00 06 00", {"01 00 09 19 00 00 7E 00 06 00"}},                   // RSTDAA
        {"01 00 09 19 12 01 06 8D 00", {"01 00 09 19 01 03 00 00 00 00"}},                   // nobody any more
        {"01 00 09 19 7E 00 00 29 00", {"01 00 09 19 00 00 7E 00 29 00"}},                   // SETAASA
        {"01 00 09 19 31 01 01 8E 00", {"01 00 09 19 00 00 31 01 8E 01 02"}},                // GETBCR
        {"01 00 05 19", {"01 00 05 19 00 00"}},                                              // bus reset
        {"01 00 09 19 30 00 01 87 00 14", {"01 00 09 19 00 00 30 00 87 00"}},                // SETDASA 0x0A
        {"01 00 09 19 0A 01 01 8F 00", {"01 00 09 19 00 00 0A 01 8F 01 63"}},                // GETDCR
    });
}

TEST_F(ModelTest, I3cGetCommandsAnswerWhatSetCommandsStored)
{
    initialiseAll();
    converse({
        {"02 00 09 19 08 00 02 89 00 01 02", {"02 00 09 19 00 00 08 00 89 00"}},
        {"02 00 09 19 08 01 02 8B 00", {"02 00 09 19 00 00 08 01 8B 02 01 02"}},
        {"03 00 09 19 7E 00 03 0A 00 01 00 20", {"03 00 09 19 00 00 7E 00 0A 00"}},
        {"03 00 09 19 08 01 03 8C 00", {"03 00 09 19 00 00 08 01 8C 03 01 00 20"}},
        {"03 00 09 19 09 01 03 8C 00", {"03 00 09 19 00 00 09 01 8C 02 01 00"}}, // has no IBI payload
        {"04 00 09 19 09 00 00 84 00", {"04 00 09 19 00 00 09 00 84 00"}},       // ENTAS2
        {"04 00 09 19 09 01 02 90 00", {"04 00 09 19 00 00 09 01 90 02 00 80"}},
        {"04 00 09 19 08 01 02 90 00", {"04 00 09 19 00 00 08 01 90 02 00 00"}},
        {"04 00 09 19 08 11 02 90 91", {"04 00 09 19 01 03 00 00 00 00"}}, // a form that only controllers know
        {"05 00 09 19 08 01 05 94 00", {"05 00 09 19 00 00 08 01 94 05 01 01 14 00 00"}},
        {"05 00 09 19 09 01 05 94 00", {"05 00 09 19 01 03 00 00 00 00"}},
        {"05 00 09 19 08 01 04 95 00", {"05 00 09 19 00 00 08 01 95 04 01 21 00 00"}},
        {"06 00 09 19 7E 00 01 28 00 DF", {"06 00 09 19 00 00 7E 00 28 00"}}, // SETXTIME
        {"06 00 09 19 09 01 04 99 00", {"06 00 09 19 00 00 09 01 99 04 06 02 18 0A"}},
        {"07 00 09 19 08 11 01 9A 81", {"07 00 09 19 00 00 08 11 9A 01 01"}}, // RSTACT, read
        {"07 00 09 19 7E 00 02 0C 00 01 02", {"07 00 09 19 00 00 7E 00 0C 00"}},
    });
}

TEST_F(ModelTest, TargetResetPatternDoesWhatRstactAsked)
{
    initialiseAll();
    converse({
        {"01 00 08 19 08 00 00 01 00 00 00 00 01 00 5A", {"01 00 08 19 00 00 08 00 00 00"}},
        {"01 00 09 19 7E 10 01 2A 00", {"01 00 09 19 00 00 7E 10 2A 00"}}, // all: no reset
        {"01 00 0A 19 00", {"01 00 0A 19 00 00"}},
        {"01 00 09 19 08 01 01 8F 00", {"01 00 09 19 00 00 08 01 8F 01 63"}},
        {"01 00 09 19 08 10 00 9A 02", {"01 00 09 19 00 00 08 10 9A 00"}}, // target 0: everything
        {"01 00 09 19 09 10 00 9A 00", {"01 00 09 19 00 00 09 10 9A 00"}}, // target 1: nothing
        {"01 00 0A 19 01", {"01 00 0A 19 00 00"}},                         // HDR exit harms nobody
        {"01 00 0A 19 00", {"01 00 0A 19 00 00"}},
        {"01 00 09 19 09 01 01 8F 00", {"01 00 09 19 00 00 09 01 8F 01 C6"}},
        {"01 00 09 19 08 01 01 8F 00", {"01 00 09 19 01 03 00 00 00 00"}},
        {"01 00 09 19 7E 00 00 07 00", {"01 00 09 19 00 00 7E 00 07 00"}},
        {"01 00 08 19 08 01 00 01 00 00 00 00 01 00", {"01 00 08 19 00 00 08 01 01 00 00"}},
        {"01 00 0A 19 00", {"01 00 0A 19 00 00"}}, // what RSTACT asked for is used up
        {"01 00 09 19 09 01 01 8F 00", {"01 00 09 19 01 03 00 00 00 00"}},
    });
}

TEST_F(ModelTest, I3cPrivateTransfersReachTargetsGroupsAndLegacyDevices)
{
    initialiseAll();
    converse({
        {"01 00 08 19 08 00 00 01 3F 00 00 00 02 00 A1 A2", {"01 00 08 19 00 00 08 00 00 00"}}, // wraps to register 0
        {"01 00 08 19 08 09 00 01 3F 00 00 00 02 00", {"01 00 08 19 00 00 08 09 02 00 A1 A2"}},
        {"01 00 08 19 08 01 00 00 00 00 00 00 01 00", {"01 00 08 19 00 00 08 01 01 00 00"}}, // goes on at register 1
        {"01 00 08 19 08 02 20 00 03 00 B1 B2 B3", {"01 00 08 19 00 00 08 02 00 00"}},       // HDR-DDR
        {"01 00 08 19 08 03 A0 00 03 00", {"01 00 08 19 00 00 08 03 03 00 B1 B2 B3"}},
        {"01 00 08 19 08 03 80 00 01 00", {"01 00 08 19 00 00 08 03 01 00 A2"}}, // bit 7 is the direction
        {"01 00 08 19 09 03 A0 00 03 00", {"01 00 08 19 01 03 00 00 00 00"}},    // target 1 has no HDR
        {"01 00 08 19 57 04 00 01 06 00 00 00 03 00 C1 C2 C3", {"01 00 08 19 00 00 57 04 00 00"}},
        {"01 00 08 19 57 05 00 01 00 00 00 00 01 00", {"01 00 08 19 00 00 57 05 01 00 C3"}},
        {"01 00 09 19 08 00 02 8A 00 00 10", {"01 00 09 19 00 00 08 00 8A 00"}}, // maximum read length 16
        {"01 00 09 19 08 00 02 89 00 00 02", {"01 00 09 19 00 00 08 00 89 00"}}, // maximum write length 2
        {"01 00 08 19 08 00 00 01 02 00 00 00 02 00 D1 D2", {"01 00 08 19 00 00 08 00 00 00"}},
        {"01 00 08 19 08 01 00 01 02 00 00 00 FF FF",
         {"01 00 08 19 00 00 08 01 10 00 D1 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"}},
        // Both targets in group 0x20; a write to it reaches both, a read nobody.
        {"01 00 09 19 08 00 01 9B 00 40", {"01 00 09 19 00 00 08 00 9B 00"}},
        {"01 00 09 19 09 00 01 9B 00 40", {"01 00 09 19 00 00 09 00 9B 00"}},
        {"01 00 08 19 20 00 00 01 05 00 00 00 01 00 E5", {"01 00 08 19 00 00 20 00 00 00"}},
        {"01 00 08 19 08 01 00 01 05 00 00 00 01 00", {"01 00 08 19 00 00 08 01 01 00 E5"}},
        {"01 00 08 19 09 01 00 01 05 00 00 00 01 00", {"01 00 08 19 00 00 09 01 01 00 E5"}},
        {"01 00 08 19 20 01 00 01 05 00 00 00 01 00", {"01 00 08 19 01 03 00 00 00 00"}},
        {"01 00 09 19 09 00 00 9C 00", {"01 00 09 19 00 00 09 00 9C 00"}},
        {"01 00 08 19 20 00 00 01 05 00 00 00 01 00 E6", {"01 00 08 19 00 00 20 00 00 00"}},
        {"01 00 08 19 09 01 00 01 05 00 00 00 01 00", {"01 00 08 19 00 00 09 01 01 00 E5"}},
        {"01 00 09 19 7E 00 00 2C 00", {"01 00 09 19 00 00 7E 00 2C 00"}},
        {"01 00 08 19 20 00 00 01 05 00 00 00 01 00 E7", {"01 00 08 19 01 03 00 00 00 00"}},
    });
}

TEST_F(ModelTest, TargetsInterruptAndJoinWhenTheyMay)
{
    initialiseAll();
    const Frame payload = bytesOf("D1 D2 D3");
    EXPECT_TRUE(adapter.raiseInBandInterrupt(0, payload));
    EXPECT_TRUE(adapter.raiseInBandInterrupt(1, payload)); // sends no payload
    EXPECT_EQ(sentHex(),
              (Hex{"01 00 09 19 00 00 7E 00 07 00", "00 00 81 19 00 00 08 03 D1 D2 D3", "00 00 81 19 00 00 09 00"}));
    EXPECT_FALSE(adapter.raiseInBandInterrupt(2, payload));
    EXPECT_FALSE(adapter.raiseHotJoin(0)); // is on the bus already

    converse({
        // Events travel as defining byte in the broadcast, as data in the direct form.
        {"05 00 09 19 7E 10 01 01 0B", {"05 00 09 19 00 00 7E 10 01 00"}},
        {"01 00 08 19 08 00 00 01 80 00 00 00 01 00 02", {"01 00 08 19 00 00 08 00 00 00"}},
        {"05 00 09 19 08 00 01 80 00 09", {"05 00 09 19 00 00 08 00 80 00"}},
        {"01 00 08 19 08 00 00 01 00 00 00 00 02 00 AA BB", {"01 00 08 19 00 00 08 00 00 00"}},
        {"01 00 08 19 08 00 00 01 80 00 00 00 01 00 02",
         {"01 00 08 19 00 00 08 00 00 00", "00 00 81 19 00 00 08 02 AA BB"}},
        {"01 00 08 19 08 00 00 01 81 00 00 00 01 00 00",
         {"01 00 08 19 00 00 08 00 00 00", "00 00 82 19 00 00 7F FE 12 34 50 01 27 63 08"}},
        {"03 00 09 19 08 00 03 8A 00 01 00 01", {"03 00 09 19 00 00 08 00 8A 00"}}, // one byte of payload at most
        {"01 00 05 19", {"01 00 05 19 00 00"}},
    });
    EXPECT_FALSE(adapter.raiseInBandInterrupt(0, payload)); // has no address
    EXPECT_FALSE(adapter.raiseHotJoin(1));                  // still disabled by the broadcast
    forget();
    EXPECT_TRUE(adapter.raiseHotJoin(0));
    EXPECT_TRUE(adapter.raiseInBandInterrupt(0, payload));
    EXPECT_EQ(sentHex(), (Hex{"00 00 82 19 00 00 7F FE 12 34 50 01 27 63 08", "00 00 81 19 00 00 08 01 D1"}));
}

TEST_F(ModelTest, EveryFaultHasItsStatus)
{
    struct Case {
        int status;
        std::string request;
    };
    // Before anything is initialised.
    const std::vector<Case> cold{
        {0x0106, "01 00 02 09 00 80 1A 06 00 00"},
        {0x0106, "01 00 04 09 00 00 00 50 00 00 00 00 00 00"},
        {0x0106, "01 00 06 09 01 00"},
        {0x0106, "01 00 02 0D 00 00 00 00 00 40 42 0F 00"},
        {0x0106, "01 00 04 0D 00 00 04 00"},
        {0x0106, "01 00 03 10 07 00 00 03 00"},
        {0x0106, "01 00 01 10"},
        {0x0106, "01 00 02 19 00 00 00 00"},
        {0x0106, "01 00 04 19 00"},
        {0x0106, "01 00 05 19"},
        {0x0106, "01 00 07 19 08 00"},
        {0x0106, "01 00 08 19 08 01 00 00 00 00 00 00 01 00"},
        {0x0106, "01 00 09 19 7E 00 00 07 00"},
        {0x0106, "01 00 0A 19 00"},
    };
    const std::vector<Case> warm{
        {0x0101, "01 00 03 04"},                                                    // no such command
        {0x0101, "01 00 01 FF 00"},                                                 // no such family
        {0x0102, "01 00 04 09 00 03 00 50 00 00 00 00 00 00 01 02"},                // fewer bytes than counted
        {0x0102, "01 00 04 09 00 01 00 50 00 00 00 00 00 00 01 02"},                // more bytes than counted
        {0x0102, "01 00 05 10 02 00 41"},                                           // UART likewise
        {0x0102, "01 00 04 0D 02 00 02 00 41"},                                     // SPI likewise
        {0x0102, "01 00 04 19 01 30 10"},                                           // half a record
        {0x0102, "01 00 09 19 7E 00 02 09 00 01"},                                  // CCC likewise
        {0x0102, "01 00 09 04 00"},                                                 // trailing byte
        {0x0103, "01 00 05 04 E4 0C 02"},                                           // not a flag
        {0x0103, "01 00 02 08 00 04"},                                              // pull-up
        {0x0103, "01 00 01 09 00 00 00 00 00 00"},                                  // no clock
        {0x0000, "01 00 01 09 00 40 E1 33 00 00"},                                  // the fastest clock
        {0x0103, "01 00 01 09 00 41 E1 33 00 00"},                                  // one hertz more
        {0x0000, "01 00 01 0D 00 00 00 00 00 80 F0 FA 02"},                         // SPI likewise
        {0x0103, "01 00 01 0D 00 00 00 00 00 81 F0 FA 02"},
        {0x0103, "01 00 05 09 00 01 00 80 00 00 00 00 00 00"},                      // not a 7-bit address
        {0x0103, "01 00 04 09 00 00 00 80 00 00 00 00 00 00"},
        {0x0103, "01 00 05 09 00 01 00 50 05 00 00 00 00 00"},                      // register address of 5 bytes
        {0x0103, "01 00 01 0D 02 00 00 00 00 40 42 0F 00"},                         // SPI bit order
        {0x0103, "01 00 01 0D 00 00 00 04 00 40 42 0F 00"},                         // SPI select
        {0x0103, "01 00 02 10 0B 00 00 03 00"},                                     // UART rate
        {0x0103, "01 00 01 14 00 05 00"},                                           // GPIO functionality
        {0x0103, "01 00 04 14 00 03"},                                              // GPIO trigger
        {0x0103, "01 00 01 19 05 00 00 00"},                                        // I3C rate
        {0x0103, "01 00 0A 19 02"},                                                 // I3C pattern
        {0x0103, "01 00 08 19 08 06 00 00 00 00 00 00 00 00"},                      // I3C transfer mode
        {0x0103, "01 00 04 19 01 30 7C 00 00 00 00 00 00 00 00 00 00 00 00 00 00"}, // reserved address
        {0x0103, "01 00 09 19 08 00 00 07 00"},                                     // broadcast code, direct address
        {0x0103, "01 00 09 19 08 01 02 91 00"},                                     // CCC that nobody knows
        {0x0103, "01 00 09 19 08 02 00 82 00"},                                     // CCC not in SDR
        {0x0103, "01 00 09 19 08 10 00 9A 81"},                                     // RSTACT, write of a time
        {0x0104, "01 00 01 09 02 80 1A 06 00 00"},
        {0x0104, "01 00 06 09 02 00"},
        {0x0105, "01 00 03 14 08"},
        {0x0201, "01 00 05 04 00 00 00"},
        {0x0201, "01 00 04 04 FF FF"},
        {0x0202, "01 00 02 14 00 01"},
        {0x0301, "01 00 04 09 00 00 00 51 00 00 00 00 00 00"},
        {0x0301, "01 00 05 09 01 01 00 50 00 00 00 00 00 00"},
        {0x0301, "01 00 08 19 0A 01 00 00 00 00 00 00 01 00"},
        {0x0301, "01 00 09 19 30 00 01 87 00 14"}, // SETDASA, has an address already
        {0x0302, "01 00 09 19 08 00 01 88 00 12"}, // SETNEWDA to the other one's
        {0x0303, "01 00 07 19 0A 00"},
        {0x0301, "01 00 04 19 01 32 10 00 00 00 00 00 00 00 00 00 00 00 00 00 00"}, // listed, but not there
    };
    const auto check = [&](const std::vector<Case>& cases) {
        for (const Case& fault : cases) {
            EXPECT_EQ(statusOf(bytesOf(fault.request)), fault.status) << fault.request;
        }
    };
    check(cold);
    initialiseAll();
    check(warm);
}

// A host that sends half a request must get an answer that says so, whatever the command.
TEST_F(ModelTest, EveryCommandAnswersEveryLength)
{
    for (const bool initialised : {false, true}) {
        for (const CommandInfo& command : COMMANDS) {
            for (std::size_t length = 0; length <= 24; ++length) {
                const auto code = static_cast<std::uint16_t>(command.code);
                const Frame header{0x34, 0x12, static_cast<std::uint8_t>(code), static_cast<std::uint8_t>(code >> 8)};
                const bool leaves =
                    command.code == CommandCode::RESET_DEVICE || command.code == CommandCode::ENTER_BOOT_MODE;
                adapter.powerUp();
                if (initialised) {
                    initialiseAll();
                }
                const auto frames = exchange(header + Frame(length, 0x00));
                if (leaves && length == 0) {
                    EXPECT_TRUE(frames.empty()) << command.name;
                    continue;
                }
                ASSERT_FALSE(frames.empty()) << command.name << " with " << length << " bytes";
                ASSERT_GE(frames[0].size(), 6u) << command.name;
                EXPECT_EQ(Frame(frames[0].begin(), frames[0].begin() + 4), header) << command.name;
                EXPECT_NE(frames[0][4] | frames[0][5] << 8, 0x0101) << command.name << " is unknown to the adapter";
            }
        }
    }
    for (const Frame& frame : {Frame{}, Frame{1}, Frame{1, 0, 7}}) {
        EXPECT_TRUE(exchange(frame).empty());
    }
}

TEST_F(ModelTest, SurvivesNoise)
{
    std::mt19937 random(20240817);
    const auto below = [&](std::size_t limit) { return static_cast<std::size_t>(random()) % limit; };
    std::set<int> statuses;
    for (int round = 0; round < 40'000; ++round) {
        const auto code = static_cast<std::uint16_t>(COMMANDS[below(COMMANDS.size())].code);
        Frame frame{0x01, 0x00, static_cast<std::uint8_t>(code), static_cast<std::uint8_t>(code >> 8)};
        for (std::size_t left = below(24); left > 0; --left) {
            frame.push_back(static_cast<std::uint8_t>(below(2) == 0 ? below(4) : random()));
        }
        statuses.insert(statusOf(frame));
        if (adapter.presence() != sim::Presence::ON_BUS) {
            adapter.powerUp();
        }
        if (round % 100 == 0) {
            initialiseAll();
        }
    }
    // The noise got past the first checks of each kind.
    for (const int status : {0x0000, 0x0102, 0x0103, 0x0104, 0x0105, 0x0106, 0x0201, 0x0202, 0x0301}) {
        EXPECT_TRUE(statuses.contains(status)) << status;
    }
}

} // namespace
