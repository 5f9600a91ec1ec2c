// The virtual adapter by its frames. Requests and responses are written by hand, byte for byte, so that a program which
// works against the virtual adapter finds the same bytes where the decoders of the library look for them.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "support/bench.hpp"
#include "support/bytes.hpp"
#include "virtual_adapter.hpp"

namespace {

using Frames = std::vector<std::string>; // each as "01 00 07 04"

struct Step {
    std::string request;          // without the transaction id
    std::string answer = "00 00"; // from the status on; empty for no response
    std::string notification{};   // the whole frame; empty for none
};

class ModelTest : public testing::Test {
protected:
    void exchange(const Bytes& request)
    {
        sent.clear();
        adapter.request(request);
    }

    // Each request has a transaction id of its own, which the response must repeat.
    void converse(std::initializer_list<Step> steps)
    {
        for (const Step& step : steps) {
            const std::string request = hexOf({++id, 0x01}) + " " + step.request;
            exchange(hex(request));
            Frames expected;
            if (!step.answer.empty()) {
                expected.push_back(request.substr(0, 11) + " " + step.answer);
            }
            if (!step.notification.empty()) {
                expected.push_back(step.notification);
            }
            EXPECT_EQ(sent, expected) << step.request;
        }
    }

    int statusOf(const std::string& request)
    {
        exchange(hex("01 00 " + request));
        const Bytes answer = hex(sent.at(0));
        return answer.at(4) | answer.at(5) << 8;
    }

    // What comes back while these bytes go out.
    std::string spi(const std::string& bytes)
    {
        const Bytes data = hex(bytes);
        const auto count = static_cast<std::uint8_t>(data.size());
        exchange(Bytes{0x01, 0x00, 0x04, 0x0D, count, 0x00, 0x00, 0x00} + data);
        return hexOf(part(hex(sent.at(0)), 8, 8u + count));
    }

    // Every port, controller and bus in use; the I3C targets have the addresses 8 and 9.
    void initialiseAll()
    {
        for (const char* request :
             {"01 09 00 80 1A 06 00 00", "01 09 01 80 1A 06 00 00", "01 0D 00 00 00 00 00 40 42 0F 00",
              "02 10 07 00 00 03 00", "01 19 00 00 00 00", "04 19 00", "09 19 7E 00 00 07 00"}) {
            ASSERT_EQ(statusOf(request), 0) << request;
        }
    }

    std::uint8_t id = 0;
    Frames sent;
    StillWorld world;
    sim::VirtualAdapter adapter{defaultBoardAs("SN-42"), world,
                                [this](const Bytes& frame) { sent.push_back(hexOf(frame)); }};
};

TEST_F(ModelTest, ResetAndBootModeTakeTheAdapterOffTheBusAndARestartKeepsOnlyMemories)
{
    initialiseAll();
    converse({
        {"04 09 00 01 00 50 01 10 00 00 00 00 AB"},
        {"08 19 08 00 00 01 05 00 00 00 01 00 77", "00 00 08 00 00 00"},
        {"05 04 B0 04 00"},
        {"01 04", ""},
        {"07 04 01", ""},
    });
    EXPECT_EQ(adapter.presence(), sim::Presence::RESTARTING);
    EXPECT_FALSE(adapter.raiseInBandInterrupt(0, {}));

    adapter.powerUp();
    EXPECT_EQ(adapter.presence(), sim::Presence::ON_BUS);
    converse({
        {"05 09 00 01 00 50 01 10 00 00 00 00", "06 01 00 00 00"},
        {"06 19", "06 01 00"},
        {"09 04", "00 00 E4 0C 08 07 08 07"},
    });
    initialiseAll();
    converse({
        {"05 09 00 01 00 50 01 10 00 00 00 00", "00 00 00 01 00 AB"},
        {"08 19 08 01 00 01 05 00 00 00 01 00", "00 00 08 01 01 00 00"},
        {"02 04", ""},
    });
    EXPECT_EQ(adapter.presence(), sim::Presence::BOOT_MODE);
}

TEST_F(ModelTest, PinsShareAWireWithTheirPartnersAndFireWhenArmed)
{
    converse({
        {"01 14 02 01 00"},
        {"04 14 03 02"}, // pin 3, both edges
        {"02 14 02 01", "00 00", "00 00 81 14 00 00 03"},
        {"02 14 02 01"}, // no edge
        {"05 14 03"},
        {"02 14 02 00"},
        // Pins 6 and 7: an open drain, released and then low, on a wire that is pulled down and then up.
        {"01 14 06 03 00"},
        {"01 14 07 04 01"},
        {"03 14 06", "00 00 00"},
        {"01 14 06 02 00"},
        {"03 14 06", "00 00 01"},
        {"02 14 07 00"},
        {"03 14 06", "00 00 00"},
        // Push-pull high wins over the pull-down.
        {"01 14 06 03 00"},
        {"01 14 07 01 01"},
        {"03 14 06", "00 00 01"},
    });
}

TEST_F(ModelTest, I2cDevicesBehaveLikeTheirRealOnes)
{
    initialiseAll();
    converse({
        // 23.5 degrees, then the configuration; the pointer stays where it was set.
        {"05 09 00 02 00 48 01 00 00 00 00 00", "00 00 00 02 00 17 80"},
        {"04 09 00 02 00 48 01 01 00 00 00 00 12 34"},
        {"05 09 00 03 00 48 00 00 00 00 00 00", "00 00 00 03 00 12 34 12"},
        {"04 09 00 02 00 48 01 00 00 00 00 00 FF FF"},
        {"05 09 00 02 00 48 00 00 00 00 00 00", "00 00 00 02 00 17 80"},
        // A write from 0x16 wraps in its 8-byte page; a read from 0xFE wraps at the end.
        {"04 09 00 03 00 50 01 16 00 00 00 00 A1 A2 A3"},
        {"05 09 00 04 00 50 01 15 00 00 00 00", "00 00 00 04 00 FF A1 A2 FF"},
        {"05 09 00 01 00 50 01 10 00 00 00 00", "00 00 00 01 00 A3"},
        {"04 09 00 01 00 50 01 00 00 00 00 00 5A"},
        {"05 09 00 03 00 50 01 FE 00 00 00 00", "00 00 00 03 00 FF FF 5A"},
        // Register address {0x12, 0x34} travels as 34 12; in the wrong width the rest is data to the device.
        {"04 09 01 02 00 51 02 34 12 00 00 00 C1 C2"},
        {"05 09 01 02 00 51 02 34 12 00 00 00", "00 00 01 02 00 C1 C2"},
        {"04 09 00 01 00 50 02 99 20 00 00 00 77"},
        {"05 09 00 02 00 50 01 20 00 00 00 00", "00 00 00 02 00 99 77"},
        {"04 09 01 03 00 51 00 00 00 00 00 00 00 40 66"},
        {"05 09 01 01 00 51 02 40 00 00 00 00", "00 00 01 01 00 66"},
    });
    exchange(hex("01 00 04 09 01 FF FF 51 02 00 00 00 00 00") + counting(65'535));
    EXPECT_EQ(sent.at(0), "01 00 04 09 00 00");
}

TEST_F(ModelTest, FlashProgramsOnlyWhenEnabledAndOnlyClearsBits)
{
    initialiseAll();
    const std::pair<std::string, std::string> exchanges[]{
        {"02 00 10 FE 00", "FF FF FF FF FF"}, // not enabled
        {"03 00 10 FE 00", "FF FF FF FF FF"},
        {"06", "FF"},
        {"05 00", "FF 02"},
        {"02 00 10 FE F0 A5 5A", "FF FF FF FF FF FF FF"}, // wraps to the start of the page
        {"05 00", "FF 00"},
        {"03 00 10 FE 00 00 00", "FF FF FF FF F0 A5 FF"},
        {"03 00 10 00 00", "FF FF FF FF 5A"},
        {"06", "FF"},
        {"02 00 10 FE 3C", "FF FF FF FF FF"},
        {"03 00 10 FE 00", "FF FF FF FF 30"},
        {"06", "FF"},
        {"04", "FF"},
        {"20 00 1F FF", "FF FF FF FF"}, // disabled again
        {"03 00 10 FE 00", "FF FF FF FF 30"},
        {"06", "FF"},
        {"20 00 1F FF", "FF FF FF FF"},
        {"03 00 10 FE 00 00", "FF FF FF FF FF FF"},
        {"06", "FF"},
        {"02 0F FF FF 00", "FF FF FF FF FF"},
        {"06", "FF"},
        {"C7", "FF"},
        {"05 00", "FF 00"},
        {"03 0F FF FF 00", "FF FF FF FF FF"},
        {"01 FF", "FF FF"}, // not enabled
        {"05 00", "FF 00"},
        {"06", "FF"},
        {"01 E3", "FF FF"}, // nothing of this is protection
        {"06", "FF"},
        {"02 00 00 00 3C", "FF FF FF FF FF"},
        {"06", "FF"},
        {"01 08", "FF FF"}, // protected from now on
        {"06", "FF"},
        {"02 00 00 01 00", "FF FF FF FF FF"},
        {"20 00 00 00", "FF FF FF FF"},
        {"C7", "FF"},
        {"05 00", "FF 0A"},
        {"03 00 00 00 00 00", "FF FF FF FF 3C FF"},
        {"5A 00 00 00 00 00 00 00 00", "FF FF FF FF FF 53 46 44 50"},
        {"5A 00 00 14 00 00 00 00 00 00", "FF FF FF FF FF FF FF 7F 00 00"},
        {"5A 00 00 4F 00 00 00", "FF FF FF FF FF 00 FF"}, // ends there
        {"5A FF FF FF 00 00", "FF FF FF FF FF FF"},
        {"5A 00 00 00", "FF FF FF FF"},
    };
    for (const auto& [out, in] : exchanges) {
        EXPECT_EQ(spi(out), in) << out;
    }
}

TEST_F(ModelTest, SpiSettingsDecideWhoHears)
{
    const std::tuple<std::string, std::string, std::string> cases[]{
        {"00 00 00 01 00", "12 34 80", "12 34 80"},       // loopback
        {"01 00 00 01 00", "12 34 80", "12 34 80"},       // turned round twice
        {"00 00 01 01 00", "12 34 80 00", "12 34 80 00"}, // words of 16 bits
        {"00 01 00 01 00", "12 34 80", "FF FF FF"},       // clock mode that nobody understands
        {"00 00 00 01 01", "12 34 80", "FF FF FF"},       // nobody selected
        {"00 00 00 02 00", "12 34 80", "FF FF FF"},       // nobody there
        {"01 03 00 00 00", "F9 00 00 00", "FF AA 02 28"}, // the flash reads and answers its id last bit first
        {"01 03 01 00 00", "00 F9 00 00", "AA FF 28 02"}, // likewise, whole words of 16 bits
    };
    initialiseAll();
    for (const auto& [settings, out, in] : cases) {
        EXPECT_EQ(statusOf("02 0D " + settings + " 40 42 0F 00"), 0);
        EXPECT_EQ(spi(out), in) << settings;
    }
    // A transfer longer than its data goes on with zeros.
    converse({{"02 0D 00 00 00 01 00 40 42 0F 00"}, {"04 0D 01 00 03 00 12", "00 00 03 00 12 00 00"}});
}

TEST_F(ModelTest, UartReceivesWhatItSends)
{
    converse({
        {"02 10 07 00 00 03 00"},
        {"05 10 00 00"},
        {"03 10 07 00 00 02 00"}, // 7 bits
        {"05 10 03 00 41 C2 43", "00 00", "00 00 81 10 00 00 03 00 41 42 43"},
        {"01 10"},
        {"05 10 01 00 41", "06 01"},
    });
}

TEST_F(ModelTest, I3cTableHoldsWhatWasConfigured)
{
    converse({
        {"01 19 00 00 00 00"},
        // Target 0 by its static address, target 1 by its PID, and a legacy device.
        {"04 19 03 30 10 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
         "00 11 7F FE 56 78 90 02 00 00 00 00 00 00 00 00 "
         "57 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"},
        {"09 19 7E 00 00 07 00", "00 00 7E 00 07 00"}, // ENTDAA
        {"07 19 11 A5"},
        {"06 19", "00 00 03 30 10 7F FE 12 34 50 01 27 63 00 01 00 01 00 00 "
                  "31 11 7F FE 56 78 90 02 22 C6 00 01 00 01 A5 00 "
                  "57 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"},
    });
}

TEST_F(ModelTest, TargetsStayAwayWhenTheListTakesEveryAddress)
{
    std::string list = "04 19 7F";
    for (std::uint8_t address = 1; address < 0x80; ++address) {
        list += " " + hexOf(padded({address}, 16));
    }
    converse({
        {"01 19 00 00 00 00"}, {list}, {"09 19 7E 00 00 07 00", "02 03 00 00 00 00"}, // ENTDAA
    });
    EXPECT_FALSE(adapter.raiseHotJoin(0));
}

// What target 0 did on the patterns among these requests.
TEST_F(ModelTest, TargetResetPatternDoesWhatRstactAsked)
{
    const std::string pattern = "0A 19 00";
    const std::string arm = "09 19 08 10 00 9A 0";
    const std::string armAll = "09 19 7E 10 01 2A 0";
    const std::string assign = "09 19 7E 00 00 07 00"; // ENTDAA
    const std::string getStatus = "09 19 08 01 02 90 00";
    const std::string getDcr = "09 19 08 01 01 8F 00";
    const std::string mark = "08 19 08 00 00 01 05 00 00 00 01 00 77"; // into register 5
    const std::pair<const char*, Frames> cases[]{
        {"nothing", {arm + "0", pattern}},
        {"reset the peripheral", {arm + "1", pattern}},
        {"reset all", {arm + "2", pattern}},
        {"reset the peripheral", {pattern}},
        {"reset all", {arm + "2", "0A 19 01", "06 19", "09 19 09 10 00 9A 00", pattern}}, // none of these is a START
        // A new RSTACT and a START disarm.
        {"reset the peripheral", {arm + "2", armAll + "1", pattern}},
        {"reset the peripheral", {arm + "2", getDcr, pattern}},
        {"reset the peripheral", {arm + "2", "08 19 57 05 00 00 00 00 00 00 01 00", pattern}},
        {"reset the peripheral", {arm + "2", "05 19", pattern}},
        // A second pattern does more, unless RSTACT or GETSTATUS came between.
        {"reset all", {pattern, pattern}},
        {"reset all", {arm + "0", pattern, pattern}},
        {"reset the peripheral", {pattern, armAll + "2", assign, pattern}},
        {"reset the peripheral", {pattern, assign, getStatus, pattern}},
        {"reset the peripheral", {pattern, assign, "09 19 08 11 01 9A 81", pattern}},
        {"reset the peripheral", {pattern, pattern, assign, mark, pattern}}, // after all was reset it begins anew
    };
    for (const auto& [outcome, requests] : cases) {
        adapter.powerUp();
        initialiseAll();
        for (const std::string& request : Frames{mark} + requests) {
            ASSERT_EQ(statusOf(request), 0) << request;
        }
        const bool stays = statusOf(getDcr) == 0;
        statusOf(assign);
        exchange(hex("01 00 08 19 08 01 00 01 05 00 00 00 01 00"));
        const char* const reset = sent.at(0).ends_with("77") ? "reset the peripheral" : "reset all";
        EXPECT_STREQ(stays ? "nothing" : reset, outcome) << testing::PrintToString(requests);
    }
}

TEST_F(ModelTest, RstactReadsWhatIsArmedInEachTarget)
{
    converse({
        {"01 19 00 00 00 00"},
        {"04 19 01 30 08 00 00 00 00 00 00 00 00 00 00 00 00 00 00"},
        {"09 19 08 10 00 9A 02", "00 00 08 10 9A 00"},
    });
    EXPECT_TRUE(adapter.raiseHotJoin(1)); // begins with a START, as an interrupt does
    converse({
        {"09 19 08 11 01 9A 00", "00 00 08 11 9A 01 01"}, // the peripheral, unless told otherwise
        {"09 19 08 10 00 9A 02", "00 00 08 10 9A 00"},
        {"09 19 09 10 00 9A 00", "00 00 09 10 9A 00"},
        {"09 19 08 11 01 9A 01", "00 00 08 11 9A 01 02"},
        {"09 19 09 11 01 9A 02", "00 00 09 11 9A 01 00"},
    });
    EXPECT_TRUE(adapter.raiseInBandInterrupt(1, {}));
    converse({{"09 19 08 11 01 9A 02", "00 00 08 11 9A 01 01"}});
}

TEST_F(ModelTest, I3cPrivateTransfersKeepToLengthsModesAndGroups)
{
    initialiseAll();
    converse({
        {"08 19 08 00 00 01 3F 00 00 00 02 00 A1 A2", "00 00 08 00 00 00"}, // wraps to register 0
        {"08 19 08 09 00 01 3F 00 00 00 02 00", "00 00 08 09 02 00 A1 A2"},
        {"08 19 08 01 00 00 00 00 00 00 01 00", "00 00 08 01 01 00 00"}, // goes on at register 1
        {"08 19 08 03 80 00 01 00", "00 00 08 03 01 00 A2"},             // HDR-DDR, where bit 7 is the direction
        {"09 19 08 00 02 8A 00 00 10", "00 00 08 00 8A 00"},             // maximum read length 16
        {"09 19 08 00 02 89 00 00 02", "00 00 08 00 89 00"},             // maximum write length 2
        {"08 19 08 00 00 01 01 00 00 00 03 00 D1 D2 D3", "00 00 08 00 00 00"},
        {"08 19 08 01 00 01 01 00 00 00 FF FF", "00 00 08 01 10 00 D1 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"},
        // Both targets in group 0x20; a write to it reaches both, a read nobody.
        {"09 19 08 00 01 9B 00 40", "00 00 08 00 9B 00"},
        {"09 19 09 00 01 9B 00 40", "00 00 09 00 9B 00"},
        {"08 19 20 00 00 01 05 00 00 00 01 00 E5", "00 00 20 00 00 00"},
        {"08 19 08 01 00 01 05 00 00 00 01 00", "00 00 08 01 01 00 E5"},
        {"08 19 09 01 00 01 05 00 00 00 01 00", "00 00 09 01 01 00 E5"},
        {"08 19 20 01 00 01 05 00 00 00 01 00", "01 03 00 00 00 00"},
        {"09 19 09 00 00 9C 00", "00 00 09 00 9C 00"},
        {"08 19 20 00 00 01 05 00 00 00 01 00 E6", "00 00 20 00 00 00"},
        {"08 19 09 01 00 01 05 00 00 00 01 00", "00 00 09 01 01 00 E5"},
    });
}

TEST_F(ModelTest, TargetsInterruptAndJoinWhenTheyMay)
{
    initialiseAll();
    const Bytes payload = hex("D1 D2 D3");
    EXPECT_TRUE(adapter.raiseInBandInterrupt(0, payload));
    EXPECT_TRUE(adapter.raiseInBandInterrupt(1, payload)); // sends no payload
    EXPECT_TRUE(adapter.raiseInBandInterrupt(0, {}));      // none without its mandatory byte
    EXPECT_EQ(sent, (Frames{"01 00 09 19 00 00 7E 00 07 00", "00 00 81 19 00 00 08 03 D1 D2 D3",
                            "00 00 81 19 00 00 09 00", "00 00 81 19 00 00 08 01 00"}));
    EXPECT_FALSE(adapter.raiseInBandInterrupt(2, payload));
    EXPECT_FALSE(adapter.raiseHotJoin(0)); // is on the bus already

    converse({
        // Events travel as defining byte in the broadcast, as data in the direct form.
        {"09 19 7E 10 01 01 0B", "00 00 7E 10 01 00"},
        {"08 19 08 00 00 01 80 00 00 00 01 00 02", "00 00 08 00 00 00"},
        {"09 19 08 00 01 80 00 09", "00 00 08 00 80 00"},
        {"08 19 08 00 00 01 00 00 00 00 02 00 AA BB", "00 00 08 00 00 00"},
        {"08 19 08 00 00 01 80 00 00 00 01 00 02", "00 00 08 00 00 00", "00 00 81 19 00 00 08 02 AA BB"},
        {"08 19 08 00 00 01 81 00 00 00 01 00 00", "00 00 08 00 00 00", "00 00 82 19 00 00 7F FE 12 34 50 01 27 63 08"},
        {"09 19 08 00 03 8A 00 01 00 01", "00 00 08 00 8A 00"}, // one byte of payload at most
        {"05 19"},
    });
    EXPECT_FALSE(adapter.raiseInBandInterrupt(0, payload)); // has no address
    EXPECT_FALSE(adapter.raiseHotJoin(1));                  // still disabled by the broadcast
    sent.clear();
    EXPECT_TRUE(adapter.raiseHotJoin(0));
    EXPECT_TRUE(adapter.raiseInBandInterrupt(0, payload));
    EXPECT_EQ(sent, (Frames{"00 00 82 19 00 00 7F FE 12 34 50 01 27 63 08", "00 00 81 19 00 00 08 01 D1"}));
}

TEST_F(ModelTest, EveryFaultHasItsStatus)
{
    for (const char* request : {"02 09 00 80 1A 06 00 00", "04 09 00 00 00 50 00 00 00 00 00 00", "06 09 01 00",
                                "02 0D 00 00 00 00 00 40 42 0F 00", "04 0D 00 00 04 00", "03 10 07 00 00 03 00",
                                "01 10", "02 19 00 00 00 00", "04 19 00", "05 19", "07 19 08 00",
                                "08 19 08 01 00 00 00 00 00 00 01 00", "09 19 7E 00 00 07 00", "0A 19 00"}) {
        EXPECT_EQ(statusOf(request), 0x0106) << request << ", nothing initialised";
    }
    const std::pair<int, std::vector<std::string>> cases[]{
        // No such command, no such family.
        {0x0101, {"03 04", "01 FF 00"}},
        // A byte too many, half a record, and counts that disagree with what follows.
        {0x0102, {"09 04 00", "04 19 01 30 10", "05 10 02 00 41", "04 0D 02 00 02 00 41", "09 19 7E 00 02 09 00 01"}},
        {0x0102, {"04 09 00 03 00 50 00 00 00 00 00 00 01 02", "04 09 00 01 00 50 00 00 00 00 00 00 01 02"}},
        // Clocks of I2C and SPI: none, the fastest, and one hertz more.
        {0x0103, {"01 09 00 00 00 00 00 00", "01 09 00 41 E1 33 00 00", "01 0D 00 00 00 00 00 81 F0 FA 02"}},
        {0x0000, {"01 09 00 40 E1 33 00 00", "01 0D 00 00 00 00 00 80 F0 FA 02"}},
        // No string, no flag, no pull-up, no 7-bit address, a register address of 5 bytes.
        {0x0103, {"07 04 06", "05 04 E4 0C 02", "02 08 00 04", "05 09 00 01 00 80 00 00 00 00 00 00"}},
        {0x0103, {"04 09 00 00 00 80 00 00 00 00 00 00", "05 09 00 01 00 50 05 00 00 00 00 00"}},
        // Beyond the last member: SPI bit order and select, UART rate, GPIO functionality and trigger, I3C rate,
        // pattern and transfer mode.
        {0x0103, {"01 0D 02 00 00 00 00 40 42 0F 00", "01 0D 00 00 00 04 00 40 42 0F 00", "02 10 0B 00 00 03 00"}},
        {0x0103,
         {"01 14 00 05 00", "04 14 00 03", "01 19 05 00 00 00", "0A 19 02", "08 19 08 06 00 00 00 00 00 00 00 00"}},
        // A reserved dynamic address.
        {0x0103, {"04 19 01 30 7C 00 00 00 00 00 00 00 00 00 00 00 00 00 00"}},
        // CCCs: broadcast to a direct address, unknown, not in SDR, RSTACT that writes a time or reads what is
        // undeclared.
        {0x0103, {"09 19 08 11 01 9A 05", "09 19 08 11 01 9A 80", "09 19 08 01 01 9A 00"}},
        {0x0103, {"09 19 08 00 00 07 00", "09 19 08 01 02 91 00", "09 19 08 02 00 82 00", "09 19 08 10 00 9A 81"}},
        // No such port, no such pin, a rail's limits, an input that is driven.
        {0x0104, {"01 09 02 80 1A 06 00 00", "06 09 02 00"}},
        {0x0105, {"03 14 08"}},
        {0x0201, {"05 04 00 00 00", "04 04 FF FF"}},
        {0x0202, {"02 14 00 01"}},
        // Nobody at the address; SETDASA of a target that has an address; defining bytes of features that no target
        // has.
        {0x0301, {"04 09 00 00 00 51 00 00 00 00 00 00", "05 09 01 01 00 50 00 00 00 00 00 00"}},
        {0x0301, {"08 19 0A 01 00 00 00 00 00 00 01 00", "09 19 30 00 01 87 00 14", "09 19 08 11 02 90 91"}},
        {0x0301, {"09 19 08 11 02 90 00", "09 19 08 11 04 95 00", "09 19 08 10 00 9A 03", "09 19 08 10 00 9A 04"}},
        {0x0301, {"09 19 08 11 01 9A 03", "09 19 08 11 01 9A 84"}},
        // SETNEWDA to the other target's address; no target to configure; none at a listed address.
        {0x0302, {"09 19 08 00 01 88 00 12"}},
        {0x0303, {"07 19 0A 00"}},
        {0x0301, {"04 19 01 32 10 00 00 00 00 00 00 00 00 00 00 00 00 00 00"}},
    };
    initialiseAll();
    for (const auto& [status, requests] : cases) {
        for (const std::string& request : requests) {
            EXPECT_EQ(statusOf(request), status) << request;
        }
    }
}

} // namespace
